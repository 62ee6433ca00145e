// Functions that read the same, as lines and rows for people. Tests: tests/cimhost/tree_test.cpp, picture_test.cpp.

#include "cimhost/groups.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>

#include "cimhost/printable.h"

namespace cimhost {

namespace {

/** The device that the function belongs to, "00:1f" for "00:1f.3". */
std::string deviceOf(const Function& function) {
    return function.location.substr(0, function.location.rfind('.'));
}

/** ".3" for "00:1f.3"; of another length or empty where the location has another form. */
std::string numberWithinDevice(const Function& function) {
    return function.location.substr(deviceOf(function).size());
}

/** "0,2,4" for ".0", ".2" and ".4"; from three in a row on "0-7". A number that occurs again is told once. */
std::string numbersWithinDevice(const Functions& functions) {
    std::string numbers;
    for (const Function& function : functions) numbers += numberWithinDevice(function).substr(1);
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    std::string text;
    for (std::size_t first = 0; first < numbers.size();) {
        std::size_t last = first;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
        if (last < first + 2) last = first;
        text += (text.empty() ? "" : ",") + numbers.substr(first, 1);
        if (last > first) text += '-' + numbers.substr(last, 1);
        first = last + 1;
    }
    return text;
}

/** A description in two parts: "Ethernet controller" and "Acme Thing" of "Ethernet controller: Acme Thing (rev 02)". */
struct Description {
    explicit Description(const std::string& text) {
        const std::size_t colon = text.find(": ");
        if (colon != std::string::npos) kind = text.substr(0, colon);
        name = text.substr(kind.empty() ? 0 : colon + 2);
        name.erase(std::min(name.rfind(" (rev "), name.size()));
    }
    std::string kind;
    std::string name;
};

/** `text` without the words that `first` begins with too, its last word stays. */
std::string withoutSharedWords(const std::string& text, const std::string& first) {
    const auto differing = std::mismatch(text.begin(), text.end(), first.begin(), first.end()).first;
    const auto same = static_cast<std::size_t>(differing - text.begin());
    const std::size_t blank = same == 0 ? std::string::npos : text.rfind(' ', same - 1);
    return blank == std::string::npos ? text : text.substr(blank + 1);
}

/** All kinds, then all names, each once; the one description where all have the same. */
std::string commonDescription(const Functions& functions) {
    const auto sameAsFirst = [&](const Function& each) { return each.description == functions[0].description; };
    if (std::all_of(functions.begin(), functions.end(), sameAsFirst)) return functions[0].description;
    DistinctTexts allKinds;
    DistinctTexts allNames;
    for (const Function& function : functions) {
        const Description description(function.description);
        allKinds.add(description.kind);
        allNames.add(description.name);
    }
    const std::vector<std::string>& kinds = allKinds.inOrder();
    std::vector<std::string> names = allNames.inOrder();
    for (std::size_t i = 1; i < names.size(); ++i) names[i] = withoutSharedWords(names[i], names[0]);
    return fmt::format("{}{}{}", fmt::join(kinds, ", "), kinds.empty() ? "" : ": ", fmt::join(names, "; "));
}

/** Whether its location ends as one does: others may have any form, as object managers elsewhere give them. */
bool hasNumber(const Function& function) {
    return numberWithinDevice(function).size() == 2;
}

bool ofOneDevice(const Function& left, const Function& right) {
    return hasNumber(left) && hasNumber(right) && deviceOf(left) == deviceOf(right);
}

bool ofOneBus(const Function& left, const Function& right) {
    const std::size_t colon = left.location.find(':');
    return colon != std::string::npos && left.location.compare(0, colon + 1, right.location, 0, colon + 1) == 0;
}

std::vector<Group> devicesOf(const Functions& functions) {
    std::vector<Group> groups;
    for (const Function& function : functions) {
        if (groups.empty() || !ofOneDevice(groups.back().functions.back(), function)) groups.emplace_back();
        groups.back().functions.push_back(function);
    }
    for (Group& group : groups) group.description = commonDescription(group.functions);
    return groups;
}

std::vector<Group> neighboursJoined(const std::vector<Group>& devices) {
    std::vector<Group> groups;
    for (const Group& device : devices) {
        const bool joins = !groups.empty() && groups.back().description == device.description &&
                           ofOneBus(groups.back().functions.back(), device.functions.front());
        if (!joins) {
            groups.push_back(device);
            continue;
        }
        Functions& functions = groups.back().functions;
        functions.insert(functions.end(), device.functions.begin(), device.functions.end());
    }
    return groups;
}

}  // namespace

std::string Group::location() const {
    const std::string& first = functions.front().location;
    const std::string& last = functions.back().location;
    if (first == last) return first;
    const auto besideFirst = [&](const Function& each) { return ofOneDevice(functions.front(), each); };
    if (std::all_of(functions.begin(), functions.end(), besideFirst))
        return deviceOf(functions.front()) + '.' + numbersWithinDevice(functions);
    return first + ".." + last.substr(last.find(':') + 1);
}

std::vector<Group> groupsOf(const Functions& functions, bool inFull) {
    if (!inFull) return neighboursJoined(devicesOf(functions));
    std::vector<Group> groups;
    for (const Function& function : functions) groups.push_back({{function}, function.description});
    return groups;
}

}  // namespace cimhost
