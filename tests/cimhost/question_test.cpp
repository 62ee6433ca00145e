#include "cimhost/question.h"
#include "cimhost/classes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using testing::HasSubstr;

TEST(Question, PathThatIsNoneIsRefusedAtOnce) {
    EXPECT_THROW(cimhost::getInstance("QELTA_SystemSlot.Tag="), std::invalid_argument);
    EXPECT_THROW(cimhost::getInstance(""), std::invalid_argument);
}

TEST(Question, OnlyGetIsAboutSingleObjects) {
    EXPECT_FALSE(cimhost::enumerateInstances("QELTA_PCIDevice").inFull);
    EXPECT_FALSE(cimhost::enumerateNames("QELTA_PCIDevice").inFull);
    EXPECT_TRUE(cimhost::getInstance("QELTA_PCIDevice").inFull);
}

TEST(Explanation, NamesTheEightClassesForAnUnknownOne) {
    const std::string text = cimhost::explanation({CMPI_RC_ERR_INVALID_CLASS, cimhost::Instances{}}, "QELTA_Nothing");
    EXPECT_THAT(text, HasSubstr("QELTA_Nothing"));
    ASSERT_EQ(cimhost::servedClasses().size(), 8U);
    for (const std::string& served : cimhost::servedClasses()) EXPECT_THAT(text, HasSubstr(served));
}

TEST(Explanation, SaysTheStatusByName) {
    EXPECT_EQ(cimhost::explanation({CMPI_RC_OK, cimhost::Instances{}}, "X"), "");
    EXPECT_THAT(cimhost::explanation({CMPI_RC_ERR_NOT_FOUND, cimhost::Instances{}}, "X"), HasSubstr("no instance"));
    EXPECT_THAT(cimhost::explanation({CMPI_RC_ERR_NOT_SUPPORTED, cimhost::Instances{}}, "X"),
                HasSubstr("CMPI_RC_ERR_NOT_SUPPORTED"));
}

TEST(Summary, CountsAndNamesTheStatus) {
    EXPECT_EQ(cimhost::summary({CMPI_RC_OK, cimhost::Instances{}}), "CMPI_RC_OK, 0 instances");
    EXPECT_EQ(cimhost::summary({CMPI_RC_OK, cimhost::Instances(1)}), "CMPI_RC_OK, 1 instance");
    EXPECT_EQ(cimhost::summary({CMPI_RC_ERR_FAILED, cimhost::Names(2)}), "CMPI_RC_ERR_FAILED, 2 names");
}

}  // namespace
