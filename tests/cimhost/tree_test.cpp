// The tree of inventories made by hand, and how they are taken.

#include "cimhost/tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <limits>
#include <set>
#include <string>
#include <utility>

#include "answers.h"
#include "tests/support/machine.h"

namespace {

using cimhost::Function;
using cimhost::Functions;
using cimhost::Inventory;
using cimhost::TableOptions;
using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Lines = std::vector<std::string>;

// --- drawing ---

Function function(const std::string& location, const std::string& description = "Network: Acme Thing (rev 02)") {
    return {location, "QELTA_PCIDevice", "8086:1234", "02:00", description, {}};
}

Inventory withOnBoard(const Functions& functions) {
    Inventory inventory;
    inventory.host = "host";
    inventory.onBoard = functions;
    return inventory;
}

/** The tree of a board with these functions, without the lines for the host, the slots and the status. */
Lines boardLines(const Functions& functions, const TableOptions& options = {}) {
    Lines drawn = cimhost::lines(cimhost::treeText(withOnBoard(functions), options));
    EXPECT_GE(drawn.size(), 5U);
    EXPECT_EQ(drawn.front(), "host");
    std::string status;
    for (auto line = std::find(drawn.begin(), drawn.end(), ""); line != drawn.end(); ++line) {
        EXPECT_TRUE(options.width == 0 || cimhost::columnsOf(*line) <= options.width) << *line;
        status += *line;
    }
    EXPECT_EQ(status, "CMPI_RC_OK, 0 slots, 0 functions; 0 readings of the SMBIOS table");
    const auto rest = std::find_if(drawn.begin() + 2, drawn.end(), [](const std::string& line) {
        return line.rfind("└─ ", 0) == 0 || line.rfind("`- ", 0) == 0;
    });
    return {drawn.begin() + 1, rest};
}

TEST(TreeLines, FunctionsOfADeviceShareALine) {
    EXPECT_THAT(boardLines({function("00:1f.0"), function("00:1f.2"), function("00:1f.3"), function("02:00.0")}),
                ElementsAre("├─ system board  4 functions",  //
                            "│  ├─ 00:1f.0,2,3  3×  Network: Acme Thing (rev 02)",
                            "│  └─ 02:00.0          Network: Acme Thing (rev 02)"));
}

TEST(TreeLines, ThreeNumbersInARowAreARange) {
    EXPECT_THAT(boardLines({function("00:1f.0"), function("00:1f.1"), function("00:1f.3"), function("00:1f.4"),
                            function("00:1f.5"), function("00:1f.7")}),
                ElementsAre("├─ system board  6 functions", "│  └─ 00:1f.0,1,3-5,7  6×  Network: Acme Thing (rev 02)"));
}

TEST(TreeLines, KindsAndNamesAreToldOnceEach) {
    EXPECT_THAT(
        boardLines({function("00:1f.0", "ISA bridge: Acme Corp Set LPC (rev 09)"),
                    function("00:1f.2", "SMBus: Acme Corp Set Bus (rev 09)"),
                    function("00:1f.3", "SMBus: Acme Corp Setup Bus (rev 01)"),
                    function("00:1f.4", "Serial: Acme Corp Set Bus (rev 03)"), function("00:1f.5", "plain")}),
        ElementsAre("├─ system board  5 functions",
                    "│  └─ 00:1f.0,2-5  5×  ISA bridge, SMBus, Serial: Acme Corp Set LPC; Bus; Setup Bus; plain"));
}

TEST(TreeLines, NeighboursThatReadTheSameShareALine) {
    EXPECT_THAT(boardLines({function("16:08.0"), function("16:08.1"), function("16:0a.0"), function("17:0b.0"),
                            function("17:0c.0", "Other"), function("17:0d.0")}),
                ElementsAre("├─ system board  6 functions", "│  ├─ 16:08.0..0a.0  3×  Network: Acme Thing (rev 02)",
                            "│  ├─ 17:0b.0            Network: Acme Thing (rev 02)", "│  ├─ 17:0c.0            Other",
                            "│  └─ 17:0d.0            Network: Acme Thing (rev 02)"));
}

TEST(TreeLines, EveryFunctionHasItsOwnInFull) {
    EXPECT_THAT(boardLines({function("16:08.0"), function("16:08.1")}, inFull(0)),
                ElementsAre("├─ system board  2 functions", "│  ├─ 16:08.0    Network: Acme Thing (rev 02)",
                            "│  └─ 16:08.1    Network: Acme Thing (rev 02)"));
}

TEST(TreeLines, LocationsOfAnotherFormStandAlone) {
    EXPECT_THAT(
        boardLines({function("somewhere"), function("somewhere else"), function("v1.10"), function("v1.11", "Other")}),
        ElementsAre("├─ system board  4 functions", "│  ├─ somewhere         Network: Acme Thing (rev 02)",
                    "│  ├─ somewhere else    Network: Acme Thing (rev 02)",
                    "│  ├─ v1.10             Network: Acme Thing (rev 02)", "│  └─ v1.11             Other"));
}

TEST(TreeLines, LocationsOfAnotherFormThatReadTheSameAreToldFromFirstToLast) {
    for (const auto& [first, last] :
         {std::pair("0:1", "0:1.7"), std::pair("0:1.10", "0:1.2"), std::pair("0:1.2", "0:1.10"),
          std::pair("0:1.\xc3\xa9", "0:1.\xc3\xaa"), std::pair("0:", "0:.")}) {
        const std::string line = boardLines({function(first), function(last)}).at(1);
        EXPECT_EQ(line, std::string("│  └─ ") + first + ".." + (last + 2) + "  2×  Network: Acme Thing (rev 02)");
    }
}

TEST(TreeLines, AreCutOnATerminalAndPrintable) {
    const std::string odd = "odd \x1b[31m and far too long for the line";
    EXPECT_THAT(boardLines({function("00:01.0", odd)}, onTerminal(40)),
                ElementsAre("├─ system board  1 function", "│  └─ 00:01.0    odd \\x1b[31m and far..."));
}

TEST(TreeLines, GoOnBelowElsewhere) {
    EXPECT_THAT(boardLines({function("00:01.0", "one two three four five six"), function("00:02.0")}, {40, false}),
                ElementsAre("├─ system board  2 functions",  //
                            "│  ├─ 00:01.0    one two three four",
                            "│  │             five six",  //
                            "│  └─ 00:02.0    Network: Acme Thing", "│                (rev 02)"));
}

TEST(TreeLines, AreAsLongAsTheyHaveToBe) {
    const std::string description(300, 'd');
    EXPECT_THAT(boardLines({function("00:01.0", description)}),
                ElementsAre("├─ system board  1 function", "│  └─ 00:01.0    " + description));
}

TEST(TreeLines, AreAsciiWhereNothingElseCanBeShown) {
    TableOptions options;
    options.charset = cimhost::Charset::ascii;
    EXPECT_THAT(boardLines({function("00:1f.0", "Soci\xc3\xa9t\xc3\xa9"), function("00:1f.1", "Soci\xc3\xa9t\xc3\xa9"),
                            function("01:00.0")},
                           options),
                ElementsAre("|- system board  3 functions",  //
                            "|  |- 00:1f.0,1  2x  Soci\\xc3\\xa9t\\xc3\\xa9",
                            "|  `- 01:00.0        Network: Acme Thing (rev 02)"));
}

TEST(TreeLines, ColorsMakePlacesBoldAndTheStatusDim) {
    TableOptions options;
    options.color = true;
    const Lines drawn = cimhost::lines(cimhost::treeText(withOnBoard({function("00:01.0", "Thing")}), options));
    ASSERT_THAT(drawn, SizeIs(6));
    EXPECT_EQ(drawn[0], "\x1b[1mhost\x1b[0m");
    EXPECT_EQ(drawn[1], "├─ \x1b[1msystem board  1 function\x1b[0m");
    EXPECT_EQ(drawn[2], "│  └─ 00:01.0    Thing");
    EXPECT_THAT(drawn[5], AllOf(testing::StartsWith("\x1b[2mCMPI_RC_OK"), testing::EndsWith("\x1b[0m")));
}

TEST(TreeLines, FunctionsAtOneLocationAreAllCountedAndToldOf) {
    EXPECT_THAT(
        boardLines({function("00:1f.0", "One"), function("00:1f.0", "Two"), function("00:1f.2", "One"),
                    function("00:1f.2", "One"), function("01:00.0", "One"), function("01:00.0", "One"),
                    function("02:00.0", "Other")}),
        ElementsAre("├─ system board  7 functions",  //
                    "│  ├─ 00:1f.0,2  4×  [the same location in 2 PCI domains] One; Two",
                    "│  ├─ 01:00.0    2×  [the same location in 2 PCI domains] One", "│  └─ 02:00.0        Other"));
    EXPECT_THAT(boardLines({function("00:1f.0", "One"), function("00:1f.0", "Two")}, inFull(0)),
                ElementsAre("├─ system board  2 functions", "│  ├─ 00:1f.0    [the same location in 2 PCI domains] One",
                            "│  └─ 00:1f.0    [the same location in 2 PCI domains] Two"));
    EXPECT_THAT(boardLines({function("00:1f.0", "One"), function("00:1f.2", "One"), function("00:1f.2", "One")}),
                ElementsAre("├─ system board  3 functions", "│  └─ 00:1f.0,2  3×  [00:1f.2 in 2 PCI domains] One"));
}

TEST(TreeLines, StatusIsTheLast) {
    Inventory inventory;
    inventory.status = CMPI_RC_ERR_FAILED;
    inventory.functionCount = 1;
    inventory.readings = 3;
    EXPECT_THAT(cimhost::lines(cimhost::treeText(inventory, {})).back(),
                "CMPI_RC_ERR_FAILED, 0 slots, 1 function; 3 readings of the SMBIOS table");
}

/** So many functions at one location, each of another kind and name, and as many elsewhere. */
Functions crowd(std::size_t count) {
    Functions functions;
    for (std::size_t i = 0; i < count; ++i)
        functions.push_back(function("00:00.0", "Kind " + std::to_string(i) + ": Name" + std::to_string(i)));
    for (std::size_t i = 0; i < count; ++i) functions.push_back(function("place " + std::to_string(i)));
    return functions;
}

/** Processor time of this process that work takes, in seconds; the least of three times. */
template <typename Work>
double cost(const Work& work) {
    double least = std::numeric_limits<double>::max();
    for (int i = 0; i < 3; ++i) {
        const std::clock_t began = std::clock();
        work();
        least = std::min(least, static_cast<double>(std::clock() - began) / CLOCKS_PER_SEC);
    }
    return least;
}

// What is quadratic takes 256 times as long for 16 times as much, what is not takes about 20 times as long.
constexpr std::size_t kMore = 16;
constexpr double kFarFromQuadratic = 80;

TEST(TreeLines, CostInProportionToTheFunctions) {
    for (const std::size_t width : {std::size_t{0}, std::size_t{60}}) {
        const auto drawn = [&](std::size_t count) {
            const Inventory inventory = withOnBoard(crowd(count));
            return cost([&] { cimhost::treeText(inventory, {width, false}); });
        };
        constexpr std::size_t kCount = 1000;
        EXPECT_LT(drawn(kMore * kCount), kFarFromQuadratic * drawn(kCount)) << "width " << width;
    }
}

// --- taking stock ---

TEST(TakeInventory, CostsInProportionToSlotsAndFunctions) {
    const auto taken = [](std::size_t count) {
        cimhost::Instances slots;
        cimhost::Instances functions;
        for (std::size_t i = 1; i <= count; ++i) {
            slots.push_back(testsupport::slotInstance(static_cast<unsigned>(i)));
            broker::Instance function;
            function.path.className = "QELTA_PCIDevice";
            function.properties = {{"Number", broker::Value::uint(CMPI_uint64, count + i)},
                                   {"UINumber", broker::Value::uint(CMPI_uint64, count + i)}};
            functions.push_back(function);
        }
        const auto ask = [&](const cimhost::Question& question) -> cimhost::Answer {
            if (question.subject == "QELTA_PCIDevice") return {CMPI_RC_OK, functions};
            if (question.subject == "QELTA_SystemSlot") return {CMPI_RC_OK, slots};
            return {CMPI_RC_OK, cimhost::Instances{}};
        };
        return cost([&] { EXPECT_THAT(cimhost::takeInventory(ask).elsewhere, SizeIs(count)); });
    };
    constexpr std::size_t kCount = 200;
    EXPECT_LT(taken(kMore * kCount), kFarFromQuadratic * taken(kCount));
}

/** A machine with a device and a bridge in slot 3, and one of each on the board, whose BMC keeps silent now and then.
 */
class FickleMachine {
 public:
    /** Requests that read the table, counted from 1, for which there is none. */
    explicit FickleMachine(std::set<unsigned> silent) : silent_(std::move(silent)) {}

    Inventory inventory() {
        return cimhost::takeInventory([this](const cimhost::Question& question) {
            const std::string& subject = question.subject;
            if (subject == "QELTA_SystemBoard") return answer(cimhost::Instances{});
            asked += (asked.empty() ? "" : " ") + subject.substr(6);
            const bool silent = silent_.count(++readings) != 0;
            if (subject != "QELTA_SystemSlot")
                return answer({numbered(subject, 3, silent), numbered(subject, 31, true)});
            return silent ? answer(cimhost::Instances{}) : answer({testsupport::slotInstance(3)});
        });
    }

    unsigned readings = 0;
    std::string asked;

 private:
    static broker::Instance numbered(const std::string& className, unsigned device, bool onBoard) {
        return instance(className, {}, {{"Number", uint16(device)}, {"UINumber", uint8(onBoard ? 0 : device)}});
    }

    std::set<unsigned> silent_;
};

TEST(TakeInventory, AsksAgainWhereOneReadingHadNoTable) {
    const std::string usual = "PCIDevice PCIBridge SystemSlot";
    const struct {
        std::set<unsigned> silent;
        std::string asked;
        bool consistent;
        std::size_t slots, inSlot, onBoard;
    } cases[] = {
        {{}, usual, true, 1, 2, 2},
        {{1, 2, 3}, usual, true, 0, 0, 4},
        {{1}, usual + " PCIDevice", true, 1, 2, 2},
        {{2}, usual + " PCIBridge", true, 1, 2, 2},
        {{1, 2}, usual + " PCIDevice PCIBridge", true, 1, 2, 2},
        {{3}, usual + " SystemSlot", true, 1, 2, 2},
        {{1, 3}, usual + " SystemSlot PCIDevice", true, 1, 2, 2},
        {{1, 4}, usual + " PCIDevice", false, 1, 2, 2},
        {{2, 3, 4}, usual + " SystemSlot", false, 0, 0, 3},
    };
    for (const auto& each : cases) {
        FickleMachine machine(each.silent);
        const Inventory inventory = machine.inventory();
        const std::string message = testing::PrintToString(each.silent);
        EXPECT_EQ(machine.asked, each.asked) << message;
        EXPECT_EQ(inventory.readings, machine.readings) << message;
        EXPECT_EQ(inventory.consistent, each.consistent) << message;
        EXPECT_EQ(inventory.refusal.empty(), each.consistent) << message;
        ASSERT_THAT(inventory.slots, SizeIs(each.slots)) << message;
        for (const cimhost::Slot& slot : inventory.slots) EXPECT_THAT(slot.functions, SizeIs(each.inSlot)) << message;
        EXPECT_THAT(inventory.onBoard, SizeIs(each.onBoard)) << message;
        EXPECT_EQ(inventory.functionCount, each.slots * each.inSlot + each.onBoard + inventory.elsewhere.size())
            << message << ": each function has one place";
    }
}

TEST(TakeInventory, KeepsTheFirstErrorAndWhatTheOthersBring) {
    const auto ask = [](const cimhost::Question& question) -> cimhost::Answer {
        if (question.subject == "QELTA_PCIDevice") return {CMPI_RC_ERR_FAILED, cimhost::Instances{}};
        if (question.subject == "QELTA_PCIBridge") return {CMPI_RC_ERR_ACCESS_DENIED, cimhost::Instances{}};
        if (question.subject == "QELTA_SystemSlot")
            return {CMPI_RC_OK, cimhost::Instances{testsupport::slotInstance(3)}};
        return {CMPI_RC_OK, cimhost::Instances{}};
    };
    const Inventory inventory = cimhost::takeInventory(ask);
    EXPECT_EQ(inventory.status, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(inventory.subject, "QELTA_PCIDevice");
    EXPECT_EQ(inventory.host, "-");
    ASSERT_THAT(inventory.slots, SizeIs(1));
    EXPECT_EQ(inventory.slots[0].designation, "-");
    EXPECT_THAT(inventory.slots[0].functions, IsEmpty());
}

}  // namespace
