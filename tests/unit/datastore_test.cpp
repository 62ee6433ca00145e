// The data store's single operations, byte for byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "tests/emulator/datastore.h"
#include "tests/unit/bmchost.h"

namespace {

using emulator::Sent;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using tPCIInfo::IpmiDataStore;

constexpr std::uint8_t kCodeBefore = 0x77;
constexpr std::uint8_t kUntouched = 0x5A;

/** The fields, which are open to derived classes. */
struct OpenedUp : IpmiDataStore {
    using IpmiDataStore::handle;
    using IpmiDataStore::kcsBuffAdaptive;
};

/** What one operation gave: its result and the completion code. */
struct Outcome {
    std::int32_t result = 0;
    std::uint8_t code = kCodeBefore;
    bool operator==(const Outcome& other) const { return result == other.result && code == other.code; }
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << "result " << outcome.result << ", code " << int{outcome.code};
}

using Operation = std::function<std::int32_t(IpmiDataStore& store, std::uint8_t& code)>;

/** One data-store operation in its plainest form. */
struct NamedOperation {
    std::string name;
    Operation run;
};

std::int32_t openToRead(IpmiDataStore& store, std::uint8_t& code, const std::string& name = "file") {
    return store.Open(code, tPCIInfo::kAccessRead, tPCIInfo::kCharacteristicsNone, 0, tPCIInfo::kCreateNone, 16, name);
}

const std::vector<NamedOperation>& operations() {
    static const std::vector<NamedOperation> all{
        {"Open", [](IpmiDataStore& store, std::uint8_t& code) { return openToRead(store, code); }},
        {"Read",
         [](IpmiDataStore& store, std::uint8_t& code) {
             const auto buffer = std::make_unique<std::uint8_t[]>(20);  // of its exact size, so that a checker sees
             return store.Read(code, buffer.get(), 20, 0);
         }},
        {"Write",
         [](IpmiDataStore& store, std::uint8_t& code) {
             const Bytes data(20);
             return store.Write(code, data.data(), 20, 0);
         }},
        {"WriteDefaults", [](IpmiDataStore& store, std::uint8_t& code) { return store.WriteDefaults(code); }},
        {"Close", [](IpmiDataStore& store, std::uint8_t& code) { return store.Close(code); }},
        {"QuerySize",
         [](IpmiDataStore& store, std::uint8_t& code) {
             std::uint32_t size = 0;
             return store.QuerySize(code, "file", size);
         }},
        {"DeleteFile", [](IpmiDataStore& store, std::uint8_t& code) { return store.DeleteFile(code, "file"); }},
    };
    return all;
}

class DataStoreTest : public BmcHostTest {
 protected:
    DataStoreTest() {
        bmc().putFile("file", content);
        EXPECT_EQ(tPCIInfo::connect_kcs(), 0);
    }
    ~DataStoreTest() override { EXPECT_THAT(host.logTexts(), IsEmpty()); }

    Outcome run(const std::string& name) {
        const auto found = std::find_if(operations().begin(), operations().end(),
                                        [&name](const NamedOperation& operation) { return operation.name == name; });
        Outcome outcome;
        outcome.result = found->run(store, outcome.code);
        return outcome;
    }

    void openFile() {
        Outcome opened;
        ASSERT_EQ(openToRead(store, opened.code), 0);
        host.clearEvents();
    }
    /** A file under a handle of the test's own. */
    void openFileAs(std::uint32_t handle) {
        Bytes answer{0, 0xD9, 0x7E, 0x00};
        datastore::put32(answer, handle);
        strike(Occasion::open, answerOf(answer));
        openFile();
        bmc().clearFaults();
    }
    void meet(const Fault& fault) {
        bmc().clearFaults();
        strike(Occasion::any, fault);
    }

    /** The one request that was sent since the last look. */
    Bytes theRequest() {
        const auto sent = host.eventsOf<Sent>();
        host.clearEvents();
        if (sent.size() != 1) {
            ADD_FAILURE() << sent.size() << " requests";
            return {};
        }
        EXPECT_EQ(sent[0].request.netfn, 0x2E);
        EXPECT_EQ(sent[0].request.command, 0x90);
        return sent[0].request.data;
    }
    void expectNothingSent() const { EXPECT_THAT(requests(), IsEmpty()); }

    const Bytes content = pattern(1000);
    OpenedUp store;
    std::uint8_t code = kCodeBefore;  // that an operation called by the test gives
};

// --- constants and a fresh object ---

TEST_F(DataStoreTest, CodesOfOperationsAndStatuses) {
    EXPECT_THAT(IpmiDataStore::kIANA, ElementsAre(0xD9, 0x7E, 0x00));
    const std::vector<int> operationCodes{IpmiDataStore::kDataStoreOpenOp,  IpmiDataStore::kDataStoreReadOp,
                                          IpmiDataStore::kDataStoreWriteOp, IpmiDataStore::kDataStoreWriteDefaultsOp,
                                          IpmiDataStore::kDataStoreCloseOp, IpmiDataStore::kDataStoreQuerySizeOp,
                                          IpmiDataStore::kDataStoreDeleteOp};
    EXPECT_THAT(operationCodes, ElementsAre(1, 2, 3, 4, 5, 6, 7));
    EXPECT_EQ(IpmiDataStore::kDataStoreCode, 0x90);
    const std::vector<int> statuses{
        IpmiDataStore::DS_STATUS_OK,        IpmiDataStore::DS_STATUS_EACCESS,   IpmiDataStore::DS_STATUS_EWRITE,
        IpmiDataStore::DS_STATUS_EREAD,     IpmiDataStore::DS_STATUS_ELIMIT,    IpmiDataStore::DS_STATUS_EDEFAULT,
        IpmiDataStore::DS_STATUS_ELOCK,     IpmiDataStore::DS_STATUS_EVOLATILE, IpmiDataStore::DS_STATUS_ELOGACCESS,
        IpmiDataStore::DS_STATUS_ELOGWRITE, IpmiDataStore::DS_STATUS_ELOGREAD,  IpmiDataStore::DS_STATUS_ELOGSIZE,
        IpmiDataStore::DS_STATUS_EOTHER};
    EXPECT_THAT(statuses, ElementsAre(0x00, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x14, 0x15, 0x16, 0x17, 0x18));
}

TEST_F(DataStoreTest, AFreshObjectHasNoFileOpenAndAdaptsItsChunksWhichAreOf200BytesAtFirst) {
    EXPECT_FALSE(store.isFileOpen());
    EXPECT_TRUE(store.kcsBuffAdaptive);
    EXPECT_EQ(tPCIInfo::MAX_KCS_BUFF_SIZE, 200);
    EXPECT_TRUE((std::is_same_v<decltype(tPCIInfo::MAX_KCS_BUFF_SIZE), std::uint16_t>));
    expectNothingSent();
}

// --- requests byte for byte ---

TEST_F(DataStoreTest, OpenRequestByteForByte) {
    store.Open(code, tPCIInfo::kAccessWrite, static_cast<tPCIInfo::characteristics>(0x5C), 0x1234, tPCIInfo::kCreate,
               0xAB, "ab.c");
    Bytes expected{0xD9, 0x7E, 0x00, 1, 3, 0x5C, 0x34, 0x12, 0, 0, 1, 0xAB, 'a', 'b', '.', 'c'};
    expected.resize(44, 0);
    EXPECT_EQ(theRequest(), expected);

    openToRead(store, code, "smbios-table");
    expected = {0xD9, 0x7E, 0x00, 1,   1,   0,   0,   0,   0,   0,   0,   16,
                's',  'm',  'b',  'i', 'o', 's', '-', 't', 'a', 'b', 'l', 'e'};
    expected.resize(44, 0);
    EXPECT_EQ(theRequest(), expected);
}

TEST_F(DataStoreTest, ReadRequestByteForByte) {
    openFileAs(0xA1B2C3D4);
    std::uint8_t buffer[200];
    store.Read(code, buffer, 200, 0xBEEF);
    EXPECT_THAT(theRequest(), ElementsAre(0xD9, 0x7E, 0x00, 2, 0xD4, 0xC3, 0xB2, 0xA1, 0xEF, 0xBE, 0, 0, 200, 0));
}

TEST_F(DataStoreTest, WriteRequestByteForByte) {
    openFileAs(0x01020304);
    const Bytes data{9, 8, 7};
    store.Write(code, data.data(), 3, 0xFEDC);
    EXPECT_THAT(theRequest(), ElementsAre(0xD9, 0x7E, 0x00, 3, 4, 3, 2, 1, 0xDC, 0xFE, 0, 0, 9, 8, 7));

    const Bytes most = pattern(255);
    store.Write(code, most.data(), 255, 0);
    EXPECT_EQ(theRequest(), datastore::joined({0xD9, 0x7E, 0x00, 3, 4, 3, 2, 1, 0, 0, 0, 0}, most));
}

TEST_F(DataStoreTest, WriteDefaultsAndCloseRequestsByteForByte) {
    openFileAs(0xCAFEF00D);
    store.WriteDefaults(code);
    EXPECT_THAT(theRequest(), ElementsAre(0xD9, 0x7E, 0x00, 4, 0x0D, 0xF0, 0xFE, 0xCA));
    openFileAs(0xFFFFFFFF);
    store.Close(code);
    EXPECT_THAT(theRequest(), ElementsAre(0xD9, 0x7E, 0x00, 5, 0xFF, 0xFF, 0xFF, 0xFF));
}

TEST_F(DataStoreTest, QuerySizeRequestByteForByte) {
    std::uint32_t size = 0;
    store.QuerySize(code, "ab", size);
    Bytes expected{0xD9, 0x7E, 0x00, 6, 'a', 'b'};
    expected.resize(35, 0);
    EXPECT_EQ(theRequest(), expected);
}

TEST_F(DataStoreTest, DeleteRequestCarriesTheNameWithoutATerminator) {
    store.DeleteFile(code, "old.log");
    EXPECT_THAT(theRequest(), ElementsAre(0xD9, 0x7E, 0x00, 7, 'o', 'l', 'd', '.', 'l', 'o', 'g'));
    store.DeleteFile(code, "");
    EXPECT_THAT(theRequest(), ElementsAre(0xD9, 0x7E, 0x00, 7));
}

// --- file names ---

/** The longest name that an operation takes, and what its request has before and after the name. */
struct NameLimit {
    std::string operation;
    std::size_t longest;
    Bytes before;
    std::size_t zerosAfter;
    std::function<std::int32_t(const std::string& name)> run;
};

TEST_F(DataStoreTest, NamesLongerThanAnOperationTakesSendNothingAndOpenWithOneLeavesNoFileOpen) {
    std::uint32_t size = 0;
    const std::vector<NameLimit> limits{
        {"Open",
         31,
         {0xD9, 0x7E, 0x00, 1, 1, 0, 0, 0, 0, 0, 0, 16},
         1,
         [&](const std::string& name) { return openToRead(store, code, name); }},
        {"QuerySize",
         30,
         {0xD9, 0x7E, 0x00, 6},
         1,
         [&](const std::string& name) { return store.QuerySize(code, name, size); }},
        // A message carries 272 bytes, network function and command included; four more are the header's.
        {"DeleteFile", 266, {0xD9, 0x7E, 0x00, 7}, 0, [&](const std::string& name) {
             return store.DeleteFile(code, name);
         }}};
    for (const NameLimit& limit : limits) {
        SCOPED_TRACE(limit.operation);
        openFile();
        bmc().putFile(std::string(limit.longest, 'n'), {1});
        EXPECT_EQ(limit.run(std::string(limit.longest, 'n')), 0);
        EXPECT_EQ(code, 0);
        Bytes expected = limit.before;
        expected.resize(expected.size() + limit.longest, 'n');
        expected.resize(expected.size() + limit.zerosAfter, 0);
        EXPECT_EQ(theRequest(), expected);
        for (const std::size_t length : {limit.longest + 1, limit.longest + 2, std::size_t{70000}}) {
            openFile();
            code = kCodeBefore;
            size = 5;
            EXPECT_EQ(limit.run(std::string(length, 'n')), -1);
            EXPECT_EQ(code, kCodeBefore);
            EXPECT_EQ(size, 5U);
            EXPECT_EQ(store.isFileOpen(), limit.operation != "Open");
            expectNothingSent();
        }
    }
}

// --- open ---

TEST_F(DataStoreTest, OpenTakesTheHandleFromTheAnswer) {
    bmc().putFile("other", {1});
    openFile();
    EXPECT_EQ(store.handle, 0x00C0DE01U);  // the model's first
    strike(Occasion::open, answerOf({0, 1, 2, 3, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99}));
    EXPECT_EQ(openToRead(store, code, "other"), 0);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(store.handle, 0x77665544U);
    EXPECT_TRUE(store.isFileOpen());
}

TEST_F(DataStoreTest, OpenNeedsAnAnswerOfSevenBytes) {
    for (const std::size_t length : {0U, 1U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 272U}) {
        SCOPED_TRACE(length);
        meet(answerLength(length));
        EXPECT_EQ(run("Open"), (Outcome{length < 7 ? -1 : 0, 0}));
        EXPECT_EQ(store.isFileOpen(), length >= 7);
    }
}

TEST_F(DataStoreTest, AHandleWhoseLastByteDidNotComeHasAZeroThere) {
    meet(answerOf({0, 0, 0, 0, 0x11, 0x22, 0x33}));
    EXPECT_EQ(run("Open"), (Outcome{0, 0}));
    EXPECT_EQ(store.handle, 0x00332211U);
}

TEST_F(DataStoreTest, ARefusedOpenAndOneWithoutAnswerLeaveNoFileOpenEvenIfOneWas) {
    for (const auto& [fault, expected] : {std::pair(refusal(0x0F), Outcome{0, 0x0F}), {timeOut(), {1, 0}}}) {
        bmc().clearFaults();
        openFile();
        meet(fault);
        EXPECT_EQ(run("Open"), expected);
        EXPECT_FALSE(store.isFileOpen());
    }
}

// --- read ---

TEST_F(DataStoreTest, ReadDeliversTheBytesAndTheirNumber) {
    openFile();
    Bytes buffer(255);
    EXPECT_EQ(store.Read(code, buffer.data(), 255, 300), 255);
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), content.begin() + 300));
}

TEST_F(DataStoreTest, ReadNeedsAnAnswerOfSixBytes) {
    openFile();
    for (const std::size_t length : {0U, 1U, 4U, 5U}) {
        SCOPED_TRACE(length);
        meet(answerLength(length));
        EXPECT_EQ(run("Read"), (Outcome{-1, 0}));
    }
}

struct ReadAnswer {
    std::string name;
    std::uint16_t count;    // as the answer tells it
    std::size_t data;       // bytes that come
    std::int32_t expected;  // result, 20 bytes being wanted
};

TEST_F(DataStoreTest, ReadGoesByTheCountInTheAnswerCutToWhatWasWanted) {
    openFile();
    const std::vector<ReadAnswer> answers{
        {"none", 0, 0, 0},
        {"less than wanted", 7, 7, 7},
        {"all", 20, 20, 20},
        {"one more than wanted", 21, 21, 20},
        {"a count in the high byte", 0x0100, 266, 20},
        {"a low byte that would do, and a high one", 0x0105, 266, 20},
        {"the largest count with the longest answer", 0xFFFF, 266, 20},
        {"fewer bytes told than sent", 3, 20, 3},
        {"more bytes told than sent", 20, 4, 20},
        {"bytes told and none sent", 20, 0, 20},
    };
    for (const ReadAnswer& answer : answers) {
        SCOPED_TRACE(answer.name);
        Bytes bytes{0, 0, 0, 0, static_cast<std::uint8_t>(answer.count), static_cast<std::uint8_t>(answer.count >> 8)};
        const Bytes data = pattern(answer.data, 5);
        meet(answerOf(datastore::joined(bytes, data)));
        Bytes buffer(30, kUntouched);
        code = kCodeBefore;
        EXPECT_EQ(store.Read(code, buffer.data(), 20, 0), answer.expected);
        EXPECT_EQ(code, 0);
        // What did not come is zero.
        Bytes expected = data;
        expected.resize(static_cast<std::size_t>(answer.expected), 0);
        expected.resize(30, kUntouched);
        EXPECT_EQ(buffer, expected);
    }
}

TEST_F(DataStoreTest, ReadThatIsRefusedOrNotAnsweredTouchesNothing) {
    openFile();
    for (const auto& [fault, expected] : std::vector<std::pair<Fault, Outcome>>{{refusal(0x0C), {0, 0x0C}},
                                                                                {refusal(0xA0), {0, 0xA0}},
                                                                                {answerOf(Bytes(272, 0xFF)), {0, 0xFF}},
                                                                                {timeOut(), {1, 0}}}) {
        meet(fault);
        Bytes buffer(20, kUntouched);
        Outcome outcome;
        outcome.result = store.Read(outcome.code, buffer.data(), 20, 0);
        EXPECT_EQ(outcome, expected);
        EXPECT_THAT(buffer, Each(kUntouched));
    }
}

TEST_F(DataStoreTest, ReadAndWriteDoNotAskWhetherAFileIsOpen) {
    openFileAs(0x12345678);
    store.Close(code);
    host.clearEvents();
    EXPECT_EQ(run("Read").code, IpmiDataStore::DS_STATUS_EACCESS);
    EXPECT_EQ(theRequest(), datastore::read(0x12345678, 0, 20).data);
    EXPECT_EQ(run("Write").code, IpmiDataStore::DS_STATUS_EACCESS);
    EXPECT_EQ(theRequest(), datastore::write(0x12345678, 0, Bytes(20)).data);
}

// --- write ---

TEST_F(DataStoreTest, WithoutABufferOrAnyByteToWriteNothingIsSent) {
    openFile();
    const std::uint8_t data = 1;
    EXPECT_EQ(store.Read(code, nullptr, 10, 0), -1);
    EXPECT_EQ(store.Write(code, nullptr, 10, 0), -1);
    EXPECT_EQ(store.Write(code, &data, 0, 0), 0);
    EXPECT_EQ(code, kCodeBefore);
    expectNothingSent();
}

TEST_F(DataStoreTest, WriteNeedsAnAnswerOfExactlyFiveBytes) {
    openFile();
    for (const std::size_t length : {0U, 1U, 4U, 6U, 7U, 8U, 272U}) {
        SCOPED_TRACE(length);
        meet(answerOf(Bytes(length)));
        EXPECT_EQ(run("Write"), (Outcome{-1, 0}));
    }
}

// The count's bytes are 3 and 5, not 3 and 4; byte 5 lies after the answer, where nothing came.
TEST_F(DataStoreTest, WriteTakesItsResultFromBytes3And5) {
    openFile();
    for (const int low : {0, 1, 20, 200, 255}) {
        for (const int next : {0, 1, 255}) {
            meet(answerOf({0, 0xD9, 0x7E, static_cast<std::uint8_t>(low), static_cast<std::uint8_t>(next)}));
            EXPECT_EQ(run("Write"), (Outcome{low, 0}));
        }
    }
}

TEST_F(DataStoreTest, ALongAnswerBeforeLeavesNothingBehindAWriteAnswer) {
    openFile();
    meet(answerOf(datastore::joined({0, 0xFF, 0xFF, 0xFF, 20, 0}, Bytes(266, 0xFF))));
    EXPECT_EQ(run("Read"), (Outcome{20, 0}));
    meet(answerOf({0, 0, 0, 20, 0}));
    EXPECT_EQ(run("Write"), (Outcome{20, 0}));
}

// --- close and write defaults ---

TEST_F(DataStoreTest, CloseAndWriteDefaultsEndTheFileWhateverTheBmcSays) {
    const std::vector<std::pair<Fault, Outcome>> answers{
        {Fault{}, {0, 0}},         {refusal(0x0E), {0, 0x0E}},  {timeOut(), {1, 0}},        {answerLength(0), {0, 0}},
        {answerLength(1), {0, 0}}, {answerLength(272), {0, 0}}, {refusal(0xA0), {0, 0xA0}},
    };
    bmc().putDefaults("file", {1});
    for (const char* operation : {"WriteDefaults", "Close"}) {
        for (const auto& [fault, expected] : answers) {
            bmc().clearFaults();
            openFile();
            meet(fault);
            EXPECT_EQ(run(operation), expected);
            EXPECT_FALSE(store.isFileOpen());
            host.clearEvents();
            EXPECT_EQ(run(operation), (Outcome{-1, kCodeBefore}));
            expectNothingSent();
        }
    }
}

// --- query size and delete ---

TEST_F(DataStoreTest, QuerySizeTellsZeroWhateverTheAnswerCarriesAndLeavesTheSizeWhereItFails) {
    std::uint32_t size = 12345;
    EXPECT_EQ(store.QuerySize(code, "missing", size), 0);
    EXPECT_EQ(code, IpmiDataStore::DS_STATUS_EREAD);
    EXPECT_EQ(size, 12345U);
    EXPECT_EQ(store.QuerySize(code, "file", size), 0);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(size, 0U);
    size = 12345;
    meet(timeOut());
    EXPECT_EQ(store.QuerySize(code, "file", size), 1);
    EXPECT_EQ(size, 12345U);
}

// --- every operation ---

TEST_F(DataStoreTest, EveryOperationPassesOnAFailedExchangeAsOneAndHandsTheCompletionCodeThrough) {
    std::vector<std::pair<Fault, Outcome>> answers{{timeOut(), {1, 0}}};
    for (const int refused : {0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x14, 0x15, 0x16, 0x17, 0x18, 0xA0, 0xFF}) {
        const auto byte = static_cast<std::uint8_t>(refused);
        answers.push_back({refusal(byte), {0, byte}});
    }
    for (const NamedOperation& operation : operations()) {
        for (const auto& [answer, expected] : answers) {
            SCOPED_TRACE(operation.name);
            bmc().clearFaults();
            openFile();
            meet(answer);
            EXPECT_EQ(run(operation.name), expected);
        }
    }
}

TEST_F(DataStoreTest, EveryOperationSurvivesTheLongestAndTheEmptyAnswer) {
    Bytes longest(272, 0xFF);
    longest[0] = 0;
    const std::vector<std::pair<Fault, std::vector<std::int32_t>>> answers{{answerOf(longest), {0, 20, -1, 0, 0, 0, 0}},
                                                                           {answerLength(0), {-1, -1, -1, 0, 0, 0, 0}}};
    for (const auto& [answer, results] : answers) {
        for (std::size_t i = 0; i < operations().size(); ++i) {
            SCOPED_TRACE(operations()[i].name);
            bmc().clearFaults();
            bmc().putFile("file", content);  // it may have been deleted
            openFile();
            meet(answer);
            EXPECT_EQ(run(operations()[i].name), (Outcome{results[i], 0}));
        }
    }
}

TEST_F(DataStoreTest, EveryOperationWithoutADeviceFailsAfterFiveSeconds) {
    openFile();
    host.removeDevice(true);
    ASSERT_EQ(tPCIInfo::connect_kcs(), 1);
    for (const char* operation : {"Read", "Write", "Close", "QuerySize", "DeleteFile", "Open"}) {
        SCOPED_TRACE(operation);
        const long long before = passedMs();
        EXPECT_EQ(run(operation), (Outcome{1, 0}));
        EXPECT_GE(passedMs() - before, 5000);
    }
}

}  // namespace
