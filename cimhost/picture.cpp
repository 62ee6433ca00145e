// Where everything is in the picture of a machine. Tests: tests/cimhost/picture_test.cpp.

#include "cimhost/picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "cimhost/columns.h"
#include "cimhost/functionkind.h"
#include "cimhost/groups.h"
#include "cimhost/printable.h"

namespace cimhost {

namespace {

constexpr Font kHostFont{"host", 26, true};
constexpr Font kSectionFont{"section", 15, true};
constexpr Font kNameFont{"name", 14, true};
constexpr Font kKindFont{"kind", 12, true};
constexpr Font kTextFont{"text", 12};
constexpr Font kChipFont{"where", 11, false, true};

constexpr int kMargin = 16;  // around the picture, and within the board
constexpr int kPadding = 12;
constexpr int kLine = 16;  // of text
constexpr int kChipHeight = 19;
constexpr int kChipGap = 4;

/** A text's line within a box: the baseline of one whose upper edge is at y. */
int baselineAt(int y, const Font& font) {
    return y + font.size;
}

Label label(int x, int y, const std::string& text, const Font& font) {
    return {x, baselineAt(y, font), text, &font};
}

/** That ends at `right`. */
Label endingAt(int right, int y, const std::string& text, const Font& font) {
    return label(right - widthOf(text, font), y, text, font);
}

// --- functions ---

/** "Ethernet controller" and "Acme Thing" of "Ethernet controller: Acme Thing (rev 02)". */
std::pair<std::string, std::string> kindAndName(const std::string& description) {
    const std::size_t colon = description.find(": ");
    std::string name = description.substr(colon == std::string::npos ? 0 : colon + 2);
    name.erase(std::min(name.rfind(" (rev "), name.size()));
    return {colon == std::string::npos ? "" : description.substr(0, colon), name};
}

/** How functions are written on chips: with their bus, or without where the box is a bus's. */
struct Chips {
    bool withBus;

    std::string textOf(const Function& function) const {
        const std::size_t colon = withBus ? std::string::npos : function.location.find(':');
        return printable(function.location.substr(colon == std::string::npos ? 0 : colon + 1));
    }
    int width() const { return widthOf(withBus ? "00:00.0" : "00.0", kChipFont) + 10; }
    /** How many stand beside each other in front of the text. */
    std::size_t columns() const { return withBus ? 1 : 2; }
    int columnWidth() const { return static_cast<int>(columns()) * (width() + kChipGap); }
};

Box chip(const Function& function, const Chips& chips, int x, int y) {
    Box box{{x, y, chips.width(), kChipHeight}, std::string("chip ") + kindOf(function).word, tooltipOf(function)};
    const std::string text = fitted(chips.textOf(function), kChipFont, chips.width() - 6);
    box.labels.push_back(label(x + (chips.width() - widthOf(text, kChipFont)) / 2, y + 3, text, kChipFont));
    return box;
}

/** Adds chips in rows of so many, and returns where they end. */
int addChips(Box& box, const Functions& functions, const Chips& chips, int x, int y, std::size_t inARow) {
    for (std::size_t i = 0; i < functions.size(); ++i) {
        const int column = static_cast<int>(i % inARow);
        const int row = static_cast<int>(i / inARow);
        box.parts.push_back(
            chip(functions[i], chips, x + column * (chips.width() + kChipGap), y + row * (kChipHeight + kChipGap)));
    }
    const int rows = static_cast<int>((functions.size() + inARow - 1) / inARow);
    return y + rows * (kChipHeight + kChipGap) - kChipGap;
}

/** The functions of a group and what they are: chips in front of the text or, where they are many, below it. */
Box row(const Group& group, const Chips& chips, int x, int y, int width) {
    constexpr std::size_t kRowsInFront = 3;
    constexpr std::size_t kNameLines = 2;
    Box box{{x, y, width, 0}, "row"};
    const auto [kind, name] = kindAndName(printable(group.description));
    const int textX = x + chips.columnWidth() + 4;
    const int textWidth = x + width - textX;
    int textEnd = y + 2;
    const auto add = [&](const std::string& text, const Font& font) {
        box.labels.push_back(label(textX, textEnd, text, font));
        textEnd += kLine;
    };
    if (!kind.empty()) add(fitted(kind, kKindFont, textWidth), kKindFont);
    for (const std::string& line : fittedLines(name, kTextFont, textWidth, kNameLines)) add(line, kTextFont);
    const std::size_t count = group.functions.size();
    const bool inFront = count <= kRowsInFront * chips.columns();
    int chipsEnd = 0;
    if (inFront) {
        chipsEnd = addChips(box, group.functions, chips, x, y, chips.columns());
    } else {
        const std::string times = fitted(fmt::format("{}\u00d7", count), kKindFont, chips.columnWidth());
        box.labels.push_back(label(x, y + 2, times, kKindFont));
        const auto inARow = static_cast<std::size_t>((width + kChipGap) / (chips.width() + kChipGap));
        chipsEnd = addChips(box, group.functions, chips, x, textEnd + 4, std::max<std::size_t>(inARow, 1));
    }
    box.at.height = std::max(textEnd, chipsEnd) - y;
    box.tooltip = printable(group.location() + "  " + group.description);
    return box;
}

/** Adds a row for each group from `y` on, and returns where they end. */
int addRows(Box& box, const Functions& functions, const Chips& chips, int y, bool inFull) {
    constexpr int kRowGap = 7;
    const int x = box.at.x + kPadding;
    for (const Group& group : groupsOf(functions, inFull)) {
        box.parts.push_back(row(group, chips, x, y, box.at.width - 2 * kPadding));
        y += box.parts.back().at.height + kRowGap;
    }
    return functions.empty() ? y : y - kRowGap;
}

// --- slots and buses, at the origin ---

/** In style sheets. */
std::string stateOf(const Slot& slot) {
    return slot.usage == "in use" ? "used" : slot.usage == "available" ? "free" : "unsure";
}

/** What the usage is, ending at `right`. */
Box usageBox(const Slot& slot, int right, int y, int width) {
    const std::string text = fitted(printable(slot.usage), kKindFont, width);
    const int taken = widthOf(text, kKindFont) + 16;
    Box box{{right - taken, y, taken, 20}, "usage " + stateOf(slot)};
    box.labels.push_back(label(right - taken + 8, y + 3, text, kKindFont));
    return box;
}

/** How long a connector with that width is drawn: by its lanes, or by its bits. 0: nobody knows. */
int connectorLength(const std::string& width) {
    static const std::map<std::string, int> lengths = {
        {"x1", 22},   {"x2", 27},    {"x4", 36},     {"x8", 54},     {"x12", 70},    {"x16", 88},
        {"x32", 112}, {"8 bit", 36}, {"16 bit", 54}, {"32 bit", 70}, {"64 bit", 88}, {"128 bit", 112}};
    const auto found = lengths.find(width);
    return found == lengths.end() ? 0 : found->second;
}

/** A connector as long as its width is great, in two parts as PCI's are; filled where the slot is in use. */
Box connector(const Slot& slot, int x, int y) {
    constexpr int kUnknownLength = 54;
    constexpr int kHeight = 9;
    constexpr int kFirst = 9;
    constexpr int kNotch = 3;
    const int known = connectorLength(slot.width);
    const int length = known == 0 ? kUnknownLength : known;
    const std::string style = "connector " + stateOf(slot);
    Box box{{x, y, length, kHeight}, "row"};
    box.parts.push_back({{x, y, kFirst, kHeight}, style});
    box.parts.push_back({{x + kFirst + kNotch, y, length - kFirst - kNotch, kHeight}, style});
    return box;
}

std::string typeAndWidth(const Slot& slot) {
    return slot.type.find(slot.width) == std::string::npos ? slot.type + " " + slot.width : slot.type;
}

/** Functions that another slot with the number has shown already are not drawn again. */
Box slotBox(const Slot& slot, int width, bool inFull, bool shown) {
    constexpr int kBadgeHeight = 24;
    Box box{{0, 0, width, 0}, "slot", tooltipOf(slot), {}, {}, true};
    const std::string number = slot.number ? std::to_string(*slot.number) : "?";
    const int badgeWidth = std::max(kBadgeHeight, widthOf(number, kNameFont) + 12);
    Box badge{{kPadding, kPadding, badgeWidth, kBadgeHeight}, "badge"};
    badge.labels.push_back(
        label(kPadding + (badgeWidth - widthOf(number, kNameFont)) / 2, kPadding + 3, number, kNameFont));
    box.parts.push_back(badge);
    const int nameX = kPadding + badgeWidth + 8;
    const std::string name = fitted(nameOf(slot), kNameFont, width - kPadding - nameX);
    box.labels.push_back(label(nameX, kPadding + 3, name, kNameFont));
    int y = kPadding + kBadgeHeight + 8;
    box.parts.push_back(usageBox(slot, width - kPadding, y, width / 3));
    const int usageX = box.parts.back().at.x;
    box.parts.push_back(connector(slot, kPadding, y + 5));
    const int typeX = kPadding + box.parts.back().at.width + 8;
    const std::string type = printable(typeAndWidth(slot));
    const std::string more = type + (slot.functions.empty() ? ", no function" : shown ? ", functions as above" : "");
    const int room = usageX - 8 - typeX;
    const bool fits = fitted(more, kTextFont, room) == more;
    box.labels.push_back(label(typeX, y + 3, fits ? more : fitted(type, kTextFont, room), kTextFont));
    y += 20;
    if (!slot.functions.empty() && !shown) y = addRows(box, slot.functions, {true}, y + 8, inFull);
    box.at.height = y + kPadding;
    return box;
}

/** A box with a title and functions. */
Box functionsBox(const std::string& title, const Functions& functions, const Chips& chips, int width, bool inFull) {
    Box box{{0, 0, width, 0}, "bus", {}, {}, {}, true};
    box.labels.push_back(endingAt(width - kPadding, kPadding + 2, counted(functions.size(), "function"), kTextFont));
    const int room = box.labels.back().x - 8 - kPadding;
    box.labels.push_back(label(kPadding, kPadding, fitted(title, kNameFont, room), kNameFont));
    box.at.height = addRows(box, functions, chips, kPadding + 26, inFull) + kPadding;
    return box;
}

// --- the whole ---

/** Lays a machine out from top to bottom. */
class Layout {
 public:
    Layout(const Inventory& inventory, const PictureOptions& options)
        : inventory_(inventory),
          namesHost_(options.namesHost),
          width_(options.width),
          inFull_(options.inFull),
          columns_(options.width < 700 ? 1 : 2) {}

    Picture picture() {
        Box whole{{0, 0, width_, 0}, "ground"};
        int y = addHead(whole, kMargin);
        y = addLegend(whole, y + 10);
        whole.parts.push_back(board(y + kGap));
        y += kGap + whole.parts.back().at.height;
        if (!inventory_.elsewhere.empty()) {
            Box box = functionsBox("Neither on the board nor in a slot", inventory_.elsewhere, {true},
                                   width_ - 2 * kMargin, inFull_);
            box.style += " apart";
            move(box, kMargin, y + kGap);
            y += kGap + box.at.height;
            whole.parts.push_back(std::move(box));
        }
        whole.at.height = y + kMargin;
        return {printable(inventory_.host) + ": " + printable(pictureSummary(inventory_)), std::move(whole)};
    }

 private:
    int room() const { return width_ - 2 * kMargin; }

    int addHead(Box& whole, int y) const {
        if (namesHost_) {
            const std::string name = fitted(printable(inventory_.host), kHostFont, room());
            whole.labels.push_back(label(kMargin, y, name, kHostFont));
            y += 38;
        }
        for (const std::string& line : fittedLines(printable(pictureSummary(inventory_)), kTextFont, room(), 3)) {
            whole.labels.push_back(label(kMargin, y, line, kTextFont));
            y += kLine;
        }
        return y;
    }

    /** The kinds that there are, each with the number of its functions. */
    int addLegend(Box& whole, int y) const {
        constexpr int kSwatch = 13;
        std::map<std::string, std::size_t> counts;
        const auto count = [&](const Functions& functions) {
            for (const Function& function : functions) ++counts[kindOf(function).word];
        };
        count(inventory_.onBoard);
        count(inventory_.elsewhere);
        ShownNumbers numbers;
        for (const Slot& slot : inventory_.slots)
            if (!numbers.include(slot)) count(slot.functions);
        int x = kMargin;
        for (const FunctionKind& kind : functionKinds()) {
            if (counts[kind.word] == 0) continue;
            const std::string text = fmt::format("{} {}", kind.name, counts[kind.word]);
            const int width = kSwatch + 6 + widthOf(text, kTextFont);
            if (x > kMargin && x + width > width_ - kMargin) {
                x = kMargin;
                y += 22;
            }
            Box box{{x, y, width, kLine}, "legend"};
            box.parts.push_back({{x, y + 1, kSwatch, kSwatch}, std::string("chip ") + kind.word});
            box.labels.push_back(label(x + kSwatch + 6, y + 1, text, kTextFont));
            whole.parts.push_back(std::move(box));
            x += width + 18;
        }
        return counts.empty() ? y - 10 : y + kLine;
    }

    Box board(int y) const {
        Box box{{kMargin, y, room(), 0}, "board", tooltipOf("System board", inventory_.board)};
        const int x = kMargin + kPadding;
        int end = y + kPadding;
        const auto addTitle = [&](const std::string& title) {
            box.labels.push_back(label(x, end, fitted(title, kSectionFont, inside()), kSectionFont));
            end += 26;
        };
        addTitle(inventory_.slots.empty() ? "System board"
                                          : "System board: " + counted(inventory_.slots.size(), "slot"));
        end = addInColumns(box, slots(), slotColumns(), x, end);
        if (!inventory_.slots.empty()) end += 18;
        addTitle("On the board itself: " + counted(inventory_.onBoard.size(), "function"));
        std::vector<Box> buses;
        for (const Bus& bus : busesOf(inventory_.onBoard))
            buses.push_back(
                functionsBox(nameOf(bus), bus.functions, {false}, columnWidth(inside(), columns_), inFull_));
        end = addInColumns(box, buses, columns_, x, end);
        box.at.height = end + kPadding - y;
        return box;
    }

    int inside() const { return room() - 2 * kPadding; }

    /** Many slots have room in a column more. */
    std::size_t slotColumns() const {
        constexpr std::size_t kMany = 16;
        return columns_ > 1 && inventory_.slots.size() > kMany ? columns_ + 1 : columns_;
    }

    std::vector<Box> slots() const {
        std::vector<Box> boxes;
        ShownNumbers numbers;
        for (const Slot& slot : inventory_.slots) {
            const bool shown = numbers.include(slot);
            boxes.push_back(slotBox(slot, columnWidth(inside(), slotColumns()), inFull_, shown));
        }
        return boxes;
    }

    const Inventory& inventory_;
    const bool namesHost_;
    const int width_;
    const bool inFull_;
    const std::size_t columns_;
};

}  // namespace

Picture layOut(const Inventory& inventory, const PictureOptions& options) {
    return Layout(inventory, options).picture();
}

}  // namespace cimhost
