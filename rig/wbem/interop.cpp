// The Interop namespaces: their classes and instances.
// Tests: tests/wbem/manager_test.cpp (Interop).
#include <unistd.h>

#include <array>
#include <utility>

#include "mof/embedded.h"
#include "wbem/namespace.h"

namespace wbem {

namespace {

using broker::Instance;
using broker::ObjectPath;
using broker::Property;
using broker::Value;

/** As much of the standard classes as clients need to find a namespace. */
constexpr char kClasses[] = R"mof(
[Version ("1.0.0"), Description ("The server itself.")]
class CIM_ObjectManager {
    [Key, Read, Description ("Class of the host.")] string SystemCreationClassName;
    [Key, Read, Description ("Name of the host.")] string SystemName;
    [Key, Read, Description ("Name of this class.")] string CreationClassName;
    [Key, Read, Description ("Name of the server, the same each time that it runs.")] string Name;
    [Read, Description ("Name to show.")] string ElementName;
    [Read, Description ("What the server is.")] string Description;
};

[Version ("1.0.0"), Description ("A namespace of the server.")]
class CIM_Namespace {
    [Key, Read, Description ("Class of the host.")] string SystemCreationClassName;
    [Key, Read, Description ("Name of the host.")] string SystemName;
    [Key, Read, Description ("Class of the server.")] string ObjectManagerCreationClassName;
    [Key, Read, Description ("Name of the server.")] string ObjectManagerName;
    [Key, Read, Description ("Name of this class.")] string CreationClassName;
    [Key, Read, Description ("The namespace, for example \"root/interop\".")] string Name;
};
)mof";

const mof::Schema& interopSchema() {
    static const mof::Schema schema = mof::Schema::read({schema::qualifiers(), {"interop.mof", kClasses}});
    return schema;
}

std::string hostName() {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

Property text(const char* name, const std::string& value) {
    return {name, Value::string(value)};
}

/** An instance whose first properties are the keys of its path. */
Instance instanceWith(const std::string& nameSpace, const std::string& className, std::vector<Property> keys,
                      const std::vector<Property>& others) {
    Instance instance{{nameSpace, className, keys}, std::move(keys)};
    instance.properties.insert(instance.properties.end(), others.begin(), others.end());
    return instance;
}

const char* const kServer = "cimhost";

Instance objectManager(const std::string& nameSpace, const std::string& host) {
    return instanceWith(nameSpace, "CIM_ObjectManager",
                        {text("SystemCreationClassName", "CIM_ComputerSystem"), text("SystemName", host),
                         text("CreationClassName", "CIM_ObjectManager"), text("Name", kServer)},
                        {text("ElementName", kServer), text("Description", "cimhost serve")});
}

Instance namespaceNamed(const std::string& name, const std::string& nameSpace, const std::string& host) {
    return instanceWith(
        nameSpace, "CIM_Namespace",
        {text("SystemCreationClassName", "CIM_ComputerSystem"), text("SystemName", host),
         text("ObjectManagerCreationClassName", "CIM_ObjectManager"), text("ObjectManagerName", kServer),
         text("CreationClassName", "CIM_Namespace"), text("Name", name)},
        {});
}

}  // namespace

std::vector<Namespace> interopNamespaces(const std::string& servedNamespace) {
    constexpr std::array<const char*, 2> kNames = {"interop", "root/interop"};
    const std::string host = hostName();
    std::vector<Namespace> spaces;
    for (const std::string name : kNames) {
        std::vector<Instance> instances = {objectManager(name, host)};
        for (const char* each : kNames) instances.push_back(namespaceNamed(each, name, host));
        instances.push_back(namespaceNamed(servedNamespace, name, host));
        spaces.push_back({name, interopSchema(), nullptr, std::move(instances)});
    }
    return spaces;
}

}  // namespace wbem
