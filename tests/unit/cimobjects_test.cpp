// Making and returning objects, upcalls, and walks over what they bring, where something is missing or fails; what goes
// well is for the tests of every class, slots_test.cpp first.
#include <stdexcept>

#include "tests/unit/cimtest.h"

namespace {

using broker::Value;
using testing::ElementsAre;
using testing::IsEmpty;

// --- making objects ---

class ObjectMakerTest : public CimTest {};

TEST_F(ObjectMakerTest, NoInstanceIsMadeOfANullPathOrWhereTheObjectManagerFails) {
    EXPECT_EQ(cim_.createCIMInstance(broker_.handle(), nullptr), nullptr);
    EXPECT_THAT(takeCalls(), IsEmpty());
    CMPIObjectPath* path = makePath();
    broker_.failAt("eft.newInstance", 1);
    EXPECT_EQ(cim_.createCIMInstance(broker_.handle(), path), nullptr);
    broker_.throwAt("eft.newInstance", 1);
    EXPECT_THROW(cim_.createCIMInstance(broker_.handle(), path), std::runtime_error);
}

TEST_F(ObjectMakerTest, NothingIsMadeWithoutAnObjectManager) {
    CMPIObjectPath* path = makePath();
    takeCalls();
    EXPECT_EQ(cim_.createCIMInstance(nullptr, path), nullptr);
    EXPECT_EQ(cim_.createObjectPath(nullptr, "root/test", "Test_Thing"), nullptr);
    EXPECT_EQ(cim_.createHostObjectPath(nullptr, "root/test", "Test_Thing", "host", "Key", "value"), nullptr);
    EXPECT_EQ(cim_.enumerateInstances(nullptr, scope_.context(), "root/test", "Test_Thing"), nullptr);
    EXPECT_EQ(cim_.enumerateInstances(nullptr, scope_.context(), path), nullptr);
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(ObjectMakerTest, ANullInstanceAndAFailingOneGiveNoPath) {
    const CMPIInstance* instance = makeInstance();
    takeCalls();
    EXPECT_EQ(cim_.getObjectPathFromInstance(nullptr), nullptr);
    EXPECT_THAT(takeCalls(), IsEmpty());
    broker_.failAt("instance.getObjectPath", 1);
    EXPECT_EQ(cim_.getObjectPathFromInstance(instance), nullptr);
}

TEST_F(ObjectMakerTest, APathIsMadeOfNamespaceAndClassNameWithoutKeys) {
    for (const char* nameSpace : {"root/test", ""}) {
        const CMPIObjectPath* path = cim_.createObjectPath(broker_.handle(), nameSpace, "Test_Thing");
        ASSERT_NE(path, nullptr);
        EXPECT_EQ(scope_.read(path), (broker::ObjectPath{nameSpace, "Test_Thing", {}}));
        EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"eft.newObjectPath", "Test_Thing", 0, 0}));
    }
}

// --- returning objects ---

class ObjectReturnTest : public CimTest {};

TEST_F(ObjectReturnTest, NullObjectsAreNotReturnedAndNothingWithoutAResult) {
    CMPIInstance* instance = makeInstance();
    CMPIObjectPath* path = makePath();
    takeCalls();
    cim_.returnInstance(scope_.result(), nullptr);
    cim_.returnObjectPath(scope_.result(), nullptr);
    cim_.returnInstance(nullptr, instance);
    cim_.returnObjectPath(nullptr, path);
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(ObjectReturnTest, ARefusalIsDroppedAndAnExceptionPasses) {
    CMPIInstance* instance = makeInstance();
    CMPIObjectPath* path = makePath();
    broker_.failAt("result.returnInstance", 1);
    broker_.failAt("result.returnObjectPath", 1);
    cim_.returnInstance(scope_.result(), instance);
    cim_.returnObjectPath(scope_.result(), path);
    EXPECT_THAT(scope_.response().instances, IsEmpty());
    EXPECT_THAT(scope_.response().paths, IsEmpty());
    broker_.throwAt("result.returnInstance", 1);
    EXPECT_THROW(cim_.returnInstance(scope_.result(), instance), std::runtime_error);
}

// --- asking for instances ---

/** The arguments of one enumInstances upcall. */
struct Upcall {
    const CMPIBroker* broker = nullptr;
    const CMPIContext* context = nullptr;
    const CMPIObjectPath* path = nullptr;
    const char** properties = nullptr;
    bool hasStatus = false;
    unsigned count = 0;
};
Upcall upcall;
CMPIEnumeration* upcallAnswer = nullptr;

class UpcallTest : public CimTest {
 protected:
    /** The next upcalls are recorded and answered with that enumeration. */
    void recordUpcalls(CMPIEnumeration* answer) {
        static const char* unexpected = nullptr;
        upcall = {};
        upcall.properties = &unexpected;
        upcallAnswer = answer;
        broker_.brokerTable().enumerateInstances = [](const CMPIBroker* broker, const CMPIContext* context,
                                                      const CMPIObjectPath* path, const char** properties,
                                                      CMPIStatus* rc) {
            upcall = {broker, context, path, properties, rc != nullptr, upcall.count + 1};
            return upcallAnswer;
        };
    }

    CMPIEnumeration* enumerate(const std::string& nameSpace, const std::string& className) {
        return cim_.enumerateInstances(broker_.handle(), scope_.context(), nameSpace, className);
    }
};

TEST_F(UpcallTest, InstancesAreAskedForByAPathOfTheClassAndNoPropertyList) {
    CMPIEnumeration* answer = scope_.makeEnumeration({});
    recordUpcalls(answer);
    takeCalls();
    EXPECT_EQ(enumerate("root/test", "Test_Thing"), answer);
    EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"eft.newObjectPath", "Test_Thing", 0, 0}));
    EXPECT_EQ(upcall.count, 1U);
    EXPECT_EQ(upcall.broker, broker_.handle());
    EXPECT_EQ(upcall.context, scope_.context());
    EXPECT_EQ(upcall.properties, nullptr);
    EXPECT_TRUE(upcall.hasStatus);
    EXPECT_EQ(scope_.read(upcall.path), thing_);
}

TEST_F(UpcallTest, WithoutAClassNameOrAPathNothingIsAskedFor) {
    recordUpcalls(scope_.makeEnumeration({}));
    takeCalls();
    EXPECT_EQ(enumerate("root/test", ""), nullptr);
    EXPECT_EQ(cim_.enumerateInstances(broker_.handle(), scope_.context(), nullptr), nullptr);
    EXPECT_THAT(takeCalls(), IsEmpty());
    broker_.failAt("eft.newObjectPath", 1);
    EXPECT_EQ(enumerate("root/test", "Test_Thing"), nullptr);
    EXPECT_EQ(upcall.count, 0U);
}

TEST_F(UpcallTest, AnObjectManagerThatHasNoneToGiveGivesNull) {
    recordUpcalls(nullptr);
    EXPECT_EQ(enumerate("root/test", "Test_Thing"), nullptr);
    EXPECT_EQ(upcall.count, 1U);
}

TEST_F(UpcallTest, AnEnumerationThatComesWithAnErrorIsHandedOn) {
    broker_.answerUpcall("Test_Thing", {false, CMPI_RC_ERR_FAILED, {}});
    EXPECT_NE(enumerate("root/test", "Test_Thing"), nullptr);
    EXPECT_EQ(takeCalls().back(), (CallRow{"bft.enumerateInstances", "Test_Thing", 0, 0}));
}

TEST_F(UpcallTest, AnObjectManagerWithoutTheServiceGivesNull) {
    broker_.brokerTable().enumerateInstances = nullptr;
    EXPECT_EQ(enumerate("root/test", "Test_Thing"), nullptr);
    broker_.brokerRecord().bft = nullptr;
    EXPECT_EQ(enumerate("root/test", "Test_Thing"), nullptr);
}

// --- walking an enumeration ---

class EnumerationWalkTest : public CimTest {
 protected:
    const CMPIInstance* next(CMPIEnumeration* instances) {
        return cim_.getNextInstance(broker_.handle(), scope_.context(), instances);
    }

    Value thingNumber(unsigned number) const {
        return Value::instance({thing_, {{"Number", Value::uint(CMPI_uint8, number)}}});
    }

    /** An enumeration whose only element is what the test says, as it stands. */
    CMPIEnumeration* answering(CMPIType type, CMPIValueState state, CMPIInstance* instance) {
        canned_.type = type;
        canned_.state = state;
        canned_.value.uint64 = 0;
        canned_.value.inst = instance;
        broker_.enumerationTable().getNext = [](const CMPIEnumeration*, CMPIStatus*) { return canned_; };
        return scope_.makeEnumeration({thingNumber(1)});
    }

    const std::vector<std::string> nullElementLog_ = {
        "getNextInstance in the routine", "getNextInstance instances not null", "getNextInstance it has next",
        "getNextInstance instance is null"};

 private:
    static CMPIData canned_;
};

CMPIData EnumerationWalkTest::canned_;

TEST_F(EnumerationWalkTest, ANullElementGivesNullThoughMoreFollow) {
    CMPIEnumeration* instances = scope_.makeEnumeration({Value::nothing(CMPI_instance), thingNumber(2)});
    EXPECT_EQ(next(instances), nullptr);
    EXPECT_EQ(takeLog(), nullElementLog_);
    EXPECT_NE(next(instances), nullptr);
}

// OpenPegasus hands every element over as a null one with a good instance in it.
TEST_F(EnumerationWalkTest, TheInstanceInAnElementIsTakenWhateverItsTypeAndItsStateSay) {
    CMPIInstance* instance = makeInstance();
    for (const CMPIType type : std::vector<CMPIType>{CMPI_null, CMPI_instance, CMPI_ref, CMPI_string, CMPI_uint64}) {
        for (const int state : {CMPI_goodValue, CMPI_nullValue, CMPI_keyValue, CMPI_notFound, CMPI_badValue,
                                CMPI_nullValue | CMPI_keyValue}) {
            EXPECT_EQ(next(answering(type, static_cast<CMPIValueState>(state), instance)), instance) << type << state;
            EXPECT_EQ(takeLog(), testsupport::nextInstanceLines());
        }
    }
}

TEST_F(EnumerationWalkTest, ANullInstanceAndOneWithoutHandleGiveNull) {
    EXPECT_EQ(next(answering(CMPI_instance, CMPI_goodValue, nullptr)), nullptr);
    EXPECT_EQ(takeLog(), nullElementLog_);
    CMPIInstance withoutHandle = {nullptr, &broker_.instanceTable()};
    EXPECT_EQ(next(answering(CMPI_instance, CMPI_goodValue, &withoutHandle)), nullptr);
    EXPECT_EQ(takeLog(), nullElementLog_);
}

TEST_F(EnumerationWalkTest, TheEnumerationIsAskedWithoutStatusPointers) {
    static unsigned asked = 0;
    static bool statusGiven = false;
    asked = 0;
    statusGiven = false;
    broker_.enumerationTable().hasNext = [](const CMPIEnumeration*, CMPIStatus* rc) -> CMPIBoolean {
        ++asked;
        statusGiven = statusGiven || rc != nullptr;
        return 1;
    };
    broker_.enumerationTable().getNext = [](const CMPIEnumeration*, CMPIStatus* rc) {
        ++asked;
        statusGiven = statusGiven || rc != nullptr;
        CMPIData nothing;
        nothing.type = CMPI_instance;
        nothing.state = CMPI_nullValue;
        nothing.value.inst = nullptr;
        return nothing;
    };
    EXPECT_EQ(next(scope_.makeEnumeration({})), nullptr);
    EXPECT_EQ(asked, 2U);
    EXPECT_FALSE(statusGiven);
}

TEST_F(EnumerationWalkTest, ExceptionsPassToTheCaller) {
    CMPIEnumeration* instances = scope_.makeEnumeration({thingNumber(1)});
    broker_.throwAt("enumeration.hasNext", 1);
    EXPECT_THROW(next(instances), std::runtime_error);
    broker_.throwAt("enumeration.getNext", 1, false);
    EXPECT_THROW(next(instances), int);
}

}  // namespace
