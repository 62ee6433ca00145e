// Calls of the provider that are made to fail or to throw.
#include <map>
#include <stdexcept>

#include "tests/broker/brokertest.h"

using broker::Broker;
using broker::Value;

namespace {

/** What a call gave: whether it answered with nothing, and the status. */
struct Outcome {
    bool nothing = false;
    CMPIrc status = CMPI_RC_OK;
};

/** Objects to call functions on, and one call for every function that can fail. */
class EveryFunction : public ObjectTest, public testing::WithParamInterface<std::string> {
 protected:
    EveryFunction() {
        tiny::behave([](const tiny::Asked&) { return tiny::ok; });
        broker.attach(tiny::createInstanceMI, tiny::createAssociationMI);
        array->ft->setElementAt(array, 0, &number, CMPI_uint32);
        path->ft->addKey(path, "Number", &number, CMPI_uint32);
        set(instance, "Number", &number, CMPI_uint32);
    }
    ~EveryFunction() override { tiny::behave(nullptr); }

    static Outcome of(const CMPIStatus& status) { return {status.rc != CMPI_RC_OK, status.rc}; }
    Outcome of(const CMPIData& data) const { return {data.state == CMPI_notFound && data.type == CMPI_null, rc.rc}; }
    template <typename Result>
    Outcome of(Result answered) const {
        return {answered == Result(), rc.rc};
    }
    template <typename Handle>
    static Outcome ofRelease(const Handle* object) {
        return of(object->ft->release(const_cast<Handle*>(object)));
    }

    Outcome call(const std::string& function) { return calls.at(function)(); }

    CMPIValue number{};
    CMPIObjectPath* path = newPath();
    CMPIInstance* instance = newInstance();
    CMPIArray* array = mb->eft->newArray(mb, 1, CMPI_uint32, nullptr);
    CMPIString* string = newString("text");
    CMPIEnumeration* enumeration = scope->makeEnumeration({Value::uint(CMPI_uint32, 1)});
    const CMPIResult* result = scope->result();
    // clang-format off
    const std::map<std::string, std::function<Outcome()>> calls = {
        {"bft.enumerateInstances",
         [this] { return of(mb->bft->enumerateInstances(mb, scope->context(), path, nullptr, &rc)); }},
        {"eft.newInstance", [this] { return of(mb->eft->newInstance(mb, path, &rc)); }},
        {"eft.newObjectPath", [this] { return of(mb->eft->newObjectPath(mb, "n", "Test_A", &rc)); }},
        {"eft.newString", [this] { return of(mb->eft->newString(mb, "text", &rc)); }},
        {"eft.newArray", [this] { return of(mb->eft->newArray(mb, 1, CMPI_uint8, &rc)); }},
        {"result.release", [this] { return ofRelease(result); }},
        {"result.returnData", [this] { return of(result->ft->returnData(result, &number, CMPI_uint32)); }},
        {"result.returnInstance", [this] { return of(result->ft->returnInstance(result, instance)); }},
        {"result.returnObjectPath", [this] { return of(result->ft->returnObjectPath(result, path)); }},
        {"result.returnDone", [this] { return of(result->ft->returnDone(result)); }},
        {"objectPath.release", [this] { return ofRelease(path); }},
        {"objectPath.getClassName", [this] { return of(path->ft->getClassName(path, &rc)); }},
        {"objectPath.addKey", [this] { return of(path->ft->addKey(path, "Number", &number, CMPI_uint32)); }},
        {"objectPath.getKey", [this] { return of(path->ft->getKey(path, "Number", &rc)); }},
        {"instance.release", [this] { return ofRelease(instance); }},
        {"instance.getProperty", [this] { return of(instance->ft->getProperty(instance, "Number", &rc)); }},
        {"instance.setProperty",
         [this] { return of(instance->ft->setProperty(instance, "P", &number, CMPI_uint32)); }},
        {"instance.getObjectPath", [this] { return of(instance->ft->getObjectPath(instance, &rc)); }},
        {"array.release", [this] { return ofRelease(array); }},
        {"array.setElementAt", [this] { return of(array->ft->setElementAt(array, 0, &number, CMPI_uint32)); }},
        {"enumeration.release", [this] { return ofRelease(enumeration); }},
        {"enumeration.getNext", [this] { return of(enumeration->ft->getNext(enumeration, &rc)); }},
        {"enumeration.hasNext", [this] { return of(enumeration->ft->hasNext(enumeration, &rc)); }},
        {"string.release", [this] { return ofRelease(string); }},
        {"string.getCharPtr", [this] { return of(string->ft->getCharPtr(string, &rc)); }},
        {"context.release", [this] { return ofRelease(scope->context()); }},
    };
    // clang-format on
};

std::string caseName(const testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    name.replace(name.find('.'), 1, "_");
    return name;
}

/** What a function answers without a fault. Nobody but the object manager releases, and there is no data to return. */
CMPIrc usualStatus(const std::string& function) {
    if (function == "result.returnData") return CMPI_RC_ERR_NOT_SUPPORTED;
    return function.find("release") != std::string::npos ? CMPI_RC_ERR_FAILED : CMPI_RC_OK;
}

}  // namespace

TEST_P(EveryFunction, FailsAtTheCallAskedForAndNoOther) {
    const CMPIrc usual = usualStatus(GetParam());
    broker.failAt(GetParam(), 2, CMPI_RC_ERR_ACCESS_DENIED);
    const Outcome first = call(GetParam());
    EXPECT_EQ(first.nothing, usual != CMPI_RC_OK);
    EXPECT_EQ(first.status, usual);
    EXPECT_FALSE(broker.faultStruck());
    const Outcome second = call(GetParam());
    EXPECT_TRUE(second.nothing);
    EXPECT_EQ(second.status, CMPI_RC_ERR_ACCESS_DENIED);
    EXPECT_TRUE(broker.faultStruck());
    EXPECT_NE(call(GetParam()).status, CMPI_RC_ERR_ACCESS_DENIED);
}

TEST_P(EveryFunction, ThrowsWhereAskedTo) {
    broker.throwAt(GetParam(), 1);
    EXPECT_THROW(call(GetParam()), std::runtime_error);
    broker.throwAt(GetParam(), 1, false);
    EXPECT_THROW(call(GetParam()), int);
    EXPECT_TRUE(broker.faultStruck());
}

INSTANTIATE_TEST_SUITE_P(Faults, EveryFunction, testing::ValuesIn(Broker::functions()), caseName);

class FaultTest : public ObjectTest {};

TEST_F(FaultTest, CountsFromTheMomentItIsSet) {
    newString("earlier");
    broker.failAt("eft.newString", 1);
    EXPECT_EQ(mb->eft->newString(mb, "now", &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_FAILED);
}

TEST_F(FaultTest, StarStandsForEveryFunction) {
    broker.failAt("*", 2, CMPI_RC_ERR_ACCESS_DENIED);
    EXPECT_NE(newPath(), nullptr);
    EXPECT_EQ(mb->eft->newString(mb, "text", &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_ACCESS_DENIED);
    EXPECT_NE(newPath(), nullptr);
}

TEST_F(FaultTest, SeveralWaitAtOnceAndTheLastOneSetIsReported) {
    broker.failAt("eft.newString", 1);
    broker.failAt("eft.newArray", 1);
    EXPECT_EQ(newString("text"), nullptr);
    EXPECT_FALSE(broker.faultStruck());
    EXPECT_EQ(mb->eft->newArray(mb, 1, CMPI_uint8, nullptr), nullptr);
    EXPECT_TRUE(broker.faultStruck());
}

TEST_F(FaultTest, IsForgottenWhenCleared) {
    broker.failAt("eft.newString", 1);
    broker.clearFaults();
    EXPECT_NE(newString("text"), nullptr);
    EXPECT_FALSE(broker.faultStruck());
}

TEST_F(FaultTest, LeavesAFailingCallInTheRecord) {
    broker.clearCalls();
    broker.failAt("eft.newString", 1);
    newString("text");
    EXPECT_EQ(broker.calls().size(), 1U);
}

TEST_F(FaultTest, IsRefusedForAnUnknownFunctionAndForCallZero) {
    EXPECT_THROW(broker.failAt("eft.newThing", 1), std::invalid_argument);
    EXPECT_THROW(broker.throwAt("newString", 1), std::invalid_argument);
    EXPECT_THROW(broker.failAt("eft.newString", 0), std::invalid_argument);
}

TEST_F(FaultTest, OfADeliveryLeavesTheResultWithoutTheObject) {
    broker.failAt("result.returnInstance", 1);
    EXPECT_EQ(scope->result()->ft->returnInstance(scope->result(), newInstance()).rc, CMPI_RC_ERR_FAILED);
    EXPECT_TRUE(scope->response().instances.empty());
}

TEST_F(FaultTest, OfASetterLeavesTheValueUnset) {
    CMPIInstance* instance = newInstance();
    broker.failAt("instance.setProperty", 1);
    EXPECT_EQ(set(instance, "Name", "x"), CMPI_RC_ERR_FAILED);
    EXPECT_TRUE(scope->read(instance).properties.empty());
}
