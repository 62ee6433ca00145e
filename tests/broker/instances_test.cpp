// Instances, as a provider makes, fills and reads them.
#include "tests/broker/brokertest.h"

using broker::Instance;
using broker::Property;
using broker::Value;
using testing::ElementsAre;

class InstanceTest : public ObjectTest {
 protected:
    template <typename Number>
    CMPIrc setNumber(const char* name, Number number, CMPIType type) {
        return set(instance, name, reinterpret_cast<const CMPIValue*>(&number), type);
    }
    CMPIData property(const char* name) { return instance->ft->getProperty(instance, name, &rc); }
    Value stored(const std::string& name) { return ObjectTest::stored(instance, name); }

    CMPIInstance* instance = newInstance();
};

TEST_F(InstanceTest, IsNotMadeWithoutAPath) {
    EXPECT_EQ(mb->eft->newInstance(mb, nullptr, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(InstanceTest, HoldsThePathsKeysWithTheKeyState) {
    CMPIObjectPath* path = newPath();
    addKey(path, "Tag", "4");
    CMPIInstance* keyed = mb->eft->newInstance(mb, path, &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    const CMPIData data = keyed->ft->getProperty(keyed, "tag", &rc);
    EXPECT_EQ(data.type, CMPI_string);
    EXPECT_EQ(data.state, CMPI_keyValue);
    EXPECT_EQ(text(data), "4");
    set(keyed, "TAG", "5");
    EXPECT_EQ(keyed->ft->getProperty(keyed, "Tag", nullptr).state, CMPI_keyValue);
}

TEST_F(InstanceTest, CopiesItsPath) {
    CMPIObjectPath* path = newPath();
    CMPIInstance* made = mb->eft->newInstance(mb, path, nullptr);
    addKey(path, "Tag", "later");
    CMPIObjectPath* own = made->ft->getObjectPath(made, &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_TRUE(scope->read(own).keys.empty());
}

TEST_F(InstanceTest, ReadsCharactersBackAsAString) {
    EXPECT_EQ(set(instance, "Name", "text"), CMPI_RC_OK);
    const CMPIData data = property("Name");
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(data.type, CMPI_string);
    EXPECT_EQ(data.state, CMPI_goodValue);
    EXPECT_EQ(text(data), "text");
}

TEST_F(InstanceTest, KeepsEachTypeOfNumber) {
    setNumber<CMPIUint8>("u8", 255, CMPI_uint8);
    setNumber<CMPIUint16>("u16", 65535, CMPI_uint16);
    setNumber<CMPIUint32>("u32", 4294967295U, CMPI_uint32);
    setNumber<CMPIUint64>("u64", 18446744073709551615ULL, CMPI_uint64);
    setNumber<CMPISint8>("s8", -1, CMPI_sint8);
    setNumber<CMPISint16>("s16", -2, CMPI_sint16);
    setNumber<CMPISint32>("s32", -3, CMPI_sint32);
    setNumber<CMPISint64>("s64", -4, CMPI_sint64);
    setNumber<CMPIReal32>("r32", 0.5F, CMPI_real32);
    setNumber<CMPIReal64>("r64", 0.25, CMPI_real64);
    setNumber<CMPIChar16>("c16", 0x20ac, CMPI_char16);
    setNumber<CMPIBoolean>("b", 1, CMPI_boolean);
    EXPECT_EQ(property("u8").value.uint8, 255);
    EXPECT_EQ(property("u16").value.uint16, 65535);
    EXPECT_EQ(property("u32").value.uint32, 4294967295U);
    EXPECT_EQ(property("u64").value.uint64, 18446744073709551615ULL);
    EXPECT_EQ(stored("s8"), Value::sint(CMPI_sint8, -1));
    EXPECT_EQ(property("s8").value.sint8, -1);
    EXPECT_EQ(stored("s16"), Value::sint(CMPI_sint16, -2));
    EXPECT_EQ(property("s16").value.sint16, -2);
    EXPECT_EQ(stored("s32"), Value::sint(CMPI_sint32, -3));
    EXPECT_EQ(property("s32").value.sint32, -3);
    EXPECT_EQ(stored("s64"), Value::sint(CMPI_sint64, -4));
    EXPECT_EQ(property("s64").value.sint64, -4);
    EXPECT_EQ(property("r32").value.real32, 0.5F);
    EXPECT_EQ(property("r64").value.real64, 0.25);
    EXPECT_EQ(property("c16").value.char16, 0x20ac);
    EXPECT_EQ(property("b").value.boolean, 1);
    EXPECT_EQ(property("s16").type, CMPI_sint16);
    EXPECT_EQ(property("b").type, CMPI_boolean);
}

TEST_F(InstanceTest, AnswersNoSuchPropertyForAnUnknownName) {
    const CMPIData data = property("Nothing");
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    EXPECT_EQ(data.type, CMPI_null);
    EXPECT_EQ(data.state, CMPI_notFound);
}

TEST_F(InstanceTest, HoldsDeclaredPropertiesAsNullsOfTheirTypes) {
    broker.declareClass({"Test_Class", {{"Former", CMPI_uint8}}});
    broker.declareClass({"test_CLASS", {{"Speed", CMPI_uint32}, {"Names", CMPI_stringA}}});
    instance = newInstance();
    const CMPIData data = property("speed");
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(data.type, CMPI_uint32);
    EXPECT_EQ(data.state, CMPI_nullValue);
    EXPECT_EQ(data.value.uint64, 0U);
    EXPECT_EQ(stored("Names"), Value::nothing(CMPI_stringA));
    setNumber<CMPIUint32>("SPEED", 66, CMPI_uint32);
    EXPECT_EQ(property("Speed").state, CMPI_goodValue);
    EXPECT_EQ(scope->read(instance).properties.size(), 2U);
}

TEST_F(InstanceTest, KeepsPropertiesInTheOrderOfTheirFirstSetting) {
    setNumber<CMPIUint8>("B", 1, CMPI_uint8);
    setNumber<CMPIUint8>("A", 2, CMPI_uint8);
    setNumber<CMPIUint8>("b", 3, CMPI_uint8);
    EXPECT_THAT(scope->read(instance).properties,
                ElementsAre(Property{"B", Value::uint(CMPI_uint8, 3)}, Property{"A", Value::uint(CMPI_uint8, 2)}));
}

TEST_F(InstanceTest, TakesNullsOfEveryKind) {
    CMPIValue nothing{};
    EXPECT_EQ(set(instance, "Number", nullptr, CMPI_uint16), CMPI_RC_OK);
    EXPECT_EQ(set(instance, "Chars", nullptr, CMPI_chars), CMPI_RC_OK);
    EXPECT_EQ(set(instance, "String", &nothing, CMPI_string), CMPI_RC_OK);
    EXPECT_EQ(set(instance, "Reference", &nothing, CMPI_ref), CMPI_RC_OK);
    EXPECT_EQ(set(instance, "Array", &nothing, CMPI_uint8A), CMPI_RC_OK);
    EXPECT_EQ(stored("Number"), Value::nothing(CMPI_uint16));
    EXPECT_EQ(stored("Chars"), Value::nothing(CMPI_string));
    EXPECT_EQ(stored("String"), Value::nothing(CMPI_string));
    EXPECT_EQ(stored("Reference"), Value::nothing(CMPI_ref));
    EXPECT_EQ(stored("Array"), Value::nothing(CMPI_uint8A));
    EXPECT_EQ(property("Array").state, CMPI_nullValue);
}

TEST_F(InstanceTest, CopiesArraysWithTheirElements) {
    CMPIArray* array = mb->eft->newArray(mb, 2, CMPI_uint16, nullptr);
    CMPIValue value{};
    value.uint16 = 7;
    array->ft->setElementAt(array, 0, &value, CMPI_uint16);
    CMPIValue holder{};
    holder.array = array;
    EXPECT_EQ(set(instance, "Numbers", &holder, CMPI_uint16A), CMPI_RC_OK);
    value.uint16 = 8;
    array->ft->setElementAt(array, 0, &value, CMPI_uint16);
    EXPECT_EQ(stored("Numbers"), Value::array(CMPI_uint16, {Value::uint(CMPI_uint16, 7), Value::nothing(CMPI_uint16)}));
    EXPECT_EQ(property("Numbers").type, CMPI_uint16A);
    CMPIInstance* other = newInstance();
    holder = property("Numbers").value;
    EXPECT_EQ(set(other, "Copied", &holder, CMPI_uint16A), CMPI_RC_OK);
    EXPECT_EQ(ObjectTest::stored(other, "Copied"), stored("Numbers"));
}

TEST_F(InstanceTest, RefusesAnArrayTypeForAValueThatIsNoArray) {
    CMPIValue value{};
    value.string = newString("no array");
    EXPECT_EQ(set(instance, "Numbers", &value, CMPI_uint8A), CMPI_RC_ERR_TYPE_MISMATCH);
    value.uint64 = 5;
    EXPECT_EQ(set(instance, "Numbers", &value, CMPI_uint8A), CMPI_RC_ERR_TYPE_MISMATCH);
    EXPECT_TRUE(scope->read(instance).properties.empty());
}

TEST_F(InstanceTest, StoresADeepCopyOfAnInstance) {
    CMPIInstance* inner = newInstance();
    set(inner, "Name", "before");
    CMPIValue value{};
    value.inst = inner;
    EXPECT_EQ(set(instance, "Inner", &value, CMPI_instance), CMPI_RC_OK);
    set(inner, "Name", "later");
    CMPIInstance* kept = property("Inner").value.inst;
    EXPECT_EQ(text(kept->ft->getProperty(kept, "Name", nullptr)), "before");
}

TEST_F(InstanceTest, RefusesTypesThatItDoesNotServe) {
    CMPIValue value{};
    for (const CMPIType type :
         std::initializer_list<CMPIType>{CMPI_null, CMPI_args, CMPI_class, CMPI_filter, CMPI_enumeration, CMPI_dateTime,
                                         CMPI_ptr, CMPI_charsptr, CMPI_dateTimeA, 1}) {
        EXPECT_EQ(set(instance, "Odd", &value, type), CMPI_RC_ERR_INVALID_DATA_TYPE) << type;
    }
    EXPECT_EQ(set(instance, "", "x"), CMPI_RC_ERR_INVALID_PARAMETER);
}
