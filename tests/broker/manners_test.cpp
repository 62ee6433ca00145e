// What an object manager does otherwise than the standard: the table in broker/manners.h.
#include "tests/broker/brokertest.h"

#include <functional>
#include <optional>
#include <stdexcept>

using broker::Broker;
using broker::ClassDeclaration;
using broker::Filters;
using broker::Instance;
using broker::Manners;
using broker::ObjectPath;
using broker::Property;
using broker::Response;
using broker::Value;
using broker::manners::Row;
using testing::ElementsAre;
using testing::IsEmpty;
using tiny::Asked;

namespace {

/** Two concrete classes below an abstract one, a class beside them, and associations between the two sides. */
void declareClasses(Broker& broker) {
    broker.declareClass(
        {"Test_Base", {{"Id", CMPI_string, true}, {"Place", CMPI_string, true}, {"Size", CMPI_uint16}}, "", true});
    for (const char* name : {"Test_Class", "Test_Inner"}) {
        broker.declareClass({name,
                             {{"Id", CMPI_string, true, true},
                              {"Place", CMPI_string, true, true},
                              {"Size", CMPI_uint16, false, true},
                              {"Number", CMPI_uint32, true},
                              {"Names", CMPI_stringA},
                              {"Bytes", CMPI_uint8A}},
                             "Test_Base"});
    }
    broker.declareClass({"Test_Slot", {{"Number", CMPI_uint32, true}}});
    broker.declareClass({"Test_InSlot",
                         {{"Slot", CMPI_ref, true, false, "Test_Slot"}, {"Part", CMPI_ref, true, false, "Test_Base"}},
                         "",
                         false,
                         true});
    broker.declareClass(
        {"Test_Pair",
         {{"Left", CMPI_ref, true, false, "Test_Class"}, {"Right", CMPI_ref, true, false, "Test_Class"}},
         "",
         false,
         true});
}

std::string mannersOf(const testing::TestParamInfo<Manners>& info) {
    return nameOf(info.param);
}

/** What a test expects under each of the manners. */
class MannersTest : public ObjectTest, public testing::WithParamInterface<Manners> {
 protected:
    MannersTest() : ObjectTest(GetParam()) {
        declareClasses(broker);
        broker.attach(tiny::createInstanceMI, tiny::createAssociationMI);
    }
    ~MannersTest() override {
        tiny::behave(nullptr);
        scope.reset();
        EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
    }

    template <typename Expectation>
    static Expectation under(const Row<Expectation>& expectations) {
        return expectations.of(GetParam());
    }

    static ObjectPath classPath(const std::string& name) { return {"root/kavix", name, {}}; }

    CMPIInstance* newInstance(const ObjectPath& path) { return mb->eft->newInstance(mb, scope->make(path), &rc); }
    /** An instance with the key Id only. */
    CMPIInstance* newInstance() { return newInstance({"root/kavix", "Test_Class", {{"Id", Value::string("made")}}}); }
    bool isSet(const CMPIInstance* instance, const char* name) const { return !stored(instance, name).null; }
    ObjectPath pathOf(CMPIInstance* instance) const {
        return scope->read(instance->ft->getObjectPath(instance, nullptr));
    }
    void expectComplaints(const Row<std::vector<std::string>>& expected) const {
        EXPECT_EQ(broker.complaints(), under(expected));
    }
};

INSTANTIATE_TEST_SUITE_P(Under, MannersTest, testing::ValuesIn(broker::allManners()), mannersOf);

using Statuses = Row<CMPIrc>;
using Count = Row<std::size_t>;
using Text = Row<const char*>;
using Complaints = Row<std::vector<std::string>>;

constexpr auto kOk = CMPI_RC_OK;
constexpr auto kFailed = CMPI_RC_ERR_FAILED;
constexpr auto kMismatch = CMPI_RC_ERR_TYPE_MISMATCH;
constexpr auto kDataType = CMPI_RC_ERR_INVALID_DATA_TYPE;
constexpr auto kNotFound = CMPI_RC_ERR_NOT_FOUND;
constexpr auto kNoClass = CMPI_RC_ERR_INVALID_CLASS;

}  // namespace

TEST(Manners, HaveNames) {
    for (const Manners each : broker::allManners()) EXPECT_EQ(broker::mannersNamed(nameOf(each)), each);
    EXPECT_EQ(broker::allManners().size(), 4U);
    EXPECT_EQ(nameOf(Broker(Manners::pegasus).manners()), "pegasus");
    EXPECT_EQ(nameOf(Broker().manners()), "standard");
    try {
        broker::mannersNamed("bad");
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "\"bad\" are no manners of an object manager; there are standard, sfcb, pegasus, strict");
    }
}

// --- objects ---

TEST_P(MannersTest, ANewInstanceHasItsPathsKeysAsProperties) {
    CMPIInstance* instance = newInstance();
    EXPECT_EQ(isSet(instance, "Id"), under(Row<bool>{true, true, false, false}));
    EXPECT_EQ(scope->read(instance).properties.size(), 6U);  // all that are declared
    const CMPIData unset = instance->ft->getProperty(instance, "Size", &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(unset.type, CMPI_uint16);
    EXPECT_EQ(unset.state, CMPI_nullValue);
    EXPECT_EQ(pathOf(instance).keys, (std::vector<Property>{{"Id", Value::string("made")}}));
}

TEST_P(MannersTest, AnInstancesPathFollowsItsKeyProperties) {
    CMPIInstance* instance = newInstance();
    const CMPIrc setting = set(instance, "Id", "set");
    EXPECT_EQ(setting, under(Statuses{kOk, kOk, kOk, kFailed}));
    EXPECT_EQ(toString(*pathOf(instance).key("Id")), under(Text{"made", "set", "made", "made"}));
    EXPECT_EQ(set(instance, "Place", "here"), CMPI_RC_OK);
    EXPECT_EQ(pathOf(instance).keys.size(), under(Count{1, 2, 1, 1}));
    expectComplaints({{}, {}, {}, {"instance.setProperty: Test_Class.Id: string"}});
}

TEST_P(MannersTest, KeysThatTheSchemaLacksAreInThePath) {
    CMPIInstance* instance = newInstance({"root/kavix", "Test_Class", {{"Other", Value::string("key")}}});
    EXPECT_EQ(pathOf(instance).keys.size(), under(Count{1, 0, 1, 1}));
}

TEST_P(MannersTest, AClassThatTheSchemaLacksMakesNoInstance) {
    const CMPIInstance* instance = newInstance(classPath("Test_Unknown"));
    EXPECT_EQ(rc.rc, under(Statuses{kOk, kFailed, kNoClass, kNoClass}));
    EXPECT_EQ(instance != nullptr, rc.rc == CMPI_RC_OK);
    const std::vector<std::string> complaint = {"eft.newInstance: the schema lacks Test_Unknown"};
    expectComplaints({{}, complaint, complaint, complaint});
}

TEST_P(MannersTest, APropertyThatTheSchemaLacksIsSet) {
    CMPIInstance* instance = newInstance();
    EXPECT_EQ(set(instance, "Extra", "text"), under(Statuses{kOk, kOk, kOk, CMPI_RC_ERR_NO_SUCH_PROPERTY}));
    EXPECT_EQ(isSet(instance, "Extra"), under(Row<bool>{true, true, false, false}));
    const std::vector<std::string> complaint = {"instance.setProperty: Test_Class.Extra: string"};
    expectComplaints({{}, {}, complaint, complaint});
}

TEST_P(MannersTest, AValueOfTheDeclaredTypeIsTaken) {
    CMPIInstance* instance = newInstance();
    CMPIValue value{};
    value.uint16 = 7;
    EXPECT_EQ(set(instance, "SIZE", &value, CMPI_uint16), CMPI_RC_OK);
    EXPECT_EQ(stored(instance, "Size"), Value::uint(CMPI_uint16, 7));
    value.array = mb->eft->newArray(mb, 1, CMPI_string, nullptr);
    EXPECT_EQ(set(instance, "Names", &value, CMPI_stringA), CMPI_RC_OK);
    EXPECT_TRUE(isSet(instance, "Names"));
    EXPECT_EQ(instance->ft->setProperty(instance, "Size", nullptr, CMPI_uint16).rc, CMPI_RC_OK);
    EXPECT_THAT(broker.complaints(), IsEmpty());
}

TEST_P(MannersTest, ATextOnANumberIsRefused) {
    CMPIInstance* instance = newInstance();
    EXPECT_EQ(set(instance, "Size", "12"), under(Statuses{kOk, kMismatch, kDataType, kDataType}));
    EXPECT_EQ(isSet(instance, "Size"), under(Row<bool>{true, false, false, false}));
    const std::vector<std::string> complaint = {"instance.setProperty: Test_Class.Size: string"};
    expectComplaints({{}, complaint, complaint, complaint});
}

TEST_P(MannersTest, AScalarOnAnArrayIsRefused) {
    CMPIInstance* instance = newInstance();
    CMPIValue value{};
    value.uint8 = 1;
    EXPECT_EQ(set(instance, "Names", "one"), under(Statuses{kOk, kMismatch, kDataType, kDataType}));
    EXPECT_EQ(set(instance, "Bytes", &value, CMPI_uint8), under(Statuses{kOk, kMismatch, kDataType, kDataType}));
    EXPECT_EQ(isSet(instance, "Bytes"), under(Row<bool>{true, false, false, false}));
}

TEST_P(MannersTest, AnyOtherTypeIsRefused) {
    CMPIInstance* instance = newInstance();
    CMPIValue value{};
    value.uint32 = 7;
    EXPECT_EQ(set(instance, "Size", &value, CMPI_uint32), under(Statuses{kOk, kOk, kDataType, kDataType}));
    EXPECT_EQ(set(instance, "Place", &value, CMPI_uint32), under(Statuses{kOk, kOk, kDataType, kDataType}));
    EXPECT_EQ(stored(instance, "Size") == Value::uint(CMPI_uint32, 7), under(Row<bool>{true, true, false, false}));
}

TEST_P(MannersTest, StringsDoNotGoIntoAnArrayOfNumbers) {
    CMPIArray* array = mb->eft->newArray(mb, 2, CMPI_uint8, nullptr);
    CMPIValue element{};
    element.string = mb->eft->newString(mb, "text", nullptr);
    EXPECT_EQ(array->ft->setElementAt(array, 0, &element, CMPI_string).rc,
              under(Statuses{kFailed, kFailed, kMismatch, kMismatch}));
    EXPECT_THAT(broker.complaints(), ElementsAre("array.setElementAt: string in an array of uint8"));
    // As an array of strings the property takes it where types are not compared, its elements null.
    CMPIInstance* instance = newInstance();
    CMPIValue value{};
    value.array = array;
    EXPECT_EQ(set(instance, "Names", &value, CMPI_stringA), under(Statuses{kOk, kOk, kDataType, kDataType}));
    EXPECT_EQ(toString(stored(instance, "Names")), under(Text{"NULL, NULL", "NULL, NULL", "NULL", "NULL"}));
}

TEST_P(MannersTest, ReleaseOfAnObjectThatTheManagerOwnsIsAnErrorAndComplainedOf) {
    CMPIInstance* instance = newInstance();
    EXPECT_EQ(instance->ft->release(instance).rc, CMPI_RC_ERR_FAILED);
    EXPECT_THAT(broker.complaints(), ElementsAre("instance.release: an object that the object manager owns"));
    EXPECT_EQ(pathOf(instance).className, "Test_Class");  // it is still there
    EXPECT_THAT(broker.takeComplaints(), testing::SizeIs(1));
    EXPECT_THAT(broker.complaints(), IsEmpty());
}

// --- results ---

CMPIStatus deliverTwo(const Asked& asked) {
    CMPIrc last = CMPI_RC_ERROR;
    for (const CMPIUint32 number : {1U, 2U}) {
        last =
            asked.result->ft->returnInstance(asked.result, tiny::makeNumbered(asked.broker, "Test_Inner", number)).rc;
    }
    return {last, nullptr};
}

TEST_P(MannersTest, AGetTakesOneInstance) {
    CMPIrc second = CMPI_RC_ERROR;
    tiny::behave([&](const Asked& asked) {
        second = deliverTwo(asked).rc;
        return tiny::ok;
    });
    broker.passOnAsAsked(true);
    const Response response = broker.getInstance(classPath("Test_Class"));
    EXPECT_EQ(second, under(Statuses{kOk, kOk, kFailed, kFailed}));
    EXPECT_EQ(response.instances.size(), under(Count{2, 2, 1, 1}));
    EXPECT_EQ(response.status, CMPI_RC_OK);
    EXPECT_EQ(broker.enumerateInstances(classPath("Test_Class")).instances.size(), 2U);
    const std::vector<std::string> complaint = {"result.returnInstance: a second instance for a get"};
    expectComplaints({{}, {}, complaint, complaint});
}

TEST_P(MannersTest, ObjectsAfterReturnDoneArrive) {
    std::vector<CMPIrc> statuses;
    tiny::behave([&](const Asked& asked) {
        asked.result->ft->returnDone(asked.result);
        CMPIInstance* instance = tiny::makeNumbered(asked.broker, "Test_Class", 1);
        statuses.push_back(asked.result->ft->returnInstance(asked.result, instance).rc);
        const CMPIObjectPath* path = instance->ft->getObjectPath(instance, nullptr);
        statuses.push_back(asked.result->ft->returnObjectPath(asked.result, path).rc);
        return tiny::ok;
    });
    const Response response = broker.enumerateInstances(classPath("Test_Class"));
    const CMPIrc expected = under(Statuses{kOk, kOk, kOk, kFailed});
    EXPECT_THAT(statuses, ElementsAre(expected, expected));
    EXPECT_EQ(response.instances.size() + response.paths.size(), under(Count{2, 2, 2, 0}));
    EXPECT_EQ(response.deliveredAfterDone, 2U);
}

TEST_P(MannersTest, AReferenceAsDataEndsTheManagersProcess) {
    tiny::behave([&](const Asked& asked) {
        deliverTwo(asked);
        CMPIValue value{};
        value.ref = asked.broker->eft->newObjectPath(asked.broker, "root/kavix", "Test_Class", nullptr);
        asked.result->ft->returnData(asked.result, &value, CMPI_ref);
        return tiny::ok;
    });
    scope.reset();  // the request is one of its own
    const Response response = broker.enumerateInstances(classPath("Test_Class"));
    EXPECT_EQ(response.status, under(Statuses{kOk, kFailed, kFailed, kOk}));
    EXPECT_EQ(response.instances.size(), under(Count{2, 0, 0, 2}));
    tiny::behave(deliverTwo);
    EXPECT_EQ(broker.enumerateInstances(classPath("Test_Class")).instances.size(), 2U);  // the next one is served
}

// --- upcalls ---

class UpcallMannersTest : public MannersTest {
 protected:
    using Upcall = std::function<void(const Asked& outer, const CMPIObjectPath* path)>;

    void during(const ObjectPath& inner, const Upcall& upcall, const tiny::Behaviour& answer) {
        tiny::behave([&](const Asked& asked) {
            if (asked.className() != "Test_Class") return answer(asked);
            const std::string nameSpace = inner.nameSpace;
            upcall(asked,
                   asked.broker->eft->newObjectPath(asked.broker, nameSpace.c_str(), inner.className.c_str(), nullptr));
            return tiny::ok;
        });
        scope.reset();
        broker.enumerateInstances(classPath("Test_Class"));
    }
    /** The status of an enumeration by upcall, and whether there is one. */
    std::pair<CMPIrc, bool> enumerated(const ObjectPath& inner, const tiny::Behaviour& answer) {
        std::pair<CMPIrc, bool> result;
        during(
            inner,
            [&](const Asked& asked, const CMPIObjectPath* path) {
                CMPIStatus status{CMPI_RC_ERROR, nullptr};
                result.second = asked.broker->bft->enumerateInstances(asked.broker, asked.context, path, nullptr,
                                                                      &status) != nullptr;
                result.first = status.rc;
            },
            answer);
        return result;
    }
};

INSTANTIATE_TEST_SUITE_P(Under, UpcallMannersTest, testing::ValuesIn(broker::allManners()), mannersOf);

TEST_P(UpcallMannersTest, ElementsComeInTheStateOfNulls) {
    std::vector<CMPIData> elements;
    std::vector<CMPIUint32> numbers;
    during(
        classPath("Test_Inner"),
        [&](const Asked& asked, const CMPIObjectPath* path) {
            const CMPIEnumeration* found =
                asked.broker->bft->enumerateInstances(asked.broker, asked.context, path, nullptr, nullptr);
            while (found->ft->hasNext(found, nullptr) != 0) {
                elements.push_back(found->ft->getNext(found, nullptr));
                const CMPIObjectPath* each =
                    elements.back().value.inst->ft->getObjectPath(elements.back().value.inst, nullptr);
                numbers.push_back(each->ft->getKey(each, "Number", nullptr).value.uint32);
            }
        },
        deliverTwo);
    EXPECT_THAT(numbers, ElementsAre(1U, 2U));
    for (const CMPIData& element : elements) {
        EXPECT_EQ(element.state, under(Row<int>{CMPI_goodValue, CMPI_goodValue, CMPI_nullValue, CMPI_nullValue}));
        EXPECT_EQ(element.type, CMPI_instance);
    }
}

TEST_P(UpcallMannersTest, AnErrorGivesNoEnumeration) {
    const auto refuse = [](const Asked&) { return CMPIStatus{CMPI_RC_ERR_ACCESS_DENIED, nullptr}; };
    const auto [status, there] = enumerated(classPath("Test_Inner"), refuse);
    EXPECT_EQ(status, CMPI_RC_ERR_ACCESS_DENIED);
    EXPECT_EQ(there, under(Row<bool>{true, true, false, false}));
}

TEST_P(UpcallMannersTest, ACannedErrorGivesNoEnumeration) {
    broker::UpcallAnswer canned;
    canned.status = CMPI_RC_ERR_FAILED;
    broker.answerUpcall("Test_Inner", canned);
    EXPECT_EQ(enumerated(classPath("Test_Inner"), deliverTwo).second, under(Row<bool>{true, true, false, false}));
}

TEST_P(UpcallMannersTest, AnUnknownClassOrNamespaceGivesNoEnumerationAndAsksNobody) {
    bool asked = false;
    const auto answer = [&](const Asked&) {
        asked = true;
        return tiny::ok;
    };
    const auto ofClass = enumerated(classPath("Test_Unknown"), answer);
    const auto ofNamespace = enumerated({"root/other", "Test_Inner", {}}, answer);
    EXPECT_EQ(ofClass.first, under(Statuses{kOk, kNoClass, kNoClass, kNoClass}));
    constexpr auto kNoNamespace = CMPI_RC_ERR_INVALID_NAMESPACE;
    EXPECT_EQ(ofNamespace.first, under(Statuses{kOk, kNoNamespace, kNoNamespace, kNoNamespace}));
    for (const bool there : {asked, ofClass.second, ofNamespace.second}) {
        EXPECT_EQ(there, under(Row<bool>{true, false, false, false}));
    }
}

// --- requests of clients ---

class RequestMannersTest : public MannersTest {
 protected:
    RequestMannersTest() {
        scope.reset();
        tiny::behave([this](const Asked& asked) {
            calls.push_back(described(asked));
            return deliverTwo(asked);
        });
    }

    static std::string shown(const char* filter) { return filter == nullptr ? "-" : filter; }
    static std::string described(const Asked& asked) {
        return asked.operation + " " + asked.className() + " " + shown(asked.assocClass) + " " +
               shown(asked.resultClass) + " " + shown(asked.role) + " " + shown(asked.resultRole);
    }
    using Calls = std::vector<std::string>;

    /** The calls that reach the provider. */
    Calls during(const std::function<void()>& request) {
        calls.clear();
        request();
        return calls;
    }

    Calls calls;
};

INSTANTIATE_TEST_SUITE_P(Under, RequestMannersTest, testing::ValuesIn(broker::allManners()), mannersOf);

TEST_P(RequestMannersTest, AGetIsAnsweredWithTheFirstObjectUnderThePathAskedFor) {
    const ObjectPath asked{"root/kavix", "Test_Class", {{"Number", Value::uint(CMPI_uint32, 99)}}};
    const Response response = broker.getInstance(asked);
    EXPECT_EQ(response.status, under(Statuses{kOk, kOk, kFailed, kFailed}));  // the tiny provider's, from its second
    tiny::behave([](const Asked& question) {
        deliverTwo(question);
        return tiny::ok;
    });
    const Response got = broker.getInstance(asked);
    EXPECT_EQ(got.status, CMPI_RC_OK);
    ASSERT_EQ(got.instances.size(), under(Count{2, 1, 1, 1}));
    const Row<bool> asAsked{false, true, true, false};
    EXPECT_EQ(got.instances.front().path == asked, under(asAsked));
    tiny::behave([](const Asked&) { return tiny::ok; });
    EXPECT_EQ(broker.getInstance(asked).status, under(Statuses{kOk, kNotFound, kNotFound, kOk}));
}

TEST_P(RequestMannersTest, AnEnumerationOfASuperclassAsksForEachClassBelow) {
    const Calls asAsked = {"enumerateInstances TEST_Base - - - -"};
    const Calls below = {"enumerateInstances Test_Class - - - -", "enumerateInstances Test_Inner - - - -"};
    Response response;
    EXPECT_EQ(during([&] { response = broker.enumerateInstances(classPath("TEST_Base")); }),
              under(Row<Calls>{asAsked, below, below, asAsked}));
    EXPECT_THAT(during([&] { broker.enumerateInstanceNames(classPath("test_CLASS")); }),
                ElementsAre("enumerateInstanceNames test_CLASS - - - -"));  // in the client's spelling
    EXPECT_THAT(during([&] { broker.enumerateInstances(classPath("Test_Unknown")); }),
                ElementsAre("enumerateInstances Test_Unknown - - - -"));
}

TEST_P(RequestMannersTest, InheritedKeysAreListedInReverseOrder) {
    const ObjectPath made{
        "root/kavix",
        "Test_Inner",
        {{"Id", Value::string("i")}, {"Place", Value::string("p")}, {"Number", Value::uint(CMPI_uint32, 1)}}};
    ObjectPath listed = made;
    std::swap(listed.keys[0], listed.keys[1]);
    const auto around = [](const ObjectPath& part) {
        return ObjectPath{"root/kavix", "Test_InSlot", {{"Part", Value::reference(part)}}};
    };
    tiny::behave([&](const Asked& asked) {
        const Broker::Scope objects(broker);
        asked.result->ft->returnObjectPath(asked.result, Broker::Scope(broker).make(made));
        asked.result->ft->returnObjectPath(asked.result, Broker::Scope(broker).make(around(made)));
        asked.result->ft->returnInstance(asked.result, Broker::Scope(broker).make(Instance{made, {}}));
        return tiny::ok;
    });
    const ObjectPath expected = under(Row<ObjectPath>{made, listed, made, made});
    for (const Response& response :
         {broker.enumerateInstances(classPath("Test_Class")), broker.associators(classPath("Test_Class"), {})}) {
        ASSERT_GE(response.paths.size(), 2U);
        EXPECT_EQ(response.paths[0], expected);
        EXPECT_EQ(response.paths[1], around(expected));
        EXPECT_EQ(response.instances.at(0).path, expected);
    }
}

TEST_P(RequestMannersTest, IntegerKeysArriveInSixtyFourBits) {
    std::vector<CMPIType> types;
    tiny::behave([&](const Asked& asked) {
        for (const char* key : {"Unsigned", "Signed", "Text"})
            types.push_back(asked.path->ft->getKey(asked.path, key, nullptr).type);
        return tiny::ok;
    });
    broker.getInstance({"root/kavix",
                        "Test_Class",
                        {{"Unsigned", Value::uint(CMPI_uint8, 1)},
                         {"Signed", Value::sint(CMPI_sint16, -1)},
                         {"Text", Value::string("text")}}});
    const std::vector<CMPIType> own = {CMPI_uint8, CMPI_sint16, CMPI_string};
    const std::vector<CMPIType> wide = {CMPI_uint64, CMPI_sint64, CMPI_string};
    EXPECT_EQ(types, under(Row<std::vector<CMPIType>>{own, wide, own, wide}));
}

/** An association request, and the calls that it comes to. */
struct AssociationCase {
    const char* what;
    const char* source;
    const char* association;              // the filter that names it
    Row<std::vector<std::string>> calls;  // the association class and the other filters that the provider is given
    Statuses status;
};

const std::vector<std::string> kAsGiven = {"as given"};
const std::vector<std::string> kInSlot = {"Test_InSlot"};
const std::vector<std::string> kBoth = {"Test_InSlot", "Test_Pair"};

const std::vector<AssociationCase> kAssociationCases = {
    {"NoFilter", "Test_Class", nullptr, {kAsGiven, kAsGiven, kBoth, kAsGiven}, {}},
    {"NoFilterAndAClassThatOneReferenceFits", "Test_Inner", nullptr, {kAsGiven, kAsGiven, kInSlot, kAsGiven}, {}},
    {"NoFilterAndAClassThatNoReferenceFits", "Test_Pair", nullptr, {kAsGiven, kAsGiven, {}, kAsGiven}, {}},
    {"NoFilterAndAnUnknownClass", "Test_Unknown", nullptr, {kAsGiven, kAsGiven, {}, kAsGiven}, {}},
    {"Association", "Test_Class", "test_inslot", {kAsGiven, kAsGiven, kInSlot, kAsGiven}, {}},
    {"AssociationThatDoesNotFit", "Test_Slot", "Test_Pair", {kAsGiven, kAsGiven, {}, kAsGiven}, {}},
    {"UnknownAssociation", "Test_Class", "Test_Unknown", {kAsGiven, {}, {}, kAsGiven}, {kOk, kNotFound, kOk, kOk}},
    {"ClassThatIsNoAssociation", "Test_Class", "Test_Slot", {kAsGiven, {}, {}, kAsGiven}, {}},
};

class AssociationMannersTest : public RequestMannersTest {
 protected:
    static std::optional<std::string> associationOf(const AssociationCase& given) {
        return given.association == nullptr ? std::nullopt : std::optional<std::string>(given.association);
    }
    /** The calls of an operation; `ofAssociators` tells where the association's class is among its filters. */
    static Calls expected(const AssociationCase& given, const std::string& operation, bool ofAssociators) {
        Calls all;
        for (const std::string& name : under(given.calls)) {
            const std::string association = name == "as given" ? associationOf(given).value_or("-") : name;
            const std::string filters =
                ofAssociators ? association + " Test_Slot role other" : "- " + association + " role -";
            all.push_back(operation + " " + given.source + " " + filters);
        }
        return all;
    }
};

INSTANTIATE_TEST_SUITE_P(Under, AssociationMannersTest, testing::ValuesIn(broker::allManners()), mannersOf);

TEST_P(AssociationMannersTest, AssociatorsReachTheProvider) {
    for (const AssociationCase& each : kAssociationCases) {
        SCOPED_TRACE(each.what);
        const Filters filters{associationOf(each), "Test_Slot", "role", "other"};
        for (const auto& [name, ask] :
             {std::pair{"associators", &Broker::associators}, std::pair{"associatorNames", &Broker::associatorNames}}) {
            Response response;
            EXPECT_EQ(during([&, request = ask] { response = (broker.*request)(classPath(each.source), filters); }),
                      expected(each, name, true));
            EXPECT_EQ(response.status, under(each.status));
            EXPECT_EQ(response.instances.size(), 2 * under(each.calls).size());
        }
    }
}

TEST_P(AssociationMannersTest, ReferencesReachTheProviderWithTheirResultClassAsTheAssociation) {
    for (const AssociationCase& each : kAssociationCases) {
        SCOPED_TRACE(each.what);
        const Filters filters{std::nullopt, associationOf(each), "role", std::nullopt};
        for (const auto& [name, ask] :
             {std::pair{"references", &Broker::references}, std::pair{"referenceNames", &Broker::referenceNames}}) {
            Response response;
            EXPECT_EQ(during([&, request = ask] { response = (broker.*request)(classPath(each.source), filters); }),
                      expected(each, name, false));
            EXPECT_EQ(response.status, under(each.status));
        }
    }
}

TEST_P(AssociationMannersTest, AnUnknownResultClassOfAssociatorsIsAnsweredEmpty) {
    Response response;
    const Filters filters{std::nullopt, "Test_Unknown", std::nullopt, std::nullopt};
    EXPECT_EQ(during([&] { response = broker.associators(classPath("Test_Slot"), filters); }).size(),
              under(Count{1, 0, 1, 1}));
    EXPECT_EQ(response.status, CMPI_RC_OK);
}

TEST_P(AssociationMannersTest, PassedOnAsAskedReachTheProviderOnceAsTheyAre) {
    broker.passOnAsAsked(true);
    const Filters filters{"Test_Unknown", std::nullopt, std::nullopt, std::nullopt};
    EXPECT_THAT(during([&] { broker.associators(classPath("Test_Class"), filters); }),
                ElementsAre("associators Test_Class Test_Unknown - - -"));
    EXPECT_THAT(during([&] { broker.enumerateInstances(classPath("Test_Base")); }),
                ElementsAre("enumerateInstances Test_Base - - - -"));
}
