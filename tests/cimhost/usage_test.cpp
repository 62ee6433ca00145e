// What the built program takes: short forms, choices and samples; what it says where something is wrong, and its help.

#include <algorithm>
#include <utility>

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

const Arguments kCommands = {
    "slots",       "devices",          "bridges",    "board",           "tree",    "draw", "enumerate", "names", "get",
    "associators", "associator-names", "references", "reference-names", "samples", "serve"};

/** A command line's words; those that have blanks stand in single quotes. */
Arguments wordsOf(const std::string& line) {
    Arguments words(1);
    bool quoted = false;
    for (const char c : line) {
        if (c == '\'')
            quoted = !quoted;
        else if (c == ' ' && !quoted)
            words.emplace_back();
        else
            words.back() += c;
    }
    return words;
}

using Usage = RackTest;

TEST_F(Usage, ClassesHaveShortForms) {
    EXPECT_EQ(answer({"slots"}), answer({"enumerate", "QELTA_SystemSlot"}));
    EXPECT_EQ(answer({"devices"}), answer({"enumerate", "QELTA_PCIDevice"}));
    EXPECT_EQ(answer({"bridges"}), answer({"enumerate", "QELTA_PCIBridge"}));
    EXPECT_EQ(answer({"board"}), answer({"enumerate", "QELTA_SystemBoard"}));
    for (const char* name : {"slots", "devices", "bridges", "board", "Board"})
        EXPECT_EQ(answer({"names", name}), answer({"names", cimhost::wholeClassName(name)})) << name;
    EXPECT_EQ(answer({"names", "pcibridge"}), answer({"names", "QELTA_PCIBridge"}));
    EXPECT_THAT(answer({"slots"}), EndsWith("CMPI_RC_OK, 3 instances\n"));
}

TEST_F(Usage, ObjectsHaveShortForms) {
    EXPECT_EQ(answer({"get", "5"}), answer({"get", "QELTA_SystemSlot.Tag=\"System Slot 5\""}));
    EXPECT_EQ(answer({"get", "05:05.1"}),
              answer({"get", "QELTA_PCIDevice.DeviceID=\"PCI Bus 5, device 5, function 1\""}));
    EXPECT_EQ(answer({"get", "5:5.0"}),
              answer({"get", "QELTA_PCIBridge.DeviceID=\"PCI Bus 5, device 5, function 0\""}));
    EXPECT_THAT(answer({"get", "board"}), HasSubstr("SystemBoard1"));
}

TEST_F(Usage, AssociationsStartAtShortForms) {
    const std::string slot = "QELTA_SystemSlot.Tag=\"System Slot 5\"";
    const std::string bridge = "PCIBridge.DeviceID=\"PCI Bus 5, device 5, function 0\"";
    for (const char* command : {"associators", "associator-names", "references", "reference-names"}) {
        EXPECT_EQ(answer({command, "5"}), answer({command, slot})) << command;
        EXPECT_EQ(answer({command, "05:05.0"}), answer({command, bridge})) << command;
    }
    EXPECT_THAT(answer({"associators", "05:05.0", "--assoc-class", "deviceinslot"}), HasSubstr("System Slot 5"));
    EXPECT_THAT(answer({"associators", "05:05.0", "--result-class", "SystemSlot"}), HasSubstr("System Slot 5"));
    EXPECT_THAT(answer({"associator-names", "board"}), EndsWith("CMPI_RC_OK, 4 names\n"));
}

TEST_F(Usage, FunctionsAreChosenAsForLspci) {
    EXPECT_THAT(answer({"devices", "-s", "05:"}), EndsWith("CMPI_RC_OK, 1 instance\n"));
    EXPECT_THAT(answer({"names", "PCIDevice", "-s", "05:05.1"}), EndsWith("CMPI_RC_OK, 1 name\n"));
    EXPECT_THAT(answer({"bridges", "-d", "8086:"}), HasSubstr("05:05.0"));
    EXPECT_EQ(answer({"bridges", "-d", "14e4:"}), "CMPI_RC_OK, 0 instances\n");
    EXPECT_THAT(answer({"enumerate", "PCIBridge", "--class", "06"}), HasSubstr("05:05.0"));
    EXPECT_THAT(answer({"associators", "5", "--class", "0600"}), EndsWith("CMPI_RC_OK, 1 instance\n"));
}

TEST_F(Usage, ObjectThatDoesNotExistIsAnErrorThatNamesTheOthers) {
    for (const char* command : {"get", "associators", "associator-names", "references", "reference-names"}) {
        const Outcome run = ask({command, "4"});
        EXPECT_EQ(run.exitCode, 1) << command;
        EXPECT_THAT(run.err, HasSubstr("cimhost: 4: no instance has these keys; "
                                       "there are System Slot 5, System Slot 3, System Slot 9"))
            << command;
        EXPECT_THAT(ask({command, "44:04.0"}).err, HasSubstr("44:04.0: no instance has these keys")) << command;
        EXPECT_EQ(ask({command, "44:04.0"}).exitCode, 1) << command;
    }
    EXPECT_EQ(ask({"get", "4"}).out, "CMPI_RC_ERR_NOT_FOUND, 0 instances\n");
}

TEST_F(Usage, EmptySlotIsNoError) {
    EXPECT_EQ(answer({"associators", "9"}), "CMPI_RC_OK, 0 instances\n");
}

TEST_F(Usage, AssociationAsSourceIsRefusedForItsReason) {
    for (const char* command : {"associators", "associator-names", "references", "reference-names"}) {
        const Outcome run = ask({command, "DeviceInSlot.Antecedent=\"x\""});
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_THAT(run.err, AllOf(HasSubstr("QELTA_DeviceInSlot is an association"), HasSubstr("associators"),
                                   Not(HasSubstr("does not serve"))));
    }
}

TEST_F(Usage, MisspeltClassIsSuggested) {
    EXPECT_THAT(ask({"enumerate", "QELTA_PCIDevise"}).err, HasSubstr("did you mean QELTA_PCIDevice?"));
    EXPECT_THAT(ask({"get", "systemslots.Tag=\"x\""}).err, HasSubstr("did you mean QELTA_SystemSlot?"));
    EXPECT_THAT(ask({"enumerate", "slot"}).err, HasSubstr("did you mean QELTA_SystemSlot?"));
    EXPECT_THAT(ask({"enumerate", "boards"}).err, HasSubstr("did you mean QELTA_SystemBoard?"));
    EXPECT_THAT(ask({"enumerate", "Win32_Processor"}).err, Not(HasSubstr("did you mean")));
}

TEST_F(Usage, MissingCataloguesAreExplainedOnce) {
    host.remove("etc/vmware/pci.classlist");
    const Outcome run = ask({"devices"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, AllOf(StartsWith("cimhost: names are missing: "), HasSubstr("/etc/vmware"),
                               HasSubstr("--catalogue shows")));
    EXPECT_EQ(cimhost::lines(run.err).size(), 1U);
    EXPECT_EQ(cimhost::lines(ask({"tree"}).err).size(), 1U);
    EXPECT_THAT(ask({"slots"}).err, IsEmpty()) << "they have no names from there";
}

TEST_F(Usage, CatalogueOnRequestNamesFunctions) {
    host.remove("etc/vmware");
    EXPECT_THAT(ask({"devices"}).out, Not(HasSubstr("Intel")));
    EXPECT_THAT(answer({"devices", "--catalogue"}), HasSubstr("Intel Corporation"));
}

TEST(UsageOfSamples, TheyAreListedAndTakenByName) {
    const Outcome list = runCimhost({"samples"});
    EXPECT_EQ(list.exitCode, 0);
    const Json samples = Json::parse(runCimhost({"samples", "--format", "json"}).out);
    ASSERT_GE(samples.size(), 3U);
    for (const Json& sample : samples) {
        const std::string name = sample["name"];
        EXPECT_THAT(list.out, HasSubstr("\n" + name + " "));
        const Outcome run = runCimhost({"slots", "--host", name});
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(run.out, runCimhost({"slots", "--host", sample["directory"]}).out);
    }
    EXPECT_EQ(runCimhost({"samples", "--format", "mof"}).exitCode, 2);
    const std::string name = samples[0]["name"];
    EXPECT_EQ(Json::parse(cimhost::lines(runCimhost({"samples", "--format", "jsonl"}).out).at(0)), samples[0]);
    EXPECT_THAT(runCimhost({"samples", "--format", "csv"}).out,
                AllOf(HasSubstr("Name,Description,Directory\n"), HasSubstr("\n" + name + ",")));
    EXPECT_THAT(runCimhost({"samples", "--format", "tsv"}).out, HasSubstr("\n" + name + "\t"));
}

/** Arguments and what is said of them, after "cimhost: ". */
using Complaints = std::vector<std::pair<Arguments, std::string>>;

void expectComplaints(const Complaints& complaints) {
    for (const auto& [arguments, text] : complaints)
        EXPECT_THAT(complaint(arguments), HasSubstr(text)) << testing::PrintToString(arguments);
}

TEST(UsageErrors, SuggestWhatMayHaveBeenMeant) {
    expectComplaints(
        {{{"slot"}, "slot is no command, did you mean slots?"},
         {{"enum", "X"}, "did you mean enumerate?"},
         {{"tree", "--fromat", "json"}, "--fromat is no option of tree, did you mean --format?"},
         {{"--fromat=json", "tree"}, "did you mean --format?"},
         {{"associators", "5", "--asoc-class", "X"}, "did you mean --assoc-class?"},
         {{"tree", "--format", "jsn"}, "jsn is none of csv, json, jsonl, mof, table, tsv, did you mean json?"},
         {{"slots", "--host", "del-t440"}, "did you mean dell-t440?"},
         {{"slots", "--host", "del-t440"}, "--host: del-t440"},
         {{"frobnicate"}, "frobnicate is no command\n"},
         {{"frobnicate"}, "cimhost --help"}});
}

TEST(UsageErrors, SayWhatIsWrong) {
    expectComplaints({{{}, "no command given"},
                      {{"enumerate", "A", "b", "c", "d"}, "more arguments than enumerate takes: b c d\n"},
                      {{"slots", "--all=no"}, "--all takes no value\n"},
                      {{"slots", "--catalogue=x"}, "--catalogue takes no value\n"},
                      {{"devices", "-d", "8086"}, "[VENDOR]:[DEVICE][:CLASS]"},
                      {{"devices", "-s", "16:40.0"}, "'40' is no device"},
                      {{"enumerate", "SystemSlot", "-s", "5"}, "functions are chosen"},
                      {{"get", "16:00"}, "BUS:DEVICE.FUNCTION"},
                      {{"get", "0001:16:00.0"}, "PCI domains"},
                      {{"get", "99999999999"}, "99999999999 is no slot's number"},
                      {{"associators", "-1"}, "-1 is no slot's number"},
                      {{"references", "+5"}, "+5 is no slot's number"},
                      {{"\x1b[31m"}, "\\x1b[31m is no command"}});
    for (const std::string port : {"65536", "99999", "abc", "-1", "1.5"})
        expectComplaints({{{"serve", "--port", port}, "--port: " + port + " is no port, a number from 0 to 65535\n"}});
    for (const std::string number : {"0", "257"})
        expectComplaints(
            {{{"serve", "--per-address", number}, "--per-address: " + number + " is no number from 1 to 256\n"}});
    const std::string path = "QELTA_SystemSlot.Tag=\"System";
    for (const char* command : {"get", "associators", "associator-names", "references", "reference-names"})
        expectComplaints({{{command, path}, path}, {{command, path}, "closing quotation mark"}});
}

TEST(UsageErrors, OfServersElsewhere) {
    expectComplaints({
        {{"slots", "--server", "ftp://node1"}, "--server: 'ftp://node1' names no server"},
        {{"slots", "--server", "node1", "--servers", "-"}, "it is one server or those of a file, not both"},
        {{"slots", "--server", "node1", "--state", "x"}, "--state: it is of use with --servers alone"},
        {{"slots", "--parallel", "3"}, "--parallel: it is of use with --servers alone"},
        {{"slots", "--insecure"}, "--insecure: it is of use with --server or --servers alone"},
        {{"serve", "--server", "node1"}, "serve asks nobody else"},
        {{"samples", "--servers", "-"}, "samples asks nobody else"},
        {{"slots", "--servers", "-", "--format", "json"}, "jsonl, csv, tsv and table"},
        {{"slots", "--servers", "-", "--parallel", "0"}, "0 is no number from 1 to 1024"},
        {{"slots", "--servers", "-", "--timeout", "0"}, "0 is no number of seconds"},
        {{"slots", "--servers", "/nonexistent/hosts"}, "/nonexistent/hosts: No such file or directory"},
        {{"slots", "--server", "node1", "--cacert", "/nonexistent"}, "/nonexistent cannot be read"},
    });
    for (const Arguments& local :
         {Arguments{"--host", "dell-t440"}, {"--catalogue"}, {"--library", "x"}, {"--manners", "sfcb"}, {"--trace"}})
        expectComplaints({{joined({"slots", "--server", "node1"}, local),
                           local.front() + ": it is about a provider in this process; --server asks one elsewhere"}});
}

TEST(UsageErrors, OfEveryOtherKindAreOnes) {
    for (const char* command :
         {"enumerate", "names", "get", "associators", "associator-names", "references", "reference-names"})
        complaint({command});
    expectComplaints({{{"enumerate", "A", "--nothing"}, ""},
                      {{"enumerate", "A", "names", "B"}, ""},
                      {{"devices", "-s", "00:20.0"}, ""},
                      {{"devices", "--class", "020000"}, ""},
                      {{"slots", "-s", "5"}, ""},
                      {{"tree", "QELTA_SystemSlot"}, ""}});
}

TEST(UsageErrors, ClosedOutputIsOneOfTheOutput) {
    for (const Arguments& arguments : {Arguments{"slots", "--host", "dell-t440"}, Arguments{"--help"}}) {
        const Outcome run = runCimhost(arguments, {{}, {}, Output::closed});
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.err, "cimhost: cannot write the answer: Bad file descriptor\n");
    }
}

TEST(Help, HasTheVersion) {
    for (const char* option : {"--version", "-V"}) {
        const Outcome run = runCimhost({option});
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_THAT(run.out, ContainsRegex("^cimhost [0-9]+\\.[0-9]+\\.[0-9]+\n$"));
    }
}

TEST(Help, OfEveryCommandHasTheOptionsOfUseTheClassesAndAnExample) {
    const std::string general = runCimhost({"--help"}).out;
    for (const std::string& command : kCommands) {
        EXPECT_THAT(general, HasSubstr("\n  " + command + " "));
        const Outcome run = runCimhost({command, "--help"});
        EXPECT_EQ(run.exitCode, 0);
        for (const char* option : {"--host HOST", "--catalogue", "--library", "--manners", "--all", "--trace"})
            EXPECT_EQ(run.out.find(option) != std::string::npos, command != "samples") << command << ' ' << option;
        for (const char* option : {"--server URL", "--servers FILE", "--state FILE", "--netrc FILE", "--cacert FILE"})
            EXPECT_EQ(run.out.find(option) != std::string::npos, command != "samples" && command != "serve")
                << command << ' ' << option;
        const bool isText = command != "draw";
        EXPECT_EQ(run.out.find("--color") != std::string::npos, isText && command != "samples") << command;
        EXPECT_EQ(run.out.find("--width ") != std::string::npos, isText) << command;
        EXPECT_THAT(run.out, AllOf(HasSubstr("--format "), ContainsRegex("Examples?:\n  cimhost " + command)))
            << command;
        for (const std::string& served : cimhost::servedClasses()) EXPECT_THAT(run.out, HasSubstr(served)) << command;
        for (const std::string& line : cimhost::lines(run.out)) EXPECT_LE(cimhost::columnsOf(line), 80U) << line;
    }
    EXPECT_THAT(runCimhost({"references", "--help"}).out,
                AllOf(HasSubstr("--role"), HasSubstr("--result-class"), Not(HasSubstr("--assoc-class"))));
    EXPECT_THAT(runCimhost({"associators", "--help"}).out,
                AllOf(HasSubstr("--role"), HasSubstr("--assoc-class"), HasSubstr("--result-role")));
    EXPECT_THAT(runCimhost({"tree", "--help"}).out, HasSubstr("share a line"));
}

TEST(Help, OfLocationsTellsTheirWholeForm) {
    for (const char* command : {"devices", "bridges", "names", "enumerate", "associators"})
        EXPECT_THAT(runCimhost({command, "--help"}).out, HasSubstr("--location [[DOMAIN:]BUS:][DEVICE][.FUNC]"));
    for (const char* location : {"0000:16:01.0", "16:01", "16:", "01", ".0", "01.0"})
        EXPECT_THAT(runCimhost({"names", "PCIBridge", "-s", location, "--host", "dell-t440"}).out,
                    AllOf(HasSubstr("CMPI_RC_OK"), Not(HasSubstr(" 0 names"))))
            << location;
}

TEST(Help, ExamplesWork) {
    for (const std::string& command : kCommands) {
        if (command == "serve") continue;
        bool inExamples = false;
        for (const std::string& line : cimhost::lines(runCimhost({command, "--help"}).out)) {
            if (inExamples && line.rfind("  cimhost ", 0) == 0) {
                // What a shell does with the output is not tried.
                const std::size_t end = std::min(line.find_first_of("|>"), line.size() + 1) - 1;
                const Outcome run = runCimhost(wordsOf(line.substr(10, end - 10)));
                EXPECT_EQ(run.exitCode, 0) << line << '\n' << run.err;
                EXPECT_THAT(run.out, Not(HasSubstr(" 0 instances"))) << line;
            }
            inExamples = inExamples || line.rfind("Example", 0) == 0;
        }
        EXPECT_TRUE(inExamples) << command;
    }
}

// --- completion, which the shells ask for ---

Arguments completed(const Arguments& words) {
    const Outcome run = runCimhost(joined({"complete"}, words));
    EXPECT_EQ(run.exitCode, 0);
    Arguments found = cimhost::lines(run.out);
    for (std::string& line : found) line.erase(std::min(line.find('\t'), line.size()));
    return found;
}

TEST(Completion, KnowsAllThatTheHelpShows) {
    EXPECT_THAT(completed({""}), testing::UnorderedElementsAreArray(kCommands));
    for (const std::string& command : kCommands) {
        Arguments options;
        for (const std::string& line : cimhost::lines(runCimhost({command, "--help"}).out)) {
            const std::size_t name = line.find("--");
            if (line.rfind("  -", 0) == 0 && name < 8)
                options.push_back(line.substr(name, line.find(' ', name) - name));
        }
        options.push_back("--version");  // which the general help shows
        EXPECT_THAT(completed({command, "--"}), testing::UnorderedElementsAreArray(options)) << command;
    }
}

TEST(Completion, OfValuesFollowsTheOption) {
    EXPECT_THAT(completed({"tree", "--format", ""}), testing::IsSupersetOf({"table", "json"}));
    EXPECT_THAT(completed({"tree", "--format=j"}), testing::Contains("--format=json"));
    EXPECT_THAT(completed({"draw", "--format", ""}), testing::ElementsAre("dot", "svg"));
    EXPECT_THAT(completed({"--host", "dell-t"}), testing::ElementsAre("dell-t440", "<directories>"));
    EXPECT_THAT(completed({"--host=dell-t"}), testing::ElementsAre("--host=dell-t440"))
        << "the shell has no part in it";
    EXPECT_THAT(completed({"--library", ""}), testing::ElementsAre("<files>"));
    EXPECT_THAT(completed({"associators", "5", "--result-class", "systems"}), testing::ElementsAre("SystemSlot"));
    EXPECT_THAT(completed({"devices", "-d", ""}), IsEmpty()) << "nobody knows";
}

TEST(Completion, OfArgumentsEndsWithTheirNumber) {
    EXPECT_THAT(completed({"enumerate", "QELTA_"}), testing::UnorderedElementsAreArray(cimhost::servedClasses()));
    EXPECT_THAT(completed({"--host", "dell-t440", "names", "pcib"}), testing::ElementsAre("PCIBridge"));
    EXPECT_THAT(completed({"get", "bo"}), testing::ElementsAre("board"));
    EXPECT_THAT(completed({"get", "5", ""}), IsEmpty());
    EXPECT_THAT(completed({"slots", ""}), IsEmpty());
    EXPECT_THAT(completed({"nonsense", ""}), testing::Contains("slots"));
}

}  // namespace
