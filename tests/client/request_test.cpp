// Requests as messages, read by the server's own reader.

#include "client/request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "wbem/parameters.h"
#include "wbem/request.h"

namespace {

using broker::Filters;
using broker::ObjectPath;
using broker::Response;
using client::Operation;
using client::Request;

const ObjectPath kSlot = broker::parseObjectPath("QELTA_SystemSlot.Tag=\"System Slot <5>\"");

TEST(RemoteRequest, IsAMessageThatServersTake) {
    const Filters filters = {"QELTA_DeviceInSlot", "", "Antecedent", std::nullopt};
    const wbem::Call call = wbem::readCall(client::messageOf({Operation::associators, kSlot, filters}));
    EXPECT_EQ(call.method, "Associators");
    EXPECT_EQ(call.nameSpace, "root/kavix");
    wbem::Parameters parameters(call.element, call.nameSpace);
    EXPECT_EQ(parameters.requiredObjectName("ObjectName").first, kSlot);
    EXPECT_EQ(parameters.className("AssocClass"), "QELTA_DeviceInSlot");
    EXPECT_EQ(parameters.className("ResultClass"), std::nullopt) << "an empty text is no class";
    EXPECT_EQ(parameters.text("Role"), "Antecedent");
    EXPECT_FALSE(parameters.flag("IncludeQualifiers", true));
    EXPECT_FALSE(parameters.flag("IncludeClassOrigin", true));
    parameters.refuseOthers();
}

TEST(RemoteRequest, HasAReferenceAmongTheKeys) {
    const ObjectPath association = {
        "root/kavix", "QELTA_DeviceInSlot", {{"Antecedent", broker::Value::reference(kSlot)}}};
    const wbem::Call call = wbem::readCall(client::messageOf({Operation::references, association}));
    wbem::Parameters parameters(call.element, call.nameSpace);
    EXPECT_EQ(parameters.requiredObjectName("ObjectName").first, association);
}

/** Keeps what it is asked for. */
class Keeper : public client::RequestMaker {
 public:
    std::vector<std::string> asked;
    Response answer;

 private:
    Response put(const Request& request) override {
        asked.push_back(client::described(request));
        return answer;
    }
};

TEST(RemoteRequest, OfOneInstanceAsksForItsClass) {
    Keeper manager;
    manager.getInstance(kSlot);
    EXPECT_THAT(manager.asked, testing::ElementsAre("EnumerateInstances of QELTA_SystemSlot in root/kavix"));
}

TEST(RemoteRequest, OfAClassAsAnInstanceIsNotMade) {
    Keeper manager;
    EXPECT_EQ(manager.references({"root/kavix", "QELTA_SystemSlot", {}}, {}).status, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_THAT(manager.asked, testing::IsEmpty());
    EXPECT_THAT(manager.takeRefusal(), testing::HasSubstr("a path without keys names no instance"));
}

TEST(RemoteRequest, TellsARefusalOnce) {
    Keeper manager;
    manager.answer.status = CMPI_RC_ERR_FAILED;
    manager.answer.message = "no library";
    manager.enumerateInstanceNames({"root/kavix", "QELTA_SystemSlot", {}});
    EXPECT_EQ(manager.takeRefusal(),
              "EnumerateInstanceNames of QELTA_SystemSlot in root/kavix: CMPI_RC_ERR_FAILED (1): no library");
    EXPECT_EQ(manager.takeRefusal(), "");
}

}  // namespace
