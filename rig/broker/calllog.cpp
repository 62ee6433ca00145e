// The record of the provider's calls, and calls that fail. Tests: tests/broker/faults_test.cpp, requests_test.cpp.
#include "broker/calllog.h"

#include <algorithm>
#include <stdexcept>

namespace broker {

const std::vector<std::string>& CallLog::functions() {
    static const std::vector<std::string> names{
        "bft.enumerateInstances", "eft.newInstance",       "eft.newObjectPath",
        "eft.newString",          "eft.newArray",          "result.release",
        "result.returnData",      "result.returnInstance", "result.returnObjectPath",
        "result.returnDone",      "objectPath.release",    "objectPath.getClassName",
        "objectPath.addKey",      "objectPath.getKey",     "instance.release",
        "instance.getProperty",   "instance.setProperty",  "instance.getObjectPath",
        "array.release",          "array.setElementAt",    "enumeration.release",
        "enumeration.getNext",    "enumeration.hasNext",   "string.release",
        "string.getCharPtr",      "context.release"};
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

void CallLog::recordCalls(bool on) {
    const std::lock_guard lock(mutex_);
    recording_ = on;
}

std::vector<Call> CallLog::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

void CallLog::clearCalls() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
}

void CallLog::failAt(const std::string& function, unsigned nth, CMPIrc rc) {
    addFault({function, nth, Effect::status, rc});
}

void CallLog::throwAt(const std::string& function, unsigned nth, bool standard) {
    addFault({function, nth, standard ? Effect::standardException : Effect::otherException, CMPI_RC_ERR_FAILED});
}

void CallLog::addFault(Fault fault) {
    if (fault.callsLeft == 0) throw std::invalid_argument("calls are counted from 1");
    const auto& names = functions();
    if (fault.function != "*" && std::find(names.begin(), names.end(), fault.function) == names.end()) {
        throw std::invalid_argument("the broker does not serve \"" + fault.function + "\"");
    }
    const std::lock_guard lock(mutex_);
    faults_.push_back(std::move(fault));
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
