#include "cimhost/tree.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "cimhost/text.h"
#include "cimhost/texttable.h"

namespace cimhost {

namespace {

using Row = std::vector<std::string>;

/** The rows as lines in which the cells of one column, `align` each, stand below each other. */
std::vector<std::string> aligned(const std::vector<Align>& align, const std::vector<Row>& rows) {
    std::vector<Heading> headings(align.size());
    for (std::size_t i = 0; i < align.size(); ++i) headings[i].align = align[i];
    TextTable table(headings);
    for (const Row& row : rows) table.add(row);
    std::vector<std::string> text = lines(table.cutTo(std::numeric_limits<std::size_t>::max()));
    text.erase(text.begin());
    return text;
}

std::string counted(std::size_t count, const std::string& noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

void addNew(std::vector<std::string>& texts, const std::string& text) {
    if (!text.empty() && std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
}

// --- lines for several functions ---

/** The device that the function belongs to, "00:1f" for "00:1f.3". */
std::string deviceOf(const Function& function) {
    return function.location.substr(0, function.location.rfind('.'));
}

/** ".3" for "00:1f.3"; of another length or empty where the location has another form. */
std::string numberWithinDevice(const Function& function) {
    return function.location.substr(deviceOf(function).size());
}

/** "0,2,4" for ".0", ".2" and ".4"; from three in a row on "0-7". */
std::string numbersWithinDevice(const Functions& functions) {
    std::string numbers;
    for (const Function& function : functions) numbers += numberWithinDevice(function).substr(1);
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
    std::vector<std::string> kinds;
    std::vector<std::string> names;
    for (const Function& function : functions) {
        const Description description(function.description);
        addNew(kinds, description.kind);
        addNew(names, description.name);
    }
    for (std::size_t i = 1; i < names.size(); ++i) names[i] = withoutSharedWords(names[i], names[0]);
    return fmt::format("{}{}{}", fmt::join(kinds, ", "), kinds.empty() ? "" : ": ", fmt::join(names, "; "));
}

/** The functions that one line stands for, those of one device or of several. */
struct Group {
    Functions functions;
    std::string description;

    std::string location() const {
        const std::string& first = functions.front().location;
        const std::string& last = functions.back().location;
        if (functions.size() == 1) return first;
        const std::string device = deviceOf(functions.front());
        if (device == deviceOf(functions.back())) return device + '.' + numbersWithinDevice(functions);
        return first + ".." + last.substr(last.find(':') + 1);
    }
    Row row() const {
        return {location(), functions.size() == 1 ? "" : fmt::format("{}×", functions.size()), description};
    }
};

bool ofOneDevice(const Function& left, const Function& right) {
    return numberWithinDevice(left).size() == 2 && numberWithinDevice(right).size() == 2 &&
           deviceOf(left) == deviceOf(right);
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

std::vector<Row> functionRows(const Functions& functions, bool inFull) {
    std::vector<Row> rows;
    if (inFull) {
        for (const Function& function : functions) rows.push_back({function.location, "", function.description});
    } else {
        for (const Group& group : neighboursJoined(devicesOf(functions))) rows.push_back(group.row());
    }
    return rows;
}

// --- the tree ---

/** A line below the root, and those below it. */
struct Branch {
    std::string title;
    std::vector<Row> rows;
};

/** What stands in place of the slots where there are none: a BMC that keeps silent is no error to the provider. */
std::string reasonForNoSlots(CMPIrc status) {
    return status == CMPI_RC_OK ? "no slots: the BMC gave no SMBIOS table, or one without slots" : "no slots";
}

std::vector<Branch> slotBranches(const std::vector<Slot>& slots, bool inFull) {
    std::vector<Row> titles;
    for (const Slot& slot : slots) {
        const std::size_t count = slot.functions.size();
        titles.push_back({"slot", slot.number ? std::to_string(*slot.number) : "-", slot.designation, slot.usage,
                          slot.width, count == 0 ? "empty" : counted(count, "function")});
    }
    const std::vector<Align> align = {Align::left, Align::right, Align::left, Align::left, Align::left, Align::left};
    const std::vector<std::string> lines = aligned(align, titles);
    std::vector<Branch> branches;
    for (std::size_t i = 0; i < slots.size(); ++i)
        branches.push_back({lines[i], functionRows(slots[i].functions, inFull)});
    return branches;
}

std::vector<Branch> branchesOf(const Inventory& inventory, bool inFull) {
    std::vector<Branch> branches = slotBranches(inventory.slots, inFull);
    if (branches.empty()) branches.push_back({reasonForNoSlots(inventory.status), {}});
    branches.insert(branches.begin(), {"system board  " + counted(inventory.onBoard.size(), "function"),
                                       functionRows(inventory.onBoard, inFull)});
    if (!inventory.elsewhere.empty())
        branches.push_back({"neither on the board nor in a slot  " + counted(inventory.elsewhere.size(), "function"),
                            functionRows(inventory.elsewhere, inFull)});
    return branches;
}

std::string drawn(const std::vector<Branch>& branches, std::size_t width) {
    std::vector<Row> rows;
    for (const Branch& branch : branches) rows.insert(rows.end(), branch.rows.begin(), branch.rows.end());
    const std::vector<std::string> leaves = aligned({Align::left, Align::right, Align::left}, rows);
    std::string text;
    auto leaf = leaves.begin();
    for (const Branch& branch : branches) {
        const bool last = &branch == &branches.back();
        text += cut((last ? "└─ " : "├─ ") + branch.title, width) + '\n';
        for (std::size_t left = branch.rows.size(); left > 0; --left)
            text += cut(fmt::format("{}  {}{}", last ? " " : "│", left == 1 ? "└─ " : "├─ ", *leaf++), width) + '\n';
    }
    return text;
}

}  // namespace

std::string treeText(const Inventory& inventory, const TableOptions& options) {
    const std::string summary =
        fmt::format("{}, {}", broker::statusName(inventory.status), counted(inventory.slots.size(), "slot"));
    return cut(printable(inventory.host), options.width) + '\n' +
           drawn(branchesOf(inventory, options.inFull), options.width) + '\n' + summary + '\n';
}

}  // namespace cimhost
