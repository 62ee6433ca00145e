// Pictures of inventories made by hand: where things are, and what becomes of odd texts.

#include "cimhost/picture.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "cimhost/columns.h"
#include "cimhost/functionkind.h"
#include "cimhost/printable.h"
#include "wbem/xml.h"

namespace {

using cimhost::Box;
using cimhost::Function;
using cimhost::Functions;
using cimhost::Inventory;
using cimhost::Label;
using cimhost::Picture;
using cimhost::Rectangle;
using cimhost::Slot;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* kForged =
    "</text><script>alert(1)</script> & \"quoted\" 'too' \\N \u05d0\u05d1\u202e \x1b[2J\n\xff";

Function function(const std::string& location, const std::string& classCode = "02:00",
                  const std::string& description = "Ethernet controller: Acme Thing (rev 02)") {
    return {location, "QELTA_PCIDevice", "8086:1234", classCode, description, {}, {{"Revision", "2"}}};
}

Slot slot(std::uint64_t number, const std::string& designation, const Functions& functions = {}) {
    return {number, designation, "in use", "x16", functions, "PCIe3 x16", {{"Tag", "System Slot"}}};
}

Inventory machine(const std::vector<Slot>& slots, const Functions& onBoard, const Functions& elsewhere = {}) {
    Inventory inventory;
    inventory.host = "host";
    inventory.board = {{"DeviceID", "SystemBoard1"}};
    inventory.slots = slots;
    inventory.onBoard = onBoard;
    inventory.elsewhere = elsewhere;
    return inventory;
}

/** So many functions, of all kinds, on some buses. */
Functions many(std::size_t count) {
    const char* const classes[] = {"01:04", "02:00", "03:00", "04:03", "05:00", "06:04", "07:00", "08:80",
                                   "0b:40", "0c:03", "0c:06", "10:00", "11:80", "12:00", "ff:00", "-:-"};
    Functions functions;
    for (std::size_t i = 0; i < count; ++i)
        functions.push_back(function(fmt::format("{:02x}:{:02x}.{}", i / 40, i / 8 % 32, i % 8), classes[i % 16],
                                     fmt::format("Some controller: The Vendor Corporation Device of {} words{}", i,
                                                 std::string(i % 7 * 20, 'W'))));
    return functions;
}

std::vector<Slot> manySlots(std::size_t count) {
    std::vector<Slot> slots;
    for (std::size_t i = 0; i < count; ++i) {
        slots.push_back(slot(i + 1, "Riser with a long name, slot " + std::to_string(i), many(i % 5)));
        slots.back().usage = i % 3 == 0 ? "available" : i % 3 == 1 ? "in use" : "a usage that nobody knows";
        slots.back().width = std::array<const char*, 6>{"x1", "x4", "x16", "64 bit", "0xf7", "-"}.at(i % 6);
    }
    return slots;
}

Inventory forged() {
    Slot odd{std::nullopt,        kForged, kForged, kForged, {function(kForged, kForged, kForged)}, kForged,
             {{kForged, kForged}}};
    Inventory inventory = machine({odd, slot(65535, std::string(3000, 'M'))}, {function(kForged, "06:04", kForged)},
                                  {function("", "", "")});
    inventory.host = kForged;
    inventory.subject = kForged;
    inventory.status = CMPI_RC_ERR_FAILED;
    return inventory;
}

std::map<std::string, Inventory> machines() {
    return {{"nothing", {}},
            {"no slots", machine({}, many(12))},
            {"no functions", machine({slot(1, "one"), slot(2, "")}, {})},
            {"small", machine({slot(1, "PCIe Slot 1", many(3))}, many(9), many(2))},
            {"sixty slots", machine(manySlots(60), many(150))},
            {"one number", machine({slot(5, "a", many(20)), slot(5, "b", many(20)), slot(5, "c", many(20))}, {})},
            {"forged", forged()}};
}

struct Case {
    std::string name;
    Picture picture;
};

std::vector<Case> pictures() {
    std::vector<Case> cases;
    for (const auto& [name, inventory] : machines())
        for (const int width : {cimhost::kPictureWidth, cimhost::kNarrowWidth})
            for (const bool inFull : {false, true})
                cases.push_back({fmt::format("{}, {} wide, in full: {}", name, width, inFull),
                                 cimhost::layOut(inventory, {width, inFull})});
    return cases;
}

void forEachBox(const Box& box, const std::function<void(const Box&)>& look) {
    look(box);
    for (const Box& part : box.parts) forEachBox(part, look);
}

/** Each text of the picture, in its order. */
std::vector<std::string> textsOf(const Picture& picture) {
    std::vector<std::string> texts;
    forEachBox(picture.whole, [&](const Box& box) {
        for (const Label& label : box.labels) texts.push_back(label.text);
    });
    return texts;
}

std::vector<Box> boxesOf(const Picture& picture, const std::string& style) {
    std::vector<Box> boxes;
    forEachBox(picture.whole, [&](const Box& box) {
        if (box.style.rfind(style, 0) == 0) boxes.push_back(box);
    });
    return boxes;
}

// --- layout ---

Rectangle placeOf(const Label& label) {
    return {label.x, label.baseline - label.font->size, widthOf(label.text, *label.font), label.font->size};
}

bool isWithin(const Rectangle& inner, const Rectangle& outer) {
    return inner.x >= outer.x && inner.y >= outer.y && inner.x + inner.width <= outer.x + outer.width &&
           inner.y + inner.height <= outer.y + outer.height;
}

bool overlap(const Rectangle& a, const Rectangle& b) {
    return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
}

TEST(PictureLayout, WhatIsInABoxIsWithinItAndBesideEachOther) {
    for (const Case& each : pictures()) {
        std::size_t places = 0;
        forEachBox(each.picture.whole, [&](const Box& box) {
            std::vector<std::pair<Rectangle, std::string>> inside;
            for (const Box& part : box.parts) inside.emplace_back(part.at, part.style);
            for (const Label& label : box.labels) inside.emplace_back(placeOf(label), label.text);
            for (std::size_t i = 0; i < inside.size(); ++i) {
                EXPECT_TRUE(isWithin(inside[i].first, box.at)) << each.name << ": " << inside[i].second;
                for (std::size_t j = 0; j < i; ++j)
                    EXPECT_FALSE(overlap(inside[i].first, inside[j].first))
                        << each.name << ": " << inside[i].second << " and " << inside[j].second;
            }
            places += inside.size();
        });
        EXPECT_GT(places, 2U) << each.name;
    }
}

TEST(PictureLayout, EveryFunctionHasAChipAndEverySlotABoxInItsOrder) {
    const Inventory inventory = machine(manySlots(60), many(150), many(3));
    std::size_t functions = 150 + 3;
    for (const Slot& each : inventory.slots) functions += each.functions.size();
    for (const int width : {cimhost::kPictureWidth, cimhost::kNarrowWidth}) {
        const Picture picture = cimhost::layOut(inventory, {width});
        std::size_t chips = 0;
        for (const Box& box : boxesOf(picture, "chip")) chips += box.labels.size();  // those of the legend have none
        EXPECT_EQ(chips, functions);
        std::vector<std::string> numbers;
        std::vector<std::string> expected;
        for (const Box& box : boxesOf(picture, "badge")) numbers.push_back(box.labels.at(0).text);
        for (const Slot& each : inventory.slots) expected.push_back(std::to_string(*each.number));
        EXPECT_EQ(numbers, expected);
        const auto slots = boxesOf(picture, "slot");
        for (std::size_t i = 1; i < slots.size(); ++i)  // down a column, or on at the top of the next
            EXPECT_TRUE(slots[i].at.y > slots[i - 1].at.y || slots[i].at.x > slots[i - 1].at.x);
    }
}

TEST(PictureLayout, TellsASlotsDesignationWidthAndUsage) {
    Slot free = slot(7, "PCIe Slot 7");
    free.usage = "available";
    const Picture picture = cimhost::layOut(machine({slot(3, "", many(1)), free}, {}));
    EXPECT_THAT(textsOf(picture), testing::IsSupersetOf({"3", "Slot 3", "PCIe3 x16", "in use", "7", "PCIe Slot 7",
                                                         "PCIe3 x16, no function", "available"}));
    EXPECT_THAT(boxesOf(picture, "connector used"), SizeIs(2));
    EXPECT_THAT(boxesOf(picture, "connector free"), SizeIs(2));
}

TEST(PictureLayout, ConnectorsAreAsLongAsTheirWidthIsGreat) {
    int shorter = 0;
    for (const char* width : {"x1", "x2", "x4", "x8", "x12", "x16", "x32"}) {
        Slot each = slot(1, "a");
        each.width = width;
        const auto parts = boxesOf(cimhost::layOut(machine({each}, {})), "connector");
        EXPECT_GT(parts.at(1).at.width, shorter) << width;
        shorter = parts.at(1).at.width;
    }
}

TEST(PictureLayout, GroupsTheBoardsFunctionsByBus) {
    const Picture picture =
        cimhost::layOut(machine({}, {function("00:01.0"), function("00:02.0"), function("b2:00.0")}));
    std::vector<std::string> titles;
    for (const Box& box : boxesOf(picture, "bus"))
        titles.push_back(box.labels.at(1).text + ", " + box.labels.at(0).text);
    EXPECT_THAT(titles, ElementsAre("Bus 00, 2 functions", "Bus b2, 1 function"));
}

TEST(PictureLayout, ALongTextIsCutAndWholeInTheTooltip) {
    const std::string longText = "Riser 1 " + std::string(200, 'x');
    const Picture picture =
        cimhost::layOut(machine({slot(1, longText, {function("00:01.0", "02:00", "Kind: " + longText)})}, {}));
    const Box box = boxesOf(picture, "slot").at(0);
    EXPECT_THAT(box.labels.at(0).text, testing::AllOf(StartsWith("Riser 1 xx"), testing::EndsWith("x\u2026")));
    EXPECT_THAT(box.tooltip, HasSubstr(longText));
    const Box row = boxesOf(picture, "row").at(1);  // behind the connector's
    EXPECT_THAT(row.labels.back().text, testing::EndsWith("\u2026"));
    EXPECT_THAT(row.tooltip, HasSubstr(longText));
}

TEST(PictureLayout, FunctionsOfSlotsWithOneNumberAreDrawnOnce) {
    const Picture picture = cimhost::layOut(machine({slot(5, "a", many(20)), slot(5, "b", many(20))}, {}));
    std::size_t chips = 0;
    for (const Box& box : boxesOf(picture, "chip")) chips += box.labels.size();
    EXPECT_EQ(chips, 20U);
    EXPECT_THAT(textsOf(picture), testing::Contains("PCIe3 x16, functions as above"));
}

TEST(PictureLayout, TheLegendCountsEachFunctionOnce) {
    Inventory inventory =
        machine({slot(1, "a", many(8)), slot(1, "b", many(8)), slot(2, "c", many(3))}, many(4), many(1));
    inventory.functionCount = 16;
    const Picture picture = cimhost::layOut(inventory);
    int sum = 0;
    for (const Box& box : boxesOf(picture, "legend")) {
        const std::string text = box.labels.at(0).text;
        sum += std::stoi(text.substr(text.rfind(' ')));
    }
    EXPECT_EQ(sum, 16);
    EXPECT_THAT(picture.title, HasSubstr(" 16 functions"));
}

TEST(PictureLayout, ChipsTellTheirPropertiesAndHaveTheirKindsColour) {
    const Picture picture = cimhost::layOut(machine({}, {function("00:01.0", "01:04")}));
    const Box chip = boxesOf(picture, "chip storage").at(1);  // behind the legend's
    EXPECT_EQ(chip.tooltip, "00:01.0  [8086:1234] class 01:04\nRevision: 2");
    EXPECT_THAT(textsOf(picture), testing::Contains("Storage 1"));
}

TEST(PictureLayout, SaysWhatWentWrong) {
    Inventory inventory = machine({}, {});
    EXPECT_THAT(textsOf(cimhost::layOut(inventory)),
                testing::Contains("no slots: the BMC gave no SMBIOS table, or one without slots; 0 functions"));
    inventory.status = CMPI_RC_ERR_FAILED;
    inventory.subject = "QELTA_SystemSlot";
    EXPECT_THAT(textsOf(cimhost::layOut(inventory)),
                testing::Contains("no slots; 0 functions; CMPI_RC_ERR_FAILED for QELTA_SystemSlot"));
}

TEST(FunctionKinds, GoByBaseClassAndInfiniBandIsNetwork) {
    const std::pair<const char*, const char*> rows[] = {
        {"01:08", "storage"},   {"02:00", "network"},   {"0c:06", "network"}, {"0c:03", "serial"}, {"06:04", "bridge"},
        {"12:00", "processor"}, {"40:00", "processor"}, {"08:80", "system"},  {"ff:00", "other"},  {"-:-", "other"}};
    for (const auto& [code, word] : rows) EXPECT_STREQ(cimhost::kindOf(function("", code)).word, word) << code;
}

/** WCAG's relative luminance of "#rrggbb". */
double luminance(const std::string& colour) {
    double sum = 0;
    const double weights[] = {0.2126, 0.7152, 0.0722};
    for (std::size_t i = 0; i < 3; ++i) {
        const double part = std::stoi(colour.substr(1 + 2 * i, 2), nullptr, 16) / 255.0;
        sum += weights[i] * (part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4));
    }
    return sum;
}

TEST(FunctionKinds, TextsCanBeReadOnTheirFills) {
    for (const cimhost::FunctionKind& kind : cimhost::functionKinds())
        for (const cimhost::Colours& colours : {kind.light, kind.dark}) {
            const double text = luminance(colours.text);
            const double fill = luminance(colours.fill);
            EXPECT_GE((std::max(text, fill) + 0.05) / (std::min(text, fill) + 0.05), 4.5) << kind.name;
        }
}

TEST(TextMetric, LinesAreDividedAtBlanksAndTheLastIsCut) {
    const cimhost::Font font{"text", 10, false, true};  // 6.2 pixels a letter
    using Lines = std::vector<std::string>;
    EXPECT_EQ(cimhost::widthOf("abcde", font), 31);
    EXPECT_EQ(cimhost::fittedLines("one two three", font, 50, 9), (Lines{"one two", "three"}));
    EXPECT_EQ(cimhost::fittedLines("one two three", font, 50, 1), (Lines{"one t\u2026"}));
    EXPECT_EQ(cimhost::fittedLines("abcdefghijkl", font, 50, 3), (Lines{"abcde\u2026"}));
    EXPECT_EQ(cimhost::fittedLines("", font, 50, 3), Lines{});
    EXPECT_EQ(cimhost::fitted("abc", font, 3), "");
}

// --- what is written ---

/** Throws where it is not well-formed. */
pugi::xml_document parsed(const Picture& picture) {
    return wbem::parseXml(cimhost::svgText(picture));
}

TEST(Svg, HasNoScriptsAndRefersToNothing) {
    for (const Case& each : pictures()) {
        const pugi::xml_document document = parsed(each.picture);
        std::size_t elements = 0;
        const auto look = [&](pugi::xml_node node) {
            if (node.type() != pugi::node_element) return false;
            ++elements;
            EXPECT_THAT((std::vector<std::string>{"svg", "g", "rect", "text", "title", "style"}),
                        testing::Contains(std::string(node.name())))
                << each.name;
            for (const pugi::xml_attribute attribute : node.attributes())
                EXPECT_THAT((std::vector<std::string>{"x", "y", "width", "height", "viewBox", "class", "role", "xmlns",
                                                      "aria-label"}),
                            testing::Contains(std::string(attribute.name())))
                    << each.name;
            return false;
        };
        document.find_node(look);
        EXPECT_GT(elements, 3U);
    }
    EXPECT_THAT(cimhost::pictureStyle(), testing::AllOf(Not(HasSubstr("url")), Not(HasSubstr("@import"))));
    EXPECT_THAT(cimhost::pictureStyle(), HasSubstr("@media (prefers-color-scheme:dark)"));
}

TEST(Svg, TextsOfTheMachineAreTexts) {
    const pugi::xml_document document = parsed(cimhost::layOut(forged(), {4000}));
    std::vector<std::string> texts;
    const auto take = [&](pugi::xml_node node) {
        if (node.name() == std::string("text")) texts.push_back(wbem::textOf(node));
        return false;
    };
    document.find_node(take);
    const std::string shown =
        "</text><script>alert(1)</script> & \"quoted\" 'too' \\N \u05d0\u05d1\\xe2\\x80\\xae \\x1b[2J\\x0a\\xff";
    EXPECT_THAT(texts, testing::Contains(shown).Times(testing::Ge(2)));  // host and designation
}

TEST(Svg, IsTheSameForTheSameMachine) {
    for (const auto& [name, inventory] : machines())
        EXPECT_EQ(cimhost::svgText(cimhost::layOut(inventory)), cimhost::svgText(cimhost::layOut(Inventory(inventory))))
            << name;
}

TEST(Dot, QuotesWhatGraphvizWouldTakeForItsOwn) {
    Inventory inventory = machine({slot(1, "a\"b\\N&lt;\n")}, {});
    const std::string text = cimhost::dotText(inventory);
    EXPECT_THAT(text, HasSubstr("label=\"1  a\\\"b\\\\N&amp;lt;\\\\x0a  x16  in use\""));
    EXPECT_THAT(cimhost::dotText(forged()), HasSubstr("</text><script>"));  // it is a quoted text there
}

TEST(Dot, NamesABusAsThePictureDoes) {
    const Inventory inventory = machine({}, {function("-"), function("b2:00.0")});
    std::vector<std::string> titles;
    for (const Box& box : boxesOf(cimhost::layOut(inventory), "bus")) titles.push_back(box.labels.at(1).text);
    EXPECT_THAT(titles, ElementsAre("No bus", "Bus b2"));
    for (const std::string& title : titles)
        EXPECT_THAT(cimhost::dotText(inventory), HasSubstr("label=\"" + title + "\""));
}

TEST(Dot, HasANodeForEachSlotBusAndFunction) {
    const std::string text = cimhost::dotText(machine({slot(1, "a", many(2)), slot(2, "b")}, many(41), many(1)));
    std::size_t nodes = 0;
    std::size_t edges = 0;
    for (const std::string& line : cimhost::lines(text)) {
        nodes += line.find(" [label=") != std::string::npos && line.rfind("  n", 0) == 0 ? 1 : 0;
        edges += line.find(" -- ") != std::string::npos && line.find('[') == std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(nodes, 1U + 1 + 2 + 2 + 2 + 41 + 1 + 1);  // host, board, slots, theirs, buses, theirs, the rest
    EXPECT_EQ(edges, nodes - 1);
}

}  // namespace
