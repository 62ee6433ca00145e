// Text that terminals may show, and its layout in columns.

#include "cimhost/printable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cimhost/texttable.h"

namespace {

using cimhost::Align;
using cimhost::Charset;
using cimhost::cut;
using cimhost::mofLiteral;
using cimhost::Overflow;
using cimhost::printable;
using cimhost::TextTable;
using cimhost::wrap;
using testing::ElementsAre;

TEST(Printable, LeavesTextAndUtf8Alone) {
    EXPECT_EQ(printable("Bridge: \"x\" \\ (rev 00)"), "Bridge: \"x\" \\ (rev 00)");
    EXPECT_EQ(printable("\xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80"), "\xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80");
}

TEST(Printable, EscapesControlCharacters) {
    EXPECT_EQ(printable("a\x1b[31mb\n\t\x7f"), "a\\x1b[31mb\\x0a\\x09\\x7f");
    EXPECT_EQ(printable(std::string("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(printable("\xc2\x9b"), "\\xc2\\x9b") << "C1 control, a terminal may obey it";
    EXPECT_EQ(printable("\xe2\x80\xa8"), "\\xe2\\x80\\xa8") << "line separator";
}

TEST(Printable, EscapesWhatIsNotSeenAndMakesAnotherText) {
    EXPECT_EQ(printable("a\xe2\x80\xae"
                        "b"),
              "a\\xe2\\x80\\xaeb")
        << "right to left from here";
    for (const char* unseen : {"\xc2\xad", "\xd8\x9c", "\xe2\x80\x8b", "\xe2\x80\x8f", "\xe2\x80\xaa", "\xe2\x81\xa6",
                               "\xe2\x81\xa9", "\xef\xbb\xbf", "\xf3\xa0\x81\x81", "\xcd\x8f", "\xe1\x85\x9f",
                               "\xe1\xa0\x8b", "\xe3\x85\xa4", "\xef\xb8\x8f", "\xef\xbe\xa0", "\xf0\x91\x82\xbd",
                               "\xf0\x93\x90\xb0", "\xf0\x9d\x85\xb3", "\xf3\xa0\x84\x80"})
        EXPECT_EQ(printable(unseen).substr(0, 2), "\\x") << testing::PrintToString(unseen);
    for (const char* seen : {"\xc2\xa0", "\xc2\xae", "\xe2\x80\x90", "\xe2\x80\xaf", "\xe2\x82\xac"})
        EXPECT_EQ(printable(seen), seen);
}

TEST(Printable, EscapesAllButAsciiWhereNothingElseCanBeShown) {
    EXPECT_EQ(printable("a\xc3\x9c~", Charset::ascii), "a\\xc3\\x9c~");
}

TEST(PrintableJson, EscapesInTheWayOfJson) {
    EXPECT_EQ(cimhost::printableJson("{\n \"\x7f\xc2\x9b\xe2\x80\xae\xf3\xa0\x81\x81\xc3\xa4\"\n}"),
              "{\n \"\\u007f\\u009b\\u202e\\udb40\\udc41\xc3\xa4\"\n}");
}

TEST(Printable, EscapesBytesThatAreNoUtf8) {
    EXPECT_EQ(printable("a\xff"
                        "b"),
              "a\\xffb");
    EXPECT_EQ(printable("\x80"), "\\x80") << "continuation without a beginning";
    EXPECT_EQ(printable("\xe2\x82"), "\\xe2\\x82") << "sequence that the end of the text breaks off";
    EXPECT_EQ(printable("\xc3("), "\\xc3(");
    EXPECT_EQ(printable("\xc0\xaf"), "\\xc0\\xaf") << "longer than need be";
    EXPECT_EQ(printable("\xe0\x80\xaf"), "\\xe0\\x80\\xaf") << "longer than need be";
    EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80") << "surrogate";
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "above the last code point";
}

TEST(Columns, CountCodePoints) {
    EXPECT_EQ(cimhost::columnsOf(""), 0U);
    EXPECT_EQ(cimhost::columnsOf("a\xc3\xa4\xe2\x82\xac"), 3U);
}

TEST(Cut, LeavesWhatFits) {
    EXPECT_EQ(cut("abcdef", 6), "abcdef");
    EXPECT_EQ(cut("\xc3\xa4\xc3\xa4", 2), "\xc3\xa4\xc3\xa4");
}

TEST(Cut, MarksWhatIsLost) {
    EXPECT_EQ(cut("abcdefg", 6), "abc...");
    EXPECT_EQ(cut("\xc3\xa4\xc3\xb6\xc3\xbcxyz", 5), "\xc3\xa4\xc3\xb6...");
    EXPECT_EQ(cut("abcdefg", 3), "...");
    EXPECT_EQ(cut("abcdefg", 2), "..");
    EXPECT_EQ(cut("abcdefg", 0), "");
}

TEST(Wrap, DividesAfterBlanks) {
    EXPECT_THAT(wrap("", 5), ElementsAre(""));
    EXPECT_THAT(wrap("one two", 7), ElementsAre("one two"));
    EXPECT_THAT(wrap("one two three", 8), ElementsAre("one two ", "three"));
}

TEST(Wrap, DividesAWordThatIsTooLong) {
    EXPECT_THAT(wrap("abcdefgh", 3), ElementsAre("abc", "def", "gh"));
    EXPECT_THAT(wrap("\xc3\xa4\xc3\xa4\xc3\xa4", 2), ElementsAre("\xc3\xa4\xc3\xa4", "\xc3\xa4"));
    EXPECT_THAT(wrap("a bcdefgh", 4), ElementsAre("a ", "bcde", "fgh"));
}

TEST(Lines, LastOneNeedsNoEnd) {
    EXPECT_THAT(cimhost::lines("one\n\ntwo"), ElementsAre("one", "", "two"));
    EXPECT_THAT(cimhost::lines("one\n"), ElementsAre("one"));
    EXPECT_THAT(cimhost::lines(""), ElementsAre());
}

TEST(MofLiteral, QuotesAndEscapes) {
    EXPECT_EQ(mofLiteral("plain"), "\"plain\"");
    EXPECT_EQ(mofLiteral("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(mofLiteral("\b\t\n\f\r"), "\"\\b\\t\\n\\f\\r\"");
    EXPECT_EQ(mofLiteral("\x1b\xff"), "\"\\x001B\\x00FF\"");
    EXPECT_EQ(mofLiteral("\xc2\x9b \xc3\xa4"), "\"\\x009B \xc3\xa4\"");
    EXPECT_EQ(mofLiteral("\xe2\x80\xae\xf3\xa0\x81\x81"), "\"\\x202E\\xDB40\\xDC41\"");
    EXPECT_EQ(mofLiteral("\xc3\xa4", Charset::ascii), "\"\\x00E4\"");
}

// --- columns ---

/** All lines of the table. */
std::string text(const TextTable& table, std::size_t width = 0, Overflow overflow = Overflow::cut) {
    std::string text;
    for (const TextTable::Lines& row : table.rows(width, overflow))
        for (const std::string& line : row) text += line + '\n';
    return text;
}

TextTable sample() {
    TextTable table({{"Name"}, {"No", Align::right}, {"Text", Align::left, true}});
    table.add({"a", "1", "short"});
    table.add({"longer", "123", "one two three four five six"});
    return table;
}

const std::string kWhole =
    "Name     No  Text\n"
    "a         1  short\n"
    "longer  123  one two three four five six\n";

TEST(TextTable, AlignsColumnsToTheWidestCell) {
    EXPECT_EQ(text(sample()), kWhole);
    EXPECT_EQ(text(sample(), 80), kWhole);
    EXPECT_EQ(text(sample(), 40), kWhole) << "just wide enough";
}

TEST(TextTable, CutsAColumnThatYields) {
    EXPECT_EQ(text(sample(), 35),
              "Name     No  Text\n"
              "a         1  short\n"
              "longer  123  one two three four ...\n");
}

TEST(TextTable, WrapsItInsteadWhereNothingMayGetLost) {
    EXPECT_EQ(text(sample(), 35, Overflow::wrap),
              "Name     No  Text\n"
              "a         1  short\n"
              "longer  123  one two three four\n"
              "             five six\n");
}

TEST(TextTable, LeavesEightColumnsToWhatYields) {
    EXPECT_EQ(text(sample(), 21), text(sample(), 1));
    EXPECT_NE(text(sample(), 21), text(sample(), 22));
}

TEST(TextTable, LeavesOutWhatIsDispensableBeforeAnythingElseGoes) {
    const auto made = [] {
        TextTable table({{"Key"}, {"Most", Align::left, false, 2}, {"Less", Align::left, false, 1}, {"Other"}});
        table.add({"kkk", "mmmm", "llll", "ooooo"});
        return table;
    };
    TextTable wide = made();
    EXPECT_THAT(wide.leaveOut(22), testing::IsEmpty());
    EXPECT_THAT(wide.leaveOut(0), testing::IsEmpty());
    TextTable narrow = made();
    EXPECT_THAT(narrow.leaveOut(21), ElementsAre("Most"));
    EXPECT_EQ(text(narrow, 21), "Key  Less  Other\nkkk  llll  ooooo\n");
    TextTable narrowest = made();
    EXPECT_THAT(narrowest.leaveOut(1), ElementsAre("Most", "Less"));
}

TEST(TextTable, ColumnsThatYieldGoBeforeTheOthers) {
    TextTable table({{"Key"}, {"Less", Align::left, true}, {"Other"}});
    table.add({"kkkkk kkkkk kkkkk kkkkk kkkkk", "lllll lllll lllll lllll lllll", "o"});
    EXPECT_EQ(text(table, 58),
              "Key                            Less                  Other\n"
              "kkkkk kkkkk kkkkk kkkkk kkkkk  lllll lllll lllll...  o\n");
    EXPECT_EQ(text(table, 50),
              "Key                    Less                  Other\n"
              "kkkkk kkkkk kkkkk      lllll lllll lllll...  o\n"
              "kkkkk kkkkk\n")
        << "the other columns wrap, even where those that yield are cut";
}

TEST(TextTable, MeasuresEscapedAndUtf8CellsAsTheyShow) {
    TextTable table({{"A"}, {"B"}});
    table.add({"\x1b", "x"});
    table.add({"\xc3\xa4", "y"});
    EXPECT_EQ(text(table),
              "A     B\n"
              "\\x1b  x\n"
              "\xc3\xa4     y\n");
}

TEST(TextTable, ShowsAsciiAlone) {
    TextTable table({{"A"}, {"B"}}, Charset::ascii);
    table.add({"\xc3\xa4", "y"});
    EXPECT_EQ(text(table),
              "A         B\n"
              "\\xc3\\xa4  y\n");
}

}  // namespace
