// What a client meets with each object manager, by the commands.

#include "broker/manners.h"
#include "programtest.h"

namespace {

using broker::Manners;
using broker::manners::Row;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class MannersOption : public testing::TestWithParam<Manners> {
 protected:
    MannersOption() { testsupport::buildRack(host); }

    Outcome run(const Arguments& arguments) const {
        return runCimhost(joined(arguments, {"--host", host.directory(), "--manners", nameOf(GetParam())}));
    }
    Json ask(const Arguments& arguments) const { return Json::parse(run(joined(arguments, {"--format", "json"})).out); }
    template <typename Expectation>
    static Expectation under(const Row<Expectation>& expectations) {
        return expectations.of(GetParam());
    }

    testsupport::HostBuilder host;
};

INSTANTIATE_TEST_SUITE_P(Of, MannersOption, testing::ValuesIn(broker::allManners()),
                         [](const auto& row) { return nameOf(row.param); });

constexpr char kSlotNine[] = "QELTA_SystemSlot.Tag=\"System Slot 9\"";  // the last of three, 5 comes first
constexpr char kDevice[] = "QELTA_PCIDevice.DeviceID=\"PCI Bus 3, device 3, function 0\"";
constexpr char kBridge[] = "QELTA_PCIBridge.DeviceID=\"PCI Bus 5, device 5, function 0\"";
constexpr char kView[] = "QELTA_SSPCIController.DeviceID=\"PCI Bus 3, device 3, function 0\"";
constexpr char kBoard[] = "QELTA_SystemBoard.DeviceID=\"SystemBoard1\"";

TEST_P(MannersOption, AGetGivesTheFirstObjectUnderThePathAskedFor) {
    const Json document = ask({"get", kSlotNine});
    // A strict manager takes the first alone, which is not the one that is wanted.
    EXPECT_EQ(document["statusCode"], under(Row<int>{0, 0, 0, 6}));
    ASSERT_EQ(document["instances"].size(), under(Row<std::size_t>{1, 1, 1, 0}));
    if (document["instances"].empty()) return;
    Json instance = document["instances"][0];
    EXPECT_THAT(instance["path"]["text"].get<std::string>(), HasSubstr("Tag=\"System Slot 9\""));
    EXPECT_EQ(instance["Number"], under(Row<int>{9, 5, 5, 0}));
    const Json unknown = ask({"get", "QELTA_SystemSlot.Tag=\"System Slot 77\""});
    EXPECT_EQ(unknown["statusCode"], under(Row<int>{6, 0, 0, 6}));
}

TEST_P(MannersOption, KeysThatTheProviderDoesNotSetAreProperties) {
    Json slots = ask({"enumerate", "QELTA_SystemSlot"})["instances"];
    ASSERT_EQ(slots.size(), 3U);
    const Json hostName = slots[0]["SystemName"];
    EXPECT_EQ(hostName, under(Row<Json>{"rack7", "rack7", nullptr, nullptr}));
    EXPECT_EQ(slots[0]["Tag"], "System Slot 5");
    EXPECT_THAT(slots[0]["path"]["text"].get<std::string>(), HasSubstr("SystemName=\"rack7\""));
    Json onBoard = ask({"enumerate", "QELTA_OnBoardDevice"})["instances"];
    ASSERT_EQ(onBoard.size(), 4U);
    EXPECT_EQ(onBoard[0]["Antecedent"].is_null(), under(Row<bool>{false, false, true, true}));
}

TEST_P(MannersOption, ASuperclassStandsForTheClassesBelowIt) {
    const Json document = ask({"names", "QELTA_Controller"});
    const Row<std::size_t> kFunctions = {0, 9, 9, 0};
    EXPECT_EQ(document["names"].size(), under(kFunctions));
}

/** An association request and how many objects are its answer, with the status where it is none. */
struct AssociationRow {
    Arguments arguments;
    Row<int> objects;
    Row<int> status = {};
};

TEST_P(MannersOption, AssociationRequestsGoTheWayOfTheManager) {
    const std::vector<AssociationRow> rows = {
        {{"associator-names", kDevice}, {1, 1, 2, 1}},  // slot and board, or the board alone
        {{"associator-names", kDevice, "--result-class", "QELTA_SystemBoard"}, {1, 1, 2, 1}},  // the board twice
        {{"associator-names", kBridge, "--result-class", "QELTA_SystemSlot"}, {1, 1, 2, 1}},
        {{"associator-names", kBridge, "--assoc-class", "QELTA_DeviceInSlot"}, {1, 1, 1, 1}},
        {{"associator-names", kView}, {1, 1, 0, 1}},
        {{"associator-names", kBoard}, {4, 4, 4, 4}},
        {{"associator-names", kBoard, "--assoc-class", "QELTA_DeviceInSlot"}, {4, 4, 0, 4}},
        {{"associator-names", kBoard, "--assoc-class", "QELTA_Unknown"}, {4, 0, 0, 4}, {0, 6, 0, 0}},
        {{"associator-names", kBoard, "--assoc-class", "QELTA_SystemSlot"}, {4, 0, 0, 4}},
        {{"reference-names", kDevice}, {1, 1, 2, 1}},
        {{"reference-names", kDevice, "--result-class", "qelta_deviceinslot"}, {1, 1, 1, 1}},
        {{"reference-names", kBoard, "--result-class", "QELTA_Unknown"}, {4, 0, 0, 4}, {0, 6, 0, 0}},
    };
    for (const AssociationRow& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        const Json document = ask(row.arguments);
        EXPECT_EQ(document["names"].size(), static_cast<std::size_t>(under(row.objects)));
        EXPECT_EQ(document["statusCode"], under(row.status));
    }
}

TEST_P(MannersOption, AFilterThatIsRefusedIsToBlame) {
    const std::vector<Arguments> requests = {{"associators", "5", "--assoc-class", "QELTA_Unknown"},
                                             {"associator-names", "5", "--assoc-class", "QELTA_Unknown"},
                                             {"references", "5", "--result-class", "QELTA_Unknown"},
                                             {"reference-names", "5", "--result-class", "QELTA_Unknown"}};
    for (const Arguments& request : requests) {
        const Outcome outcome = run(request);
        EXPECT_EQ(outcome.exitCode, under(Row<int>{0, 1, 0, 0}));
        const std::string blame = request[2] + " QELTA_Unknown: the object manager knows no such class.\n";
        EXPECT_EQ(outcome.err.find(blame) != std::string::npos, under(Row<bool>{false, true, false, false}));
        EXPECT_THAT(outcome.err, Not(HasSubstr("no instance has these keys")));
    }
}

TEST_P(MannersOption, TheTreeIsTheSame) {
    const Outcome tree = run({"tree"});
    EXPECT_EQ(tree.exitCode, 0);
    EXPECT_EQ(tree.out, runCimhost({"tree", "--host", host.directory()}).out);
}

TEST_P(MannersOption, TheTraceTellsWhatIsRefused) {
    const bool refused = under(Row<bool>{false, false, true, true});
    const std::string line = "refused: result.returnInstance: a second instance for a get\n";
    EXPECT_EQ(run({"get", "QELTA_SystemSlot", "--trace"}).err.find(line) != std::string::npos, refused);
    EXPECT_THAT(run({"enumerate", "QELTA_SystemSlot", "--trace"}).err, Not(HasSubstr("refused")));
}

TEST(MannersOptionName, HasToBeThatOfAnObjectManager) {
    for (const char* name : {"openwbem", "", "SFCB"})
        EXPECT_THAT(complaint({"names", "QELTA_SystemBoard", "--manners", name}),
                    AllOf(HasSubstr("--manners"), HasSubstr("pegasus")));
}

}  // namespace
