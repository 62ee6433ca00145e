// Arrays and enumerations, as a provider fills and reads them.
#include "tests/broker/brokertest.h"

using broker::Value;
using testing::ElementsAre;

class ArrayTest : public ObjectTest {
 protected:
    CMPIArray* newArray(CMPICount size, CMPIType type) { return mb->eft->newArray(mb, size, type, &rc); }
    static CMPIrc setByte(CMPIArray* array, CMPICount index, CMPIUint8 number) {
        return array->ft->setElementAt(array, index, reinterpret_cast<const CMPIValue*>(&number), CMPI_uint8).rc;
    }
    /** The elements, as a property holds them. */
    std::vector<Value> elements(CMPIArray* array) {
        CMPIInstance* instance = newInstance();
        CMPIValue holder{};
        holder.array = array;
        EXPECT_EQ(set(instance, "Held", &holder, CMPI_uint8A), CMPI_RC_OK);
        return std::get<std::vector<Value>>(stored(instance, "Held").data);
    }
    static Value byte(unsigned number) { return Value::uint(CMPI_uint8, number); }

    const Value null = Value::nothing(CMPI_uint8);
};

TEST_F(ArrayTest, BeginsWithNullsOfItsTypeAndHoldsWhatIsSet) {
    CMPIArray* array = newArray(2, CMPI_uint8);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_THAT(elements(array), ElementsAre(null, null));
    EXPECT_EQ(setByte(array, 1, 9), CMPI_RC_OK);
    EXPECT_THAT(elements(array), ElementsAre(null, byte(9)));
}

TEST_F(ArrayTest, RefusesAnElementOfAnotherTypeAndLeavesItNull) {
    CMPIArray* array = newArray(1, CMPI_uint8);
    CMPIValue value{};
    value.string = newString("text");
    EXPECT_EQ(array->ft->setElementAt(array, 0, &value, CMPI_string).rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(array->ft->setElementAt(array, 0, &value, CMPI_uint16).rc, CMPI_RC_ERR_FAILED);
    EXPECT_THAT(elements(array), ElementsAre(null));
}

TEST_F(ArrayTest, RefusesAnIndexOutOfRange) {
    CMPIArray* array = newArray(1, CMPI_uint8);
    EXPECT_EQ(setByte(array, 1, 9), CMPI_RC_ERR_FAILED);
    EXPECT_THAT(elements(array), ElementsAre(null));
}

TEST_F(ArrayTest, GrowsWhereItWasMadeWithSizeZero) {
    CMPIArray* array = newArray(0, CMPI_uint8);
    EXPECT_EQ(setByte(array, 0, 1), CMPI_RC_OK);
    EXPECT_EQ(setByte(array, 1, 2), CMPI_RC_OK);
    EXPECT_EQ(setByte(array, 3, 4), CMPI_RC_ERR_FAILED);
    CMPIValue value{};
    EXPECT_EQ(array->ft->setElementAt(array, 2, &value, CMPI_string).rc, CMPI_RC_ERR_FAILED);
    EXPECT_THAT(elements(array), ElementsAre(byte(1), byte(2)));
}

TEST_F(ArrayTest, OfTextTakesStringsAndCharacters) {
    CMPIArray* array = newArray(2, CMPI_chars);
    CMPIValue value{};
    value.string = newString("one");
    EXPECT_EQ(array->ft->setElementAt(array, 0, &value, CMPI_string).rc, CMPI_RC_OK);
    EXPECT_EQ(array->ft->setElementAt(array, 1, chars("two"), CMPI_chars).rc, CMPI_RC_OK);
    EXPECT_THAT(elements(array), ElementsAre(Value::string("one"), Value::string("two")));
}

TEST_F(ArrayTest, IsNotMadeOfArraysOrOfTypesNotServed) {
    for (const CMPIType type : std::initializer_list<CMPIType>{CMPI_uint8A, CMPI_null, CMPI_dateTime, CMPI_args}) {
        EXPECT_EQ(newArray(1, type), nullptr) << type;
        EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_DATA_TYPE) << type;
    }
}

class EnumerationTest : public ObjectTest {};

TEST_F(EnumerationTest, GivesItsElementsOneByOne) {
    CMPIEnumeration* enumeration = scope->makeEnumeration(
        {Value::reference({"n", "Test_A", {}}), Value::nothing(CMPI_instance), Value::string("odd one")});
    EXPECT_EQ(enumeration->ft->hasNext(enumeration, &rc), 1);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    const CMPIData first = enumeration->ft->getNext(enumeration, &rc);
    EXPECT_EQ(first.type, CMPI_ref);
    EXPECT_EQ(scope->read(first.value.ref).className, "Test_A");
    const CMPIData second = enumeration->ft->getNext(enumeration, nullptr);
    EXPECT_EQ(second.type, CMPI_instance);
    EXPECT_EQ(second.state, CMPI_nullValue);
    EXPECT_EQ(second.value.inst, nullptr);
    EXPECT_EQ(text(enumeration->ft->getNext(enumeration, nullptr)), "odd one");
    EXPECT_EQ(enumeration->ft->hasNext(enumeration, nullptr), 0);
}

TEST_F(EnumerationTest, AnswersNotFoundAfterItsEnd) {
    CMPIEnumeration* empty = scope->makeEnumeration({});
    EXPECT_EQ(empty->ft->hasNext(empty, nullptr), 0);
    EXPECT_EQ(empty->ft->getNext(empty, &rc).state, CMPI_notFound);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
}
