// The binary interface, in numbers that do not come from the headers: sizes, offsets and constants of version 100 on a
// 64-bit Linux. An object manager and a provider that disagree in one of them misread each other's memory.

#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>
#include <cmpi/cmpios.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>
#include <vector>

namespace {

struct Fact {
    const char* what;
    std::size_t actual;
    std::size_t expected;
};

void check(const std::vector<Fact>& facts) {
    for (const Fact& fact : facts) EXPECT_EQ(fact.actual, fact.expected) << fact.what;
}

}  // namespace

#define SIZE(type, bytes)          \
    Fact {                         \
#type, sizeof(type), bytes \
    }
#define AT(type, member, bytes)                          \
    Fact {                                               \
#type "." #member, offsetof(type, member), bytes \
    }
#define IS(constant, number)                                    \
    Fact {                                                      \
#constant, static_cast < std::size_t>(constant), number \
    }

TEST(CmpiSizes, OfScalars) {
    check({SIZE(CMPIBoolean, 1),    SIZE(CMPIChar16, 2),         SIZE(CMPIUint8, 1),
           SIZE(CMPIUint16, 2),     SIZE(CMPIUint32, 4),         SIZE(CMPIUint64, 8),
           SIZE(CMPISint8, 1),      SIZE(CMPISint16, 2),         SIZE(CMPISint32, 4),
           SIZE(CMPISint64, 8),     SIZE(CMPIReal32, 4),         SIZE(CMPIReal64, 8),
           SIZE(CMPICount, 4),      SIZE(CMPIType, 2),           SIZE(CMPIValueState, 2),
           SIZE(CMPIFlags, 4),      SIZE(CMPIVersion, 4),        SIZE(CMPIMsgFileHandle, 8),
           SIZE(CMPIThreadFunc, 8), SIZE(CMPIThreadOnceFunc, 8), SIZE(CMPIThreadKeyCleanupFunc, 8),
           SIZE(CMPIrc, 4),         SIZE(CMPIPredOp, 4),         SIZE(CMPISeverity, 4),
           SIZE(CMPILevel, 4)});
}

TEST(CmpiSizes, ScalarsAreUnsignedAndSignedAsNamed) {
    EXPECT_TRUE((std::is_same_v<CMPIBoolean, unsigned char>));
    EXPECT_TRUE((std::is_same_v<CMPIUint8, unsigned char>));
    EXPECT_TRUE((std::is_same_v<CMPISint8, signed char>));
    EXPECT_TRUE((std::is_same_v<CMPIUint64, unsigned long long>));
    EXPECT_TRUE((std::is_same_v<CMPISint64, long long>));
    EXPECT_TRUE(std::is_unsigned_v<CMPIType>);
    EXPECT_TRUE(std::is_unsigned_v<CMPIValueState>);
    EXPECT_TRUE(std::is_unsigned_v<CMPICount>);
    EXPECT_TRUE(std::is_signed_v<CMPIVersion>);
    EXPECT_TRUE(std::is_unsigned_v<std::underlying_type_t<CMPIrc>>);
}

TEST(CmpiSizes, OfValuesAndStatus) {
    check({SIZE(CMPIValue, 16), SIZE(CMPIValuePtr, 16), SIZE(CMPIData, 24), SIZE(CMPIStatus, 16)});
    check({{"alignof CMPIValue", alignof(CMPIValue), 8}, {"alignof CMPIData", alignof(CMPIData), 8}});
    check({AT(CMPIValuePtr, ptr, 0), AT(CMPIValuePtr, length, 8), AT(CMPIData, type, 0), AT(CMPIData, state, 2),
           AT(CMPIData, value, 8), AT(CMPIStatus, rc, 0), AT(CMPIStatus, msg, 8)});
}

// Every member lies at the beginning, with the type of its name.
#define MEMBER(member, type)                    \
    EXPECT_EQ(offsetof(CMPIValue, member), 0U); \
    EXPECT_TRUE((std::is_same_v<decltype(CMPIValue::member), type>)) << #member

TEST(CmpiValue, HasItsMembersAtItsBeginning) {
    MEMBER(boolean, CMPIBoolean);
    MEMBER(char16, CMPIChar16);
    MEMBER(uint8, CMPIUint8);
    MEMBER(uint16, CMPIUint16);
    MEMBER(uint32, CMPIUint32);
    MEMBER(uint64, CMPIUint64);
    MEMBER(sint8, CMPISint8);
    MEMBER(sint16, CMPISint16);
    MEMBER(sint32, CMPISint32);
    MEMBER(sint64, CMPISint64);
    MEMBER(real32, CMPIReal32);
    MEMBER(real64, CMPIReal64);
    MEMBER(inst, CMPIInstance*);
    MEMBER(ref, CMPIObjectPath*);
    MEMBER(args, CMPIArgs*);
    MEMBER(filter, CMPISelectExp*);
    MEMBER(Enum, CMPIEnumeration*);
    MEMBER(array, CMPIArray*);
    MEMBER(string, CMPIString*);
    MEMBER(chars, char*);
    MEMBER(dateTime, CMPIDateTime*);
    MEMBER(dataPtr, CMPIValuePtr);
    MEMBER(Byte, CMPISint8);
    MEMBER(Short, CMPISint16);
    MEMBER(Int, CMPISint32);
    MEMBER(Long, CMPISint64);
    MEMBER(Float, CMPIReal32);
    MEMBER(Double, CMPIReal64);
}

TEST(CmpiSizes, OfObjectsArePairsOfHandleAndTable) {
    check({SIZE(CMPIBroker, 32), AT(CMPIBroker, hdl, 0), AT(CMPIBroker, bft, 8), AT(CMPIBroker, eft, 16),
           AT(CMPIBroker, xft, 24)});
    check({SIZE(CMPIContext, 16), AT(CMPIContext, hdl, 0), AT(CMPIContext, ft, 8)});
    check({SIZE(CMPIResult, 16), AT(CMPIResult, hdl, 0), AT(CMPIResult, ft, 8)});
    check({SIZE(CMPIString, 16), AT(CMPIString, hdl, 0), AT(CMPIString, ft, 8)});
    check({SIZE(CMPIArray, 16), AT(CMPIArray, hdl, 0), AT(CMPIArray, ft, 8)});
    check({SIZE(CMPIEnumeration, 16), AT(CMPIEnumeration, hdl, 0), AT(CMPIEnumeration, ft, 8)});
    check({SIZE(CMPIInstance, 16), AT(CMPIInstance, hdl, 0), AT(CMPIInstance, ft, 8)});
    check({SIZE(CMPIObjectPath, 16), AT(CMPIObjectPath, hdl, 0), AT(CMPIObjectPath, ft, 8)});
    check({SIZE(CMPIArgs, 16), AT(CMPIArgs, hdl, 0), AT(CMPIArgs, ft, 8)});
    check({SIZE(CMPIDateTime, 16), AT(CMPIDateTime, hdl, 0), AT(CMPIDateTime, ft, 8)});
    check({SIZE(CMPISelectExp, 16), AT(CMPISelectExp, hdl, 0), AT(CMPISelectExp, ft, 8)});
    check({SIZE(CMPISelectCond, 16), AT(CMPISelectCond, hdl, 0), AT(CMPISelectCond, ft, 8)});
    check({SIZE(CMPISubCond, 16), AT(CMPISubCond, hdl, 0), AT(CMPISubCond, ft, 8)});
    check({SIZE(CMPIPredicate, 16), AT(CMPIPredicate, hdl, 0), AT(CMPIPredicate, ft, 8)});
    check({SIZE(CMPIInstanceMI, 16), AT(CMPIInstanceMI, hdl, 0), AT(CMPIInstanceMI, ft, 8)});
    check({SIZE(CMPIAssociationMI, 16), AT(CMPIAssociationMI, hdl, 0), AT(CMPIAssociationMI, ft, 8)});
    check({SIZE(CMPIMethodMI, 16), AT(CMPIMethodMI, hdl, 0), AT(CMPIMethodMI, ft, 8)});
    check({SIZE(CMPIPropertyMI, 16), AT(CMPIPropertyMI, hdl, 0), AT(CMPIPropertyMI, ft, 8)});
    check({SIZE(CMPIIndicationMI, 16), AT(CMPIIndicationMI, hdl, 0), AT(CMPIIndicationMI, ft, 8)});
}

TEST(CmpiTable, BrokerFT) {
    check({SIZE(CMPIBrokerFT, 160),
           AT(CMPIBrokerFT, brokerCapabilities, 0),
           AT(CMPIBrokerFT, brokerVersion, 4),
           AT(CMPIBrokerFT, brokerName, 8),
           AT(CMPIBrokerFT, prepareAttachThread, 16),
           AT(CMPIBrokerFT, attachThread, 24),
           AT(CMPIBrokerFT, detachThread, 32),
           AT(CMPIBrokerFT, deliverIndication, 40),
           AT(CMPIBrokerFT, enumerateInstanceNames, 48),
           AT(CMPIBrokerFT, getInstance, 56),
           AT(CMPIBrokerFT, createInstance, 64),
           AT(CMPIBrokerFT, modifyInstance, 72),
           AT(CMPIBrokerFT, deleteInstance, 80),
           AT(CMPIBrokerFT, execQuery, 88),
           AT(CMPIBrokerFT, enumerateInstances, 96),
           AT(CMPIBrokerFT, associators, 104),
           AT(CMPIBrokerFT, associatorNames, 112),
           AT(CMPIBrokerFT, references, 120),
           AT(CMPIBrokerFT, referenceNames, 128),
           AT(CMPIBrokerFT, invokeMethod, 136),
           AT(CMPIBrokerFT, setProperty, 144),
           AT(CMPIBrokerFT, getProperty, 152)});
}

TEST(CmpiTable, BrokerEncFT) {
    check({SIZE(CMPIBrokerEncFT, 136), AT(CMPIBrokerEncFT, ftVersion, 0), AT(CMPIBrokerEncFT, newInstance, 8),
           AT(CMPIBrokerEncFT, newObjectPath, 16), AT(CMPIBrokerEncFT, newArgs, 24), AT(CMPIBrokerEncFT, newString, 32),
           AT(CMPIBrokerEncFT, newArray, 40), AT(CMPIBrokerEncFT, newDateTime, 48),
           AT(CMPIBrokerEncFT, newDateTimeFromBinary, 56), AT(CMPIBrokerEncFT, newDateTimeFromChars, 64),
           AT(CMPIBrokerEncFT, newSelectExp, 72), AT(CMPIBrokerEncFT, classPathIsA, 80),
           AT(CMPIBrokerEncFT, toString, 88), AT(CMPIBrokerEncFT, isOfType, 96), AT(CMPIBrokerEncFT, getType, 104),
           AT(CMPIBrokerEncFT, getMessage, 112), AT(CMPIBrokerEncFT, logMessage, 120),
           AT(CMPIBrokerEncFT, trace, 128)});
}

TEST(CmpiTable, BrokerExtFT) {
    check({SIZE(CMPIBrokerExtFT, 168),
           AT(CMPIBrokerExtFT, ftVersion, 0),
           AT(CMPIBrokerExtFT, resolveFileName, 8),
           AT(CMPIBrokerExtFT, newThread, 16),
           AT(CMPIBrokerExtFT, joinThread, 24),
           AT(CMPIBrokerExtFT, exitThread, 32),
           AT(CMPIBrokerExtFT, cancelThread, 40),
           AT(CMPIBrokerExtFT, threadSleep, 48),
           AT(CMPIBrokerExtFT, threadOnce, 56),
           AT(CMPIBrokerExtFT, createThreadKey, 64),
           AT(CMPIBrokerExtFT, destroyThreadKey, 72),
           AT(CMPIBrokerExtFT, getThreadSpecific, 80),
           AT(CMPIBrokerExtFT, setThreadSpecific, 88),
           AT(CMPIBrokerExtFT, newMutex, 96),
           AT(CMPIBrokerExtFT, destroyMutex, 104),
           AT(CMPIBrokerExtFT, lockMutex, 112),
           AT(CMPIBrokerExtFT, unlockMutex, 120),
           AT(CMPIBrokerExtFT, newCondition, 128),
           AT(CMPIBrokerExtFT, destroyCondition, 136),
           AT(CMPIBrokerExtFT, condWait, 144),
           AT(CMPIBrokerExtFT, timedCondWait, 152),
           AT(CMPIBrokerExtFT, signalCondition, 160)});
}

TEST(CmpiTable, ContextFT) {
    check({SIZE(CMPIContextFT, 56), AT(CMPIContextFT, ftVersion, 0), AT(CMPIContextFT, release, 8),
           AT(CMPIContextFT, clone, 16), AT(CMPIContextFT, getEntry, 24), AT(CMPIContextFT, getEntryAt, 32),
           AT(CMPIContextFT, getEntryCount, 40), AT(CMPIContextFT, addEntry, 48)});
}

TEST(CmpiTable, ResultFT) {
    check({SIZE(CMPIResultFT, 56), AT(CMPIResultFT, ftVersion, 0), AT(CMPIResultFT, release, 8),
           AT(CMPIResultFT, clone, 16), AT(CMPIResultFT, returnData, 24), AT(CMPIResultFT, returnInstance, 32),
           AT(CMPIResultFT, returnObjectPath, 40), AT(CMPIResultFT, returnDone, 48)});
}

TEST(CmpiTable, StringFT) {
    check({SIZE(CMPIStringFT, 32), AT(CMPIStringFT, ftVersion, 0), AT(CMPIStringFT, release, 8),
           AT(CMPIStringFT, clone, 16), AT(CMPIStringFT, getCharPtr, 24)});
}

TEST(CmpiTable, ArrayFT) {
    check({SIZE(CMPIArrayFT, 56), AT(CMPIArrayFT, ftVersion, 0), AT(CMPIArrayFT, release, 8),
           AT(CMPIArrayFT, clone, 16), AT(CMPIArrayFT, getSize, 24), AT(CMPIArrayFT, getSimpleType, 32),
           AT(CMPIArrayFT, getElementAt, 40), AT(CMPIArrayFT, setElementAt, 48)});
}

TEST(CmpiTable, EnumerationFT) {
    check({SIZE(CMPIEnumerationFT, 48), AT(CMPIEnumerationFT, ftVersion, 0), AT(CMPIEnumerationFT, release, 8),
           AT(CMPIEnumerationFT, clone, 16), AT(CMPIEnumerationFT, getNext, 24), AT(CMPIEnumerationFT, hasNext, 32),
           AT(CMPIEnumerationFT, toArray, 40)});
}

TEST(CmpiTable, InstanceFT) {
    check({SIZE(CMPIInstanceFT, 80), AT(CMPIInstanceFT, ftVersion, 0), AT(CMPIInstanceFT, release, 8),
           AT(CMPIInstanceFT, clone, 16), AT(CMPIInstanceFT, getProperty, 24), AT(CMPIInstanceFT, getPropertyAt, 32),
           AT(CMPIInstanceFT, getPropertyCount, 40), AT(CMPIInstanceFT, setProperty, 48),
           AT(CMPIInstanceFT, getObjectPath, 56), AT(CMPIInstanceFT, setPropertyFilter, 64),
           AT(CMPIInstanceFT, setObjectPath, 72)});
}

TEST(CmpiTable, ObjectPathFT) {
    check({SIZE(CMPIObjectPathFT, 160),
           AT(CMPIObjectPathFT, ftVersion, 0),
           AT(CMPIObjectPathFT, release, 8),
           AT(CMPIObjectPathFT, clone, 16),
           AT(CMPIObjectPathFT, setNameSpace, 24),
           AT(CMPIObjectPathFT, getNameSpace, 32),
           AT(CMPIObjectPathFT, setHostname, 40),
           AT(CMPIObjectPathFT, getHostname, 48),
           AT(CMPIObjectPathFT, setClassName, 56),
           AT(CMPIObjectPathFT, getClassName, 64),
           AT(CMPIObjectPathFT, addKey, 72),
           AT(CMPIObjectPathFT, getKey, 80),
           AT(CMPIObjectPathFT, getKeyAt, 88),
           AT(CMPIObjectPathFT, getKeyCount, 96),
           AT(CMPIObjectPathFT, setNameSpaceFromObjectPath, 104),
           AT(CMPIObjectPathFT, setHostAndNameSpaceFromObjectPath, 112),
           AT(CMPIObjectPathFT, getClassQualifier, 120),
           AT(CMPIObjectPathFT, getPropertyQualifier, 128),
           AT(CMPIObjectPathFT, getMethodQualifier, 136),
           AT(CMPIObjectPathFT, getParameterQualifier, 144),
           AT(CMPIObjectPathFT, toString, 152)});
}

TEST(CmpiTable, ArgsFT) {
    check({SIZE(CMPIArgsFT, 56), AT(CMPIArgsFT, ftVersion, 0), AT(CMPIArgsFT, release, 8), AT(CMPIArgsFT, clone, 16),
           AT(CMPIArgsFT, addArg, 24), AT(CMPIArgsFT, getArg, 32), AT(CMPIArgsFT, getArgAt, 40),
           AT(CMPIArgsFT, getArgCount, 48)});
}

TEST(CmpiTable, DateTimeFT) {
    check({SIZE(CMPIDateTimeFT, 48), AT(CMPIDateTimeFT, ftVersion, 0), AT(CMPIDateTimeFT, release, 8),
           AT(CMPIDateTimeFT, clone, 16), AT(CMPIDateTimeFT, getBinaryFormat, 24),
           AT(CMPIDateTimeFT, getStringFormat, 32), AT(CMPIDateTimeFT, isInterval, 40)});
}

TEST(CmpiTable, SelectExpFT) {
    check({SIZE(CMPISelectExpFT, 64), AT(CMPISelectExpFT, ftVersion, 0), AT(CMPISelectExpFT, release, 8),
           AT(CMPISelectExpFT, clone, 16), AT(CMPISelectExpFT, evaluate, 24), AT(CMPISelectExpFT, getString, 32),
           AT(CMPISelectExpFT, getDOC, 40), AT(CMPISelectExpFT, getCOD, 48),
           AT(CMPISelectExpFT, evaluateUsingAccessor, 56)});
}

TEST(CmpiTable, InstanceMIFT) {
    check({SIZE(CMPIInstanceMIFT, 80), AT(CMPIInstanceMIFT, ftVersion, 0), AT(CMPIInstanceMIFT, miVersion, 4),
           AT(CMPIInstanceMIFT, miName, 8), AT(CMPIInstanceMIFT, cleanup, 16),
           AT(CMPIInstanceMIFT, enumerateInstanceNames, 24), AT(CMPIInstanceMIFT, enumerateInstances, 32),
           AT(CMPIInstanceMIFT, getInstance, 40), AT(CMPIInstanceMIFT, createInstance, 48),
           AT(CMPIInstanceMIFT, modifyInstance, 56), AT(CMPIInstanceMIFT, deleteInstance, 64),
           AT(CMPIInstanceMIFT, execQuery, 72)});
}

TEST(CmpiTable, AssociationMIFT) {
    check({SIZE(CMPIAssociationMIFT, 56), AT(CMPIAssociationMIFT, ftVersion, 0), AT(CMPIAssociationMIFT, miVersion, 4),
           AT(CMPIAssociationMIFT, miName, 8), AT(CMPIAssociationMIFT, cleanup, 16),
           AT(CMPIAssociationMIFT, associators, 24), AT(CMPIAssociationMIFT, associatorNames, 32),
           AT(CMPIAssociationMIFT, references, 40), AT(CMPIAssociationMIFT, referenceNames, 48)});
}

TEST(CmpiTable, MethodMIFT) {
    check({SIZE(CMPIMethodMIFT, 32), AT(CMPIMethodMIFT, ftVersion, 0), AT(CMPIMethodMIFT, miVersion, 4),
           AT(CMPIMethodMIFT, miName, 8), AT(CMPIMethodMIFT, cleanup, 16), AT(CMPIMethodMIFT, invokeMethod, 24)});
}

TEST(CmpiTable, PropertyMIFT) {
    check({SIZE(CMPIPropertyMIFT, 40), AT(CMPIPropertyMIFT, ftVersion, 0), AT(CMPIPropertyMIFT, miVersion, 4),
           AT(CMPIPropertyMIFT, miName, 8), AT(CMPIPropertyMIFT, cleanup, 16), AT(CMPIPropertyMIFT, setProperty, 24),
           AT(CMPIPropertyMIFT, getProperty, 32)});
}

TEST(CmpiTable, IndicationMIFT) {
    check({SIZE(CMPIIndicationMIFT, 72), AT(CMPIIndicationMIFT, ftVersion, 0), AT(CMPIIndicationMIFT, miVersion, 4),
           AT(CMPIIndicationMIFT, miName, 8), AT(CMPIIndicationMIFT, cleanup, 16),
           AT(CMPIIndicationMIFT, authorizeFilter, 24), AT(CMPIIndicationMIFT, mustPoll, 32),
           AT(CMPIIndicationMIFT, activateFilter, 40), AT(CMPIIndicationMIFT, deActivateFilter, 48),
           AT(CMPIIndicationMIFT, enableIndications, 56), AT(CMPIIndicationMIFT, disableIndications, 64)});
}

TEST(CmpiConstants, Types) {
    check({IS(CMPI_null, 0),
           IS(CMPI_SIMPLE, 2),
           IS(CMPI_boolean, 2),
           IS(CMPI_char16, 3),
           IS(CMPI_REAL, 8),
           IS(CMPI_real32, 8),
           IS(CMPI_real64, 12),
           IS(CMPI_UINT, 128),
           IS(CMPI_uint8, 128),
           IS(CMPI_uint16, 144),
           IS(CMPI_uint32, 160),
           IS(CMPI_uint64, 176),
           IS(CMPI_SINT, 192),
           IS(CMPI_sint8, 192),
           IS(CMPI_sint16, 208),
           IS(CMPI_sint32, 224),
           IS(CMPI_sint64, 240),
           IS(CMPI_INTEGER, 192),
           IS(CMPI_ENC, 4096),
           IS(CMPI_instance, 4096),
           IS(CMPI_ref, 4352),
           IS(CMPI_args, 4608),
           IS(CMPI_class, 4864),
           IS(CMPI_filter, 5120),
           IS(CMPI_enumeration, 5376),
           IS(CMPI_string, 5632),
           IS(CMPI_chars, 5888),
           IS(CMPI_dateTime, 6144),
           IS(CMPI_ptr, 6400),
           IS(CMPI_charsptr, 6656),
           IS(CMPI_ARRAY, 8192),
           IS(CMPI_SIMPLEA, 8194),
           IS(CMPI_booleanA, 8194),
           IS(CMPI_char16A, 8195),
           IS(CMPI_REALA, 8200),
           IS(CMPI_real32A, 8200),
           IS(CMPI_real64A, 8204),
           IS(CMPI_UINTA, 8320),
           IS(CMPI_uint8A, 8320),
           IS(CMPI_uint16A, 8336),
           IS(CMPI_uint32A, 8352),
           IS(CMPI_uint64A, 8368),
           IS(CMPI_SINTA, 8384),
           IS(CMPI_sint8A, 8384),
           IS(CMPI_sint16A, 8400),
           IS(CMPI_sint32A, 8416),
           IS(CMPI_sint64A, 8432),
           IS(CMPI_INTEGERA, 8384),
           IS(CMPI_ENCA, 12288),
           IS(CMPI_instanceA, 12288),
           IS(CMPI_refA, 12544),
           IS(CMPI_stringA, 13824),
           IS(CMPI_charsA, 14080),
           IS(CMPI_dateTimeA, 14336),
           IS(CMPI_charsptrA, 14848),
           IS(CMPI_keyInteger, 240),
           IS(CMPI_keyString, 5632),
           IS(CMPI_keyBoolean, 2),
           IS(CMPI_keyRef, 4352),
           IS(CMPI_charString, 5632),
           IS(CMPI_integerString, 5872),
           IS(CMPI_realString, 5644),
           IS(CMPI_numericString, 5884),
           IS(CMPI_booleanString, 5634),
           IS(CMPI_dateTimeString, 7680),
           IS(CMPI_classNameString, 5888),
           IS(CMPI_nameString, 7680)});
}

TEST(CmpiConstants, TypeSynonyms) {
    check({IS(CMPI_Byte, 192), IS(CMPI_ByteA, 8384), IS(CMPI_Short, 208), IS(CMPI_ShortA, 8400), IS(CMPI_Int, 224),
           IS(CMPI_IntA, 8416), IS(CMPI_Long, 240), IS(CMPI_LongA, 8432), IS(CMPI_Float, 8), IS(CMPI_FloatA, 8200),
           IS(CMPI_Double, 12), IS(CMPI_DoubleA, 8204)});
}

TEST(CmpiConstants, ValueStates) {
    check({IS(CMPI_goodValue, 0), IS(CMPI_nullValue, 256), IS(CMPI_keyValue, 512), IS(CMPI_notFound, 1024),
           IS(CMPI_badValue, 32768)});
}

TEST(CmpiConstants, ReturnCodes) {
    check({IS(CMPI_RC_OK, 0),
           IS(CMPI_RC_ERR_FAILED, 1),
           IS(CMPI_RC_ERR_ACCESS_DENIED, 2),
           IS(CMPI_RC_ERR_INVALID_NAMESPACE, 3),
           IS(CMPI_RC_ERR_INVALID_PARAMETER, 4),
           IS(CMPI_RC_ERR_INVALID_CLASS, 5),
           IS(CMPI_RC_ERR_NOT_FOUND, 6),
           IS(CMPI_RC_ERR_NOT_SUPPORTED, 7),
           IS(CMPI_RC_ERR_CLASS_HAS_CHILDREN, 8),
           IS(CMPI_RC_ERR_CLASS_HAS_INSTANCES, 9),
           IS(CMPI_RC_ERR_INVALID_SUPERCLASS, 10),
           IS(CMPI_RC_ERR_ALREADY_EXISTS, 11),
           IS(CMPI_RC_ERR_NO_SUCH_PROPERTY, 12),
           IS(CMPI_RC_ERR_TYPE_MISMATCH, 13),
           IS(CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, 14),
           IS(CMPI_RC_ERR_INVALID_QUERY, 15),
           IS(CMPI_RC_ERR_METHOD_NOT_AVAILABLE, 16),
           IS(CMPI_RC_ERR_METHOD_NOT_FOUND, 17),
           IS(CMPI_RC_NO_MORE_ELEMENTS, 18),
           IS(CMPI_RC_ERR_SERVER_LIMITS_EXCEEDED, 27),
           IS(CMPI_RC_ERR_QUERY_FEATURE_NOT_SUPPORTED, 29),
           IS(CMPI_RC_DO_NOT_UNLOAD, 50),
           IS(CMPI_RC_NEVER_UNLOAD, 51),
           IS(CMPI_RC_ERR_INVALID_HANDLE, 60),
           IS(CMPI_RC_ERR_INVALID_DATA_TYPE, 61),
           IS(CMPI_RC_ERR_NOT_IN_CODEPAGE, 62),
           IS(CMPI_RC_ERROR_SYSTEM, 100),
           IS(CMPI_RC_ERROR, 200)});
}

TEST(CmpiConstants, FlagsCapabilitiesLevelsAndPredicates) {
    check({IS(CMPIVersion100, 100),
           IS(CMPI_FLAG_LocalOnly, 1),
           IS(CMPI_FLAG_DeepInheritance, 2),
           IS(CMPI_FLAG_IncludeQualifiers, 4),
           IS(CMPI_FLAG_IncludeClassOrigin, 8),
           IS(CMPI_MB_BasicRead, 1),
           IS(CMPI_MB_BasicWrite, 3),
           IS(CMPI_MB_InstanceManipulation, 7),
           IS(CMPI_MB_AssociationTraversal, 9),
           IS(CMPI_MB_QueryExecution, 17),
           IS(CMPI_MB_QueryNormalization, 49),
           IS(CMPI_MB_BasicQualifierSupport, 71),
           IS(CMPI_MB_Indications, 129),
           IS(CMPI_MB_OSEncapsulationSupport, 256),
           IS(CMPI_SEV_ERROR, 1),
           IS(CMPI_SEV_INFO, 2),
           IS(CMPI_SEV_WARNING, 3),
           IS(CMPI_DEV_DEBUG, 4),
           IS(CMPI_LEV_INFO, 1),
           IS(CMPI_LEV_WARNING, 2),
           IS(CMPI_LEV_VERBOSE, 3),
           IS(CMPI_PredOp_Equals, 1),
           IS(CMPI_PredOp_NotEquals, 2),
           IS(CMPI_PredOp_LessThan, 3),
           IS(CMPI_PredOp_GreaterThanOrEquals, 4),
           IS(CMPI_PredOp_GreaterThan, 5),
           IS(CMPI_PredOp_LessThanOrEquals, 6),
           IS(CMPI_PredOp_Isa, 7),
           IS(CMPI_PredOp_NotIsa, 8),
           IS(CMPI_PredOp_Like, 9),
           IS(CMPI_PredOp_NotLike, 10),
           IS(CMPI_MB_Class_0, 1),
           IS(CMPI_MB_Class_1, 3),
           IS(CMPI_MB_Class_2, 7)});
}

TEST(CmpiConstants, Version) {
    check({IS(CMPI_VERSION, 100), IS(CMPICurrentVersion, 100)});
}

TEST(CmpiConstants, ContextEntriesAreNamedAsTheirMacros) {
    EXPECT_STREQ(CMPIInvocationFlags, "CMPIInvocationFlags");
    EXPECT_STREQ(CMPIPrincipal, "CMPIPrincipal");
    EXPECT_STREQ(CMPIInitNameSpace, "CMPIInitNameSpace");
    EXPECT_STREQ(CMPIRole, "CMPIRole");
    EXPECT_STREQ(CMPIAcceptLanguage, "CMPIAcceptLanguage");
    EXPECT_STREQ(CMPIContentLanguage, "CMPIContentLanguage");
}

TEST(CmpiSystem, ThreadsLocksAndConditionsAreOpaquePointers) {
    EXPECT_TRUE((std::is_same_v<CMPI_THREAD_TYPE, void*>));
    EXPECT_TRUE((std::is_same_v<CMPI_THREAD_RETURN, void*>));
    EXPECT_TRUE((std::is_same_v<CMPI_MUTEX_TYPE, void*>));
    EXPECT_TRUE((std::is_same_v<CMPI_COND_TYPE, void*>));
    EXPECT_TRUE((std::is_same_v<CMPI_THREAD_KEY_TYPE, unsigned int>));
}
