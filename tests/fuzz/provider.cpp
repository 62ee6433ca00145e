// The provider under the in-process object manager, and the machine that most targets ask it about.
#include "provider.h"

#include <algorithm>
#include <map>
#include <memory>

#include "tests/support/machine.h"

extern "C" {
CMPIInstanceMI* PCIInfoProvider_Create_InstanceMI(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
CMPIAssociationMI* PCIInfoProvider_Create_AssociationMI(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
}

namespace fuzz {

using broker::Broker;
using broker::ObjectPath;
using broker::Response;

namespace {

std::unique_ptr<Broker> current;

std::string textOf(const testsupport::Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

std::map<std::string, std::string> makeRack() {
    using testsupport::bridgeAt;
    using testsupport::deviceAt;
    std::map<std::string, std::string> files;
    for (testsupport::PciFunction function :
         {bridgeAt(0, 0, 0), bridgeAt(0, 1, 0), bridgeAt(0, 31, 0), deviceAt(0, 31, 2), deviceAt(3, 3, 0),
          deviceAt(3, 3, 1), bridgeAt(5, 5, 0), deviceAt(5, 5, 1), deviceAt(7, 0, 0)}) {
        function.bars = {0xE001, 0xFEC00004, 0};
        char path[64];
        std::snprintf(path, sizeof(path), "/proc/bus/pci/%02x/%02x.%x", function.bus, function.dev, function.func);
        files["/proc/bus/pci/devices"] += testsupport::devicesLine(function);
        files[path] = textOf(testsupport::configSpace(function));
    }
    return files;
}

void expectKey(const ObjectPath& path, const char* name) {
    const broker::Value* key = path.key(name);
    require(key != nullptr && !key->null, "each path has its keys");
}

void expectKeys(const ObjectPath& path) {
    require(path.nameSpace == "root/kavix", "each path is in the provider's namespace");
    const bool associates = path.className == "QELTA_DeviceInSlot" || path.className == "QELTA_OnBoardDevice";
    if (associates) {
        for (const char* name : {"Antecedent", "Dependent"}) {
            expectKey(path, name);
            const auto* reference = std::get_if<std::shared_ptr<ObjectPath>>(&path.key(name)->data);
            require(reference != nullptr, "the keys of an association are references");
            expectKeys(**reference);
        }
        return;
    }
    for (const char* name : {"SystemCreationClassName", "SystemName", "CreationClassName"}) expectKey(path, name);
    expectKey(path, path.className == "QELTA_SystemSlot" ? "Tag" : "DeviceID");
}

}  // namespace

Broker& manager() {
    if (!current) renewManager();
    return *current;
}

void renewManager() {
    current = std::make_unique<Broker>();
    current->attach(PCIInfoProvider_Create_InstanceMI, PCIInfoProvider_Create_AssociationMI);
    current->recordCalls(false);
}

Response ask(std::size_t operation, const ObjectPath& path, const broker::Filters& filters) {
    Broker& asked = manager();
    switch (operation) {
        case 0:
            return asked.enumerateInstanceNames(path);
        case 1:
            return asked.enumerateInstances(path);
        case 2:
            return asked.getInstance(path);
        case 3:
            return asked.associatorNames(path, filters);
        case 4:
            return asked.associators(path, filters);
        case 5:
            return asked.referenceNames(path, filters);
        case 6:
            return asked.references(path, filters);
        case 7:
            return asked.createInstance(path, {path, path.keys});
        case 8:
            return asked.modifyInstance(path, {path, path.keys});
        case 9:
            return asked.deleteInstance(path);
        default:
            return asked.execQuery(path, "select * from QELTA_SystemSlot", "WQL");
    }
}

Response ask(std::size_t operation, const std::string& className) {
    return ask(operation, testsupport::classPath(className));
}

std::vector<ObjectPath> pathsOf(const Response& response) {
    return testsupport::delivered(response);
}

void expectKeys(const Response& response) {
    for (const ObjectPath& path : response.paths) expectKeys(path);
    for (const broker::Instance& instance : response.instances) expectKeys(instance.path);
}

void addTo(Digest& digest, const Response& response) {
    digest.add(static_cast<std::uint64_t>(response.status));
    digest.add(response.doneCalls);
    for (const ObjectPath& path : response.paths) digest.add(broker::toString(path));
    for (const broker::Instance& instance : response.instances) {
        digest.add(broker::toString(instance.path));
        for (const broker::Property& property : instance.properties) {
            digest.add(property.name);
            digest.add(property.value.type);
            digest.add(broker::toString(property.value));
        }
    }
}

void buildRack(Host& host) {
    static const std::map<std::string, std::string>& files = *new std::map<std::string, std::string>(makeRack());
    static const std::string& table = *new std::string(textOf(testsupport::slotTable({5, 3, 9})));
    host.smbiosTable = table;
    host.openFile = [](const std::string& path) -> std::optional<File> {
        const auto found = files.find(path);
        return found == files.end() ? std::nullopt : std::optional<File>(File{found->second, {}, true});
    };
}

}  // namespace fuzz
