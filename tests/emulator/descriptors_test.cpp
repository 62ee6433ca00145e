#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

#include "emulator/emulatedhost.h"
#include "tests/emulator/datastore.h"
#include "tests/emulator/ipmiclient.h"
#include "tests/support/hostbuilder.h"

/** What programs do with the device's descriptor beside what the driver's own calls are for. */
namespace {

using emulator::DeviceClosed;
using emulator::Fault;
using emulator::Occasion;
using emulator::Waited;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

milliseconds emulatedTime() {
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now().time_since_epoch());
}

class Pipe {
 public:
    Pipe() { EXPECT_EQ(pipe(ends_.data()), 0); }
    ~Pipe() {
        for (const int end : ends_) close(end);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int descriptor() const { return ends_[0]; }
    int writeEnd() const { return ends_[1]; }
    void fill() const { EXPECT_EQ(write(ends_[1], "x", 1), 1); }

 private:
    std::array<int, 2> ends_{};
};

/** Runs something while the test waits. */
class Meanwhile {
 public:
    explicit Meanwhile(const std::function<void()>& work)
        : thread_([work] {
              std::this_thread::sleep_for(milliseconds(30));
              work();
          }) {}
    ~Meanwhile() { thread_.join(); }
    Meanwhile(const Meanwhile&) = delete;
    Meanwhile& operator=(const Meanwhile&) = delete;

 private:
    std::thread thread_;
};

class DescriptorTest : public testing::Test {
 protected:
    DescriptorTest() { host.bmc().putFile("file", {1, 2, 3}); }

    static emulator::Request query() { return datastore::querySize("file"); }
    void delayAnswers(unsigned delayMs) {
        Fault fault;
        fault.on = Occasion::querySize;
        fault.times = 0;
        fault.delayMs = delayMs;
        host.bmc().addFault(fault);
    }
    std::array<pollfd, 2> both() const {
        return {pollfd{other.descriptor(), POLLIN, 0}, pollfd{client.descriptor(), POLLIN, 0}};
    }
    /** The device's wait for an answer goes through to its end as usual. */
    void expectAnswer(int descriptor) {
        std::array<unsigned char, 40> address{};
        std::array<unsigned char, 64> data{};
        ipmi_recv record{};
        record.addr = address.data();
        record.addr_len = address.size();
        record.msg.data = data.data();
        record.msg.data_len = data.size();
        EXPECT_EQ(ioctl(descriptor, IPMICTL_RECEIVE_MSG_TRUNC, &record), 0);
        EXPECT_EQ(data[4], 3);
    }

    testsupport::HostBuilder directory;
    emulator::EmulatedHost host{directory.directory()};
    IpmiClient client;
    Pipe other;
};

// --- several descriptors at a time ---

TEST_F(DescriptorTest, PollOfSeveralFindsTheDeviceAndTheOthers) {
    auto items = both();
    EXPECT_EQ(poll(items.data(), items.size(), 0), 0);
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(poll(items.data(), items.size(), 5000), 1);
    EXPECT_EQ(items[0].revents, 0);
    EXPECT_EQ(items[1].revents, POLLIN);
    other.fill();
    EXPECT_EQ(poll(items.data(), items.size(), 5000), 2);
    EXPECT_EQ(items[0].revents, POLLIN);
    expectAnswer(client.descriptor());
    EXPECT_EQ(poll(items.data(), items.size(), 5000), 1);
    EXPECT_EQ(items[1].revents, 0);
    std::vector<int> ready;
    for (const Waited& waited : host.eventsOf<Waited>()) ready.push_back(waited.ready);
    EXPECT_THAT(ready, ElementsAre(0, 1, 1, 0));
}

TEST_F(DescriptorTest, PollOfSeveralTakesEmulatedTimeOnly) {
    delayAnswers(3000);
    const milliseconds begin = emulatedTime();
    ASSERT_EQ(client.send(query()), 0);
    auto items = both();
    EXPECT_EQ(poll(items.data(), items.size(), 1000), 0);
    EXPECT_EQ(poll(items.data(), items.size(), 5000), 1);
    EXPECT_EQ(items[1].revents, POLLIN);
    EXPECT_GE(emulatedTime() - begin, milliseconds(3000));
    EXPECT_LT(emulatedTime() - begin, milliseconds(5000));
    EXPECT_EQ(host.eventsOf<Waited>()[0].timeoutMs, 1000);
}

TEST_F(DescriptorTest, PollOfSeveralEndsSoonAfterABusyThreadsInput) {
    auto items = both();
    const milliseconds begin = emulatedTime();
    std::thread busy([this] {
        const auto start = std::chrono::system_clock::now();
        while (std::chrono::system_clock::now() - start < milliseconds(30)) continue;
        other.fill();
    });
    EXPECT_EQ(poll(items.data(), items.size(), 60000), 1);
    EXPECT_EQ(items[0].revents, POLLIN);
    EXPECT_LT(emulatedTime() - begin, milliseconds(30000));
    busy.join();
}

TEST_F(DescriptorTest, PollOfSeveralWithoutEndWaitsForTheOthers) {
    auto items = both();
    const Meanwhile writer([this] { other.fill(); });
    EXPECT_EQ(poll(items.data(), items.size(), -1), 1);
    EXPECT_EQ(items[0].revents, POLLIN);
    EXPECT_EQ(host.eventsOf<Waited>()[0].timeoutMs, -1);
}

TEST_F(DescriptorTest, PollOfSeveralWithoutEndForNothingIsAnError) {
    IpmiClient second;
    std::array<pollfd, 3> items = {pollfd{client.descriptor(), POLLIN, 0}, pollfd{second.descriptor(), POLLIN, 0},
                                   pollfd{-1, POLLIN, 0}};
    errno = 0;
    EXPECT_EQ(poll(items.data(), items.size(), -1), -1);
    EXPECT_EQ(errno, EINTR);
}

TEST_F(DescriptorTest, RealWaitsForSeveralEndWithWhatComes) {
    host.setRealWaits(true);
    auto items = both();
    const milliseconds begin = emulatedTime();
    EXPECT_EQ(poll(items.data(), items.size(), 25), 0);
    EXPECT_GE(emulatedTime() - begin, milliseconds(25));
    {
        const Meanwhile writer([this] { other.fill(); });
        EXPECT_EQ(poll(items.data(), items.size(), 60000), 1);
        EXPECT_EQ(items[0].revents, POLLIN);
    }
    items[0].fd = other.writeEnd();  // never readable
    {
        const Meanwhile sender([this] { EXPECT_EQ(client.send(query()), 0); });
        EXPECT_EQ(poll(items.data(), items.size(), 60000), 1);
        EXPECT_EQ(items[1].revents, POLLIN);
    }
    EXPECT_LT(emulatedTime() - begin, milliseconds(60000));
}

TEST_F(DescriptorTest, PollOfSeveralTellsThatTheDeviceIsGone) {
    host.removeDevice(true);
    auto items = both();
    EXPECT_EQ(poll(items.data(), items.size(), -1), 1);
    EXPECT_EQ(items[1].revents, POLLERR | POLLHUP);
}

TEST_F(DescriptorTest, PollOfSeveralMayFail) {
    Fault fault;
    fault.on = Occasion::querySize;
    fault.pollErrno = ENOMEM;
    host.bmc().addFault(fault);
    ASSERT_EQ(client.send(query()), 0);
    auto items = both();
    errno = 0;
    EXPECT_EQ(poll(items.data(), items.size(), 5000), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(host.eventsOf<Waited>()[0].ready, -1);
}

TEST_F(DescriptorTest, WithoutADeviceAPollOfSeveralIsTheMachines) {
    auto items = both();
    client.close();
    other.fill();
    EXPECT_EQ(poll(items.data(), items.size(), 5000), 2);
    EXPECT_EQ(items[1].revents, POLLNVAL);
    EXPECT_THAT(host.eventsOf<Waited>(), IsEmpty());
}

TEST_F(DescriptorTest, PpollIsPoll) {
    auto items = both();
    const timespec second = {1, 500'000};
    const milliseconds begin = emulatedTime();
    EXPECT_EQ(ppoll(items.data(), items.size(), &second, nullptr), 0);
    EXPECT_GE(emulatedTime() - begin, milliseconds(1000));
    EXPECT_EQ(host.eventsOf<Waited>()[0].timeoutMs, 1001);
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(ppoll(&items[1], 1, nullptr, nullptr), 1);
    EXPECT_EQ(items[1].revents, POLLIN);
    const timespec wrong = {0, 1'000'000'000};
    EXPECT_EQ(ppoll(items.data(), items.size(), &wrong, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    const timespec veryLong = {std::numeric_limits<time_t>::max(), 0};
    EXPECT_EQ(ppoll(items.data(), items.size(), &veryLong, nullptr), 1);
}

TEST_F(DescriptorTest, PpollLetsASignalThroughThatItsMaskAllows) {
    struct sigaction ignore {};
    struct sigaction before {};
    ignore.sa_handler = [](int) {};
    sigaction(SIGUSR1, &ignore, &before);
    sigset_t blocked;
    sigset_t unblocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &unblocked);
    raise(SIGUSR1);
    auto items = both();
    EXPECT_EQ(ppoll(items.data(), items.size(), nullptr, &unblocked), -1);
    EXPECT_EQ(errno, EINTR);
    pthread_sigmask(SIG_SETMASK, &unblocked, nullptr);
    sigaction(SIGUSR1, &before, nullptr);
}

// --- select ---

class SelectTest : public DescriptorTest {
 protected:
    SelectTest() { put(); }

    /** Both descriptors into the set for reading, the pipe's other end into the one for writing. */
    void put() {
        FD_ZERO(&reading);
        FD_ZERO(&writing);
        FD_SET(client.descriptor(), &reading);
        FD_SET(other.descriptor(), &reading);
    }
    int most() const { return std::max(client.descriptor(), other.writeEnd()) + 1; }

    fd_set reading{};
    fd_set writing{};
};

TEST_F(SelectTest, FindsTheDeviceAndTheOthers) {
    ASSERT_EQ(client.send(query()), 0);
    EXPECT_EQ(select(most(), &reading, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(FD_ISSET(client.descriptor(), &reading));
    EXPECT_FALSE(FD_ISSET(other.descriptor(), &reading));
    other.fill();
    put();
    FD_SET(other.writeEnd(), &writing);
    FD_SET(client.descriptor(), &writing);  // never: the driver has no such event
    EXPECT_EQ(select(most(), &reading, &writing, nullptr, nullptr), 3);
    EXPECT_TRUE(FD_ISSET(other.descriptor(), &reading));
    EXPECT_TRUE(FD_ISSET(other.writeEnd(), &writing));
    EXPECT_FALSE(FD_ISSET(client.descriptor(), &writing));
    expectAnswer(client.descriptor());
}

TEST_F(SelectTest, TellsTheTimeThatIsLeft) {
    delayAnswers(1200);
    ASSERT_EQ(client.send(query()), 0);
    timeval time = {60, 0};
    EXPECT_EQ(select(most(), &reading, nullptr, nullptr, &time), 1);
    EXPECT_LE(time.tv_sec, 58);
    EXPECT_GT(time.tv_sec, 0);
    expectAnswer(client.descriptor());
    put();
    time = {0, 2'500'000};
    EXPECT_EQ(select(most(), &reading, nullptr, nullptr, &time), 0);
    EXPECT_FALSE(FD_ISSET(client.descriptor(), &reading));
    EXPECT_EQ(time.tv_sec, 0);
    EXPECT_EQ(time.tv_usec, 0);
    EXPECT_EQ(host.eventsOf<Waited>().back().timeoutMs, 2500);
}

TEST_F(SelectTest, RefusesWhatTheKernelRefuses) {
    timeval time = {-1, 0};
    EXPECT_EQ(select(most(), &reading, nullptr, nullptr, &time), -1);
    EXPECT_EQ(errno, EINVAL);
    const Pipe closed;
    const int number = dup(closed.descriptor());
    FD_SET(number, &reading);
    close(number);
    time = {0, 0};
    EXPECT_EQ(select(number + 1, &reading, nullptr, nullptr, &time), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(SelectTest, PselectIsSelect) {
    const timespec second = {1, 0};
    EXPECT_EQ(pselect(most(), &reading, nullptr, nullptr, &second, nullptr), 0);
    EXPECT_FALSE(FD_ISSET(client.descriptor(), &reading));
    ASSERT_EQ(client.send(query()), 0);
    put();
    EXPECT_EQ(pselect(most(), &reading, nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(FD_ISSET(client.descriptor(), &reading));
    const timespec wrong = {0, -1};
    EXPECT_EQ(pselect(most(), &reading, nullptr, nullptr, &wrong, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(SelectTest, WithoutADeviceItIsTheMachines) {
    FD_CLR(client.descriptor(), &reading);
    other.fill();
    EXPECT_EQ(select(most(), &reading, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(pselect(most(), &reading, nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_THAT(host.eventsOf<Waited>(), IsEmpty());
}

// --- more than one descriptor for one opening ---

using Duplicate = int (*)(int);

class DuplicateTest : public DescriptorTest, public testing::WithParamInterface<Duplicate> {};

TEST_P(DuplicateTest, IsTheSameSessionUntilTheLastIsClosed) {
    const int copy = GetParam()(client.descriptor());
    ASSERT_GE(copy, 0);
    ASSERT_EQ(client.send(query()), 0);
    client.close();
    EXPECT_THAT(host.eventsOf<DeviceClosed>(), IsEmpty());
    pollfd item{copy, POLLIN, 0};
    EXPECT_EQ(poll(&item, 1, 5000), 1);
    expectAnswer(copy);
    EXPECT_EQ(close(copy), 0);
    EXPECT_THAT(host.eventsOf<DeviceClosed>(), SizeIs(1));
    EXPECT_EQ(host.openFiles(), 0U);
}

constexpr int kFreeNumber = 700;

INSTANTIATE_TEST_SUITE_P(All, DuplicateTest,
                         testing::Values(
                             +[](int device) { return dup(device); },
                             +[](int device) { return dup2(device, kFreeNumber); },
                             +[](int device) { return dup3(device, kFreeNumber, O_CLOEXEC); },
                             +[](int device) { return fcntl(device, F_DUPFD, kFreeNumber); },
                             +[](int device) { return fcntl(device, F_DUPFD_CLOEXEC, kFreeNumber); }));

TEST_F(DescriptorTest, Dup2EndsWhatItReplaces) {
    IpmiClient second;
    ASSERT_EQ(second.send(query()), 0);
    EXPECT_EQ(dup2(second.descriptor(), client.descriptor()), client.descriptor());
    EXPECT_THAT(host.eventsOf<DeviceClosed>(), SizeIs(1));
    expectAnswer(client.descriptor());
    EXPECT_EQ(dup2(other.descriptor(), client.descriptor()), client.descriptor());
    EXPECT_THAT(host.eventsOf<DeviceClosed>(), SizeIs(1));
    EXPECT_EQ(host.openFiles(), 1U);
    pollfd item{client.descriptor(), POLLIN, 0};
    other.fill();
    EXPECT_EQ(poll(&item, 1, 0), 1);  // the pipe
    EXPECT_EQ(second.send(query()), 0);
}

TEST_F(DescriptorTest, ADescriptorReplacedByItselfStays) {
    EXPECT_EQ(dup2(client.descriptor(), client.descriptor()), client.descriptor());
    EXPECT_EQ(dup3(client.descriptor(), client.descriptor(), 0), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(client.send(query()), 0);
    EXPECT_THAT(host.eventsOf<DeviceClosed>(), IsEmpty());
}

TEST_F(DescriptorTest, OtherDescriptorsAreDuplicatedAsEver) {
    const int copy = dup(other.descriptor());
    EXPECT_EQ(host.openFiles(), 1U);
    EXPECT_EQ(close(copy), 0);
    EXPECT_EQ(dup(-1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(dup2(-1, client.descriptor()), -1);
    EXPECT_EQ(client.send(query()), 0);
}

TEST_F(DescriptorTest, ARangeOfDescriptorsIsClosed) {
    const int first = fcntl(client.descriptor(), F_DUPFD, kFreeNumber);
    const int second = fcntl(client.descriptor(), F_DUPFD, kFreeNumber);
    EXPECT_EQ(close_range(static_cast<unsigned>(first), static_cast<unsigned>(first), 0), 0);
    EXPECT_EQ(host.openFiles(), 2U);
    constexpr int kCloseOnExec = 4;
    EXPECT_EQ(close_range(kFreeNumber, ~0U, kCloseOnExec), 0);
    EXPECT_EQ(host.openFiles(), 2U);
    closefrom(kFreeNumber);
    EXPECT_EQ(host.openFiles(), 1U);
    EXPECT_EQ(fcntl(second, F_GETFD), -1);
    client.close();
    EXPECT_THAT(host.eventsOf<DeviceClosed>(), SizeIs(1));
}

// --- what the driver does not have, and what is not emulated ---

TEST_F(DescriptorTest, TheDeviceIsNeitherReadNorWritten) {
    char byte = 0;
    EXPECT_EQ(read(client.descriptor(), &byte, 1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(write(client.descriptor(), &byte, 1), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(DescriptorTest, AStreamClosesTheDevice) {
    const int device = open("/dev/ipmi0", O_RDWR);
    FILE* stream = fdopen(device, "r");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::fgetc(stream), EOF);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(std::fclose(stream), 0);
    EXPECT_EQ(host.openFiles(), 1U);
    EXPECT_THAT(host.eventsOf<DeviceClosed>(), SizeIs(1));
}

TEST_F(DescriptorTest, DescriptorFlagsAreKept) {
    EXPECT_EQ(fcntl(client.descriptor(), F_SETFD, FD_CLOEXEC), 0);
    EXPECT_EQ(fcntl(client.descriptor(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(client.descriptor(), F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(fcntl(client.descriptor(), F_GETFL) & (O_NONBLOCK | O_ACCMODE), O_NONBLOCK | O_RDWR);
}

TEST_F(DescriptorTest, EpollIsRefusedLoudly) {
    const int set = epoll_create1(0);
    epoll_event event{};
    event.events = EPOLLIN;
    testing::internal::CaptureStderr();
    EXPECT_EQ(epoll_ctl(set, EPOLL_CTL_ADD, client.descriptor(), &event), -1);
    EXPECT_EQ(errno, ENOTSUP);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "emulated host: epoll is not emulated for the IPMI device\n");
    EXPECT_EQ(epoll_ctl(set, EPOLL_CTL_ADD, other.descriptor(), &event), 0);
    close(set);
}

TEST_F(DescriptorTest, SignalsForInputAreRefusedLoudly) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(fcntl(client.descriptor(), F_SETFL, O_ASYNC), -1);
    EXPECT_EQ(errno, ENOTSUP);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("O_ASYNC is not emulated"));
    EXPECT_EQ(fcntl(other.descriptor(), F_SETFL, O_ASYNC), 0);
}

}  // namespace
