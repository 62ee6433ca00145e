// Values and object paths as plain data, and as text that is written and read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>

#include "broker/broker.h"

using broker::Instance;
using broker::ObjectPath;
using broker::parseObjectPath;
using broker::toString;
using broker::Value;
using testing::HasSubstr;

namespace {

ObjectPath slotPath() {
    return {"root/kavix", "Test_Slot", {{"Tag", Value::string("4")}, {"Number", Value::uint(CMPI_uint64, 7)}}};
}

std::string complaint(const std::string& text) {
    try {
        parseObjectPath(text);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "(accepted)";
}

}  // namespace

TEST(PathText, ShowsNamespaceClassAndKeysInTheirOrder) {
    EXPECT_EQ(toString(slotPath()), R"(root/kavix:Test_Slot.Tag="4",Number=7)");
}

TEST(PathText, OfAClassHasNoDot) {
    EXPECT_EQ(toString(ObjectPath{"root/kavix", "Test_Slot", {}}), "root/kavix:Test_Slot");
}

TEST(PathText, QuotesReferencesWithTheirOwnQuotesEscaped) {
    const ObjectPath link{"a/b", "Test_Link", {{"Slot", Value::reference(slotPath())}}};
    EXPECT_EQ(toString(link), R"(a/b:Test_Link.Slot="root/kavix:Test_Slot.Tag=\"4\",Number=7")");
}

TEST(ValueText, HasNoQuotes) {
    EXPECT_EQ(toString(Value::string("a \"b\"")), "a \"b\"");
}

TEST(ValueText, OfNumbersIsDecimal) {
    EXPECT_EQ(toString(Value::uint(CMPI_uint64, std::numeric_limits<std::uint64_t>::max())), "18446744073709551615");
    EXPECT_EQ(toString(Value::sint(CMPI_sint8, -128)), "-128");
    EXPECT_EQ(toString(Value::real(CMPI_real64, 2.0)), "2.0");
    EXPECT_EQ(toString(Value::real(CMPI_real64, -0.125)), "-0.125");
}

TEST(ValueText, OfTruthValuesIsInCapitals) {
    EXPECT_EQ(toString(Value::boolean(true)), "TRUE");
    EXPECT_EQ(toString(Value::boolean(false)), "FALSE");
}

TEST(ValueText, OfNullIsNULL) {
    EXPECT_EQ(toString(Value::nothing(CMPI_string)), "NULL");
    EXPECT_EQ(toString(Value::nothing(CMPI_ref)), "NULL");
}

TEST(ValueText, OfArraysSeparatesElementsByCommas) {
    const Value one = Value::uint(CMPI_uint8, 1);
    EXPECT_EQ(toString(Value::array(CMPI_uint8, {one, Value::nothing(CMPI_uint8), one})), "1, NULL, 1");
    EXPECT_EQ(toString(Value::array(CMPI_uint8, {})), "");
    EXPECT_EQ(toString(Value::array(CMPI_string, {Value::string(""), Value::string("x")})), ", x");
}

TEST(ValueText, OfReferencesAndInstancesIsTheirPath) {
    EXPECT_EQ(toString(Value::reference(slotPath())), toString(slotPath()));
    EXPECT_EQ(toString(Value::instance(Instance{slotPath(), {}})), toString(slotPath()));
}

TEST(TypeName, IsTheCimName) {
    EXPECT_EQ(broker::typeName(CMPI_boolean), "boolean");
    EXPECT_EQ(broker::typeName(CMPI_uint8), "uint8");
    EXPECT_EQ(broker::typeName(CMPI_sint64), "sint64");
    EXPECT_EQ(broker::typeName(CMPI_real32), "real32");
    EXPECT_EQ(broker::typeName(CMPI_string), "string");
    EXPECT_EQ(broker::typeName(CMPI_chars), "string");
    EXPECT_EQ(broker::typeName(CMPI_ref), "reference");
    EXPECT_EQ(broker::typeName(CMPI_dateTime), "datetime");
}

TEST(TypeName, OfArraysEndsInBrackets) {
    EXPECT_EQ(broker::typeName(CMPI_uint16A), "uint16[]");
    EXPECT_EQ(broker::typeName(CMPI_stringA), "string[]");
}

TEST(TypeName, OfAnUnknownCodeIsItsNumber) {
    EXPECT_EQ(broker::typeName(77), "type(77)");
}

TEST(StatusName, IsTheConstant) {
    EXPECT_EQ(broker::statusName(CMPI_RC_OK), "CMPI_RC_OK");
    EXPECT_EQ(broker::statusName(CMPI_RC_ERR_INVALID_CLASS), "CMPI_RC_ERR_INVALID_CLASS");
    EXPECT_EQ(broker::statusName(CMPI_RC_ERROR), "CMPI_RC_ERROR");
}

TEST(StatusName, OfAnUnknownCodeIsItsNumber) {
    EXPECT_EQ(broker::statusName(static_cast<CMPIrc>(19)), "CMPI_RC_(19)");
}

class RoundTrip : public testing::TestWithParam<ObjectPath> {};

TEST_P(RoundTrip, ReadsBackWhatWasWritten) {
    EXPECT_EQ(parseObjectPath(toString(GetParam())), GetParam());
}

namespace {

ObjectPath withKey(const Value& value) {
    return {"root/kavix", "Test_Class", {{"Key", value}, {"Last", value}}};
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Keys, RoundTrip,
                         testing::Values(withKey(Value::string("plain")), withKey(Value::string("")),
                                         withKey(Value::string("a\"b")), withKey(Value::string("a\\")),
                                         withKey(Value::string("\\\"\\\\\"")), withKey(Value::string("a,b=c.d")),
                                         withKey(Value::string("0000:03:00.0")), withKey(Value::string("line\nbreak")),
                                         withKey(Value::uint(CMPI_uint64, 0)),
                                         withKey(Value::uint(CMPI_uint64, 18446744073709551615ULL)),
                                         withKey(Value::sint(CMPI_sint64, std::numeric_limits<std::int64_t>::min())),
                                         withKey(Value::real(CMPI_real64, 3.0)),
                                         withKey(Value::real(CMPI_real64, 6.25e-20)), withKey(Value::boolean(true)),
                                         withKey(Value::boolean(false)), withKey(Value::nothing(CMPI_string))));

INSTANTIATE_TEST_SUITE_P(References, RoundTrip,
                         testing::Values(withKey(Value::reference(slotPath())),
                                         withKey(Value::reference(withKey(Value::string("a\"b\\c,d")))),
                                         withKey(Value::reference(withKey(Value::reference(slotPath()))))));

INSTANTIATE_TEST_SUITE_P(Namespaces, RoundTrip,
                         testing::Values(ObjectPath{"", "Test_Class", {}}, ObjectPath{"root", "Test_Class", {}},
                                         ObjectPath{"a.b/c", "Test_Class", {{"K", Value::string(":")}}}));

TEST(ParsePath, WithoutNamespaceMeansTheUsualOne) {
    EXPECT_EQ(parseObjectPath("Test_Slot.Tag=\"a:b\""),
              (ObjectPath{"root/kavix", "Test_Slot", {{"Tag", Value::string("a:b")}}}));
    EXPECT_EQ(parseObjectPath("Test_Slot").nameSpace, "root/kavix");
}

TEST(ParsePath, TakesMinusZeroForZero) {
    for (const char* zero : {"0", "-0", "-00"})
        EXPECT_EQ(*parseObjectPath(std::string("T_A.K=") + zero).key("K"), Value::uint(CMPI_uint64, 0)) << zero;
}

TEST(ParsePath, TakesTruthValuesInAnyCase) {
    EXPECT_EQ(parseObjectPath("Test_A.On=true,Off=False"),
              (ObjectPath{"root/kavix", "Test_A", {{"On", Value::boolean(true)}, {"Off", Value::boolean(false)}}}));
}

TEST(ParsePath, TakesQuotedTextForAReferenceOnlyWithNamespaceAndKeys) {
    const auto key = [](const std::string& quoted) {
        return parseObjectPath("T_A.K=\"" + quoted + "\"").keys[0].value;
    };
    EXPECT_EQ(key("T_B.Number=1"), Value::string("T_B.Number=1"));
    EXPECT_EQ(key("root:T_B"), Value::string("root:T_B"));
    EXPECT_EQ(key("root:T_B.Number=1").type, CMPI_ref);
    EXPECT_EQ(key("root:T_B.Number=one"), Value::string("root:T_B.Number=one"));
}

TEST(ParsePath, SaysWhatIsWrongAndWhere) {
    EXPECT_THAT(complaint(""), HasSubstr("position 1: a class name expected"));
    EXPECT_THAT(complaint("root/kavix:"), HasSubstr("position 12: a class name expected"));
    EXPECT_THAT(complaint("root:9Class"), HasSubstr("position 6: a class name expected"));
    EXPECT_THAT(complaint("T_A/B"), HasSubstr("position 4: '.' and the keys, or the end, expected"));
    EXPECT_THAT(complaint("T_A."), HasSubstr("position 5: a key name expected"));
    EXPECT_THAT(complaint("T_A.K"), HasSubstr("position 6: '=' expected"));
    EXPECT_THAT(complaint("T_A.K="), HasSubstr("position 7: a value expected"));
    EXPECT_THAT(complaint("T_A.K=x"), HasSubstr("position 7: \"x\" is no value"));
    EXPECT_THAT(complaint("T_A.K=18446744073709551616"), HasSubstr("position 7: \"18446744073709551616\" is no value"));
    EXPECT_THAT(complaint("T_A.K=\"x"), HasSubstr("the closing quotation mark is missing"));
    EXPECT_THAT(complaint("T_A.K=\"x\\"), HasSubstr("'\"' or '\\' expected behind '\\'"));
    EXPECT_THAT(complaint("T_A.K=\"\\n\""), HasSubstr("position 9: '\"' or '\\' expected behind '\\'"));
    EXPECT_THAT(complaint("T_A.K=\"x\"y"), HasSubstr("position 10: ',' or the end expected"));
    EXPECT_THAT(complaint("T_A.K=1,k=2"), HasSubstr("the key \"k\" is given twice"));
}

TEST(PlainData, ComparesContentsNotPointers) {
    EXPECT_EQ(Value::reference(slotPath()), Value::reference(slotPath()));
    ObjectPath other = slotPath();
    other.keys[0].value = Value::string("5");
    EXPECT_NE(Value::reference(slotPath()), Value::reference(other));
    EXPECT_EQ(Value::instance({slotPath(), {}}), Value::instance({slotPath(), {}}));
    EXPECT_NE(Value::instance({slotPath(), {}}), Value::instance({other, {}}));
}

TEST(PlainData, DistinguishesTypesAndNull) {
    EXPECT_NE(Value::uint(CMPI_uint8, 1), Value::uint(CMPI_uint16, 1));
    EXPECT_NE(Value::nothing(CMPI_uint8), Value::uint(CMPI_uint8, 0));
    EXPECT_NE(Value::nothing(CMPI_uint8), Value::nothing(CMPI_string));
}

TEST(PlainData, FindsKeysAndPropertiesInAnyCase) {
    const Instance instance{slotPath(), {{"Speed", Value::uint(CMPI_uint32, 66)}}};
    ASSERT_NE(instance.path.key("tAG"), nullptr);
    EXPECT_EQ(*instance.path.key("tAG"), Value::string("4"));
    EXPECT_EQ(instance.path.key("Ta"), nullptr);
    ASSERT_NE(instance.property("SPEED"), nullptr);
    EXPECT_EQ(instance.property("Tag"), nullptr);
}
