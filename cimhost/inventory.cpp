// What sits where, from a provider's answers. Tests: tests/cimhost/tree_test.cpp, treecommand_test.cpp.

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "cimhost/properties.h"
#include "cimhost/selection.h"
#include "cimhost/tree.h"

namespace cimhost {

namespace {

constexpr const char* kDevices = "QELTA_PCIDevice";
constexpr const char* kBridges = "QELTA_PCIBridge";
constexpr const char* kSlots = "QELTA_SystemSlot";

/** Whether it says nothing of the object: every object of the host has that key. */
bool saysNothing(const std::string& property) {
    return property == "SystemCreationClassName" || property == "SystemName" || property == "CreationClassName";
}

PropertyTexts propertiesOf(const broker::Instance& instance) {
    PropertyTexts texts;
    for (const broker::Property& property : instance.properties)
        if (!property.value.null && !saysNothing(property.name))
            texts.emplace_back(property.name, explainedText(instance, property));
    return texts;
}

Function functionOf(const broker::Instance& instance) {
    return {shortLocation(textOf(instance, "DeviceID")),
            instance.path.className,
            hexPairOf(instance, "VendorID", "PciDeviceID", 4),
            hexPairOf(instance, "ClassCode", "Subclass", 2),
            textOf(instance, "Description"),
            instance.path,
            propertiesOf(instance)};
}

/** A device number; 0 where there is none, as the provider leaves that out. */
std::uint64_t deviceNumber(const broker::Instance& instance, const std::string& property) {
    return numberOf(instance, property).value_or(0);
}

/** A function with what tells its place. */
struct Placed {
    Function function;
    bool onBoard;              // unless there is a slot of its number
    std::uint64_t slotNumber;  // 0 is in no slot, whatever the slots' numbers
};

/** In the order of their locations. */
std::vector<Placed> placed(const Instances& instances) {
    std::vector<Placed> functions;
    for (const broker::Instance& instance : instances)
        functions.push_back(
            {functionOf(instance), deviceNumber(instance, "UINumber") == 0, deviceNumber(instance, "Number")});
    std::stable_sort(functions.begin(), functions.end(),
                     [](const Placed& a, const Placed& b) { return a.function.location < b.function.location; });
    return functions;
}

/** A slot without its functions. */
Slot slotOf(const broker::Instance& instance) {
    return {numberOf(instance, "Number"),
            textOf(instance, "SlotDesignation"),
            slotWordOf(instance, "CurrentUsage"),
            slotWordOf(instance, "MaxDataWidth"),
            {},
            slotWordOf(instance, "ConnectorType"),
            propertiesOf(instance)};
}

// Each class's answer comes from a reading of the SMBIOS table of its own. A function's UINumber is 0 where its device
// number is above the highest slot number, and so is that of every function where the BMC gave no table.

bool hasTable(const Instances& functions) {
    return std::any_of(functions.begin(), functions.end(),
                       [](const broker::Instance& each) { return deviceNumber(each, "UINumber") != 0; });
}

/** Whether functions were told without the table that the slots come from. */
bool lacksTable(const Instances& functions, const Instances& slots) {
    std::uint64_t highest = 0;
    for (const broker::Instance& slot : slots) highest = std::max(highest, deviceNumber(slot, "Number"));
    const auto isBelow = [highest](const broker::Instance& each) {
        const std::uint64_t number = deviceNumber(each, "Number");
        return number != 0 && number <= highest;
    };
    return !hasTable(functions) && std::any_of(functions.begin(), functions.end(), isBelow);
}

/** What tells of the slots and of the functions in them. */
struct Told {
    Instances devices;
    Instances bridges;
    Instances slots;

    bool slotsLackTable() const { return slots.empty() && (hasTable(devices) || hasTable(bridges)); }
    bool isConsistent() const {
        return !slotsLackTable() && !lacksTable(devices, slots) && !lacksTable(bridges, slots);
    }
};

}  // namespace

Inventory takeInventory(const Ask& ask) {
    Inventory inventory;
    // What a class has of instances; the first error status is kept.
    const auto instancesOf = [&](const char* className) {
        Answer answer = ask(enumerateInstances(className));
        if (answer.status != CMPI_RC_OK && inventory.status == CMPI_RC_OK) {
            inventory.status = answer.status;
            inventory.subject = className;
            inventory.refusal = answer.refusal;
        }
        return std::get<Instances>(std::move(answer.objects));
    };
    const Instances boards = instancesOf("QELTA_SystemBoard");
    inventory.host = boards.empty() ? kNothing : textOf(boards.front(), "SystemName");
    if (!boards.empty()) inventory.board = propertiesOf(boards.front());
    Told told{instancesOf(kDevices), instancesOf(kBridges), instancesOf(kSlots)};
    inventory.readings = kReadingsOfInventory;
    const auto again = [&](Instances& instances, const char* className) {
        ++inventory.readings;
        instances = instancesOf(className);
    };
    if (inventory.status == CMPI_RC_OK) {
        if (told.slotsLackTable()) again(told.slots, kSlots);
        if (lacksTable(told.devices, told.slots)) again(told.devices, kDevices);
        if (lacksTable(told.bridges, told.slots)) again(told.bridges, kBridges);
    }
    if (inventory.status == CMPI_RC_OK && !told.isConsistent()) {
        inventory.consistent = false;
        inventory.refusal =
            "what sits where is in doubt: the BMC gave the SMBIOS table for some of the requests, and not for others.";
    }
    Instances functions = std::move(told.devices);
    functions.insert(functions.end(), told.bridges.begin(), told.bridges.end());
    inventory.functionCount = functions.size();
    std::map<std::uint64_t, Functions> inSlots;  // by the slots' numbers
    for (const broker::Instance& slot : told.slots) {
        inventory.slots.push_back(slotOf(slot));
        if (const auto number = inventory.slots.back().number.value_or(0); number != 0) inSlots[number];
    }
    for (const Placed& each : placed(functions)) {
        const auto found = inSlots.find(each.slotNumber);
        Functions& place = found != inSlots.end() ? found->second
                           : each.onBoard         ? inventory.onBoard
                                                  : inventory.elsewhere;
        place.push_back(each.function);
    }
    for (Slot& slot : inventory.slots)
        if (const auto found = inSlots.find(slot.number.value_or(0)); found != inSlots.end())
            slot.functions = found->second;
    return inventory;
}

}  // namespace cimhost
