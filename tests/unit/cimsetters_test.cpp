// Scalar and reference properties, and keys.
#include <functional>
#include <limits>
#include <stdexcept>

#include "tests/unit/cimtest.h"

namespace {

using broker::Property;
using broker::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using tPCIInfo::CMPICIMInst;

constexpr unsigned long long kTwoToThe32 = 4294967296ULL;

/** What a setter works on: an instance's property or a path's key. */
struct Target {
    CMPIInstance* instance;
    CMPIObjectPath* path;
};

/** One setter of a property or of a key, with a value that it sets. */
struct Setter {
    const char* name;
    const char* function;  // of the object manager
    std::function<CMPIStatus(CMPICIMInst&, const Target&, const std::string& name)> set;
    CMPIType type;   // the code that the object manager is given
    Value readBack;  // what it makes of it
};

template <typename Content>
Setter property(const char* name, const Content& content, CMPIType type, const Value& readBack) {
    return {name, "instance.setProperty",
            [content](CMPICIMInst& cim, const Target& to, const std::string& held) {
                return cim.setProperty(to.instance, held, content);
            },
            type, readBack};
}

template <typename Content>
Setter key(const char* name, const Content& content, CMPIType type, const Value& readBack) {
    return {name, "objectPath.addKey",
            [content](CMPICIMInst& cim, const Target& to, const std::string& held) {
                return cim.setKeyProperty(to.path, held, content);
            },
            type, readBack};
}

std::vector<Setter> setters() {
    std::vector<Setter> all = {
        property("unsigned char", std::numeric_limits<unsigned char>::max(), 128, Value::uint(CMPI_uint8, 0xFF)),
        property("unsigned short", std::numeric_limits<unsigned short>::max(), 144, Value::uint(CMPI_uint16, 0xFFFF)),
        property("unsigned int", std::numeric_limits<unsigned int>::max(), 160, Value::uint(CMPI_uint32, 0xFFFFFFFF)),
        property("unsigned long long", kTwoToThe32 + 7, 176, Value::uint(CMPI_uint64, kTwoToThe32 + 7)),
        property("text", std::string("a text"), 5888, Value::string("a text")),
        key("unsigned long long key", 123456789ULL, 160, Value::uint(CMPI_uint32, 123456789)),
        key("unsigned int key", 4000000000U, 160, Value::uint(CMPI_uint32, 4000000000U)),
        key("unsigned short key", static_cast<unsigned short>(60000), 144, Value::uint(CMPI_uint16, 60000)),
        key("unsigned char key", static_cast<unsigned char>(200), 128, Value::uint(CMPI_uint8, 200)),
        key("key of 64 bits, of which 32 are left", kTwoToThe32 + 1, 160, Value::uint(CMPI_uint32, 1)),
        key("text key", std::string("a text"), 5888, Value::string("a text")),
        key("empty text key", std::string(), 5888, Value::string(""))};
    for (const bool value : {true, false}) {
        all.push_back({"boolean", "instance.setProperty",
                       [value](CMPICIMInst& cim, const Target& to, const std::string& held) {
                           return cim.setBoolProperty(to.instance, held, value);
                       },
                       2, Value::boolean(value)});
        all.push_back({"boolean, free function", "instance.setProperty",
                       [value](CMPICIMInst&, const Target& to, const std::string& held) {
                           return tPCIInfo::setProperty(to.instance, held, value);
                       },
                       2, Value::boolean(value)});
    }
    return all;
}

void expectOk(const CMPIStatus& status) {
    EXPECT_EQ(status.rc, CMPI_RC_OK);
    EXPECT_EQ(status.msg, nullptr);
}

// --- scalar properties and keys ---

class SetterTest : public CimTest {
 protected:
    /** Runs a check for every setter on a fresh instance and a fresh path; nothing is recorded or logged yet. */
    template <typename Check>
    void forEverySetter(Check check) {
        for (const Setter& setter : setters()) {
            SCOPED_TRACE(setter.name);
            const Target target = {makeInstance(), makePath()};
            takeCalls();
            check(setter, target);
            broker_.clearFaults();
        }
    }
    /** What the target holds, of properties and keys. */
    std::vector<Property> held(const Target& target) const {
        std::vector<Property> all = propertiesOf(target.instance);
        for (const Property& key : keysOf(target.path)) all.push_back(key);
        return all;
    }
};

TEST_F(SetterTest, EveryOneCallsTheObjectManagerOnceWithItsTypeCodeAndWritesNoLogLines) {
    forEverySetter([this](const Setter& setter, const Target& target) {
        expectOk(setter.set(cim_, target, "Held"));
        EXPECT_THAT(takeCalls(), ElementsAre(CallRow{setter.function, "Held", setter.type, 0}));
        EXPECT_THAT(held(target), ElementsAre(Property{"Held", setter.readBack}));
    });
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(SetterTest, NullHandlesAndEmptyNamesAreAnsweredByDoingNothing) {
    forEverySetter([this](const Setter& setter, const Target& target) {
        expectOk(setter.set(cim_, {nullptr, nullptr}, "Held"));
        expectOk(setter.set(cim_, target, ""));
        EXPECT_THAT(takeCalls(), IsEmpty());
    });
}

TEST_F(SetterTest, WhatTheObjectManagerAnswersIsDropped) {
    forEverySetter([this](const Setter& setter, const Target& target) {
        broker_.failAt(setter.function, 1);
        expectOk(setter.set(cim_, target, "Held"));
        EXPECT_TRUE(broker_.faultStruck());
        EXPECT_THAT(held(target), IsEmpty());
    });
}

TEST_F(SetterTest, ExceptionsPassToTheCaller) {
    forEverySetter([this](const Setter& setter, const Target& target) {
        broker_.throwAt(setter.function, 1);
        EXPECT_THROW(setter.set(cim_, target, "Held"), std::runtime_error);
        broker_.throwAt(setter.function, 1, false);
        EXPECT_THROW(setter.set(cim_, target, "Held"), int);
    });
}

TEST_F(SetterTest, AnEmptyTextSetsNothingAsAProperty) {
    CMPIInstance* instance = makeInstance();
    takeCalls();
    expectOk(cim_.setProperty(instance, "Held", std::string()));
    EXPECT_THAT(takeCalls(), IsEmpty());
}

// --- references as properties ---

class ReferenceSetterTest : public CimTest {
 protected:
    const std::vector<std::string> failedLog_ = {
        "setProperty for CMPIObjectPath in the routine",
        "setProperty for CMPIObjectPath about to set property",
        "setProperty for CMPIObjectPath about to setting property",
        "setProperty for CMPIObjectPath failed to set property",
        "setProperty for CMPIObjectPath leaving the routine",
    };
    const std::vector<std::string> guardedLog_ = {
        "setProperty for CMPIObjectPath in the routine",
        "setProperty for CMPIObjectPath leaving the routine",
    };
};

TEST_F(ReferenceSetterTest, AReferenceIsSetAsRefAndEveryStepIsLogged) {
    CMPIInstance* instance = makeInstance();
    CMPIObjectPath* path = makePath();
    takeCalls();
    expectOk(cim_.setProperty(instance, "Held", path));
    EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"instance.setProperty", "Held", 4352, 0}));
    EXPECT_THAT(propertiesOf(instance), ElementsAre(Property{"Held", Value::reference(thing_)}));
    EXPECT_EQ(takeLog(), testsupport::setReferenceLines());
}

TEST_F(ReferenceSetterTest, MissingArgumentsLogTheWayInAndTheWayOutOnly) {
    CMPIInstance* instance = makeInstance();
    CMPIObjectPath* path = makePath();
    CMPIObjectPath* none = nullptr;
    takeCalls();
    expectOk(cim_.setProperty(nullptr, "Held", path));
    EXPECT_EQ(takeLog(), guardedLog_);
    expectOk(cim_.setProperty(instance, "", path));
    EXPECT_EQ(takeLog(), guardedLog_);
    expectOk(cim_.setProperty(instance, "Held", none));
    EXPECT_EQ(takeLog(), guardedLog_);
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(ReferenceSetterTest, AnExceptionOfAnyTypeIsCaughtAndLogged) {
    CMPIInstance* instance = makeInstance();
    CMPIObjectPath* path = makePath();
    for (const bool standard : {true, false}) {
        broker_.throwAt("instance.setProperty", 1, standard);
        expectOk(cim_.setProperty(instance, "Held", path));
        EXPECT_EQ(takeLog(), failedLog_) << (standard ? "standard" : "other");
        broker_.clearFaults();
    }
    EXPECT_THAT(propertiesOf(instance), IsEmpty());
}

TEST_F(ReferenceSetterTest, ARefusedReferenceLooksLikeASetOne) {
    CMPIInstance* instance = makeInstance();
    CMPIObjectPath* path = makePath();
    broker_.failAt("instance.setProperty", 1);
    expectOk(cim_.setProperty(instance, "Held", path));
    EXPECT_EQ(takeLog(), testsupport::setReferenceLines());
    EXPECT_THAT(propertiesOf(instance), IsEmpty());
}

// --- keys ---

TEST_F(SetterTest, AReferenceKeyIsAddedAsRefAndWritesNoLogLines) {
    CMPIObjectPath* path = makePath();
    CMPIObjectPath* target = scope_.make(broker::ObjectPath{"root/other", "Test_Other", {}});
    takeCalls();
    expectOk(cim_.setKeyProperty(path, "Held", target));
    EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"objectPath.addKey", "Held", 4352, 0}));
    EXPECT_THAT(keysOf(path),
                ElementsAre(Property{"Held", Value::reference(broker::ObjectPath{"root/other", "Test_Other", {}})}));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(SetterTest, ANullReferenceOrAnEmptyNameAddsNoReferenceKey) {
    CMPIObjectPath* path = makePath();
    CMPIObjectPath* none = nullptr;
    takeCalls();
    expectOk(cim_.setKeyProperty(path, "Held", none));
    expectOk(cim_.setKeyProperty(path, "", path));
    EXPECT_THAT(takeCalls(), IsEmpty());
}

}  // namespace
