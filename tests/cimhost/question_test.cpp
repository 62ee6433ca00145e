#include "cimhost/question.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using broker::ObjectPath;
using broker::Value;
using cimhost::hasKeysOf;
using testing::HasSubstr;

ObjectPath slot(const std::string& tag) {
    return {
        "root/kavix",
        "QELTA_SystemSlot",
        {{"SystemName", Value::string("host")}, {"Tag", Value::string(tag)}, {"Number", Value::uint(CMPI_uint16, 3)}}};
}

bool matches(const std::string& wanted) {
    return hasKeysOf(slot("System Slot 3"), broker::parseObjectPath(wanted));
}

TEST(KeyMatch, EveryKeyNamedMustBeThereWithItsValue) {
    EXPECT_TRUE(matches("QELTA_SystemSlot.SystemName=\"host\",Tag=\"System Slot 3\",Number=3"));
    EXPECT_FALSE(matches("QELTA_SystemSlot.SystemName=\"other\",Tag=\"System Slot 3\""));
    EXPECT_FALSE(matches("QELTA_SystemSlot.Tag=\"System Slot 3\",Other=\"x\""));
}

TEST(KeyMatch, SomeOfTheKeysOrNoneWillDo) {
    EXPECT_TRUE(matches("QELTA_SystemSlot.Tag=\"System Slot 3\""));
    EXPECT_TRUE(matches("QELTA_SystemSlot"));
}

TEST(KeyMatch, NamesAreComparedWithoutRegardToCaseAndValuesExactly) {
    EXPECT_TRUE(matches("QELTA_SystemSlot.tAG=\"System Slot 3\""));
    EXPECT_FALSE(matches("QELTA_SystemSlot.Tag=\"system slot 3\""));
    EXPECT_FALSE(matches("QELTA_SystemSlot.Tag=\"System Slot\""));
    EXPECT_FALSE(matches("QELTA_SystemSlot.Tag=\"System Slot 33\""));
}

TEST(KeyMatch, ClassAndNamespaceDoNotCount) {
    EXPECT_TRUE(matches("root/other:QELTA_SSPCIController.Tag=\"System Slot 3\""));
}

TEST(KeyMatch, NumbersAreComparedByValue) {
    EXPECT_FALSE(matches("QELTA_SystemSlot.Number=4"));
    EXPECT_FALSE(matches("QELTA_SystemSlot.Number=-3"));
    EXPECT_FALSE(matches("QELTA_SystemSlot.Number=\"3\"")) << "a text is no number";
    ObjectPath signedKey = slot("System Slot 3");
    signedKey.keys.back().value.type = CMPI_sint64;
    signedKey.keys.back().value.data = std::int64_t{-3};
    EXPECT_TRUE(hasKeysOf(signedKey, broker::parseObjectPath("QELTA_SystemSlot.Number=-3")));
    EXPECT_FALSE(hasKeysOf(signedKey, broker::parseObjectPath("QELTA_SystemSlot.Number=3")));
}

TEST(KeyMatch, ReferencesAreComparedKeyByKey) {
    const ObjectPath link = {
        "root/kavix", "QELTA_DeviceInSlot", {{"Antecedent", Value::reference(slot("System Slot 3"))}}};
    const auto linkTo = [](const ObjectPath& path) {
        return ObjectPath{"root/kavix", "QELTA_DeviceInSlot", {{"Antecedent", Value::reference(path)}}};
    };
    ObjectPath part = slot("System Slot 3");
    part.keys.pop_back();
    EXPECT_TRUE(hasKeysOf(link, linkTo(slot("System Slot 3"))));
    EXPECT_FALSE(hasKeysOf(link, linkTo(slot("System Slot 4"))));
    EXPECT_FALSE(hasKeysOf(link, linkTo(part))) << "the value of a key has to be the same, and whole";
    EXPECT_TRUE(hasKeysOf(link, broker::parseObjectPath(broker::toString(link))));
    const std::string withoutNamespace = "QELTA_SystemSlot.SystemName=\"host\",Tag=\"System Slot 3\",Number=3";
    EXPECT_TRUE(hasKeysOf(link, {"", "QELTA_DeviceInSlot", {{"Antecedent", Value::string(withoutNamespace)}}}));
    EXPECT_FALSE(hasKeysOf(link, {"", "QELTA_DeviceInSlot", {{"Antecedent", Value::string("no path")}}}));
}

TEST(KeyMatch, NullIsOnlyEqualToNull) {
    const ObjectPath path = {"", "C", {{"K", Value::nothing(CMPI_string)}}};
    EXPECT_TRUE(hasKeysOf(path, {"", "C", {{"K", Value::nothing(CMPI_string)}}}));
    EXPECT_FALSE(hasKeysOf(path, {"", "C", {{"K", Value::string("")}}}));
}

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
