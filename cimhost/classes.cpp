#include "cimhost/classes.h"

#include <algorithm>

#include "cimhost/suggestion.h"
#include "text/names.h"

namespace cimhost {

namespace {

constexpr const char* kPrefix = "QELTA_";

bool isAmong(const std::vector<std::string>& names, const std::string& name) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& each) { return text::sameName(each, name); });
}

}  // namespace

const std::vector<std::string>& servedClasses() {
    static const std::vector<std::string> classes = {
        "QELTA_PCIDevice",   "QELTA_PCIBridge",     "QELTA_DeviceInSlot",    "QELTA_SystemSlot",
        "QELTA_SystemBoard", "QELTA_OnBoardDevice", "QELTA_SSPCIController", "QELTA_OBDPCIController"};
    return classes;
}

bool isServed(const std::string& className) {
    return isAmong(servedClasses(), className);
}

bool isAssociation(const std::string& className) {
    return isAmong({"QELTA_DeviceInSlot", "QELTA_OnBoardDevice"}, className);
}

bool hasFunctions(const std::string& className) {
    return isAmong({"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SSPCIController", "QELTA_OBDPCIController"},
                   className);
}

std::string wholeClassName(const std::string& name) {
    const std::string whole = kPrefix + name;
    for (const std::string& served : servedClasses())
        if (text::sameName(served, whole)) return served;
    return name;
}

std::string nearestClass(const std::string& name) {
    const std::string found = nearest(name, servedClasses());
    return found.empty() ? nearest(kPrefix + name, servedClasses()) : found;
}

}  // namespace cimhost
