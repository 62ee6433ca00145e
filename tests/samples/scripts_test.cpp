// The project's scripts: catalogues, captured hosts, help, steps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/samples/reference.h"
#include "tests/samples/sample.h"
#include "tests/support/hostbuilder.h"

using reference::readFile;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string kMakeCatalogue = PCIINFO_SCRIPTS "/make-catalogue";
const std::string kCaptureHost = PCIINFO_SCRIPTS "/capture-host";
const std::string kPackagingCommon = PCIINFO_SCRIPTS "/../tests/packaging/common.sh";

std::string text(const testsupport::Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

class MakeCatalogue : public ::testing::Test {
 protected:
    reference::Ran make(const std::string& list) const {
        std::ofstream(directory_.path() / "list", std::ios::binary) << list;
        return reference::run({kMakeCatalogue, "--ids", (directory_.path() / "list").string(), made().string()});
    }
    std::filesystem::path made() const { return directory_.path() / "made"; }

 private:
    testsupport::TemporaryDirectory directory_;
};

const std::string kList =
    "# a comment\n"
    "1014  AT&T <labs>\n"
    "\t8139  First\n"
    "\t\t1014 0001  A subsystem\n"
    "10ec  Second vendor\n"
    "\t8139  Second\n"
    "C 06  Bridge\n"
    "\t09  Semi-transparent bridge\n"
    "\t\t80  A programming interface\n"
    "\t80  Bridge\n";

/** A tree of its own with the scripts' common part, and a script that uses it. */
class Steps : public ::testing::Test {
 protected:
    Steps() {
        std::filesystem::create_directory(directory_.path() / "scripts");
        std::filesystem::copy(PCIINFO_SCRIPTS "/common.sh", directory_.path() / "scripts");
    }
    /** The script's name. */
    std::string scriptThat(const std::string& commands) const {
        const std::string file = (directory_.path() / "scripts/script").string();
        std::ofstream(file)
            << "#!/bin/bash\n# What this script is for.\nsource \"$(dirname \"${BASH_SOURCE[0]}\")/common.sh\"\n"
            << commands;
        return file;
    }
    reference::Ran runCommands(const std::string& commands) const {
        return reference::run({"bash", scriptThat(commands)});
    }

 private:
    testsupport::TemporaryDirectory directory_;
};

/** What the tests of the packages make of a command that fails. */
reference::Ran logged(const std::string& command) {
    const testsupport::TemporaryDirectory directory;
    return reference::run({"bash", "-c", "source " + kPackagingCommon + "; time_limit=1; logged \"$1\" " + command, "-",
                           (directory.path() / "log").string()});
}

/** A machine whose SMBIOS table is exported by the kernel, as the tree that capture-host reads. */
class CaptureHost : public ::testing::Test {
 protected:
    CaptureHost() {
        root_.addFunction({});
        table_.addStructure(1, systemInformation(), {"Maker", "Model", "SERIAL-77"});
        table_.addSlot({});
        table_.addStructure(0x80, {1, 2, 3, 4}, {"service tag SERIAL-77"});
    }

    void exportTable(const std::string& entryPoint) {
        root_.setFile("sys/firmware/dmi/tables/smbios_entry_point", entryPoint);
        root_.setFile("sys/firmware/dmi/tables/DMI", structures());
    }
    reference::Ran capture() const {
        return reference::run({kCaptureHost, "--root", root_.directory(), captured().string()});
    }
    std::filesystem::path captured() const { return directory_.path() / "captured"; }
    std::string capturedTable() const { return readFile(captured() / "bmc/smbios-table"); }

    std::string entryPoint() const { return text(table_.bytes()).substr(0, kEntryPoint); }
    std::string structures() const { return text(table_.bytes()).substr(kEntryPoint); }

    static constexpr std::size_t kEntryPoint = testsupport::SmbiosBuilder::kEntryPointLength;
    testsupport::HostBuilder root_;
    testsupport::SmbiosBuilder table_;

 private:
    /** After the header: strings 1, 2 and 0, serial number in string 3, then 16 bytes of UUID and 3 more. */
    static testsupport::Bytes systemInformation() {
        testsupport::Bytes formatted{1, 2, 0, 3};
        formatted.insert(formatted.end(), 16, 0xAB);
        formatted.insert(formatted.end(), {6, 0, 0});
        return formatted;
    }

    testsupport::TemporaryDirectory directory_;
};

/** The entry point of a table that has the 64-bit form alone, version 3.2. */
std::string entryPointOf64Bits() {
    std::string entry("_SM3_\0\x18\x03\x02", 9);
    entry.resize(24);
    return entry;
}

}  // namespace

TEST_F(MakeCatalogue, KeepsTheOrderOfTheListAndEscapesNames) {
    ASSERT_EQ(make(kList).exitStatus, 0);
    EXPECT_EQ(readFile(made() / "pci.xml"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<pci>\n"
              "<vendor id=\"1014\"><name>AT&amp;T &lt;labs&gt;</name>\n"
              "  <device id=\"8139\"><name>First</name></device>\n"
              "</vendor>\n"
              "<vendor id=\"10ec\"><name>Second vendor</name>\n"
              "  <device id=\"8139\"><name>Second</name></device>\n"
              "</vendor>\n"
              "</pci>\n");
}

TEST_F(MakeCatalogue, LeavesProgrammingInterfacesOutOfTheClassList) {
    ASSERT_EQ(make(kList).exitStatus, 0);
    EXPECT_EQ(readFile(made() / "pci.classlist"), "C 06  Bridge\n\t09  Semi-transparent bridge\n\t80  Bridge\n");
}

TEST_F(MakeCatalogue, RefusesAFileThatIsNoPciIdList) {
    const reference::Ran ran = make("root:x:0:0::/:/bin/sh\n");
    EXPECT_EQ(ran.exitStatus, 1);
    EXPECT_THAT(ran.output, HasSubstr("no PCI ID list"));
    EXPECT_FALSE(std::filesystem::exists(made()));
}

TEST_F(CaptureHost, TakesTheListAndTheFirst64BytesOfEveryConfigurationSpace) {
    testsupport::PciFunction second;
    second.bus = 0x1A;
    second.dev = 3;
    second.func = 1;
    second.configLength = 256;
    root_.addFunction(second);
    ASSERT_EQ(capture().exitStatus, 0);
    EXPECT_EQ(readFile(captured() / "proc/bus/pci/devices"), readFile(root_.path("proc/bus/pci/devices")));
    EXPECT_EQ(readFile(captured() / "proc/bus/pci/1a/03.1"), text(testsupport::configSpace(second)).substr(0, 64));
    EXPECT_EQ(readFile(captured() / "proc/bus/pci/00/00.0"), text(testsupport::configSpace({})));
}

TEST_F(CaptureHost, TakesTheCatalogues) {
    root_.setCatalogue("<name>catalogue</name>").setClassList("C 01  classes\n");
    ASSERT_EQ(capture().exitStatus, 0);
    EXPECT_EQ(readFile(captured() / "etc/vmware/pci.xml"), "<name>catalogue</name>");
    EXPECT_EQ(readFile(captured() / "etc/vmware/pci.classlist"), "C 01  classes\n");
}

TEST_F(CaptureHost, PutsTheMachinesOwnEntryPointInFrontOfTheTable) {
    exportTable(entryPoint());
    ASSERT_EQ(capture().exitStatus, 0);
    EXPECT_EQ(capturedTable().substr(0, kEntryPoint), entryPoint());
}

TEST_F(CaptureHost, BlanksWhatIdentifiesTheMachineAtEqualLength) {
    exportTable(entryPoint());
    ASSERT_EQ(capture().exitStatus, 0);
    std::string expected = structures();
    const auto replace = [&expected](const std::string& what, const std::string& by) {
        ASSERT_NE(expected.find(what), std::string::npos);
        expected.replace(expected.find(what), what.size(), by);
    };
    replace(std::string(16, '\xAB'), std::string(16, '\0'));
    replace("SERIAL-77", "XXXXXXXXX");
    replace("\1\2\3\4service tag SERIAL-77", std::string(4, '\0') + std::string(21, 'X'));
    EXPECT_EQ(capturedTable().substr(kEntryPoint), expected);
}

TEST_F(CaptureHost, BuildsAnEntryPointWithTheNumberOfStructuresForATableOf64Bits) {
    exportTable(entryPointOf64Bits());
    ASSERT_EQ(capture().exitStatus, 0);
    const std::vector<reference::Slot> slots = reference::dmidecodeSlots((captured() / "bmc/smbios-table").string());
    ASSERT_EQ(slots.size(), 1U);
    EXPECT_EQ(slots[0].designation, "PCI1");
    EXPECT_EQ(capturedTable().substr(6, 2), "\x03\x02");
    EXPECT_EQ(capturedTable().substr(testsupport::SmbiosBuilder::kCountOffset, 2), std::string("\4\0", 2));
}

TEST_F(CaptureHost, TheProviderReadsTheSameSlotsFromACapturedHost) {
    exportTable(entryPointOf64Bits());
    root_.setSmbiosTable(table_.bytes()).setHostName("captured");
    ASSERT_EQ(capture().exitStatus, 0);
    const std::vector<broker::Instance> fromOriginal = samples::instances(root_.directory(), "QELTA_SystemSlot");
    EXPECT_EQ(fromOriginal.size(), 1U);
    EXPECT_EQ(samples::instances(captured().string(), "QELTA_SystemSlot"), fromOriginal);
}

TEST_F(CaptureHost, SaysWhatTheMachineDoesNotHaveAndThatItIsNoSampleThen) {
    const reference::Ran ran = capture();
    EXPECT_EQ(ran.exitStatus, 0);
    EXPECT_THAT(ran.output, HasSubstr("SMBIOS table: none"));
    EXPECT_THAT(ran.output, HasSubstr("cannot become a sample machine"));
    EXPECT_FALSE(std::filesystem::exists(captured() / "bmc"));
}

TEST_F(CaptureHost, RefusesAMachineWithoutAListOfFunctionsAndMakesNothing) {
    const reference::Ran ran = reference::run({kCaptureHost, "--root", "/nonexistent", captured().string()});
    EXPECT_EQ(ran.exitStatus, 1);
    EXPECT_THAT(ran.output, HasSubstr("/nonexistent/proc/bus/pci/devices: No such file or directory"));
    EXPECT_FALSE(std::filesystem::exists(captured()));
}

TEST_F(CaptureHost, SaysNothingLikeThatOfACompleteOne) {
    exportTable(entryPoint());
    const reference::Ran ran = capture();
    EXPECT_THAT(ran.output, Not(HasSubstr("sample machine")));
    EXPECT_THAT(ran.output, HasSubstr("Try next: cimhost tree --host " + captured().string()));
}

TEST_F(CaptureHost, NeverTouchesADirectoryThatExists) {
    std::filesystem::create_directory(captured());
    EXPECT_EQ(capture().exitStatus, 1);
    EXPECT_TRUE(std::filesystem::is_empty(captured()));
}

TEST(Scripts, EveryOneExplainsItself) {
    std::vector<std::string> scripts{PCIINFO_SCRIPTS "/../.ci/run"};
    for (const auto& entry : std::filesystem::directory_iterator(PCIINFO_SCRIPTS))
        if ((entry.status().permissions() & std::filesystem::perms::owner_exec) != std::filesystem::perms::none)
            scripts.push_back(entry.path().string());
    EXPECT_GE(scripts.size(), 7U);
    for (const std::string& script : scripts) {
        const reference::Ran ran = reference::run({script, "--help"});
        EXPECT_EQ(ran.exitStatus, 0) << script;
        EXPECT_THAT(ran.output, StartsWith("usage: ")) << script;
        EXPECT_THAT(ran.output, ContainsRegex("\n\n[A-Z].*[a-z]\\.\n")) << script;
    }
}

TEST(Scripts, RefuseWhatTheyDoNotKnow) {
    for (const char* script : {"/demo", "/demo-fleet", "/setup", "/test", "/test-vm", "/../.ci/run"}) {
        const reference::Ran ran = reference::run({std::string(PCIINFO_SCRIPTS) + script, "--fast"});
        EXPECT_EQ(ran.exitStatus, 2) << script;
        EXPECT_THAT(ran.output, HasSubstr("--help")) << script;
    }
}

TEST_F(Steps, HelpIsTheCommentAtTheHeadAlone) {
    const std::string script = scriptThat("help_only \"$@\"\necho done\n");
    std::string text = readFile(script);
    text.insert(text.find("source"), "\n# Why the next line is there.\n");
    std::ofstream(script) << text;
    EXPECT_EQ(reference::run({"bash", script, "--help"}).output, "usage: " + script + "\n\nWhat this script is for.\n");
    EXPECT_EQ(reference::run({"bash", script}).output, "done\n");
}

TEST_F(Steps, APipeGetsPlainLinesWithCountLogAndTime) {
    const reference::Ran ran =
        runCommands("steps=2; report_seconds=1\nstep 'Slow one' bash -c 'echo half; sleep 2.5'\nstep Other true\n");
    EXPECT_EQ(ran.exitStatus, 0);
    EXPECT_THAT(ran.output, ContainsRegex("^\\[1/2\\] Slow one \\(log: build/Slow-one.log\\)\n"
                                          "\\[1/2\\] Slow one goes on, [0-9]:[0-9][0-9]: half\n"));
    EXPECT_THAT(ran.output, HasSubstr("\n[2/2] Other (log: build/Other.log)\n[2/2] Other: done ("));
    EXPECT_THAT(ran.output, ContainsRegex("Slow one: done \\([0-9]+ s; so far [0-9]:[0-9][0-9]\\)"));
    EXPECT_THAT(ran.output, Not(HasSubstr("\r")));
}

TEST_F(Steps, ATerminalGetsALineThatChanges) {
    const std::string script = scriptThat("step Slow bash -c 'printf \"half\\033[31m\\n\"; sleep 3'\n");
    const reference::Ran ran = reference::run({"script", "-qec", "bash " + script, "/dev/null"});
    EXPECT_EQ(ran.exitStatus, 0);
    // What the command writes is shown without its escape character.
    EXPECT_THAT(ran.output, ContainsRegex("\r\033\\[K\\[1\\] Slow, [0-9]:[0-9][0-9]: half\\[31m\r\033\\[K"));
    EXPECT_THAT(ran.output, HasSubstr("[1] Slow: done ("));
}

TEST_F(Steps, AFailureShowsWhatTheCommandWroteAndEndsTheScript) {
    const reference::Ran ran = runCommands("step Bad bash -c 'echo oops; exit 3'\necho never\n");
    EXPECT_EQ(ran.exitStatus, 3);
    EXPECT_THAT(ran.output, HasSubstr("oops\nFAILED: Bad (status 3, "));
    EXPECT_THAT(ran.output, Not(HasSubstr("never")));
}

TEST(PackagingTests, NameTheCommandThatFailedAndItsOwnReason) {
    const reference::Ran ran = logged("limited bash -c 'echo tool: error: Unmet build dependencies; echo bye; exit 3'");
    EXPECT_EQ(ran.exitStatus, 1);
    EXPECT_THAT(ran.output, HasSubstr("FAILED: bash ended with status 3: tool: error: Unmet build dependencies, see "));
}

TEST(PackagingTests, NameTheLimitOnlyWhereItWasMet) {
    const reference::Ran ran = logged("limited sleep 5");
    EXPECT_EQ(ran.exitStatus, 1);
    EXPECT_THAT(ran.output, HasSubstr("FAILED: sleep was ended after 1 s"));
}
