// The slots of the sample machines against dmidecode.
#include <fmt/format.h>

#include <map>
#include <string>
#include <vector>

#include "tests/samples/reference.h"
#include "tests/samples/sample.h"

using samples::shown;

namespace {

struct SlotCodes {
    unsigned width = 0;
    unsigned type = 0;
};

/** The codes that dmidecode shows as words, of those that the samples have (DSP0134, system slots). */
const std::map<std::string, SlotCodes> kTypes{
    {"x4 PCI Express", {0x0A, 0xA5}},   {"x8 PCI Express", {0x0B, 0xA5}},   {"x16 PCI Express", {0x0D, 0xA5}},
    {"x4 PCI Express 3", {0x0A, 0xB1}}, {"x8 PCI Express 3", {0x0B, 0xB1}}, {"x16 PCI Express 3", {0x0D, 0xB1}},
};
const std::map<std::string, unsigned> kUsages{{"Other", 1}, {"Unknown", 2}, {"Available", 3}, {"In Use", 4}};
const std::map<std::string, unsigned> kLengths{{"Other", 1}, {"Unknown", 2}, {"Short", 3}, {"Long", 4}};
/** OperationalStatus for a usage: Other, Unknown, OK, OK. */
const std::map<std::string, unsigned> kStatuses{{"Other", 1}, {"Unknown", 0}, {"Available", 2}, {"In Use", 2}};

std::string truth(bool value) {
    return value ? "boolean TRUE" : "boolean FALSE";
}

std::vector<unsigned> voltages(const reference::Slot& slot) {
    std::vector<unsigned> codes;
    if (slot.has("5.0 V is provided")) codes.push_back(3);
    if (slot.has("3.3 V is provided")) codes.push_back(2);
    return codes.empty() ? std::vector<unsigned>{0} : codes;
}

class SampleSlots : public samples::SampleTest {
 protected:
    /** Calls `check` with every slot that dmidecode sees and the instance delivered in its place. */
    template <typename Check>
    void forEverySlot(Check check) {
        const std::vector<reference::Slot> slots = reference::dmidecodeSlots(smbiosTable());
        const std::vector<broker::Instance> delivered = samples::instances(directory(), "QELTA_SystemSlot");
        ASSERT_FALSE(slots.empty());
        ASSERT_EQ(delivered.size(), slots.size());
        for (std::size_t i = 0; i < slots.size(); ++i) {
            SCOPED_TRACE(slots[i].designation);
            check(slots[i], delivered[i]);
        }
    }
};

}  // namespace

TEST_P(SampleSlots, NumbersTagsAndDesignationsAreThoseOfDmidecode) {
    forEverySlot([](const reference::Slot& slot, const broker::Instance& instance) {
        const std::string tag = fmt::format("System Slot {}", slot.id.value());
        EXPECT_EQ(shown(instance, "Number"), fmt::format("uint16 {}", slot.id.value()));
        EXPECT_EQ(shown(instance, "Tag"), "string " + tag);
        EXPECT_EQ(shown(instance, "SlotDesignation"), "string " + slot.designation);
        EXPECT_EQ(shown(instance, "SlotAllInfo"), "string " + slot.designation + ", " + tag);
    });
}

TEST_P(SampleSlots, TypesAndWidthsAreTheCodesBehindDmidecodesWords) {
    forEverySlot([](const reference::Slot& slot, const broker::Instance& instance) {
        const SlotCodes codes = kTypes.at(slot.type);
        EXPECT_EQ(shown(instance, "ConnectorType"), samples::shownArray("uint16", {codes.type}));
        EXPECT_EQ(shown(instance, "MaxDataWidth"), fmt::format("uint16 {}", codes.width));
    });
}

TEST_P(SampleSlots, UsagesAndLengthsAreTheCodesBehindDmidecodesWords) {
    forEverySlot([](const reference::Slot& slot, const broker::Instance& instance) {
        EXPECT_EQ(shown(instance, "CurrentUsage"), fmt::format("uint16 {}", kUsages.at(slot.usage)));
        EXPECT_EQ(shown(instance, "OperationalStatus"), samples::shownArray("uint16", {kStatuses.at(slot.usage)}));
        EXPECT_EQ(shown(instance, "SlotLength"), fmt::format("uint8 {}", kLengths.at(slot.length)));
    });
}

TEST_P(SampleSlots, CharacteristicsAreThoseOfDmidecode) {
    forEverySlot([](const reference::Slot& slot, const broker::Instance& instance) {
        EXPECT_EQ(shown(instance, "SupportsHotPlug"), truth(slot.has("Hot-plug devices are supported")));
        EXPECT_EQ(shown(instance, "Shared"), truth(slot.has("Opening is shared")));
        // PMESignal shows bit 0 of the first byte of characteristics: that they are unknown.
        EXPECT_EQ(shown(instance, "PMESignal"), truth(slot.characteristicsUnknown));
        EXPECT_EQ(shown(instance, "VccMixedVoltageSupport"), samples::shownArray("uint16", voltages(slot)));
    });
}

INSTANTIATE_TEST_SUITE_P(Machines, SampleSlots, ::testing::ValuesIn(samples::names()), samples::caseName);
