// The built program from outside: arguments in; standard output, standard error and exit code out.

#include <cstdint>
#include <filesystem>

#include "cimhost/shortforms.h"
#include "programtest.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/** A host with two devices, one bridge and two slots. */
class CommandLine : public HostTest {
 protected:
    CommandLine() {
        testsupport::PciFunction bridge;
        bridge.classCode = 0x06;
        testsupport::PciFunction network;
        network.bus = 2;
        network.dev = 3;
        network.vendor = 0x14e4;
        network.device = 0x165f;
        network.revision = 0xa1;
        testsupport::PciFunction second = network;
        second.func = 1;
        host.addFunction(bridge).addFunction(network).addFunction(second).setHostName("testhost");
        testsupport::Slot three;
        three.id = 3;
        three.designation = "PCI-E Slot 3";
        testsupport::Slot five = three;
        five.id = 5;
        five.designation = "odd\x1b\xff";
        host.setSmbiosTable(testsupport::SmbiosBuilder().addSlot(three).addSlot(five).bytes());
    }
};

TEST_F(CommandLine, EnumerateShowsATable) {
    EXPECT_THAT(answer({"enumerate", "QELTA_PCIDevice"}),
                AllOf(HasSubstr("root/kavix:QELTA_PCIDevice\nLocation "), HasSubstr("02:03.0   14e4:165f  02:00  a1 "),
                      HasSubstr("\n02:03.1 "), EndsWith("CMPI_RC_OK, 2 instances\n")));
}

TEST_F(CommandLine, EnumerateShowsEverythingWithAll) {
    EXPECT_THAT(answer({"enumerate", "QELTA_SystemSlot", "--all"}),
                AllOf(ContainsRegex("\nTag +string +4 +System Slot 3\n"),
                      ContainsRegex("\nOperationalStatus +uint16\\[\\] +2 \\(OK\\)\n"),
                      ContainsRegex("\nPMESignal +boolean +FALSE\n"), HasSubstr("odd\\x1b\\xff")));
}

TEST_F(CommandLine, JsonIsNotMixedWithWhatTheProviderWrites) {
    const Json document = askForJson({"enumerate", "QELTA_SystemSlot"});
    EXPECT_EQ(document["status"], "CMPI_RC_OK");
    ASSERT_EQ(document["instances"].size(), 2U);
    EXPECT_EQ(document["instances"][0]["Number"], 3);
    EXPECT_EQ(document["instances"][0]["SlotLength"], 3);
    EXPECT_EQ(document["instances"][1]["Tag"], "System Slot 5");
    EXPECT_EQ(document["instances"][1]["SlotDesignation"], "odd\x1b\xef\xbf\xbd");
}

TEST_F(CommandLine, MofShowsTypes) {
    EXPECT_THAT(
        answer({"enumerate", "QELTA_PCIDevice", "--format", "mof"}),
        AllOf(HasSubstr("instance of QELTA_PCIDevice {\n"), HasSubstr("SystemName = \"testhost\";  // string, key\n"),
              HasSubstr("VendorID = 5348;  // uint16\n"), EndsWith("// CMPI_RC_OK, 2 instances\n")));
}

TEST_F(CommandLine, NamesShowKeys) {
    EXPECT_THAT(answer({"names", "QELTA_PCIDevice"}),
                AllOf(HasSubstr("Same in all: SystemCreationClassName=QELTA_ASSETID, SystemName=testhost, "
                                "CreationClassName=QELTA_PCIDevice\nDeviceID\n"),
                      HasSubstr("\nPCI Bus 2, device 3, function 1\n"), EndsWith("CMPI_RC_OK, 2 names\n")));
}

TEST_F(CommandLine, EveryNameLeadsToItsInstance) {
    const Json names = askForJson({"names", "QELTA_PCIDevice"})["names"];
    ASSERT_EQ(names.size(), 2U);
    for (const Json& name : names) {
        const Json found = askForJson({"get", name["text"]})["instances"];
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0]["path"], name);
    }
}

TEST_F(CommandLine, GetShowsTheOneThatHasTheKeys) {
    EXPECT_THAT(answer({"get", "QELTA_SystemSlot.tag=\"System Slot 5\""}),
                AllOf(ContainsRegex("\nNumber +uint16 +5\n"), Not(HasSubstr("System Slot 3")),
                      EndsWith("CMPI_RC_OK, 1 instance\n")));
}

TEST_F(CommandLine, GetOfAClassShowsAllOfIt) {
    EXPECT_THAT(ask({"get", "QELTA_SystemSlot"}).out, EndsWith("CMPI_RC_OK, 2 instances\n"));
}

TEST_F(CommandLine, UnknownClassIsAnErrorThatNamesTheOthers) {
    const std::string path = "QELTA_Nothing.Key=\"x\"";
    for (const Arguments& question : std::vector<Arguments>{{"enumerate", "QELTA_Nothing"},
                                                            {"names", "QELTA_Nothing"},
                                                            {"get", path},
                                                            {"associators", path},
                                                            {"associator-names", path},
                                                            {"references", path},
                                                            {"reference-names", path}}) {
        const Outcome run = ask(question);
        EXPECT_EQ(run.exitCode, 1) << question[0];
        EXPECT_THAT(run.out, HasSubstr("CMPI_RC_ERR_INVALID_CLASS, 0 "));
        EXPECT_THAT(run.err, HasSubstr("QELTA_Nothing"));
        for (const std::string& served : cimhost::servedClasses()) EXPECT_THAT(run.err, HasSubstr(served));
    }
}

TEST_F(CommandLine, TraceGoesToStandardErrorAlone) {
    const Outcome run = ask({"enumerate", "QELTA_SystemSlot", "--trace", "--format", "json"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(Json::accept(run.out));
    EXPECT_THAT(run.err, AllOf(HasSubstr("PCI_enuminstances - in the routine with classname [QELTA_SystemSlot]"),
                               HasSubstr("/dev/ipmi0"), HasSubstr("DumpSlotInfo got object path"),
                               HasSubstr("stdout: enumerating instances\n")));
}

TEST_F(CommandLine, OptionsMayStandBeforeTheCommand) {
    const Outcome run = runCimhost({"--host", host.directory(), "--format", "json", "names", "QELTA_PCIBridge"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(Json::parse(run.out)["names"].size(), 1U);
}

TEST_F(CommandLine, MissingLibraryIsReportedInTheLoadersWords) {
    const Outcome run = ask({"enumerate", "QELTA_PCIDevice", "--library", "/no/such/library.so"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, AllOf(HasSubstr("/no/such/library.so"), HasSubstr("No such file or directory")));
}

TEST_F(CommandLine, LibraryThatIsNoProviderIsReported) {
    const Outcome run = ask({"enumerate", "QELTA_PCIDevice", "--library", CIMHOST_NO_FACTORIES});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr("PCIInfoProvider_Create_InstanceMI"));
}

TEST_F(CommandLine, HostWithABrokenFaultScriptIsReported) {
    host.setFaults("{");
    const Outcome run = ask({"enumerate", "QELTA_PCIDevice"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr("faults.json"));
}

/** Of a host directory: there may be what would be waited for, or has no end. */
class OddPlace : public CommandLine, public testing::WithParamInterface<const char*> {};

TEST_P(OddPlace, IsNotWaitedForAndNotReadWithoutEnd) {
    const std::string place = GetParam();
    const bool isTheProviders = place.rfind("proc", 0) == 0 || place.rfind("etc", 0) == 0;
    host.remove(place).makeFifo(place);
    for (const bool endless : {false, true}) {
        if (endless) {
            host.remove(place);
            std::filesystem::create_symlink("/dev/zero", host.path(place));
        }
        const Outcome run = RunningCimhost({"tree", "--host", host.directory()}).end();
        EXPECT_EQ(run.exitCode, isTheProviders ? 0 : 2) << run.err;
        const std::string complaint = host.path(place).string() + ": not a regular file";
        EXPECT_THAT(run.err, isTheProviders ? testing::Matcher<std::string>(IsEmpty()) : HasSubstr(complaint));
    }
}

INSTANTIATE_TEST_SUITE_P(Of, OddPlace,
                         testing::Values("hostname", "bmc/faults.json", "bmc/smbios-table", "bmc/other",
                                         "bmc/defaults/smbios-table", "proc/bus/pci/devices", "proc/bus/pci/02/03.0",
                                         "etc/vmware/pci.xml", "etc/vmware/pci.classlist"));

TEST_F(CommandLine, AListOfFunctionsWithoutAnEndIsNotRead) {
    host.setFile("proc/bus/pci/devices", "");
    std::filesystem::resize_file(host.path("proc/bus/pci/devices"), 1ULL << 40);
    const Outcome run = RunningCimhost({"names", "QELTA_PCIDevice", "--host", host.directory()}).end();
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("0 names"));
}

TEST_F(CommandLine, AHostNameWithoutAnEndIsReported) {
    host.setFile("hostname", std::string(5000, 'n'));
    std::filesystem::resize_file(host.path("hostname"), std::uintmax_t{1} << 40);
    const Outcome run = RunningCimhost({"enumerate", "QELTA_SystemBoard", "--host", host.directory()}).end();
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr(host.path("hostname").string() + ": its first line is too long"));
}

TEST_F(CommandLine, OutputThatNobodyReadsEndsQuietly) {
    const Outcome run = ask({"enumerate", "QELTA_PCIDevice"}, {{}, {}, Output::closedPipe});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, IsEmpty());
}

TEST_F(CommandLine, OutputThatCannotBeWrittenIsAnError) {
    const Arguments all[] = {
        {"enumerate", "QELTA_PCIDevice"}, {"tree", "--format", "json"}, {"samples"}, {"--help"}, {"--version"},
        {"serve", "--port", "0"}};
    for (const Arguments& arguments : all) {
        const Outcome run = ask(arguments, {{}, {}, Output::full});
        EXPECT_NE(run.exitCode, 0) << arguments.front();
        EXPECT_THAT(run.err, HasSubstr("No space left on device")) << arguments.front();
    }
}

}  // namespace
