// What the program makes of terminals: their width, their character set, colours.

#include <algorithm>

#include "programtest.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class TerminalTest : public RackTest {
 protected:
    std::string devices(const Surrounding& terminal, const Arguments& more = {}) const {
        return ask(joined({"enumerate", "QELTA_PCIDevice"}, more), terminal).out;
    }
    static std::size_t longest(const std::string& text) {
        std::size_t most = 0;
        for (const std::string& line : cimhost::lines(text)) most = std::max(most, cimhost::columnsOf(line));
        return most;
    }
};

const Arguments kNoColor = {"--color=never"};

TEST_F(TerminalTest, LinesFitItsWidth) {
    EXPECT_EQ(longest(devices({75}, kNoColor)), 75U);
    EXPECT_EQ(longest(devices({77}, kNoColor)), 77U);
    EXPECT_THAT(devices({75}, kNoColor), HasSubstr("...\n"));
}

TEST_F(TerminalTest, ColumnsAndTheOptionStandForItsWidth) {
    EXPECT_EQ(longest(devices({200, {"COLUMNS=76"}}, kNoColor)), 76U);
    EXPECT_EQ(longest(devices({200, {"COLUMNS=76"}}, {"--color=never", "--width", "75"})), 75U);
}

TEST_F(TerminalTest, ColumnsThatAreNoPositiveNumberAreIgnored) {
    for (const char* columns : {"COLUMNS=wide", "COLUMNS=", "COLUMNS=0", "COLUMNS=-5", "COLUMNS=76x", "COLUMNS= 76",
                                "COLUMNS=99999999999999999999"})
        EXPECT_EQ(longest(devices({75, {columns}}, kNoColor)), 75U) << columns;
}

TEST_F(TerminalTest, OfUnknownWidthHasEightyColumns) {
    EXPECT_EQ(devices({0}), devices({80}));
}

TEST(NarrowTerminal, IsExceededByNoLine) {
    for (const unsigned short width : std::vector<unsigned short>{60, 40})
        for (const Arguments& question :
             {Arguments{"slots"}, Arguments{"devices"}, Arguments{"bridges"}, Arguments{"associators", "5"},
              Arguments{"tree"}, Arguments{"get", "5"}, Arguments{"samples"}}) {
            const Outcome run = runCimhost(joined(question, {"--host", "dell-t440", "--color=never"}), {width});
            EXPECT_EQ(run.exitCode, 0);
            for (const std::string& line : cimhost::lines(run.out))
                EXPECT_LE(cimhost::columnsOf(line), width) << question[0] << ": " << line;
        }
}

TEST(NarrowTerminal, SaysWhatIsLeftOut) {
    const auto shown = [](const std::string& command) {
        return runCimhost({command, "--host", "dell-t440", "--color=never"}, {60}).out;
    };
    EXPECT_THAT(shown("slots"),
                AllOf(HasSubstr("left out: "), HasSubstr("HotPlug (--all or a wider"), HasSubstr("System Slot 3")));
    EXPECT_THAT(shown("devices"), AllOf(HasSubstr("left out: Rev, Number"), HasSubstr("16:05.0")));
}

TEST_F(TerminalTest, WithoutUtf8GetsAscii) {
    const std::string shown = ask({"tree"}, {80, {"LC_ALL=C"}}).out;
    EXPECT_THAT(shown, AllOf(HasSubstr("|- "), HasSubstr("`- "), HasSubstr("2x")));
    for (const char byte : shown) EXPECT_LT(static_cast<unsigned char>(byte), 0x7F);
    EXPECT_THAT(ask({"tree"}, {80, {"LC_ALL=C.UTF-8"}}).out, AllOf(HasSubstr("├─ "), HasSubstr("2×")));
}

TEST_F(TerminalTest, GetsColorsUnlessTheyAreUnwanted) {
    const std::string colored = devices({80});
    EXPECT_THAT(colored, AllOf(HasSubstr("\x1b[1mLocation "), HasSubstr("\x1b[2mCMPI_RC_OK"), HasSubstr("\x1b[0m")));
    EXPECT_EQ(devices({80}, {"--color=auto"}), colored);
    EXPECT_EQ(devices({80, {"NO_COLOR="}}), colored) << "an empty one forbids nothing";
    for (const char* plain : {"NO_COLOR=1", "TERM=dumb", "TERM="}) {
        EXPECT_THAT(devices({80, {plain}}), Not(HasSubstr("\x1b")));
        for (const Arguments& wanted :
             {Arguments{"--color=always"}, Arguments{"--color", "always"}, Arguments{"--color"}})
            EXPECT_EQ(devices({80, {plain}}, wanted), colored);
    }
    EXPECT_THAT(devices({80}, kNoColor), Not(HasSubstr("\x1b")));
}

TEST_F(TerminalTest, OddTextsAreReplacedInEveryFormatMessageAndTrace) {
    const std::string nasty = "QELTA_\x1b]0;title\x07\xc2\x9b\xe2\x80\xae";
    for (const char* format : {"table", "mof", "json", "jsonl", "csv", "tsv"}) {
        const Outcome run = ask({"enumerate", nasty, "--format", format, "--color=never", "--trace"}, {80});
        for (const std::string& text : {run.out, run.err})
            EXPECT_THAT(text, AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("\x07")), Not(HasSubstr("\xc2\x9b")),
                                    Not(HasSubstr("\xe2\x80\xae"))))
                << format;
        EXPECT_THAT(run.err, HasSubstr("cimhost: QELTA_\\x1b]0;title\\x07\\xc2\\x9b\\xe2\\x80\\xae: "));
        EXPECT_THAT(run.err, HasSubstr("classname [QELTA_\\x1b]0;title"));
    }
    for (const Arguments& wrong :
         {Arguments{nasty}, Arguments{"tree", "--format", nasty}, Arguments{"get", "Q." + nasty},
          Arguments{"tree", "--library", "/" + nasty}, Arguments{"tree", nasty}}) {
        const Outcome run = runCimhost(wrong, {80});
        EXPECT_EQ(run.exitCode, 2) << run.err;
        EXPECT_THAT(run.err, AllOf(StartsWith("cimhost: "), HasSubstr("\\x1b]0;title"), Not(HasSubstr("\x1b"))));
    }
}

using NoTerminal = RackTest;

TEST_F(NoTerminal, LosesNothing) {
    const Arguments question = {"enumerate", "QELTA_PCIDevice"};
    const std::string whole = answer(joined(question, {"--width", "100000"}));
    EXPECT_THAT(whole, AllOf(Not(HasSubstr("...")), Not(HasSubstr("\x1b"))));
    EXPECT_EQ(answer(question), whole);
    EXPECT_EQ(ask(question, {{}, {"COLUMNS=40"}}).out, whole);
    const std::string narrow = answer(joined(question, {"--width", "72"}));
    EXPECT_THAT(narrow, Not(HasSubstr("...")));
    for (const std::string& line : cimhost::lines(narrow)) EXPECT_LE(cimhost::columnsOf(line), 72U) << line;
}

TEST_F(NoTerminal, HasColorsOnRequestAlone) {
    EXPECT_THAT(answer({"board"}), Not(HasSubstr("\x1b")));
    EXPECT_THAT(answer({"board", "--color"}), HasSubstr("\x1b[1mProperty"));
}

TEST_F(NoTerminal, WidthIsAPositiveNumber) {
    for (const char* width : {"0", "-1", "+5", "wide", "", "1.5", "1e3"}) {
        const std::string shown = *width == '\0' ? "''" : width;
        EXPECT_THAT(complaint({"tree", "--width", width}),
                    StartsWith("cimhost: --width: " + shown + " is no positive number\n"));
    }
    EXPECT_THAT(runCimhost({"tree", "--width", "99999999999999999999"}).err,
                StartsWith("cimhost: --width: 99999999999999999999 is too large\n"));
}

}  // namespace
