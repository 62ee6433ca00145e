// The BMC model, asked directly.
#include "emulator/bmc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/emulator/datastore.h"

namespace {

using emulator::Answer;
using emulator::Bmc;
using emulator::Bytes;
using emulator::Fault;
using emulator::Occasion;
using testing::ElementsAre;
using testing::SizeIs;

constexpr std::uint8_t kSmbios[] = {'_', 'S', 'M', '_', 5};

class BmcTest : public testing::Test {
 protected:
    BmcTest() { bmc.putFile("smbios-table", Bytes(std::begin(kSmbios), std::end(kSmbios))); }

    Bytes ask(const emulator::Request& request) { return bmc.answer(request).data; }
    std::uint32_t openForReading(const std::string& name = "smbios-table") {
        return datastore::number(ask(datastore::open(name)));
    }
    std::uint32_t openForWriting(const std::string& name) {
        return datastore::number(ask(datastore::openToWrite(name)));
    }

    template <typename Set>
    void addFault(Occasion on, const Set& set) {
        bmc.addFault(datastore::fault(on, set));
    }

    Bmc bmc;
};

TEST_F(BmcTest, AnswersWithTheResponseNetworkFunctionAndTheCommand) {
    const Answer answer = bmc.answer(datastore::open("smbios-table"));
    EXPECT_EQ(answer.netfn, 0x2F);
    EXPECT_EQ(answer.command, 0x90);
    EXPECT_EQ(answer.receiveType, 1);
    EXPECT_FALSE(answer.silent);
    EXPECT_FALSE(answer.vanish);
    EXPECT_EQ(answer.delayMs, 0U);
}

TEST_F(BmcTest, OpenGivesEightBytesWithAHandleOfItsOwnForEachOpen) {
    const Bytes first = ask(datastore::open("smbios-table"));
    const Bytes second = ask(datastore::open("smbios-table"));
    EXPECT_THAT(first, SizeIs(8));
    EXPECT_THAT(Bytes(first.begin(), first.begin() + 4), ElementsAre(0x00, 0xD9, 0x7E, 0x00));
    EXPECT_NE(datastore::number(first), datastore::number(second));
    EXPECT_EQ(bmc.openFiles(), 2U);
}

TEST_F(BmcTest, OpenOfAnUnknownFileIsRefused) {
    EXPECT_THAT(ask(datastore::open("nothing")), ElementsAre(0x0C, 0xD9, 0x7E, 0x00));
    EXPECT_THAT(ask(datastore::open("nothing", 3, 0)), ElementsAre(0x0B, 0xD9, 0x7E, 0x00));
    EXPECT_THAT(ask(datastore::open("", 3, 1)), ElementsAre(0x0B, 0xD9, 0x7E, 0x00));
    EXPECT_EQ(bmc.openFiles(), 0U);
}

TEST_F(BmcTest, OpenTakesNamesOfUpTo32Characters) {
    const std::string name(32, 'n');
    bmc.putFile(name, {1});
    EXPECT_EQ(ask(datastore::open(name))[0], 0x00);
}

TEST_F(BmcTest, ReadDeliversCountAndData) {
    const std::uint32_t handle = openForReading();
    EXPECT_THAT(ask(datastore::read(handle, 1, 3)), ElementsAre(0x00, 0xD9, 0x7E, 0x00, 3, 0, 'S', 'M', '_'));
    EXPECT_THAT(ask(datastore::read(handle, 0, 0)), ElementsAre(0x00, 0xD9, 0x7E, 0x00, 0, 0));
}

TEST_F(BmcTest, ReadDeliversZerosAfterTheContentUpToTheEndOfTheArea) {
    const std::uint32_t handle = openForReading();
    EXPECT_THAT(ask(datastore::read(handle, 4, 3)), ElementsAre(0x00, 0xD9, 0x7E, 0x00, 3, 0, 5, 0, 0));
    EXPECT_EQ(ask(datastore::read(handle, 65400, 200)),
              datastore::joined({0x00, 0xD9, 0x7E, 0x00, 136, 0}, Bytes(136, 0)));
    EXPECT_THAT(ask(datastore::read(handle, 65536, 200)), ElementsAre(0xA0, 0xD9, 0x7E, 0x00));
}

TEST_F(BmcTest, TheWholeAreaTakes328ReadsOf200Bytes) {
    const std::uint32_t handle = openForReading();
    Bytes whole;
    unsigned reads = 0;
    for (std::uint32_t offset = 0; offset < 65536; ++reads) {
        const Bytes answer = ask(datastore::read(handle, offset, 200));
        whole.insert(whole.end(), answer.begin() + 6, answer.end());
        offset += answer[4];
    }
    EXPECT_EQ(reads, 328U);
    EXPECT_EQ(whole.size(), 65536U);
    EXPECT_TRUE(std::equal(std::begin(kSmbios), std::end(kSmbios), whole.begin()));
}

TEST_F(BmcTest, AFileThatEndsWithItsContentDeliversShortCountsThenPastTheEnd) {
    bmc.setEndOfFile(true);
    const std::uint32_t handle = openForReading();
    EXPECT_THAT(ask(datastore::read(handle, 3, 200)), ElementsAre(0x00, 0xD9, 0x7E, 0x00, 2, 0, '_', 5));
    EXPECT_THAT(ask(datastore::read(handle, 5, 200)), ElementsAre(0xA0, 0xD9, 0x7E, 0x00));
}

TEST_F(BmcTest, ReadsOverTheLimitAreRefused) {
    bmc.setReadLimit(58);
    const std::uint32_t handle = openForReading();
    EXPECT_THAT(ask(datastore::read(handle, 0, 59)), ElementsAre(Bmc::kReadRefused, 0xD9, 0x7E, 0x00));
    EXPECT_THAT(ask(datastore::read(handle, 0, 58)), SizeIs(6 + 58));
    bmc.setReadLimit(0);
    EXPECT_THAT(ask(datastore::read(handle, 0, 255)), SizeIs(6 + 255));
}

TEST_F(BmcTest, UnknownHandlesAreRefused) {
    for (const auto& request :
         {datastore::read(7, 0, 1), datastore::write(7, 0, {1}), datastore::writeDefaults(7), datastore::close(7)})
        EXPECT_THAT(ask(request), ElementsAre(0x0A, 0xD9, 0x7E, 0x00));
}

TEST_F(BmcTest, AClosedHandleIsUnknown) {
    const std::uint32_t handle = openForReading();
    EXPECT_THAT(ask(datastore::close(handle)), ElementsAre(0x00, 0xD9, 0x7E, 0x00, 0, 0, 0, 0));
    EXPECT_EQ(bmc.openFiles(), 0U);
    EXPECT_EQ(ask(datastore::read(handle, 0, 1))[0], 0x0A);
    EXPECT_EQ(ask(datastore::close(handle))[0], 0x0A);
}

TEST_F(BmcTest, QuerySizeTellsTheContentsSize) {
    bmc.putFile("big", Bytes(0x1234, 1));
    EXPECT_THAT(ask(datastore::querySize("smbios-table")), ElementsAre(0x00, 0xD9, 0x7E, 0x00, 5, 0, 0, 0));
    EXPECT_EQ(datastore::number(ask(datastore::querySize("big"))), 0x1234U);
    EXPECT_THAT(ask(datastore::querySize("nothing")), ElementsAre(0x0C, 0xD9, 0x7E, 0x00));
}

TEST_F(BmcTest, WhatIsWrittenReadsBack) {
    const std::uint32_t handle = openForWriting("new");
    const Bytes chunk(200, 0x5A);
    EXPECT_THAT(ask(datastore::write(handle, 0, chunk)), ElementsAre(0x00, 0xD9, 0x7E, 200, 0));
    EXPECT_THAT(ask(datastore::write(handle, 202, {1, 2})), ElementsAre(0x00, 0xD9, 0x7E, 2, 0));
    EXPECT_EQ(ask(datastore::close(handle))[0], 0x00);
    EXPECT_EQ(bmc.file("new"), datastore::joined(chunk, {0, 0, 1, 2}));
    EXPECT_THAT(ask(datastore::read(openForReading("new"), 201, 3)), ElementsAre(0x00, 0xD9, 0x7E, 0, 3, 0, 0, 1, 2));
}

TEST_F(BmcTest, CreatingAFileThatExistsEmptiesIt) {
    openForWriting("smbios-table");
    EXPECT_EQ(bmc.file("smbios-table"), Bytes());
}

TEST_F(BmcTest, WritingNeedsAHandleThatWasOpenedForIt) {
    EXPECT_EQ(ask(datastore::write(openForReading(), 0, {1}))[0], 0x0A);
    EXPECT_EQ(bmc.file("smbios-table"), Bytes(std::begin(kSmbios), std::end(kSmbios)));
}

TEST_F(BmcTest, WritingBeyondTheAreaIsRefused) {
    const std::uint32_t handle = openForWriting("new");
    EXPECT_EQ(ask(datastore::write(handle, 65535, {1}))[0], 0x00);
    EXPECT_EQ(ask(datastore::write(handle, 65535, {1, 2}))[0], 0x0D);
}

TEST_F(BmcTest, WriteDefaultsPutsTheDefaultsBackAndEndsTheTransfer) {
    bmc.putDefaults("settings", {9, 9});
    const std::uint32_t handle = openForWriting("settings");
    ask(datastore::write(handle, 0, {1, 2, 3}));
    EXPECT_THAT(ask(datastore::writeDefaults(handle)), ElementsAre(0x00, 0xD9, 0x7E, 0x00, 0, 0, 0, 0));
    EXPECT_EQ(bmc.file("settings"), Bytes({9, 9}));
    EXPECT_EQ(bmc.openFiles(), 0U);
}

TEST_F(BmcTest, WriteDefaultsOfAFileWithoutDefaultsIsRefused) {
    EXPECT_THAT(ask(datastore::writeDefaults(openForReading())), ElementsAre(0x0E, 0xD9, 0x7E, 0x00));
}

TEST_F(BmcTest, DeleteRemovesAFile) {
    const std::uint32_t handle = openForReading();
    EXPECT_THAT(ask(datastore::remove("smbios-table")), ElementsAre(0x00, 0xD9, 0x7E, 0x00, 0, 0, 0, 0));
    EXPECT_EQ(bmc.file("smbios-table"), std::nullopt);
    EXPECT_EQ(ask(datastore::read(handle, 0, 1))[0], 0x0A);
    EXPECT_EQ(ask(datastore::remove("smbios-table"))[0], 0x0B);
}

TEST_F(BmcTest, SeveralFilesKeepApart) {
    bmc.putFile("other", {7, 8});
    const std::uint32_t smbios = openForReading();
    const std::uint32_t other = openForReading("other");
    EXPECT_EQ(ask(datastore::read(other, 0, 2)), Bytes({0x00, 0xD9, 0x7E, 0x00, 2, 0, 7, 8}));
    EXPECT_EQ(ask(datastore::read(smbios, 0, 2)), Bytes({0x00, 0xD9, 0x7E, 0x00, 2, 0, '_', 'S'}));
}

TEST_F(BmcTest, AFileIsCutToItsArea) {
    bmc.putFile("long", Bytes(70000, 1));
    EXPECT_EQ(bmc.file("long")->size(), 65536U);
}

TEST_F(BmcTest, EverythingElseIsRefused) {
    EXPECT_THAT(ask({0x06, 0x01, {}}), ElementsAre(0xC1));
    EXPECT_THAT(ask({0x2E, 0x91, datastore::header(1)}), ElementsAre(0xC1));
    EXPECT_THAT(ask(datastore::request({0xDA, 0x7E, 0x00, 0x01})), ElementsAre(0xC1));
    EXPECT_THAT(ask(datastore::request(datastore::header(8))), ElementsAre(0xC1, 0xD9, 0x7E, 0x00));
    EXPECT_EQ(bmc.answer({0x06, 0x01, {}}).netfn, 0x07);
}

TEST_F(BmcTest, RequestsThatAreTooShortAreRefused) {
    EXPECT_THAT(ask(datastore::request({0xD9, 0x7E, 0x00})), ElementsAre(0xC7));
    for (auto request : {datastore::open("smbios-table"), datastore::read(1, 0, 1), datastore::write(1, 0, {}),
                         datastore::writeDefaults(1), datastore::close(1)}) {
        request.data.pop_back();
        EXPECT_THAT(ask(request), ElementsAre(0xC7, 0xD9, 0x7E, 0x00)) << int{request.data[3]};
    }
    for (const std::uint8_t operation : Bytes{6, 7})
        EXPECT_THAT(ask(datastore::request(datastore::header(operation))), ElementsAre(0xC7, 0xD9, 0x7E, 0x00));
}

TEST_F(BmcTest, TransfersThatOverlapAreCounted) {
    const std::uint32_t first = openForReading();
    ask(datastore::close(first));
    openForReading();
    EXPECT_EQ(bmc.interleavedTransfers(), 0U);
    openForReading();
    EXPECT_EQ(bmc.interleavedTransfers(), 1U);
}

TEST_F(BmcTest, ATransferThatItsClientGaveUpDoesNotCount) {
    openForReading();
    bmc.deviceClosed();
    EXPECT_EQ(bmc.openFiles(), 0U);
    openForReading();
    EXPECT_EQ(bmc.interleavedTransfers(), 0U);
}

TEST_F(BmcTest, AFaultRefusesAnOperationWhichIsThenNotCarriedOut) {
    addFault(Occasion::open, [](Fault& fault) { fault.completionCode = 0x0F; });
    EXPECT_THAT(ask(datastore::open("smbios-table")), ElementsAre(0x0F, 0xD9, 0x7E, 0x00));
    EXPECT_EQ(bmc.openFiles(), 0U);
    EXPECT_EQ(ask(datastore::open("smbios-table"))[0], 0x00);
}

TEST_F(BmcTest, AFaultMeetsTheOccasionsFromFromOnTimesTimes) {
    addFault(Occasion::read, [](Fault& fault) {
        fault.from = 2;
        fault.times = 2;
        fault.completionCode = 0xC3;
    });
    const std::uint32_t handle = openForReading();
    Bytes codes;
    for (int i = 0; i < 5; ++i) {
        ask(datastore::querySize("smbios-table"));  // occasions of another kind do not count
        codes.push_back(ask(datastore::read(handle, 0, 1))[0]);
    }
    EXPECT_THAT(codes, ElementsAre(0x00, 0xC3, 0xC3, 0x00, 0x00));
}

TEST_F(BmcTest, AFaultWithoutAnEndStaysUntilTheFaultsAreCleared) {
    addFault(Occasion::querySize, [](Fault& fault) {
        fault.from = 2;
        fault.times = 0;
        fault.completionCode = 0xC3;
    });
    EXPECT_EQ(ask(datastore::querySize("smbios-table"))[0], 0x00);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(ask(datastore::querySize("smbios-table"))[0], 0xC3);
    bmc.clearFaults();
    EXPECT_EQ(ask(datastore::querySize("smbios-table"))[0], 0x00);
}

TEST_F(BmcTest, AFaultOnAnyMeetsEveryMessage) {
    addFault(Occasion::any, [](Fault& fault) {
        fault.from = 3;
        fault.completionCode = 0xD2;
    });
    ask({0x06, 0x01, {}});
    const std::uint32_t handle = openForReading();
    EXPECT_EQ(ask(datastore::read(handle, 0, 1))[0], 0xD2);
    EXPECT_EQ(ask(datastore::read(handle, 0, 1))[0], 0x00);
}

TEST_F(BmcTest, EveryKindOfOperationHasItsOccasion) {
    const std::pair<Occasion, emulator::Request> kinds[] = {
        {Occasion::open, datastore::open("smbios-table")},
        {Occasion::read, datastore::read(1, 0, 1)},
        {Occasion::write, datastore::write(1, 0, {1})},
        {Occasion::writeDefaults, datastore::writeDefaults(1)},
        {Occasion::close, datastore::close(1)},
        {Occasion::querySize, datastore::querySize("x")},
        {Occasion::remove, datastore::remove("x")},
    };
    for (const auto& [occasion, request] : kinds) {
        bmc.clearFaults();
        addFault(occasion, [](Fault& fault) { fault.completionCode = 0xCC; });
        EXPECT_EQ(ask(request)[0], 0xCC) << int{request.data[3]};
        EXPECT_NE(ask(request)[0], 0xCC) << int{request.data[3]};
    }
}

TEST_F(BmcTest, AFaultCutsOrExtendsTheAnswer) {
    const std::uint32_t handle = openForReading();
    for (const std::size_t length : {0U, 5U, 272U, 300U}) {
        addFault(Occasion::read, [length](Fault& fault) { fault.length = length; });
        EXPECT_THAT(ask(datastore::read(handle, 0, 4)), SizeIs(length));
        bmc.clearFaults();
    }
}

TEST_F(BmcTest, AFaultChangesTheCountThatAReadClaims) {
    addFault(Occasion::read, [](Fault& fault) { fault.countField = 0x1234; });
    const std::uint32_t handle = openForReading();
    EXPECT_THAT(ask(datastore::read(handle, 0, 2)), ElementsAre(0x00, 0xD9, 0x7E, 0x00, 0x34, 0x12, '_', 'S'));
}

TEST_F(BmcTest, AFaultGivesTheWholeAnswerWhileTheOperationIsCarriedOut) {
    addFault(Occasion::open, [](Fault& fault) { fault.data = Bytes{1, 2, 3}; });
    EXPECT_THAT(ask(datastore::open("smbios-table")), ElementsAre(1, 2, 3));
    EXPECT_EQ(bmc.openFiles(), 1U);
}

TEST_F(BmcTest, AFaultChangesWhatSurroundsTheData) {
    addFault(Occasion::querySize, [](Fault& fault) {
        fault.netfn = 0x2E;
        fault.command = 0x91;
        fault.receiveType = 3;
        fault.receiveFailures = 4;
        fault.receiveErrno = 5;
        fault.delayMs = 1200;
        fault.pollErrno = 4;
    });
    const Answer answer = bmc.answer(datastore::querySize("smbios-table"));
    EXPECT_EQ(answer.netfn, 0x2E);
    EXPECT_EQ(answer.command, 0x91);
    EXPECT_EQ(answer.receiveType, 3);
    EXPECT_EQ(answer.receiveFailures, 4U);
    EXPECT_EQ(answer.receiveErrno, 5);
    EXPECT_EQ(answer.delayMs, 1200U);
    EXPECT_EQ(answer.pollErrno, 4);
    EXPECT_THAT(answer.data, SizeIs(8));
}

TEST_F(BmcTest, ASilentOrVanishedBmcDoesNotCarryOutTheOperation) {
    addFault(Occasion::open, [](Fault& fault) { fault.timeout = true; });
    addFault(Occasion::open, [](Fault& fault) {
        fault.from = 2;
        fault.vanish = true;
    });
    EXPECT_TRUE(bmc.answer(datastore::open("smbios-table")).silent);
    EXPECT_TRUE(bmc.answer(datastore::open("smbios-table")).vanish);
    EXPECT_EQ(bmc.openFiles(), 0U);
}

TEST_F(BmcTest, SeveralFaultsMeetOneMessage) {
    addFault(Occasion::any, [](Fault& fault) { fault.completionCode = 0xC3; });
    addFault(Occasion::querySize, [](Fault& fault) { fault.length = 1; });
    EXPECT_THAT(ask(datastore::querySize("smbios-table")), ElementsAre(0xC3));
}

TEST_F(BmcTest, ADeviceIsMissingAsOftenAsTheFaultSays) {
    addFault(Occasion::deviceOpen, [](Fault& fault) {
        fault.missing = true;
        fault.from = 2;
    });
    EXPECT_FALSE(bmc.deviceMissing());
    EXPECT_TRUE(bmc.deviceMissing());
    EXPECT_FALSE(bmc.deviceMissing());
}

}  // namespace
