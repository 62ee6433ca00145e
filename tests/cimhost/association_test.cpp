// The association commands: what of their options reaches a provider, and what is shown of its answers.

#include "cimhost/shortforms.h"
#include "programtest.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* kSlotThree = "QELTA_SystemSlot.Tag=\"System Slot 3\"";

/** What a provider that tells it is asked for. */
std::string asked(const Arguments& arguments) {
    const testsupport::HostBuilder host;
    const Outcome run =
        runCimhost(joined(arguments, {"--trace", "--host", host.directory(), "--library", CIMHOST_FILTER_PROVIDER}));
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return run.err;
}

TEST(AssociationFilters, AreNullWhereTheyAreNotGiven) {
    const std::string nothing = " assocClass null resultClass null role null resultRole null\n";
    EXPECT_THAT(asked({"associators", kSlotThree}), HasSubstr("stdout: associators" + nothing));
    EXPECT_THAT(asked({"associator-names", kSlotThree}), HasSubstr("stdout: associatorNames" + nothing));
    EXPECT_THAT(asked({"references", kSlotThree}), HasSubstr("stdout: references" + nothing));
    EXPECT_THAT(asked({"reference-names", kSlotThree}), HasSubstr("stdout: referenceNames" + nothing));
}

TEST(AssociationFilters, OfAssociatorsReachTheProvider) {
    for (const char* command : {"associators", "associator-names"}) {
        EXPECT_THAT(asked({command, kSlotThree, "--assoc-class", "A", "--result-class", "B b", "--role", "C",
                           "--result-role", "D"}),
                    HasSubstr(" assocClass [A] resultClass [B b] role [C] resultRole [D]\n"));
        EXPECT_THAT(asked({command, "--result-role=D", kSlotThree}),
                    HasSubstr(" assocClass null resultClass null role null resultRole [D]\n"));
    }
}

TEST(AssociationFilters, OfReferencesReachTheProvider) {
    for (const char* command : {"references", "reference-names"}) {
        EXPECT_THAT(asked({command, kSlotThree, "--result-class", "B", "--role", "C"}),
                    HasSubstr(" resultClass [B] role [C] "));
        EXPECT_THAT(asked({command, kSlotThree, "--role", "C"}), HasSubstr(" resultClass null role [C] "));
    }
}

TEST(AssociationFilters, MayBeEmptyTexts) {
    const std::string empty = " assocClass [] resultClass [] role [] resultRole []\n";
    EXPECT_THAT(asked({"associators", kSlotThree, "--assoc-class", "", "--result-class", "", "--role", "",
                       "--result-role", ""}),
                HasSubstr(empty));
    EXPECT_THAT(asked({"associators", "--assoc-class=", "--result-class=", "--role=", "--result-role=", kSlotThree}),
                HasSubstr(empty));
    EXPECT_THAT(asked({"references", "--role=", kSlotThree}), HasSubstr(" resultClass null role [] "));
}

TEST(AssociationFilters, OfAssociatorsAloneAreRefusedForReferences) {
    for (const char* command : {"references", "reference-names"})
        for (const char* option : {"--assoc-class", "--result-role"})
            EXPECT_THAT(complaint({command, kSlotThree, option, "X"}), HasSubstr(option));
}

/** Each command with each of its filters by class. */
std::vector<Arguments> commandsWithClassFilters() {
    return {{"associators", "5", "--assoc-class"},      {"associators", "5", "--result-class"},
            {"associator-names", "5", "--assoc-class"}, {"associator-names", "5", "--result-class"},
            {"references", "5", "--result-class"},      {"reference-names", "5", "--result-class"}};
}

TEST(AssociationFilters, OfAMisspeltClassAreRefusedWithASuggestion) {
    for (const Arguments& command : commandsWithClassFilters())
        for (const char* written : {"DeviceInSlt", "DeviceInSlo", "qelta_deviceinslt"})
            EXPECT_THAT(complaint(joined(command, {written, "--host", "dell-t440"})),
                        StartsWith("cimhost: " + command.back() + " " + written +
                                   ": the provider does not serve this class; did you mean "
                                   "QELTA_DeviceInSlot?\n"));
    EXPECT_THAT(runCimhost({"associators", "5", "--result-class", "pcibridg", "--host", "dell-t440"}).err,
                HasSubstr("did you mean QELTA_PCIBridge?"));
}

TEST(AssociationFilters, OfAClassLikeNoneAreAskedForAndTold) {
    for (const Arguments& command : commandsWithClassFilters()) {
        const Outcome run = runCimhost(joined(command, {"CIM_Dependency", "--host", "dell-t440"}));
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_THAT(run.err, StartsWith("cimhost: " + command.back() +
                                        " CIM_Dependency: this is none of the classes that the provider serves"));
        for (const std::string& served : cimhost::servedClasses()) EXPECT_THAT(run.err, HasSubstr(served));
    }
    EXPECT_THAT(asked({"associators", kSlotThree, "--result-class", "QELTA_Controller"}),
                AllOf(HasSubstr(" resultClass [QELTA_Controller] "), HasSubstr("none of the classes")))
        << "a superclass is meant, not QELTA_SSPCIController";
    EXPECT_THAT(asked({"associators", kSlotThree, "--result-class", "", "--assoc-class", "deviceinslot"}),
                Not(HasSubstr("none of the classes")));
}

using AssociationCommands = RackTest;

TEST_F(AssociationCommands, AssociatorsOfTwoClassesStandInTwoTables) {
    EXPECT_THAT(answer({"associators", "QELTA_SystemSlot.Tag=\"System Slot 5\""}),
                AllOf(ContainsRegex("root/kavix:QELTA_PCIDevice\nLocation [^\n]*\n05:05.1 "),
                      ContainsRegex("root/kavix:QELTA_PCIBridge\nLocation [^\n]*\n05:05.0 "),
                      EndsWith("CMPI_RC_OK, 2 instances\n")));
}

TEST_F(AssociationCommands, AssociatorNamesAreNames) {
    EXPECT_THAT(answer({"associator-names", kSlotThree}),
                AllOf(HasSubstr("PCI Bus 3, device 3, function 1\n"), EndsWith("CMPI_RC_OK, 2 names\n")));
}

TEST_F(AssociationCommands, ReferencesShowBothEnds) {
    EXPECT_THAT(answer({"references", kSlotThree}),
                AllOf(HasSubstr("root/kavix:QELTA_DeviceInSlot\n"),
                      ContainsRegex("QELTA_SystemSlot \"System Slot 3\" +QELTA_PCIDevice "
                                    "\"PCI Bus 3, device 3, function 0\"\n"),
                      EndsWith("CMPI_RC_OK, 2 instances\n")));
}

TEST_F(AssociationCommands, ReferenceNamesAreThePathsOfTheReferences) {
    const Json references = askForJson({"references", kSlotThree})["instances"];
    const Json names = askForJson({"reference-names", kSlotThree})["names"];
    ASSERT_EQ(names.size(), 2U);
    ASSERT_EQ(references.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) EXPECT_EQ(names[i], references[i]["path"]);
}

TEST_F(AssociationCommands, FiltersChooseBetweenSlotAndBoard) {
    const std::string device = broker::toString(testsupport::devicePath(3, 3, 0));
    EXPECT_THAT(ask({"associators", device, "--assoc-class", "QELTA_DeviceInSlot"}).out,
                HasSubstr("root/kavix:QELTA_SystemSlot\n"));
    EXPECT_THAT(ask({"associators", device}).out, HasSubstr("root/kavix:QELTA_SystemBoard\n"));
    EXPECT_EQ(ask({"associators", device, "--result-role", "dependent"}).out, "CMPI_RC_OK, 0 instances\n");
}

TEST_F(AssociationCommands, ClassAloneIsAPathToo) {
    EXPECT_THAT(ask({"associators", "QELTA_SystemBoard"}).out, EndsWith("CMPI_RC_OK, 4 instances\n"));
    EXPECT_THAT(ask({"reference-names", "QELTA_SystemBoard"}).out, EndsWith("CMPI_RC_OK, 4 names\n"));
}

}  // namespace
