// The tree as the program draws it of hosts.

#include <algorithm>

#include "programtest.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using Lines = std::vector<std::string>;

constexpr const char* kNoSlots = "└─ no slots: the BMC gave no SMBIOS table, or one without slots";

Outcome tree(const std::string& host, const Arguments& arguments = {}) {
    return runCimhost(joined({"tree", "--host", host}, arguments));
}

Lines treeLines(const std::string& host, const Arguments& arguments = {}) {
    const Outcome run = tree(host, arguments);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, IsEmpty());
    return cimhost::lines(run.out);
}

Json treeJson(const std::string& host) {
    const Outcome run = tree(host, {"--format", "json"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return Json::parse(run.out);
}

std::size_t countOf(const std::string& host, const std::string& className) {
    return Json::parse(runCimhost({"names", className, "--host", host, "--format", "json"}).out)["names"].size();
}

std::size_t functionsInSlots(const Json& document) {
    std::size_t count = 0;
    for (const Json& slot : document["slots"]) count += slot["functions"].size();
    return count;
}

Lines locations(const Json& place) {
    Lines found;
    for (const Json& function : place["functions"]) found.push_back(function["location"]);
    return found;
}

using Tree = HostTest;

TEST_F(Tree, ShowsBoardSlotsAndTheRest) {
    testsupport::buildRack(host);
    EXPECT_THAT(treeLines(host.directory()),
                ElementsAre("rack7", "├─ system board  4 functions",              //
                            testing::StartsWith("│  ├─ 00:00.0        "),         //
                            testing::StartsWith("│  ├─ 00:1f.0,2  2×  "),         //
                            testing::StartsWith("│  └─ 07:00.0        "),         //
                            "├─ slot  5  PCI5  available  32 bit  2 functions",   //
                            testing::StartsWith("│  └─ 05:05.0,1  2×  "),         //
                            "├─ slot  3  PCI3  available  32 bit  2 functions",   //
                            testing::StartsWith("│  └─ 03:03.0,1  2×  "),         //
                            "├─ slot  9  PCI9  available  32 bit  empty",         //
                            "└─ neither on the board nor in a slot  1 function",  //
                            testing::StartsWith("   └─ 00:01.0        "), "",
                            "CMPI_RC_OK, 3 slots, 9 functions; 3 readings of the SMBIOS table"));
}

TEST_F(Tree, InFullNamesEveryFunction) {
    testsupport::buildRack(host);
    const Outcome run = tree(host.directory(), {"--all"});
    EXPECT_THAT(cimhost::lines(run.out), SizeIs(1 + 4 + 9 + 1 + 2));
    for (const char* location :
         {"00:00.0", "00:01.0", "00:1f.0", "00:1f.2", "03:03.0", "03:03.1", "05:05.0", "05:05.1", "07:00.0"})
        EXPECT_THAT(run.out, HasSubstr(std::string("─ ") + location + "  "));
}

TEST_F(Tree, InJsonHasTheSame) {
    testsupport::buildRack(host);
    const Json document = treeJson(host.directory());
    EXPECT_EQ(document["status"], "CMPI_RC_OK");
    EXPECT_EQ(document["host"], "rack7");
    EXPECT_THAT(locations(document["board"]), ElementsAre("00:00.0", "00:1f.0", "00:1f.2", "07:00.0"));
    EXPECT_THAT(locations(document["elsewhere"]), ElementsAre("00:01.0"));
    ASSERT_EQ(document["slots"].size(), 3U);
    const Json& five = document["slots"][0];
    EXPECT_EQ(five["number"], 5);
    EXPECT_EQ(five["designation"], "PCI5");
    EXPECT_EQ(five["usage"], "available");
    EXPECT_EQ(five["width"], "32 bit");
    EXPECT_THAT(locations(five), ElementsAre("05:05.0", "05:05.1"));
    EXPECT_EQ(five["functions"][0]["class"], "QELTA_PCIBridge");
    EXPECT_EQ(five["functions"][0]["classCode"], "06:00");
    EXPECT_EQ(five["functions"][1]["class"], "QELTA_PCIDevice");
    EXPECT_EQ(five["functions"][1]["ids"], "8086:1234");
    EXPECT_EQ(five["functions"][1]["path"]["text"], broker::toString(testsupport::devicePath(5, 5, 1)));
    EXPECT_EQ(document["readings"], 3);
    EXPECT_THAT(locations(document["slots"][2]), IsEmpty());
}

TEST_F(Tree, WithoutABmcHasNoSlots) {
    host.setHostName("quiet").addFunction(testsupport::deviceAt(3, 3, 0)).addFunction(testsupport::bridgeAt(0, 0, 0));
    const Lines lines = treeLines(host.directory());
    ASSERT_THAT(lines, SizeIs(7));
    EXPECT_EQ(lines[1], "├─ system board  2 functions");
    EXPECT_EQ(lines[4], kNoSlots);
    EXPECT_EQ(lines[6], "CMPI_RC_OK, 0 slots, 2 functions; 3 readings of the SMBIOS table");
    EXPECT_THAT(treeJson(host.directory())["slots"], IsEmpty());
}

TEST_F(Tree, WithoutFunctionsIsEmpty) {
    host.setHostName("bare").setSmbiosTable(testsupport::slotTable({1}));
    EXPECT_THAT(treeLines(host.directory()),
                ElementsAre("bare", "├─ system board  0 functions", "└─ slot  1  PCI1  available  32 bit  empty", "",
                            "CMPI_RC_OK, 1 slot, 0 functions; 3 readings of the SMBIOS table"));
}

TEST_F(Tree, SlotsOfOneNumberShowTheSameFunctionsOnceEach) {
    host.setSmbiosTable(testsupport::slotTable({3, 3}));
    host.addFunction(testsupport::deviceAt(3, 3, 0)).addFunction(testsupport::deviceAt(3, 3, 1));
    const Json document = treeJson(host.directory());
    ASSERT_EQ(document["slots"].size(), 2U);
    for (const Json& slot : document["slots"]) EXPECT_THAT(locations(slot), ElementsAre("03:03.0", "03:03.1"));
    EXPECT_EQ(functionsInSlots(document), countOf(host.directory(), "QELTA_DeviceInSlot"));
    EXPECT_THAT(document["elsewhere"]["functions"], IsEmpty());
}

TEST_F(Tree, DeviceNumberZeroIsOnTheBoardEvenBesideASlotOfThatNumber) {
    host.setSmbiosTable(testsupport::slotTable({0, 4})).addFunction(testsupport::deviceAt(2, 0, 0));
    const Json document = treeJson(host.directory());
    EXPECT_THAT(locations(document["board"]), ElementsAre("02:00.0"));
    ASSERT_EQ(document["slots"].size(), 2U);
    EXPECT_EQ(document["slots"][0]["number"], 0);
    EXPECT_THAT(locations(document["slots"][0]), IsEmpty());
}

TEST_F(Tree, IsNotWrittenInMof) {
    EXPECT_THAT(complaint({"tree", "--format", "mof"}), AllOf(HasSubstr("--format"), HasSubstr("no tree in mof")));
}

TEST_F(Tree, AsRecordsHasALineForEachFunctionAndEmptySlot) {
    testsupport::buildRack(host);
    const Lines records = treeLines(host.directory(), {"--format", "tsv"});
    ASSERT_THAT(records, SizeIs(1 + 9 + 1));
    EXPECT_EQ(records[0],
              "host\tplace\tnumber\tdesignation\tusage\twidth\tlocation\tclass\tids\tclassCode\tdescription\tpath");
    EXPECT_THAT(records[1], testing::StartsWith("rack7\tboard\t\t\t\t\t00:00.0\tQELTA_PCIBridge\t"));
    EXPECT_THAT(records[5], testing::StartsWith("rack7\tslot\t5\tPCI5\tavailable\t32 bit\t05:05.0\tQELTA_PCIBridge\t"));
    EXPECT_EQ(records[9], "rack7\tslot\t9\tPCI9\tavailable\t32 bit\t\t\t\t\t\t");
    EXPECT_THAT(records[10], testing::StartsWith("rack7\telsewhere\t\t\t\t\t00:01.0\t"));
    EXPECT_THAT(treeLines(host.directory(), {"--format", "csv"})[9], "rack7,slot,9,PCI9,available,32 bit,,,,,,");

    const Lines objects = treeLines(host.directory(), {"--format", "jsonl"});
    ASSERT_THAT(objects, SizeIs(9 + 1));
    const Json five = Json::parse(objects[4]);
    EXPECT_EQ(five["number"], 5);
    EXPECT_EQ(five["path"]["keys"]["DeviceID"], "PCI Bus 5, device 5, function 0");
    EXPECT_EQ(Json::parse(objects[8])["location"], nullptr);
}

TEST_F(Tree, ReadsTheTableAsOftenAsItSays) {
    testsupport::buildRack(host);
    const Outcome run = tree(host.directory(), {"--trace"});
    EXPECT_THAT(run.out, testing::EndsWith("; 3 readings of the SMBIOS table\n"));
    const Lines trace = cimhost::lines(run.err);
    EXPECT_EQ(std::count(trace.begin(), trace.end(), "open /dev/ipmi0 0x2"), 3);
}

TEST_F(Tree, OneReadingWithoutAnAnswerChangesNoPlace) {
    testsupport::buildRack(host);
    Json expected = treeJson(host.directory());
    expected["readings"] = 4;
    for (const char* reading : {"1", "2", "3"}) {
        host.setFaults(R"({"faults": [{"on": "open", "times": 1, "timeout": true, "from": )" + std::string(reading) +
                       "}]}");
        EXPECT_EQ(treeJson(host.directory()), expected) << reading;
    }
}

TEST_F(Tree, SaysWhereReadingsDisagree) {
    testsupport::buildRack(host);
    host.setFaults(R"({"faults": [{"on": "open", "times": 1, "timeout": true},
                                  {"on": "open", "times": 1, "timeout": true, "from": 4}]})");
    for (const char* command : {"tree", "draw"}) {
        const Outcome run = runCimhost({command, "--host", host.directory()});
        EXPECT_EQ(run.exitCode, 1) << command;
        EXPECT_EQ(
            run.err,
            "cimhost: what sits where is in doubt: the BMC gave the SMBIOS table for some of the requests, and not "
            "for others.\n")
            << command;
        EXPECT_THAT(run.out, HasSubstr("03:03")) << command;
    }
}

TEST_F(Tree, ShowsEveryFunctionOfEveryPciDomain) {
    host.setHostName("domains").setSmbiosTable(testsupport::slotTable({3}));
    for (int domain = 0; domain < 2; ++domain)
        host.addFunction(testsupport::deviceAt(3, 3, 0)).addFunction(testsupport::bridgeAt(0, 0, 0));
    const Json document = treeJson(host.directory());
    EXPECT_THAT(locations(document["board"]), ElementsAre("00:00.0", "00:00.0"));
    EXPECT_THAT(locations(document["slots"][0]), ElementsAre("03:03.0", "03:03.0"));
    const Lines drawn = treeLines(host.directory());
    EXPECT_THAT(drawn[2], testing::StartsWith("│  └─ 00:00.0  2×  [the same location in 2 PCI domains] "));
    EXPECT_THAT(drawn[4], testing::StartsWith("   └─ 03:03.0  2×  [the same location in 2 PCI domains] "));
    EXPECT_EQ(drawn[6], "CMPI_RC_OK, 1 slot, 4 functions; 3 readings of the SMBIOS table");
}

TEST_F(Tree, ErrorStatusIsExplainedAndTheExitCode) {
    const Outcome run = tree(host.directory(), {"--library", CIMHOST_FILTER_PROVIDER});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.out, HasSubstr("\nCMPI_RC_ERR_NOT_SUPPORTED, 0 slots, 0 functions; "));
    EXPECT_THAT(run.err, AllOf(HasSubstr("QELTA_SystemBoard"), HasSubstr("CMPI_RC_ERR_NOT_SUPPORTED")));
}

class SampleTree : public testing::TestWithParam<std::string> {
 protected:
    std::string directory() const { return std::string(CIMHOST_SAMPLES) + '/' + GetParam(); }
};

TEST_P(SampleTree, FitsOnAScreen) {
    const Outcome run = runCimhost({"tree", "--host", directory()}, {120});
    const Lines lines = cimhost::lines(run.out);
    EXPECT_THAT(lines, SizeIs(testing::Le(60U)));
    for (const std::string& line : lines) EXPECT_LE(cimhost::columnsOf(line), 120U) << line;
    EXPECT_THAT(lines, Each(Not(HasSubstr("\\x"))));
}

TEST_P(SampleTree, CountsAreThoseOfTheAssociations) {
    const Json document = treeJson(directory());
    const std::size_t onBoard = document["board"]["functions"].size();
    EXPECT_EQ(document["slots"].size(), countOf(directory(), "QELTA_SystemSlot"));
    EXPECT_EQ(onBoard, countOf(directory(), "QELTA_OnBoardDevice"));
    EXPECT_EQ(functionsInSlots(document), countOf(directory(), "QELTA_DeviceInSlot"));
    EXPECT_EQ(onBoard + functionsInSlots(document) + document["elsewhere"]["functions"].size(),
              countOf(directory(), "QELTA_PCIDevice") + countOf(directory(), "QELTA_PCIBridge"));
}

TEST_P(SampleTree, InFullHasALineForEveryFunction) {
    const Json document = treeJson(directory());
    const std::size_t functions =
        document["board"]["functions"].size() + functionsInSlots(document) + document["elsewhere"]["functions"].size();
    const std::size_t restTitle = document["elsewhere"]["functions"].empty() ? 0 : 1;
    EXPECT_THAT(treeLines(directory(), {"--all"}), SizeIs(2 + document["slots"].size() + restTitle + functions + 2));
}

INSTANTIATE_TEST_SUITE_P(Of, SampleTree, testing::Values("dell-t440", "dell-r910", "lenovo-90g0"),
                         [](const auto& sample) {
                             std::string name = sample.param;
                             name.erase(name.find('-'), 1);
                             return name;
                         });

}  // namespace
