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

/** One scalar property setter with a value that it sets. */
struct PropertySetter {
    const char* name;
    std::function<CMPIStatus(CMPICIMInst&, CMPIInstance*, const std::string& property)> set;
    CMPIType type;   // the code that the object manager is given
    Value readBack;  // what it makes of it
};

const std::vector<PropertySetter>& propertySetters() {
    using Instance = CMPIInstance*;
    using Text = const std::string&;
    static const std::vector<PropertySetter> setters = {
        {"true", [](CMPICIMInst& cim, Instance to, Text name) { return cim.setBoolProperty(to, name, true); }, 2,
         Value::boolean(true)},
        {"false", [](CMPICIMInst& cim, Instance to, Text name) { return cim.setBoolProperty(to, name, false); }, 2,
         Value::boolean(false)},
        {"free function, true",
         [](CMPICIMInst&, Instance to, Text name) { return tPCIInfo::setProperty(to, name, true); }, 2,
         Value::boolean(true)},
        {"free function, false",
         [](CMPICIMInst&, Instance to, Text name) { return tPCIInfo::setProperty(to, name, false); }, 2,
         Value::boolean(false)},
        {"unsigned char",
         [](CMPICIMInst& cim, Instance to, Text name) {
             return cim.setProperty(to, name, std::numeric_limits<unsigned char>::max());
         },
         128, Value::uint(CMPI_uint8, 0xFF)},
        {"unsigned short",
         [](CMPICIMInst& cim, Instance to, Text name) {
             return cim.setProperty(to, name, std::numeric_limits<unsigned short>::max());
         },
         144, Value::uint(CMPI_uint16, 0xFFFF)},
        {"unsigned int",
         [](CMPICIMInst& cim, Instance to, Text name) {
             return cim.setProperty(to, name, std::numeric_limits<unsigned int>::max());
         },
         160, Value::uint(CMPI_uint32, 0xFFFFFFFF)},
        {"unsigned long long",
         [](CMPICIMInst& cim, Instance to, Text name) { return cim.setProperty(to, name, kTwoToThe32 + 7); }, 176,
         Value::uint(CMPI_uint64, kTwoToThe32 + 7)},
        {"text",
         [](CMPICIMInst& cim, Instance to, Text name) { return cim.setProperty(to, name, std::string("a text")); },
         5888, Value::string("a text")},
    };
    return setters;
}

/** One key setter with a value that it adds. */
struct KeySetter {
    const char* name;
    std::function<CMPIStatus(CMPICIMInst&, CMPIObjectPath*, const std::string& key)> add;
    CMPIType type;
    Value readBack;
};

const std::vector<KeySetter>& keySetters() {
    using Path = CMPIObjectPath*;
    using Text = const std::string&;
    static const std::vector<KeySetter> setters = {
        {"unsigned long long",
         [](CMPICIMInst& cim, Path to, Text name) { return cim.setKeyProperty(to, name, 123456789ULL); }, 160,
         Value::uint(CMPI_uint32, 123456789)},
        {"unsigned int", [](CMPICIMInst& cim, Path to, Text name) { return cim.setKeyProperty(to, name, 4000000000U); },
         160, Value::uint(CMPI_uint32, 4000000000U)},
        {"unsigned short",
         [](CMPICIMInst& cim, Path to, Text name) {
             return cim.setKeyProperty(to, name, static_cast<unsigned short>(60000));
         },
         144, Value::uint(CMPI_uint16, 60000)},
        {"unsigned char",
         [](CMPICIMInst& cim, Path to, Text name) {
             return cim.setKeyProperty(to, name, static_cast<unsigned char>(200));
         },
         128, Value::uint(CMPI_uint8, 200)},
        {"text",
         [](CMPICIMInst& cim, Path to, Text name) { return cim.setKeyProperty(to, name, std::string("a text")); }, 5888,
         Value::string("a text")},
        {"empty text", [](CMPICIMInst& cim, Path to, Text name) { return cim.setKeyProperty(to, name, std::string()); },
         5888, Value::string("")},
    };
    return setters;
}

void expectOk(const CMPIStatus& status) {
    EXPECT_EQ(status.rc, CMPI_RC_OK);
    EXPECT_EQ(status.msg, nullptr);
}

// --- scalar properties ---

class PropertySetterTest : public CimTest {};

TEST_F(PropertySetterTest, EverySetterCallsSetPropertyOnceWithItsTypeCode) {
    for (const PropertySetter& setter : propertySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIInstance* instance = makeInstance();
        takeCalls();
        expectOk(setter.set(cim_, instance, "Held"));
        EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"instance.setProperty", "Held", setter.type, 0}));
        EXPECT_THAT(propertiesOf(instance), ElementsAre(Property{"Held", setter.readBack}));
    }
}

TEST_F(PropertySetterTest, NullInstancesAndEmptyNamesAreAnsweredByDoingNothing) {
    for (const PropertySetter& setter : propertySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIInstance* instance = makeInstance();
        takeCalls();
        expectOk(setter.set(cim_, nullptr, "Held"));
        expectOk(setter.set(cim_, instance, ""));
        EXPECT_THAT(takeCalls(), IsEmpty());
    }
}

TEST_F(PropertySetterTest, WhatTheObjectManagerAnswersIsDropped) {
    for (const PropertySetter& setter : propertySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIInstance* instance = makeInstance();
        broker_.failAt("instance.setProperty", 1);
        expectOk(setter.set(cim_, instance, "Held"));
        EXPECT_TRUE(broker_.faultStruck());
        EXPECT_THAT(propertiesOf(instance), IsEmpty());
        broker_.clearFaults();
    }
}

TEST_F(PropertySetterTest, ExceptionsPassToTheCaller) {
    for (const PropertySetter& setter : propertySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIInstance* instance = makeInstance();
        broker_.throwAt("instance.setProperty", 1);
        EXPECT_THROW(setter.set(cim_, instance, "Held"), std::runtime_error);
        broker_.throwAt("instance.setProperty", 1, false);
        EXPECT_THROW(setter.set(cim_, instance, "Held"), int);
        broker_.clearFaults();
    }
}

TEST_F(PropertySetterTest, NoScalarSetterWritesLogLines) {
    CMPIInstance* instance = makeInstance();
    for (const PropertySetter& setter : propertySetters()) setter.set(cim_, instance, "Held");
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(PropertySetterTest, AnEmptyTextSetsNothing) {
    CMPIInstance* instance = makeInstance();
    takeCalls();
    expectOk(cim_.setProperty(instance, "Held", std::string()));
    EXPECT_THAT(takeCalls(), IsEmpty());
}

// --- references as properties ---

class ReferenceSetterTest : public CimTest {
 protected:
    const std::vector<std::string> setLog_ = {
        "setProperty for CMPIObjectPath in the routine",
        "setProperty for CMPIObjectPath about to set property",
        "setProperty for CMPIObjectPath about to setting property",
        "setProperty for CMPIObjectPath have set property",
        "setProperty for CMPIObjectPath leaving the routine",
    };
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
    EXPECT_EQ(takeLog(), setLog_);
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
    EXPECT_EQ(takeLog(), setLog_);
    EXPECT_THAT(propertiesOf(instance), IsEmpty());
}

// --- keys ---

class KeySetterTest : public CimTest {};

TEST_F(KeySetterTest, EverySetterCallsAddKeyOnceWithItsTypeCode) {
    for (const KeySetter& setter : keySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIObjectPath* path = makePath();
        takeCalls();
        expectOk(setter.add(cim_, path, "Held"));
        EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"objectPath.addKey", "Held", setter.type, 0}));
        EXPECT_THAT(keysOf(path), ElementsAre(Property{"Held", setter.readBack}));
    }
}

TEST_F(KeySetterTest, NullPathsAndEmptyNamesAreAnsweredByDoingNothing) {
    for (const KeySetter& setter : keySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIObjectPath* path = makePath();
        takeCalls();
        expectOk(setter.add(cim_, nullptr, "Held"));
        expectOk(setter.add(cim_, path, ""));
        EXPECT_THAT(takeCalls(), IsEmpty());
    }
}

TEST_F(KeySetterTest, WhatTheObjectManagerAnswersIsDropped) {
    for (const KeySetter& setter : keySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIObjectPath* path = makePath();
        broker_.failAt("objectPath.addKey", 1);
        expectOk(setter.add(cim_, path, "Held"));
        EXPECT_TRUE(broker_.faultStruck());
        EXPECT_THAT(keysOf(path), IsEmpty());
        broker_.clearFaults();
    }
}

TEST_F(KeySetterTest, ExceptionsPassToTheCaller) {
    for (const KeySetter& setter : keySetters()) {
        SCOPED_TRACE(setter.name);
        CMPIObjectPath* path = makePath();
        broker_.throwAt("objectPath.addKey", 1);
        EXPECT_THROW(setter.add(cim_, path, "Held"), std::runtime_error);
        broker_.clearFaults();
    }
}

TEST_F(KeySetterTest, A64BitKeyIsReadBackAsItsLow32Bits) {
    CMPIObjectPath* path = makePath();
    expectOk(cim_.setKeyProperty(path, "Held", kTwoToThe32 + 1));
    EXPECT_THAT(keysOf(path), ElementsAre(Property{"Held", Value::uint(CMPI_uint32, 1)}));
}

TEST_F(KeySetterTest, AnEmptyTextIsAddedThoughAnEmptyTextPropertyIsNotSet) {
    CMPIObjectPath* path = makePath();
    CMPIInstance* instance = makeInstance();
    expectOk(cim_.setKeyProperty(path, "Held", std::string()));
    expectOk(cim_.setProperty(instance, "Held", std::string()));
    EXPECT_THAT(keysOf(path), ElementsAre(Property{"Held", Value::string("")}));
    EXPECT_THAT(propertiesOf(instance), IsEmpty());
}

TEST_F(KeySetterTest, AReferenceKeyIsAddedAsRefAndWritesNoLogLines) {
    CMPIObjectPath* path = makePath();
    CMPIObjectPath* target = scope_.make(broker::ObjectPath{"root/other", "Test_Other", {}});
    takeCalls();
    expectOk(cim_.setKeyProperty(path, "Held", target));
    EXPECT_THAT(takeCalls(), ElementsAre(CallRow{"objectPath.addKey", "Held", 4352, 0}));
    EXPECT_THAT(keysOf(path),
                ElementsAre(Property{"Held", Value::reference(broker::ObjectPath{"root/other", "Test_Other", {}})}));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(KeySetterTest, ANullReferenceOrAnEmptyNameAddsNoReferenceKey) {
    CMPIObjectPath* path = makePath();
    CMPIObjectPath* none = nullptr;
    takeCalls();
    expectOk(cim_.setKeyProperty(path, "Held", none));
    expectOk(cim_.setKeyProperty(path, "", path));
    EXPECT_THAT(takeCalls(), IsEmpty());
}

}  // namespace
