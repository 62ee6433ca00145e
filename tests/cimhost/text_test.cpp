#include "cimhost/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using cimhost::cut;
using cimhost::mofLiteral;
using cimhost::printable;
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
                               "\xe2\x81\xa9", "\xef\xbb\xbf", "\xf3\xa0\x81\x81"})
        EXPECT_EQ(printable(unseen).substr(0, 2), "\\x") << testing::PrintToString(unseen);
    for (const char* seen : {"\xc2\xa0", "\xc2\xae", "\xe2\x80\x90", "\xe2\x80\xaf", "\xe2\x82\xac"})
        EXPECT_EQ(printable(seen), seen);
}

TEST(Printable, EscapesAllButAsciiWhereNothingElseCanBeShown) {
    EXPECT_EQ(printable("a\xc3\x9c~", cimhost::Charset::ascii), "a\\xc3\\x9c~");
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

TEST(Wrap, DividesBehindBlanks) {
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
    EXPECT_EQ(mofLiteral("\xc3\xa4", cimhost::Charset::ascii), "\"\\x00E4\"");
}

}  // namespace
