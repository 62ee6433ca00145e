// Slots as paths and instances: every property, and the utilities.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <tuple>

#include "tests/unit/slothost.h"

namespace {

using broker::Value;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testsupport::allLines;
using testsupport::Bytes;
using testsupport::Call;
using testsupport::Paths;
using testsupport::returningLines;
using testsupport::Slot;
using testsupport::slotLines;
using testsupport::slotPath;
using testsupport::SlotsTest;
using testsupport::SmbiosBuilder;
using testsupport::uint16;
using testsupport::uint16Array;
using tPCIInfo::TSlotInfo;

Slot slotWith(std::uint8_t Slot::*field, std::uint8_t value) {
    Slot slot;
    slot.*field = value;
    return slot;
}

// --- paths ---

TEST_F(SlotsTest, NamesOnlyDeliversAnObjectPathWithTheFourKeysAlone) {
    startWithNumbers({5});
    enumerate(true);
    EXPECT_THAT(scope->response().instances, IsEmpty());
    EXPECT_THAT(scope->response().paths, ElementsAre(slotPath(5)));
    EXPECT_THAT(callsMade(), ElementsAre(Call{"eft.newObjectPath", "QELTA_SystemSlot", CMPI_null, 0},
                                         Call{"objectPath.addKey", "SystemCreationClassName", CMPI_chars, 0},
                                         Call{"objectPath.addKey", "SystemName", CMPI_chars, 0},
                                         Call{"objectPath.addKey", "CreationClassName", CMPI_chars, 0},
                                         Call{"objectPath.addKey", "Tag", CMPI_chars, 0},
                                         Call{"result.returnObjectPath", "QELTA_SystemSlot", CMPI_null, 0}));
}

TEST_F(SlotsTest, APathTakesItsClassNameFirstAndItsNamespaceSecond) {
    start();
    broker::ObjectPath expected = testsupport::renamed(slotPath(260), "SomeClass");
    expected.nameSpace = "some/namespace";
    expected.keys[2].value = Value::string("SomeClass");
    const CMPIObjectPath* made = TSlotInfo().getObjectPath(handle(), "SomeClass", "some/namespace", 260);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(scope->read(made), expected);
}

TEST_F(SlotsTest, APathThatCannotBeMadeIsNull) {
    start();
    EXPECT_EQ(TSlotInfo().getObjectPath(handle(), "", "root/kavix", 1), nullptr);
    manager.failAt("eft.newObjectPath", 1);
    EXPECT_EQ(TSlotInfo().getObjectPath(handle(), "QELTA_SystemSlot", "root/kavix", 1), nullptr);
    EXPECT_THAT(callsOf("objectPath.addKey"), IsEmpty());
}

// --- instances ---

TEST_F(SlotsTest, AnInstanceIsMadeByTheseCallsInThisOrder) {
    Slot slot;
    slot.characteristics1 = 0x06;
    startWith({slot});
    enumerate();

    const auto path = [](const char* key) { return Call{"objectPath.addKey", key, CMPI_chars, 0}; };
    const auto set = [](const char* name, CMPIType type) { return Call{"instance.setProperty", name, type, 0}; };
    const auto array = [](std::size_t size) { return Call{"eft.newArray", "", CMPI_uint16, size}; };
    const auto element = [](std::size_t index) { return Call{"array.setElementAt", "", CMPI_uint16, index}; };
    const std::vector<Call> expected{
        Call{"eft.newObjectPath", "QELTA_SystemSlot", CMPI_null, 0},
        path("SystemCreationClassName"),
        path("SystemName"),
        path("CreationClassName"),
        path("Tag"),
        Call{"eft.newInstance", "QELTA_SystemSlot", CMPI_null, 0},
        set("Number", CMPI_uint16),
        set("CreationClassName", CMPI_chars),
        set("Tag", CMPI_chars),
        set("Description", CMPI_chars),
        set("CurrentUsage", CMPI_uint16),
        set("SlotLength", CMPI_uint8),
        set("SlotLength", CMPI_uint8),
        array(1),
        element(0),
        set("OperationalStatus", CMPI_uint16A),
        array(1),
        element(0),
        set("ConnectorType", CMPI_uint16A),
        set("MaxDataWidth", CMPI_uint16),
        set("PMESignal", CMPI_boolean),
        set("Shared", CMPI_boolean),
        set("SlotDesignation", CMPI_chars),
        set("SlotAllInfo", CMPI_chars),
        set("SupportsHotPlug", CMPI_boolean),
        array(2),
        element(0),
        element(1),
        set("VccMixedVoltageSupport", CMPI_uint16A),
        Call{"result.returnInstance", "QELTA_SystemSlot", CMPI_null, 0},
    };
    EXPECT_THAT(callsMade(), ElementsAreArray(expected));
}

TEST_F(SlotsTest, AnInstanceWithAllItsValues) {
    Slot slot;
    slot.designation = "PCI1";
    slot.type = 0xA5;
    slot.width = 0x0B;
    slot.usage = 4;
    slot.length = 0xFE;
    slot.id = 1;
    slot.characteristics1 = 0x0D;
    slot.characteristics2 = 0x02;
    const broker::Instance made = instanceOf(slot);
    EXPECT_EQ(made.path, slotPath(1));
    EXPECT_EQ(made.properties,
              (std::vector<broker::Property>{{"SystemCreationClassName", Value::string("QELTA_ASSETID")},
                                             {"SystemName", Value::string(testsupport::kMachineName)},
                                             {"CreationClassName", Value::string("QELTA_SystemSlot")},
                                             {"Tag", Value::string("System Slot 1")},
                                             {"Number", uint16(1)},
                                             {"Description", Value::string("System Slot")},
                                             {"CurrentUsage", uint16(4)},
                                             {"SlotLength", Value::uint(CMPI_uint8, 0xFE)},
                                             {"OperationalStatus", uint16Array({2})},
                                             {"ConnectorType", uint16Array({0xA5})},
                                             {"MaxDataWidth", uint16(0x0B)},
                                             {"PMESignal", Value::boolean(true)},
                                             {"Shared", Value::boolean(true)},
                                             {"SlotDesignation", Value::string("PCI1")},
                                             {"SlotAllInfo", Value::string("PCI1, System Slot 1")},
                                             {"SupportsHotPlug", Value::boolean(true)},
                                             {"VccMixedVoltageSupport", uint16Array({2})}}));
}

TEST_F(SlotsTest, TheClassNameThatIsAskedForIsNotConsulted) {
    startWithNumbers({1});
    TSlotInfo().GetCIMInstances(handle(), result(), "Something_Else", false);
    TSlotInfo().GetCIMInstances(handle(), result(), "", true);
    EXPECT_EQ(instance().path, slotPath(1));
    EXPECT_THAT(scope->response().paths, ElementsAre(slotPath(1)));
}

TEST_F(SlotsTest, SlotsComeInTheOrderOfTheTableTwinsIncluded) {
    startWithNumbers({5, 3, 9, 3});
    for (const bool namesOnly : {false, true}) {
        forget();
        enumerate(namesOnly);
        EXPECT_EQ(answered(), (Paths{slotPath(5), slotPath(3), slotPath(9), slotPath(3)}));
    }
}

// --- the slot number ---

TEST_F(SlotsTest, TheNumberIsTheTwoBytesOfTheIdOrEdTogether) {
    const std::vector<std::pair<std::uint16_t, unsigned>> ids{{0x0000, 0},   {0x0001, 1},   {0x0205, 7},
                                                              {0x0303, 3},   {0x0400, 4},   {0xFF00, 255},
                                                              {0x00FF, 255}, {0x8001, 129}, {0xF00F, 255}};
    for (const auto& [id, number] : ids) {
        SCOPED_TRACE(id);
        Slot slot;
        slot.id = id;
        const broker::Instance made = instanceOf(slot);
        EXPECT_EQ(made.path, slotPath(number));
        EXPECT_EQ(*made.property("Number"), uint16(number));
        EXPECT_EQ(*made.property("Tag"), Value::string("System Slot " + std::to_string(number)));
        EXPECT_EQ(*made.property("SlotAllInfo"), Value::string("PCI1, System Slot " + std::to_string(number)));
        EXPECT_EQ(TSlotInfo().GetMaxSystemSlot(), number);
    }
}

TEST_F(SlotsTest, TheSlotCountIsTheHighestNumberWhereverItStands) {
    startWithNumbers({2, 11, 7});
    EXPECT_EQ(TSlotInfo().GetMaxSystemSlot(), 11);
    host->bmc().putFile("smbios-table", testsupport::slotTable({200, 1}));
    EXPECT_EQ(TSlotInfo().GetMaxSystemSlot(), 200);
    host->bmc().putFile("smbios-table", testsupport::slotTable({0, 0}));
    EXPECT_EQ(TSlotInfo().GetMaxSystemSlot(), 0);
    host->bmc().putFile("smbios-table", SmbiosBuilder().addStructure(4, Bytes(30, 0xFF)).bytes());
    EXPECT_EQ(TSlotInfo().GetMaxSystemSlot(), 0);
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_THAT(callsMade(), IsEmpty());
}

// --- the other values ---

TEST_F(SlotsTest, EveryUsageCodeHasItsStatus) {
    for (unsigned code = 0; code < 256; ++code) {
        const tPCIInfo::SlotUsage usage = TSlotInfo::usageOf(static_cast<std::uint8_t>(code));
        const unsigned status = code == 1 ? 1 : code == 3 || code == 4 ? 2 : 0;
        const std::string text = code == 1   ? "Other"
                                 : code == 3 ? "Slot is available"
                                 : code == 4 ? "Slot is in use"
                                             : "Unknown";
        EXPECT_EQ(usage.operationalStatus, status) << code;
        EXPECT_EQ(usage.text, text) << code;
    }
}

TEST_F(SlotsTest, TheUsageIsPublishedAsItStandsAndAsAStatus) {
    const std::vector<std::pair<std::uint8_t, unsigned>> codes{{0, 0}, {1, 1}, {2, 0},  {3, 2},
                                                               {4, 2}, {5, 0}, {255, 0}};
    for (const auto& [code, status] : codes) {
        const broker::Instance made = instanceOf(slotWith(&Slot::usage, code));
        EXPECT_EQ(*made.property("CurrentUsage"), uint16(code));
        EXPECT_EQ(*made.property("OperationalStatus"), uint16Array({status}));
    }
}

TEST_F(SlotsTest, CodesArePublishedAsTheyStand) {
    for (const unsigned code : {0U, 1U, 5U, 0x7FU, 0x80U, 255U}) {
        const auto byte = static_cast<std::uint8_t>(code);
        EXPECT_EQ(property(slotWith(&Slot::type, byte), "ConnectorType"), uint16Array({code}));
        EXPECT_EQ(property(slotWith(&Slot::width, byte), "MaxDataWidth"), uint16(code));
        EXPECT_EQ(property(slotWith(&Slot::length, byte), "SlotLength"), Value::uint(CMPI_uint8, code));
    }
}

struct CharacteristicsRow {
    std::uint8_t characteristics1;
    bool pmeSignal;
    bool shared;
    std::vector<unsigned> voltages;
};

TEST_F(SlotsTest, TheFirstCharacteristicsTellPmeSharingAndVoltages) {
    const std::vector<CharacteristicsRow> rows{
        {0x00, false, false, {0}},    {0x01, true, false, {0}},     {0x02, false, false, {3}},
        {0x04, false, false, {2}},    {0x06, false, false, {3, 2}}, {0x08, false, true, {0}},
        {0xF0, false, false, {0}},    {0x0F, true, true, {3, 2}},   {0xFF, true, true, {3, 2}},
        {0xF6, false, false, {3, 2}},
    };
    for (const CharacteristicsRow& row : rows) {
        SCOPED_TRACE(int{row.characteristics1});
        Slot slot;
        slot.characteristics1 = row.characteristics1;
        slot.characteristics2 = static_cast<std::uint8_t>(~row.characteristics1);  // has no part in any of these
        const broker::Instance made = instanceOf(slot);
        EXPECT_EQ(*made.property("PMESignal"), Value::boolean(row.pmeSignal));
        EXPECT_EQ(*made.property("Shared"), Value::boolean(row.shared));
        EXPECT_EQ(*made.property("VccMixedVoltageSupport"), uint16Array(row.voltages));
    }
}

TEST_F(SlotsTest, ThePmeSignalIsNotThePmeBitOfTheSecondCharacteristics) {
    Slot slot;
    slot.characteristics1 = 0x00;
    slot.characteristics2 = 0x01;
    EXPECT_EQ(property(slot, "PMESignal"), Value::boolean(false));
}

TEST_F(SlotsTest, HotPlugIsBitOneOfTheSecondCharacteristics) {
    for (const auto& [byte, hotPlug] : std::vector<std::pair<std::uint8_t, bool>>{
             {0x00, false}, {0x01, false}, {0x02, true}, {0x03, true}, {0xFD, false}, {0xFF, true}}) {
        EXPECT_EQ(property(slotWith(&Slot::characteristics2, byte), "SupportsHotPlug"), Value::boolean(hotPlug));
    }
}

// --- designations ---

class SlotDesignations : public SlotsTest {
 protected:
    /** The slot's designation, a null of no type where it has none, and all its information. */
    void expectDesignation(const Slot& slot, const Value& designation, const std::string& allInfo) {
        EXPECT_EQ(property(slot, "SlotDesignation"), designation);
        EXPECT_EQ(property(slot, "SlotAllInfo"), Value::string(allInfo));
    }
};

TEST_F(SlotDesignations, OfASlotWithoutStringsAreItsTag) {
    Slot slot;
    slot.id = 12;
    slot.designation = std::nullopt;
    expectDesignation(slot, Value::string("System Slot 12"), "System Slot 12");
}

TEST_F(SlotDesignations, AreTheFirstStringWhateverNumberTheRecordGivesAndNoneWhereThatIsEmpty) {
    Slot slot;
    slot.strings = {"second"};
    for (const unsigned number : {0U, 1U, 2U, 3U, 255U}) {
        slot.designation = "first";
        slot.designationNumber = static_cast<std::uint8_t>(number);
        expectDesignation(slot, Value::string("first"), "first, System Slot 1");
        slot.designation = "";
        expectDesignation(slot, Value(), ", System Slot 1");
    }
}

TEST_F(SlotDesignations, MayHoldAnyBytes) {
    std::string every;
    for (unsigned byte = 1; byte < 256; ++byte) every += static_cast<char>(byte);
    Slot slot;
    for (const std::string& designation : {every, std::string("%s%n%d"), std::string(5000, 'x'), std::string(" ")}) {
        slot.designation = designation;
        expectDesignation(slot, Value::string(designation), designation + ", System Slot 1");
    }
}

TEST_F(SlotsTest, StringsBeginBehindTheFormattedAreaHoweverLongItIs) {
    for (const unsigned length : {13U, 14U, 17U, 19U, 200U}) {
        Slot slot;
        slot.formattedLength = static_cast<std::uint8_t>(length);
        EXPECT_EQ(property(slot, "SlotDesignation"), Value::string("PCI1")) << length;
    }
}

// --- log lines ---

TEST_F(SlotsTest, EverySlotIsLoggedAndTheEndOfTheEnumerationButNotByGetSlotInfo) {
    startWithNumbers({5, 3});
    for (const bool namesOnly : {false, true}) {
        forget();
        enumerate(namesOnly);
        EXPECT_EQ(log(), allLines({slotLines(), slotLines(), returningLines()}));
        forget();
        TSlotInfo().GetSlotInfo(handle(), result(), namesOnly);
        EXPECT_EQ(answered(), (Paths{slotPath(5), slotPath(3)}));
        EXPECT_EQ(log(), allLines({slotLines(), slotLines()}));
    }
}

// --- the utilities ---

TEST(SlotUtilities, TheTagIsTheNumberInDecimal) {
    std::string tag = "something before";
    TSlotInfo().getTag(tag, 3);
    EXPECT_EQ(tag, "System Slot 3");
    TSlotInfo().getTag(tag, 0);
    EXPECT_EQ(tag, "System Slot 0");
    TSlotInfo().getTag(tag, -12345);
    EXPECT_EQ(tag, "System Slot -12345");
}

TEST(SlotUtilities, TheSystemsCreationClassIsTheAssetIds) {
    EXPECT_EQ(TSlotInfo().getSystemCreationClassName(), "QELTA_ASSETID");
}

TEST(SlotUtilities, DataBusWidthCodesTwoToSevenHaveBits) {
    const std::vector<int> bits{0, 0, 1, 8, 16, 32, 64, 128};
    for (std::size_t code = 0; code < 256; ++code) {
        EXPECT_EQ(TSlotInfo::GetSlotDataBusWidth(static_cast<std::uint8_t>(code)), code < 8 ? bits[code] : 0) << code;
    }
}

std::string getString(int index, const Bytes& bytes, std::size_t structure = 0) {
    const std::unique_ptr<std::uint8_t[]> memory(new std::uint8_t[bytes.size()]);  // of its exact size
    std::copy(bytes.begin(), bytes.end(), memory.get());
    return TSlotInfo::GetString(index, memory.get() + structure, memory.get(), memory.get() + bytes.size());
}

TEST(SlotUtilities, GetStringReadsTheLengthAsASignedByte) {
    Bytes bytes{'b', 'e', 'f', 'o', 'r', 'e', 0, 9, 0xF9, 0, 0};  // a length of -7
    EXPECT_EQ(getString(1, bytes, 7), "before");
    bytes[8] = 0x7F;
    bytes.resize(7 + 0x7F, 1);
    for (const char c : std::string("behind")) bytes.push_back(static_cast<std::uint8_t>(c));
    bytes.push_back(0);
    EXPECT_EQ(getString(1, bytes, 7), "behind");
}

TEST(SlotUtilities, GetStringGivesTheStringOfAnIndexInsideTheStorage) {
    const Bytes two{9, 4, 0, 0, 'o', 'n', 'e', 0, 't', 'w', 'o', 0, 0};
    const Bytes none{9, 4, 0, 0, 0, 'x', 0, 0};
    const Bytes next{9, 4, 0, 0, 'o', 'n', 'e', 0, 0, 'n', 'e', 'x', 't', 0};  // after the end of the set
    const Bytes cut{9, 4, 0, 0, 'o', 'n', 'e'};
    const char* const null = "(null string)";
    using Row = std::tuple<int, Bytes, const char*>;
    const Bytes empty{9, 4, 0, 0};
    const Bytes before{9, 128, 0, 0};
    const Bytes after{9, 127, 0, 0};
    const std::vector<Row> rows{{0, two, ""},     {1, two, "one"},   {2, two, "two"}, {100, two, ""},
                                {-1, two, ""},    {0, none, ""},     {1, none, null}, {2, none, null},
                                {2, next, ""},    {3, next, "next"}, {1, cut, "one"}, {2, cut, ""},
                                {1, empty, null}, {1, before, null}, {1, after, null}};
    for (const auto& [index, bytes, expected] : rows) EXPECT_EQ(getString(index, bytes), expected) << index;
}

}  // namespace
