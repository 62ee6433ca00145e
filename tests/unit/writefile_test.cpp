// Writing whole files, stores that override operations, and transfers of several threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <thread>

#include "tests/support/emulatedtime.h"
#include "tests/unit/wholefile.h"

namespace {

using emulator::DeviceClosed;
using emulator::DeviceOpened;
using testing::ElementsAre;
using testing::IsEmpty;
using tPCIInfo::ByteVector;
using tPCIInfo::IpmiDataStore;
using tPCIInfo::MAX_KCS_BUFF_SIZE;

class WriteFileTest : public WholeFileTest {
 protected:
    WriteFileTest() {
        EXPECT_EQ(tPCIInfo::connect_kcs(), 0);
        host.clearEvents();
    }
};

// --- a file written to its end ---

TEST_F(WriteFileTest, AFileCostsOneOpenOneWritePerChunkAndOneClose) {
    const Bytes content = pattern(500);
    EXPECT_EQ(writeFile(content), (Transfer{100, 0}));

    Bytes open = datastore::openToWrite("file").data;
    open[6] = 500 & 0xFF;
    open[7] = 500 >> 8;
    const auto chunk = [&content](std::uint16_t from, std::uint16_t to) {
        return datastore::write(kFirstHandle, from, Bytes(content.begin() + from, content.begin() + to)).data;
    };
    EXPECT_THAT(requests(), ElementsAre(open, chunk(0, 200), chunk(200, 400), chunk(400, 500),
                                        datastore::close(kFirstHandle).data));
    EXPECT_EQ(bmc().file("file"), content);
}

TEST_F(WriteFileTest, TheResultIsThatOfTheLastWrite) {
    EXPECT_EQ(writeFile(pattern(200)), (Transfer{200, 0}));
    EXPECT_EQ(writeFile(pattern(201)), (Transfer{1, 0}));
    EXPECT_EQ(writeFile(pattern(1)), (Transfer{1, 0}));
}

TEST_F(WriteFileTest, TheDeviceIsTheCallersToOpenAndClose) {
    writeFile(pattern(10));
    EXPECT_EQ(count<DeviceOpened>() + count<DeviceClosed>(), 0U);
    EXPECT_GE(tPCIInfo::kcs_fd, 0);
}

TEST_F(WriteFileTest, WithoutADeviceTheFirstExchangeFails) {
    host.removeDevice(true);
    ASSERT_EQ(tPCIInfo::connect_kcs(), 1);
    EXPECT_EQ(writeFile(pattern(10)), (Transfer{1, 0}));
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(WriteFileTest, AnEmptyFileIsOpenedAndClosed) {
    EXPECT_EQ(writeFile({}), (Transfer{0, 0}));
    EXPECT_EQ(operations(), "open close");
    EXPECT_EQ(bmc().file("file"), Bytes());
}

TEST_F(WriteFileTest, TheArgumentsGoIntoTheOpenRequest) {
    IpmiDataStore store;
    std::uint8_t code = 0;
    store.WriteFile(code, "file", ByteVector(3), true, 0xAB);
    Bytes expected{0xD9, 0x7E, 0, 1, 3, 1, 3, 0, 0, 0, 1, 0xAB, 'f', 'i', 'l', 'e'};
    expected.resize(44);
    EXPECT_EQ(requests().at(0), expected);
}

TEST_F(WriteFileTest, LengthAndOffsetsGoOutWithTheirLowSixteenBits) {
    strike(Occasion::write, writeTook(200));
    writeFile(Bytes(65536 + 100));
    EXPECT_EQ(requests().at(0)[6], 100);
    EXPECT_EQ(requests().at(0)[7], 0);
    const Pieces pieces = writes();
    ASSERT_EQ(pieces.size(), 329U);
    EXPECT_EQ(pieces[327], (Piece{65400, 200}));
    EXPECT_EQ(pieces[328], (Piece{65600 - 65536, 36}));
}

TEST_F(WriteFileTest, TheBmcMayTakeLessThanItWasGiven) {
    strike(Occasion::write, writeTook(30), 1, 2);
    EXPECT_EQ(writeFile(pattern(300)), (Transfer{40, 0}));
    EXPECT_EQ(writes(), (Pieces{{0, 200}, {30, 200}, {60, 200}, {260, 40}}));
}

TEST_F(WriteFileTest, TheNumberThatTheBmcTellsIsHeededEvenWhenItIsTooLarge) {
    strike(Occasion::write, writeTook(255));
    EXPECT_EQ(writeFile(pattern(300)), (Transfer{255, 0}));
    EXPECT_EQ(writes(), (Pieces{{0, 200}, {255, 45}}));
}

// --- files that cannot be opened ---

TEST_F(WriteFileTest, AFileThatCannotBeOpenedEndsTheTransferThere) {
    const std::vector<std::pair<Fault, Transfer>> ends{
        {refusal(0x0A), {0, 0x0A}}, {timeOut(), {1, 0}}, {answerLength(6), {-1, 0}}};
    for (const auto& [fault, expected] : ends) {
        host.clearEvents();
        bmc().clearFaults();
        strike(Occasion::open, fault);
        EXPECT_EQ(writeFile(pattern(10)), expected);
        EXPECT_EQ(operations(), "open");
    }
}

TEST_F(WriteFileTest, ANameTooLongSendsNothing) {
    EXPECT_EQ(writeFile(pattern(10), std::string(32, 'n')), (Transfer{-1, kCodeBefore}));
    EXPECT_THAT(requests(), IsEmpty());
}

// --- the fall-back to small chunks ---

TEST_F(WriteFileTest, AChunkRefusedOrAnsweredTooShortIsWrittenAgainAt58BytesAndSoIsEverythingBehindIt) {
    const Bytes content = pattern(400);
    for (const Fault& fault : {refusal(0x0D), answerLength(6)}) {
        MAX_KCS_BUFF_SIZE = 200;
        bmc().clearFaults();
        host.clearEvents();
        strike(Occasion::write, fault, 2, 1);
        EXPECT_EQ(writeFile(content), (Transfer{400 - 200 - 3 * 58, 0}));
        EXPECT_EQ(MAX_KCS_BUFF_SIZE, 58);
        EXPECT_EQ(writes(), joined({{0, 200}, {200, 200}}, piecesOf(58, 400, 200)));
        EXPECT_EQ(bmc().file("file"), content);
    }
    host.clearEvents();
    writeFile(content);
    EXPECT_EQ(writes(), piecesOf(58, 400));
}

TEST_F(WriteFileTest, CompletionCodeA0IsNoReasonToFallBack) {
    strike(Occasion::write, refusal(0xA0), 1, 1);
    EXPECT_EQ(writeFile(pattern(300)), (Transfer{100, 0}));
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 200);
    EXPECT_EQ(writes(), joined({{0, 200}}, piecesOf(200, 300)));
}

TEST_F(WriteFileTest, AStoreThatDoesNotAdaptWrites200BytesAndNeverFallsBack) {
    MAX_KCS_BUFF_SIZE = 120;
    SteadyStore store;
    strike(Occasion::write, refusal(0x0D), 1, 1);
    EXPECT_EQ(writeFile(store, pattern(300)), (Transfer{100, 0}));
    EXPECT_EQ(writes(), joined({{0, 200}}, piecesOf(200, 300)));
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 120);
}

TEST_F(WriteFileTest, AChunkTooShortlyAnsweredAt58BytesTooEndsTheFile) {
    strike(Occasion::write, answerLength(4));
    EXPECT_EQ(writeFile(pattern(300)), (Transfer{-1, 0}));
    EXPECT_EQ(writes(), (Pieces{{0, 200}, {0, 58}}));
    EXPECT_EQ(operations(), "open write close");
}

// --- writes that get nowhere ---

TEST_F(WriteFileTest, ARefusalAloneDoesNotEndTheFile) {
    MAX_KCS_BUFF_SIZE = 58;
    const Bytes content = pattern(100);
    strike(Occasion::write, refusal(0x0D), 2, 15);
    EXPECT_EQ(writeFile(content), (Transfer{42, 0}));
    EXPECT_EQ(writes(), joined({{0, 58}}, repeated({58, 42}, 16)));
    EXPECT_EQ(bmc().file("file"), content);
}

TEST_F(WriteFileTest, SixteenRefusalsInARowEndTheFile) {
    MAX_KCS_BUFF_SIZE = 58;
    strike(Occasion::write, refusal(0x0D), 2);
    strike(Occasion::close, refusal(0x0A));
    EXPECT_EQ(writeFile(pattern(100)), (Transfer{0, 0x0D}));
    EXPECT_EQ(writes(), joined({{0, 58}}, repeated({58, 42}, 16)));
    EXPECT_EQ(operations(), "open write close");
}

TEST_F(WriteFileTest, SixteenWritesThatTookNothingEndTheFile) {
    strike(Occasion::write, writeTook(0));
    EXPECT_EQ(writeFile(pattern(100)), (Transfer{0, 0}));
    EXPECT_EQ(writes(), repeated({0, 100}, 16));
    EXPECT_EQ(operations(), "open write close");
}

TEST_F(WriteFileTest, AFileWhoseChunksAreAllRefusedEndsAfterTheFallBackToo) {
    strike(Occasion::write, refusal(0x0D));
    EXPECT_EQ(writeFile(pattern(300)), (Transfer{0, 0x0D}));
    const Pieces pieces = writes();
    ASSERT_GE(pieces.size(), 16U);
    ASSERT_LE(pieces.size(), 17U);  // with or without the large chunk counted
    EXPECT_EQ(pieces, joined({{0, 200}}, repeated({0, 58}, pieces.size() - 1)));
    EXPECT_EQ(operations(), "open write close");
}

TEST_F(WriteFileTest, EveryProgressStartsTheCountAnew) {
    strike(Occasion::write, writeTook(0), 1, 15);
    strike(Occasion::write, writeTook(0), 17, 15);
    EXPECT_EQ(writeFile(pattern(300)), (Transfer{100, 0}));
    EXPECT_EQ(writes(), joined(repeated({0, 200}, 16), repeated({200, 100}, 16)));
}

// --- failed exchanges ---

TEST_F(WriteFileTest, AFailedExchangeEndsTheFileWithOneAndCloseIsSentAllTheSame) {
    strike(Occasion::write, timeOut(), 2);
    strike(Occasion::close, refusal(0x0C));
    EXPECT_EQ(writeFile(pattern(500)), (Transfer{1, 0}));
    EXPECT_EQ(writes(), piecesOf(200, 400));
    EXPECT_EQ(operations(), "open write close");
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 200);
}

// --- close ---

/** How a write and the close after it are answered, and what comes of the transfer. */
struct End {
    Fault write, close;
    Transfer expected;
};

TEST_F(WriteFileTest, AFailingCloseReplacesTheResultUnlessThereIsACompletionCode) {
    MAX_KCS_BUFF_SIZE = 58;
    for (const End& end :
         {End{Fault{}, refusal(0x0B), {0, 0x0B}}, End{Fault{}, timeOut(), {1, 0}},
          End{answerLength(4), refusal(0x0B), {0, 0x0B}}, End{refusal(0xA0), refusal(0x0B), {0, 0xA0}}}) {
        bmc().clearFaults();
        strike(Occasion::write, end.write);
        strike(Occasion::close, end.close);
        EXPECT_EQ(writeFile(pattern(10)), end.expected);
    }
}

// --- derived stores ---

/**
 * Stands in for a BMC: every operation is recorded and answered from lists, without any exchange; but where it is told
 * so, the BMC is asked to open the file.
 */
class ScriptedStore : public IpmiDataStore {
 public:
    bool isFileOpen() override { return true; }
    std::int32_t Open(std::uint8_t& code, tPCIInfo::accessType access, tPCIInfo::characteristics traits,
                      std::uint16_t fileSize, tPCIInfo::createFlag create, std::uint8_t option,
                      const std::string& name) override {
        steps.push_back("open " + name + " " + std::to_string(access) + " " + std::to_string(traits) + " " +
                        std::to_string(fileSize) + " " + std::to_string(create) + " " + std::to_string(option));
        if (whenOpened) whenOpened();
        code = 0;
        return askBmc ? IpmiDataStore::Open(code, access, traits, fileSize, create, option, name) : 0;
    }
    std::int32_t Read(std::uint8_t& code, std::uint8_t* buffer, std::uint8_t count, std::uint16_t offset) override {
        steps.push_back("read " + std::to_string(count) + " at " + std::to_string(offset));
        const std::int32_t result = next(code);
        if (result > 0) std::fill_n(buffer, result, filler++);
        return result;
    }
    std::int32_t Write(std::uint8_t& code, const std::uint8_t* bytes, std::uint8_t count,
                       std::uint16_t offset) override {
        steps.push_back("write " + std::to_string(count) + " at " + std::to_string(offset) + " from " +
                        std::to_string(*bytes));
        return next(code);
    }
    std::int32_t WriteDefaults(std::uint8_t&) override {
        steps.emplace_back("write defaults");
        return 0;
    }
    std::int32_t Close(std::uint8_t& code) override {
        steps.emplace_back("close");
        code = closeCode;
        return closeResult;
    }
    std::int32_t QuerySize(std::uint8_t& code, const std::string& name, std::uint32_t& size) override {
        steps.push_back("query " + name);
        code = 0;
        size = 3;
        return 0;
    }
    std::int32_t DeleteFile(std::uint8_t&, const std::string&) override {
        steps.emplace_back("delete");
        return 0;
    }

    std::function<void()> whenOpened;
    bool askBmc = false;
    std::deque<Transfer> answers;  // of reads and writes; after the last one comes A0h
    std::int32_t closeResult = 0;
    std::uint8_t closeCode = 0;
    std::vector<std::string> steps;

 private:
    std::int32_t next(std::uint8_t& code) {
        const Transfer answer = answers.empty() ? Transfer{0, 0xA0} : answers.front();
        if (!answers.empty()) answers.pop_front();
        code = answer.code;
        return answer.result;
    }

    std::uint8_t filler = 1;
};

class DerivedStoreTest : public WholeFileTest {
 protected:
    ScriptedStore store;
};

TEST_F(DerivedStoreTest, ReadFileGoesThroughTheOperationsOfADerivedStore) {
    store.answers = {{200, 0}, {1, 0}, {5, 0}};
    EXPECT_EQ(readFile(store), (Transfer{0, 0xA0}));
    EXPECT_THAT(store.steps, ElementsAre("open file 1 0 0 0 16", "query file", "read 200 at 0", "read 200 at 200",
                                         "read 200 at 201", "read 200 at 206", "close"));
    EXPECT_THAT(requests(), IsEmpty());
    EXPECT_EQ(storage(207)[199], 1);
    EXPECT_EQ(storage(207)[200], 2);
    EXPECT_EQ(storage(207)[205], 3);
    EXPECT_EQ(storage(207)[206], 0);
}

TEST_F(DerivedStoreTest, WriteFileGoesThroughTheOperationsOfADerivedStore) {
    Bytes content(300, 7);
    content[200] = 8;
    content[201] = 9;
    store.answers = {{200, 0}, {1, 0}, {99, 0}};
    EXPECT_EQ(writeFile(store, content), (Transfer{99, 0}));
    EXPECT_THAT(store.steps, ElementsAre("open file 3 0 300 1 16", "write 200 at 0 from 7", "write 100 at 200 from 8",
                                         "write 99 at 201 from 9", "close"));
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(DerivedStoreTest, TheFallBackGoesThroughTheOperationsOfADerivedStore) {
    store.answers = {{-1, 0}, {58, 0}};
    EXPECT_EQ(readFile(store), (Transfer{0, 0xA0}));
    EXPECT_THAT(store.steps, ElementsAre("open file 1 0 0 0 16", "query file", "read 200 at 0", "read 58 at 0",
                                         "read 58 at 58", "close"));
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 58);
}

TEST_F(DerivedStoreTest, OfClosesResultTheLowSixteenBitsArePassedOn) {
    store.closeResult = 0x12345;
    store.closeCode = 0x0C;
    store.answers = {{10, 0}};
    EXPECT_EQ(writeFile(store, pattern(10)), (Transfer{0x2345, 0x0C}));

    for (int offset = 0; offset < 65536; offset += 128) store.answers.push_back({128, 0});
    EXPECT_EQ(readFile(store), (Transfer{0x2345, 0x0C}));
}

TEST_F(DerivedStoreTest, ACloseWithAResultAndNoCodeReplacesTheResultOfWriteFile) {
    store.closeResult = 5;
    store.answers = {{10, 0}};
    EXPECT_EQ(writeFile(store, pattern(10)), (Transfer{5, 0}));
}

// --- threads ---

TEST_F(WholeFileTest, TransfersOfSeveralThreadsDoNotInterleave) {
    constexpr unsigned kThreads = 4;
    constexpr unsigned kRounds = 2;
    for (unsigned i = 0; i < kThreads; ++i) bmc().putFile("file" + std::to_string(i), pattern(65536, i));
    pauseBehindRequests();
    std::atomic<unsigned> right{0};
    onThreads(kThreads, [&right](unsigned i) {
        for (unsigned round = 0; round < kRounds; ++round) {
            IpmiDataStore store;
            ByteVector bytes(64);
            std::uint8_t code = kCodeBefore;
            const std::int32_t result =
                store.ReadFile(code, "file" + std::to_string(i), bytes, false, 16, tPCIInfo::kAccessRead, false);
            if (result == 0 && code == 0 && Bytes(bytes.data(), bytes.data() + 65536) == pattern(65536, i)) ++right;
        }
    });
    EXPECT_EQ(right, kThreads * kRounds);
    EXPECT_EQ(bmc().interleavedTransfers(), 0U);
    EXPECT_EQ(host.interleavedExchanges(), 0U);
}

TEST_F(WriteFileTest, WritesOfSeveralThreadsDoNotInterleave) {
    constexpr unsigned kThreads = 4;
    pauseBehindRequests();
    onThreads(kThreads, [](unsigned i) {
        IpmiDataStore store;
        const Bytes content = pattern(20000, i);
        std::uint8_t code = kCodeBefore;
        store.WriteFile(code, "file" + std::to_string(i), ByteVector(content.begin(), content.end()), false, 16);
    });
    for (unsigned i = 0; i < kThreads; ++i) EXPECT_EQ(bmc().file("file" + std::to_string(i)), pattern(20000, i));
    EXPECT_EQ(bmc().interleavedTransfers(), 0U);
}

TEST_F(WholeFileTest, TheFallBackOfSeveralThreadsIsMadeOncePerProcess) {
    constexpr unsigned kThreads = 4;
    bmc().setReadLimit(58);
    bmc().putFile("file", pattern(65536));
    pauseBehindRequests();
    onThreads(kThreads, [](unsigned) {
        IpmiDataStore store;
        ByteVector bytes;
        std::uint8_t code = kCodeBefore;
        store.ReadFile(code, "file", bytes, false, 16, tPCIInfo::kAccessRead, false);
    });
    const Pieces pieces = reads();
    EXPECT_EQ(std::count(pieces.begin(), pieces.end(), Piece{0, 200}), 1);
    EXPECT_EQ(pieces.size(), 1U + kThreads * piecesOf(58).size());
}

// --- without a device ---

/** A transfer that found no device, and what other threads do while it is under way. */
class NoDeviceTest : public WholeFileTest {
 protected:
    NoDeviceTest() {
        bmc().putFile("file", pattern(65536));
        host.removeDevice(true);
    }
    ~NoDeviceTest() override {
        for (std::thread& thread : others_) thread.join();
    }

    /** Whether another thread comes to the end of `work` while this one goes no further; it is given a minute. */
    bool meanwhile(const std::function<void()>& work) {
        std::packaged_task<void()> task(work);
        std::future<void> end = task.get_future();
        others_.emplace_back(std::move(task));
        return end.wait_for(std::chrono::minutes(1)) == std::future_status::ready;
    }

    /** Another thread finds the device, and leaves it open. */
    void openMeanwhile() {
        host.removeDevice(false);
        EXPECT_TRUE(meanwhile([] { EXPECT_EQ(tPCIInfo::connect_kcs(), 0); }));
    }

    ScriptedStore store;
    std::thread other_;

 private:
    std::vector<std::thread> others_;
};

TEST_F(NoDeviceTest, ATransferGoesWithoutOneToItsEndThoughAnotherThreadOpensIt) {
    store.whenOpened = [this] { openMeanwhile(); };
    store.askBmc = true;
    const auto began = testsupport::ahead();
    EXPECT_EQ(readFile(store), (Transfer{1, 0}));
    EXPECT_LE(testsupport::ahead() - began, std::chrono::seconds(5));
    EXPECT_THAT(requests(), IsEmpty());
    const auto waits = host.eventsOf<emulator::Waited>();
    ASSERT_EQ(waits.size(), 1U);
    EXPECT_EQ(waits[0].timeoutMs, 5000);
    EXPECT_EQ(waits[0].ready, 0);
    EXPECT_GE(tPCIInfo::kcs_fd, 0);
}

TEST_F(NoDeviceTest, ATransferDoesNotCloseTheDeviceThatAnotherThreadOpened) {
    store.whenOpened = [this] { openMeanwhile(); };
    EXPECT_EQ(readFile(store), (Transfer{0, 0xA0}));
    EXPECT_GE(tPCIInfo::kcs_fd, 0);
    EXPECT_EQ(count<DeviceClosed>(), 0U);
}

TEST_F(NoDeviceTest, TheNextTransferOfTheSameStoreFindsTheDevice) {
    store.askBmc = true;
    EXPECT_EQ(readFile(store), (Transfer{1, 0}));
    host.removeDevice(false);
    EXPECT_EQ(readFile(store), (Transfer{0, 0xA0}));
    EXPECT_EQ(operations(), "open");
}

TEST_F(NoDeviceTest, ATransferGoesOnWithoutOneBehindATransferWithinItThatFoundTheDevice) {
    bool within = false;
    store.askBmc = true;
    store.whenOpened = [this, &within] {
        if (within) return;
        within = true;
        host.removeDevice(false);
        // On a thread of its own: the emulated clock runs ahead for one that has found no device since.
        EXPECT_TRUE(meanwhile([this] {
            EXPECT_EQ(readFile(store), (Transfer{0, 0xA0}));
            EXPECT_EQ(tPCIInfo::connect_kcs(), 0);
        }));
    };
    EXPECT_EQ(readFile(store), (Transfer{1, 0}));
    EXPECT_EQ(operations(), "open");  // that of the transfer within
    EXPECT_GE(tPCIInfo::kcs_fd, 0);
}

TEST_F(NoDeviceTest, OperationsBehindATransferThatFoundNoneFindTheDevice) {
    IpmiDataStore plain;
    EXPECT_EQ(readFile(plain), (Transfer{1, 0}));
    host.removeDevice(false);
    ASSERT_EQ(tPCIInfo::connect_kcs(), 0);
    std::uint8_t code = kCodeBefore;
    std::uint32_t size = 0;
    EXPECT_EQ(plain.QuerySize(code, "file", size), 0);
    EXPECT_EQ(operations(), "query");
}

TEST_F(NoDeviceTest, OtherThreadsReadWholeFilesMeanwhile) {
    store.whenOpened = [this] {
        host.removeDevice(false);
        EXPECT_TRUE(meanwhile([this] { EXPECT_EQ(readFile(), (Transfer{0, 0})); }));
    };
    store.askBmc = true;
    ScriptedStore writing;
    writing.whenOpened = store.whenOpened;
    writing.askBmc = true;
    EXPECT_EQ(readFile(store), (Transfer{1, 0}));
    EXPECT_EQ(writeFile(writing, pattern(10)), (Transfer{1, 0}));
    EXPECT_EQ(requests().size(), 2 * (3 + piecesOf(200).size()));
}

TEST_F(NoDeviceTest, TransfersOfSeveralThreadsLowerTheChunkSizeOncePerProcess) {
    bmc().setReadLimit(58);
    store.whenOpened = [this] {
        host.removeDevice(false);
        other_ = std::thread([this] { EXPECT_EQ(readFile(), (Transfer{0, 0})); });
    };
    store.answers = {{0, 0x0D}, {0, 0x0D}};
    std::uint8_t code = kCodeBefore;
    ByteVector bytes;
    store.ReadFile(code, "file", bytes, false, 16, tPCIInfo::kAccessRead, false);
    other_.join();
    EXPECT_EQ(MAX_KCS_BUFF_SIZE, 58);
}

}  // namespace
