// The BMC of a virtual machine, without the machine.
#include "tests/vm/serialbmc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/emulator/datastore.h"
#include "tests/support/hostbuilder.h"
#include "tests/vm/framing.h"

namespace {

using testing::ElementsAre;
using vm::Bytes;
using vm::Message;
using vm::Unit;
using vm::UnitReader;

std::vector<Unit> unitsIn(const Bytes& stream) {
    UnitReader reader;
    std::vector<Unit> units;
    for (const std::uint8_t byte : stream)
        if (auto unit = reader.take(byte)) units.push_back(*std::move(unit));
    return units;
}

TEST(FramingTest, AMessageHasItsHeaderItsDataAndAChecksumThatMakesTheSumZero) {
    // 05h, netfn 06h with lun 2 (1Ah), command 01h, data 7Fh: 9Fh, and 61h makes it 100h.
    EXPECT_THAT(vm::frameMessage({5, 0x06, 2, 0x01, {0x7F}}), ElementsAre(0x05, 0x1A, 0x01, 0x7F, 0x61, 0xA0));
}

TEST(FramingTest, MarksInsideAUnitAreEscapedTheChecksumIncluded) {
    // The data adds up to 5Fh with its header, so that the checksum is the mark A1h itself.
    EXPECT_THAT(vm::frameMessage({0xA0, 0, 0, 0xAA, {0x15}}),
                ElementsAre(0xAA, 0xB0, 0x00, 0xAA, 0xBA, 0x15, 0xAA, 0xB1, 0xA0));
    EXPECT_THAT(vm::frameControl({0xFF, 0xA1}), ElementsAre(0xFF, 0xAA, 0xB1, 0xA1));
}

TEST(FramingTest, AStreamIsTakenApartIntoItsMessagesAndControlCommands) {
    Bytes stream = vm::frameControl({0xFF, 0x01});
    Bytes data(256);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i);
    const Bytes message = vm::frameMessage({0xAA, 0x2E, 3, 0xA1, data});
    stream.insert(stream.end(), message.begin(), message.end());

    const std::vector<Unit> units = unitsIn(stream);
    ASSERT_THAT(units, testing::SizeIs(2));
    EXPECT_TRUE(units[0].control);
    EXPECT_THAT(units[0].bytes, ElementsAre(0xFF, 0x01));
    EXPECT_FALSE(units[1].control);
    const auto parsed = vm::parseMessage(units[1].bytes);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->sequence, 0xAA);
    EXPECT_EQ(parsed->netfn, 0x2E);
    EXPECT_EQ(parsed->lun, 3);
    EXPECT_EQ(parsed->command, 0xA1);
    EXPECT_EQ(parsed->data, data);
}

TEST(FramingTest, AWrongChecksumAndATooShortUnitAreNoMessage) {
    EXPECT_TRUE(vm::parseMessage({0x05, 0x18, 0x01, 0xE2}));
    EXPECT_FALSE(vm::parseMessage({0x05, 0x18, 0x01, 0xE3}));
    EXPECT_FALSE(vm::parseMessage({0x05, 0x18, 0xE3}));  // adds up to 0
    EXPECT_FALSE(vm::parseMessage({}));
}

TEST(FramingTest, AUnitThatBreaksOffIsNone) {
    const Bytes message = vm::frameMessage({1, 0x06, 0, 0x01, {}});
    EXPECT_THAT(unitsIn(Bytes(message.begin(), message.end() - 1)), testing::IsEmpty());
}

class SerialBmcTest : public testing::Test {
 protected:
    static vm::Profiles profiles() {
        vm::Profiles profiles;
        const auto add = [&](const std::string& name, auto change) {
            emulator::Fault fault;
            change(fault);
            profiles[name].faults.push_back(fault);
        };
        add("silent", [](emulator::Fault& fault) { fault.timeout = true; });
        add("slow", [](emulator::Fault& fault) { fault.delayMs = 7; });
        add("cut-off", [](emulator::Fault& fault) { fault.vanish = true; });
        profiles["small"].readLimit = 58;
        return profiles;
    }

    vm::Reaction take(std::uint8_t netfn, std::uint8_t command, const Bytes& data) {
        return bmc.take({kSequence, netfn, 0, command, data});
    }
    vm::Reaction ask(const emulator::Request& request) { return take(request.netfn, request.command, request.data); }
    Bytes select(const std::string& profile) { return take(0x30, 1, Bytes(profile.begin(), profile.end())).answer; }

    /** The message that a reaction puts on the line. */
    static Message sent(const vm::Reaction& reaction) {
        const std::vector<Unit> units = unitsIn(reaction.output);
        return units.empty() ? Message() : vm::parseMessage(units[0].bytes).value_or(Message());
    }

    static constexpr std::uint8_t kSequence = 0x15;
    emulator::Bmc model;
    vm::SerialBmc bmc{model, profiles()};
};

TEST_F(SerialBmcTest, AnswersTheDriverItselfAndDataStoreMessagesByTheModel) {
    const Message identity = sent(take(0x06, 0x01, {}));
    EXPECT_EQ(identity.sequence, kSequence);
    EXPECT_EQ(identity.netfn, 0x07);
    EXPECT_THAT(identity.data, testing::SizeIs(12));
    EXPECT_THAT(take(0x06, 0x08, {}).answer, ElementsAre(0xC1));

    model.putFile("smbios-table", {1, 2, 3});
    const Message opened = sent(ask(datastore::open("smbios-table")));
    EXPECT_EQ(opened.netfn, 0x2F);
    EXPECT_EQ(opened.command, 0x90);
    EXPECT_EQ(model.openFiles(), 1U);
    bmc.disconnected();
    EXPECT_EQ(model.openFiles(), 0U);
}

TEST_F(SerialBmcTest, GlobalEnablesAreKeptAndSwitchTheInterrupt) {
    const auto control = [&](std::uint8_t enables) { return unitsIn(take(0x06, 0x2E, {enables}).output).at(1); };
    EXPECT_THAT(control(0x05).bytes, ElementsAre(0x05));
    EXPECT_THAT(take(0x06, 0x2F, {}).answer, ElementsAre(0x00, 0x05));
    EXPECT_THAT(control(0x04).bytes, ElementsAre(0x06));
    EXPECT_TRUE(control(0x04).control);
}

TEST_F(SerialBmcTest, BehavesAsTheProfileThatTheMachineChose) {
    model.putFile("smbios-table", {1, 2, 3});
    EXPECT_THAT(select("silent"), ElementsAre(0));
    EXPECT_THAT(ask(datastore::open("smbios-table")).output, testing::IsEmpty());
    EXPECT_THAT(select("slow"), ElementsAre(0));
    EXPECT_EQ(ask(datastore::open("smbios-table")).delayMs, 7U);
    EXPECT_THAT(select("cut-off"), ElementsAre(0));
    const vm::Reaction cut = ask(datastore::open("smbios-table"));
    EXPECT_TRUE(cut.disconnect);
    EXPECT_THAT(cut.output, testing::Not(testing::IsEmpty()));
    EXPECT_THAT(unitsIn(cut.output), testing::IsEmpty());
    EXPECT_THAT(select("small"), ElementsAre(0));
    EXPECT_EQ(ask(datastore::read(datastore::number(ask(datastore::open("smbios-table")).answer), 0, 59)).answer[0],
              emulator::Bmc::kReadRefused);
    EXPECT_THAT(select("none such"), ElementsAre(0xCB));
    EXPECT_THAT(select(""), ElementsAre(0));
    EXPECT_EQ(sent(ask(datastore::open("smbios-table"))).data.at(0), 0);
}

TEST_F(SerialBmcTest, OneMessageOnDemandIsAnsweredWithAWrongSequenceNumber) {
    model.putFile("smbios-table", {1, 2, 3});
    EXPECT_THAT(take(0x30, 2, {2}).answer, ElementsAre(0));
    EXPECT_EQ(sent(ask(datastore::querySize("smbios-table"))).sequence, kSequence);
    EXPECT_EQ(sent(ask(datastore::querySize("smbios-table"))).sequence, kSequence + 1);
    EXPECT_EQ(sent(ask(datastore::querySize("smbios-table"))).sequence, kSequence);
}

TEST(ProfilesTest, ThoseOfTheVirtualMachineCanBePlayedAndOthersAreRefused) {
    EXPECT_THAT(vm::readProfiles(VM_PROFILES), testing::Contains(testing::Key("silent")));

    const testsupport::TemporaryDirectory folder;
    std::ofstream(folder.path() / "bad.json") << R"({ "faults": [ { "on": "any", "pollErrno": 4 } ] })";
    EXPECT_THROW(vm::readProfiles(folder.path().string()), std::runtime_error);
}

}  // namespace
