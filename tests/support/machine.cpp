// Machines, and the CIM objects that they are to be published as.
#include "tests/support/machine.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <ostream>

namespace cim {

void PrintTo(const ObjectPath& path, std::ostream* out) {
    *out << toString(path);
}

void PrintTo(const Instance& instance, std::ostream* out) {
    *out << toString(instance.path) << " {";
    for (const Property& property : instance.properties) {
        *out << ' ' << typeName(property.value.type) << ' ' << property.name << '=' << toString(property.value) << ';';
    }
    *out << " }";
}

void PrintTo(const Value& value, std::ostream* out) {
    *out << typeName(value.type) << ' ' << toString(value);
}

}  // namespace cim

namespace testsupport {

using broker::Instance;
using broker::ObjectPath;
using broker::Value;

namespace {

ObjectPath keyedPath(const std::string& className, const std::string& idKey, const std::string& id) {
    ObjectPath path = classPath(className);
    path.keys = {{"SystemCreationClassName", Value::string("QELTA_ASSETID")},
                 {"SystemName", Value::string(kMachineName)},
                 {"CreationClassName", Value::string(className)},
                 {idKey, Value::string(id)}};
    return path;
}

ObjectPath associationPath(const std::string& className, const ObjectPath& antecedent, const ObjectPath& dependent) {
    ObjectPath path = classPath(className);
    path.keys = {{"Antecedent", Value::reference(antecedent)}, {"Dependent", Value::reference(dependent)}};
    return path;
}

template <typename Associate>
Paths associations(const Paths& functions, Associate associate) {
    Paths paths;
    std::transform(functions.begin(), functions.end(), std::back_inserter(paths), associate);
    return paths;
}

template <typename List>
List inARow(const std::vector<List>& lists) {
    List all;
    for (const List& list : lists) all.insert(all.end(), list.begin(), list.end());
    return all;
}

}  // namespace

ObjectPath classPath(const std::string& className) {
    ObjectPath path;
    path.nameSpace = "root/kavix";
    path.className = className;
    return path;
}

ObjectPath functionPath(const std::string& className, unsigned bus, unsigned dev, unsigned func) {
    return keyedPath(className, "DeviceID", fmt::format("PCI Bus {}, device {}, function {}", bus, dev, func));
}

ObjectPath devicePath(unsigned bus, unsigned dev, unsigned func) {
    return functionPath("QELTA_PCIDevice", bus, dev, func);
}

ObjectPath bridgePath(unsigned bus, unsigned dev, unsigned func) {
    return functionPath("QELTA_PCIBridge", bus, dev, func);
}

ObjectPath slotPath(unsigned number) {
    return keyedPath("QELTA_SystemSlot", "Tag", fmt::format("System Slot {}", number));
}

ObjectPath boardPath() {
    return keyedPath("QELTA_SystemBoard", "DeviceID", "SystemBoard1");
}

ObjectPath inSlotPath(unsigned number, const ObjectPath& function) {
    return associationPath("QELTA_DeviceInSlot", slotPath(number), function);
}

ObjectPath onBoardPath(const ObjectPath& function) {
    return associationPath("QELTA_OnBoardDevice", boardPath(), function);
}

ObjectPath renamed(ObjectPath path, const std::string& className) {
    path.className = className;
    return path;
}

Instance instanceOf(const ObjectPath& path, const std::string& property, const Value& value) {
    Instance instance;
    instance.path = path;
    instance.properties = path.keys;
    instance.properties.push_back({property, value});
    return instance;
}

Instance slotInstance(unsigned number) {
    return instanceOf(slotPath(number), "Number", Value::uint(CMPI_uint16, number));
}

Paths delivered(const broker::Response& response) {
    return allPaths({pathsOf(response.instances), response.paths});
}

Paths pathsOf(const std::vector<Instance>& instances) {
    Paths paths;
    std::transform(instances.begin(), instances.end(), std::back_inserter(paths),
                   [](const Instance& instance) { return instance.path; });
    return paths;
}

Paths allPaths(const std::vector<Paths>& lists) {
    return inARow(lists);
}

Lines allLines(const std::vector<Lines>& lists) {
    return inARow(lists);
}

PciFunction deviceAt(unsigned bus, unsigned dev, unsigned func) {
    PciFunction function;
    function.bus = bus;
    function.dev = dev;
    function.func = func;
    function.classCode = 0x02;
    return function;
}

PciFunction bridgeAt(unsigned bus, unsigned dev, unsigned func) {
    PciFunction function = deviceAt(bus, dev, func);
    function.classCode = 0x06;
    return function;
}

Bytes slotTable(const std::vector<std::uint8_t>& numbers) {
    SmbiosBuilder table;
    for (const std::uint8_t number : numbers) {
        Slot slot;
        slot.id = number;
        slot.designation = fmt::format("PCI{}", number);
        table.addSlot(slot);
    }
    return table.bytes();
}

void buildRack(HostBuilder& host) {
    host.setHostName(kMachineName);
    host.setSmbiosTable(slotTable({5, 3, 9}));
    host.addFunction(bridgeAt(0, 0, 0));   // the host bridge: device number 0 is no slot
    host.addFunction(bridgeAt(0, 1, 0));   // below the highest slot number, but no slot carries it
    host.addFunction(bridgeAt(0, 31, 0));  // above the highest slot number
    host.addFunction(deviceAt(0, 31, 2));
    host.addFunction(deviceAt(3, 3, 0));
    host.addFunction(deviceAt(3, 3, 1));
    host.addFunction(bridgeAt(5, 5, 0));
    host.addFunction(deviceAt(5, 5, 1));
    host.addFunction(deviceAt(7, 0, 0));
}

namespace rack {

Paths devices() {
    return {devicePath(0, 31, 2), devicePath(3, 3, 0), devicePath(3, 3, 1), devicePath(5, 5, 1), devicePath(7, 0, 0)};
}

Paths bridges() {
    return {bridgePath(0, 0, 0), bridgePath(0, 1, 0), bridgePath(0, 31, 0), bridgePath(5, 5, 0)};
}

Paths slots() {
    return {slotPath(5), slotPath(3), slotPath(9)};
}

Paths functionsOnBoard() {
    return {devicePath(0, 31, 2), devicePath(7, 0, 0), bridgePath(0, 0, 0), bridgePath(0, 31, 0)};
}

Paths functionsInSlots() {
    return allPaths({functionsInSlot(5), functionsInSlot(3), functionsInSlot(9)});
}

Paths functionsInSlot(unsigned number) {
    switch (number) {
        case 3:
            return {devicePath(3, 3, 0), devicePath(3, 3, 1)};
        case 5:
            return {devicePath(5, 5, 1), bridgePath(5, 5, 0)};
        default:
            return {};
    }
}

Paths associationsOfBoard() {
    return associations(functionsOnBoard(), onBoardPath);
}

Paths associationsOfSlots() {
    return allPaths({associationsOfSlot(5), associationsOfSlot(3), associationsOfSlot(9)});
}

Paths associationsOfSlot(unsigned number) {
    return associations(functionsInSlot(number),
                        [&](const ObjectPath& function) { return inSlotPath(number, function); });
}

}  // namespace rack

}  // namespace testsupport
