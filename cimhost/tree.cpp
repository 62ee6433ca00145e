// The tree for people. Tests: tests/cimhost/tree_test.cpp, treecommand_test.cpp.

#include "cimhost/tree.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <map>
#include <utility>

#include "cimhost/groups.h"

namespace cimhost {

namespace {

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

std::string reasonForNoSlots(CMPIrc status) {
    return status == CMPI_RC_OK ? "no slots: the BMC gave no SMBIOS table, or one without slots" : "no slots";
}

std::string treeText(const Inventory& inventory, const TableOptions& options) {
    return Drawing(inventory, options).text();
}

}  // namespace cimhost
