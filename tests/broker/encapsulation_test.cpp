// Strings, results and scopes; slots that are not served; the record of calls.
#include <stdexcept>

#include "tests/broker/brokertest.h"

using broker::Call;
using broker::Value;

class EncapsulationTest : public ObjectTest {};

TEST_F(EncapsulationTest, StringsHoldACopyOfTheirText) {
    std::string source = "before";
    CMPIString* string = mb->eft->newString(mb, source.c_str(), &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    source = "later";
    EXPECT_STREQ(string->ft->getCharPtr(string, &rc), "before");
}

TEST_F(EncapsulationTest, StringsAreNotMadeOfNull) {
    EXPECT_EQ(mb->eft->newString(mb, nullptr, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(mb->eft->newString(mb, nullptr, nullptr), nullptr);
}

TEST_F(EncapsulationTest, SlotsThatAreNotServedAnswerNothingAndNotSupported) {
    const auto isRefused = [this](const void* object) {
        const bool refused = object == nullptr && rc.rc == CMPI_RC_ERR_NOT_SUPPORTED;
        rc.rc = CMPI_RC_ERROR;
        return refused;
    };
    CMPIObjectPath* path = newPath();
    const CMPIContext* context = scope->context();
    broker.clearCalls();
    EXPECT_TRUE(isRefused(mb->eft->newArgs(mb, &rc)));
    EXPECT_TRUE(isRefused(mb->eft->getMessage(mb, "id", "default", &rc, 0)));
    EXPECT_TRUE(isRefused(path->ft->clone(path, &rc)));
    EXPECT_TRUE(isRefused(mb->bft->getInstance(mb, context, path, nullptr, &rc)));
    EXPECT_EQ(path->ft->getKeyAt(path, 0, nullptr, &rc).state, CMPI_notFound);
    EXPECT_TRUE(isRefused(nullptr));
    EXPECT_EQ(mb->eft->classPathIsA(mb, path, "Test_Class", &rc), 0);
    EXPECT_TRUE(isRefused(nullptr));
    EXPECT_EQ(path->ft->setClassName(path, "Test_Other").rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(path->ft->getNameSpace(path, nullptr), nullptr);
    EXPECT_EQ(mb->eft->logMessage(mb, CMPI_SEV_INFO, "id", "text", nullptr).rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(mb->xft, nullptr);
    EXPECT_EQ(scope->read(path).className, "Test_Class");
    EXPECT_TRUE(broker.calls().empty());
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

class ResultTest : public ObjectTest {
 protected:
    const CMPIResult* result = scope->result();
};

TEST_F(ResultTest, KeepsWhatWasDeliveredAsItWasThen) {
    CMPIInstance* instance = newInstance();
    set(instance, "Name", "before");
    EXPECT_EQ(result->ft->returnInstance(result, instance).rc, CMPI_RC_OK);
    set(instance, "Name", "after");
    CMPIObjectPath* path = newPath();
    addKey(path, "Tag", "before");
    EXPECT_EQ(result->ft->returnObjectPath(result, path).rc, CMPI_RC_OK);
    addKey(path, "Tag", "after");
    ASSERT_EQ(scope->response().instances.size(), 1U);
    EXPECT_EQ(*scope->response().instances[0].property("Name"), Value::string("before"));
    ASSERT_EQ(scope->response().paths.size(), 1U);
    EXPECT_EQ(*scope->response().paths[0].key("Tag"), Value::string("before"));
}

TEST_F(ResultTest, CountsDoneAndWhatComesAfterIt) {
    result->ft->returnObjectPath(result, newPath());
    EXPECT_EQ(scope->response().doneCalls, 0U);
    EXPECT_EQ(result->ft->returnDone(result).rc, CMPI_RC_OK);
    EXPECT_EQ(scope->response().deliveredAfterDone, 0U);
    result->ft->returnObjectPath(result, newPath());
    result->ft->returnInstance(result, newInstance());
    result->ft->returnDone(result);
    EXPECT_EQ(scope->response().doneCalls, 2U);
    EXPECT_EQ(scope->response().deliveredAfterDone, 2U);
    EXPECT_EQ(scope->response().paths.size(), 2U);
}

TEST_F(ResultTest, RefusesNullObjects) {
    EXPECT_EQ(result->ft->returnInstance(result, nullptr).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(result->ft->returnObjectPath(result, nullptr).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_TRUE(scope->response().instances.empty());
    EXPECT_TRUE(scope->response().paths.empty());
}

TEST_F(ResultTest, TakesNoData) {
    CMPIValue value{};
    value.ref = newPath();
    EXPECT_EQ(result->ft->returnData(result, &value, CMPI_ref).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(result->ft->returnData(result, chars("text"), CMPI_chars).rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

class ScopeTest : public ObjectTest {};

TEST_F(ScopeTest, MakesObjectsFromPlainDataAndReadsThemBack) {
    const broker::ObjectPath path{"n", "Test_A", {{"K", Value::uint(CMPI_uint64, 3)}}};
    const broker::Instance instance{path, {{"K", Value::uint(CMPI_uint64, 3)}, {"P", Value::nothing(CMPI_string)}}};
    EXPECT_EQ(scope->read(scope->make(path)), path);
    EXPECT_EQ(scope->read(scope->make(instance)), instance);
    CMPIInstance* made = scope->make(instance);
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
