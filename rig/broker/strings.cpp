// Slots of strings, contexts and results.

#include "broker/convert.h"
#include "broker/objects.h"
#include "broker/slots.h"

namespace broker {

namespace {

const char* getCharPtr(const CMPIString* self, CMPIStatus* rc) {
    StringObject& string = StringObject::of(self);
    if (const auto fault = string.core.enter("string.getCharPtr")) return failed<const char*>(rc, *fault);
    setStatus(rc, CMPI_RC_OK);
    return string.data.c_str();
}

CMPIData getEntry(const CMPIContext* self, const char* name, CMPIStatus* rc) {
    ContextObject& context = ContextObject::of(self);
    if (const auto fault = context.core.enter("context.getEntry", name)) return noData(rc, *fault);
    const Value* entry = findNamed(context.data, textOf(name));
    if (entry == nullptr) return noData(rc, CMPI_RC_ERR_NOT_FOUND);
    setStatus(rc, CMPI_RC_OK);
    return give(context.core, *entry);
}

CMPIData getEntryAt(const CMPIContext* self, CMPICount index, CMPIString** name, CMPIStatus* rc) {
    ContextObject& context = ContextObject::of(self);
    if (const auto fault = context.core.enter("context.getEntryAt", nullptr, CMPI_null, index)) {
        return noData(rc, *fault);
    }
    if (index >= context.data.size()) return noData(rc, CMPI_RC_ERR_NOT_FOUND);
    return dataAt(context.core, context.data, index, CMPI_goodValue, name, rc);
}

CMPICount getEntryCount(const CMPIContext* self, CMPIStatus* rc) {
    ContextObject& context = ContextObject::of(self);
    if (const auto fault = context.core.enter("context.getEntryCount")) return failed<CMPICount>(rc, *fault);
    setStatus(rc, CMPI_RC_OK);
    return static_cast<CMPICount>(context.data.size());
}

CMPIStatus addEntry(const CMPIContext* self, const char* name, const CMPIValue* value, CMPIType type) {
    ContextObject& context = ContextObject::of(self);
    if (const auto fault = context.core.enter("context.addEntry", name, type)) return {*fault, nullptr};
    if (textOf(name).empty()) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    Taken taken = take(context.core, value, type);
    if (taken.status == CMPI_RC_OK) setNamed(context.data, name, std::move(taken.value));
    return {taken.status, nullptr};
}

// Only methods and properties have data to return.
CMPIStatus returnData(const CMPIResult* self, const CMPIValue* value, CMPIType type) {
    ResultObject& result = ResultObject::of(self);
    if (const auto fault = result.core.enter("result.returnData", nullptr, type)) return {*fault, nullptr};
    if (type == CMPI_ref) {
        const manners::Verdict verdict = result.core.behaviour(manners::kReturnDataOfReference);
        return {result.core.judge(verdict, "result.returnData", "a reference"), nullptr};
    }
    Taken taken = take(result.core, value, type);
    if (taken.status == CMPI_RC_OK) result.data.data.push_back(std::move(taken.value));
    return {taken.status, nullptr};
}

/** Notes a delivery, and what is wrong with it; CMPI_RC_OK where the manager takes it all the same. */
CMPIrc noteDelivery(ResultObject& result, const char* function) {
    if (result.data.doneCalls == 0) return CMPI_RC_OK;
    ++result.data.deliveredAfterDone;
    return result.core.judge(result.core.behaviour(manners::kDeliveryAfterDone), function, "after returnDone");
}

CMPIStatus returnInstance(const CMPIResult* self, const CMPIInstance* instance) {
    ResultObject& result = ResultObject::of(self);
    const InstanceObject* delivered = instance == nullptr ? nullptr : &InstanceObject::of(instance);
    const char* name = delivered == nullptr ? nullptr : delivered->data.instance.path.className.c_str();
    if (const auto fault = result.core.enter("result.returnInstance", name)) return {*fault, nullptr};
    if (delivered == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    if (const CMPIrc refused = noteDelivery(result, "result.returnInstance")) return {refused, nullptr};
    if (result.ofGet && !result.data.instances.empty()) {
        const manners::Verdict verdict = result.core.behaviour(manners::kSecondInstanceOfGet);
        const CMPIrc refused = result.core.judge(verdict, "result.returnInstance", "a second instance for a get");
        if (refused != CMPI_RC_OK) return {refused, nullptr};
    }
    result.data.instances.push_back(delivered->data.instance);
    return {CMPI_RC_OK, nullptr};
}

CMPIStatus returnObjectPath(const CMPIResult* self, const CMPIObjectPath* path) {
    ResultObject& result = ResultObject::of(self);
    const PathObject* delivered = path == nullptr ? nullptr : &PathObject::of(path);
    const char* name = delivered == nullptr ? nullptr : delivered->data.path.className.c_str();
    if (const auto fault = result.core.enter("result.returnObjectPath", name)) return {*fault, nullptr};
    if (delivered == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    if (const CMPIrc refused = noteDelivery(result, "result.returnObjectPath")) return {refused, nullptr};
    result.data.paths.push_back(delivered->data.path);
    return {CMPI_RC_OK, nullptr};
}

CMPIStatus returnDone(const CMPIResult* self) {
    ResultObject& result = ResultObject::of(self);
    if (const auto fault = result.core.enter("result.returnDone")) return {*fault, nullptr};
    ++result.data.doneCalls;
    return {CMPI_RC_OK, nullptr};
}

}  // namespace

CMPIStringFT slots::string() {
    return {CMPIVersion100, release<StringObject>, clone<StringObject>, getCharPtr};
}

CMPIContextFT slots::context() {
    return {CMPIVersion100, release<ContextObject>, clone<ContextObject>, getEntry, getEntryAt, getEntryCount,
            addEntry};
}

CMPIResultFT slots::result() {
    return {CMPIVersion100, release<ResultObject>, clone<ResultObject>, returnData,
            returnInstance, returnObjectPath,      returnDone};
}

}  // namespace broker
