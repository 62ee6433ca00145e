#include "cimhost/texttable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cimhost/text.h"

namespace {

using cimhost::Align;
using cimhost::Charset;
using cimhost::Overflow;
using cimhost::TextTable;

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
    EXPECT_THAT(narrow.leaveOut(21), testing::ElementsAre(1U));
    EXPECT_EQ(text(narrow, 21), "Key  Less  Other\nkkk  llll  ooooo\n");
    TextTable narrowest = made();
    EXPECT_THAT(narrowest.leaveOut(1), testing::ElementsAre(1U, 2U));
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
