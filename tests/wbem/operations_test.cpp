// CIM operations as messages, text in and text out, on the rack: what the provider delivers has to come through whole.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <stdexcept>

#include "mof/embedded.h"
#include "server.h"
#include "tests/broker/tinyprovider.h"
#include "tests/support/casename.h"
#include "tests/support/machine.h"
#include "wbem/encoder.h"
#include "wbem/objects.h"
#include "wbem/readvalue.h"

namespace {

using broker::Instance;
using broker::ObjectPath;
using broker::Value;
using namespace client;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testsupport::CaseName;
using namespace testsupport;

// --- instances ---

class EveryClass : public Rack, public testing::WithParamInterface<std::string> {};

TEST_P(EveryClass, IsEnumeratedAndGotAsTheProviderDeliversIt) {
    const std::string& name = GetParam();
    const broker::Response expected = manager.enumerateInstances(classPath(name));
    ASSERT_FALSE(expected.instances.empty());

    EXPECT_THAT(instancesIn(ask("EnumerateInstances", ofClass(name))), ElementsAreArray(expected.instances));
    EXPECT_THAT(namesIn(ask("EnumerateInstanceNames", ofClass(name))), ElementsAreArray(pathsOf(expected.instances)));
    for (const Instance& instance : {expected.instances.front(), expected.instances.back()}) {
        const Answer answer = ask("GetInstance", named(renamed(instance.path, name)));
        ASSERT_EQ(answer.error, 0) << answer.description;
        EXPECT_THAT(client::children(answer.result), testing::SizeIs(1));
        EXPECT_EQ(instanceOf(instance.path, answer.result.child("INSTANCE")), instance);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, EveryClass,
                         testing::Values("QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_DeviceInSlot", "QELTA_SystemSlot",
                                         "QELTA_SystemBoard", "QELTA_OnBoardDevice", "QELTA_SSPCIController",
                                         "QELTA_OBDPCIController"),
                         [](const auto& row) { return row.param; });

TEST_F(Rack, AnAbstractClassHasTheInstancesOfTheClassesBelowIt) {
    const Paths expected = allPaths({rack::devices(), rack::bridges()});
    EXPECT_THAT(namesIn(ask("EnumerateInstanceNames", ofClass("qelta_controller"))), ElementsAreArray(expected));
    const Answer deep = ask("EnumerateInstances", ofClass("QELTA_Controller"));
    EXPECT_THAT(pathsOf(instancesIn(deep)), ElementsAreArray(expected));
    EXPECT_TRUE(instancesIn(deep).front().property("SubsystemID") != nullptr);

    const Answer shallow =
        ask("EnumerateInstances", ofClass("QELTA_Controller") + client::value("DeepInheritance", "false"));
    for (const Instance& instance : instancesIn(shallow)) {
        EXPECT_EQ(instance.property("SubsystemID"), nullptr);
        EXPECT_NE(instance.property("VendorID"), nullptr);
    }
    EXPECT_EQ(ask("GetInstance", named(renamed(devicePath(3, 3, 0), "QELTA_Controller"))).error, CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(Rack, ViewsOfFunctionsKeepAllPropertiesWithoutDeepInheritance) {
    const std::string view = ofClass("QELTA_SSPCIController");
    const Answer answer = ask("EnumerateInstances", view + client::value("DeepInheritance", "FALSE"));
    EXPECT_THAT(instancesIn(answer), ElementsAreArray(instancesIn(ask("EnumerateInstances", view))));
}

TEST_F(Rack, APropertyListChoosesPropertiesAndNothingElse) {
    const auto shown = [&](const std::string& more) {
        return propertyNames(ask("GetInstance", named(slotPath(3)) + more).result.child("INSTANCE"));
    };
    EXPECT_THAT(shown(client::list("PropertyList", {"number", "NoSuch", "Tag"})), ElementsAre("Tag", "Number"));
    EXPECT_THAT(shown(client::list("PropertyList", {})), IsEmpty());
    EXPECT_THAT(shown(client::parameter("PropertyList", "")), testing::SizeIs(testing::Gt(10U)));
    // Neither of these has an effect on instances.
    EXPECT_EQ(shown(client::value("LocalOnly", "TRUE") + client::value("IncludeQualifiers", "true")), shown(""));

    const Answer all = ask("EnumerateInstances", ofClass("QELTA_SystemSlot") + client::list("PropertyList", {"Tag"}));
    EXPECT_THAT(instancesIn(all), testing::Each(testing::Field(&Instance::properties, testing::SizeIs(1))));
    EXPECT_THAT(pathsOf(instancesIn(all)), ElementsAreArray(rack::slots()));
}

TEST_F(Rack, ClassOriginTellsWhereAPropertyIsDeclared) {
    const std::string device = named(devicePath(3, 3, 0)) + client::list("PropertyList", {"VendorID", "SubsystemID"});
    const auto origins = [](const Answer& answer) {
        std::vector<std::string> texts;
        for (const pugi::xml_node property : client::children(answer.result.child("INSTANCE")))
            texts.emplace_back(property.attribute("CLASSORIGIN").as_string("none"));
        return texts;
    };
    EXPECT_THAT(origins(ask("GetInstance", device)), ElementsAre("none", "none"));
    EXPECT_THAT(origins(ask("GetInstance", device + client::value("IncludeClassOrigin", "True"))),
                ElementsAre("QELTA_Controller", "QELTA_PCIDevice"));
}

// --- which instance a path names ---

/** Which keys are the same is the broker's matter (tests/broker/matching_test.cpp). */
TEST_F(Rack, TheKeysOfARequestDecideWhichInstanceIsGot) {
    const struct {
        const char* what;
        std::function<void(ObjectPath&)> change;
        int error;
    } rows[] = {
        {"as they are", [](ObjectPath&) {}, 0},
        {"of other letter case",
         [](ObjectPath& path) {
             path.className = "qelta_SYSTEMSLOT";
             path.keys[3].name = "TAG";
         },
         0},
        {"with another value", [](ObjectPath& path) { path.keys[3].value = Value::string("System Slot 4"); }, 6},
        {"without one", [](ObjectPath& path) { path.keys.pop_back(); }, 6},
        {"with one twice", [](ObjectPath& path) { path.keys.push_back(path.keys.back()); }, 6},
        {"as boolean", [](ObjectPath& path) { path.keys[3].value = Value::boolean(true); }, 6},
        {"as reference", [](ObjectPath& path) { path.keys[3].value = Value::reference(boardPath()); }, 6},
        {"of another class", [](ObjectPath& path) { path.className = "QELTA_SystemBoard"; }, 6},
        {"of an unknown class", [](ObjectPath& path) { path.className = "QELTA_None"; }, 5},
    };
    for (const auto& row : rows) {
        ObjectPath path = slotPath(3);
        row.change(path);
        const Answer answer = ask("GetInstance", named(path));
        EXPECT_EQ(answer.error, row.error) << row.what << ": " << answer.description;
        if (answer.error != 0) continue;
        EXPECT_EQ(wbem::readInstance(answer.result.child("INSTANCE"), "").property("Tag")->data,
                  Value::string("System Slot 3").data);
    }
}

TEST_F(Rack, ReferenceKeysMayTellTheirNamespaceAndHost) {
    const std::string path = client::nameElement(inSlotPath(3, devicePath(3, 3, 1)));
    const std::string nameSpace =
        "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"kavix\"/>"
        "</LOCALNAMESPACEPATH>";
    const auto wrapped = [&](const std::string& start, const std::string& end) {
        std::string text = path;
        for (const char* name : {"QELTA_SystemSlot", "QELTA_PCIDevice"}) {
            const std::size_t begin = text.find(std::string("<INSTANCENAME CLASSNAME=\"") + name);
            text.insert(text.find("</INSTANCENAME>", begin) + 15, end);
            text.insert(begin, start);
        }
        return client::parameter("InstanceName", text);
    };
    EXPECT_EQ(ask("GetInstance", wrapped("", "")).error, 0);
    EXPECT_EQ(ask("GetInstance", wrapped("<LOCALINSTANCEPATH>" + nameSpace, "</LOCALINSTANCEPATH>")).error, 0);
    EXPECT_EQ(ask("GetInstance", wrapped("<INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST>" + nameSpace + "</NAMESPACEPATH>",
                                         "</INSTANCEPATH>"))
                  .error,
              0);
    EXPECT_EQ(ask("GetInstance", named(inSlotPath(3, devicePath(7, 0, 0)))).error, CMPI_RC_ERR_NOT_FOUND);
}

// --- associations ---

TEST_F(Rack, AssociationsAreAnsweredAsTheProviderAnswers) {
    const struct {
        ObjectPath source;
        const char* assocClass;
        const char* resultClass;
    } rows[] = {
        {slotPath(3), "", ""},
        {boardPath(), "", ""},
        {devicePath(3, 3, 0), "", ""},
        {bridgePath(5, 5, 0), "", ""},
        {devicePath(3, 3, 0), "QELTA_DeviceInSlot", "QELTA_SystemSlot"},
        {bridgePath(5, 5, 0), "QELTA_DeviceInSlot", ""},
        {functionPath("QELTA_SSPCIController", 3, 3, 0), "", ""},
        {functionPath("QELTA_OBDPCIController", 7, 0, 0), "", ""},
    };
    for (const auto& [source, assocClass, resultClass] : rows) {
        SCOPED_TRACE(broker::toString(source) + " " + assocClass + " " + resultClass);
        broker::Filters filters;
        std::string parameters = from(source);
        if (*resultClass) {
            filters.resultClass = resultClass;
            parameters += client::className("ResultClass", resultClass);
        }
        EXPECT_THAT(instancesIn(ask("References", parameters)),
                    ElementsAreArray(manager.references(source, filters).instances));
        EXPECT_THAT(namesIn(ask("ReferenceNames", parameters)),
                    ElementsAreArray(manager.referenceNames(source, filters).paths));
        if (*assocClass) {
            filters.assocClass = assocClass;
            parameters += client::className("AssocClass", assocClass);
        }
        const broker::Response expected = manager.associators(source, filters);
        EXPECT_FALSE(expected.instances.empty());
        EXPECT_THAT(instancesIn(ask("Associators", parameters)), ElementsAreArray(expected.instances));
        EXPECT_THAT(namesIn(ask("AssociatorNames", parameters)),
                    ElementsAreArray(manager.associatorNames(source, filters).paths));
    }
}

// --- classes ---

TEST_F(Rack, ARequestThatNobodyWaitsForIsGivenUpAtTheNextObject) {
    const std::pair<const char*, std::string> requests[] = {{"EnumerateInstances", ofClass("QELTA_Controller")},
                                                            {"EnumerateInstanceNames", ofClass("QELTA_Controller")},
                                                            {"Associators", from(slotPath(3))},
                                                            {"AssociatorNames", from(slotPath(3))},
                                                            {"References", from(slotPath(3))},
                                                            {"ReferenceNames", from(slotPath(3))}};
    for (const auto& [operation, parameters] : requests)
        for (unsigned left = 0; left < 3; ++left) {  // the provider, and both functions in the slot
            wbem::HttpRequest request = client::post(client::message(operation, parameters), operation);
            unsigned asked = 0;
            request.abandoned = [&] { return ++asked > left; };
            const Answer answer = client::read(responder.answer(request).body);
            EXPECT_EQ(answer.error, CMPI_RC_ERR_FAILED) << operation;
            EXPECT_EQ(asked, left + 1) << operation;
            EXPECT_FALSE(answer.result) << operation;
        }
}

TEST_F(Server, ClassesAreEnumeratedAsTheSchemaHasThem) {
    const mof::Schema& schema = schema::declared();
    const auto names = [&](const std::string& parameters) {
        std::vector<std::string> found;
        const Answer answer = ask("EnumerateClassNames", parameters);
        for (const pugi::xml_node element : client::children(answer.result))
            found.emplace_back(element.attribute("NAME").value());
        return found;
    };
    const auto expected = [&](const std::string& top, bool deep) {
        std::vector<std::string> found;
        for (const mof::Class* each : schema.subclasses(top, deep)) found.push_back(each->name);
        return found;
    };
    const std::string deeply = client::value("DeepInheritance", "TRUE");
    EXPECT_EQ(names(deeply).size(), schema.classes().size());
    EXPECT_EQ(names(""), expected("", false));
    EXPECT_EQ(names(deeply), expected("", true));
    EXPECT_THAT(names(ofClass("QELTA_Controller")), ElementsAre("QELTA_PCIDevice", "QELTA_PCIBridge"));

    const Answer all = ask("EnumerateClasses", deeply + client::value("LocalOnly", "FALSE"));
    ASSERT_EQ(client::children(all.result).size(), schema.classes().size());
    for (const pugi::xml_node element : client::children(all.result)) {
        const mof::Class* declaration = schema.find(element.attribute("NAME").value());
        ASSERT_NE(declaration, nullptr);
        EXPECT_EQ(element.attribute("SUPERCLASS").value(), declaration->superclass);
        const std::vector<pugi::xml_node> properties = propertiesIn(element);
        ASSERT_EQ(properties.size(), declaration->properties.size());
        for (std::size_t i = 0; i < properties.size(); ++i) {
            const mof::Property& property = declaration->properties[i];
            const pugi::xml_node child = properties[i];
            const bool reference = property.type == CMPI_ref;
            EXPECT_EQ(child.attribute("NAME").value(), property.name);
            EXPECT_STREQ(child.name(), reference        ? "PROPERTY.REFERENCE"
                                       : property.array ? "PROPERTY.ARRAY"
                                                        : "PROPERTY");
            EXPECT_EQ(child.attribute("REFERENCECLASS").value(), property.referenceClass);
            EXPECT_EQ(child.attribute("TYPE").as_string("reference"), broker::typeName(property.type));
            EXPECT_EQ(child.attribute("PROPAGATED").as_bool(), property.propagated);
        }
    }
}

TEST_F(Server, AClassIsShownAsFarAsAskedFor) {
    const auto get = [&](const std::string& more) { return ask("GetClass", ofClass("qelta_pcidevice") + more); };
    const Answer local = get("");
    const pugi::xml_node element = local.result.child("CLASS");
    EXPECT_THAT(propertyNames(element), testing::Not(testing::Contains("DeviceID")));
    EXPECT_THAT(propertyNames(element), testing::Contains("SubsystemID"));
    const pugi::xml_node subsystem = element.find_child_by_attribute("NAME", "SubsystemID");
    EXPECT_TRUE(subsystem.find_child_by_attribute("QUALIFIER", "NAME", "Description"));
    EXPECT_FALSE(subsystem.attribute("CLASSORIGIN"));

    const Answer whole =
        get(client::value("LocalOnly", "false") + client::value("IncludeQualifiers", "false") +
            client::value("IncludeClassOrigin", "true") + client::list("PropertyList", {"DEVICEID", "IRQ"}));
    EXPECT_THAT(propertyNames(whole.result.child("CLASS")), ElementsAre("DeviceID", "IRQ"));
    const pugi::xml_node key = whole.result.child("CLASS").first_child();
    EXPECT_STREQ(key.attribute("CLASSORIGIN").value(), "QELTA_Controller");
    EXPECT_FALSE(whole.result.select_node(".//QUALIFIER"));

    const Answer keys = get(client::value("LocalOnly", "false"));
    const pugi::xml_node qualifier =
        keys.result.select_node(".//PROPERTY[@NAME='DeviceID']/QUALIFIER[@NAME='Key']").node();
    EXPECT_STREQ(qualifier.child_value("VALUE"), "TRUE");
    EXPECT_STREQ(qualifier.attribute("TYPE").value(), "boolean");
    EXPECT_STREQ(qualifier.attribute("OVERRIDABLE").value(), "false");
    EXPECT_STREQ(qualifier.attribute("PROPAGATED").value(), "true");
}

// --- errors ---

struct ErrorRow {
    const char* what;
    const char* operation;
    std::string parameters;
    int error;
    std::string nameSpace = "root/kavix";
};

class Errors : public Rack, public testing::WithParamInterface<ErrorRow> {};

TEST_P(Errors, HaveTheirCodes) {
    const Answer answer = ask(GetParam().operation, GetParam().parameters, GetParam().nameSpace);
    EXPECT_EQ(answer.error, GetParam().error) << answer.description;
    EXPECT_EQ(answer.description.empty(), GetParam().error == 0);
    EXPECT_EQ(!answer.result, GetParam().error != 0);
}

const std::string kSlots = ofClass("QELTA_SystemSlot");
const std::string kInstance =
    "<INSTANCE CLASSNAME=\"QELTA_SystemSlot\"><PROPERTY NAME=\"Number\" TYPE=\"uint16\"><VALUE>7</VALUE></PROPERTY>"
    "</INSTANCE>";

std::string slotNamedBy(const std::string& keys) {
    return client::parameter("InstanceName",
                             "<INSTANCENAME CLASSNAME=\"QELTA_SystemSlot\">" + keys + "</INSTANCENAME>");
}

std::string newSlot(const std::string& property) {
    return client::parameter("NewInstance", "<INSTANCE CLASSNAME=\"QELTA_SystemSlot\">" + property + "</INSTANCE>");
}

const ErrorRow kErrorRows[] = {
    {"NamespaceInAnotherCase", "EnumerateInstanceNames", kSlots, 0, "Root/KAVIX"},
    {"OtherNamespace", "EnumerateInstanceNames", kSlots, 3, "root/cimv2"},
    {"LongerNamespace", "EnumerateInstanceNames", kSlots, 3, "root/kavix/x"},
    {"UnknownClass", "EnumerateInstances", ofClass("QELTA_None"), 5},
    {"UnknownClassOfNames", "EnumerateInstanceNames", ofClass("QELTA_None"), 5},
    {"UnknownClassItself", "GetClass", ofClass("QELTA_None"), 6},
    {"UnknownSuperclass", "EnumerateClassNames", ofClass("QELTA_None"), 5},
    {"UnknownSource", "References", from(classPath("QELTA_None")), 5},
    {"MissingParameter", "EnumerateInstances", "", 4},
    {"NullParameter", "EnumerateInstances", client::parameter("ClassName", ""), 4},
    {"ParameterOfAnotherName", "EnumerateInstances", kSlots + client::value("Foo", "1"), 4},
    {"ParameterOfAnotherOperation", "EnumerateInstanceNames", kSlots + client::value("DeepInheritance", "TRUE"), 4},
    {"ParameterTwice", "EnumerateInstances", kSlots + ofClass("QELTA_PCIDevice"), 4},
    {"ParameterTwiceInAnotherCase", "EnumerateInstances",
     kSlots + client::value("LocalOnly", "TRUE") + client::value("localonly", "TRUE"), 4},
    {"TextForAClass", "EnumerateInstances", client::value("ClassName", "QELTA_SystemSlot"), 4},
    {"NoBoolean", "EnumerateInstances", kSlots + client::value("DeepInheritance", "1"), 4},
    {"ListOfNulls", "EnumerateInstances",
     kSlots + client::parameter("PropertyList", "<VALUE.ARRAY><VALUE.NULL/></VALUE.ARRAY>"), 4},
    {"TextForAList", "EnumerateInstances", kSlots + client::value("PropertyList", "Tag"), 4},
    {"ClassForAnInstance", "GetInstance", client::className("InstanceName", "QELTA_SystemSlot"), 4},
    {"KeyThatIsNoNumber", "GetInstance",
     slotNamedBy("<KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"numeric\">3x</KEYVALUE></KEYBINDING>"), 4},
    {"KeyOfNoType", "GetInstance",
     slotNamedBy("<KEYBINDING NAME=\"Tag\"><KEYVALUE VALUETYPE=\"date\">3</KEYVALUE></KEYBINDING>"), 4},
    {"KeyWithoutName", "GetInstance", slotNamedBy("<KEYVALUE>3</KEYVALUE>"), 4},
    {"UnknownAssociationClassOfAClass", "References",
     client::className("ObjectName", "QELTA_SystemSlot") + client::className("ResultClass", "QELTA_None"), 6},
    {"UnknownSourceClass", "AssociatorNames", client::className("ObjectName", "QELTA_None"), 5},
    {"AssocClassOfReferences", "References", from(slotPath(3)) + client::className("AssocClass", "QELTA_DeviceInSlot"),
     4},
    {"CreateInstance", "CreateInstance", client::parameter("NewInstance", kInstance), 7},
    {"CreateOfNoType", "CreateInstance", newSlot("<PROPERTY NAME=\"Number\" TYPE=\"int\"/>"), 4},
    {"CreateOutOfRange", "CreateInstance",
     newSlot("<PROPERTY NAME=\"Number\" TYPE=\"uint16\"><VALUE>65536</VALUE></PROPERTY>"), 4},
    {"CreateOfUnknownClass", "CreateInstance",
     client::parameter("NewInstance", "<INSTANCE CLASSNAME=\"QELTA_None\"></INSTANCE>"), 5},
    {"ModifyInstance", "ModifyInstance",
     client::parameter("ModifiedInstance", "<VALUE.NAMEDINSTANCE>" + client::nameElement(slotPath(3)) + kInstance +
                                               "</VALUE.NAMEDINSTANCE>"),
     7},
    {"DeleteInstance", "DeleteInstance", named(slotPath(3)), 7},
    {"ExecQuery", "ExecQuery",
     client::value("QueryLanguage", "WQL") + client::value("Query", "select * from QELTA_SystemSlot"), 7},
    {"QueryWithoutLanguage", "ExecQuery", client::value("Query", "select * from QELTA_SystemSlot"), 4},
    {"PropertyOfNoInstance", "GetProperty", named(slotPath(4)) + client::value("PropertyName", "NoSuch"), 6},
    {"PropertyThatThereIsNot", "GetProperty", named(slotPath(3)) + client::value("PropertyName", "NoSuch"), 12},
    {"PropertyOfNoClass", "GetProperty", named(classPath("QELTA_None")) + client::value("PropertyName", "Tag"), 5},
    {"PropertyWithoutName", "GetProperty", named(slotPath(3)), 4},
    {"SetProperty", "SetProperty", named(slotPath(3)) + client::value("PropertyName", "Tag"), 7},
    {"UnknownQualifier", "GetQualifier", client::value("QualifierName", "NoSuch"), 6},
    {"QualifierWithoutName", "GetQualifier", "", 4},
    {"ParameterOfQualifiers", "EnumerateQualifiers", ofClass("QELTA_SystemSlot"), 4},
    {"NoOperationAtAll", "Frobnicate", "", 7},
    {"NoOperationInAnotherNamespace", "OpenEnumerateInstances", kSlots, 7, "root/cimv2"},
};

INSTANTIATE_TEST_SUITE_P(Of, Errors, testing::ValuesIn(kErrorRows), CaseName());

// --- providers of all kinds ---

TEST_F(AnyProvider, StatusesAndExceptionsBecomeErrors) {
    tiny::behave([](const tiny::Asked&) { return CMPIStatus{CMPI_RC_ERR_ACCESS_DENIED, nullptr}; });
    EXPECT_EQ(ask("EnumerateInstances", kSlots).error, CMPI_RC_ERR_ACCESS_DENIED);
    tiny::behave([](const tiny::Asked&) { return CMPIStatus{CMPI_RC_ERR_INVALID_QUERY, nullptr}; });
    EXPECT_EQ(ask("EnumerateInstances", kSlots).description, "The query is not valid");
    tiny::behave([](const tiny::Asked&) { return CMPIStatus{static_cast<CMPIrc>(200), nullptr}; });
    EXPECT_EQ(ask("References", from(slotPath(3))).error, 200);
    tiny::behave([](const tiny::Asked&) -> CMPIStatus { throw std::runtime_error("out of slots"); });
    const Answer thrown = ask("GetInstance", named(slotPath(3)));
    EXPECT_EQ(thrown.error, CMPI_RC_ERR_FAILED);
    EXPECT_THAT(thrown.description, HasSubstr("out of slots"));
    tiny::behave([](const tiny::Asked&) -> CMPIStatus { throw 1; });
    EXPECT_EQ(ask("EnumerateInstanceNames", kSlots).error, CMPI_RC_ERR_FAILED);
}

TEST_F(AnyProvider, IsAskedWithTheFiltersThatAreThere) {
    std::string seen;
    tiny::behave([&](const tiny::Asked& asked) {
        for (const char* filter : {asked.assocClass, asked.resultClass, asked.role, asked.resultRole})
            seen += std::string(filter != nullptr ? filter : "null") + " ";
        return tiny::ok;
    });
    const std::string all = client::className("AssocClass", "QELTA_DeviceInSlot") +
                            client::className("ResultClass", "qelta_controller") + client::value("Role", "Antecedent") +
                            client::value("ResultRole", "x");
    ask("AssociatorNames", from(slotPath(3)) + all);
    EXPECT_EQ(seen, "QELTA_DeviceInSlot qelta_controller Antecedent x ");
    seen.clear();
    const std::string empty = client::className("AssocClass", "") + client::parameter("ResultClass", "") +
                              client::value("Role", "") + client::parameter("ResultRole", "");
    ask("Associators", from(slotPath(3)) + empty);
    EXPECT_EQ(seen, "null null null null ");
}

TEST(NumbersInMessages, AreReadInEveryFormThatTheyMayHave) {
    const struct {
        CMPIType type;
        const char* text;
        std::optional<broker::Value> value;
    } rows[] = {
        {CMPI_uint16, "+0xFfFf", Value::uint(CMPI_uint16, 65535)},
        {CMPI_uint16, "-1", std::nullopt},
        {CMPI_uint16, "++1", std::nullopt},
        {CMPI_uint16, "", std::nullopt},
        {CMPI_sint16, " -0x8000\n", Value::sint(CMPI_sint16, -32768)},
        {CMPI_sint16, "-32769", std::nullopt},
        {CMPI_sint16, "-+1", std::nullopt},
        {CMPI_sint16, "+-1", std::nullopt},
        {CMPI_sint64, "-9223372036854775808", Value::sint(CMPI_sint64, std::numeric_limits<std::int64_t>::min())},
        {CMPI_sint64, "9223372036854775808", std::nullopt},
        {CMPI_sint64, "-9223372036854775809", std::nullopt},
        {CMPI_real64, "+2.5e-1", Value::real(CMPI_real64, 0.25)},
        {CMPI_real64, "-.5", Value::real(CMPI_real64, -0.5)},
        {CMPI_real64, "+-5", std::nullopt},
        {CMPI_real32, "1.0e39", std::nullopt},
        {CMPI_real64, "nan", std::nullopt},
        {CMPI_real64, "-inf", std::nullopt},
    };
    for (const auto& row : rows) EXPECT_EQ(wbem::readValue(row.type, row.text), row.value) << row.text;
}

TEST_F(AnyProvider, MayDeliverTextThatXmlCannotHold) {
    struct {
        const char* text;
        const char* shown;
    } const rows[] = {
        {"<a b=\"c\">&amp;'", "<a b=\"c\">&amp;'"},
        {" tab\tline\nreturn\r ", " tab\tline\nreturn\r "},
        {"", ""},
        {"\x01\x1b[0m", "\xef\xbf\xbd\xef\xbf\xbd[0m"},
        {"caf\xe9", "caf\xef\xbf\xbd"},
        {"caf\xc3\xa9 \xf0\x9f\x98\x80", "caf\xc3\xa9 \xf0\x9f\x98\x80"},
        {"\xc0\x80\xe0\x80\x80", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"},
        {"\xed\xa0\x80", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"},
        {"\xef\xbf\xbf", "\xef\xbf\xbd"},
        {"cut \xe2\x82", "cut \xef\xbf\xbd\xef\xbf\xbd"},
    };
    for (const auto& row : rows) {
        deliver([&](const tiny::Asked& asked, CMPIInstance* instance) {
            CMPIValue value{};
            value.string = asked.broker->eft->newString(asked.broker, row.text, nullptr);
            instance->ft->setProperty(instance, "SlotDesignation", &value, CMPI_string);
        });
        const Answer answer = ask("EnumerateInstances", kSlots);
        ASSERT_EQ(instancesIn(answer).size(), 1U);
        EXPECT_EQ(broker::toString(*instancesIn(answer)[0].property("SlotDesignation")), row.shown);
    }
    // A number as key is one in the path as well.
    const Answer names = ask("EnumerateInstances", kSlots);
    EXPECT_EQ(instancesIn(names)[0].path.keys[0].value, Value::uint(CMPI_uint64, 3));
    EXPECT_EQ(ask("GetInstance", named({"", "QELTA_SystemSlot", {{"number", Value::sint(CMPI_sint64, 3)}}})).error, 0);
}

TEST(AnInstance, OfValuesOfEveryTypeIsReadAsItWasWritten) {
    const std::vector<broker::Property> expected = {
        {"B", Value::boolean(true)},
        {"U8", Value::uint(CMPI_uint8, 255)},
        {"U64", Value::uint(CMPI_uint64, 18446744073709551615U)},
        {"S8", Value::sint(CMPI_sint8, -128)},
        {"S64", Value::sint(CMPI_sint64, std::numeric_limits<std::int64_t>::min())},
        {"R", Value::real(CMPI_real64, 0.1)},
        {"Null", Value::nothing(CMPI_uint32)},
        {"Reference", Value::reference(slotPath(3))},
        {"Empty", Value::array(CMPI_uint16, {})},
        {"Array", Value::array(CMPI_sint16, {Value::sint(CMPI_sint16, -1), Value::nothing(CMPI_sint16)})},
        {"Texts", Value::array(CMPI_string, {Value::string(""), Value::string(" x ")})},
    };
    const Instance instance{{"root/kavix", "QELTA_Test", {{"B", Value::boolean(true)}}}, expected};
    pugi::xml_document document;
    wbem::Encoder(schema::declared(), "h").instance(document, instance, {});
    EXPECT_EQ(wbem::readInstance(document.first_child(), "root/kavix").properties, expected);
}

}  // namespace
