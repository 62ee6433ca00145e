#include "cimhost/texttable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cimhost/text.h"

namespace {

using cimhost::Align;
using cimhost::TextTable;

TextTable sample() {
    TextTable table({{"Name"}, {"No", Align::right}, {"Text"}});
    table.add({"a", "1", "short"});
    table.add({"longer", "123", "one two three four five six"});
    return table;
}

TEST(TextTable, AlignsColumnsToTheWidestCell) {
    EXPECT_EQ(sample().cutTo(80),
              "Name     No  Text\n"
              "a         1  short\n"
              "longer  123  one two three four five six\n");
}

TEST(TextTable, CutsTheLastColumnAtTheWidth) {
    EXPECT_EQ(sample().cutTo(25),
              "Name     No  Text\n"
              "a         1  short\n"
              "longer  123  one two t...\n");
}

TEST(TextTable, KeepsEvenTheFirstColumnsWithinAVeryNarrowWidth) {
    EXPECT_EQ(sample().cutTo(8),
              "Name ...\n"
              "a    ...\n"
              "longe...\n");
}

TEST(TextTable, WrapsTheLastColumnWithoutLoss) {
    EXPECT_EQ(sample().wrappedTo(33),
              "Name     No  Text\n"
              "a         1  short\n"
              "longer  123  one two three four\n"
              "             five six\n");
}

TEST(TextTable, LeavesRoomForTheLastColumnWhenWrapping) {
    EXPECT_EQ(sample().wrappedTo(10), sample().wrappedTo(33));
}

TEST(TextTable, MeasuresEscapedAndUtf8CellsAsTheyShow) {
    TextTable table({{"A"}, {"B"}});
    table.add({"\x1b", "x"});
    table.add({"\xc3\xa4", "y"});
    EXPECT_EQ(table.cutTo(80),
              "A     B\n"
              "\\x1b  x\n"
              "\xc3\xa4     y\n");
}

}  // namespace
