// The emulated IPMI device, by the calls of its clients, and the waits for it.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <mutex>
#include <thread>
#include <vector>

#include "emulator/emulatedhost.h"
#include "tests/emulator/datastore.h"
#include "tests/emulator/ipmiclient.h"
#include "tests/support/emulatedtime.h"
#include "tests/support/hostbuilder.h"

/** Calls of nanosleep, the emulated host's among them. */
static std::atomic<unsigned> sleeps{0};

/** The C library's. Looked up before there are threads: the thread sanitizer does not see the guard of a local one. */
static int (*const sleepInEarnest)(const timespec*, timespec*) =
    reinterpret_cast<int (*)(const timespec*, timespec*)>(dlsym(RTLD_NEXT, "nanosleep"));

extern "C" int nanosleep(const timespec* duration, timespec* left) {
    ++sleeps;
    return sleepInEarnest(duration, left);
}

namespace {

using emulator::Bytes;
using emulator::DeviceOpened;
using emulator::Fault;
using emulator::Occasion;
using emulator::Received;
using emulator::ReceiveFailed;
using emulator::Request;
using emulator::Sent;
using emulator::Waited;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::SizeIs;

/** Milliseconds on a clock that the emulated host leaves alone. */
long realMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return now.tv_sec * 1000L + now.tv_nsec / 1000000L;
}

milliseconds emulatedTime() {
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now().time_since_epoch());
}

/** Does something in so many threads at once. */
template <typename Work>
void inThreads(unsigned count, const Work& work) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < count; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
}

class DeviceTest : public testing::Test {
 protected:
    DeviceTest() { host.bmc().putFile("smbios-table", {'_', 'S', 'M', '_'}); }

    template <typename Set>
    void onQuerySize(const Set& set) {
        host.bmc().addFault(datastore::fault(Occasion::querySize, set));
    }
    static Request query() { return datastore::querySize("smbios-table"); }
    static Bytes size4() { return {0x00, 0xD9, 0x7E, 0x00, 4, 0, 0, 0}; }

    testsupport::HostBuilder directory;
    emulator::EmulatedHost host{directory.directory()};
};

TEST_F(DeviceTest, AnExchangeByteForByte) {
    IpmiClient client;
    ASSERT_TRUE(client.isOpen());
    ASSERT_EQ(client.send(query()), 0);
    ASSERT_EQ(client.wait(), 1);
    EXPECT_EQ(client.revents(), POLLIN);
    ASSERT_EQ(client.receive(), 0);
    EXPECT_EQ(client.data(), size4());
    EXPECT_EQ(client.record.recv_type, IPMI_RESPONSE_RECV_TYPE);
    EXPECT_EQ(client.record.msg.netfn, 0x2F);
    EXPECT_EQ(client.record.msg.cmd, 0x90);
    EXPECT_EQ(client.record.msgid, 22444);
    EXPECT_EQ(client.record.addr_len, sizeof(ipmi_system_interface_addr));
    EXPECT_EQ(client.address[0], IPMI_SYSTEM_INTERFACE_ADDR_TYPE);
}

TEST_F(DeviceTest, NothingThereIsEagain) {
    IpmiClient client;
    EXPECT_EQ(client.receive(), EAGAIN);
    EXPECT_EQ(client.receive(IPMICTL_RECEIVE_MSG), EAGAIN);
    EXPECT_EQ(client.wait(0), 0);
    EXPECT_EQ(client.exchange(query()), size4());
    EXPECT_EQ(client.receive(), EAGAIN);  // a message is received once
}

TEST_F(DeviceTest, TruncationFillsTheRecordAndTakesTheMessage) {
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(client.receive(IPMICTL_RECEIVE_MSG_TRUNC, 5), EMSGSIZE);
    EXPECT_EQ(client.data(), Bytes({0x00, 0xD9, 0x7E, 0x00, 4}));
    EXPECT_EQ(client.past(5), 0xEE);
    EXPECT_EQ(client.record.msg.netfn, 0x2F);
    EXPECT_EQ(client.receive(), EAGAIN);
    ASSERT_THAT(host.eventsOf<Received>(), SizeIs(1));
    EXPECT_EQ(host.eventsOf<Received>()[0].answer.data, size4());
    EXPECT_EQ(host.eventsOf<ReceiveFailed>()[0].error, EMSGSIZE);
}

TEST_F(DeviceTest, ReceiveWithoutTruncationLeavesTheMessage) {
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(client.receive(IPMICTL_RECEIVE_MSG, 7), EMSGSIZE);
    EXPECT_EQ(client.record.msg.netfn, 0);
    EXPECT_EQ(client.receive(IPMICTL_RECEIVE_MSG, 8), 0);
    EXPECT_EQ(client.data(), size4());
}

TEST_F(DeviceTest, ABufferOfNoBytesTakesTheMessage) {
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(client.receive(IPMICTL_RECEIVE_MSG_TRUNC, 0), EMSGSIZE);
    EXPECT_EQ(client.receive(), EAGAIN);
}

TEST_F(DeviceTest, SendRefusesWhatTheDriverRefuses) {
    IpmiClient client;
    const auto resultOf = [&client](const auto& spoil) {
        IpmiClient::Send send(query());
        spoil(send);
        return client.send(send);
    };
    EXPECT_EQ(resultOf([](auto& send) { send.request.msg.netfn = 0x2F; }), EINVAL);
    EXPECT_EQ(resultOf([](auto& send) { send.address.addr_type = 1; }), EINVAL);
    EXPECT_EQ(resultOf([](auto& send) { send.address.channel = 0; }), EINVAL);
    EXPECT_EQ(resultOf([](auto& send) { send.address.lun = 4; }), EINVAL);
    EXPECT_EQ(resultOf([](auto& send) { send.request.addr_len = 7; }), EINVAL);
    EXPECT_EQ(resultOf([](auto& send) { send.request.addr_len = 200; }), EINVAL);
    EXPECT_EQ(resultOf([](auto& send) { send.request.addr = nullptr; }), EFAULT);
    EXPECT_EQ(resultOf([](auto& send) { send.request.msg.data = nullptr; }), EFAULT);
    EXPECT_EQ(client.wait(0), 0);
    EXPECT_EQ(host.eventsOf<Sent>().at(0).error, EINVAL);
}

TEST_F(DeviceTest, RequestsOfMoreThan270BytesAreTooLong) {
    IpmiClient client;
    Request request = query();
    request.data.resize(270, 0);
    EXPECT_EQ(client.exchange(request), size4());
    request.data.resize(271, 0);
    EXPECT_EQ(client.send(request), EMSGSIZE);
}

TEST_F(DeviceTest, NetworkFunctionsFrom40hOnLoseTheirTopBits) {
    IpmiClient client;
    Request request = query();
    request.netfn = 0x40 | 0x2E;
    EXPECT_EQ(client.exchange(request), size4());
    EXPECT_EQ(client.record.msg.netfn, 0x2F);
}

TEST_F(DeviceTest, OtherControlCallsAreUnknown) {
    IpmiClient client;
    int number = 0;
    EXPECT_EQ(ioctl(client.descriptor(), IPMICTL_GET_MY_ADDRESS_CMD, &number), -1);
    EXPECT_EQ(errno, ENOTTY);
}

TEST_F(DeviceTest, ReceiveNeedsRoomForTheAddress) {
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(client.receive(IPMICTL_RECEIVE_MSG_TRUNC, 272, 7), EINVAL);
    EXPECT_EQ(client.receive(), 0);
}

TEST_F(DeviceTest, DescriptorsHaveQueuesOfTheirOwn) {
    IpmiClient first;
    IpmiClient second;
    EXPECT_NE(first.descriptor(), second.descriptor());
    ASSERT_EQ(first.send(query()), 0);
    EXPECT_EQ(second.wait(10), 0);
    EXPECT_EQ(second.receive(), EAGAIN);
    EXPECT_EQ(first.receive(), 0);
    EXPECT_EQ(host.openFiles(), 2U);
}

TEST_F(DeviceTest, TheDescriptorIsARealOne) {
    IpmiClient client;
    struct stat status {};
    EXPECT_EQ(fstat(client.descriptor(), &status), 0);
    const int number = client.descriptor();
    client.close();
    EXPECT_EQ(fstat(number, &status), -1);
    EXPECT_EQ(ioctl(number, IPMICTL_SEND_COMMAND, &status), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(DeviceTest, NoAnswerIsATimeOutThatTakesNoTime) {
    onQuerySize([](Fault& fault) { fault.timeout = true; });
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    const long began = realMs();
    const milliseconds emulatedBegin = emulatedTime();
    EXPECT_EQ(client.wait(5000), 0);
    EXPECT_EQ(client.revents(), 0);
    EXPECT_LT(realMs() - began, 5000);  // a real wait takes all of it
    EXPECT_GE(emulatedTime() - emulatedBegin, milliseconds(5000));
    EXPECT_EQ(client.exchange(query()), size4());
}

TEST_F(DeviceTest, ADelayedAnswerComesInItsTime) {
    onQuerySize([](Fault& fault) { fault.delayMs = 3000; });
    IpmiClient client;
    const milliseconds begin = emulatedTime();
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(client.receive(), EAGAIN);
    EXPECT_EQ(client.wait(1000), 0);
    EXPECT_EQ(client.wait(5000), 1);
    EXPECT_EQ(client.receive(), 0);
    const milliseconds took = emulatedTime() - begin;
    EXPECT_GE(took, milliseconds(3000));
    EXPECT_LT(took, milliseconds(6000));  // a second wait that ran to its end
}

TEST_F(DeviceTest, RealWaitsTakeTheirTime) {
    onQuerySize([](Fault& fault) { fault.timeout = true; });
    onQuerySize([](Fault& fault) {
        fault.from = 2;
        fault.delayMs = 80;
    });
    host.setRealWaits(true);
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    long began = realMs();
    EXPECT_EQ(client.wait(30), 0);
    EXPECT_GE(realMs() - began, 29);
    began = realMs();
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(client.wait(5000), 1);
    EXPECT_GE(realMs() - began, 79);
}

TEST_F(DeviceTest, WaitsOfNoLengthAreNotSleptThrough) {
    for (const bool real : {true, false}) {
        host.setRealWaits(real);
        IpmiClient client;
        const unsigned before = sleeps;
        for (int i = 0; i < 100; ++i) EXPECT_EQ(client.exchange(query()), size4());
        EXPECT_EQ(client.wait(0), 0);
        EXPECT_EQ(sleeps - before, 0U) << (real ? "real" : "virtual");
    }
    host.setRealWaits(true);
    const unsigned before = sleeps;
    IpmiClient client;
    EXPECT_EQ(client.wait(1), 0);
    EXPECT_GE(sleeps - before, 1U);
}

TEST_F(DeviceTest, AWaitWithoutEndForNothingIsAnError) {
    IpmiClient client;
    EXPECT_EQ(client.wait(-1), -1);
    EXPECT_EQ(client.pollErrno(), EINTR);
}

TEST_F(DeviceTest, AWaitMayFail) {
    onQuerySize([](Fault& fault) { fault.pollErrno = ENOMEM; });
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(client.wait(), -1);
    EXPECT_EQ(client.pollErrno(), ENOMEM);
    EXPECT_EQ(host.eventsOf<Waited>()[0].ready, -1);
    EXPECT_EQ(client.wait(), 1);
}

TEST_F(DeviceTest, ReceiveFailsAsOftenAsTheFaultSays) {
    onQuerySize([](Fault& fault) {
        fault.receiveFailures = 3;
        fault.receiveErrno = EIO;
    });
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    ASSERT_EQ(client.wait(), 1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(client.receive(), EIO);
    EXPECT_EQ(client.receive(), 0);
    EXPECT_EQ(client.data(), size4());
    const auto failed = host.eventsOf<ReceiveFailed>();
    ASSERT_THAT(failed, SizeIs(1));
    EXPECT_EQ(failed[0].error, EIO);
    EXPECT_EQ(failed[0].count, 3U);
}

TEST_F(DeviceTest, RepeatingAFailedReceiveForFiveSecondsTakesNoTime) {
    onQuerySize([](Fault& fault) { fault.receiveFailures = 1000000; });
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    ASSERT_EQ(client.wait(), 1);
    const long began = realMs();
    const milliseconds end = emulatedTime() + milliseconds(5000);
    unsigned attempts = 0;
    for (; emulatedTime() < end; ++attempts) ASSERT_EQ(client.receive(), EAGAIN);
    EXPECT_GT(attempts, 100U);
    EXPECT_LE(attempts, 5000U);
    EXPECT_LT(realMs() - began, 4000);
    EXPECT_THAT(host.eventsOf<ReceiveFailed>(), SizeIs(1));
}

TEST_F(DeviceTest, AVanishedDeviceStaysAwayUntilItIsOpenedAgain) {
    onQuerySize([](Fault& fault) { fault.vanish = true; });
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(client.wait(), 1);
    EXPECT_EQ(client.revents(), POLLERR | POLLHUP);
    const milliseconds begin = emulatedTime();
    for (int i = 0; i < 100; ++i) EXPECT_EQ(client.receive(), ENODEV);
    EXPECT_GE(emulatedTime() - begin, milliseconds(100));
    EXPECT_EQ(client.send(query()), ENODEV);

    IpmiClient again;
    EXPECT_EQ(again.exchange(query()), size4());
    EXPECT_EQ(client.receive(), ENODEV);
}

TEST_F(DeviceTest, ARemovedDeviceCannotBeOpenedUntilItIsBack) {
    IpmiClient before;
    host.removeDevice(true);
    EXPECT_EQ(before.send(query()), ENODEV);
    {
        IpmiClient missing;
        EXPECT_FALSE(missing.isOpen());
        EXPECT_EQ(missing.openErrno(), ENOENT);
    }
    EXPECT_FALSE(host.eventsOf<DeviceOpened>().back().ok);
    host.removeDevice(false);
    EXPECT_EQ(before.send(query()), ENODEV);
    IpmiClient back;
    EXPECT_EQ(back.exchange(query()), size4());
}

TEST_F(DeviceTest, AMissingDeviceComesBackAfterSoManyAttempts) {
    host.bmc().addFault(datastore::fault(Occasion::deviceOpen, [](Fault& fault) {
        fault.missing = true;
        fault.times = 2;
    }));
    EXPECT_FALSE(IpmiClient().isOpen());
    EXPECT_FALSE(IpmiClient("/dev/ipmidev/0").isOpen());  // not the device's path: no attempt
    EXPECT_FALSE(IpmiClient().isOpen());
    EXPECT_TRUE(IpmiClient().isOpen());
}

TEST_F(DeviceTest, AWaitOnNoDeviceAfterAFailedOpenIsVirtual) {
    host.removeDevice(true);
    ASSERT_FALSE(IpmiClient().isOpen());
    const long began = realMs();
    pollfd item{-1, POLLIN, POLLIN};
    EXPECT_EQ(poll(&item, 1, 5000), 0);
    EXPECT_EQ(item.revents, 0);
    EXPECT_LT(realMs() - began, 5000);  // a real wait takes all of it
    ASSERT_THAT(host.eventsOf<Waited>(), SizeIs(1));
    EXPECT_EQ(host.eventsOf<Waited>()[0].timeoutMs, 5000);
    EXPECT_EQ(host.eventsOf<Waited>()[0].ready, 0);
}

TEST_F(DeviceTest, OtherWaitsAreTheMachines) {
    host.removeDevice(true);
    IpmiClient failed;
    std::thread([] {
        const long began = realMs();  // this thread has not tried to open anything
        pollfd item{-1, POLLIN, 0};
        EXPECT_EQ(poll(&item, 1, 20), 0);
        EXPECT_GE(realMs() - began, 19);
    }).join();
    EXPECT_EQ(poll(nullptr, 0, 1), 0);
    EXPECT_THAT(host.eventsOf<Waited>(), SizeIs(0));
}

// --- virtual waits of several threads ---

TEST_F(DeviceTest, VirtualWaitsOfSeveralThreadsOverlap) {
    constexpr unsigned kThreads = 8;
    const milliseconds began = testsupport::ahead();
    inThreads(kThreads, [] {
        IpmiClient client;
        EXPECT_EQ(client.wait(5000), 0);
    });
    EXPECT_LE(testsupport::ahead() - began, milliseconds(5000));
    EXPECT_THAT(host.eventsOf<Waited>(), SizeIs(kThreads));
}

TEST_F(DeviceTest, VirtualWaitsOfSeveralThreadsEndInTheOrderOfTheirEnds) {
    constexpr unsigned kLongOnes = 4;
    std::atomic<unsigned> begun{0};
    std::atomic<bool> aLongOneIsOver{false};
    std::thread longOnes([&] {
        inThreads(kLongOnes, [&] {
            IpmiClient client;
            ++begun;
            EXPECT_EQ(client.wait(3600 * 1000), 0);
            aLongOneIsOver = true;
        });
    });
    std::thread shortOne([&] {
        IpmiClient client;
        ++begun;
        for (int i = 0; i < 5; ++i) EXPECT_EQ(client.wait(1000), 0);
        EXPECT_FALSE(aLongOneIsOver);
    });
    while (begun <= kLongOnes) std::this_thread::yield();
    // This thread does something for a while before it rests: no wait ends for that, they all look for their ends.
    const long began = realMs();
    while (realMs() - began < 20) std::this_thread::yield();
    shortOne.join();
    longOnes.join();
}

TEST_F(DeviceTest, AVirtualWaitUnderALockBeginsWhenItsThreadHasTheLock) {
    constexpr unsigned kThreads = 4;
    const milliseconds began = emulatedTime();
    std::mutex mutex;
    inThreads(kThreads, [&mutex] {
        IpmiClient client;
        const std::lock_guard<std::mutex> lock(mutex);
        EXPECT_EQ(client.wait(5000), 0);
    });
    EXPECT_GE(emulatedTime() - began, kThreads * milliseconds(5000));
}

TEST_F(DeviceTest, AVirtualWaitBesideAThreadThatNeverRestsTakesItsTime) {
    std::atomic<bool> done{false};
    std::thread restless([&done] {
        while (!done) {
        }
    });
    IpmiClient client;
    const long began = realMs();
    EXPECT_EQ(client.wait(50), 0);
    EXPECT_GE(realMs() - began, 49);
    done = true;
    restless.join();
}

TEST_F(DeviceTest, ClosingTheDeviceEndsItsTransfers) {
    {
        IpmiClient client;
        client.exchange(datastore::open("smbios-table"));
        EXPECT_EQ(host.bmc().openFiles(), 1U);
    }
    EXPECT_EQ(host.bmc().openFiles(), 0U);
}

TEST_F(DeviceTest, ExchangesOfSeveralThreadsThatOverlapAreCounted) {
    IpmiClient client;
    ASSERT_EQ(client.send(query()), 0);
    std::thread([&client] { EXPECT_EQ(client.send(query()), 0); }).join();
    EXPECT_EQ(host.interleavedExchanges(), 1U);
}

TEST_F(DeviceTest, ManyThreadsUseTheDeviceAtOnce) {
    inThreads(4, [] {
        for (int i = 0; i < 50; ++i) {
            IpmiClient client;
            EXPECT_EQ(client.exchange(query()), size4());
        }
    });
    EXPECT_THAT(host.eventsOf<Received>(), SizeIs(200));
    EXPECT_EQ(host.openFiles(), 0U);
}

TEST_F(DeviceTest, EveryExchangeHasItsLineInATrace) {
    std::vector<std::string> lines;
    host.onEvent([&lines](const emulator::Event& event) { lines.push_back(emulator::describe(event)); });
    onQuerySize([](Fault& fault) {
        fault.receiveFailures = 2;
        fault.length = 10;
        fault.receiveType = 3;
    });
    {
        IpmiClient client;
        client.send(datastore::close(1));
        client.wait();
        client.receive(IPMICTL_RECEIVE_MSG_TRUNC, 3);
        client.send(datastore::request({0xD9, 0x7E, 0x00, 0x06, 'x'}));
        for (int i = 0; i < 3; ++i) client.receive();
    }
    host.removeDevice(true);
    EXPECT_FALSE(IpmiClient().isOpen());
    EXPECT_THAT(lines, ElementsAre("open /dev/ipmi0 0x2", "ipmi > 2E 90 D9 7E 00 05 01 00 00 00", "poll 5000 ms -> 1",
                                   "ipmi < 2F 90 0A D9 7E 00 (room for 3)", "ipmi < failed EMSGSIZE",
                                   "ipmi > 2E 90 D9 7E 00 06 78", "ipmi < failed EAGAIN",
                                   "ipmi < 2F 90 0C D9 7E 00 00 00 00 00 00 00 (message type 3)", "close device",
                                   "open /dev/ipmi0 0x2 -> failed"));
    EXPECT_EQ(emulator::describe(host.eventsOf<ReceiveFailed>().at(1)), "ipmi < failed EAGAIN (2 times)");
}

}  // namespace
