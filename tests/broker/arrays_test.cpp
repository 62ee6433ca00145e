#include "tests/broker/brokertest.h"

using broker::Value;

class ArrayTest : public ObjectTest {
 protected:
    CMPIArray* newArray(CMPICount size, CMPIType type) { return mb->eft->newArray(mb, size, type, &rc); }
    static CMPIrc setByte(CMPIArray* array, CMPICount index, CMPIUint8 number) {
        return array->ft->setElementAt(array, index, reinterpret_cast<const CMPIValue*>(&number), CMPI_uint8).rc;
    }
    CMPIData at(CMPIArray* array, CMPICount index) { return array->ft->getElementAt(array, index, &rc); }
};

TEST_F(ArrayTest, BeginsWithNullsOfItsType) {
    CMPIArray* array = newArray(2, CMPI_uint8);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(array->ft->getSize(array, nullptr), 2U);
    EXPECT_EQ(array->ft->getSimpleType(array, nullptr), CMPI_uint8);
    EXPECT_EQ(at(array, 1).type, CMPI_uint8);
    EXPECT_EQ(at(array, 1).state, CMPI_nullValue);
}

TEST_F(ArrayTest, HoldsWhatIsSet) {
    CMPIArray* array = newArray(2, CMPI_uint8);
    EXPECT_EQ(setByte(array, 1, 9), CMPI_RC_OK);
    EXPECT_EQ(at(array, 1).value.uint8, 9);
    EXPECT_EQ(at(array, 1).state, CMPI_goodValue);
    EXPECT_EQ(at(array, 0).state, CMPI_nullValue);
}

TEST_F(ArrayTest, RefusesAnElementOfAnotherTypeAndLeavesItNull) {
    CMPIArray* array = newArray(1, CMPI_uint8);
    CMPIValue value{};
    value.string = newString("text");
    EXPECT_EQ(array->ft->setElementAt(array, 0, &value, CMPI_string).rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(array->ft->setElementAt(array, 0, &value, CMPI_uint16).rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(at(array, 0).state, CMPI_nullValue);
}

TEST_F(ArrayTest, RefusesAnIndexOutOfRange) {
    CMPIArray* array = newArray(1, CMPI_uint8);
    EXPECT_EQ(setByte(array, 1, 9), CMPI_RC_ERR_FAILED);
    EXPECT_EQ(array->ft->getSize(array, nullptr), 1U);
    EXPECT_EQ(at(array, 1).state, CMPI_notFound);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_FAILED);
}

TEST_F(ArrayTest, GrowsWhereItWasMadeWithSizeZero) {
    CMPIArray* array = newArray(0, CMPI_uint8);
    EXPECT_EQ(setByte(array, 0, 1), CMPI_RC_OK);
    EXPECT_EQ(setByte(array, 1, 2), CMPI_RC_OK);
    EXPECT_EQ(setByte(array, 3, 4), CMPI_RC_ERR_FAILED);
    EXPECT_EQ(array->ft->getSize(array, nullptr), 2U);
    EXPECT_EQ(at(array, 1).value.uint8, 2);
    CMPIValue value{};
    EXPECT_EQ(array->ft->setElementAt(array, 2, &value, CMPI_string).rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(array->ft->getSize(array, nullptr), 2U);
}

TEST_F(ArrayTest, OfTextTakesStringsAndCharacters) {
    CMPIArray* array = newArray(2, CMPI_chars);
    EXPECT_EQ(array->ft->getSimpleType(array, nullptr), CMPI_string);
    CMPIValue value{};
    value.string = newString("one");
    EXPECT_EQ(array->ft->setElementAt(array, 0, &value, CMPI_string).rc, CMPI_RC_OK);
    EXPECT_EQ(array->ft->setElementAt(array, 1, chars("two"), CMPI_chars).rc, CMPI_RC_OK);
    EXPECT_EQ(text(at(array, 0)), "one");
    EXPECT_EQ(text(at(array, 1)), "two");
}

TEST_F(ArrayTest, IsNotMadeOfArraysOrOfTypesNotServed) {
    for (const CMPIType type : std::initializer_list<CMPIType>{CMPI_uint8A, CMPI_null, CMPI_dateTime, CMPI_args}) {
        EXPECT_EQ(newArray(1, type), nullptr) << type;
        EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_DATA_TYPE) << type;
    }
}

TEST_F(ArrayTest, ClonesIndependently) {
    CMPIArray* array = newArray(1, CMPI_uint8);
    setByte(array, 0, 1);
    CMPIArray* clone = array->ft->clone(array, &rc);
    setByte(array, 0, 2);
    EXPECT_EQ(at(clone, 0).value.uint8, 1);
    EXPECT_EQ(clone->ft->release(clone).rc, CMPI_RC_OK);
    EXPECT_EQ(array->ft->release(array).rc, CMPI_RC_ERR_FAILED);
}

class EnumerationTest : public ObjectTest {
 protected:
    CMPIEnumeration* enumeration = scope.makeEnumeration(
        {Value::reference({"n", "Test_A", {}}), Value::nothing(CMPI_instance), Value::string("odd one")});
};

TEST_F(EnumerationTest, GivesItsElementsOneByOne) {
    EXPECT_EQ(enumeration->ft->hasNext(enumeration, &rc), 1);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    const CMPIData first = enumeration->ft->getNext(enumeration, &rc);
    EXPECT_EQ(first.type, CMPI_ref);
    EXPECT_EQ(scope.read(first.value.ref).className, "Test_A");
    const CMPIData second = enumeration->ft->getNext(enumeration, nullptr);
    EXPECT_EQ(second.type, CMPI_instance);
    EXPECT_EQ(second.state, CMPI_nullValue);
    EXPECT_EQ(second.value.inst, nullptr);
    EXPECT_EQ(text(enumeration->ft->getNext(enumeration, nullptr)), "odd one");
    EXPECT_EQ(enumeration->ft->hasNext(enumeration, nullptr), 0);
}

TEST_F(EnumerationTest, AnswersNotFoundBehindItsEnd) {
    CMPIEnumeration* empty = scope.makeEnumeration({});
    EXPECT_EQ(empty->ft->hasNext(empty, nullptr), 0);
    EXPECT_EQ(empty->ft->getNext(empty, &rc).state, CMPI_notFound);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(EnumerationTest, BecomesAnArrayOfAllItsElements) {
    enumeration->ft->getNext(enumeration, nullptr);
    CMPIArray* array = enumeration->ft->toArray(enumeration, &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(array->ft->getSize(array, nullptr), 3U);
    EXPECT_EQ(array->ft->getSimpleType(array, nullptr), CMPI_ref);
    EXPECT_EQ(text(array->ft->getElementAt(array, 2, nullptr)), "odd one");
}

TEST_F(EnumerationTest, ClonesWithItsPosition) {
    enumeration->ft->getNext(enumeration, nullptr);
    CMPIEnumeration* clone = enumeration->ft->clone(enumeration, nullptr);
    EXPECT_EQ(clone->ft->getNext(clone, nullptr).type, CMPI_instance);
    EXPECT_EQ(enumeration->ft->getNext(enumeration, nullptr).type, CMPI_instance);
    clone->ft->release(clone);
}
