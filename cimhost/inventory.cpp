// What sits where, from a provider's answers. Tests: tests/cimhost/tree_test.cpp, treecommand_test.cpp.

#include <algorithm>
#include <utility>

#include "cimhost/properties.h"
#include "cimhost/selection.h"
#include "cimhost/tree.h"

namespace cimhost {

namespace {

Function functionOf(const broker::Instance& instance) {
    return {shortLocation(textOf(instance, "DeviceID")),
            instance.path.className,
            hexPairOf(instance, "VendorID", "PciDeviceID", 4),
            hexPairOf(instance, "ClassCode", "Subclass", 2),
            textOf(instance, "Description"),
            instance.path};
}

/** A device number; 0 where there is none, as the provider leaves that out. */
std::uint64_t deviceNumber(const broker::Instance& instance, const std::string& property) {
    return numberOf(instance, property).value_or(0);
}

bool isOnBoard(const broker::Instance& instance) {
    return deviceNumber(instance, "UINumber") == 0;
}

/** Device number 0 is in no slot, whatever the slots' numbers. */
bool isInSlot(const broker::Instance& instance, const Slot& slot) {
    const std::uint64_t number = deviceNumber(instance, "Number");
    return number != 0 && slot.number == number;
}

/** The functions that `belongs` picks out. */
template <typename Belongs>
Functions chosen(const Instances& instances, Belongs belongs) {
    Functions functions;
    for (const broker::Instance& instance : instances)
        if (belongs(instance)) functions.push_back(functionOf(instance));
    std::stable_sort(functions.begin(), functions.end(),
                     [](const Function& a, const Function& b) { return a.location < b.location; });
    return functions;
}

Slot slotOf(const broker::Instance& instance, const Instances& functions) {
    Slot slot = {numberOf(instance, "Number"),
                 textOf(instance, "SlotDesignation"),
                 slotWordOf(instance, "CurrentUsage"),
                 slotWordOf(instance, "MaxDataWidth"),
                 {}};
    slot.functions = chosen(functions, [&](const broker::Instance& function) { return isInSlot(function, slot); });
    return slot;
}

bool isInAny(const std::vector<Slot>& slots, const broker::Instance& function) {
    return std::any_of(slots.begin(), slots.end(), [&](const Slot& slot) { return isInSlot(function, slot); });
}

}  // namespace

Inventory takeInventory(const Ask& ask) {
    Inventory inventory;
    // What a class has of instances; the first error status is kept.
    const auto instancesOf = [&](const char* className) {
        Answer answer = ask(enumerateInstances(className));
        if (answer.status != CMPI_RC_OK && inventory.status == CMPI_RC_OK) {
            inventory.status = answer.status;
            inventory.subject = className;
        }
        return std::get<Instances>(std::move(answer.objects));
    };
    const Instances boards = instancesOf("QELTA_SystemBoard");
    inventory.host = boards.empty() ? kNothing : textOf(boards.front(), "SystemName");
    Instances functions = instancesOf("QELTA_PCIDevice");
    const Instances bridges = instancesOf("QELTA_PCIBridge");
    functions.insert(functions.end(), bridges.begin(), bridges.end());
    inventory.functionCount = functions.size();
    for (const broker::Instance& slot : instancesOf("QELTA_SystemSlot"))
        inventory.slots.push_back(slotOf(slot, functions));
    inventory.readings = kReadingsOfInventory;
    inventory.onBoard = chosen(functions, isOnBoard);
    inventory.elsewhere = chosen(functions, [&](const broker::Instance& function) {
        return !isOnBoard(function) && !isInAny(inventory.slots, function);
    });
    return inventory;
}

}  // namespace cimhost
