// The built program from outside: arguments in; standard output, standard error and exit code out.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "cimhost/classes.h"
#include "cimhost/question.h"
#include "cimhost/text.h"
#include "program.h"
#include "tests/support/hostbuilder.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Json = nlohmann::ordered_json;
using Arguments = std::vector<std::string>;

/** A host with two devices, one bridge and two slots. */
class CommandLine : public testing::Test {
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
        host.setCatalogue("").setClassList("");
        testsupport::Slot three;
        three.id = 3;
        three.designation = "PCI-E Slot 3";
        testsupport::Slot five = three;
        five.id = 5;
        five.designation = "odd\x1b\xff";
        host.setSmbiosTable(testsupport::SmbiosBuilder().addSlot(three).addSlot(five).bytes());
    }

    Outcome ask(Arguments arguments, const Surrounding& surrounding = {}) const {
        arguments.insert(arguments.end(), {"--host", host.directory()});
        return runCimhost(arguments, surrounding);
    }

    Json askForJson(Arguments arguments) const {
        arguments.insert(arguments.end(), {"--format", "json"});
        const Outcome run = ask(arguments);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        return Json::parse(run.out);
    }

    testsupport::HostBuilder host;
};

TEST_F(CommandLine, EnumerateShowsATable) {
    const Outcome run = ask({"enumerate", "QELTA_PCIDevice"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_THAT(run.out,
                AllOf(HasSubstr("root/kavix:QELTA_PCIDevice\nLocation "), HasSubstr("02:03.0   14e4:165f  02:00  a1 "),
                      HasSubstr("\n02:03.1 "), EndsWith("CMPI_RC_OK, 2 instances\n")));
}

TEST_F(CommandLine, EnumerateTakesTheClassInAnySpelling) {
    EXPECT_THAT(ask({"enumerate", "qelta_pcibridge"}).out,
                AllOf(HasSubstr("QELTA_PCIBridge"), EndsWith("CMPI_RC_OK, 1 instance\n")));
}

TEST_F(CommandLine, EnumerateShowsEverythingWithAll) {
    const Outcome run = ask({"enumerate", "QELTA_SystemSlot", "--all"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, AllOf(ContainsRegex("\nTag +string +4 +System Slot 3\n"),
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

TEST_F(CommandLine, JsonKeepsTheOrderOfTheKeys) {
    const Json document = askForJson({"names", "QELTA_SystemSlot"});
    ASSERT_EQ(document["names"].size(), 2U);
    std::vector<std::string> keys;
    for (const auto& key : document["names"][0]["keys"].items()) keys.push_back(key.key());
    EXPECT_THAT(keys, ElementsAre("SystemCreationClassName", "SystemName", "CreationClassName", "Tag"));
}

TEST_F(CommandLine, MofShowsTypes) {
    const Outcome run = ask({"enumerate", "QELTA_PCIDevice", "--format", "mof"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("instance of QELTA_PCIDevice {\n"),
                               HasSubstr("SystemName = \"testhost\";  // string, key\n"),
                               HasSubstr("VendorID = 5348;  // uint16\n"), EndsWith("// CMPI_RC_OK, 2 instances\n")));
}

TEST_F(CommandLine, NamesShowKeys) {
    const Outcome run = ask({"names", "QELTA_PCIDevice"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("Same in all: SystemCreationClassName=QELTA_ASSETID, SystemName=testhost, "
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
    const Outcome run = ask({"get", "QELTA_SystemSlot.tag=\"System Slot 5\""});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, AllOf(ContainsRegex("\nNumber +uint16 +5\n"), Not(HasSubstr("System Slot 3")),
                               EndsWith("CMPI_RC_OK, 1 instance\n")));
}

TEST_F(CommandLine, GetOfAClassShowsAllOfIt) {
    EXPECT_THAT(ask({"get", "QELTA_SystemSlot"}).out, EndsWith("CMPI_RC_OK, 2 instances\n"));
}

TEST_F(CommandLine, GetOfAnInstanceThatIsNotThere) {
    const Outcome run = ask({"get", "QELTA_SystemSlot.Tag=\"System Slot 4\""});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, "CMPI_RC_ERR_NOT_FOUND, 0 instances\n");
    EXPECT_THAT(run.err, AllOf(HasSubstr("System Slot 4"), HasSubstr("no instance")));
}

TEST_F(CommandLine, UnknownClassIsAnErrorThatNamesTheOthers) {
    for (const Arguments& question : std::vector<Arguments>{
             {"enumerate", "QELTA_Nothing"}, {"names", "QELTA_Nothing"}, {"get", "QELTA_Nothing.Key=\"x\""}}) {
        const Outcome run = ask(question);
        EXPECT_EQ(run.exitCode, 1) << question[0];
        EXPECT_THAT(run.out, HasSubstr("CMPI_RC_ERR_INVALID_CLASS, 0 "));
        EXPECT_THAT(run.err, HasSubstr("QELTA_Nothing"));
        for (const std::string& served : cimhost::servedClasses()) EXPECT_THAT(run.err, HasSubstr(served));
    }
}

TEST_F(CommandLine, UnknownClassInJson) {
    const Outcome run = ask({"enumerate", "QELTA_Nothing", "--format", "json"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(Json::parse(run.out)["status"], "CMPI_RC_ERR_INVALID_CLASS");
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

TEST_F(CommandLine, LibraryMayBeNamed) {
    EXPECT_EQ(ask({"names", "QELTA_PCIBridge", "--library", CIMHOST_PROVIDER}).exitCode, 0);
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

TEST_F(CommandLine, FileThatIsNoLibraryIsReported) {
    host.setFile("text", "words");
    const Outcome run = ask({"enumerate", "QELTA_PCIDevice", "--library", host.path("text").string()});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr("text: "));
}

TEST_F(CommandLine, HostWithABrokenFaultScriptIsReported) {
    host.setFaults("{");
    const Outcome run = ask({"enumerate", "QELTA_PCIDevice"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr("faults.json"));
}

TEST_F(CommandLine, OutputThatNobodyReadsEndsQuietly) {
    const Outcome run = runCimhostIntoClosedPipe({"enumerate", "QELTA_PCIDevice", "--host", host.directory()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, IsEmpty());
}

TEST_F(CommandLine, OutputThatCannotBeWrittenIsAnError) {
    const Outcome run = ask({"enumerate", "QELTA_PCIDevice"}, {"", "/dev/full"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, HasSubstr("No space left on device"));
}

TEST(CommandLineUsage, MissingHostDirectoryIsNamed) {
    const Outcome run = runCimhost({"enumerate", "QELTA_PCIDevice", "--host", "/no/such/host"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, AllOf(HasSubstr("--host"), HasSubstr("/no/such/host")));
}

TEST(CommandLineUsage, PathThatIsNoneIsNamedWithThePlace) {
    const Outcome run = runCimhost({"get", "QELTA_SystemSlot.Tag=\"System Slot"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, AllOf(HasSubstr("QELTA_SystemSlot.Tag="), HasSubstr("closing quotation mark")));
}

TEST(CommandLineUsage, UnknownFormatIsNamedWithTheKnownOnes) {
    const Outcome run = runCimhost({"enumerate", "QELTA_PCIDevice", "--format", "yaml"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, AllOf(HasSubstr("--format"), HasSubstr("yaml"), HasSubstr("json"), HasSubstr("mof"),
                               HasSubstr("table")));
}

TEST(CommandLineUsage, WrongUsageEndsWithTwo) {
    for (const Arguments& wrong : std::vector<Arguments>{{},
                                                         {"frobnicate"},
                                                         {"enumerate"},
                                                         {"names"},
                                                         {"get"},
                                                         {"enumerate", "A", "B"},
                                                         {"enumerate", "A", "--nothing"},
                                                         {"enumerate", "A", "--width", "wide"},
                                                         {"enumerate", "A", "names", "B"},
                                                         {"devices", "-d", "8086"},
                                                         {"devices", "-s", "00:20.0"},
                                                         {"devices", "--class", "020000"},
                                                         {"slots", "-s", "5"},
                                                         {"enumerate", "SystemSlot", "-s", "5"},
                                                         {"get", "16:00"},
                                                         {"get", "0001:16:00.0"}}) {
        const Outcome run = runCimhost(wrong);
        EXPECT_EQ(run.exitCode, 2) << testing::PrintToString(wrong);
        EXPECT_THAT(run.out, IsEmpty());
        EXPECT_THAT(run.err, Not(IsEmpty()));
    }
}

TEST(CommandLineUsage, HelpNamesCommandsAndOptions) {
    const Outcome run = runCimhost({"--help"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("enumerate"), HasSubstr("names"), HasSubstr("get"), HasSubstr("--host"),
                               HasSubstr("--library"), HasSubstr("--format"), HasSubstr("--trace")));
}

}  // namespace
