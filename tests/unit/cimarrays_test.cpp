// Array properties.
#include <functional>
#include <stdexcept>

#include "tests/unit/cimtest.h"

namespace {

using broker::Property;
using broker::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using tPCIInfo::CMPICIMInst;

/** One array setter, called with the elements 1, 2, ... up to a count, as numbers or as texts. */
struct ArraySetter {
    const char* name;
    std::function<CMPIStatus(CMPICIMInst&, const CMPIBroker*, CMPIInstance*, const std::string& property, int count)>
        set;
    CMPIType element;
    CMPIType array;
};

template <typename Number>
CMPIStatus setNumbers(CMPICIMInst& cim, const CMPIBroker* broker, CMPIInstance* instance, const std::string& property,
                      int count) {
    std::vector<Number> numbers;
    for (int number = 1; number <= count; ++number) numbers.push_back(static_cast<Number>(number));
    return cim.setProperty(broker, instance, property, numbers);
}

CMPIStatus setDigits(CMPICIMInst& cim, const CMPIBroker* broker, CMPIInstance* instance, const std::string& property,
                     int count) {
    std::vector<std::string> texts;
    for (int number = 1; number <= count; ++number) texts.push_back(std::to_string(number));
    return cim.setProperty(broker, instance, property, texts);
}

std::vector<ArraySetter> numberArraySetters() {
    return {{"unsigned char", setNumbers<unsigned char>, 128, 8320},
            {"unsigned short", setNumbers<unsigned short>, 144, 8336},
            {"unsigned int", setNumbers<unsigned int>, 160, 8352}};
}

std::vector<ArraySetter> arraySetters() {
    std::vector<ArraySetter> all = numberArraySetters();
    all.push_back({"text", setDigits, 128, 13824});
    return all;
}

class ArraySetterTest : public CimTest {
 protected:
    CMPIStatus setTexts(CMPIInstance* instance, const std::vector<std::string>& texts) {
        return cim_.setProperty(broker_.handle(), instance, "Held", texts);
    }

    CMPIInstance* freshInstance() {
        CMPIInstance* instance = makeInstance();
        takeCalls();
        return instance;
    }

    /** What the object manager holds after the first `filled` of `count` elements were set. */
    static Property partlyFilled(CMPIType element, int count, int filled) {
        std::vector<Value> elements;
        for (int number = 1; number <= count; ++number) {
            elements.push_back(number <= filled ? Value::uint(element, static_cast<std::uint64_t>(number))
                                                : Value::nothing(element));
        }
        return {"Held", Value::array(element, elements)};
    }
};

TEST_F(ArraySetterTest, NumbersAreSetOneByOneIntoAnArrayOfTheirTypeAndThenThatIsTheProperty) {
    for (const ArraySetter& setter : numberArraySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIInstance* instance = freshInstance();
        const CMPIStatus status = setter.set(cim_, broker_.handle(), instance, "Held", 3);
        EXPECT_EQ(status.rc, CMPI_RC_OK);
        EXPECT_EQ(status.msg, nullptr);
        EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"eft.newArray", "", setter.element, 3},
                                             CallRow{"array.setElementAt", "", setter.element, 0},
                                             CallRow{"array.setElementAt", "", setter.element, 1},
                                             CallRow{"array.setElementAt", "", setter.element, 2},
                                             CallRow{"instance.setProperty", "Held", setter.array, 0}));
        EXPECT_THAT(propertiesOf(instance), ElementsAre(partlyFilled(setter.element, 3, 3)));
    }
}

TEST_F(ArraySetterTest, EmptyVectorsNullInstancesAndEmptyNamesAreOkAndSetNothing) {
    CMPIInstance* instance = freshInstance();
    for (const ArraySetter& setter : arraySetters()) {
        EXPECT_EQ(setter.set(cim_, broker_.handle(), instance, "Held", 0).rc, CMPI_RC_OK) << setter.name;
        EXPECT_EQ(setter.set(cim_, broker_.handle(), nullptr, "Held", 2).rc, CMPI_RC_OK) << setter.name;
        EXPECT_EQ(setter.set(cim_, broker_.handle(), instance, "", 2).rc, CMPI_RC_OK) << setter.name;
    }
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(ArraySetterTest, AnArrayThatCannotBeMadeGivesItsStatusAndSetsNothing) {
    for (const ArraySetter& setter : arraySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIInstance* instance = freshInstance();
        broker_.failAt("eft.newArray", 1, CMPI_RC_ERR_SERVER_LIMITS_EXCEEDED);
        EXPECT_EQ(setter.set(cim_, broker_.handle(), instance, "Held", 2).rc, CMPI_RC_ERR_SERVER_LIMITS_EXCEEDED);
        EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"eft.newArray", "", setter.element, 2}));
        broker_.clearFaults();
    }
}

TEST_F(ArraySetterTest, ANullArrayIsNeverUsedWhateverTheStatusSays) {
    broker_.encapsulationTable().newArray = [](const CMPIBroker*, CMPICount, CMPIType, CMPIStatus* rc) -> CMPIArray* {
        *rc = {CMPI_RC_OK, nullptr};
        return nullptr;
    };
    CMPIInstance* instance = freshInstance();
    for (const ArraySetter& setter : arraySetters()) {
        EXPECT_NE(setter.set(cim_, broker_.handle(), instance, "Held", 2).rc, CMPI_RC_OK) << setter.name;
    }
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(ArraySetterTest, AFailingElementEndsTheFillingAndThePropertyIsSetAllTheSame) {
    for (const ArraySetter& setter : numberArraySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIInstance* instance = freshInstance();
        broker_.failAt("array.setElementAt", 2, CMPI_RC_ERR_ACCESS_DENIED);
        EXPECT_EQ(setter.set(cim_, broker_.handle(), instance, "Held", 4).rc, CMPI_RC_ERR_ACCESS_DENIED);
        EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"eft.newArray", "", setter.element, 4},
                                             CallRow{"array.setElementAt", "", setter.element, 0},
                                             CallRow{"array.setElementAt", "", setter.element, 1},
                                             CallRow{"instance.setProperty", "Held", setter.array, 0}));
        EXPECT_THAT(propertiesOf(instance), ElementsAre(partlyFilled(setter.element, 4, 1)));
        broker_.clearFaults();
    }
}

TEST_F(ArraySetterTest, TheStatusOfSettingThePropertyIsDropped) {
    for (const ArraySetter& setter : numberArraySetters()) {
        CMPIInstance* instance = freshInstance();
        broker_.failAt("instance.setProperty", 1);
        EXPECT_EQ(setter.set(cim_, broker_.handle(), instance, "Held", 2).rc, CMPI_RC_OK) << setter.name;
        EXPECT_TRUE(broker_.faultStruck());
        broker_.clearFaults();
    }
}

TEST_F(ArraySetterTest, ExceptionsPassToTheCaller) {
    CMPIInstance* instance = freshInstance();
    for (const ArraySetter& setter : numberArraySetters()) {
        for (const char* function : {"eft.newArray", "array.setElementAt", "instance.setProperty"}) {
            broker_.throwAt(function, 1);
            EXPECT_THROW(setter.set(cim_, broker_.handle(), instance, "Held", 2), std::runtime_error)
                << setter.name << ' ' << function;
            broker_.clearFaults();
        }
    }
}

// --- arrays of texts, whose array is made for uint8 elements ---

/** What takeAnyElement was given. */
struct TakenElement {
    CMPICount index;
    CMPIType type;
    std::string text;
};
std::vector<TakenElement> takenElements;

/** The slot of an object manager that takes elements of any type into any array. */
CMPIStatus takeAnyElement(const CMPIArray*, CMPICount index, const CMPIValue* value, CMPIType type) {
    const CMPIString* string = value->string;
    takenElements.push_back({index, type, string->ft->getCharPtr(string, nullptr)});
    return {CMPI_RC_OK, nullptr};
}

TEST_F(ArraySetterTest, ThreeTextsMakeAnArrayOfThreeElementsAndThenTheProperty) {
    takenElements.clear();
    broker_.arrayTable().setElementAt = takeAnyElement;
    CMPIInstance* instance = freshInstance();
    EXPECT_EQ(setTexts(instance, {"one", "", "three"}).rc, CMPI_RC_OK);

    ASSERT_EQ(takenElements.size(), 3U);
    const char* const texts[] = {"one", "", "three"};
    for (CMPICount index = 0; index < 3; ++index) {
        EXPECT_EQ(takenElements[index].index, index);
        EXPECT_EQ(takenElements[index].type, 5632);
        EXPECT_EQ(takenElements[index].text, texts[index]);
    }
    std::vector<CallRow> calls = takeCalls();
    calls.erase(std::remove_if(calls.begin(), calls.end(),
                               [](const CallRow& row) { return std::get<0>(row) == "string.getCharPtr"; }),
                calls.end());
    EXPECT_THAT(calls, ElementsAre(CallRow{"eft.newArray", "", 128, 3}, CallRow{"eft.newString", "one", 0, 0},
                                   CallRow{"eft.newString", "", 0, 0}, CallRow{"eft.newString", "three", 0, 0},
                                   CallRow{"instance.setProperty", "Held", 13824, 0}));
}

TEST_F(ArraySetterTest, AnObjectManagerThatComparesElementTypesRefusesTheFirstText) {
    CMPIInstance* instance = freshInstance();
    EXPECT_EQ(setTexts(instance, {"one", "two"}).rc, CMPI_RC_ERR_FAILED);
    EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"eft.newArray", "", 128, 2}, CallRow{"eft.newString", "one", 0, 0},
                                         CallRow{"array.setElementAt", "", 5632, 0},
                                         CallRow{"instance.setProperty", "Held", 13824, 0}));
}

TEST_F(ArraySetterTest, ATextThatCannotBeMadeIsNotSetAndEndsTheFilling) {
    takenElements.clear();
    broker_.arrayTable().setElementAt = takeAnyElement;
    CMPIInstance* instance = freshInstance();
    broker_.failAt("eft.newString", 2, CMPI_RC_ERR_NOT_IN_CODEPAGE);
    EXPECT_EQ(setTexts(instance, {"one", "two", "three"}).rc, CMPI_RC_ERR_NOT_IN_CODEPAGE);
    ASSERT_EQ(takenElements.size(), 1U);
    EXPECT_EQ(takenElements[0].text, "one");
    EXPECT_EQ(takeCalls().back(), (CallRow{"instance.setProperty", "Held", 13824, 0}));
}

TEST_F(ArraySetterTest, ANullTextIsNeverUsedWhateverTheStatusSays) {
    takenElements.clear();
    broker_.arrayTable().setElementAt = takeAnyElement;
    broker_.encapsulationTable().newString = [](const CMPIBroker*, const char*, CMPIStatus* rc) -> CMPIString* {
        *rc = {CMPI_RC_OK, nullptr};
        return nullptr;
    };
    CMPIInstance* instance = freshInstance();
    EXPECT_NE(setTexts(instance, {"one"}).rc, CMPI_RC_OK);
    EXPECT_THAT(takenElements, IsEmpty());
}

// --- log lines: only the 32-bit form writes any ---

class Uint32ArrayLogTest : public ArraySetterTest {
 protected:
    std::vector<std::string> logOfSetting(CMPIInstance* instance, const std::string& name, int count) {
        takeLog();
        setNumbers<unsigned int>(cim_, broker_.handle(), instance, name, count);
        return takeLog();
    }
};

TEST_F(Uint32ArrayLogTest, AnArrayThatIsSetLogsItsSizeAndItsMakingEvenWithAFailingElement) {
    const std::vector<std::string> expected = {"in setProperty with array size [3]", "about to process the array",
                                               "new array created"};
    EXPECT_EQ(logOfSetting(makeInstance(), "Held", 3), expected);
    broker_.failAt("array.setElementAt", 1);
    EXPECT_EQ(logOfSetting(makeInstance(), "Held", 3), expected);
}

TEST_F(Uint32ArrayLogTest, MissingArgumentsLogThatTheFirstConditionFailed) {
    EXPECT_THAT(logOfSetting(nullptr, "Held", 2),
                ElementsAre("in setProperty with array size [2]", "the first condition failed"));
    EXPECT_THAT(logOfSetting(makeInstance(), "", 1),
                ElementsAre("in setProperty with array size [1]", "the first condition failed"));
    EXPECT_THAT(logOfSetting(makeInstance(), "Held", 0),
                ElementsAre("in setProperty with array size [0]", "the first condition failed"));
}

TEST_F(Uint32ArrayLogTest, AnArrayThatCannotBeMadeIsLogged) {
    broker_.failAt("eft.newArray", 1);
    EXPECT_THAT(
        logOfSetting(makeInstance(), "Held", 1),
        ElementsAre("in setProperty with array size [1]", "about to process the array", "could not create array"));
}

TEST_F(Uint32ArrayLogTest, TheOtherFormsWriteNoLogLines) {
    CMPIInstance* instance = makeInstance();
    for (const int count : {0, 2}) {
        setNumbers<unsigned char>(cim_, broker_.handle(), instance, "Held", count);
        setNumbers<unsigned short>(cim_, broker_.handle(), instance, "Held", count);
        setTexts(instance, std::vector<std::string>(static_cast<std::size_t>(count), "text"));
    }
    broker_.failAt("eft.newArray", 1);
    setNumbers<unsigned char>(cim_, broker_.handle(), instance, "Held", 2);
    EXPECT_THAT(takeLog(), IsEmpty());
}

}  // namespace
