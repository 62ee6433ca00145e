// What names stand for on the command line: classes and objects. Tests: tests/cimhost/shortforms_test.cpp,
// usage_test.cpp.

#include "cimhost/shortforms.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <stdexcept>

#include "cim/ascii.h"
#include "cim/names.h"
#include "cimhost/selection.h"
#include "cimhost/suggestion.h"
#include "mof/embedded.h"

namespace cimhost {

namespace {

/** A class, the word that stands for it if there is one, and whether its instances are PCI functions. */
struct ServedClass {
    const char* name;
    const char* word;
    bool hasFunctions;
};

constexpr ServedClass kServed[] = {{"QELTA_PCIDevice", "devices", true},  {"QELTA_PCIBridge", "bridges", true},
                                   {"QELTA_DeviceInSlot", "", false},     {"QELTA_SystemSlot", "slots", false},
                                   {"QELTA_SystemBoard", "board", false}, {"QELTA_OnBoardDevice", "", false},
                                   {"QELTA_SSPCIController", "", true},   {"QELTA_OBDPCIController", "", true}};

const ServedClass* servedClass(const std::string& name) {
    for (const ServedClass& each : kServed)
        if (cim::sameName(each.name, name)) return &each;
    return nullptr;
}

/** The class that a word stands for, "" where it stands for none. */
std::string classOfWord(const std::string& word) {
    for (const ServedClass& each : kServed)
        if (!word.empty() && cim::sameName(each.word, word)) return each.name;
    return "";
}

constexpr std::size_t kMostDigits = 5;

broker::ObjectPath pathWithKey(const std::string& className, const std::string& key, const std::string& value) {
    return {kNamespace, className, {{key, broker::Value::string(value)}}};
}

/** The number of a slot, nothing for a text that is not a number; throws for other numbers, which name no object. */
std::optional<unsigned long> slotNumber(const std::string& text) {
    const bool isSigned = !text.empty() && (text.front() == '-' || text.front() == '+');
    const std::string digits = text.substr(isSigned ? 1 : 0);
    if (digits.empty() || !std::all_of(digits.begin(), digits.end(), cim::isDigit)) return std::nullopt;
    if (isSigned || digits.size() > kMostDigits)
        throw std::invalid_argument(
            fmt::format("{} is no slot's number, which has one to {} digits and no sign", text, kMostDigits));
    return std::stoul(digits);
}

std::vector<broker::ObjectPath> functionPaths(const std::string& text) {
    const Location location = parseLocation(text);
    if (!location.bus || !location.device || !location.function)
        throw std::invalid_argument(fmt::format("{}: a function is named as BUS:DEVICE.FUNCTION, e.g. 16:00.0", text));
    const std::string deviceId =
        fmt::format("PCI Bus {}, device {}, function {}", *location.bus, *location.device, *location.function);
    return {pathWithKey("QELTA_PCIDevice", "DeviceID", deviceId), pathWithKey("QELTA_PCIBridge", "DeviceID", deviceId)};
}

}  // namespace

const std::vector<std::string>& servedClasses() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const ServedClass& each : kServed) all.emplace_back(each.name);
        return all;
    }();
    return names;
}

bool isServed(const std::string& className) {
    return servedClass(className) != nullptr;
}

bool isDeclared(const std::string& className) {
    return schema::declared().find(className) != nullptr;
}

bool isAssociation(const std::string& className) {
    const mof::Class* declared = schema::declared().find(className);
    return declared && declared->isAssociation();
}

bool hasFunctions(const std::string& className) {
    const ServedClass* served = servedClass(className);
    return served && served->hasFunctions;
}

std::string wholeClassName(const std::string& name) {
    if (const ServedClass* served = servedClass(kPrefix + name)) return served->name;
    const std::string className = classOfWord(name);
    return className.empty() ? name : className;
}

std::string nearestClass(const std::string& name) {
    for (const std::string& written : {name, kPrefix + name}) {
        std::string found = nearest(written, servedClasses());
        if (!found.empty()) return found;
    }
    std::vector<std::string> words;
    for (const ServedClass& each : kServed)
        if (*each.word != '\0') words.emplace_back(each.word);
    return classOfWord(nearest(name, words));
}

std::vector<broker::ObjectPath> pathsNamedBy(const std::string& text) {
    if (const auto number = slotNumber(text))
        return {pathWithKey("QELTA_SystemSlot", "Tag", fmt::format("System Slot {}", *number))};
    if (looksLikeFunction(text)) return functionPaths(text);
    if (cim::sameName(text, "board")) return {pathWithKey("QELTA_SystemBoard", "DeviceID", "SystemBoard1")};
    broker::ObjectPath path = broker::parseObjectPath(text);
    path.className = wholeClassName(path.className);
    return {path};
}

}  // namespace cimhost
