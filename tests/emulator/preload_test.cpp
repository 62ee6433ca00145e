// Programs into which the emulated host is preloaded: one of our own and the machine's commands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/hostbuilder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/** What a command wrote to its standard output and error, and its exit status. */
struct Outcome {
    std::string output;
    int status = -1;
};

Outcome run(const std::string& command) {
    Outcome outcome;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return outcome;
    std::array<char, 512> piece{};
    while (std::fgets(piece.data(), piece.size(), pipe) != nullptr) outcome.output += piece.data();
    const int status = pclose(pipe);
    if (WIFEXITED(status)) outcome.status = WEXITSTATUS(status);
    return outcome;
}

class PreloadTest : public testing::Test {
 protected:
    PreloadTest() {
        host.setHostName("preloaded").setCatalogue("<xml/>\n").setBmcFile("file", {1, 2, 3});
        host.addRawDevicesLine("0000\t80861237");
    }

    /** A command, by default the foreign program, that has the library and the host; `settings` come last. */
    Outcome preloaded(const std::string& settings, const std::string& command = FOREIGN_PROGRAM) const {
        return run("LC_ALL=C EMULATED_HOST='" + host.directory() + "' LD_PRELOAD='" PRELOAD_LIBRARIES "' " + settings +
                   " " + command);
    }
    Outcome runOnHost(const std::string& command) const { return preloaded("", command); }

    testsupport::HostBuilder host;
};

TEST_F(PreloadTest, AForeignProcessSeesTheEmulatedHost) {
    const Outcome outcome = preloaded("");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output,
              "hostname: preloaded\n"
              "/proc/bus/pci/devices: 0000\t80861237\n\n"
              "/etc/vmware/pci.xml: <xml/>\n\n"
              "bmc: 0 1 0, 8 bytes, size 3\n");
}

TEST_F(PreloadTest, TheTraceHasEveryEventAsALine) {
    const std::string trace = host.path("trace").string();
    EXPECT_EQ(preloaded("EMULATED_HOST_TRACE='" + trace + "'").status, 0);
    std::ifstream in(trace);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    EXPECT_THAT(lines, ElementsAre("fopen /proc/bus/pci/devices r", "read /proc/bus/pci/devices 1024 -> 14",
                                   "fopen /etc/vmware/pci.xml r", "open /dev/ipmi0 0x2",
                                   "ipmi > 2E 90 D9 7E 00 06 66 69 6C 65", "poll 5000 ms -> 1",
                                   "ipmi < 2F 90 00 D9 7E 00 03 00 00 00", "close device", "syslog <3> the end of it"));
}

TEST_F(PreloadTest, AProcessThatLivesLongDoesNotGrow) {
    // AddressSanitizer's runtime, where it is loaded, holds on to memory that was freed.
    const Outcome outcome =
        preloaded("ASAN_OPTIONS=quarantine_size_mb=0:thread_local_quarantine_size_kb=0", FOREIGN_PROGRAM " 100000");
    ASSERT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_LT(std::stol(outcome.output), 4096) << "kB, for 400000 events";
}

TEST_F(PreloadTest, TheUsualCommandsFindTheEmulatedFiles) {
    testsupport::PciFunction function;
    function.bus = 3;
    function.dev = 0x1F;
    host.addFunction(function);
    EXPECT_EQ(runOnHost("ls /proc/bus/pci").output, "03\ndevices\n");
    EXPECT_THAT(runOnHost("ls -l /proc/bus/pci/03").output, HasSubstr(" 1f.0\n"));
    EXPECT_EQ(runOnHost("find /proc/bus/pci -type f | sort").output, "/proc/bus/pci/03/1f.0\n/proc/bus/pci/devices\n");
    EXPECT_EQ(runOnHost("cat /etc/vmware/pci.xml").output, "<xml/>\n");
    EXPECT_EQ(runOnHost("wc -c /proc/bus/pci/03/1f.0").output, "64 /proc/bus/pci/03/1f.0\n");
    EXPECT_EQ(runOnHost("sh -c 'cd /proc/bus/pci && echo * */*'").output, "03 devices 03/1f.0\n");
    EXPECT_EQ(runOnHost("/usr/bin/test -c /dev/ipmi0").status, 0);
    EXPECT_EQ(runOnHost("ls /proc/bus/pci/77").status, 2);
    EXPECT_EQ(runOnHost("ls /proc/self/status").output, "/proc/self/status\n");
}

TEST_F(PreloadTest, ACommandThatReadsTheDeviceFailsAsOnAnyMachine) {
    EXPECT_THAT(runOnHost("cat /dev/ipmi0").output, HasSubstr("Invalid argument"));
}

TEST_F(PreloadTest, EveryProcessHasABmcOfItsOwn) {
    host.setFaults(R"({"faults": [{"on": "querySize", "completionCode": 24, "data": [24, 0, 0, 0, 99]}]})");
    for (int i = 0; i < 2; ++i) EXPECT_THAT(preloaded("").output, HasSubstr("5 bytes, size 99"));
}

TEST_F(PreloadTest, WaitsAreRealWhereTheEnvironmentSaysSo) {
    constexpr std::chrono::milliseconds kDelay{1500};
    host.setFaults(R"({"faults": [{"on": "querySize", "delayMs": 1500}]})");
    const auto began = std::chrono::steady_clock::now();
    EXPECT_THAT(preloaded("EMULATED_HOST_WAITS=real").output, HasSubstr("bmc: 0 1 0, 8 bytes"));
    EXPECT_GE(std::chrono::steady_clock::now() - began, kDelay);
    EXPECT_THAT(preloaded("EMULATED_HOST_WAITS=virtual").output, HasSubstr("bmc: 0 1 0, 8 bytes"));
}

TEST_F(PreloadTest, WaitsThatAreNeitherRealNorVirtualEndTheProcess) {
    const Outcome outcome = preloaded("EMULATED_HOST_WAITS=short");
    EXPECT_EQ(outcome.status, 125);
    EXPECT_EQ(outcome.output, "emulated host: EMULATED_HOST_WAITS is 'real' or 'virtual', not 'short'\n");
}

TEST_F(PreloadTest, AHostDirectoryThatIsNotThereEndsTheProcess) {
    const Outcome outcome = preloaded("EMULATED_HOST='" + host.directory() + "/nothing'");
    EXPECT_EQ(outcome.status, 125);
    EXPECT_EQ(outcome.output, "emulated host: no host directory at '" + host.directory() + "/nothing'\n");
}

TEST_F(PreloadTest, WithoutAHostDirectoryNothingHappens) {
    const Outcome outcome = preloaded("EMULATED_HOST=");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("/etc/vmware/pci.xml: \n"));
}

}  // namespace
