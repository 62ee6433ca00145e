// Slots of results: what a provider delivers. Tests: tests/broker/encapsulation_test.cpp, manners_test.cpp.

#include "broker/slots.h"

namespace broker::slots {

namespace {

// Data are results of methods and properties, which are not served.
CMPIStatus returnData(const CMPIResult* self, const CMPIValue*, CMPIType type) {
    Broker& broker = ResultObject::of(self).broker;
    if (const auto fault = broker.enter("result.returnData", nullptr, type)) return {*fault, nullptr};
    if (type != CMPI_ref) return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
    const manners::Verdict verdict = broker.behaviour(manners::kReturnDataOfReference);
    return {broker.judge(verdict, "result.returnData", "a reference"), nullptr};
}

/** Notes a delivery, and what is wrong with it; CMPI_RC_OK where the manager takes it all the same. */
CMPIrc noteDelivery(ResultObject& result, const char* function) {
    Response& response = result.data.response;
    if (response.doneCalls == 0) return CMPI_RC_OK;
    ++response.deliveredAfterDone;
    return result.broker.judge(result.broker.behaviour(manners::kDeliveryAfterDone), function, "after returnDone");
}

CMPIStatus returnInstance(const CMPIResult* self, const CMPIInstance* instance) {
    ResultObject& result = ResultObject::of(self);
    const Instance* delivered = instance == nullptr ? nullptr : &InstanceObject::of(instance).data;
    const char* name = delivered == nullptr ? nullptr : delivered->path.className.c_str();
    if (const auto fault = result.broker.enter("result.returnInstance", name)) return {*fault, nullptr};
    if (delivered == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    if (const CMPIrc refused = noteDelivery(result, "result.returnInstance")) return {refused, nullptr};
    std::vector<Instance>& instances = result.data.response.instances;
    if (result.data.ofGet && !instances.empty()) {
        const manners::Verdict verdict = result.broker.behaviour(manners::kSecondInstanceOfGet);
        const CMPIrc refused = result.broker.judge(verdict, "result.returnInstance", "a second instance for a get");
        if (refused != CMPI_RC_OK) return {refused, nullptr};
    }
    instances.push_back(*delivered);
    return {CMPI_RC_OK, nullptr};
}

CMPIStatus returnObjectPath(const CMPIResult* self, const CMPIObjectPath* path) {
    ResultObject& result = ResultObject::of(self);
    const ObjectPath* delivered = path == nullptr ? nullptr : &PathObject::of(path).data;
    const char* name = delivered == nullptr ? nullptr : delivered->className.c_str();
    if (const auto fault = result.broker.enter("result.returnObjectPath", name)) return {*fault, nullptr};
    if (delivered == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    if (const CMPIrc refused = noteDelivery(result, "result.returnObjectPath")) return {refused, nullptr};
    result.data.response.paths.push_back(*delivered);
    return {CMPI_RC_OK, nullptr};
}

CMPIStatus returnDone(const CMPIResult* self) {
    ResultObject& result = ResultObject::of(self);
    if (const auto fault = result.broker.enter("result.returnDone")) return {*fault, nullptr};
    ++result.data.response.doneCalls;
    return {CMPI_RC_OK, nullptr};
}

}  // namespace

CMPIResultFT result() {
    return {CMPIVersion100, release<ResultObject>, kNotServed, returnData,
            returnInstance, returnObjectPath,      returnDone};
}

}  // namespace broker::slots
