#include "broker/calllog.h"

#include <algorithm>
#include <stdexcept>

namespace broker {

const std::vector<std::string>& CallLog::functions() {
    static const std::vector<std::string> names{"bft.prepareAttachThread",
                                                "bft.attachThread",
                                                "bft.detachThread",
                                                "bft.deliverIndication",
                                                "bft.enumerateInstanceNames",
                                                "bft.getInstance",
                                                "bft.createInstance",
                                                "bft.modifyInstance",
                                                "bft.deleteInstance",
                                                "bft.execQuery",
                                                "bft.enumerateInstances",
                                                "bft.associators",
                                                "bft.associatorNames",
                                                "bft.references",
                                                "bft.referenceNames",
                                                "bft.invokeMethod",
                                                "bft.setProperty",
                                                "bft.getProperty",
                                                "eft.newInstance",
                                                "eft.newObjectPath",
                                                "eft.newArgs",
                                                "eft.newString",
                                                "eft.newArray",
                                                "eft.newDateTime",
                                                "eft.newDateTimeFromBinary",
                                                "eft.newDateTimeFromChars",
                                                "eft.newSelectExp",
                                                "eft.classPathIsA",
                                                "eft.toString",
                                                "eft.isOfType",
                                                "eft.getType",
                                                "eft.getMessage",
                                                "eft.logMessage",
                                                "eft.trace",
                                                "result.release",
                                                "result.clone",
                                                "result.returnData",
                                                "result.returnInstance",
                                                "result.returnObjectPath",
                                                "result.returnDone",
                                                "objectPath.release",
                                                "objectPath.clone",
                                                "objectPath.setNameSpace",
                                                "objectPath.getNameSpace",
                                                "objectPath.setHostname",
                                                "objectPath.getHostname",
                                                "objectPath.setClassName",
                                                "objectPath.getClassName",
                                                "objectPath.addKey",
                                                "objectPath.getKey",
                                                "objectPath.getKeyAt",
                                                "objectPath.getKeyCount",
                                                "objectPath.setNameSpaceFromObjectPath",
                                                "objectPath.setHostAndNameSpaceFromObjectPath",
                                                "objectPath.getClassQualifier",
                                                "objectPath.getPropertyQualifier",
                                                "objectPath.getMethodQualifier",
                                                "objectPath.getParameterQualifier",
                                                "objectPath.toString",
                                                "instance.release",
                                                "instance.clone",
                                                "instance.getProperty",
                                                "instance.getPropertyAt",
                                                "instance.getPropertyCount",
                                                "instance.setProperty",
                                                "instance.getObjectPath",
                                                "instance.setPropertyFilter",
                                                "instance.setObjectPath",
                                                "array.release",
                                                "array.clone",
                                                "array.getSize",
                                                "array.getSimpleType",
                                                "array.getElementAt",
                                                "array.setElementAt",
                                                "enumeration.release",
                                                "enumeration.clone",
                                                "enumeration.getNext",
                                                "enumeration.hasNext",
                                                "enumeration.toArray",
                                                "string.release",
                                                "string.clone",
                                                "string.getCharPtr",
                                                "context.release",
                                                "context.clone",
                                                "context.getEntry",
                                                "context.getEntryAt",
                                                "context.getEntryCount",
                                                "context.addEntry"};
    return names;
}

std::optional<CMPIrc> CallLog::enter(const char* function, const char* name, CMPIType type, std::size_t index) {
    std::optional<Fault> fault;
    {
        const std::lock_guard lock(mutex_);
        if (recording_) calls_.push_back({function, name == nullptr ? "" : name, type, index});
        fault = strike(function);
    }
    if (!fault) return std::nullopt;
    if (fault->effect == Effect::standardException) throw std::runtime_error(std::string(function) + " made to throw");
    if (fault->effect == Effect::otherException) throw static_cast<int>(fault->rc);
    return fault->rc;
}

// Every fault counts every call that it waits for, even one that another fault makes fail.
std::optional<CallLog::Fault> CallLog::strike(const char* function) {
    std::optional<Fault> struck;
    for (Fault& fault : faults_) {
        const bool waits = fault.callsLeft > 0 && (fault.function == "*" || fault.function == function);
        if (waits && --fault.callsLeft == 0) struck = fault;
    }
    return struck;
}

void CallLog::record(bool on) {
    const std::lock_guard lock(mutex_);
    recording_ = on;
}

std::vector<Call> CallLog::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

void CallLog::clear() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
}

void CallLog::addFault(const std::string& function, unsigned nth, Effect effect, CMPIrc rc) {
    if (nth == 0) throw std::invalid_argument("calls are counted from 1");
    const auto& names = functions();
    if (function != "*" && std::find(names.begin(), names.end(), function) == names.end()) {
        throw std::invalid_argument("\"" + function + "\" is no function of the broker");
    }
    const std::lock_guard lock(mutex_);
    faults_.push_back({function, nth, effect, rc});
}

void CallLog::clearFaults() {
    const std::lock_guard lock(mutex_);
    faults_.clear();
}

bool CallLog::faultStruck() const {
    const std::lock_guard lock(mutex_);
    return !faults_.empty() && faults_.back().callsLeft == 0;
}

}  // namespace broker
