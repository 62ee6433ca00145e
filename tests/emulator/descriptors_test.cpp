// What programs do with the device's descriptor beside what the driver's own calls are for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "emulator/emulatedhost.h"
#include "tests/emulator/datastore.h"
#include "tests/emulator/ipmiclient.h"
#include "tests/support/casename.h"
#include "tests/support/hostbuilder.h"

namespace {

using emulator::DeviceClosed;
using emulator::Waited;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kFreeNumber = 700;
constexpr timespec kNoTime = {0, 0};

class Pipe {
 public:
    Pipe() { EXPECT_EQ(pipe(ends_.data()), 0); }
    ~Pipe() {
        for (const int end : ends_) close(end);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int descriptor() const { return ends_[0]; }
    void fill() const { EXPECT_EQ(write(ends_[1], "x", 1), 1); }

 private:
    std::array<int, 2> ends_{};
};

class DescriptorTest : public testing::Test {
 protected:
    testsupport::HostBuilder directory;
    emulator::EmulatedHost host{directory.directory()};
    IpmiClient client;
    Pipe other;
};

// --- what is not emulated ---

struct Way {
    const char* what;
    const char* named;
    int (*use)(int descriptor);  // -1 for an error
};

int pollTwo(int descriptor) {
    std::array<pollfd, 2> items = {pollfd{-1, POLLIN, 0}, pollfd{descriptor, POLLIN, 0}};
    return poll(items.data(), items.size(), 0);
}

int ppollOne(int descriptor) {
    pollfd item{descriptor, POLLIN, 0};
    return ppoll(&item, 1, &kNoTime, nullptr);
}

int selectOne(int descriptor) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(descriptor, &set);
    timeval time = {0, 0};
    return select(descriptor + 1, nullptr, &set, nullptr, &time);
}

int pselectOne(int descriptor) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(descriptor, &set);
    return pselect(descriptor + 1, &set, nullptr, nullptr, &kNoTime, nullptr);
}

int addToEpoll(int descriptor) {
    const int set = epoll_create1(0);
    epoll_event event{};
    event.events = EPOLLIN;
    const int result = epoll_ctl(set, EPOLL_CTL_ADD, descriptor, &event);
    const int error = errno;
    close(set);
    errno = error;
    return result;
}

/** What a descriptor that was duplicated comes to, closed again. */
int closed(int copy) {
    return copy < 0 ? copy : close(copy);
}

const Way kWays[] = {
    {"Poll", "poll of several descriptors", pollTwo},
    {"Ppoll", "ppoll", ppollOne},
    {"Select", "select", selectOne},
    {"Pselect", "pselect", pselectOne},
    {"Epoll", "epoll", addToEpoll},
    {"Signals", "O_ASYNC", [](int descriptor) { return fcntl(descriptor, F_SETFL, O_ASYNC); }},
    {"Dup", "dup", [](int descriptor) { return closed(dup(descriptor)); }},
    {"Dup2", "dup2", [](int descriptor) { return closed(dup2(descriptor, kFreeNumber)); }},
    {"Dup3", "dup3", [](int descriptor) { return closed(dup3(descriptor, kFreeNumber, O_CLOEXEC)); }},
    {"Fcntl", "F_DUPFD", [](int descriptor) { return closed(fcntl(descriptor, F_DUPFD, kFreeNumber)); }},
    {"FcntlCloexec", "F_DUPFD", [](int descriptor) { return closed(fcntl(descriptor, F_DUPFD_CLOEXEC, kFreeNumber)); }},
};

class RefusedWayTest : public DescriptorTest, public testing::WithParamInterface<Way> {};

TEST_P(RefusedWayTest, FailsLoudlyForTheDeviceAlone) {
    testing::internal::CaptureStderr();
    errno = 0;
    EXPECT_EQ(GetParam().use(client.descriptor()), -1);
    EXPECT_EQ(errno, ENOTSUP);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "emulated host: " + std::string(GetParam().named) + " is not emulated for the IPMI device\n");
    EXPECT_EQ(client.exchange(datastore::querySize("file")).size(), 4U);
    EXPECT_GE(GetParam().use(other.descriptor()), 0);
    EXPECT_EQ(host.openFiles(), 1U);
}

INSTANTIATE_TEST_SUITE_P(All, RefusedWayTest, testing::ValuesIn(kWays), testsupport::CaseName());

// --- what is ---

TEST_F(DescriptorTest, WithoutADeviceAPollOfSeveralIsTheMachines) {
    std::array<pollfd, 2> items = {pollfd{other.descriptor(), POLLIN, 0}, pollfd{client.descriptor(), POLLIN, 0}};
    client.close();
    other.fill();
    EXPECT_EQ(poll(items.data(), items.size(), 5000), 2);
    EXPECT_EQ(items[1].revents, POLLNVAL);
    EXPECT_THAT(host.eventsOf<Waited>(), IsEmpty());
}

TEST_F(DescriptorTest, Dup2AndDup3EndWhatTheyReplace) {
    IpmiClient second;
    EXPECT_EQ(dup2(other.descriptor(), client.descriptor()), client.descriptor());
    EXPECT_THAT(host.eventsOf<DeviceClosed>(), SizeIs(1));
    EXPECT_EQ(dup3(other.descriptor(), second.descriptor(), 0), second.descriptor());
    EXPECT_THAT(host.eventsOf<DeviceClosed>(), SizeIs(2));
    EXPECT_EQ(host.openFiles(), 0U);
    pollfd item{client.descriptor(), POLLIN, 0};
    other.fill();
    EXPECT_EQ(poll(&item, 1, 0), 1);  // the pipe
    EXPECT_EQ(dup2(-1, second.descriptor()), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(DescriptorTest, TheDeviceIsNeitherReadNorWritten) {
    char byte = 0;
    EXPECT_EQ(read(client.descriptor(), &byte, 1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(write(client.descriptor(), &byte, 1), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(DescriptorTest, DescriptorFlagsAreKept) {
    EXPECT_EQ(fcntl(client.descriptor(), F_SETFD, FD_CLOEXEC), 0);
    EXPECT_EQ(fcntl(client.descriptor(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(client.descriptor(), F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(fcntl(client.descriptor(), F_GETFL) & (O_NONBLOCK | O_ACCMODE), O_NONBLOCK | O_RDWR);
}

}  // namespace
