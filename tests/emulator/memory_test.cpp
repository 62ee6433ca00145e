// Calls of the emulated host where there is no memory: they fail as calls do, and nothing is lost.

#include <cerrno>
#include <functional>

#include "emulator/emulatedhost.h"
#include "ipmiclient.h"
#include "tests/support/allocations.h"
#include "tests/support/hostbuilder.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

namespace {

using testsupport::Allocations;

class WithoutMemory : public testing::Test {
 protected:
    WithoutMemory() {
        files.setHostName("rack7");
        files.addFunction({});
        host.emplace(files.directory());
    }

    /** Lets the allocations of a call fail in turn until it works; it answers 0, or errno. */
    static void failInTurn(const std::function<int()>& call) {
        for (std::size_t number = 1;; ++number) {
            std::size_t failed = 0;
            int error = 0;
            {
                const Allocations allocations(number, Allocations::Failing::allFromThere);
                error = call();
                failed = allocations.failed();
            }
            if (failed == 0) {
                EXPECT_EQ(error, 0);
                return;
            }
            EXPECT_TRUE(error == 0 || error == ENOMEM) << error;
        }
    }

    testsupport::HostBuilder files;
    std::optional<emulator::EmulatedHost> host;
};

TEST_F(WithoutMemory, ExchangesFail) {
    failInTurn([] {
        IpmiClient client;
        if (!client.isOpen()) return client.openErrno();
        IpmiClient::Send request({6, 1, {}});
        if (const int error = client.send(request); error != 0) return error;
        if (client.wait() != 1) return client.pollErrno();
        return client.receive();
    });
    EXPECT_EQ(host->openFiles(), 0U);
}

TEST_F(WithoutMemory, FilesAreNotOpened) {
    failInTurn([] {
        struct stat status {};
        if (stat("/proc/bus/pci/devices", &status) != 0) return errno;
        FILE* file = std::fopen("/proc/bus/pci/devices", "r");
        if (file == nullptr) return errno;
        char line[100];
        const bool read = std::fgets(line, sizeof line, file) != nullptr;
        std::fclose(file);
        return read ? 0 : EIO;
    });
    EXPECT_EQ(host->openFiles(), 0U);
}

TEST_F(WithoutMemory, ShortageIsToldOfFilesAndDevices) {
    EXPECT_TRUE(emulator::isShortage(emulator::FileOpened{"f", "r", false, EMFILE}));
    EXPECT_TRUE(emulator::isShortage(emulator::DeviceOpened{"d", 0, false, ENFILE}));
    EXPECT_FALSE(emulator::isShortage(emulator::FileOpened{"f", "r", false, ENOENT}));
    EXPECT_FALSE(emulator::isShortage(emulator::DeviceClosed{}));
}

}  // namespace
