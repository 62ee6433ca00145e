// What object managers answer, in their different ways.

#include "client/answer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using broker::Response;
using client::Operation;
using client::Request;

constexpr const char* kPath =
    R"(<INSTANCENAME CLASSNAME="QELTA_PCIDevice"><KEYBINDING NAME="DeviceID"><KEYVALUE VALUETYPE="string">A</KEYVALUE>)"
    R"(</KEYBINDING><KEYBINDING NAME="SystemName"><KEYVALUE>host</KEYVALUE></KEYBINDING></INSTANCENAME>)";
constexpr const char* kPlace =
    R"(<NAMESPACEPATH><HOST>h</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME="root"/><NAMESPACE NAME="other"/>)"
    R"(</LOCALNAMESPACEPATH></NAMESPACEPATH>)";
constexpr const char* kInstance =
    R"(<INSTANCE CLASSNAME="QELTA_PCIDevice"><QUALIFIER NAME="x" TYPE="boolean"/>)"
    R"(<PROPERTY NAME="DeviceID" TYPE="string"/><PROPERTY NAME="IRQ" TYPE="uint16"/>)"
    R"(<PROPERTY NAME="VendorID" TYPE="uint16"><VALUE>32902</VALUE></PROPERTY>)"
    R"(<PROPERTY.ARRAY NAME="IOAddress" TYPE="uint16"><VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE></VALUE.ARRAY>)"
    R"(</PROPERTY.ARRAY><PROPERTY.ARRAY NAME="MEMAddress" TYPE="uint32"/></INSTANCE>)";

std::string answerOf(const std::string& method, const std::string& contents) {
    return R"(<?xml version="1.0"?><CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0">)"
           R"(<SIMPLERSP><IMETHODRESPONSE NAME=")" +
           method + "\">" + contents + "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>";
}

Response read(Operation operation, const std::string& objects) {
    const Request request = {operation, {"root/kavix", "QELTA_PCIDevice", {}}};
    return client::readAnswer(request,
                              answerOf(client::methodOf(operation), "<IRETURNVALUE>" + objects + "</IRETURNVALUE>"));
}

TEST(RemoteAnswer, HasInstancesAsTheProviderMadeThem) {
    const Response response = read(Operation::enumerateInstances,
                                   std::string("<VALUE.NAMEDINSTANCE>") + kPath + kInstance + "</VALUE.NAMEDINSTANCE>");
    ASSERT_EQ(response.instances.size(), 1U);
    const broker::Instance& instance = response.instances.front();
    EXPECT_EQ(broker::toString(instance.path), R"(root/kavix:QELTA_PCIDevice.SystemName="host",DeviceID="A")")
        << "keys in the schema's order";
    std::string text;
    for (const broker::Property& property : instance.properties)
        text +=
            property.name + ' ' + broker::typeName(property.value.type) + ' ' + broker::toString(property.value) + '\n';
    EXPECT_EQ(text, "SystemName string host\nDeviceID string A\nVendorID uint16 32902\nIOAddress uint16[] 1, 2\n")
        << "keys that the instance lacks come from its path, what is null was not set";
}

TEST(RemoteAnswer, HasAssociatedObjectsInTheNamespaceThatTheyTell) {
    const std::string path = std::string("<INSTANCEPATH>") + kPlace + kPath + "</INSTANCEPATH>";
    const Response objects =
        read(Operation::associators, "<VALUE.OBJECTWITHPATH>" + path + kInstance + "</VALUE.OBJECTWITHPATH>");
    ASSERT_EQ(objects.instances.size(), 1U);
    EXPECT_EQ(objects.instances.front().path.nameSpace, "root/other");
    const Response names = read(Operation::associatorNames, "<OBJECTPATH>" + path + "</OBJECTPATH>");
    ASSERT_EQ(names.paths.size(), 1U);
    EXPECT_EQ(names.paths.front(), objects.instances.front().path);
}

TEST(RemoteAnswer, HasReferencesWhoseKeysAreInOrder) {
    const std::string reference = std::string(R"(<PROPERTY.REFERENCE NAME="Dependent"><VALUE.REFERENCE>)") + kPath +
                                  "</VALUE.REFERENCE></PROPERTY.REFERENCE>";
    const std::string object =
        std::string("<VALUE.OBJECTWITHPATH><INSTANCEPATH>") + kPlace +
        R"(<INSTANCENAME CLASSNAME="QELTA_DeviceInSlot"><KEYBINDING NAME="Dependent"><VALUE.REFERENCE>)" + kPath +
        R"(</VALUE.REFERENCE></KEYBINDING></INSTANCENAME></INSTANCEPATH>)" +
        R"(<INSTANCE CLASSNAME="QELTA_DeviceInSlot">)" + reference + "</INSTANCE></VALUE.OBJECTWITHPATH>";
    const Response response = read(Operation::references, object);
    ASSERT_EQ(response.instances.size(), 1U);
    const broker::Value* end = response.instances.front().property("Dependent");
    ASSERT_NE(end, nullptr);
    EXPECT_THAT(broker::toString(*end), testing::HasSubstr(R"(SystemName="host",DeviceID="A")"));
    EXPECT_EQ(response.instances.front().path.keys.front().value, *end);
}

TEST(RemoteAnswer, MayBeEmptyOrAnError) {
    EXPECT_TRUE(read(Operation::enumerateInstances, "").instances.empty());
    const Request request = {Operation::enumerateInstanceNames, {"root/kavix", "X", {}}};
    EXPECT_EQ(client::readAnswer(request, answerOf("EnumerateInstanceNames", "")).status, CMPI_RC_OK);
    const Response refused = client::readAnswer(
        request,
        answerOf("EnumerateInstanceNames", R"(<ERROR CODE="6" DESCRIPTION="none"><INSTANCE CLASSNAME="E"/></ERROR>)"));
    EXPECT_EQ(refused.status, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(refused.message, "none");
}

TEST(RemoteAnswer, IsReadWithWhatNoXmlCanHold) {
    std::string instance = kInstance;
    const std::string text =
        "<PROPERTY NAME=\"Description\" TYPE=\"string\"><VALUE>a\xff\x01\xc3\xa4</VALUE></PROPERTY></INSTANCE>";
    instance.replace(instance.find("</INSTANCE>"), 11, text);
    const Response response = read(Operation::enumerateInstances,
                                   std::string("<VALUE.NAMEDINSTANCE>") + kPath + instance + "</VALUE.NAMEDINSTANCE>");
    ASSERT_EQ(response.instances.size(), 1U);
    EXPECT_EQ(broker::toString(*response.instances.front().property("Description")), "a\ufffd\ufffdä");
}

TEST(RemoteAnswer, WithTooMuchInItIsRefused) {
    std::string parts;
    for (int i = 0; i < client::kMaxAnswerParts; ++i) parts += "<A/>";
    EXPECT_THROW(read(Operation::enumerateInstances, parts), std::runtime_error);
}

}  // namespace
