// Association requests over what object managers may hand back, and with paths and filters of any content.
#include "tests/requests/rack.h"

namespace {

using broker::Instance;
using broker::ObjectPath;
using broker::Response;
using broker::UpcallAnswer;
using broker::Value;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ValuesIn;
using namespace testsupport;

constexpr char kSlotClass[] = "QELTA_SystemSlot";
constexpr char kDeviceClass[] = "QELTA_PCIDevice";
constexpr char kBridgeClass[] = "QELTA_PCIBridge";

Instance without(Instance instance, const std::string& property) {
    const auto isIt = [&](const broker::Property& each) { return each.name == property; };
    auto& properties = instance.properties;
    properties.erase(std::remove_if(properties.begin(), properties.end(), isIt), properties.end());
    return instance;
}

UpcallAnswer noEnumeration(CMPIrc status) {
    UpcallAnswer answer;
    answer.nullEnumeration = true;
    answer.status = status;
    return answer;
}

UpcallAnswer emptyWith(CMPIrc status) {
    UpcallAnswer answer;
    answer.status = status;
    return answer;
}

UpcallAnswer elements(const std::vector<Value>& values) {
    UpcallAnswer answer;
    answer.elements = values;
    return answer;
}

/** What an object manager may hand back where instances with a number are expected. */
struct Answer {
    std::string what;
    UpcallAnswer answer;
    bool understood;  // whether the number is found
};

/** `path` is the instance's, `property` carries its number as `type` where it is as expected. */
std::vector<Answer> answersOfEveryKind(const ObjectPath& path, const std::string& property, std::uint64_t number) {
    const auto numbered = [&](const Value& value) { return Value::instance(instanceOf(path, property, value)); };
    const Value good = numbered(Value::uint(CMPI_uint16, number));
    Instance keyless = instanceOf(path, property, Value::uint(CMPI_uint16, number));
    keyless.path.keys.clear();
    Instance numericKeys = instanceOf(path, property, Value::uint(CMPI_uint64, number));
    numericKeys.path.keys.push_back({"Extra", Value::uint(CMPI_uint64, number)});
    numericKeys.path.keys.push_back({"Signed", Value::sint(CMPI_sint64, -1)});
    return {
        {"NoEnumeration", noEnumeration(CMPI_RC_OK), false},
        {"NoEnumerationAndAnError", noEnumeration(CMPI_RC_ERR_INVALID_NAMESPACE), false},
        {"Empty", emptyWith(CMPI_RC_OK), false},
        {"EmptyAndAnError", emptyWith(CMPI_RC_ERR_FAILED), false},
        {"NullInstance", elements({Value::nothing(CMPI_instance), good}), false},
        {"NullText", elements({Value::nothing(CMPI_string), good}), false},
        {"NullAlone", elements({Value::nothing(CMPI_instance)}), false},
        {"NullBehindIt", elements({good, Value::nothing(CMPI_instance)}), true},
        {"AnInstanceWithoutAnything", elements({Value::instance(Instance{classPath(path.className), {}})}), false},
        {"AnInstanceWithoutTheProperty",
         elements({Value::instance(without(instanceOf(path, property, Value::boolean(true)), property))}), false},
        {"AnInstanceWithoutKeys", elements({Value::instance(keyless)}), true},
        {"AnInstanceOfAnotherClass",
         elements(
             {Value::instance(instanceOf(renamed(path, "CIM_Other"), property, Value::uint(CMPI_uint16, number)))}),
         true},
        {"KeysOfEveryType", elements({Value::instance(numericKeys)}), true},
        {"Uint8", elements({numbered(Value::uint(CMPI_uint8, number))}), true},
        {"Uint16", elements({good}), true},
        {"Uint32", elements({numbered(Value::uint(CMPI_uint32, number))}), true},
        {"Uint64", elements({numbered(Value::uint(CMPI_uint64, number))}), true},
        {"Sint16", elements({numbered(Value::sint(CMPI_sint16, static_cast<std::int64_t>(number)))}), true},
        {"Sint64", elements({numbered(Value::sint(CMPI_sint64, static_cast<std::int64_t>(number)))}), true},
        {"NullNumber", elements({numbered(Value::nothing(CMPI_uint16))}), false},
        {"NumberAsText", elements({numbered(Value::string(std::to_string(number)))}), false},
        {"NumberAsBooleanFalse", elements({numbered(Value::boolean(false))}), false},
        {"NumberAsReal", elements({numbered(Value::real(CMPI_real64, static_cast<double>(number)))}), false},
        {"NumberAsReference", elements({numbered(Value::reference(path))}), false},
        {"NumberAsArray", elements({numbered(Value::array(CMPI_uint16, {Value::uint(CMPI_uint16, number)}))}), false},
        {"NumberAsInstance", elements({numbered(Value::instance(Instance{path, {}}))}), false},
    };
}

class Answers : public RackTest, public testing::WithParamInterface<Answer> {
 protected:
    /** Each of the operations answers with so many objects. */
    void expectCount(const std::vector<AssociationOperation>& operations, const ObjectPath& source,
                     const FilterTexts& texts, std::size_t count) {
        for (const AssociationOperation& operation : operations) {
            const Response response = ask(operation, source, texts);
            expectClosed(manager, response, CMPI_RC_OK);
            EXPECT_THAT(delivered(response), SizeIs(count));
        }
    }
};

/** Every association request that asks the object manager for slots. */
class SlotAnswers : public Answers {
 protected:
    SlotAnswers() { manager.answerUpcall(kSlotClass, GetParam().answer); }

    /** The objects that an answer in a single good slot gives, or none. */
    static std::size_t ifUnderstood(std::size_t count) { return GetParam().understood ? count : 0; }
};

INSTANTIATE_TEST_SUITE_P(Of, SlotAnswers, ValuesIn(answersOfEveryKind(slotPath(3), "Number", 3)), CaseName{});

TEST_P(SlotAnswers, GiveAssociationsWhereTheNumberIsFound) {
    expectCount(kAllAssociators, devicePath(3, 3, 0), {"QELTA_DeviceInSlot"}, ifUnderstood(1));
    expectCount(kAllReferences, devicePath(3, 3, 0), {nullptr, "QELTA_DeviceInSlot"}, ifUnderstood(1));
    expectCount(kAllReferences, slotPath(3), {}, ifUnderstood(2));
}

TEST_P(SlotAnswers, GiveAllAssociationsWhereTheNumberIsFound) {
    for (const auto enumerate : {&broker::Broker::enumerateInstances, &broker::Broker::enumerateInstanceNames}) {
        const Response response = (manager.*enumerate)(classPath("QELTA_DeviceInSlot"));
        EXPECT_EQ(response.status, CMPI_RC_OK);
        EXPECT_THAT(delivered(response), SizeIs(ifUnderstood(2)));
    }
}

TEST_P(SlotAnswers, DoNotMatterForTheFunctionsOfOneSlot) {
    expectDelivered(ask(kAssociatorNames, slotPath(3)), rack::functionsInSlot(3), true);
}

/** Every association request that asks the object manager for functions; the number is that of no board function. */
class FunctionAnswers : public Answers {
 protected:
    /** Whether the answer has an instance in its first place. */
    static bool hasFunction() {
        const auto& given = GetParam().answer.elements;
        return !given.empty() && given.front().type == CMPI_instance && !given.front().null;
    }
};

INSTANTIATE_TEST_SUITE_P(Of, FunctionAnswers, ValuesIn(answersOfEveryKind(devicePath(3, 3, 0), "UINumber", 3)),
                         CaseName{});

TEST_P(FunctionAnswers, CountAsOnTheBoardUnlessANumberIsFound) {
    for (const char* className : {kDeviceClass, kBridgeClass}) {
        manager.answerUpcall(kDeviceClass, emptyWith(CMPI_RC_OK));
        manager.answerUpcall(kBridgeClass, emptyWith(CMPI_RC_OK));
        manager.answerUpcall(className, GetParam().answer);
        expectCount(kAllReferences, boardPath(), {}, hasFunction() && !GetParam().understood ? 1 : 0);
    }
}

// --- elements as they come ---

using GetNext = CMPIData(const CMPIEnumeration*, CMPIStatus*);
GetNext* brokersGetNext = nullptr;

/** What a request by upcall delivers, for each of them. */
std::vector<Paths> deliveredByUpcalls(broker::Broker& manager) {
    std::vector<Paths> all;
    for (const char* className : {"QELTA_DeviceInSlot", "QELTA_OnBoardDevice", "QELTA_SSPCIController"}) {
        all.push_back(delivered(manager.enumerateInstances(classPath(className))));
    }
    for (const ObjectPath& source : {slotPath(3), boardPath()})
        all.push_back(delivered(manager.references(source, {})));
    const broker::Filters byAssociation = filters({"QELTA_DeviceInSlot"});
    for (const ObjectPath& source : {devicePath(3, 3, 0), bridgePath(5, 5, 0)}) {
        all.push_back(delivered(manager.associators(source, byAssociation)));
    }
    return all;
}

class Elements : public RackTest {};

// As OpenPegasus hands them over.
TEST_F(Elements, MarkedAsNullAreInstancesAllTheSame) {
    const std::vector<Paths> expected = deliveredByUpcalls(manager);
    for (const Paths& paths : expected) EXPECT_THAT(paths, testing::Not(IsEmpty()));
    brokersGetNext = manager.enumerationTable().getNext;
    manager.enumerationTable().getNext = [](const CMPIEnumeration* enumeration, CMPIStatus* status) {
        CMPIData element = brokersGetNext(enumeration, status);
        element.state = CMPI_nullValue;
        return element;
    };
    EXPECT_EQ(deliveredByUpcalls(manager), expected);
}

// --- the paths that clients ask with ---

class ClientPaths : public RackTest {};

TEST_F(ClientPaths, MayHaveNumbersAndReferencesBesideTheTextThatIsRead) {
    for (ObjectPath path : {devicePath(3, 3, 0), slotPath(3)}) {
        path.keys.insert(path.keys.begin(), {"Number", Value::uint(CMPI_uint64, 3)});
        path.keys.push_back({"Signed", Value::sint(CMPI_sint64, -3)});
        path.keys.push_back({"Reference", Value::reference(boardPath())});
        EXPECT_THAT(delivered(ask(kAssociatorNames, path, {"QELTA_DeviceInSlot"})), testing::Not(IsEmpty()));
        EXPECT_THAT(delivered(ask(kReferenceNames, path, {nullptr, "QELTA_DeviceInSlot"})), testing::Not(IsEmpty()));
    }
}

TEST_F(ClientPaths, MayNameTheirKeysInAnyLetterCase) {
    ObjectPath device = devicePath(3, 3, 0);
    device.keys.back().name = "DEVICEID";
    expectDelivered(ask(kAssociatorNames, device, {"QELTA_DeviceInSlot"}), {slotPath(3)}, true);
    ObjectPath slot = slotPath(3);
    slot.keys.back().name = "tag";
    expectDelivered(ask(kAssociatorNames, slot), rack::functionsInSlot(3), true);
}

TEST_F(ClientPaths, MayHaveAKeyThatIsNoText) {
    for (const Value& value :
         {Value::uint(CMPI_uint64, 3), Value::sint(CMPI_sint64, -1), Value::boolean(true),
          Value::reference(boardPath()), Value::nothing(CMPI_string), Value::nothing(CMPI_uint64)}) {
        SCOPED_TRACE(broker::toString(value));
        ObjectPath device = devicePath(3, 3, 0);
        device.keys.back().value = value;
        ObjectPath slot = slotPath(3);
        slot.keys.back().value = value;
        expectDelivered(ask(kAssociatorNames, device, {"QELTA_DeviceInSlot"}), {}, true);
        expectDelivered(ask(kReferenceNames, device, {nullptr, "QELTA_DeviceInSlot"}), {}, true);
        expectDelivered(ask(kAssociatorNames, slot), {}, true);
        expectDelivered(ask(kReferenceNames, slot), {}, true);
    }
}

TEST_F(ClientPaths, MayBeOfAnyNamespaceAndWithoutOne) {
    for (const char* nameSpace : {"root/cimv2", ""}) {
        ObjectPath device = devicePath(3, 3, 0);
        device.nameSpace = nameSpace;
        expectDelivered(ask(kReferenceNames, device), {onBoardPath(devicePath(3, 3, 0))}, true);
    }
}

TEST_F(ClientPaths, MayHaveKeysOfAnyLength) {
    const std::string longText(100000, '9');
    for (const std::string& text : {longText, ("PCI Bus " + longText).append(", device ").append(longText),
                                    "System Slot " + longText, std::string("\xFF\x80 device \xFF")}) {
        ObjectPath device = devicePath(3, 3, 0);
        device.keys.back().value = Value::string(text);
        ObjectPath slot = slotPath(3);
        slot.keys.back().value = Value::string(text);
        for (const AssociationOperation& operation : {kAssociatorNames, kReferenceNames}) {
            EXPECT_EQ(ask(operation, device, {"QELTA_DeviceInSlot", "QELTA_SystemSlot"}).status, CMPI_RC_OK);
            EXPECT_EQ(ask(operation, slot).status, CMPI_RC_OK);
        }
    }
}

TEST_F(ClientPaths, MayBringFiltersOfAnyLengthAndContent) {
    const std::string longText(100000, 'x');
    for (const std::string& text :
         {longText, longText + "QELTA_DeviceInSlot", std::string("%s%n%d"), std::string("\xC3\x84\xFF\x01")}) {
        const char* filter = text.c_str();
        const FilterTexts texts = {filter, filter, filter, filter};
        for (const AssociationOperation& operation : {kAssociators, kAssociatorNames, kReferences, kReferenceNames}) {
            for (const ObjectPath& source : {devicePath(3, 3, 0), slotPath(3), boardPath()}) {
                const Response response = ask(operation, source, texts);
                expectClosed(manager, response, CMPI_RC_OK);
            }
        }
        expectDelivered(ask(kAssociatorNames, devicePath(3, 3, 0), {filter}),
                        text.size() > longText.size() ? Paths{slotPath(3)} : Paths{}, true);
    }
}

}  // namespace
