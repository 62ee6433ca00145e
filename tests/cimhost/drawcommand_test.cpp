// The command draw, as it is run.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "programtest.h"
#include "wbem/xml.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

using Draw = HostTest;

TEST_F(Draw, WritesAPictureOfTheMachine) {
    testsupport::buildRack(host);
    const std::string svg = answer({"draw"});
    EXPECT_THAT(svg, StartsWith("<svg xmlns=\"http://www.w3.org/2000/svg\""));
    EXPECT_STREQ(wbem::parseXml(svg).document_element().child("title").child_value(),
                 "rack7: 3 slots, 0 in use; 9 functions");
    for (const char* text : {">rack7</text>", ">PCI5</text>", ">07:00.0  [", ">Neither on the board nor in a slot<"})
        EXPECT_THAT(svg, HasSubstr(text));
    EXPECT_EQ(answer({"draw", "--format", "svg"}), svg);
    EXPECT_EQ(answer({"draw", "--format=svg", "--width", "20", "--color"}), svg);  // they are of texts
    EXPECT_NE(answer({"draw", "--all"}), svg);
}

TEST_F(Draw, IsTheSameInEveryLocale) {
    testsupport::buildRack(host);
    host.setHostName(
        "r\xc3\xa4"
        "ck");
    EXPECT_EQ(ask({"draw"}, {std::nullopt, {"LC_ALL=C"}}).out, answer({"draw"}));
}

TEST_F(Draw, WritesAGraphThatGraphvizTakes) {
    testsupport::buildRack(host);
    host.setHostName("odd \"host\" \\N &lt; <b>");
    const std::string graph = answer({"draw", "--format", "dot"});
    EXPECT_THAT(graph, AllOf(StartsWith("graph \"odd \\\"host\\\""), HasSubstr("5  PCI5  32 bit  available")));
    if (std::system("dot -V >/dev/null 2>&1") != 0) GTEST_SKIP() << "Graphviz is not installed";
    const std::string file = host.path("graph.dot").string();
    std::ofstream(file) << graph;
    ASSERT_EQ(std::system(("dot -Tsvg -o " + file + ".svg " + file + " 2>" + file + ".err").c_str()), 0);
    std::ifstream picture(file + ".svg");
    const std::string drawn{std::istreambuf_iterator<char>(picture), {}};
    EXPECT_THAT(drawn, HasSubstr("odd &quot;host&quot; \\N &amp;lt; &lt;b&gt;"));
}

TEST_F(Draw, HasFormatsOfItsOwn) {
    EXPECT_THAT(complaint({"draw", "--format", "json"}), HasSubstr("json is none of dot, svg"));
    EXPECT_THAT(complaint({"--format", "json", "draw"}), HasSubstr("draw writes svg or dot, named after the command"));
    EXPECT_THAT(complaint({"tree", "--format", "svg"}), HasSubstr("svg is none of csv, json"));
}

TEST_F(Draw, OfAMachineWhoseBmcIsSilentHasNoSlots) {
    testsupport::buildRack(host);
    host.setFaults(R"({"faults": [{"times": 0, "timeout": true}]})");
    EXPECT_THAT(answer({"draw"}), HasSubstr("no slots: the BMC gave no SMBIOS table, or one without slots"));
}

TEST_F(Draw, OfASampleIsThePictureInTheReadme) {
    std::ifstream file(CIMHOST_README_PICTURE);
    const std::string kept{std::istreambuf_iterator<char>(file), {}};
    // With names of its own: those of the PCI ID list change.
    const auto put = [&](const std::string& part, const std::filesystem::path& there) {
        std::filesystem::remove_all(host.path(part));
        std::filesystem::create_symlink(there, host.path(part));
    };
    for (const char* part : {"proc", "bmc", "hostname"}) put(part, CIMHOST_SAMPLES "/dell-r910/" + std::string(part));
    put("etc/vmware", CIMHOST_PICTURE_NAMES);
    const std::string picture = answer({"draw"});
    EXPECT_TRUE(picture == kept) << "make it again: build/release/bin/cimhost draw --host dell-r910 > docs/r910.svg";
}

}  // namespace
