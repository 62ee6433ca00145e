#include <atomic>
#include <stdexcept>

#include "tests/broker/brokertest.h"

using broker::Call;
using broker::Value;

class EncapsulationTest : public ObjectTest {};

TEST_F(EncapsulationTest, StringsHoldACopyOfTheirText) {
    std::string source = "before";
    CMPIString* string = mb->eft->newString(mb, source.c_str(), &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    source = "behind";
    EXPECT_STREQ(string->ft->getCharPtr(string, &rc), "before");
}

TEST_F(EncapsulationTest, StringsAreNotMadeOfNull) {
    EXPECT_EQ(mb->eft->newString(mb, nullptr, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(mb->eft->newString(mb, nullptr, nullptr), nullptr);
}

TEST_F(EncapsulationTest, ClonesOfStringsBelongToTheirCaller) {
    CMPIString* clone = nullptr;
    broker::Broker other;
    {
        const broker::Broker::Scope inner(other);
        CMPIString* string = other.handle()->eft->newString(other.handle(), "kept", nullptr);
        clone = string->ft->clone(string, &rc);
    }
    EXPECT_EQ(text(clone), "kept");
    EXPECT_EQ(other.objectsMade(), other.objectsFreed() + 1);
    clone->ft->release(clone);
    EXPECT_EQ(other.objectsMade(), other.objectsFreed());
}

TEST_F(EncapsulationTest, ObjectsKnowTheirTypeAndText) {
    CMPIObjectPath* path = newPath();
    EXPECT_EQ(text(mb->eft->getType(mb, path, &rc)), "CMPIObjectPath");
    EXPECT_EQ(mb->eft->isOfType(mb, path, "CMPIObjectPath", nullptr), 1);
    EXPECT_EQ(mb->eft->isOfType(mb, path, "CMPIInstance", nullptr), 0);
    EXPECT_EQ(text(mb->eft->toString(mb, path, nullptr)), "root/kavix:Test_Class");
    EXPECT_EQ(text(mb->eft->getType(mb, newInstance(), nullptr)), "CMPIInstance");
    EXPECT_EQ(text(mb->eft->toString(mb, newInstance(), nullptr)), "root/kavix:Test_Class");
    EXPECT_EQ(text(mb->eft->toString(mb, newString("text"), nullptr)), "text");
    EXPECT_EQ(text(mb->eft->toString(mb, mb->eft->newArray(mb, 2, CMPI_uint8, nullptr), nullptr)), "NULL, NULL");
    EXPECT_EQ(text(mb->eft->getType(mb, scope.makeEnumeration({}), nullptr)), "CMPIEnumeration");
    EXPECT_EQ(text(mb->eft->toString(mb, scope.context(), nullptr)), "CMPIContext");
    EXPECT_EQ(text(mb->eft->toString(mb, scope.result(), nullptr)), "CMPIResult");
}

TEST_F(EncapsulationTest, WhatIsNoObjectIsAnInvalidHandle) {
    const int nothing = 0;
    EXPECT_EQ(mb->eft->toString(mb, &nothing, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    EXPECT_EQ(mb->eft->getType(mb, nullptr, &rc), nullptr);
    EXPECT_EQ(mb->eft->isOfType(mb, &nothing, "CMPIString", nullptr), 0);
}

TEST_F(EncapsulationTest, AClassIsItselfAndNothingElse) {
    EXPECT_EQ(mb->eft->classPathIsA(mb, newPath("Test_A"), "TEST_a", &rc), 1);
    EXPECT_EQ(mb->eft->classPathIsA(mb, newPath("Test_A"), "Test_B", nullptr), 0);
    EXPECT_EQ(mb->eft->classPathIsA(mb, nullptr, "Test_B", &rc), 0);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(EncapsulationTest, ObjectsNotServedAreNullAndNotSupported) {
    const auto isRefused = [this](const void* object) {
        const bool refused = object == nullptr && rc.rc == CMPI_RC_ERR_NOT_SUPPORTED;
        rc.rc = CMPI_RC_ERROR;
        return refused;
    };
    EXPECT_TRUE(isRefused(mb->eft->newArgs(mb, &rc)));
    EXPECT_TRUE(isRefused(mb->eft->newDateTime(mb, &rc)));
    EXPECT_TRUE(isRefused(mb->eft->newDateTimeFromBinary(mb, 0, 0, &rc)));
    EXPECT_TRUE(isRefused(mb->eft->newDateTimeFromChars(mb, "20200101000000.000000+000", &rc)));
    EXPECT_TRUE(isRefused(mb->eft->newSelectExp(mb, "SELECT * FROM A", "WQL", nullptr, &rc)));
    EXPECT_TRUE(isRefused(mb->eft->getMessage(mb, "id", "default", &rc, 0)));
}

TEST_F(EncapsulationTest, MessagesAreInTheRecordOfCalls) {
    EXPECT_EQ(mb->eft->logMessage(mb, CMPI_SEV_INFO, "id", "logged", nullptr).rc, CMPI_RC_OK);
    EXPECT_EQ(mb->eft->trace(mb, CMPI_LEV_INFO, "part", nullptr, newString("traced")).rc, CMPI_RC_OK);
    const auto calls = broker.calls();
    EXPECT_EQ(calls.front().function, "eft.logMessage");
    EXPECT_EQ(calls.front().name, "logged");
    EXPECT_EQ(calls.back().name, "traced");
}

TEST_F(EncapsulationTest, ObjectsCannotBeMadeOutsideOfARequest) {
    broker::Broker other;
    EXPECT_THROW(other.handle()->eft->newString(other.handle(), "text", nullptr), std::logic_error);
    EXPECT_EQ(other.objectsMade(), other.objectsFreed());
}

TEST_F(EncapsulationTest, AScopeFreesWhatWasMadeInIt) {
    broker::Broker other;
    {
        const broker::Broker::Scope outer(other);
        {
            const broker::Broker::Scope inner(other);
            other.handle()->eft->newString(other.handle(), "text", nullptr);
        }
        EXPECT_EQ(other.objectsFreed(), 0U);  // the outermost scope ends later
    }
    EXPECT_GT(other.objectsMade(), 0U);
    EXPECT_EQ(other.objectsMade(), other.objectsFreed());
}

TEST_F(EncapsulationTest, ContextsHoldTheEntriesOfARequest) {
    const CMPIContext* context = scope.context();
    const CMPIData flags = context->ft->getEntry(context, CMPIInvocationFlags, &rc);
    EXPECT_EQ(flags.type, CMPI_uint32);
    EXPECT_EQ(flags.value.uint32, 0U);
    EXPECT_EQ(text(context->ft->getEntry(context, "cmpiinitnamespace", nullptr)), "root/kavix");
    EXPECT_EQ(context->ft->getEntry(context, CMPIRole, &rc).state, CMPI_notFound);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(EncapsulationTest, ContextsTakeFurtherEntries) {
    const CMPIContext* context = scope.context();
    const CMPICount before = context->ft->getEntryCount(context, nullptr);
    EXPECT_EQ(context->ft->addEntry(context, "Own", chars("text"), CMPI_chars).rc, CMPI_RC_OK);
    EXPECT_EQ(context->ft->getEntryCount(context, nullptr), before + 1);
    CMPIString* name = nullptr;
    EXPECT_EQ(text(context->ft->getEntryAt(context, before, &name, &rc)), "text");
    EXPECT_EQ(text(name), "Own");
    EXPECT_EQ(context->ft->getEntryAt(context, before + 1, nullptr, &rc).state, CMPI_notFound);
    EXPECT_EQ(context->ft->addEntry(context, "", chars("x"), CMPI_chars).rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

class ResultTest : public ObjectTest {
 protected:
    const CMPIResult* result = scope.result();
};

TEST_F(ResultTest, KeepsWhatWasDeliveredAsItWasThen) {
    CMPIInstance* instance = newInstance();
    instance->ft->setProperty(instance, "Name", chars("before"), CMPI_chars);
    EXPECT_EQ(result->ft->returnInstance(result, instance).rc, CMPI_RC_OK);
    instance->ft->setProperty(instance, "Name", chars("behind"), CMPI_chars);
    CMPIObjectPath* path = newPath("Test_Before");
    EXPECT_EQ(result->ft->returnObjectPath(result, path).rc, CMPI_RC_OK);
    path->ft->setClassName(path, "Test_Behind");
    ASSERT_EQ(scope.response().instances.size(), 1U);
    EXPECT_EQ(*scope.response().instances[0].property("Name"), Value::string("before"));
    ASSERT_EQ(scope.response().paths.size(), 1U);
    EXPECT_EQ(scope.response().paths[0].className, "Test_Before");
}

TEST_F(ResultTest, CountsDoneAndWhatComesBehindIt) {
    result->ft->returnObjectPath(result, newPath());
    EXPECT_EQ(scope.response().doneCalls, 0U);
    EXPECT_EQ(result->ft->returnDone(result).rc, CMPI_RC_OK);
    EXPECT_EQ(scope.response().deliveredAfterDone, 0U);
    result->ft->returnObjectPath(result, newPath());
    result->ft->returnInstance(result, newInstance());
    result->ft->returnDone(result);
    EXPECT_EQ(scope.response().doneCalls, 2U);
    EXPECT_EQ(scope.response().deliveredAfterDone, 2U);
    EXPECT_EQ(scope.response().paths.size(), 2U);
}

TEST_F(ResultTest, RefusesNullObjects) {
    EXPECT_EQ(result->ft->returnInstance(result, nullptr).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(result->ft->returnObjectPath(result, nullptr).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_TRUE(scope.response().instances.empty());
    EXPECT_TRUE(scope.response().paths.empty());
}

TEST_F(ResultTest, RefusesAReferenceAsDataAndTakesOtherData) {
    CMPIValue value{};
    value.ref = newPath();
    EXPECT_EQ(result->ft->returnData(result, &value, CMPI_ref).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(result->ft->returnData(result, chars("text"), CMPI_chars).rc, CMPI_RC_OK);
    EXPECT_THAT(scope.response().data, testing::ElementsAre(Value::string("text")));
}

TEST_F(ResultTest, IsNotTheProvidersToRelease) {
    EXPECT_EQ(result->ft->release(const_cast<CMPIResult*>(result)).rc, CMPI_RC_ERR_FAILED);
}

class ScopeTest : public ObjectTest {};

TEST_F(ScopeTest, MakesObjectsFromPlainDataAndReadsThemBack) {
    const broker::ObjectPath path{"n", "Test_A", {{"K", Value::uint(CMPI_uint64, 3)}}};
    const broker::Instance instance{path, {{"K", Value::uint(CMPI_uint64, 3)}, {"P", Value::nothing(CMPI_string)}}};
    EXPECT_EQ(scope.read(scope.make(path)), path);
    EXPECT_EQ(scope.read(scope.make(instance)), instance);
    CMPIInstance* made = scope.make(instance);
    EXPECT_EQ(made->ft->getProperty(made, "k", nullptr).state, CMPI_keyValue);
}

TEST_F(ScopeTest, RecordsCallsWithNamesTypesAndIndices) {
    broker.clearCalls();
    CMPIObjectPath* path = newPath("Test_A");
    path->ft->addKey(path, "Tag", chars("4"), CMPI_chars);
    CMPIArray* array = mb->eft->newArray(mb, 3, CMPI_uint8, nullptr);
    array->ft->setElementAt(array, 2, nullptr, CMPI_uint8);
    const std::vector<Call> calls = broker.calls();
    ASSERT_EQ(calls.size(), 4U);
    EXPECT_EQ(calls[0].function, "eft.newObjectPath");
    EXPECT_EQ(calls[0].name, "Test_A");
    EXPECT_EQ(calls[1].function, "objectPath.addKey");
    EXPECT_EQ(calls[1].name, "Tag");
    EXPECT_EQ(calls[1].type, CMPI_chars);
    EXPECT_EQ(calls[2].function, "eft.newArray");
    EXPECT_EQ(calls[2].index, 3U);
    EXPECT_EQ(calls[3].type, CMPI_uint8);
    EXPECT_EQ(calls[3].index, 2U);
    broker.clearCalls();
    EXPECT_TRUE(broker.calls().empty());
}

TEST_F(ScopeTest, RecordsNothingWhileSwitchedOff) {
    broker.clearCalls();
    broker.recordCalls(false);
    newPath();
    broker.recordCalls(true);
    newString("text");
    EXPECT_EQ(broker.calls().size(), 1U);
}

TEST_F(ScopeTest, LocksAndConditionsWork) {
    const CMPIBrokerExtFT* xft = mb->xft;
    struct Shared {
        const CMPIBrokerExtFT* xft;
        void* mutex;
        void* condition;
        bool ready;
    } shared{xft, xft->newMutex(0), xft->newCondition(0), false};
    void* thread = xft->newThread(
        [](void* argument) -> void* {
            auto* mine = static_cast<Shared*>(argument);
            mine->xft->lockMutex(mine->mutex);
            mine->ready = true;
            mine->xft->signalCondition(mine->condition);
            mine->xft->unlockMutex(mine->mutex);
            return argument;
        },
        &shared, 0);
    ASSERT_NE(thread, nullptr);
    xft->lockMutex(shared.mutex);
    while (!shared.ready) xft->condWait(shared.condition, shared.mutex);
    timespec past{0, 0};
    EXPECT_NE(xft->timedCondWait(shared.condition, shared.mutex, &past), 0);
    xft->unlockMutex(shared.mutex);
    void* returned = nullptr;
    EXPECT_EQ(xft->joinThread(thread, &returned), 0);
    EXPECT_EQ(returned, &shared);
    xft->destroyCondition(shared.condition);
    xft->destroyMutex(shared.mutex);
}

TEST_F(ScopeTest, ThreadKeysAndOnceWork) {
    const CMPIBrokerExtFT* xft = mb->xft;
    CMPI_THREAD_KEY_TYPE key = 0;
    ASSERT_EQ(xft->createThreadKey(&key, nullptr), 0);
    int mark = 0;
    EXPECT_EQ(xft->setThreadSpecific(key, &mark), 0);
    EXPECT_EQ(xft->getThreadSpecific(key), &mark);
    EXPECT_EQ(xft->destroyThreadKey(key), 0);
    static int count;
    count = 0;
    int once = 0;
    xft->threadOnce(&once, [] { ++count; });
    xft->threadOnce(&once, [] { ++count; });
    EXPECT_EQ(count, 1);
    EXPECT_EQ(xft->threadSleep(1), 0);
    EXPECT_EQ(xft->exitThread, nullptr);
    EXPECT_EQ(xft->cancelThread, nullptr);
}
