// Tables and MOF of answers made by hand, and the words in them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "answers.h"
#include "cimhost/properties.h"
#include "cimhost/selection.h"

namespace {

using broker::Instance;
using broker::ObjectPath;
using broker::Value;
using cimhost::Format;
using cimhost::Instances;
using cimhost::TableOptions;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

Instance device(const std::string& deviceId = "PCI Bus 22, device 8, function 3",
                const std::string& description = "Bridge: Acme Thing (rev 04)") {
    return instance("QELTA_PCIDevice", {{"SystemName", Value::string("host")}, {"DeviceID", Value::string(deviceId)}},
                    {{"VendorID", uint16(0x8086)},
                     {"PciDeviceID", uint16(0x208d)},
                     {"Number", uint8(8)},
                     {"UINumber", uint8(0)},
                     {"ClassCode", uint8(8)},
                     {"Subclass", uint8(0x80)},
                     {"Revision", uint8(4)},
                     {"Description", Value::string(description)},
                     {"IOAddress", Value::array(CMPI_uint16, {uint16(1), uint16(2)})}});
}

Instance slot() {
    return instance("QELTA_SystemSlot", {{"Tag", Value::string("System Slot 3")}},
                    {{"Number", uint16(3)},
                     {"CurrentUsage", uint16(4)},
                     {"SlotLength", uint8(4)},
                     {"ConnectorType", Value::array(CMPI_uint16, {uint16(0xB5)})},
                     {"MaxDataWidth", uint16(11)},
                     {"SlotDesignation", Value::string("PCI-E Slot 3")},
                     {"SupportsHotPlug", Value::boolean(false)}});
}

Instance link() {
    return instance("QELTA_DeviceInSlot",
                    {{"Antecedent", Value::reference(slot().path)}, {"Dependent", Value::reference(device().path)}},
                    {});
}

TEST(Table, PciFunctionsAreSummedUpInOneLineEach) {
    EXPECT_EQ(text(answer({device(), device("PCI Bus 0, device 31, function 0")}), Format::table),
              "root/kavix:QELTA_PCIDevice\n"
              "Location  Ven:Dev    Class  Rev  Number  UINumber  Description\n"
              "16:08.3   8086:208d  08:80  04        8         0  Bridge: Acme Thing (rev 04)\n"
              "00:1f.0   8086:208d  08:80  04        8         0  Bridge: Acme Thing (rev 04)\n"
              "\n"
              "CMPI_RC_OK, 2 instances\n");
}

TEST(Table, PropertiesThatAreMissingOrNullShowAsADash) {
    Instance bare = instance("QELTA_PCIBridge", {}, {{"VendorID", Value::nothing(CMPI_uint16)}});
    EXPECT_THAT(text(answer({bare}), Format::table),
                HasSubstr("\n-         -:-      -:-    -         -         -  -\n"));
}

TEST(Table, SlotsShowTheirKeyFirstAndTheWordsOfTheirCodes) {
    EXPECT_EQ(text(answer({slot()}), Format::table),
              "root/kavix:QELTA_SystemSlot\n"
              "Tag            Designation   Usage   Width  Type      Length  HotPlug\n"
              "System Slot 3  PCI-E Slot 3  in use  x8     PCIe3 x8  long    FALSE\n"
              "\n"
              "CMPI_RC_OK, 1 instance\n");
}

TEST(Table, AssociationsShowBothEndsByClassAndLastKey) {
    EXPECT_THAT(
        text(answer({link()}), Format::table),
        HasSubstr("QELTA_SystemSlot \"System Slot 3\"  QELTA_PCIDevice \"PCI Bus 22, device 8, function 3\"\n"));
}

TEST(Table, EachClassOfAMixedAnswerHasATableOfItsOwn) {
    EXPECT_THAT(
        text(answer({device(), slot(), device()}), Format::table),
        testing::ContainsRegex("QELTA_PCIDevice\nLocation.*\n16:08.*\n16:08.*\n\nroot/kavix:QELTA_SystemSlot\n"));
}

TEST(Table, LinesAreAsLongAsTheyHaveToBe) {
    const std::string description(300, 'd');
    EXPECT_THAT(text(answer({device("x", description)}), Format::table), HasSubstr(description + "\n"));
}

TEST(Table, OnATerminalTheDescriptionIsCut) {
    const std::string shown = text(answer({device("x", std::string(300, 'd'))}), Format::table, onTerminal(80));
    EXPECT_THAT(shown, HasSubstr("dd...\n"));
    for (const std::string& line : cimhost::lines(shown)) EXPECT_LE(cimhost::columnsOf(line), 80U) << line;
}

TEST(Table, ElsewhereTheDescriptionGoesOnBelow) {
    const std::string shown = text(answer({device("x", std::string(300, 'd'))}), Format::table, {80, false});
    EXPECT_EQ(std::count(shown.begin(), shown.end(), 'd'), 301) << "one is of the device ID";
    for (const std::string& line : cimhost::lines(shown)) EXPECT_LE(cimhost::columnsOf(line), 80U) << line;
}

TEST(Table, WhatTellsRowsApartIsNeverCut) {
    const std::string shown = text(answer({link()}), Format::table, onTerminal(50));
    EXPECT_THAT(shown, AllOf(HasSubstr("function 3\""), HasSubstr("Slot 3\""), Not(HasSubstr("..."))));
}

TEST(Table, ColorsMakeHeadsBoldAndTheRestDim) {
    TableOptions options;
    options.color = true;
    EXPECT_EQ(text(answer({slot()}), Format::table, options),
              "\x1b[2mroot/kavix:QELTA_SystemSlot\x1b[0m\n"
              "\x1b[1mTag            Designation   Usage   Width  Type      Length  HotPlug\x1b[0m\n"
              "System Slot 3  PCI-E Slot 3  in use  x8     PCIe3 x8  long    FALSE\n"
              "\n"
              "\x1b[2mCMPI_RC_OK, 1 instance\x1b[0m\n");
}

TEST(Table, ListingHasNameTypeKeyPositionAndValueOfEveryProperty) {
    EXPECT_EQ(text(answer({device()}), Format::table, inFull(120)),
              "root/kavix:QELTA_PCIDevice\n"
              "Property     Type      Key  Value\n"
              "SystemName   string    1    host\n"
              "DeviceID     string    2    PCI Bus 22, device 8, function 3\n"
              "VendorID     uint16         32902\n"
              "PciDeviceID  uint16         8333\n"
              "Number       uint8          8\n"
              "UINumber     uint8          0\n"
              "ClassCode    uint8          8 (System Peripheral)\n"
              "Subclass     uint8          128\n"
              "Revision     uint8          4\n"
              "Description  string         Bridge: Acme Thing (rev 04)\n"
              "IOAddress    uint16[]       1, 2\n"
              "\n"
              "CMPI_RC_OK, 1 instance\n");
}

TEST(Table, ListingLosesNothingOfALongValue) {
    const std::string shown = text(answer({link()}), Format::table, inFull(80));
    std::string joined;
    for (const std::string& line : cimhost::lines(shown)) {
        EXPECT_LE(cimhost::columnsOf(line), 80U) << line;
        for (const char letter : line)
            if (letter != ' ') joined += letter;
    }
    EXPECT_THAT(joined, HasSubstr("root/kavix:QELTA_PCIDevice.SystemName=\"host\",DeviceID=\"PCIBus22,device8,"
                                  "function3\""));
}

TEST(Table, ClassWithoutAnOverviewIsListed) {
    const Instance unknown = instance("ACME_Thing", {{"Id", uint8(1)}}, {{"Text", Value::string("words")}});
    EXPECT_EQ(text(answer({unknown}), Format::table),
              "root/kavix:ACME_Thing\n"
              "Property  Type    Key  Value\n"
              "Id        uint8   1    1\n"
              "Text      string       words\n"
              "\n"
              "CMPI_RC_OK, 1 instance\n");
}

TEST(Table, CodesAreListedWithTheirTexts) {
    const std::string shown = text(answer({slot()}), Format::table, inFull(120));
    EXPECT_THAT(shown, HasSubstr("\nCurrentUsage     uint16         4 (In Use)\n"));
    EXPECT_THAT(shown, HasSubstr("\nConnectorType    uint16[]       181 (PCI Express 3 x8)\n"));
    EXPECT_THAT(shown, HasSubstr("\nNumber           uint16         3\n"));
}

TEST(Table, NamesShowTheKeysThatDifferAndTellTheOthersOnce) {
    EXPECT_EQ(text(answer({device().path, device("PCI Bus 0, device 31, function 0").path}), Format::table),
              "root/kavix:QELTA_PCIDevice\n"
              "Same in all: SystemName=host\n"
              "DeviceID\n"
              "PCI Bus 22, device 8, function 3\n"
              "PCI Bus 0, device 31, function 0\n"
              "\n"
              "CMPI_RC_OK, 2 names\n");
    EXPECT_THAT(text(answer({link().path}), Format::table),
                HasSubstr("Same in all: Antecedent=QELTA_SystemSlot \"System Slot 3\"\nDependent\n"));
}

TEST(Table, AllKeysThatDifferAreThere) {
    ObjectPath other = device("PCI Bus 0, device 31, function 0").path;
    other.keys[0].value = Value::string("other");
    EXPECT_THAT(text(answer({device().path, other}), Format::table),
                HasSubstr("QELTA_PCIDevice\n"
                          "SystemName  DeviceID\n"
                          "host        PCI Bus 22, device 8, function 3\n"
                          "other       PCI Bus 0, device 31, function 0\n"));
}

TEST(Table, NamesThatAreTheSameShowTheirLastKey) {
    EXPECT_THAT(text(answer({slot().path, slot().path}), Format::table),
                HasSubstr("QELTA_SystemSlot\nTag\nSystem Slot 3\nSystem Slot 3\n"));
}

TEST(Table, NamesWithOtherKeysHaveATableOfTheirOwn) {
    ObjectPath reversed = device().path;
    std::swap(reversed.keys[0], reversed.keys[1]);
    EXPECT_THAT(text(answer({device().path, reversed}), Format::table),
                AllOf(HasSubstr("\nDeviceID\nPCI Bus 22"), HasSubstr("\nSystemName\nhost\n")));
}

TEST(Table, NameWithoutKeysIsItsClass) {
    EXPECT_EQ(text(answer({ObjectPath{"root/kavix", "ACME_Thing", {}}}), Format::table),
              "root/kavix:ACME_Thing\nCMPI_RC_OK, 1 name\n");
}

TEST(Table, NamesInFullAreWholePathsThatCanBeReadAgain) {
    const std::string shown = text(answer({link().path}), Format::table, inFull(40));
    EXPECT_EQ(broker::parseObjectPath(cimhost::lines(shown).front()), link().path);
}

TEST(Table, NothingDeliveredLeavesTheStatus) {
    EXPECT_EQ(text(answer(Instances{}), Format::table), "CMPI_RC_OK, 0 instances\n");
    EXPECT_EQ(text(answer(Instances{}, CMPI_RC_ERR_INVALID_CLASS), Format::table),
              "CMPI_RC_ERR_INVALID_CLASS, 0 instances\n");
}

TEST(Mof, InstanceShowsValuesTypesAndKeys) {
    const Instance made = instance("ACME_Thing", {{"Id", uint8(1)}},
                                   {{"Text", Value::string("say \"hi\"")},
                                    {"Flag", Value::boolean(true)},
                                    {"None", Value::nothing(CMPI_uint16)},
                                    {"List", Value::array(CMPI_string, {Value::string("a"), Value::string("b")})},
                                    {"Other", Value::reference(slot().path)}});
    EXPECT_EQ(text(answer({made}), Format::mof),
              "// root/kavix:ACME_Thing.Id=1\n"
              "instance of ACME_Thing {\n"
              "    Id = 1;  // uint8, key\n"
              "    Text = \"say \\\"hi\\\"\";  // string\n"
              "    Flag = TRUE;  // boolean\n"
              "    None = NULL;  // uint16\n"
              "    List = {\"a\", \"b\"};  // string[]\n"
              "    Other = \"root/kavix:QELTA_SystemSlot.Tag=\\\"System Slot 3\\\"\";  // reference\n"
              "};\n"
              "\n"
              "// CMPI_RC_OK, 1 instance\n");
}

TEST(Mof, NamesAreWholePaths) {
    EXPECT_EQ(text(answer({slot().path}), Format::mof),
              "root/kavix:QELTA_SystemSlot.Tag=\"System Slot 3\"\n// CMPI_RC_OK, 1 name\n");
}

TEST(Overview, LocationOfAnotherFormStaysAsItIs) {
    EXPECT_EQ(cimhost::shortLocation("PCI Bus 0, device 31, function 3"), "00:1f.3");
    EXPECT_EQ(cimhost::shortLocation("PCI Bus 255, device 0, function 7"), "ff:00.7");
    EXPECT_EQ(cimhost::shortLocation("PCI Bus 0, device 31, function 3 "), "PCI Bus 0, device 31, function 3 ");
    EXPECT_EQ(cimhost::shortLocation("PCI Bus 99999999999, device 0, function 0"),
              "PCI Bus 99999999999, device 0, function 0");
}

using Words = std::vector<std::pair<unsigned, const char*>>;

void expectWords(const std::string& property, const Words& words) {
    for (const auto& [code, word] : words)
        EXPECT_EQ(cimhost::slotWordOf(instance("QELTA_SystemSlot", {}, {{property, uint16(code)}}), property), word)
            << property;
}

TEST(SlotCodes, AreNamedInShort) {
    expectWords("ConnectorType", {{0x06, "PCI"},          {0x07, "PC Card"},      {0x09, "proprietary"},
                                  {0x0A, "CPU"},          {0x0B, "memory"},       {0x0C, "I/O riser"},
                                  {0x0E, "PCI66"},        {0x13, "AGP 8X"},       {0x14, "M.2 1-DP"},
                                  {0x1A, "MXM III"},      {0x1B, "MXM III HE"},   {0x1C, "MXM IV"},
                                  {0x1D, "MXM 3.0 A"},    {0x1F, "PCIe2 U.2"},    {0x21, "PCIe mini 52 keep-out"},
                                  {0x22, "PCIe mini 52"}, {0x23, "PCIe mini 76"}, {0x26, "OCP 3.0 SFF"},
                                  {0x27, "OCP 3.0 LFF"},  {0x28, "OCP <3.0"},     {0x30, "CXL 1.0"},
                                  {0xA0, "PC-98/C20"},    {0xA3, "PC-98/local"},  {0xA4, "PC-98/card"},
                                  {0xA5, "PCIe"},         {0xA8, "PCIe x4"},      {0xB6, "PCIe3 x16"},
                                  {0xB8, "PCIe4"},        {0xC3, "PCIe5 x16"},    {0xC4, "PCIe6+"},
                                  {0xC6, "EDSFF E3"}});
    expectWords("MaxDataWidth", {{1, "other"}, {2, "unknown"}, {5, "32 bit"}, {13, "x16"}});
    expectWords("CurrentUsage", {{3, "available"}, {4, "in use"}, {5, "unavailable"}});
    expectWords("SlotLength", {{3, "short"}, {4, "long"}, {5, "2.5in"}, {6, "3.5in"}});
}

TEST(SlotCodes, UnknownOnesAreHexadecimal) {
    expectWords("ConnectorType", {{0, "0x00"}, {0x29, "0x29"}, {0x9F, "0x9f"}, {0xB7, "0xb7"}, {0xC7, "0xc7"}});
    expectWords("MaxDataWidth", {{15, "0x0f"}});
    expectWords("CurrentUsage", {{0, "0x00"}});
    expectWords("SlotLength", {{255, "0xff"}});
}

}  // namespace
