// What an object manager answers without the provider: filters by class, classes as sources, single properties,
// qualifiers, methods, and what leads clients to a namespace.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "server.h"
#include "tests/support/casename.h"

namespace {

using namespace client;
using namespace testsupport;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kAssociatorOperations[] = {"Associators", "AssociatorNames"};
constexpr const char* kReferenceOperations[] = {"References", "ReferenceNames"};

std::string fromClass(const std::string& name) {
    return client::className("ObjectName", name);
}

std::string assocClass(const std::string& name) {
    return client::className("AssocClass", name);
}

std::string resultClass(const std::string& name) {
    return client::className("ResultClass", name);
}

// --- filters by class ---

TEST_F(AnyProvider, IsNotAskedWhereTheFilterClassesLeaveNothing) {
    unsigned asked = 0;
    tiny::behave([&](const tiny::Asked&) {
        ++asked;
        return tiny::ok;
    });
    const auto expect = [&](const std::string& operation, const std::string& filters, int error, unsigned calls) {
        asked = 0;
        const Answer answer = ask(operation, from(slotPath(3)) + filters);
        EXPECT_EQ(answer.error, error) << operation << filters << answer.description;
        EXPECT_EQ(!answer.result, error != 0);
        EXPECT_EQ(asked, calls) << operation << filters;
    };
    for (const char* operation : kAssociatorOperations) {
        expect(operation, "", 0, 1);
        expect(operation, assocClass("QELTA_DeviceInSlot") + resultClass("QELTA_SystemBoard"), 0, 1);
        expect(operation, assocClass("QELTA_PCIDevice"), 0, 0);
        expect(operation, resultClass("QELTA_None"), 0, 0);
        expect(operation, assocClass("QELTA_DeviceInSlot") + resultClass("QELTA_None"), 0, 0);
        expect(operation, assocClass("QELTA_None"), CMPI_RC_ERR_NOT_FOUND, 0);
        expect(operation, assocClass("QELTA_None") + resultClass("QELTA_None"), CMPI_RC_ERR_NOT_FOUND, 0);
    }
    for (const char* operation : kReferenceOperations) {
        expect(operation, resultClass("QELTA_OnBoardDevice"), 0, 1);
        expect(operation, resultClass("QELTA_SystemSlot"), 0, 0);
        expect(operation, resultClass("QELTA_None"), CMPI_RC_ERR_NOT_FOUND, 0);
    }
}

// --- classes as sources ---

struct ClassRow {
    const char* what;
    const char* source;
    std::string filters;
    std::vector<std::string> associators;
    std::vector<std::string> references;  // asked where the filters are those of references
};

class ClassLevel : public AnyProvider, public testing::WithParamInterface<ClassRow> {
 protected:
    /** The classes of an answer; where they are shown whole their paths have to be theirs. */
    std::vector<std::string> classes(const std::string& operation, const std::string& source) const {
        std::vector<std::string> found;
        const auto answer = ask(operation, source + GetParam().filters);  // the elements live as long as it does
        for (const pugi::xml_node element : children(answer.result)) {
            const pugi::xml_node path = element.child("CLASSPATH");
            found.emplace_back(path.child("CLASSNAME").attribute("NAME").value());
            EXPECT_STREQ(path.child("NAMESPACEPATH").child_value("HOST"), "localhost:1");
            EXPECT_EQ(wbem::readNamespace(path.child("NAMESPACEPATH").child("LOCALNAMESPACEPATH")), "root/kavix");
            if (std::string(element.name()) == "VALUE.OBJECTWITHPATH") {
                EXPECT_EQ(element.child("CLASS").attribute("NAME").value(), found.back());
            }
        }
        return found;
    }
};

/** The class is named as such, and by a path without keys, as some clients name it. */
TEST_P(ClassLevel, IsAnsweredWithClassesByTheSchemaAlone) {
    tiny::behave([](const tiny::Asked&) -> CMPIStatus { throw std::runtime_error("asked"); });
    const ClassRow& row = GetParam();
    for (const std::string& source : {fromClass(row.source), from(classPath(row.source))}) {
        for (const char* operation : kAssociatorOperations) EXPECT_EQ(classes(operation, source), row.associators);
        if (row.filters.find("AssocClass") != std::string::npos || row.filters.find("ResultRole") != std::string::npos)
            continue;
        for (const char* operation : kReferenceOperations) EXPECT_EQ(classes(operation, source), row.references);
    }
}

const ClassRow kClassRows[] = {
    {"Slot", "QELTA_SystemSlot", "", {"QELTA_Controller"}, {"QELTA_DeviceInSlot"}},
    {"Board", "qelta_systemboard", "", {"QELTA_Controller"}, {"QELTA_OnBoardDevice"}},
    {"Bridge",
     "QELTA_PCIBridge",
     "",
     {"QELTA_SystemSlot", "QELTA_SystemBoard"},
     {"QELTA_DeviceInSlot", "QELTA_OnBoardDevice"}},
    {"ViewThatNoReferenceNames", "QELTA_SSPCIController", "", {}, {}},
    {"Association", "QELTA_DeviceInSlot", "", {}, {}},
    {"OneAssociation", "QELTA_PCIDevice", assocClass("qelta_onboarddevice"), {"QELTA_SystemBoard"}, {}},
    {"NoAssociation", "QELTA_PCIDevice", assocClass("QELTA_SystemSlot"), {}, {}},
    {"ResultIsThatClass", "QELTA_PCIDevice", resultClass("QELTA_SystemSlot"), {"QELTA_SystemSlot"}, {}},
    {"ResultIsABase", "QELTA_SystemSlot", resultClass("QELTA_Controller"), {"QELTA_Controller"}, {}},
    {"ResultIsNoAssociationOfIt", "QELTA_PCIDevice", resultClass("QELTA_DeviceInSlot"), {}, {"QELTA_DeviceInSlot"}},
    {"UnknownResult", "QELTA_PCIDevice", assocClass("QELTA_DeviceInSlot") + resultClass("QELTA_None"), {}, {}},
    {"Role",
     "QELTA_PCIDevice",
     client::value("Role", "dependent"),
     {"QELTA_SystemSlot", "QELTA_SystemBoard"},
     {"QELTA_DeviceInSlot", "QELTA_OnBoardDevice"}},
    {"OtherRole", "QELTA_PCIDevice", client::value("Role", "Antecedent"), {}, {}},
    {"ResultRole", "QELTA_SystemSlot", client::value("ResultRole", "DEPENDENT"), {"QELTA_Controller"}, {}},
    {"OtherResultRole", "QELTA_SystemSlot", client::value("ResultRole", "Antecedent"), {}, {}},
};

INSTANTIATE_TEST_SUITE_P(Of, ClassLevel, testing::ValuesIn(kClassRows), CaseName());

TEST_F(Server, ClassesThatAreAssociatedAreShownAsFarAsAskedFor) {
    const Answer whole = ask("Associators", fromClass("QELTA_SystemSlot"));
    EXPECT_THAT(propertyNames(whole.result.first_child().child("CLASS")), Contains("DeviceID"));
    EXPECT_FALSE(whole.result.select_node(".//QUALIFIER"));
    const Answer some = ask("Associators", fromClass("QELTA_SystemSlot") + client::value("IncludeQualifiers", "true") +
                                               client::list("PropertyList", {"VendorID"}));
    EXPECT_THAT(propertyNames(some.result.first_child().child("CLASS")), ElementsAre("VendorID"));
    EXPECT_TRUE(some.result.select_node(".//PROPERTY/QUALIFIER[@NAME='Description']"));
    EXPECT_EQ(ask("AssociatorNames", fromClass("QELTA_SystemSlot") + client::value("IncludeQualifiers", "true")).error,
              CMPI_RC_ERR_INVALID_PARAMETER);
}

// --- single properties ---

TEST_F(Rack, APropertyIsGivenAsItsInstanceHasIt) {
    const auto property = [&](const ObjectPath& path, const std::string& name) {
        Answer answer = ask("GetProperty", named(path) + client::value("PropertyName", name));
        EXPECT_EQ(answer.error, 0) << answer.description;
        return answer;
    };
    EXPECT_STREQ(property(slotPath(3), "number").result.child_value("VALUE"), "3");
    EXPECT_STREQ(property(slotPath(3), "Tag").result.child_value("VALUE"), "System Slot 3");
    const Answer list = property(slotPath(3), "ConnectorType");
    EXPECT_THAT(children(list.result.child("VALUE.ARRAY")), testing::SizeIs(1));
    const Answer reference = property(inSlotPath(3, devicePath(3, 3, 1)), "Antecedent");
    const pugi::xml_node path = reference.result.child("VALUE.REFERENCE").child("LOCALINSTANCEPATH");
    EXPECT_EQ(nameOf(path.child("INSTANCENAME")), slotPath(3));
    EXPECT_THAT(children(property(devicePath(3, 3, 0), "MEMLength").result), IsEmpty());  // declared, never set
    // A property of a view is one of its function.
    const ObjectPath view = renamed(devicePath(3, 3, 0), "QELTA_SSPCIController");
    EXPECT_STREQ(property(view, "UINumber").result.child_value("VALUE"), "3");
}

// --- qualifiers ---

TEST_F(Server, AllQualifiersOfTheSchemaAreDeclared) {
    std::vector<std::string> expected;
    for (const mof::QualifierDeclaration& each : schema::declared().qualifiers()) expected.push_back(each.name);
    std::vector<std::string> names;
    const Answer all = ask("EnumerateQualifiers", "");
    for (const pugi::xml_node element : children(all.result)) names.emplace_back(element.attribute("NAME").value());
    EXPECT_EQ(names, expected);
}

TEST_F(Server, AQualifierIsDeclaredWithItsScopeAndDefault) {
    const auto scopeOf = [](pugi::xml_node element) {
        std::string names;
        for (const pugi::xml_attribute each : element.child("SCOPE").attributes())
            names += std::string(each.name()) + "=" + each.value() + " ";
        return names;
    };
    const auto get = [&](const char* name) { return ask("GetQualifier", client::value("QualifierName", name)); };
    const Answer key = get("KEY");
    const pugi::xml_node element = key.result.child("QUALIFIER.DECLARATION");
    EXPECT_STREQ(element.attribute("NAME").value(), "Key");
    EXPECT_STREQ(element.attribute("OVERRIDABLE").value(), "false");
    EXPECT_EQ(scopeOf(element), "REFERENCE=true PROPERTY=true ");
    EXPECT_STREQ(element.child_value("VALUE"), "FALSE");
    const Answer description = get("Description");
    EXPECT_EQ(scopeOf(description.result.first_child()),
              "CLASS=true ASSOCIATION=true REFERENCE=true PROPERTY=true METHOD=true PARAMETER=true INDICATION=true ");
    EXPECT_STREQ(description.result.first_child().attribute("TRANSLATABLE").value(), "true");
    EXPECT_FALSE(description.result.first_child().child("VALUE"));
    const Answer in = get("In");
    EXPECT_EQ(scopeOf(in.result.first_child()), "PARAMETER=true ");
    EXPECT_STREQ(get("ValueMap").result.first_child().attribute("ISARRAY").value(), "true");
    EXPECT_STREQ(get("Version").result.first_child().attribute("TOSUBCLASS").value(), "false");
    EXPECT_STREQ(get("Max").result.first_child().attribute("TYPE").value(), "uint32");
}

// --- the manual ---

TEST_F(Rack, TheManualNamesTheOperationsThatAreNotRefusedAtOnce) {
    std::ifstream file(MANUAL);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    const std::size_t begin = text.find(".Ss The server beside object managers");
    ASSERT_NE(begin, std::string::npos);
    text = text.substr(begin, text.find(".Ss", begin + 1) - begin);
    const std::size_t others = text.find("\nAll others, ");
    ASSERT_NE(others, std::string::npos);
    std::istringstream names(
        "GetClass GetInstance DeleteClass DeleteInstance CreateClass CreateInstance ModifyClass ModifyInstance "
        "EnumerateClasses EnumerateClassNames ExecQuery EnumerateInstances EnumerateInstanceNames Associators "
        "AssociatorNames References ReferenceNames GetProperty SetProperty GetQualifier SetQualifier "
        "EnumerateQualifiers DeleteQualifier OpenEnumerateInstances CloseEnumeration");
    for (std::string name; names >> name;) {
        // Without parameters an operation that there is complains of these.
        const bool refused = ask(name, "").error == CMPI_RC_ERR_NOT_SUPPORTED;
        const std::regex whole("(^|[^A-Za-z])" + name + "([^A-Za-z]|$)");
        EXPECT_EQ(std::regex_search(text.substr(0, others), whole), !refused) << name;
    }
}

// --- methods ---

TEST_F(Server, MethodsAreNotFoundInClassesThatThereAre) {
    const auto call = [&](const std::string& nameSpace, const std::string& form, const std::string& target,
                          const std::string& object) {
        const std::string local = "<LOCAL" + form + "PATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"" + nameSpace +
                                  "\"/><NAMESPACE NAME=\"kavix\"/></LOCALNAMESPACEPATH>" + target + "</LOCAL" + form +
                                  "PATH>";
        wbem::HttpRequest request = client::post(
            client::envelope("<SIMPLEREQ><METHODCALL NAME=\"Reset\">" + local + "</METHODCALL></SIMPLEREQ>"), "Reset");
        request.headers[3].second = nameSpace + "/kavix:" + object;
        const wbem::HttpResponse response = responder.answer(request);
        EXPECT_THAT(response.body, HasSubstr("<METHODRESPONSE NAME=\"Reset\">"));
        return client::read(response.body).error;
    };
    const auto callClass = [&](const std::string& nameSpace, const std::string& className) {
        return call(nameSpace, "CLASS", "<CLASSNAME NAME=\"" + className + "\"/>", className);
    };
    EXPECT_EQ(callClass("root", "QELTA_SystemSlot"), CMPI_RC_ERR_METHOD_NOT_FOUND);
    EXPECT_EQ(callClass("root", "QELTA_None"), CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(callClass("other", "QELTA_SystemSlot"), CMPI_RC_ERR_INVALID_NAMESPACE);
    const std::string slot = broker::toString(slotPath(3));
    EXPECT_EQ(call("root", "INSTANCE", client::nameElement(slotPath(3)), slot.substr(slot.find(':') + 1)),
              CMPI_RC_ERR_METHOD_NOT_FOUND);
}

// --- finding the namespace ---

class Interop : public Rack, public testing::WithParamInterface<std::string> {
 protected:
    Answer askHere(const std::string& operation, const std::string& parameters) const {
        return ask(operation, parameters, GetParam());
    }
};

TEST_P(Interop, ListsTheNamespacesOfTheServer) {
    std::vector<std::string> names;
    const Answer answer = askHere("EnumerateInstances", ofClass("cim_namespace"));
    for (const Instance& each : instancesIn(answer)) {
        names.push_back(broker::toString(*each.property("Name")));
        for (const broker::Property& key : each.path.keys) EXPECT_EQ(*each.property(key.name), key.value) << key.name;
        const Answer got = askHere("GetInstance", named(each.path));
        EXPECT_EQ(got.error, 0) << got.description;
        EXPECT_EQ(ask("EnumerateClassNames", "", names.back()).error, 0);  // it is there
    }
    EXPECT_THAT(names, ElementsAre("interop", "root/interop", "root/kavix"));
    EXPECT_EQ(namesIn(askHere("EnumerateInstanceNames", ofClass("CIM_Namespace"))), pathsOf(instancesIn(answer)));
}

TEST_P(Interop, TellsOfTheServerThatTheNamespacesBelongTo) {
    const std::vector<Instance> managers = instancesIn(askHere("EnumerateInstances", ofClass("CIM_ObjectManager")));
    ASSERT_EQ(managers.size(), 1U);
    EXPECT_NE(broker::toString(*managers[0].property("SystemName")), "");
    for (const Instance& each : instancesIn(askHere("EnumerateInstances", ofClass("CIM_Namespace")))) {
        EXPECT_EQ(*each.property("ObjectManagerName"), *managers[0].property("Name"));
        EXPECT_EQ(*each.property("ObjectManagerCreationClassName"), *managers[0].property("CreationClassName"));
        EXPECT_EQ(*each.property("SystemName"), *managers[0].property("SystemName"));
    }
}

TEST_P(Interop, HasClassesAndQualifiersOfItsOwnAndCannotBeChanged) {
    const Answer got = askHere("GetClass", ofClass("CIM_Namespace"));
    EXPECT_TRUE(got.result.select_node("CLASS/PROPERTY[@NAME='Name']/QUALIFIER[@NAME='Key']"));
    EXPECT_EQ(askHere("GetQualifier", client::value("QualifierName", "Key")).error, 0);
    EXPECT_EQ(askHere("GetClass", ofClass("QELTA_SystemSlot")).error, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(askHere("EnumerateInstances", ofClass("QELTA_SystemSlot")).error, CMPI_RC_ERR_INVALID_CLASS);
    const ObjectPath first = namesIn(askHere("EnumerateInstanceNames", ofClass("CIM_Namespace"))).at(0);
    EXPECT_THAT(children(askHere("Associators", from(first)).result), IsEmpty());
    EXPECT_EQ(askHere("Associators", from(classPath("CIM_None"))).error, CMPI_RC_ERR_INVALID_CLASS);
    EXPECT_EQ(askHere("DeleteInstance", named(first)).error, CMPI_RC_ERR_NOT_SUPPORTED);
    const Answer property = askHere("GetProperty", named(first) + client::value("PropertyName", "Name"));
    EXPECT_STREQ(property.result.child_value("VALUE"), "interop");
}

INSTANTIATE_TEST_SUITE_P(Named, Interop, testing::Values("interop", "root/interop", "Root/Interop"),
                         [](const auto& row) {
                             std::string name = row.param;
                             name.erase(std::remove(name.begin(), name.end(), '/'), name.end());
                             return name;
                         });

}  // namespace
