// Slots whose table or whose objects cannot be had.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "tests/emulator/datastore.h"
#include "tests/unit/slothost.h"

namespace {

using broker::Value;
using emulator::Fault;
using emulator::Occasion;
using testing::IsEmpty;
using testsupport::allLines;
using testsupport::Bytes;
using testsupport::Paths;
using testsupport::returningLines;
using testsupport::slotLines;
using testsupport::slotPath;
using testsupport::SlotsTest;
using testsupport::slotWithoutPathLines;
using testsupport::uint16Array;
using tPCIInfo::TSlotInfo;

// --- the table's transfer ---

TEST_F(SlotsTest, EveryPassFetchesTheTableAnewAndToItsEndEvenIfItBeginsBlank) {
    startWith(Bytes(1000));
    enumerate();
    EXPECT_EQ(requestsSent(), 1U + 1U + 328U + 1U);
    forget();
    TSlotInfo().GetMaxSystemSlot();
    EXPECT_EQ(requestsSent(), 1U + 1U + 328U + 1U);
    const auto sent = host->eventsOf<emulator::Sent>();
    EXPECT_EQ(sent[0].request.data, datastore::open("smbios-table").data);
    EXPECT_EQ(sent[1].request.data, datastore::querySize("smbios-table").data);
}

TEST_F(SlotsTest, TheDeviceIsFreeWhileTheObjectManagerIsCalled) {
    startWithNumbers({5});
    std::size_t openAtFirstLine = 99;
    host->onEvent([&](const emulator::Event& event) {
        if (std::holds_alternative<emulator::LogLine>(event) && openAtFirstLine == 99) {
            openAtFirstLine = host->openFiles();
        }
    });
    enumerate();
    EXPECT_EQ(openAtFirstLine, 0U);
}

struct Unreadable {
    std::string name;
    Occasion on;
    std::optional<std::uint8_t> completionCode;  // else there is no answer
};

TEST_F(SlotsTest, ATableThatCannotBeReadHasNoSlotsAndNothingIsSaid) {
    const std::vector<Unreadable> ways{
        {"open refused", Occasion::open, 0x0C},          {"open not answered", Occasion::open, std::nullopt},
        {"size refused", Occasion::querySize, 0x0C},     {"size not answered", Occasion::querySize, std::nullopt},
        {"read refused", Occasion::read, 0x0C},          {"read not answered", Occasion::read, std::nullopt},
        {"close refused", Occasion::close, 0x0C},        {"close not answered", Occasion::close, std::nullopt},
        {"file at its end early", Occasion::read, 0xA0},
    };
    startWithNumbers({5});
    for (const Unreadable& way : ways) {
        SCOPED_TRACE(way.name);
        Fault fault;
        fault.on = way.on;
        fault.from = way.on == Occasion::read ? 3 : 1;
        fault.times = 0;
        fault.completionCode = way.completionCode;
        fault.timeout = !way.completionCode;
        host->bmc().clearFaults();
        host->bmc().addFault(fault);
        forget();
        enumerate();
        EXPECT_THAT(answered(), IsEmpty());
        EXPECT_THAT(callsMade(), IsEmpty());
        EXPECT_EQ(log(), returningLines());
        EXPECT_EQ(TSlotInfo().GetMaxSystemSlot(), 0);
    }
    host->bmc().clearFaults();
    EXPECT_EQ(TSlotInfo().GetMaxSystemSlot(), 5);
}

TEST_F(SlotsTest, WithoutATableOrADeviceThereAreNoSlots) {
    start();
    enumerate();
    EXPECT_EQ(TSlotInfo().GetMaxSystemSlot(), 0);
    host->removeDevice(true);
    enumerate();
    EXPECT_EQ(TSlotInfo().GetMaxSystemSlot(), 0);
    EXPECT_THAT(answered(), IsEmpty());
}

// --- an object manager that fails ---

TEST_F(SlotsTest, ASlotWhosePathCannotBeMadeIsSkipped) {
    startWithNumbers({1, 2, 3});
    for (const bool namesOnly : {false, true}) {
        forget();
        manager.failAt("eft.newObjectPath", 2);
        enumerate(namesOnly);
        EXPECT_EQ(answered(), (Paths{slotPath(1), slotPath(3)}));
        EXPECT_EQ(log(), allLines({slotLines(), slotWithoutPathLines(), slotLines(), returningLines()}));
    }
}

TEST_F(SlotsTest, ASlotWhoseInstanceCannotBeMadeIsSkipped) {
    startWithNumbers({1, 2, 3});
    manager.failAt("eft.newInstance", 2);
    enumerate();
    EXPECT_EQ(answered(), (Paths{slotPath(1), slotPath(3)}));
    EXPECT_EQ(callsOf("result.returnInstance").size(), 2U);
    EXPECT_EQ(callsOf("instance.setProperty").size(), 2U * 16U);
    EXPECT_EQ(log(), allLines({slotLines(), slotLines(), slotLines(), returningLines()}));
}

TEST_F(SlotsTest, APropertyThatCannotBeSetIsMissingAndTheOthersAreThere) {
    startWithNumbers({1});
    enumerate();
    const std::size_t all = instance().properties.size();
    const std::vector<std::pair<std::string, std::string>> failures{{"eft.newArray", "OperationalStatus"},
                                                                    {"instance.setProperty", "Number"}};
    for (const auto& [function, missing] : failures) {
        forget();
        manager.failAt(function, 1);
        enumerate();
        const broker::Instance made = instance();
        EXPECT_EQ(made.property(missing), nullptr);
        EXPECT_EQ(made.properties.size(), all - 1);
    }
}

TEST_F(SlotsTest, AnArrayElementThatCannotBeSetLeavesTheArray) {
    startWithNumbers({1});
    manager.failAt("array.setElementAt", 1);
    enumerate();
    const broker::Instance made = instance();
    EXPECT_EQ(*made.property("OperationalStatus"), Value::array(CMPI_uint16, {Value::nothing(CMPI_uint16)}));
    EXPECT_EQ(*made.property("ConnectorType"), uint16Array({6}));
}

TEST_F(SlotsTest, AFailureOfAnySingleCallLosesOneSlotAtMost) {
    startWithNumbers({1, 2});
    enumerate();
    const std::size_t calls = callsMade().size();
    for (unsigned nth = 1; nth <= calls; ++nth) {
        SCOPED_TRACE(nth);
        forget();
        manager.clearFaults();
        manager.failAt("*", nth);
        enumerate();
        EXPECT_GE(scope->response().instances.size(), 1U);
        EXPECT_EQ(log().back(), returningLines().front());
    }
}

TEST_F(SlotsTest, ExceptionsOfTheObjectManagerPass) {
    startWithNumbers({1, 2});
    manager.throwAt("eft.newInstance", 1);
    EXPECT_THROW(enumerate(), std::runtime_error);
    manager.throwAt("eft.newInstance", 1, false);
    EXPECT_THROW(enumerate(), int);
}

}  // namespace
