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

template <typename... Objects>
void checkPairs() {
    (check({SIZE(Objects, 16), AT(Objects, hdl, 0), AT(Objects, ft, 8)}), ...);
}

TEST(CmpiSizes, OfObjectsArePairsOfHandleAndTable) {
    check({SIZE(CMPIBroker, 32), AT(CMPIBroker, hdl, 0), AT(CMPIBroker, bft, 8), AT(CMPIBroker, eft, 16),
           AT(CMPIBroker, xft, 24)});
    checkPairs<CMPIContext, CMPIResult, CMPIString, CMPIArray, CMPIEnumeration, CMPIInstance, CMPIObjectPath, CMPIArgs,
               CMPIDateTime, CMPISelectExp, CMPISelectCond, CMPISubCond, CMPIPredicate, CMPIInstanceMI,
               CMPIAssociationMI, CMPIMethodMI, CMPIPropertyMI, CMPIIndicationMI>();
}

/** A function table: its size, and its versions and slots in their order, each aligned to its own size. */
template <typename Table, typename... Slots>
void checkTable(std::size_t size, Slots Table::*... slots) {
    EXPECT_EQ(sizeof(Table), size);
    const Table table{};
    std::size_t place = 0;
    const auto expectNext = [&](const auto& slot) {
        place = (place + sizeof(slot) - 1) / sizeof(slot) * sizeof(slot);
        const auto offset = reinterpret_cast<const char*>(&slot) - reinterpret_cast<const char*>(&table);
        EXPECT_EQ(static_cast<std::size_t>(offset), place);
        place += sizeof(slot);
    };
    (expectNext(table.*slots), ...);
    EXPECT_EQ(place, size) << "slots that are not listed";
}

TEST(CmpiTable, BrokerFT) {
    using T = CMPIBrokerFT;
    checkTable<T>(160, &T::brokerCapabilities, &T::brokerVersion, &T::brokerName, &T::prepareAttachThread,
                  &T::attachThread, &T::detachThread, &T::deliverIndication, &T::enumerateInstanceNames,
                  &T::getInstance, &T::createInstance, &T::modifyInstance, &T::deleteInstance, &T::execQuery,
                  &T::enumerateInstances, &T::associators, &T::associatorNames, &T::references, &T::referenceNames,
                  &T::invokeMethod, &T::setProperty, &T::getProperty);
}

TEST(CmpiTable, BrokerEncFT) {
    using T = CMPIBrokerEncFT;
    checkTable<T>(136, &T::ftVersion, &T::newInstance, &T::newObjectPath, &T::newArgs, &T::newString, &T::newArray,
                  &T::newDateTime, &T::newDateTimeFromBinary, &T::newDateTimeFromChars, &T::newSelectExp,
                  &T::classPathIsA, &T::toString, &T::isOfType, &T::getType, &T::getMessage, &T::logMessage, &T::trace);
}

TEST(CmpiTable, BrokerExtFT) {
    using T = CMPIBrokerExtFT;
    checkTable<T>(168, &T::ftVersion, &T::resolveFileName, &T::newThread, &T::joinThread, &T::exitThread,
                  &T::cancelThread, &T::threadSleep, &T::threadOnce, &T::createThreadKey, &T::destroyThreadKey,
                  &T::getThreadSpecific, &T::setThreadSpecific, &T::newMutex, &T::destroyMutex, &T::lockMutex,
                  &T::unlockMutex, &T::newCondition, &T::destroyCondition, &T::condWait, &T::timedCondWait,
                  &T::signalCondition);
}

TEST(CmpiTable, ContextFT) {
    using T = CMPIContextFT;
    checkTable<T>(56, &T::ftVersion, &T::release, &T::clone, &T::getEntry, &T::getEntryAt, &T::getEntryCount,
                  &T::addEntry);
}

TEST(CmpiTable, ResultFT) {
    using T = CMPIResultFT;
    checkTable<T>(56, &T::ftVersion, &T::release, &T::clone, &T::returnData, &T::returnInstance, &T::returnObjectPath,
                  &T::returnDone);
}

TEST(CmpiTable, StringFT) {
    using T = CMPIStringFT;
    checkTable<T>(32, &T::ftVersion, &T::release, &T::clone, &T::getCharPtr);
}

TEST(CmpiTable, ArrayFT) {
    using T = CMPIArrayFT;
    checkTable<T>(56, &T::ftVersion, &T::release, &T::clone, &T::getSize, &T::getSimpleType, &T::getElementAt,
                  &T::setElementAt);
}

TEST(CmpiTable, EnumerationFT) {
    using T = CMPIEnumerationFT;
    checkTable<T>(48, &T::ftVersion, &T::release, &T::clone, &T::getNext, &T::hasNext, &T::toArray);
}

TEST(CmpiTable, InstanceFT) {
    using T = CMPIInstanceFT;
    checkTable<T>(80, &T::ftVersion, &T::release, &T::clone, &T::getProperty, &T::getPropertyAt, &T::getPropertyCount,
                  &T::setProperty, &T::getObjectPath, &T::setPropertyFilter, &T::setObjectPath);
}

TEST(CmpiTable, ObjectPathFT) {
    using T = CMPIObjectPathFT;
    checkTable<T>(160, &T::ftVersion, &T::release, &T::clone, &T::setNameSpace, &T::getNameSpace, &T::setHostname,
                  &T::getHostname, &T::setClassName, &T::getClassName, &T::addKey, &T::getKey, &T::getKeyAt,
                  &T::getKeyCount, &T::setNameSpaceFromObjectPath, &T::setHostAndNameSpaceFromObjectPath,
                  &T::getClassQualifier, &T::getPropertyQualifier, &T::getMethodQualifier, &T::getParameterQualifier,
                  &T::toString);
}

TEST(CmpiTable, ArgsFT) {
    using T = CMPIArgsFT;
    checkTable<T>(56, &T::ftVersion, &T::release, &T::clone, &T::addArg, &T::getArg, &T::getArgAt, &T::getArgCount);
}

TEST(CmpiTable, DateTimeFT) {
    using T = CMPIDateTimeFT;
    checkTable<T>(48, &T::ftVersion, &T::release, &T::clone, &T::getBinaryFormat, &T::getStringFormat, &T::isInterval);
}

TEST(CmpiTable, SelectExpFT) {
    using T = CMPISelectExpFT;
    checkTable<T>(64, &T::ftVersion, &T::release, &T::clone, &T::evaluate, &T::getString, &T::getDOC, &T::getCOD,
                  &T::evaluateUsingAccessor);
}

TEST(CmpiTable, InstanceMIFT) {
    using T = CMPIInstanceMIFT;
    checkTable<T>(80, &T::ftVersion, &T::miVersion, &T::miName, &T::cleanup, &T::enumerateInstanceNames,
                  &T::enumerateInstances, &T::getInstance, &T::createInstance, &T::modifyInstance, &T::deleteInstance,
                  &T::execQuery);
}

TEST(CmpiTable, AssociationMIFT) {
    using T = CMPIAssociationMIFT;
    checkTable<T>(56, &T::ftVersion, &T::miVersion, &T::miName, &T::cleanup, &T::associators, &T::associatorNames,
                  &T::references, &T::referenceNames);
}

TEST(CmpiTable, MethodMIFT) {
    using T = CMPIMethodMIFT;
    checkTable<T>(32, &T::ftVersion, &T::miVersion, &T::miName, &T::cleanup, &T::invokeMethod);
}

TEST(CmpiTable, PropertyMIFT) {
    using T = CMPIPropertyMIFT;
    checkTable<T>(40, &T::ftVersion, &T::miVersion, &T::miName, &T::cleanup, &T::setProperty, &T::getProperty);
}

TEST(CmpiTable, IndicationMIFT) {
    using T = CMPIIndicationMIFT;
    checkTable<T>(72, &T::ftVersion, &T::miVersion, &T::miName, &T::cleanup, &T::authorizeFilter, &T::mustPoll,
                  &T::activateFilter, &T::deActivateFilter, &T::enableIndications, &T::disableIndications);
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
