// What stands for a class, an object or a choice of functions on the command line.

#include "cimhost/shortforms.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "cimhost/selection.h"
#include "cimhost/suggestion.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

Texts named(const std::string& text) {
    Texts paths;
    for (const broker::ObjectPath& path : cimhost::pathsNamedBy(text)) paths.push_back(broker::toString(path));
    return paths;
}

TEST(ShortForm, OfASlotIsItsNumber) {
    EXPECT_THAT(named("5"), ElementsAre("root/kavix:QELTA_SystemSlot.Tag=\"System Slot 5\""));
    EXPECT_THAT(named("012"), ElementsAre("root/kavix:QELTA_SystemSlot.Tag=\"System Slot 12\""));
}

TEST(ShortForm, OfAFunctionIsItsLocation) {
    for (const char* text : {"16:1f.2", "0000:16:1F.2", "0:16:1f.2"})
        EXPECT_THAT(named(text),
                    ElementsAre("root/kavix:QELTA_PCIDevice.DeviceID=\"PCI Bus 22, device 31, function 2\"",
                                "root/kavix:QELTA_PCIBridge.DeviceID=\"PCI Bus 22, device 31, function 2\""))
            << text;
}

TEST(ShortForm, OfTheBoardIsItsName) {
    EXPECT_THAT(named("Board"), ElementsAre("root/kavix:QELTA_SystemBoard.DeviceID=\"SystemBoard1\""));
}

TEST(ShortForm, OfAPathLeavesThePrefixOfTheClassOut) {
    EXPECT_THAT(named("systemslot.Tag=\"x\""), ElementsAre("root/kavix:QELTA_SystemSlot.Tag=\"x\""));
    EXPECT_THAT(named("root/other:PCIBridge.A=1"), ElementsAre("root/other:QELTA_PCIBridge.A=1"));
    EXPECT_THAT(named("Other.A=1"), ElementsAre("root/kavix:Other.A=1"));
}

TEST(ShortForm, ThatNamesNoObjectIsRefused) {
    for (const char* text :
         {"", "16:00", ":.0", "16:20.0", "16:00.8", "100:00.0", "1:16:00.0", "1:2:3:4.5", "SystemSlot.Tag="})
        EXPECT_THROW(cimhost::pathsNamedBy(text), std::invalid_argument) << text;
}

TEST(ClassName, MayLackItsPrefix) {
    EXPECT_EQ(cimhost::servedClasses().size(), 8U);
    for (const std::string& served : cimhost::servedClasses())
        EXPECT_EQ(cimhost::wholeClassName(served.substr(6)), served);
    EXPECT_EQ(cimhost::wholeClassName("pCIdevice"), "QELTA_PCIDevice");
    EXPECT_EQ(cimhost::wholeClassName("qelta_pcidevice"), "qelta_pcidevice") << "a whole name is the user's";
    EXPECT_EQ(cimhost::wholeClassName("Other"), "Other");
}

// --- choosing functions ---

broker::Instance function(const std::string& deviceId, unsigned vendor, unsigned device, unsigned base, unsigned sub) {
    const auto number = [](unsigned value) { return broker::Value::uint(CMPI_uint16, value); };
    const broker::Property id = {"DeviceID", broker::Value::string(deviceId)};
    return {{"root/kavix", "QELTA_PCIDevice", {id}},
            {id,
             {"VendorID", number(vendor)},
             {"PciDeviceID", number(device)},
             {"ClassCode", number(base)},
             {"Subclass", number(sub)}}};
}

/** Which of these letters stand for functions that are chosen. */
std::string chosen(void (cimhost::Selection::*choose)(const std::string&), const std::string& text) {
    cimhost::Selection selection;
    (selection.*choose)(text);
    EXPECT_TRUE(selection.choosesAny());
    std::string letters;
    if (selection.chooses(function("PCI Bus 22, device 1, function 0", 0x8086, 0x2031, 6, 4))) letters += 'a';
    if (selection.chooses(function("PCI Bus 22, device 1, function 1", 0x8086, 0x1234, 2, 0))) letters += 'b';
    if (selection.chooses(function("PCI Bus 0, device 31, function 1", 0x14e4, 0x1234, 2, 0x80))) letters += 'c';
    if (selection.chooses(broker::Instance{{"root/kavix", "QELTA_SystemSlot", {}}, {}})) letters += '!';
    return letters;
}

TEST(Selection, IsByLocationAsForLspci) {
    const auto by = [](const std::string& text) { return chosen(&cimhost::Selection::byLocation, text); };
    EXPECT_EQ(by("16:01.0"), "a");
    EXPECT_EQ(by("0000:16:01.1"), "b");
    EXPECT_EQ(by("16:"), "ab");
    EXPECT_EQ(by("1f"), "c");
    EXPECT_EQ(by(".1"), "bc");
    EXPECT_EQ(by("*:1f.*"), "c");
    EXPECT_EQ(by("17:"), "");
}

TEST(Selection, IsByIdAsForLspci) {
    const auto by = [](const std::string& text) { return chosen(&cimhost::Selection::byId, text); };
    EXPECT_EQ(by("8086:"), "ab");
    EXPECT_EQ(by(":1234"), "bc");
    EXPECT_EQ(by("8086:1234"), "b");
    EXPECT_EQ(by("::02"), "bc");
    EXPECT_EQ(by("*:*:0280"), "c");
    EXPECT_EQ(by("14E4:2031"), "");
}

TEST(Selection, IsByClass) {
    const auto by = [](const std::string& text) { return chosen(&cimhost::Selection::byClass, text); };
    EXPECT_EQ(by("02"), "bc");
    EXPECT_EQ(by("02xx"), "bc");
    EXPECT_EQ(by("0200"), "b");
    EXPECT_EQ(by("06:04"), "a");
    EXPECT_EQ(by("0604"), "a");
}

TEST(Selection, LeavesOutFunctionsOfOddLocations) {
    cimhost::Selection selection;
    selection.byLocation("00:");
    for (const char* odd :
         {"ffff:ff:ff.f", "0000:00:ff.f", "1:00:01.0", "00:01.8", ":::", "00:01.0.0", "", "PCI Bus x"})
        EXPECT_FALSE(selection.chooses(function(odd, 0x8086, 1, 2, 0))) << odd;
    EXPECT_TRUE(selection.chooses(function("0000:00:01.0", 0x8086, 1, 2, 0)));
}

TEST(Selection, WithoutAChoiceTakesAll) {
    const cimhost::Selection selection;
    EXPECT_FALSE(selection.choosesAny());
    EXPECT_TRUE(selection.chooses(broker::Instance{{"root/kavix", "QELTA_SystemSlot", {}}, {}}));
}

TEST(Selection, OfAnotherFormIsRefused) {
    cimhost::Selection selection;
    for (const char* text : {"16:01.0.0", "x", "16:01:", "1:16:01.0", "16:40"})
        EXPECT_THROW(selection.byLocation(text), std::invalid_argument) << text;
    for (const char* text : {"8086", "80861:", ":10000", "::0g", "8086:1234:02000"})
        EXPECT_THROW(selection.byId(text), std::invalid_argument) << text;
    for (const char* text : {"2g", "02000", "network"})
        EXPECT_THROW(selection.byClass(text), std::invalid_argument) << text;
}

// --- what was meant ---

TEST(Suggestion, CountsWhatHasToBeChanged) {
    EXPECT_EQ(cimhost::editDistance("", "abc"), 3U);
    EXPECT_EQ(cimhost::editDistance("slots", "SLOTS"), 0U);
    EXPECT_EQ(cimhost::editDistance("--fromat", "--format"), 1U) << "neighbours that changed places";
    EXPECT_EQ(cimhost::editDistance("kitten", "sitting"), 3U);
}

TEST(Suggestion, IsTheNearestWordThatIsNear) {
    const Texts words = {"slots", "devices", "bridges", "board", "enumerate"};
    EXPECT_EQ(cimhost::nearest("slot", words), "slots");
    EXPECT_EQ(cimhost::nearest("bridegs", words), "bridges");
    EXPECT_EQ(cimhost::nearest("enum", words), "enumerate") << "a beginning";
    EXPECT_EQ(cimhost::nearest("b", words), "");
    EXPECT_EQ(cimhost::nearest("frobnicate", words), "");
    EXPECT_EQ(cimhost::didYouMean("slosts", words), ", did you mean slots?");
    EXPECT_THAT(cimhost::didYouMean("xyz", words), IsEmpty());
}

TEST(Suggestion, OfAClassNeedsNoPrefix) {
    EXPECT_EQ(cimhost::nearestClass("QELTA_PCIDevise"), "QELTA_PCIDevice");
    EXPECT_EQ(cimhost::nearestClass("systemslots"), "QELTA_SystemSlot");
    EXPECT_EQ(cimhost::nearestClass("Win32_Processor"), "");
}

}  // namespace
