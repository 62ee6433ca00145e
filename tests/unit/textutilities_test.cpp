/** The utilities of the PCI inventory that nothing of the provider calls: hexadecimal numbers and cutting of texts. */
#include <gmock/gmock.h>

#include "pci/pcidevinfo.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tPCIInfo::TPciDevInfo;

TEST(HexadecimalText, IsConvertedUpToTheFirstCharacterThatIsNoDigitAndItsLength) {
    struct Row {
        const char* text;
        int length;
        unsigned int number;
    };
    for (const Row& row :
         {Row{"0x1F", 4, 31}, Row{"0X1F", 4, 31}, Row{"1F", 2, 31}, Row{"1f", 2, 31}, Row{"1G", 2, 1}, Row{"", 0, 0},
          Row{"", 8, 0}, Row{",", 1, 0}, Row{",12", 3, 0}, Row{"12,34", 5, 0x12}, Row{"0x,12", 5, 0}, Row{"0x", 2, 0},
          Row{"0", 1, 0}, Row{"G", 1, 0}, Row{"-1", 2, 0}, Row{" 1", 2, 0}, Row{"1 2", 3, 1},
          Row{"DeadBeef", 8, 0xDEADBEEF}, Row{"0xfedcba98", 10, 0xFEDCBA98}, Row{"0123456789", 10, 0x23456789},
          Row{"abcdef", 6, 0xABCDEF}, Row{"0x0x1", 5, 0},
          // No more characters are taken than the length allows, a prefix not counted.
          Row{"1234", 2, 0x12}, Row{"1234", 0, 0}, Row{"1234", 1, 1}, Row{"0x12345678", 4, 0x1234},
          Row{"1f", 1000000, 31}, Row{"1f", -1, 0}, Row{"0x1f", -2147483647, 0},
          // Only the first four characters are turned into upper case: "0XABcd".
          Row{"0xabcd", 4, 0xAB}, Row{"0xABCD", 4, 0xABCD},
          // A prefix whose letter is not turned into upper case is none.
          Row{"0x1F", 1, 0}, Row{"0X1F", 1, 1}}) {
        EXPECT_EQ(TPciDevInfo::_httoi(row.text, row.length), row.number) << row.text << " / " << row.length;
    }
}

TEST(TextSplitting, CutsAtEveryDelimiterAndDropsEmptyPieces) {
    EXPECT_THAT(TPciDevInfo::MultiStringTok("a,b;c", ",;"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(TPciDevInfo::MultiStringTok(",,a,;b,,", ",;"), ElementsAre("a", "b"));
    EXPECT_THAT(TPciDevInfo::MultiStringTok("one two", " "), ElementsAre("one", "two"));
}

TEST(TextSplitting, KeepsThePieceBehindTheLastDelimiter) {
    EXPECT_THAT(TPciDevInfo::MultiStringTok("a,bc", ","), ElementsAre("a", "bc"));
    EXPECT_THAT(TPciDevInfo::MultiStringTok("a,bc,", ","), ElementsAre("a", "bc"));
}

TEST(TextSplitting, GivesNothingForATextOfDelimitersOnly) {
    EXPECT_THAT(TPciDevInfo::MultiStringTok("", ","), IsEmpty());
    EXPECT_THAT(TPciDevInfo::MultiStringTok(",;,", ",;"), IsEmpty());
}

TEST(TextSplitting, GivesTheWholeTextWhereNothingCutsIt) {
    EXPECT_THAT(TPciDevInfo::MultiStringTok("a b", ","), ElementsAre("a b"));
    EXPECT_THAT(TPciDevInfo::MultiStringTok("a b", ""), ElementsAre("a b"));
    EXPECT_THAT(TPciDevInfo::MultiStringTok("a b", nullptr), ElementsAre("a b"));
}

}  // namespace
