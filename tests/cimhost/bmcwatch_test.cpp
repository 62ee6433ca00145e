// What a terminal is told of a provider's dealings with the BMC.

#include "cimhost/bmcwatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "cimhost/session.h"
#include "tests/support/hostbuilder.h"
#include "tests/support/machine.h"

namespace {

using cimhost::BmcWatch;
using testing::AllOf;
using testing::HasSubstr;

emulator::DeviceOpened notOpened(const char* path, int error) {
    return {path, 2, false, error};
}

emulator::Sent request(std::uint8_t operation) {
    emulator::Sent sent;
    sent.request.netfn = 0x2e;
    sent.request.command = 0x90;
    sent.request.data = {0xd9, 0x7e, 0x00, operation};
    return sent;
}

emulator::Received response(std::uint8_t completionCode) {
    emulator::Received received;
    received.answer.data = {completionCode};
    return received;
}

TEST(BmcWatchTest, NoDeviceIsTold) {
    BmcWatch watch;
    watch.see(notOpened("/dev/ipmi0", ENOENT));
    watch.see(notOpened("/dev/ipmidev/0", ENOENT));
    watch.see(emulator::Waited{5000, 1, 0});
    EXPECT_THAT(watch.waitingFor(1), AllOf(HasSubstr("there is no /dev/ipmi0"), HasSubstr("5 s")));
    EXPECT_THAT(watch.failure().value(), HasSubstr("there is no /dev/ipmi0"));
}

TEST(BmcWatchTest, KnownReadingsAreAddedUp) {
    BmcWatch watch;
    watch.see(notOpened("/dev/ipmi0", ENOENT));
    EXPECT_THAT(watch.waitingFor(1), HasSubstr("up to 5 s for each reading of the SMBIOS table: there is no"));
    EXPECT_THAT(watch.waitingFor(1, 1), HasSubstr("up to 5 s for the SMBIOS table: there is no"));
    EXPECT_THAT(watch.waitingFor(1, 3), HasSubstr("up to 15 s for 3 readings of the SMBIOS table: there is no"));
}

TEST(BmcWatchTest, DeviceThatMayNotBeOpenedIsTold) {
    BmcWatch first;
    first.see(notOpened("/dev/ipmi0", EACCES));
    first.see(notOpened("/dev/ipmidev/0", ENOENT));
    EXPECT_THAT(first.failure().value(), HasSubstr("/dev/ipmi0 cannot be opened: Permission denied"));
    BmcWatch second;
    second.see(notOpened("/dev/ipmi0", ENOENT));
    second.see(notOpened("/dev/ipmidev/0", EACCES));
    EXPECT_THAT(second.failure().value(), HasSubstr("/dev/ipmidev/0 cannot be opened: Permission denied"));
}

TEST(BmcWatchTest, RefusalOfARequestByTheDriverIsTold) {
    BmcWatch watch;
    emulator::Sent sent = request(1);
    sent.error = EIO;
    watch.see(emulator::DeviceOpened{"/dev/ipmi0", 2, true});
    watch.see(sent);
    watch.see(emulator::Waited{5000, 1, 0});
    EXPECT_THAT(watch.failure().value(), HasSubstr("Input/output error"));
}

TEST(BmcWatchTest, SlowBmcIsMeasured) {
    BmcWatch watch;
    watch.see(emulator::DeviceOpened{"/dev/ipmi0", 2, true});
    watch.see(request(1));
    EXPECT_THAT(watch.waitingFor(1), HasSubstr("up to 5 s"));
    watch.see(response(0));
    watch.see(request(2));
    watch.see(response(0));
    EXPECT_THAT(watch.waitingFor(1), AllOf(HasSubstr("331 exchanges"), HasSubstr("about 166 s")));
    EXPECT_EQ(watch.failure(), std::nullopt);
    EXPECT_EQ(watch.exchanges(), 2U);
}

TEST(BmcWatchTest, RefusedPieceThatIsFollowedByOthersIsNoFailure) {
    BmcWatch watch;
    watch.see(request(2));
    watch.see(response(0xc7));
    EXPECT_THAT(watch.failure().value(), HasSubstr("C7h"));
    watch.see(request(2));
    watch.see(response(0));
    EXPECT_EQ(watch.failure(), std::nullopt);
    watch.see(request(2));
    watch.see(response(0xa0));
    EXPECT_EQ(watch.failure(), std::nullopt) << "the end of a short file";
}

/** A whole request on an emulated host, and what was told of it. */
class BmcWatchOnAHost : public testing::Test {
 protected:
    std::string failure() const {
        cimhost::Session session({CIMHOST_PROVIDER, host.directory()});
        session.ask(cimhost::enumerateInstances("QELTA_SystemSlot"));
        return session.bmc().failure().value_or("none");
    }

    testsupport::HostBuilder host;
};

TEST_F(BmcWatchOnAHost, MissingTableIsARefusal) {
    EXPECT_THAT(failure(), HasSubstr("the BMC refused the SMBIOS table, completion code "));
}

TEST_F(BmcWatchOnAHost, SilentBmcIsTold) {
    host.setSmbiosTable(testsupport::slotTable({1})).setFaults(R"({"faults": [{"times": 0, "timeout": true}]})");
    EXPECT_THAT(failure(), HasSubstr("the BMC is silent"));
}

TEST_F(BmcWatchOnAHost, MissingDeviceIsTold) {
    host.setFaults(R"({"faults": [{"on": "deviceOpen", "times": 0, "missing": true}]})");
    EXPECT_THAT(failure(), HasSubstr("there is no /dev/ipmi0"));
}

TEST_F(BmcWatchOnAHost, ResponsesThatCannotBeReceivedAreTold) {
    host.setSmbiosTable(testsupport::slotTable({1}));
    host.setFaults(R"({"faults": [{"times": 0, "receiveFailures": 100000, "receiveErrno": 5}]})");
    EXPECT_THAT(failure(), HasSubstr("handed no response over: Input/output error"));
}

TEST_F(BmcWatchOnAHost, ResponseThatIsReceivedAtTheSecondAttemptIsNoFailure) {
    host.setSmbiosTable(testsupport::slotTable({1}));
    host.setFaults(R"({"faults": [{"times": 0, "receiveFailures": 1}]})");
    EXPECT_EQ(failure(), "none");
}

}  // namespace
