// The slot through which a provider asks the object manager, and so the one provider there is.
// Tests: tests/broker/upcalls_test.cpp, manners_test.cpp.

#include <algorithm>
#include <iterator>

#include "broker/dispatch.h"
#include "broker/request.h"
#include "broker/slots.h"
#include "cim/names.h"

namespace broker::slots {

namespace {

constexpr char kNameSpace[] = "root/kavix";  // the only one

/** The answer where the call cannot be passed on: no path, or one to nothing. */
std::optional<CMPIrc> refusal(const Broker& broker, const ObjectPath* path) {
    if (path == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
    if (!broker.behaviour(manners::kUpcallsNeedClass)) return std::nullopt;
    if (!cim::sameName(path->nameSpace, kNameSpace)) return CMPI_RC_ERR_INVALID_NAMESPACE;
    if (broker.classes().find(path->className) == nullptr) return CMPI_RC_ERR_INVALID_CLASS;
    return std::nullopt;
}

/** The provider's answer; where there is an enumeration in spite of an error it is empty. */
UpcallAnswer answerOf(const Response& response) {
    UpcallAnswer answer{false, response.status, {}};
    if (response.status != CMPI_RC_OK) return answer;
    const std::vector<Instance>& instances = response.instances;
    std::transform(instances.begin(), instances.end(), std::back_inserter(answer.elements), Value::instance);
    return answer;
}

bool givesNoEnumeration(const Broker& broker, const UpcallAnswer& answer) {
    if (answer.nullEnumeration || answer.status == CMPI_RC_ERR_INVALID_CLASS) return true;  // no provider knows it
    return answer.status != CMPI_RC_OK && broker.behaviour(manners::kNoEnumerationOnError);
}

CMPIEnumeration* enumerateInstances(const CMPIBroker* self, const CMPIContext* context, const CMPIObjectPath* path,
                                    const char** properties, CMPIStatus* rc) {
    Broker& broker = Broker::of(self);
    const ObjectPath* plain = path == nullptr ? nullptr : &PathObject::of(path).data;
    const char* name = plain == nullptr ? nullptr : plain->className.c_str();
    if (const auto fault = broker.enter("bft.enumerateInstances", name)) return failed<CMPIEnumeration*>(rc, *fault);
    if (const auto refused = refusal(broker, plain)) return failed<CMPIEnumeration*>(rc, *refused);
    const std::optional<UpcallAnswer> canned = broker.upcallAnswer(plain->className);
    const UpcallAnswer answer =
        canned ? *canned : answerOf(dispatch::enumeration(broker, *plain, [&](const auto& each) {
            return ask(broker, broker.instanceMI(), context, &CMPIInstanceMIFT::enumerateInstances, each, properties);
        }));
    if (givesNoEnumeration(broker, answer)) return failed<CMPIEnumeration*>(rc, answer.status);
    CMPIEnumeration* enumeration = broker.make<EnumerationObject>(EnumerationData{answer.elements, 0}).handle();
    setStatus(rc, answer.status);
    return enumeration;
}

}  // namespace

CMPIBrokerFT broker() {
    return {CMPI_MB_BasicRead | CMPI_MB_OSEncapsulationSupport,
            CMPIVersion100,
            "in-process broker",
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed,
            enumerateInstances,
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed,
            kNotServed};
}

}  // namespace broker::slots
