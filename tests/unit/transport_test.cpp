// One exchange with the BMC through Linux's driver.
#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <optional>

#include "tests/emulator/datastore.h"
#include "tests/support/emulatedtime.h"
#include "tests/unit/bmchost.h"

namespace {

using emulator::DeviceClosed;
using emulator::DeviceOpened;
using emulator::Event;
using emulator::Received;
using emulator::ReceiveFailed;
using emulator::Sent;
using emulator::Waited;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using tPCIInfo::connect_kcs;
using tPCIInfo::disconnect_kcs;
using tPCIInfo::kcs_fd;

const std::int32_t kDescriptorAtLoad = kcs_fd;

constexpr std::uint8_t kUntouched = 0x5A;
constexpr std::uint16_t kLengthBefore = 0xBEEF;
constexpr long long kFiveSeconds = 5000;

/** One exchange with all that it brings back. After the 272 bytes of the response stand 16 more. */
struct Exchange {
    std::uint32_t result = 0;
    std::uint8_t completionCode = 0x77;
    std::uint16_t length = kLengthBefore;
    std::array<std::uint8_t, 272 + 16> area{};

    Bytes response() const { return {area.begin(), area.begin() + length}; }
    bool areaUntouched() const {
        return std::all_of(area.begin(), area.end(), [](std::uint8_t byte) { return byte == kUntouched; });
    }
    bool untouchedFrom(std::size_t place) const {
        return std::all_of(area.begin() + static_cast<std::ptrdiff_t>(place), area.end(),
                           [](std::uint8_t byte) { return byte == kUntouched; });
    }
};

Exchange exchange(Bytes request, std::uint8_t command = 0x90, std::uint8_t netfn = 0x2E) {
    Exchange made;
    made.area.fill(kUntouched);
    made.result = tPCIInfo::sendIPMICMD(command, request.data(), static_cast<std::uint16_t>(request.size()),
                                        made.area.data(), made.length, netfn);
    return made;
}

Exchange exchangeWithCode(Bytes request) {
    Exchange made;
    made.area.fill(kUntouched);
    made.result = tPCIInfo::sendIPMI(0x90, request.data(), static_cast<std::uint16_t>(request.size()), made.area.data(),
                                     made.length, made.completionCode, 0x2E);
    return made;
}

/** What system calls do beside what the emulated host makes of them. Set while no other thread runs. */
struct Spoiled {
    int sendErrno = 0;  // sends fail with it
    unsigned sends = 0;
    std::optional<long> messageId;  // of what is received
    int closeErrno = 0;             // closes fail with it, the descriptor being closed all the same
    unsigned closes = 0;
};
Spoiled spoiled;

/** The C library's function of a name that this program defines too. */
template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

Bytes query(const std::string& name = "file") {
    return datastore::querySize(name).data;
}

}  // namespace

extern "C" {

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == IPMICTL_SEND_COMMAND && spoiled.sendErrno != 0) {
        ++spoiled.sends;
        errno = spoiled.sendErrno;
        return -1;
    }
    static auto* const behind = next<int(int, unsigned long, ...)>("ioctl");
    const int result = behind(descriptor, request, argument);
    if (request == IPMICTL_RECEIVE_MSG_TRUNC && spoiled.messageId)
        static_cast<ipmi_recv*>(argument)->msgid = *spoiled.messageId;
    return result;
}

int close(int descriptor) {
    static auto* const behind = next<int(int)>("close");
    const int result = behind(descriptor);
    if (spoiled.closeErrno == 0) return result;
    ++spoiled.closes;
    errno = spoiled.closeErrno;
    return -1;
}

}  // extern "C"

namespace {

class TransportTest : public BmcHostTest {
 protected:
    TransportTest() { bmc().putFile("file", Bytes(9)); }
    ~TransportTest() override {
        spoiled = {};
        EXPECT_THAT(host.logTexts(), IsEmpty());
    }

    /** One exchange on an open device, met by a fault. */
    Exchange exchangeUnder(const Fault& fault) {
        if (kcs_fd < 0) {
            EXPECT_EQ(connect_kcs(), 0);
        }
        bmc().clearFaults();
        strike(Occasion::any, fault);
        return exchange(query());
    }

    /** The answer to query(). */
    void expectAnswer(const Exchange& made) {
        ASSERT_EQ(made.result, 0U);
        EXPECT_EQ(datastore::number(made.response()), 9U);
    }
    /** Fails after one wait of five seconds, in which nothing came. */
    void expectSilence(const Exchange& made) {
        expectFailure(made);
        const auto waits = host.eventsOf<Waited>();
        ASSERT_THAT(waits, SizeIs(1));
        EXPECT_EQ(waits[0].timeoutMs, 5000);
        EXPECT_EQ(waits[0].ready, 0);
        EXPECT_GE(passedMs(), kFiveSeconds);
        EXPECT_EQ(count<Received>() + count<ReceiveFailed>(), 0U);
    }
    void expectFailure(const Exchange& made) {
        EXPECT_EQ(made.result, 1U);
        EXPECT_TRUE(made.areaUntouched());
        EXPECT_EQ(made.length, kLengthBefore);
    }

    /** The devices that were opened, with "-" after those that were not there, and "closed" for every close. */
    std::vector<std::string> openings() const {
        std::vector<std::string> texts;
        for (const Event& event : host.events()) {
            if (const auto* opened = std::get_if<DeviceOpened>(&event)) {
                texts.push_back(opened->path + (opened->ok ? "" : " -"));
            } else if (std::holds_alternative<DeviceClosed>(event)) {
                texts.emplace_back("closed");
            }
        }
        return texts;
    }
};

// --- connecting ---

TEST_F(TransportTest, NoDeviceIsOpenWhenTheLibraryIsLoaded) {
    EXPECT_EQ(kDescriptorAtLoad, -1);
}

TEST_F(TransportTest, ConnectOpensTheFirstDeviceForReadingAndWriting) {
    EXPECT_EQ(connect_kcs(), 0);
    EXPECT_GE(kcs_fd, 0);
    const auto opened = host.eventsOf<DeviceOpened>();
    ASSERT_THAT(opened, SizeIs(1));
    EXPECT_EQ(opened[0].path, "/dev/ipmi0");
    EXPECT_EQ(opened[0].flags, O_RDWR);
}

TEST_F(TransportTest, ConnectTakesTheSecondDeviceWhereTheFirstIsMissing) {
    host.useSecondDevice(true);
    EXPECT_EQ(connect_kcs(), 0);
    EXPECT_GE(kcs_fd, 0);
    EXPECT_THAT(openings(), ElementsAre("/dev/ipmi0 -", "/dev/ipmidev/0"));
    EXPECT_EQ(host.eventsOf<DeviceOpened>().at(1).flags, O_RDWR);
    EXPECT_EQ(exchange(query()).result, 0U);
}

TEST_F(TransportTest, ConnectClosesWhatAnEarlierTransferLeftOpen) {
    EXPECT_EQ(connect_kcs(), 0);
    EXPECT_EQ(connect_kcs(), 0);
    EXPECT_THAT(openings(), ElementsAre("/dev/ipmi0", "closed", "/dev/ipmi0"));
    EXPECT_EQ(host.openFiles(), 1U);
}

TEST_F(TransportTest, AConnectThatFailsHasClosedTheFormerDeviceAllTheSame) {
    ASSERT_EQ(connect_kcs(), 0);
    host.removeDevice(true);
    EXPECT_EQ(connect_kcs(), 1);
    EXPECT_EQ(kcs_fd, -1);
    EXPECT_THAT(openings(), ElementsAre("/dev/ipmi0", "closed", "/dev/ipmi0 -", "/dev/ipmidev/0 -"));
}

TEST_F(TransportTest, DisconnectClosesTheDeviceAndThenDoesNothing) {
    ASSERT_EQ(connect_kcs(), 0);
    disconnect_kcs();
    EXPECT_EQ(kcs_fd, -1);
    disconnect_kcs();
    EXPECT_EQ(kcs_fd, -1);
    EXPECT_THAT(openings(), ElementsAre("/dev/ipmi0", "closed"));
}

TEST_F(TransportTest, ACloseThatFailsIsNotRepeatedAndTheDeviceIsClosedAllTheSame) {
    for (const int error : {EINTR, EIO}) {
        SCOPED_TRACE(error);
        ASSERT_EQ(connect_kcs(), 0);
        spoiled = {};
        spoiled.closeErrno = error;
        disconnect_kcs();
        EXPECT_EQ(spoiled.closes, 1U);
        EXPECT_EQ(kcs_fd, -1);
        spoiled = {};
        EXPECT_EQ(connect_kcs(), 0);
        EXPECT_EQ(exchange(query()).result, 0U);
        disconnect_kcs();
    }
}

// --- what the driver is given ---

TEST_F(TransportTest, ARequestGoesOutWithTheSystemInterfaceAddressAndItsFixedMessageId) {
    ASSERT_EQ(connect_kcs(), 0);
    exchange({1, 2, 3}, 0x42, 0x06);
    exchange({}, 0x01, 0x0A);
    const auto sent = host.eventsOf<Sent>();
    ASSERT_THAT(sent, SizeIs(2));
    for (const Sent& each : sent) {
        EXPECT_EQ(each.error, 0);
        EXPECT_EQ(each.msgid, 22444);
        EXPECT_EQ(each.addrType, 0x0C);
        EXPECT_EQ(each.channel, 0x0F);
        EXPECT_EQ(each.lun, 0);
        EXPECT_EQ(each.addrLen, 8U);
    }
    EXPECT_EQ(sent[0].request.netfn, 0x06);
    EXPECT_EQ(sent[0].request.command, 0x42);
    EXPECT_THAT(sent[0].request.data, ElementsAre(1, 2, 3));
    EXPECT_EQ(sent[1].request.netfn, 0x0A);
    EXPECT_EQ(sent[1].request.command, 0x01);
    EXPECT_THAT(sent[1].request.data, IsEmpty());
}

TEST_F(TransportTest, AnExchangeIsOneSendOneWaitOfFiveSecondsAndOneReceiveOf272Bytes) {
    ASSERT_EQ(connect_kcs(), 0);
    host.clearEvents();
    ASSERT_EQ(exchange(query()).result, 0U);
    const auto events = host.events();
    ASSERT_THAT(events, SizeIs(3));
    EXPECT_TRUE(std::holds_alternative<Sent>(events[0]));
    const auto* waited = std::get_if<Waited>(&events[1]);
    ASSERT_NE(waited, nullptr);
    EXPECT_EQ(waited->timeoutMs, 5000);
    EXPECT_EQ(waited->events, POLLIN);
    EXPECT_EQ(waited->ready, 1);
    const auto* received = std::get_if<Received>(&events[2]);
    ASSERT_NE(received, nullptr);
    EXPECT_EQ(received->bufferLen, 272U);
    EXPECT_EQ(received->addrLen, 40U);
}

// --- answers ---

TEST_F(TransportTest, AResponseIsCopiedAsItIsAndItsLengthTold) {
    ASSERT_EQ(connect_kcs(), 0);
    for (const std::size_t length : {0U, 1U, 2U, 57U, 272U}) {
        const Bytes answer = pattern(length, 77);
        const Exchange made = exchangeUnder(answerOf(answer));
        ASSERT_EQ(made.result, 0U);
        EXPECT_EQ(made.length, length);
        EXPECT_EQ(made.response(), answer);
        EXPECT_TRUE(made.untouchedFrom(length));
    }
}

// The driver hands over the first 272 bytes of such a message with an error, and the message is gone.
TEST_F(TransportTest, AResponseLongerThanTheDriverCarriesIsLost) {
    expectFailure(exchangeUnder(answerOf(pattern(273))));
    bmc().clearFaults();
    expectAnswer(exchange(query()));
}

TEST_F(TransportTest, OnlyResponsesToTheNetworkFunctionAndCommandAreTakenAndOthersAreNotWaitedOut) {
    std::vector<Fault> strangers(18);
    auto stranger = strangers.begin();
    for (const int type : {0, 2, 3, 4, 5, -1}) stranger++->receiveType = type;
    for (const int netfn : {0x2E, 0x2D, 0x31, 0x07, 0x6F, 0xAF, 0x00, 0xFF}) {
        stranger++->netfn = static_cast<std::uint8_t>(netfn);
    }
    for (const int command : {0x91, 0x8F, 0x00, 0x10}) stranger++->command = static_cast<std::uint8_t>(command);
    for (const Fault& fault : strangers) {
        SCOPED_TRACE(&fault - strangers.data());
        expectFailure(exchangeUnder(fault));
    }
    EXPECT_EQ(count<Received>(), strangers.size());
    EXPECT_EQ(count<ReceiveFailed>(), 0U);
    EXPECT_LT(passedMs(), kFiveSeconds);
}

// All requests carry one message id, and the one that comes back is not compared.
TEST_F(TransportTest, AnAnswerThatComesTooLateIsTakenForTheNextRequests) {
    Fault late;
    late.delayMs = 6000;
    expectFailure(exchangeUnder(late));
    bmc().clearFaults();
    bmc().putFile("other", Bytes(200));
    expectAnswer(exchange(query("other")));
}

TEST_F(TransportTest, TheMessageIdThatComesBackIsNotCompared) {
    ASSERT_EQ(connect_kcs(), 0);
    for (const long id : {0L, 22445L, -1L}) {
        spoiled.messageId = id;
        expectAnswer(exchange(query()));
    }
}

// --- waiting ---

TEST_F(TransportTest, AnAnswerMayTakeAlmostFiveSeconds) {
    Fault slow;
    slow.delayMs = 4000;
    expectAnswer(exchangeUnder(slow));
}

TEST_F(TransportTest, NoAnswerWithinFiveSecondsIsAFailureAndNothingIsReceived) {
    expectSilence(exchangeUnder(timeOut()));
}

TEST_F(TransportTest, AWaitThatFailsIsAFailureAndNothingIsReceived) {
    for (const int error : {EINTR, EINVAL, ENOMEM}) {
        SCOPED_TRACE(error);
        Fault fault;
        fault.pollErrno = error;
        expectFailure(exchangeUnder(fault));
        disconnect_kcs();  // and with it the answer that nobody took
    }
    EXPECT_EQ(count<Waited>(), 3U);
    EXPECT_EQ(count<Received>() + count<ReceiveFailed>(), 0U);
    EXPECT_LT(passedMs(), kFiveSeconds);
}

TEST_F(TransportTest, AFailedSendShowsItselfAsAMissingAnswer) {
    ASSERT_EQ(connect_kcs(), 0);
    expectSilence(exchange(Bytes(300)));
    const auto sent = host.eventsOf<Sent>();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].error, EMSGSIZE);
}

TEST_F(TransportTest, ASendThatIsInterruptedIsNotRepeated) {
    ASSERT_EQ(connect_kcs(), 0);
    spoiled.sendErrno = EINTR;
    expectSilence(exchange(query()));
    EXPECT_EQ(spoiled.sends, 1U);
}

TEST_F(TransportTest, WithoutADeviceAnExchangeFailsAfterFiveSeconds) {
    host.removeDevice(true);
    ASSERT_EQ(connect_kcs(), 1);
    expectSilence(exchange(query()));
    EXPECT_EQ(kcs_fd, -1);
}

TEST_F(TransportTest, AFailedReceiveIsRepeatedWhateverItsReason) {
    for (const int error : {EAGAIN, EINTR, EMSGSIZE, EINVAL, EIO, EPERM, ENOMEM}) {
        SCOPED_TRACE(error);
        Fault fault;
        fault.receiveFailures = 4;
        fault.receiveErrno = error;
        expectAnswer(exchangeUnder(fault));
    }
    for (const ReceiveFailed& failed : host.eventsOf<ReceiveFailed>()) EXPECT_EQ(failed.count, 4U);
}

TEST_F(TransportTest, ReceivesAreGivenUpFiveSecondsBehindTheWait) {
    Fault fault;
    fault.receiveFailures = 1000000;
    expectFailure(exchangeUnder(fault));
    const auto failed = host.eventsOf<ReceiveFailed>();
    ASSERT_THAT(failed, SizeIs(1));
    EXPECT_LE(failed[0].count, 5001U);  // every one moves the emulated clock on by a millisecond
    EXPECT_GE(passedMs(), kFiveSeconds);
    EXPECT_EQ(count<Received>(), 0U);
}

TEST_F(TransportTest, TheTimeOfTheWaitDoesNotCountAsTimeOfReceiving) {
    Fault fault;
    fault.delayMs = 4500;
    fault.receiveFailures = 1000;
    const Exchange made = exchangeUnder(fault);
    EXPECT_EQ(made.result, 0U);
    EXPECT_GE(passedMs(), kFiveSeconds);
}

TEST_F(TransportTest, ADeviceThatVanishesFailsTheExchangeAndIsFoundBackByTheNextConnect) {
    Fault fault;
    fault.vanish = true;
    expectFailure(exchangeUnder(fault));
    const auto failed = host.eventsOf<ReceiveFailed>();
    ASSERT_THAT(failed, SizeIs(1));
    EXPECT_EQ(failed[0].error, ENODEV);
    bmc().clearFaults();
    expectFailure(exchange(query()));
    EXPECT_EQ(connect_kcs(), 0);
    EXPECT_EQ(exchange(query()).result, 0U);
}

// --- the completion code ---

TEST_F(TransportTest, TheCompletionCodeIsTheFirstByteOfTheResponse) {
    ASSERT_EQ(connect_kcs(), 0);
    for (const int code : {0x00, 0x0A, 0x18, 0xA0, 0xFF}) {
        bmc().clearFaults();
        strike(Occasion::any, answerOf({static_cast<std::uint8_t>(code), 1, 2}));
        const Exchange made = exchangeWithCode(query());
        EXPECT_EQ(made.result, 0U);
        EXPECT_EQ(made.completionCode, code);
        EXPECT_EQ(made.length, 3);
    }
}

TEST_F(TransportTest, AfterAFailedExchangeTheCompletionCodeIsWhatTheAreaHeld) {
    ASSERT_EQ(connect_kcs(), 0);
    strike(Occasion::any, timeOut());
    const Exchange made = exchangeWithCode(query());
    EXPECT_EQ(made.result, 1U);
    EXPECT_EQ(made.completionCode, kUntouched);
    EXPECT_EQ(made.length, kLengthBefore);
}

// --- threads ---

TEST_F(TransportTest, ExchangesOfSeveralThreadsDoNotMix) {
    constexpr unsigned kThreads = 4;
    constexpr unsigned kExchanges = 150;
    ASSERT_EQ(connect_kcs(), 0);
    for (unsigned i = 0; i < kThreads; ++i) bmc().putFile("file" + std::to_string(i), Bytes(i + 1));
    pauseBehindRequests();
    std::atomic<unsigned> right{0};
    onThreads(kThreads, [&right](unsigned i) {
        for (unsigned n = 0; n < kExchanges; ++n) {
            const Exchange made = exchange(query("file" + std::to_string(i)));
            if (made.result == 0 && made.length == 8 && datastore::number(made.response()) == i + 1) ++right;
        }
    });
    EXPECT_EQ(right, kThreads * kExchanges);
    EXPECT_EQ(host.interleavedExchanges(), 0U);
}

TEST_F(TransportTest, ConnectsAndDisconnectsOfSeveralThreadsDoNotMix) {
    constexpr unsigned kThreads = 4;
    constexpr unsigned kRounds = 200;
    std::atomic<unsigned> connected{0};
    onThreads(kThreads, [&](unsigned) {
        for (unsigned round = 0; round < kRounds; ++round) {
            if (connect_kcs() == 0) ++connected;
            disconnect_kcs();
        }
    });
    EXPECT_EQ(connected, kThreads * kRounds);
    EXPECT_EQ(kcs_fd, -1);
    EXPECT_EQ(count<DeviceOpened>(), kThreads * kRounds);
    EXPECT_EQ(count<DeviceClosed>(), kThreads * kRounds);
}

TEST_F(TransportTest, ExchangesOfSeveralThreadsWithoutADeviceWaitSideBySide) {
    constexpr unsigned kThreads = 8;
    host.removeDevice(true);
    const auto began = testsupport::ahead();
    onThreads(kThreads, [this](unsigned) {
        EXPECT_EQ(connect_kcs(), 1);
        expectFailure(exchange(query()));
    });
    EXPECT_LE((testsupport::ahead() - began).count(), kFiveSeconds);
    EXPECT_EQ(count<Waited>(), kThreads);
}

TEST_F(TransportTest, ExchangesOfSeveralThreadsWithASilentBmcWaitOneBehindTheOther) {
    constexpr unsigned kThreads = 4;
    ASSERT_EQ(connect_kcs(), 0);
    strike(Occasion::any, timeOut());
    onThreads(kThreads, [this](unsigned) { expectFailure(exchange(query())); });
    EXPECT_GE(passedMs(), kThreads * kFiveSeconds);
    EXPECT_EQ(count<Waited>(), kThreads);
}

}  // namespace
