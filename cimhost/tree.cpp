// The tree for people. Tests: tests/cimhost/tree_test.cpp, treecommand_test.cpp.

#include "cimhost/tree.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <map>
#include <utility>

namespace cimhost {

namespace {

// --- lines for several functions ---

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

/** How many functions there are at each location: more than one where PCI domains have functions there. */
using Domains = std::map<std::string, std::size_t>;

Domains domainsOf(const Functions& functions) {
    Domains domains;
    for (const Function& function : functions) ++domains[function.location];
    return domains;
}

/** What is to be said of locations that occur more than once: "[00:1f.2 in 2 PCI domains] ", else nothing. */
std::string domainsText(const Functions& functions, const Domains& domains) {
    const std::size_t count = domains.at(functions.front().location);
    DistinctTexts several;
    bool alike = true;
    for (const Function& function : functions) {
        const std::size_t here = domains.at(function.location);
        alike = alike && here == count;
        if (here > 1) several.add(fmt::format("{} in {}", function.location, here));
    }
    if (several.inOrder().empty()) return "";
    if (alike) return fmt::format("[the same location in {} PCI domains] ", count);
    return fmt::format("[{} PCI domains] ", fmt::join(several.inOrder(), ", "));
}

/** The functions that one line stands for, those of one device or of several. */
struct Group {
    Functions functions;
    std::string description;

    std::string location() const {
        const std::string& first = functions.front().location;
        const std::string& last = functions.back().location;
        if (first == last) return first;
        const std::string device = deviceOf(functions.front());
        if (device == deviceOf(functions.back())) return device + '.' + numbersWithinDevice(functions);
        return first + ".." + last.substr(last.find(':') + 1);
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

std::vector<Group> groupsOf(const Functions& functions, bool inFull) {
    if (!inFull) return neighboursJoined(devicesOf(functions));
    std::vector<Group> groups;
    for (const Function& function : functions) groups.push_back({{function}, function.description});
    return groups;
}

// --- the tree ---

/** What the lines are drawn with, all of the same width. */
struct Symbols {
    const char* branch;
    const char* lastBranch;
    const char* trunk;
    const char* times;
};

constexpr const char* kNoTrunk = "   ";
constexpr std::size_t kSymbolColumns = 3;

const Symbols& symbolsOf(Charset charset) {
    static constexpr Symbols utf8 = {"├─ ", "└─ ", "│  ", "×"};
    static constexpr Symbols ascii = {"|- ", "`- ", "|  ", "x"};
    return charset == Charset::utf8 ? utf8 : ascii;
}

using Lines = TextTable::Lines;

/** What stands in place of the slots where there are none: a BMC that keeps silent is no error to the provider. */
std::string reasonForNoSlots(CMPIrc status) {
    return status == CMPI_RC_OK ? "no slots: the BMC gave no SMBIOS table, or one without slots" : "no slots";
}

/** Lays an inventory out in columns and draws the lines between them. */
class Drawing {
 public:
    Drawing(const Inventory& inventory, const TableOptions& options)
        : inventory_(inventory),
          options_(options),
          symbols_(symbolsOf(options.charset)),
          leaves_({{""}, {"", Align::right}, {"", Align::left, true}}, options.charset) {
        addBranch({"system board  " + counted(inventory.onBoard.size(), "function")}, inventory.onBoard);
        addSlots();
        const std::string elsewhere = "neither on the board nor in a slot  ";
        if (!inventory.elsewhere.empty())
            addBranch(wrap(elsewhere + counted(inventory.elsewhere.size(), "function"), room(1)), inventory.elsewhere);
    }

    std::string text() const {
        std::string text = bold(printable(inventory_.host, options_.charset), options_) + '\n';
        const std::vector<Lines> leaves = belowHead(leaves_, 2);
        auto leaf = leaves.begin();
        for (const Branch& branch : branches_) {
            const bool last = &branch == &branches_.back();
            const std::string trunk = last ? kNoTrunk : symbols_.trunk;
            text += joined(branch.title, last ? symbols_.lastBranch : symbols_.branch, trunk);
            for (std::size_t left = branch.leaves; left > 0; --left, ++leaf)
                text += joined(*leaf, trunk + (left == 1 ? symbols_.lastBranch : symbols_.branch),
                               trunk + (left == 1 ? kNoTrunk : symbols_.trunk));
        }
        text += '\n';
        if (const std::string note = leftOutNote(leftOut_); !note.empty()) text += secondary(note, options_);
        return text + secondary(status(), options_);
    }

 private:
    /** A title in the tree's first level, and how many leaves are below it. */
    struct Branch {
        Lines title;
        std::size_t leaves;
    };

    /** All leaves are laid out in one table, so that their columns stand below each other. */
    void addBranch(const Lines& title, const Functions& functions) {
        const std::vector<Group> groups = groupsOf(functions, options_.inFull);
        const Domains domains = domainsOf(functions);
        for (const Group& group : groups) {
            const std::size_t count = group.functions.size();
            leaves_.add({group.location(), count == 1 ? "" : std::to_string(count) + symbols_.times,
                         domainsText(group.functions, domains) + group.description});
        }
        branches_.push_back({{}, groups.size()});
        for (const std::string& line : title) branches_.back().title.push_back(bold(line, options_));
    }

    void addSlots() {
        TextTable table({{""},
                         {"", Align::right},
                         {"", Align::left, true},
                         {"", Align::left, false, 1, "usage"},
                         {"", Align::left, false, 2, "width"},
                         {""}},
                        options_.charset);
        for (const Slot& slot : inventory_.slots) {
            const std::size_t count = slot.functions.size();
            table.add({"slot", slot.number ? std::to_string(*slot.number) : "-", slot.designation, slot.usage,
                       slot.width, count == 0 ? "empty" : counted(count, "function")});
        }
        if (inventory_.slots.empty()) return addBranch(wrap(reasonForNoSlots(inventory_.status), room(1)), {});
        if (options_.toTerminal) leftOut_ = table.leaveOut(options_.width == 0 ? 0 : room(1));
        const std::vector<Lines> titles = belowHead(table, 1);
        for (std::size_t i = 0; i < titles.size(); ++i) addBranch(titles[i], inventory_.slots[i].functions);
    }

    std::vector<Lines> belowHead(const TextTable& table, std::size_t level) const {
        std::vector<Lines> rows = table.rows(options_.width == 0 ? 0 : room(level), options_.overflow());
        rows.erase(rows.begin());
        return rows;
    }

    /** Columns that the symbols of a level leave. */
    std::size_t room(std::size_t level) const {
        const std::size_t taken = level * kSymbolColumns;
        if (options_.width == 0) return std::numeric_limits<std::size_t>::max();
        return options_.width > taken ? options_.width - taken : 1;
    }

    /** Lines, `first` before the first of them and `rest` before the others. */
    static std::string joined(const Lines& lines, const std::string& first, const std::string& rest) {
        std::string text;
        for (const std::string& line : lines) text += (&line == lines.data() ? first : rest) + line + '\n';
        return text;
    }

    std::string status() const {
        return fmt::format("{}, {}, {}; {} of the SMBIOS table", broker::statusName(inventory_.status),
                           counted(inventory_.slots.size(), "slot"), counted(inventory_.functionCount, "function"),
                           counted(inventory_.readings, "reading"));
    }

    const Inventory& inventory_;
    const TableOptions& options_;
    const Symbols& symbols_;
    TextTable leaves_;
    std::vector<Branch> branches_;
    std::vector<std::string> leftOut_;  // of the slots' columns
};

}  // namespace

std::string treeText(const Inventory& inventory, const TableOptions& options) {
    return Drawing(inventory, options).text();
}

}  // namespace cimhost
