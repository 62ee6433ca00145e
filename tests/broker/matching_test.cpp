// Which paths name the same object.
#include "broker/matching.h"

#include <gtest/gtest.h>

namespace broker {

namespace {

ObjectPath slot(const std::string& tag) {
    return {
        "root/kavix",
        "QELTA_SystemSlot",
        {{"SystemName", Value::string("host")}, {"Tag", Value::string(tag)}, {"Number", Value::uint(CMPI_uint16, 3)}}};
}

bool matches(const std::string& wanted) {
    return hasKeysOf(slot("System Slot 3"), parseObjectPath(wanted));
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
    EXPECT_TRUE(hasKeysOf(signedKey, parseObjectPath("QELTA_SystemSlot.Number=-3")));
    EXPECT_FALSE(hasKeysOf(signedKey, parseObjectPath("QELTA_SystemSlot.Number=3")));
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
    EXPECT_TRUE(hasKeysOf(link, parseObjectPath(toString(link))));
    const std::string withoutNamespace = "QELTA_SystemSlot.SystemName=\"host\",Tag=\"System Slot 3\",Number=3";
    EXPECT_TRUE(
        hasKeysOf(link, ObjectPath{"", "QELTA_DeviceInSlot", {{"Antecedent", Value::string(withoutNamespace)}}}));
    EXPECT_FALSE(hasKeysOf(link, ObjectPath{"", "QELTA_DeviceInSlot", {{"Antecedent", Value::string("no path")}}}));
}

TEST(KeyMatch, TheSameObjectHasTheSameKeysOnceEach) {
    ObjectPath other = slot("System Slot 3");
    EXPECT_TRUE(sameObject(slot("System Slot 3"), other));
    other.keys.push_back(other.keys.front());
    EXPECT_FALSE(sameObject(slot("System Slot 3"), other));
    EXPECT_FALSE(sameObject(other, slot("System Slot 3")));
    other = slot("System Slot 3");
    other.keys.back() = other.keys.front();
    EXPECT_FALSE(sameObject(slot("System Slot 3"), other));
    EXPECT_FALSE(sameObject(other, slot("System Slot 3")));
}

TEST(KeyMatch, AnObjectIsTheSameWhoseReferencesAreWrittenAsText) {
    const ObjectPath link = {"root/kavix", "QELTA_DeviceInSlot", {{"Antecedent", Value::reference(slot("1"))}}};
    ObjectPath written = link;
    written.keys.front().value = Value::string(toString(slot("1")));
    EXPECT_TRUE(sameObject(link, written));
    written.keys.front().value = Value::string(toString(slot("2")));
    EXPECT_FALSE(sameObject(link, written));
    written.keys.front() = {"antecedent", Value::string("no path")};
    EXPECT_FALSE(sameObject(link, written));
}

TEST(KeyMatch, NullIsOnlyEqualToNull) {
    const ObjectPath path = {"", "C", {{"K", Value::nothing(CMPI_string)}}};
    EXPECT_TRUE(hasKeysOf(path, ObjectPath{"", "C", {{"K", Value::nothing(CMPI_string)}}}));
    EXPECT_FALSE(hasKeysOf(path, ObjectPath{"", "C", {{"K", Value::string("")}}}));
}

}  // namespace

}  // namespace broker
