#include "cimhost/inventory.h"

#include <algorithm>
#include <utility>

#include "cimhost/overview.h"
#include "cimhost/properties.h"
#include "cimhost/slotcodes.h"

namespace cimhost {

namespace {

/** Asks one thing after the other and keeps the first error status. */
class Inquiry {
 public:
    Inquiry(const Ask& ask, Inventory& inventory) : ask_(ask), inventory_(inventory) {}

    /** What a class has of instances. `readsTable`: the provider reads the SMBIOS table for them. */
    Instances instancesOf(const std::string& className, bool readsTable) {
        const Question question = enumerateInstances(className);
        Answer answer = ask_(question);
        if (readsTable) ++inventory_.readings;
        if (answer.status != CMPI_RC_OK && inventory_.status == CMPI_RC_OK) {
            inventory_.status = answer.status;
            inventory_.subject = question.subject;
        }
        return std::get<Instances>(std::move(answer.objects));
    }

 private:
    const Ask& ask_;
    Inventory& inventory_;
};

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
template <class Belongs>
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
                 codeOf(instance, "CurrentUsage", slotUsageName),
                 codeOf(instance, "MaxDataWidth", slotWidthName),
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
    Inquiry inquiry(ask, inventory);
    const Instances boards = inquiry.instancesOf("QELTA_SystemBoard", false);
    inventory.host = boards.empty() ? kNothing : textOf(boards.front(), "SystemName");
    Instances functions = inquiry.instancesOf("QELTA_PCIDevice", true);
    const Instances bridges = inquiry.instancesOf("QELTA_PCIBridge", true);
    functions.insert(functions.end(), bridges.begin(), bridges.end());
    inventory.functionCount = functions.size();
    for (const broker::Instance& slot : inquiry.instancesOf("QELTA_SystemSlot", true))
        inventory.slots.push_back(slotOf(slot, functions));
    inventory.onBoard = chosen(functions, isOnBoard);
    inventory.elsewhere = chosen(functions, [&](const broker::Instance& function) {
        return !isOnBoard(function) && !isInAny(inventory.slots, function);
    });
    return inventory;
}

}  // namespace cimhost
