// What several operations need: the class, the provider's answer, what of an object is shown.
// Tests: tests/wbem/operations_test.cpp.
#include "wbem/operation.h"

#include <exception>

#include "wbem/cimerror.h"

namespace wbem {

void Operation::goOn() const {
    if (abandoned && abandoned()) throw CimError(CMPI_RC_ERR_FAILED, "Given up, as nobody waits for the answer");
}

const mof::Class& requireClass(const Operation& operation, const std::string& name) {
    const mof::Class* found = operation.space.schema.find(name);
    if (found == nullptr) throw CimError(CMPI_RC_ERR_INVALID_CLASS);
    return *found;
}

broker::Response askProvider(const Operation& operation,
                             const std::function<broker::Response(broker::Broker&)>& request) {
    if (operation.space.manager == nullptr) throw CimError(CMPI_RC_ERR_NOT_SUPPORTED);
    operation.goOn();
    broker::Response answer;
    try {
        answer = request(*operation.space.manager);
    } catch (const std::exception& error) {
        throw CimError(CMPI_RC_ERR_FAILED, std::string("The provider threw an exception: ") + error.what());
    } catch (...) {
        throw CimError(CMPI_RC_ERR_FAILED, "The provider threw an exception");
    }
    if (answer.status != CMPI_RC_OK) throw CimError(answer.status);
    return answer;
}

View objectView(Parameters& parameters) {
    View view;
    view.qualifiers = parameters.flag("IncludeQualifiers", false);
    view.classOrigin = parameters.flag("IncludeClassOrigin", false);
    view.properties = parameters.propertyList();
    return view;
}

View instanceView(Operation& operation) {
    View view = objectView(operation.parameters);
    const broker::Broker* manager = operation.space.manager;
    if (manager != nullptr && broker::manners::kPropertyListsUnread.of(manager->manners())) view.properties.reset();
    return view;
}

}  // namespace wbem
