// Reading whole files from the data store.
#include "tests/unit/wholefile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using emulator::DeviceClosed;
using emulator::DeviceOpened;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using tPCIInfo::ByteVector;
using tPCIInfo::IpmiDataStore;
using tPCIInfo::MAX_KCS_BUFF_SIZE;

constexpr std::size_t kArea = 65536;

class ReadFileTest : public WholeFileTest {
 protected:
    ReadFileTest() { bmc().putFile("file", content); }

    const Bytes content = pattern(kArea);
};

Bytes extended(Bytes bytes, std::size_t length, std::uint8_t filler = 0) {
    bytes.resize(length, filler);
    return bytes;
}

// --- a file read to its end ---

TEST_F(ReadFileTest, AFileCostsOneOpenOneQuery328ReadsAndOneClose) {
    EXPECT_EQ(readFile(), (Transfer{0, 0}));

    std::vector<Bytes> expected{datastore::open("file").data, datastore::querySize("file").data};
    for (std::uint32_t offset = 0; offset < 65400; offset += 200) {
        expected.push_back(datastore::read(kFirstHandle, offset, 200).data);
    }
    expected.push_back(datastore::read(kFirstHandle, 65400, 136).data);
    expected.push_back(datastore::close(kFirstHandle).data);
    ASSERT_THAT(expected, SizeIs(1 + 1 + 328 + 1));
    EXPECT_EQ(requests(), expected);
}

TEST_F(ReadFileTest, TheDeviceIsOpenedFirstAndClosedLastAndTheObjectHasNoFileOpenThen) {
    IpmiDataStore store;
    readFile(store);
    EXPECT_FALSE(store.isFileOpen());
    const auto events = host.events();
    EXPECT_TRUE(std::holds_alternative<DeviceOpened>(events.front()));
    EXPECT_TRUE(std::holds_alternative<DeviceClosed>(events.back()));
    EXPECT_EQ(count<DeviceOpened>(), 1U);
    EXPECT_EQ(count<DeviceClosed>(), 1U);
    EXPECT_EQ(tPCIInfo::kcs_fd, -1);
    EXPECT_EQ(bmc().openFiles(), 0U);
}

TEST_F(ReadFileTest, TheArgumentsGoIntoTheOpenRequest) {
    IpmiDataStore store;
    std::uint8_t code = 0;
    store.ReadFile(code, "file", data, true, 0xAB, tPCIInfo::kAccessWrite, false);
    EXPECT_EQ(requests().at(0), extended({0xD9, 0x7E, 0, 1, 3, 1, 0, 0, 0, 0, 0, 0xAB, 'f', 'i', 'l', 'e'}, 44));
}

TEST_F(ReadFileTest, TheLengthThatTheBmcTellsIsNotHeeded) {
    bmc().putFile("file", pattern(10));
    EXPECT_EQ(readFile(), (Transfer{0, 0}));
    EXPECT_EQ(reads(), piecesOf(200));
    EXPECT_EQ(storage(), extended(pattern(10), kArea));
}

TEST_F(ReadFileTest, TheBmcMayDeliverLessThanWasWanted) {
    Fault some;
    some.countField = 37;
    strike(Occasion::read, some, 1, 2);
    EXPECT_EQ(readFile(), (Transfer{0, 0}));
    EXPECT_EQ(reads(), joined({{0, 200}, {37, 200}}, piecesOf(200, kArea, 74)));
    EXPECT_EQ(storage(), content);
}

// --- the vector ---

TEST_F(ReadFileTest, ALongerVectorIsCutAndAShorterOneExtended) {
    for (const std::size_t length :
         {std::size_t{0}, std::size_t{1}, kArea - 1, kArea, kArea + 1, std::size_t{100000}}) {
        SCOPED_TRACE(length);
        data = ByteVector(length, 0xAA);
        EXPECT_EQ(readFile(), (Transfer{0, 0}));
        EXPECT_EQ(data.size(), 0U);
        EXPECT_EQ(storage(), content);
    }
}

TEST_F(ReadFileTest, WhatWasNotReadIsZeroOnlyWhereTheVectorWasExtendedEvenIntoItsRoomToSpare) {
    bmc().setEndOfFile(true);
    bmc().putFile("file", pattern(10));
    for (const std::size_t before : {std::size_t{64}, kArea}) {
        data = ByteVector(before, 0xAA);
        data.resize(64);
        readFile();
        EXPECT_EQ(storage(), extended(extended(pattern(10), 64, 0xAA), kArea));
    }
}

// --- the end of a file ---

TEST_F(ReadFileTest, CompletionCodeA0EndsTheFileWithoutFallBackAndWithoutClosesResult) {
    strike(Occasion::read, refusal(0xA0), 4);
    strike(Occasion::close, refusal(0x0C));
    EXPECT_EQ(readFile(), (Transfer{0, 0xA0}));
    EXPECT_EQ(reads(), piecesOf(200, 800));
    EXPECT_EQ(operations(), "open query read close");
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 200);
    EXPECT_EQ(count<DeviceClosed>(), 1U);
    EXPECT_EQ(data.size(), 0U);
    EXPECT_EQ(storage(600), Bytes(content.begin(), content.begin() + 600));
}

TEST_F(ReadFileTest, EmptyReadsAreTriedSixteenTimesMoreAndThenEndTheFileWithClosesResult) {
    strike(Occasion::read, emptyRead(), 3);
    strike(Occasion::close, refusal(0x0C));
    EXPECT_EQ(readFile(), (Transfer{0, 0x0C}));
    EXPECT_EQ(reads(), joined(piecesOf(200, 400), repeated({400, 200}, 17)));
    EXPECT_EQ(operations(), "open query read close");
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 200);
}

TEST_F(ReadFileTest, SixteenEmptyReadsAtEveryOffsetDoNotEndTheFile) {
    strike(Occasion::read, emptyRead(), 1, 16);
    strike(Occasion::read, emptyRead(), 18, 16);
    EXPECT_EQ(readFile(), (Transfer{0, 0}));
    EXPECT_EQ(reads(), joined(joined(repeated({0, 200}, 17), repeated({200, 200}, 17)), piecesOf(200, kArea, 400)));
    EXPECT_EQ(storage(), content);
}

// --- the fall-back to small chunks ---

TEST_F(ReadFileTest, ARefusedFirstChunkIsReadAgainAt58BytesAndSoIsEverythingBehindIt) {
    bmc().setReadLimit(58);
    EXPECT_EQ(readFile(), (Transfer{0, 0}));
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 58);
    EXPECT_EQ(reads(), joined({{0, 200}}, piecesOf(58)));
    EXPECT_EQ(storage(), content);
    bmc().setReadLimit(0);
    host.clearEvents();
    EXPECT_EQ(readFile(), (Transfer{0, 0}));
    EXPECT_EQ(reads(), piecesOf(58)) << "later transfers of the process";
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 58);
}

TEST_F(ReadFileTest, ARefusalOrAnAnswerTooShortInTheMiddleFallsBackAtItsOffset) {
    for (const Fault& fault : {refusal(0xC7), answerOf({0, 0, 0, 0, 200})}) {
        MAX_KCS_BUFF_SIZE = 200;
        bmc().clearFaults();
        host.clearEvents();
        strike(Occasion::read, fault, 3, 1);
        EXPECT_EQ(readFile(), (Transfer{0, 0}));
        EXPECT_EQ(MAX_KCS_BUFF_SIZE, 58);
        EXPECT_EQ(reads(), joined(piecesOf(200, 600), piecesOf(58, kArea, 400)));
        EXPECT_EQ(storage(), content);
    }
}

TEST_F(ReadFileTest, TheSmallChunkIsNoLongerThanWhatIsLeft) {
    Fault some;
    some.countField = 100;
    strike(Occasion::read, some, 328, 1);
    strike(Occasion::read, refusal(0x0D), 329, 1);
    EXPECT_EQ(readFile(), (Transfer{0, 0}));
    EXPECT_EQ(reads(), joined(piecesOf(200), {{65500, 36}, {65500, 36}}));
    EXPECT_EQ(storage(), content);
}

struct FallBackEnd {
    std::string name;
    Fault second;  // meets the small chunk
    Transfer expected;
};

TEST_F(ReadFileTest, AChunkThatGoesWrongAt58BytesTooEndsTheFile) {
    const std::vector<FallBackEnd> ends{
        {"refused", refusal(0x0C), {0, 0x0C}},
        {"ended", refusal(0xA0), {0, 0xA0}},
        {"not answered", timeOut(), {1, 0}},
        {"answered too short", answerLength(5), {-1, 0}},
    };
    for (const FallBackEnd& end : ends) {
        SCOPED_TRACE(end.name);
        MAX_KCS_BUFF_SIZE = 200;
        bmc().clearFaults();
        host.clearEvents();
        strike(Occasion::read, refusal(0x0D), 1, 1);
        strike(Occasion::read, end.second, 2, 1);
        strike(Occasion::close, refusal(0x0A));
        EXPECT_EQ(readFile(), end.expected);
        EXPECT_EQ(reads(), (Pieces{{0, 200}, {0, 58}}));
        EXPECT_EQ(operations(), "open query read close");
        EXPECT_EQ(MAX_KCS_BUFF_SIZE, 58);
        EXPECT_EQ(tPCIInfo::kcs_fd, -1);
    }
}

TEST_F(ReadFileTest, ARefusalAt58BytesIsNotTriedAgain) {
    MAX_KCS_BUFF_SIZE = 58;
    strike(Occasion::read, refusal(0x0D), 2, 1);
    EXPECT_EQ(readFile(), (Transfer{0, 0x0D}));
    EXPECT_EQ(reads(), (Pieces{{0, 58}, {58, 58}}));
    EXPECT_EQ(operations(), "open query read close");
}

TEST_F(ReadFileTest, AStoreThatDoesNotAdaptReads200BytesAndNeverFallsBack) {
    MAX_KCS_BUFF_SIZE = 120;
    SteadyStore store;
    EXPECT_EQ(readFile(store), (Transfer{0, 0}));
    EXPECT_EQ(reads(), piecesOf(200));
    host.clearEvents();
    strike(Occasion::read, refusal(0x0D), 2, 1);
    EXPECT_EQ(readFile(store), (Transfer{0, 0x0D}));
    EXPECT_EQ(reads(), piecesOf(200, 400));
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 120);
}

TEST_F(ReadFileTest, AChunkSizeIsCutToItsLowEightBits) {
    MAX_KCS_BUFF_SIZE = 300;
    strike(Occasion::read, refusal(0xA0), 4);
    EXPECT_EQ(readFile(), (Transfer{0, 0xA0}));
    EXPECT_EQ(reads(), piecesOf(44, 4 * 44));
    EXPECT_EQ(storage(3 * 44), Bytes(content.begin(), content.begin() + 3 * 44));
}

// --- failed exchanges ---

TEST_F(ReadFileTest, AFailedExchangeEndsTheFileWithOneAndCloseIsSentAllTheSameInVain) {
    strike(Occasion::read, timeOut(), 3);
    strike(Occasion::close, refusal(0x0C));
    EXPECT_EQ(readFile(), (Transfer{1, 0}));
    EXPECT_EQ(reads(), piecesOf(200, 600));
    EXPECT_EQ(operations(), "open query read close");
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 200);
    EXPECT_EQ(tPCIInfo::kcs_fd, -1);
}

// --- close ---

TEST_F(ReadFileTest, ClosesResultAndCodeAreThoseOfAFileReadToItsEnd) {
    strike(Occasion::close, refusal(0x0C), 1, 1);
    strike(Occasion::close, timeOut(), 2, 1);
    EXPECT_EQ(readFile(), (Transfer{0, 0x0C}));
    EXPECT_EQ(readFile(), (Transfer{1, 0}));
    EXPECT_EQ(storage(), content);
    EXPECT_EQ(tPCIInfo::kcs_fd, -1);
}

// --- blank files ---

TEST_F(ReadFileTest, ABlankFirstChunkEndsTheFileWhereThatIsWanted) {
    bmc().putFile("file", extended(Bytes(200), 300, 1));
    EXPECT_EQ(readFile(true), (Transfer{0, 0}));
    EXPECT_EQ(reads(), (Pieces{{0, 200}}));
    EXPECT_EQ(operations(), "open query read close");
    host.clearEvents();
    EXPECT_EQ(readFile(false), (Transfer{0, 0}));
    EXPECT_EQ(reads(), piecesOf(200));
}

TEST_F(ReadFileTest, OneByteInTheFirstChunkIsNotBlank) {
    for (const std::size_t place : {0U, 100U, 199U}) {
        host.clearEvents();
        Bytes one(200);
        one[place] = 1;
        bmc().putFile("file", one);
        EXPECT_EQ(readFile(true), (Transfer{0, 0}));
        EXPECT_EQ(reads(), piecesOf(200));
    }
}

TEST_F(ReadFileTest, AnEmptyReadBehindTheFirstChunkIsNotBlank) {
    strike(Occasion::read, emptyRead(), 2, 1);
    EXPECT_EQ(readFile(true), (Transfer{0, 0}));
    EXPECT_EQ(reads(), joined({{0, 200}, {200, 200}}, piecesOf(200, kArea, 200)));
}

TEST_F(ReadFileTest, OnlyTheBytesThatCameAreLookedAtAndNoneAreBlank) {
    for (const Fault& first : {answerOf({0, 0, 0, 0, 3, 0, 0, 0, 0}), emptyRead()}) {
        host.clearEvents();
        bmc().clearFaults();
        data = ByteVector(64, 0xAA);
        strike(Occasion::read, first, 1, 1);
        EXPECT_EQ(readFile(true), (Transfer{0, 0}));
        EXPECT_EQ(reads(), (Pieces{{0, 200}}));
    }
}

TEST_F(ReadFileTest, BlankIsDecidedByTheSmallChunkWhereTheLargeOneWasRefused) {
    bmc().setReadLimit(58);
    bmc().putFile("file", extended(Bytes(58), 100, 1));
    EXPECT_EQ(readFile(true), (Transfer{0, 0}));
    EXPECT_EQ(reads(), (Pieces{{0, 200}, {0, 58}}));
}

// --- files that cannot be opened or sized ---

struct EarlyEnd {
    std::string name;
    Occasion on;
    Fault fault;
    Transfer expected;
    std::string operations;
};

TEST_F(ReadFileTest, AFileThatCannotBeOpenedOrSizedLeavesTheDeviceOpenUntilTheNextConnect) {
    const std::vector<EarlyEnd> ends{
        {"open refused", Occasion::open, refusal(0x0A), {0, 0x0A}, "open"},
        {"open ended", Occasion::open, refusal(0xA0), {0, 0xA0}, "open"},
        {"open not answered", Occasion::open, timeOut(), {1, 0}, "open"},
        {"open answered too short", Occasion::open, answerLength(6), {-1, 0}, "open"},
        {"size refused", Occasion::querySize, refusal(0x17), {0, 0x17}, "open query"},
        {"size not answered", Occasion::querySize, timeOut(), {1, 0}, "open query"},
    };
    for (const EarlyEnd& end : ends) {
        SCOPED_TRACE(end.name);
        tPCIInfo::disconnect_kcs();
        host.clearEvents();
        bmc().clearFaults();
        strike(end.on, end.fault);
        data = ByteVector(3, 0xAA);
        EXPECT_EQ(readFile(), end.expected);
        EXPECT_EQ(operations(), end.operations);
        EXPECT_EQ(count<DeviceClosed>(), 0U);
        EXPECT_GE(tPCIInfo::kcs_fd, 0);
        EXPECT_THAT(data, ElementsAre(0xAA, 0xAA, 0xAA));
        EXPECT_EQ(MAX_KCS_BUFF_SIZE, 200);

        bmc().clearFaults();
        EXPECT_EQ(readFile(), (Transfer{0, 0}));
        EXPECT_EQ(count<DeviceOpened>(), 2U);
        EXPECT_EQ(count<DeviceClosed>(), 2U);
    }
}

TEST_F(ReadFileTest, WithoutADeviceTheFirstExchangeFails) {
    host.removeDevice(true);
    EXPECT_EQ(readFile(), (Transfer{1, 0}));
    EXPECT_EQ(count<DeviceOpened>(), 2U);
    EXPECT_EQ(count<emulator::Waited>(), 1U);
    EXPECT_EQ(tPCIInfo::kcs_fd, -1);
    EXPECT_EQ(data.size(), 64U);
}

TEST_F(ReadFileTest, ANameTooLongForOpenSendsNothingAndOneTooLongForTheSizeQueryEndsAfterOpen) {
    EXPECT_EQ(readFile(false, std::string(32, 'n')), (Transfer{-1, kCodeBefore}));
    EXPECT_THAT(requests(), IsEmpty());
    bmc().putFile(std::string(31, 'n'), content);
    EXPECT_EQ(readFile(false, std::string(31, 'n')), (Transfer{-1, 0}));
    EXPECT_EQ(operations(), "open");
    bmc().putFile(std::string(30, 'n'), content);
    EXPECT_EQ(readFile(false, std::string(30, 'n')), (Transfer{0, 0}));
    EXPECT_EQ(storage(), content);
}

// --- the helpers ---

TEST(DataStoreHelpers, MyminGivesTheSmallerOfTwo) {
    EXPECT_EQ(tPCIInfo::mymin(3, 4), 3U);
    EXPECT_EQ(tPCIInfo::mymin(4, 3), 3U);
    EXPECT_EQ(tPCIInfo::mymin(5, 5), 5U);
    EXPECT_EQ(tPCIInfo::mymin(0xFFFFFFFFU, 0), 0U);
    EXPECT_EQ(tPCIInfo::mymin(0xFFFFFFFFU, 0xFFFFFFFEU), 0xFFFFFFFEU);
}

TEST(DataStoreHelpers, MycopyCopiesARangeAndGivesThePositionBehindIt) {
    const Bytes from{1, 2, 3};
    Bytes into(5, 9);
    const auto behind = tPCIInfo::mycopy(from.data(), from.data() + 3, into.begin() + 1);
    EXPECT_THAT(into, ElementsAre(9, 1, 2, 3, 9));
    EXPECT_EQ(behind - into.begin(), 4);
    EXPECT_EQ(tPCIInfo::mycopy(from.data(), from.data(), into.begin()), into.begin());
    EXPECT_THAT(into, ElementsAre(9, 1, 2, 3, 9));
}

}  // namespace
