// Reading properties, keys and texts; the host name.
#include <cstdint>
#include <stdexcept>

#include "tests/unit/cimtest.h"

namespace {

using broker::Value;
using testing::ElementsAre;
using testing::IsEmpty;

/** Reading one property of an instance into a variable that holds something before. */
class PropertyReaderTest : public CimTest {
 protected:
    static constexpr unsigned char kEarlier8 = 77;
    static constexpr unsigned short kEarlier16 = 7777;

    CMPIInstance* holding(const Value& value) {
        CMPIInstance* instance = makeInstance({{"Held", value}});
        takeCalls();
        return instance;
    }

    /** Gives the property's data as it stands, whatever the property's name. */
    CMPIInstance* answering(CMPIType type, CMPIValueState state, unsigned long long bits) {
        canned_.type = type;
        canned_.state = state;
        canned_.value.uint64 = bits;
        broker_.instanceTable().getProperty = [](const CMPIInstance*, const char*, CMPIStatus* rc) {
            *rc = {CMPI_RC_OK, nullptr};
            return canned_;
        };
        return makeInstance();
    }

    unsigned read16(const CMPIInstance* instance, CMPIrc expected = CMPI_RC_OK) {
        unsigned short value = kEarlier16;
        expectStatus(cim_.getPropertyVal(instance, "Held", value), expected);
        return value;
    }
    unsigned read8(const CMPIInstance* instance, CMPIrc expected = CMPI_RC_OK) {
        unsigned char value = kEarlier8;
        expectStatus(cim_.getPropertyVal(instance, "Held", value), expected);
        return value;
    }
    std::string readText(const CMPIInstance* instance, CMPIrc expected = CMPI_RC_OK) {
        std::string value = "earlier";
        expectStatus(cim_.getPropertyVal(instance, "Held", value), expected);
        return value;
    }

 private:
    static void expectStatus(const CMPIStatus& status, CMPIrc expected) {
        EXPECT_EQ(status.rc, expected);
        EXPECT_EQ(status.msg, nullptr);
    }

    static CMPIData canned_;
};

CMPIData PropertyReaderTest::canned_;

TEST_F(PropertyReaderTest, EveryReaderAsksForThePropertyOnce) {
    CMPIInstance* instance = holding(Value::uint(CMPI_uint8, 1));
    const CallRow asked = {"instance.getProperty", "Held", 0, 0};
    read16(instance);
    EXPECT_THAT(takeCalls(), ElementsAre(asked));
    read8(instance);
    EXPECT_THAT(takeCalls(), ElementsAre(asked));
    readText(instance);
    EXPECT_THAT(takeCalls(), ElementsAre(asked));
}

TEST_F(PropertyReaderTest, AValueOfTheMatchingTypeIsStored) {
    EXPECT_EQ(read16(holding(Value::uint(CMPI_uint16, 0xFFFF))), 0xFFFFU);
    EXPECT_EQ(read8(holding(Value::uint(CMPI_uint8, 0xFF))), 0xFFU);
    EXPECT_EQ(readText(holding(Value::string("a text"))), "a text");
    EXPECT_EQ(readText(holding(Value::string(""))), "");
}

TEST_F(PropertyReaderTest, ATextMayComeAsMereCharacters) {
    EXPECT_EQ(readText(answering(CMPI_chars, CMPI_goodValue, reinterpret_cast<std::uintptr_t>("a text"))), "a text");
    EXPECT_EQ(readText(answering(CMPI_chars, CMPI_goodValue, 0)), "earlier");
}

TEST_F(PropertyReaderTest, APropertyWithoutValueLeavesTheEarlierValueExceptThat8BitsBecome0) {
    EXPECT_EQ(read16(holding(Value::nothing(CMPI_uint16))), unsigned{kEarlier16});
    EXPECT_EQ(read8(holding(Value::nothing(CMPI_uint8))), 0U);
    EXPECT_EQ(readText(holding(Value::nothing(CMPI_string))), "earlier");
}

TEST_F(PropertyReaderTest, TheNullFlagAloneDecidesWhetherThereIsAValue) {
    constexpr CMPIValueState kOtherFlags = CMPI_keyValue;
    EXPECT_EQ(read16(answering(CMPI_uint16, CMPI_nullValue | kOtherFlags, 5)), unsigned{kEarlier16});
    EXPECT_EQ(read8(answering(CMPI_uint8, CMPI_nullValue | kOtherFlags, 5)), 0U);
    EXPECT_EQ(read16(answering(CMPI_uint16, kOtherFlags, 5)), 5U);
    EXPECT_EQ(read8(answering(CMPI_uint8, kOtherFlags, 5)), 5U);
}

TEST_F(PropertyReaderTest, AnUnknownPropertyGivesTheStatusAndTheZeroThatCameWithIt) {
    CMPIInstance* instance = makeInstance();
    EXPECT_EQ(read16(instance, CMPI_RC_ERR_NO_SUCH_PROPERTY), 0U);
    EXPECT_EQ(read8(instance, CMPI_RC_ERR_NO_SUCH_PROPERTY), 0U);
    EXPECT_EQ(readText(instance, CMPI_RC_ERR_NO_SUCH_PROPERTY), "earlier");
}

TEST_F(PropertyReaderTest, NumbersOfOtherWidthsAreCut) {
    for (const CMPIType type : std::vector<CMPIType>{CMPI_uint32, CMPI_uint64}) {
        const Value wide = Value::uint(type, 0x00123456);
        EXPECT_EQ(read16(holding(wide)), 0x3456U);
        EXPECT_EQ(read8(holding(wide)), 0x56U);
    }
    EXPECT_EQ(read8(holding(Value::uint(CMPI_uint16, 0x1234))), 0x34U);
    EXPECT_EQ(read16(holding(Value::uint(CMPI_uint8, 0x12))), 0x12U);
    EXPECT_EQ(read16(holding(Value::sint(CMPI_sint64, 513))), 513U);
    EXPECT_EQ(read8(holding(Value::sint(CMPI_sint32, 5))), 5U);
}

// A slot number that was set as 8 bits comes back as such where it is read as 16.
TEST_F(PropertyReaderTest, NumbersOf128AndMoreStayWhatTheyAre) {
    for (const unsigned number : {0x7FU, 0x80U, 0xC8U, 0xFFU}) {
        EXPECT_EQ(read16(holding(Value::uint(CMPI_uint8, number))), number);
        EXPECT_EQ(read8(holding(Value::uint(CMPI_uint8, number))), number);
        EXPECT_EQ(read8(holding(Value::uint(CMPI_uint16, number))), number);
    }
    EXPECT_EQ(read16(holding(Value::uint(CMPI_uint16, 0x8001))), 0x8001U);
    EXPECT_EQ(read16(answering(CMPI_sint8, CMPI_goodValue, 0xC8)), 0xC8U);
}

TEST_F(PropertyReaderTest, TheTypeOfANumberIsNotChecked) {
    EXPECT_EQ(read8(answering(CMPI_boolean, CMPI_goodValue, 1)), 1U);
    EXPECT_EQ(read16(answering(CMPI_boolean, CMPI_goodValue, 1)), 1U);
    EXPECT_EQ(read8(answering(CMPI_char16, CMPI_goodValue, 0x41)), 0x41U);
    EXPECT_EQ(read16(answering(CMPI_char16, CMPI_goodValue, 0x2041)), 0x2041U);
    EXPECT_EQ(read8(answering(CMPI_null, CMPI_goodValue, 3)), 3U);
    EXPECT_EQ(read16(answering(CMPI_null, CMPI_goodValue, 3)), 3U);
}

TEST_F(PropertyReaderTest, AValueThatCannotBeHeldCountsAsAbsent) {
    EXPECT_EQ(read16(holding(Value::string("12"))), unsigned{kEarlier16});
    EXPECT_EQ(read8(holding(Value::string("12"))), 0U);
    EXPECT_EQ(read16(holding(Value::reference(thing_))), unsigned{kEarlier16});
    EXPECT_EQ(read8(holding(Value::array(CMPI_uint8, {Value::uint(CMPI_uint8, 1)}))), 0U);
    EXPECT_EQ(readText(holding(Value::uint(CMPI_uint16, 12))), "earlier");
    EXPECT_EQ(readText(holding(Value::reference(thing_))), "earlier");
    EXPECT_EQ(readText(answering(CMPI_string, CMPI_goodValue, 0)), "earlier");
}

TEST_F(PropertyReaderTest, ANullInstanceGivesAnErrorAndNoValue) {
    EXPECT_EQ(read16(nullptr, CMPI_RC_ERR_INVALID_HANDLE), unsigned{kEarlier16});
    EXPECT_EQ(read8(nullptr, CMPI_RC_ERR_INVALID_HANDLE), 0U);
    EXPECT_EQ(readText(nullptr, CMPI_RC_ERR_INVALID_HANDLE), "earlier");
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(PropertyReaderTest, TheStatusOfAFailedReadIsReturned) {
    CMPIInstance* instance = holding(Value::uint(CMPI_uint8, 9));
    for (int reader = 0; reader < 3; ++reader) {
        broker_.failAt("instance.getProperty", 1, CMPI_RC_ERR_ACCESS_DENIED);
        if (reader == 0) read16(instance, CMPI_RC_ERR_ACCESS_DENIED);
        if (reader == 1) read8(instance, CMPI_RC_ERR_ACCESS_DENIED);
        if (reader == 2) readText(instance, CMPI_RC_ERR_ACCESS_DENIED);
        EXPECT_TRUE(broker_.faultStruck());
        broker_.clearFaults();
    }
}

TEST_F(PropertyReaderTest, The8BitReaderCatchesExceptionsOfAnyTypeAndTheOthersLetThemPass) {
    CMPIInstance* instance = holding(Value::uint(CMPI_uint8, 9));
    for (const bool standard : {true, false}) {
        broker_.throwAt("instance.getProperty", 1, standard);
        EXPECT_EQ(read8(instance), 0U);
        EXPECT_EQ(takeLog(), testsupport::uint8CaughtLines());
        broker_.clearFaults();
    }
    broker_.throwAt("instance.getProperty", 1);
    EXPECT_THROW(read16(instance), std::runtime_error);
    broker_.throwAt("instance.getProperty", 1, false);
    EXPECT_THROW(readText(instance), int);
}

TEST_F(PropertyReaderTest, The8BitReaderLogsEveryStepOfAValueAndThatItReturnsAtOnceWithoutOne) {
    read8(holding(Value::uint(CMPI_uint8, 9)));
    EXPECT_EQ(takeLog(), testsupport::uint8Lines());
    read8(holding(Value::nothing(CMPI_uint8)));
    EXPECT_THAT(takeLog(), ElementsAre("getPropertyVal uint8 getting the property value",
                                       "getPropertyVal uint8 got property value", "getPropertyVal uint8 returning"));
}

TEST_F(PropertyReaderTest, The16BitReaderLogsOneLineAndTheTextReaderNone) {
    read16(holding(Value::uint(CMPI_uint16, 9)));
    EXPECT_EQ(takeLog(), testsupport::uint16Lines());
    read16(holding(Value::nothing(CMPI_uint16)));
    EXPECT_EQ(takeLog(), testsupport::uint16Lines());
    readText(holding(Value::string("a text")));
    EXPECT_THAT(takeLog(), IsEmpty());
}

// --- texts of the object manager ---

class ObjectTextTest : public CimTest {};

TEST_F(ObjectTextTest, LowerCopiesWithEveryCharacterInLowerCase) {
    EXPECT_EQ(tPCIInfo::lower("QELTA_PCIDevice 0Aa"), "qelta_pcidevice 0aa");
    EXPECT_EQ(tPCIInfo::lower(""), "");
    const std::string odd("A\0B\x80\xC4\xFF", 6);
    EXPECT_EQ(tPCIInfo::lower(odd), std::string("a\0b\x80\xC4\xFF", 6));
    EXPECT_EQ(odd, std::string("A\0B\x80\xC4\xFF", 6));
}

TEST_F(ObjectTextTest, ANullTextOrClassNameIsAnEmptyOne) {
    EXPECT_EQ(tPCIInfo::textOf(nullptr), "");
    EXPECT_EQ(tPCIInfo::classNameOf(nullptr), "");
    EXPECT_EQ(tPCIInfo::classNameOf(makePath()), "Test_Thing");
    broker_.failAt("objectPath.getClassName", 1);
    EXPECT_EQ(tPCIInfo::classNameOf(makePath()), "");
    broker_.failAt("string.getCharPtr", 1);
    EXPECT_EQ(tPCIInfo::classNameOf(makePath()), "");
}

TEST_F(ObjectTextTest, AKeyThatIsMissingOrNoTextIsAnEmptyText) {
    CMPIObjectPath* path = scope_.make(broker::ObjectPath{"root/test",
                                                          "Test_Thing",
                                                          {{"Text", Value::string("a text")},
                                                           {"Number", Value::uint(CMPI_uint64, 5)},
                                                           {"Reference", Value::reference(thing_)},
                                                           {"Null", Value::nothing(CMPI_string)}}});
    EXPECT_EQ(tPCIInfo::keyText(path, "Text"), "a text");
    for (const char* name : {"Number", "Reference", "Null", "Missing"}) {
        EXPECT_EQ(tPCIInfo::keyText(path, name), "") << name;
    }
    EXPECT_EQ(tPCIInfo::keyText(nullptr, "Text"), "");
}

TEST_F(ObjectTextTest, AKeyIsReadOnlyWhereItsStateSaysThatItIsGood) {
    static CMPIData canned;
    CMPIObjectPath* path = makePath();
    canned = {};
    canned.type = CMPI_string;
    canned.value.string = broker_.handle()->eft->newString(broker_.handle(), "a text", nullptr);
    broker_.objectPathTable().getKey = [](const CMPIObjectPath*, const char*, CMPIStatus*) { return canned; };
    const auto textWith = [&](int state) {
        canned.state = static_cast<CMPIValueState>(state);
        return tPCIInfo::keyText(path, "Key");
    };
    for (const int good : {CMPI_goodValue, CMPI_keyValue}) EXPECT_EQ(textWith(good), "a text") << good;
    for (const int bad : {CMPI_nullValue, CMPI_notFound, CMPI_badValue}) {
        EXPECT_EQ(textWith(bad), "") << bad;
        EXPECT_EQ(textWith(bad | CMPI_keyValue), "") << bad;
    }
}

// --- the host's name ---

class HostNameTest : public CimTest {
 protected:
    /** Reads the host's name into a variable that holds something before. */
    void expectName(const std::string& expected, int expectedResult) {
        std::string name = "earlier";
        EXPECT_EQ(cim_.getHostName(name), expectedResult);
        EXPECT_EQ(name, expected);
    }
};

TEST_F(HostNameTest, TheNameIsTheHostsOfUpTo63Characters) {
    for (const std::string& name : {std::string("kavix-17.example"), std::string(63, 'h')}) {
        host_.setHostName(name);
        expectName(name, 0);
    }
    host_.setHostName(std::string(64, 'h'));
    expectName("systemname", -1);
}

TEST_F(HostNameTest, AFailingLookUpYieldsTheStandInAndTheFailureCode) {
    host_.failHostName(true);
    expectName("systemname", -1);
}

}  // namespace
