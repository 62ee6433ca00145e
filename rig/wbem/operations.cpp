// Which function performs an operation, in which namespace.
// Tests: tests/wbem/operations_test.cpp, manager_test.cpp.
#include "wbem/operations.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "cim/names.h"
#include "mof/declaration.h"
#include "wbem/cimerror.h"
#include "wbem/operation.h"

namespace wbem {

namespace {

struct Intrinsic {
    const char* name;
    void (*perform)(Operation&);
};

constexpr Intrinsic kIntrinsics[] = {
    {"EnumerateInstanceNames", enumerateInstanceNames},
    {"EnumerateInstances", enumerateInstances},
    {"GetInstance", getInstance},
    {"GetProperty", getProperty},
    {"CreateInstance", createInstance},
    {"ModifyInstance", modifyInstance},
    {"DeleteInstance", deleteInstance},
    {"ExecQuery", execQuery},
    {"Associators", associators},
    {"AssociatorNames", associatorNames},
    {"References", references},
    {"ReferenceNames", referenceNames},
    {"EnumerateClassNames", enumerateClassNames},
    {"EnumerateClasses", enumerateClasses},
    {"GetClass", getClass},
    {"EnumerateQualifiers", enumerateQualifiers},
    {"GetQualifier", getQualifier},
};

/** Null for an operation that is unknown or not supported. */
const Intrinsic* intrinsicNamed(const std::string& name) {
    for (const Intrinsic& each : kIntrinsics)
        if (cim::sameName(each.name, name)) return &each;
    return nullptr;
}

/** No class here declares a method. Whether the instance exists is not looked at. */
[[noreturn]] void refuseMethod(const mof::Schema& schema, const Call& call) {
    if (schema.find(call.targetClass()) == nullptr) throw CimError(CMPI_RC_ERR_NOT_FOUND, "The class does not exist");
    throw CimError(CMPI_RC_ERR_METHOD_NOT_FOUND);
}

}  // namespace

Operations::Operations(broker::Broker& manager, const mof::Schema& schema, const std::string& nameSpace)
    : namespaces_(interopNamespaces(nameSpace)) {
    schema::declareTo(manager, schema);
    namespaces_.push_back({nameSpace, schema, &manager, {}});
}

void Operations::perform(const Call& call, const std::string& host, pugi::xml_node response,
                         const std::function<bool()>& abandoned) const {
    const Intrinsic* intrinsic = intrinsicNamed(call.method);
    // DSP0200 has this error come before all others.
    if (call.intrinsic && intrinsic == nullptr) throw CimError(CMPI_RC_ERR_NOT_SUPPORTED);
    const auto space = std::find_if(namespaces_.begin(), namespaces_.end(),
                                    [&](const Namespace& each) { return cim::sameName(call.nameSpace, each.name); });
    if (space == namespaces_.end()) throw CimError(CMPI_RC_ERR_INVALID_NAMESPACE);
    if (!call.intrinsic) refuseMethod(space->schema, call);
    Operation operation{
        *space,   call.nameSpace, Parameters(call.element, call.nameSpace), Encoder(space->schema, host),
        response, abandoned};
    intrinsic->perform(operation);
}

}  // namespace wbem
