#include "cimhost/classes.h"

#include <algorithm>

#include "cimhost/suggestion.h"
#include "mof/embedded.h"
#include "cim/names.h"

namespace cimhost {

namespace {

constexpr const char* kPrefix = "QELTA_";

struct ShortName {
    const char* name;
    const char* className;
};

constexpr ShortName kShortNames[] = {{"slots", "QELTA_SystemSlot"},
                                     {"devices", "QELTA_PCIDevice"},
                                     {"bridges", "QELTA_PCIBridge"},
                                     {"board", "QELTA_SystemBoard"}};

/** The class that a word stands for, "" where it is none of the short names. */
std::string classOfShortName(const std::string& word) {
    for (const auto& [name, className] : kShortNames)
        if (cim::sameName(name, word)) return className;
    return "";
}

bool isAmong(const std::vector<std::string>& names, const std::string& name) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& each) { return cim::sameName(each, name); });
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

bool isDeclared(const std::string& className) {
    return schema::declared().find(className) != nullptr;
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
        if (cim::sameName(served, whole)) return served;
    const std::string className = classOfShortName(name);
    return className.empty() ? name : className;
}

std::string nearestClass(const std::string& name) {
    for (const std::string& written : {name, kPrefix + name}) {
        std::string found = nearest(written, servedClasses());
        if (!found.empty()) return found;
    }
    std::vector<std::string> shortNames;
    for (const ShortName& each : kShortNames) shortNames.emplace_back(each.name);
    return classOfShortName(nearest(name, shortNames));
}

}  // namespace cimhost
