#ifndef PCIINFO_TESTS_WBEM_SERVER_H
#define PCIINFO_TESTS_WBEM_SERVER_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "client.h"
#include "emulator/emulatedhost.h"
#include "mof/embedded.h"
#include "tests/broker/tinyprovider.h"
#include "tests/support/machine.h"
#include "wbem/objects.h"
#include "wbem/operations.h"
#include "wbem/responder.h"

/** A server without HTTP, text in and text out, and what its answers hold. */
namespace client {

using broker::Instance;
using broker::ObjectPath;
using testsupport::Paths;

/** A server in front of a broker that has no provider yet. */
class Server : public testing::Test {
 protected:
    wbem::HttpResponse post(const std::string& operation, const std::string& parameters,
                            const std::string& nameSpace = "root/kavix") const {
        wbem::HttpRequest request = client::post(client::message(operation, parameters, nameSpace), operation);
        request.headers[3].second = nameSpace;
        return responder.answer(request);
    }

    Answer ask(const std::string& operation, const std::string& parameters,
               const std::string& nameSpace = "root/kavix") const {
        const wbem::HttpResponse response = post(operation, parameters, nameSpace);
        EXPECT_EQ(response.status, 200U) << response.body;
        Answer answer = client::read(response.body);
        EXPECT_EQ(answer.messageId, "id \"1\"\n");
        EXPECT_EQ(answer.operation, operation);
        return answer;
    }

    broker::Broker manager;
    wbem::Operations operations{manager, schema::declared(), "root/kavix"};
    wbem::Responder responder{operations, "127.0.0.1:5988"};
};

/** With the provider, on the rack. */
class Rack : public Server {
 protected:
    Rack() {
        testsupport::buildRack(files);
        host.emplace(files.directory());
        manager.load(PROVIDER_LIBRARY);
    }

    testsupport::HostBuilder files;
    std::optional<emulator::EmulatedHost> host;
};

/** With a provider that does as a test tells it. */
class AnyProvider : public Server {
 protected:
    AnyProvider() { manager.attach(tiny::createInstanceMI, tiny::createAssociationMI); }
    ~AnyProvider() override { tiny::behave({}); }

    /** Every request delivers that instance. */
    static void deliver(const std::function<void(const tiny::Asked&, CMPIInstance*)>& fill) {
        tiny::behave([fill](const tiny::Asked& asked) {
            CMPIInstance* instance = tiny::makeNumbered(asked.broker, "QELTA_SystemSlot", 3);
            fill(asked, instance);
            asked.result->ft->returnInstance(asked.result, instance);
            return tiny::ok;
        });
    }
};

// --- reading answers ---

inline Instance instanceOf(const ObjectPath& path, pugi::xml_node element) {
    Instance instance = wbem::readInstance(element, "root/kavix");
    EXPECT_EQ(instance.path.className, path.className);
    instance.path = path;
    return instance;
}

/** An attribute TYPE came into being after the version of the DTD that answers announce. */
inline ObjectPath nameOf(pugi::xml_node element) {
    for (const pugi::xml_node binding : element.children("KEYBINDING"))
        EXPECT_FALSE(binding.child("KEYVALUE").attribute("TYPE"));
    return wbem::readInstanceName(element, "root/kavix");
}

/** Of an INSTANCEPATH, which has to lie in our namespace at the host that the request named. */
inline ObjectPath wholeName(pugi::xml_node element) {
    const pugi::xml_node place = element.child("NAMESPACEPATH");
    EXPECT_STREQ(place.child_value("HOST"), "localhost:1");
    EXPECT_EQ(wbem::readNamespace(place.child("LOCALNAMESPACEPATH")), "root/kavix");
    return nameOf(element.child("INSTANCENAME"));
}

/** The objects of a result; every kind of element that operations answer with. */
inline std::vector<Instance> instancesIn(const Answer& answer) {
    std::vector<Instance> instances;
    for (const pugi::xml_node element : client::children(answer.result)) {
        const std::string kind = element.name();
        EXPECT_THAT(kind, testing::AnyOf("VALUE.NAMEDINSTANCE", "VALUE.OBJECTWITHPATH"));
        const ObjectPath path = kind == "VALUE.NAMEDINSTANCE" ? nameOf(element.child("INSTANCENAME"))
                                                              : wholeName(element.child("INSTANCEPATH"));
        instances.push_back(instanceOf(path, element.child("INSTANCE")));
    }
    return instances;
}

inline Paths namesIn(const Answer& answer) {
    Paths names;
    for (const pugi::xml_node element : client::children(answer.result))
        names.push_back(std::string(element.name()) == "OBJECTPATH" ? wholeName(element.child("INSTANCEPATH"))
                                                                    : nameOf(element));
    return names;
}

inline std::vector<pugi::xml_node> propertiesIn(pugi::xml_node element) {
    std::vector<pugi::xml_node> properties;
    for (const pugi::xml_node child : client::children(element))
        if (std::string(child.name()).rfind("PROPERTY", 0) == 0) properties.push_back(child);
    return properties;
}

inline std::vector<std::string> propertyNames(pugi::xml_node element) {
    std::vector<std::string> names;
    for (const pugi::xml_node property : propertiesIn(element)) names.emplace_back(property.attribute("NAME").value());
    return names;
}

inline std::string ofClass(const std::string& name) {
    return client::className("ClassName", name);
}

inline std::string named(const ObjectPath& path) {
    return client::instanceName("InstanceName", path);
}

inline std::string from(const ObjectPath& path) {
    return client::instanceName("ObjectName", path);
}

}  // namespace client

#endif
