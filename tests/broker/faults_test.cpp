#include <map>
#include <memory>
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
class Stage {
 public:
    explicit Stage(Broker& broker) : scope_(broker), mb_(broker.handle()) {
        path_ = mb_->eft->newObjectPath(mb_, "root/kavix", "Test_A", nullptr);
        path_->ft->addKey(path_, "Number", &number_, CMPI_uint32);
        instance_ = mb_->eft->newInstance(mb_, path_, nullptr);
        array_ = mb_->eft->newArray(mb_, 1, CMPI_uint32, nullptr);
        array_->ft->setElementAt(array_, 0, &number_, CMPI_uint32);
        string_ = mb_->eft->newString(mb_, "text", nullptr);
        enumeration_ = scope_.makeEnumeration({Value::uint(CMPI_uint32, 1)});
        fill();
    }

    Outcome call(const std::string& function) { return calls_.at(function)(); }

 private:
    using Function = std::function<Outcome()>;

    static Outcome of(const CMPIStatus& status) { return {status.rc != CMPI_RC_OK, status.rc}; }
    Outcome of(const CMPIData& data) const { return {data.state == CMPI_notFound && data.type == CMPI_null, rc_.rc}; }
    template <class Result>
    Outcome of(Result result) const {
        return {result == Result(), rc_.rc};
    }

    void fill() {
        const auto* bft = mb_->bft;
        const auto* eft = mb_->eft;
        const auto* context = scope_.context();
        const auto* result = scope_.result();
        CMPIStatus* rc = &rc_;
        // clang-format off
        calls_ = {
            {"bft.prepareAttachThread", [=] {
                auto* copy = bft->prepareAttachThread(mb_, context);
                if (copy != nullptr) copy->ft->release(copy);
                return Outcome{copy == nullptr, copy == nullptr ? CMPI_RC_ERR_ACCESS_DENIED : CMPI_RC_OK};
            }},
            {"bft.attachThread", [=] {
                const Outcome outcome = of(bft->attachThread(mb_, context));
                if (!outcome.nothing) bft->detachThread(mb_, context);
                return outcome;
            }},
            {"bft.detachThread", [=] { return ofDetach(); }},
            {"bft.deliverIndication", [=] { return of(bft->deliverIndication(mb_, context, "n", instance_)); }},
            {"bft.enumerateInstanceNames", [=] { return of(bft->enumerateInstanceNames(mb_, context, path_, rc)); }},
            {"bft.getInstance", [=] { return of(bft->getInstance(mb_, context, path_, nullptr, rc)); }},
            {"bft.createInstance", [=] { return of(bft->createInstance(mb_, context, path_, instance_, rc)); }},
            {"bft.modifyInstance", [=] { return of(bft->modifyInstance(mb_, context, path_, instance_, nullptr)); }},
            {"bft.deleteInstance", [=] { return of(bft->deleteInstance(mb_, context, path_)); }},
            {"bft.execQuery", [=] { return of(bft->execQuery(mb_, context, path_, "q", "l", rc)); }},
            {"bft.enumerateInstances", [=] { return of(bft->enumerateInstances(mb_, context, path_, nullptr, rc)); }},
            {"bft.associators", [=] {
                return of(bft->associators(mb_, context, path_, nullptr, nullptr, nullptr, nullptr, nullptr, rc));
            }},
            {"bft.associatorNames", [=] {
                return of(bft->associatorNames(mb_, context, path_, nullptr, nullptr, nullptr, nullptr, rc));
            }},
            {"bft.references", [=] { return of(bft->references(mb_, context, path_, nullptr, nullptr, nullptr, rc)); }},
            {"bft.referenceNames", [=] { return of(bft->referenceNames(mb_, context, path_, nullptr, nullptr, rc)); }},
            {"bft.invokeMethod", [=] { return of(bft->invokeMethod(mb_, context, path_, "m", nullptr, nullptr, rc)); }},
            {"bft.setProperty", [=] { return of(bft->setProperty(mb_, context, path_, "P", &number_, CMPI_uint32)); }},
            {"bft.getProperty", [=] { return of(bft->getProperty(mb_, context, path_, "P", rc)); }},
            {"eft.newInstance", [=] { return of(eft->newInstance(mb_, path_, rc)); }},
            {"eft.newObjectPath", [=] { return of(eft->newObjectPath(mb_, "n", "Test_A", rc)); }},
            {"eft.newArgs", [=] { return of(eft->newArgs(mb_, rc)); }},
            {"eft.newString", [=] { return of(eft->newString(mb_, "text", rc)); }},
            {"eft.newArray", [=] { return of(eft->newArray(mb_, 1, CMPI_uint8, rc)); }},
            {"eft.newDateTime", [=] { return of(eft->newDateTime(mb_, rc)); }},
            {"eft.newDateTimeFromBinary", [=] { return of(eft->newDateTimeFromBinary(mb_, 0, 0, rc)); }},
            {"eft.newDateTimeFromChars", [=] { return of(eft->newDateTimeFromChars(mb_, "", rc)); }},
            {"eft.newSelectExp", [=] { return of(eft->newSelectExp(mb_, "q", "l", nullptr, rc)); }},
            {"eft.classPathIsA", [=] { return of(eft->classPathIsA(mb_, path_, "Test_A", rc)); }},
            {"eft.toString", [=] { return of(eft->toString(mb_, path_, rc)); }},
            {"eft.isOfType", [=] { return of(eft->isOfType(mb_, path_, "CMPIObjectPath", rc)); }},
            {"eft.getType", [=] { return of(eft->getType(mb_, path_, rc)); }},
            {"eft.getMessage", [=] { return of(eft->getMessage(mb_, "id", "text", rc, 0)); }},
            {"eft.logMessage", [=] { return of(eft->logMessage(mb_, CMPI_SEV_INFO, "id", "text", nullptr)); }},
            {"eft.trace", [=] { return of(eft->trace(mb_, CMPI_LEV_INFO, "part", "text", nullptr)); }},
            {"result.release", [=] { return ofRelease(result); }},
            {"result.clone", [=] { return ofClone(result); }},
            {"result.returnData", [=] { return of(result->ft->returnData(result, &number_, CMPI_uint32)); }},
            {"result.returnInstance", [=] { return of(result->ft->returnInstance(result, instance_)); }},
            {"result.returnObjectPath", [=] { return of(result->ft->returnObjectPath(result, path_)); }},
            {"result.returnDone", [=] { return of(result->ft->returnDone(result)); }},
            {"objectPath.release", [=] { return ofRelease(path_); }},
            {"objectPath.clone", [=] { return ofClone(path_); }},
            {"objectPath.setNameSpace", [=] { return of(path_->ft->setNameSpace(path_, "n")); }},
            {"objectPath.getNameSpace", [=] { return of(path_->ft->getNameSpace(path_, rc)); }},
            {"objectPath.setHostname", [=] { return of(path_->ft->setHostname(path_, "h")); }},
            {"objectPath.getHostname", [=] { return of(path_->ft->getHostname(path_, rc)); }},
            {"objectPath.setClassName", [=] { return of(path_->ft->setClassName(path_, "Test_A")); }},
            {"objectPath.getClassName", [=] { return of(path_->ft->getClassName(path_, rc)); }},
            {"objectPath.addKey", [=] { return of(path_->ft->addKey(path_, "Number", &number_, CMPI_uint32)); }},
            {"objectPath.getKey", [=] { return of(path_->ft->getKey(path_, "Number", rc)); }},
            {"objectPath.getKeyAt", [=] { return of(path_->ft->getKeyAt(path_, 0, nullptr, rc)); }},
            {"objectPath.getKeyCount", [=] { return of(path_->ft->getKeyCount(path_, rc)); }},
            {"objectPath.setNameSpaceFromObjectPath", [=] {
                return of(path_->ft->setNameSpaceFromObjectPath(path_, path_));
            }},
            {"objectPath.setHostAndNameSpaceFromObjectPath", [=] {
                return of(path_->ft->setHostAndNameSpaceFromObjectPath(path_, path_));
            }},
            {"objectPath.getClassQualifier", [=] { return of(path_->ft->getClassQualifier(path_, "q", rc)); }},
            {"objectPath.getPropertyQualifier", [=] {
                return of(path_->ft->getPropertyQualifier(path_, "p", "q", rc));
            }},
            {"objectPath.getMethodQualifier", [=] { return of(path_->ft->getMethodQualifier(path_, "m", "q", rc)); }},
            {"objectPath.getParameterQualifier", [=] {
                return of(path_->ft->getParameterQualifier(path_, "m", "p", "q", rc));
            }},
            {"objectPath.toString", [=] { return of(path_->ft->toString(path_, rc)); }},
            {"instance.release", [=] { return ofRelease(instance_); }},
            {"instance.clone", [=] { return ofClone(instance_); }},
            {"instance.getProperty", [=] { return of(instance_->ft->getProperty(instance_, "Number", rc)); }},
            {"instance.getPropertyAt", [=] { return of(instance_->ft->getPropertyAt(instance_, 0, nullptr, rc)); }},
            {"instance.getPropertyCount", [=] { return of(instance_->ft->getPropertyCount(instance_, rc)); }},
            {"instance.setProperty", [=] {
                return of(instance_->ft->setProperty(instance_, "P", &number_, CMPI_uint32));
            }},
            {"instance.getObjectPath", [=] { return of(instance_->ft->getObjectPath(instance_, rc)); }},
            {"instance.setPropertyFilter", [=] {
                return of(instance_->ft->setPropertyFilter(instance_, nullptr, nullptr));
            }},
            {"instance.setObjectPath", [=] { return of(instance_->ft->setObjectPath(instance_, path_)); }},
            {"array.release", [=] { return ofRelease(array_); }},
            {"array.clone", [=] { return ofClone(array_); }},
            {"array.getSize", [=] { return of(array_->ft->getSize(array_, rc)); }},
            {"array.getSimpleType", [=] { return of(array_->ft->getSimpleType(array_, rc)); }},
            {"array.getElementAt", [=] { return of(array_->ft->getElementAt(array_, 0, rc)); }},
            {"array.setElementAt", [=] { return of(array_->ft->setElementAt(array_, 0, &number_, CMPI_uint32)); }},
            {"enumeration.release", [=] { return ofRelease(enumeration_); }},
            {"enumeration.clone", [=] { return ofClone(enumeration_); }},
            {"enumeration.getNext", [=] { return of(enumeration_->ft->getNext(enumeration_, rc)); }},
            {"enumeration.hasNext", [=] { return of(enumeration_->ft->hasNext(enumeration_, rc)); }},
            {"enumeration.toArray", [=] { return of(enumeration_->ft->toArray(enumeration_, rc)); }},
            {"string.release", [=] { return ofRelease(string_); }},
            {"string.clone", [=] { return ofClone(string_); }},
            {"string.getCharPtr", [=] { return of(string_->ft->getCharPtr(string_, rc)); }},
            {"context.release", [=] { return ofRelease(context); }},
            {"context.clone", [=] { return ofClone(context); }},
            {"context.getEntry", [=] { return of(context->ft->getEntry(context, CMPIInvocationFlags, rc)); }},
            {"context.getEntryAt", [=] { return of(context->ft->getEntryAt(context, 0, nullptr, rc)); }},
            {"context.getEntryCount", [=] { return of(context->ft->getEntryCount(context, rc)); }},
            {"context.addEntry", [=] { return of(context->ft->addEntry(context, "E", &number_, CMPI_uint32)); }},
        };
        // clang-format on
    }

    // What the call under test leaves undone is done by a second call.
    template <class Handle>
    static Outcome ofRelease(const Handle* object) {
        const auto release = [](Handle* handle) { handle->ft->release(handle); };
        std::unique_ptr<Handle, decltype(release)> clone(object->ft->clone(object, nullptr), release);
        const Outcome outcome = of(clone->ft->release(clone.get()));
        if (!outcome.nothing) static_cast<void>(clone.release());
        return outcome;
    }

    Outcome ofDetach() const {
        const CMPIContext* context = scope_.context();
        const auto detach = [this](const CMPIContext* mine) { mb_->bft->detachThread(mb_, mine); };
        mb_->bft->attachThread(mb_, context);
        std::unique_ptr<const CMPIContext, decltype(detach)> attached(context, detach);
        const Outcome outcome = of(mb_->bft->detachThread(mb_, context));
        if (!outcome.nothing) static_cast<void>(attached.release());
        return outcome;
    }

    template <class Handle>
    Outcome ofClone(const Handle* object) {
        auto* clone = object->ft->clone(object, &rc_);
        if (clone != nullptr) clone->ft->release(clone);
        return of(clone);
    }

    Broker::Scope scope_;
    const CMPIBroker* mb_;
    CMPIValue number_{};
    CMPIStatus rc_{CMPI_RC_ERROR, nullptr};
    CMPIObjectPath* path_ = nullptr;
    CMPIInstance* instance_ = nullptr;
    CMPIArray* array_ = nullptr;
    CMPIString* string_ = nullptr;
    CMPIEnumeration* enumeration_ = nullptr;
    std::map<std::string, Function> calls_;
};

class EveryFunction : public RequestTest, public testing::WithParamInterface<std::string> {
 protected:
    EveryFunction() {
        tiny::behave([](const tiny::Asked& asked) {
            const CMPIInstance* instance = tiny::makeNumbered(asked.broker, "Test_A", 1);
            asked.result->ft->returnInstance(asked.result, instance);
            asked.result->ft->returnObjectPath(asked.result, instance->ft->getObjectPath(instance, nullptr));
            return tiny::ok;
        });
    }
};

std::string caseName(const testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    name.replace(name.find('.'), 1, "_");
    return name;
}

/** Functions that fail anyway: their objects or services are not offered. */
bool isNeverServed(const std::string& function) {
    return function.find("Qualifier") != std::string::npos || function.find("DateTime") != std::string::npos ||
           function == "eft.newArgs" || function == "eft.newSelectExp" || function == "eft.getMessage" ||
           function == "bft.deliverIndication" || function == "bft.invokeMethod" || function == "bft.setProperty" ||
           function == "bft.getProperty";
}

}  // namespace

TEST_P(EveryFunction, FailsAtTheCallAskedForAndNoOther) {
    Stage stage(broker);
    const bool neverServed = isNeverServed(GetParam());
    broker.failAt(GetParam(), 2, CMPI_RC_ERR_ACCESS_DENIED);
    const Outcome first = stage.call(GetParam());
    EXPECT_EQ(first.nothing, neverServed);
    EXPECT_EQ(first.status, neverServed ? CMPI_RC_ERR_NOT_SUPPORTED : CMPI_RC_OK);
    EXPECT_FALSE(broker.faultStruck());
    const Outcome second = stage.call(GetParam());
    EXPECT_TRUE(second.nothing);
    EXPECT_EQ(second.status, CMPI_RC_ERR_ACCESS_DENIED);
    EXPECT_TRUE(broker.faultStruck());
    const Outcome third = stage.call(GetParam());
    EXPECT_NE(third.status, CMPI_RC_ERR_ACCESS_DENIED);
}

TEST_P(EveryFunction, ThrowsWhereAskedTo) {
    Stage stage(broker);
    broker.throwAt(GetParam(), 1);
    EXPECT_THROW(stage.call(GetParam()), std::runtime_error);
    broker.throwAt(GetParam(), 1, false);
    EXPECT_THROW(stage.call(GetParam()), int);
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
    EXPECT_EQ(scope.result()->ft->returnInstance(scope.result(), newInstance()).rc, CMPI_RC_ERR_FAILED);
    EXPECT_TRUE(scope.response().instances.empty());
}

TEST_F(FaultTest, OfASetterLeavesTheValueUnset) {
    CMPIInstance* instance = newInstance();
    broker.failAt("instance.setProperty", 1);
    EXPECT_EQ(instance->ft->setProperty(instance, "Name", chars("x"), CMPI_chars).rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(instance->ft->getPropertyCount(instance, nullptr), 0U);
}
