#include "cimhost/inventory.h"

#include <algorithm>
#include <utility>

#include "broker/matching.h"
#include "cimhost/overview.h"
#include "cimhost/properties.h"
#include "cimhost/slotcodes.h"

namespace cimhost {

namespace {

/** Asks one thing after the other and keeps the first error status. */
class Inquiry {
 public:
    Inquiry(const Ask& ask, Inventory& inventory) : ask_(ask), inventory_(inventory) {}

    Instances instancesOf(const std::string& className) { return objects<Instances>(enumerateInstances(className)); }
    Names namesOf(const std::string& className) { return objects<Names>(enumerateNames(className)); }

 private:
    template <class Objects>
    Objects objects(const Question& question) {
        Answer answer = ask_(question);
        if (answer.status != CMPI_RC_OK && inventory_.status == CMPI_RC_OK) {
            inventory_.status = answer.status;
            inventory_.subject = question.subject;
        }
        return std::get<Objects>(std::move(answer.objects));
    }

    const Ask& ask_;
    Inventory& inventory_;
};

/** What an association's path refers to in one of its roles; null when it does not. */
const broker::ObjectPath* endOf(const broker::ObjectPath& association, const std::string& role) {
    const broker::Value* value = association.key(role);
    return value && !value->null ? broker::referenceOf(*value) : nullptr;
}

Function functionOf(const broker::Instance& instance) {
    return {shortLocation(textOf(instance, "DeviceID")),
            instance.path.className,
            hexPairOf(instance, "VendorID", "PciDeviceID", 4),
            hexPairOf(instance, "ClassCode", "Subclass", 2),
            textOf(instance, "Description"),
            instance.path};
}

Functions functionsOf(Instances instances, const Instances& more) {
    instances.insert(instances.end(), more.begin(), more.end());
    Functions functions(instances.size());
    std::transform(instances.begin(), instances.end(), functions.begin(), functionOf);
    return functions;
}

bool isAmong(const Functions& functions, const broker::ObjectPath& path) {
    return std::any_of(functions.begin(), functions.end(),
                       [&](const Function& function) { return broker::sameObject(function.path, path); });
}

/** A function that is associated but was not enumerated is known by its path alone. */
Function functionAt(const Functions& known, const broker::ObjectPath& path) {
    const auto found = std::find_if(known.begin(), known.end(),
                                    [&](const Function& function) { return broker::sameObject(function.path, path); });
    return found != known.end() ? *found : functionOf({path, path.keys});
}

void sortByLocation(Functions& functions) {
    std::stable_sort(functions.begin(), functions.end(),
                     [](const Function& a, const Function& b) { return a.location < b.location; });
}

/** The functions at the other end of those associations that `counts` picks out, each once. */
template <class Counts>
Functions dependents(const Names& associations, const Functions& known, Counts counts) {
    Functions functions;
    for (const broker::ObjectPath& association : associations) {
        const broker::ObjectPath* dependent = endOf(association, "Dependent");
        if (dependent && counts(association) && !isAmong(functions, *dependent))
            functions.push_back(functionAt(known, *dependent));
    }
    sortByLocation(functions);
    return functions;
}

Slot slotOf(const broker::Instance& instance, const Names& associations, const Functions& known) {
    const auto isOfSlot = [&](const broker::ObjectPath& association) {
        const broker::ObjectPath* antecedent = endOf(association, "Antecedent");
        return antecedent && broker::sameObject(*antecedent, instance.path);
    };
    return {numberOf(instance, "Number"), textOf(instance, "SlotDesignation"),
            codeOf(instance, "CurrentUsage", slotUsageName), codeOf(instance, "MaxDataWidth", slotWidthName),
            dependents(associations, known, isOfSlot)};
}

bool hasPlace(const Inventory& inventory, const Function& function) {
    const auto isInIt = [&](const Slot& slot) { return isAmong(slot.functions, function.path); };
    return isAmong(inventory.onBoard, function.path) ||
           std::any_of(inventory.slots.begin(), inventory.slots.end(), isInIt);
}

Functions withoutPlace(const Inventory& inventory, Functions functions) {
    const auto isPlaced = [&](const Function& function) { return hasPlace(inventory, function); };
    functions.erase(std::remove_if(functions.begin(), functions.end(), isPlaced), functions.end());
    sortByLocation(functions);
    return functions;
}

}  // namespace

Inventory takeInventory(const Ask& ask) {
    Inventory inventory;
    Inquiry inquiry(ask, inventory);
    const Instances boards = inquiry.instancesOf("QELTA_SystemBoard");
    inventory.host = boards.empty() ? kNothing : textOf(boards.front(), "SystemName");
    const Functions known = functionsOf(inquiry.instancesOf("QELTA_PCIDevice"), inquiry.instancesOf("QELTA_PCIBridge"));
    inventory.onBoard = dependents(inquiry.namesOf("QELTA_OnBoardDevice"), known, [](const auto&) { return true; });
    const Names inSlots = inquiry.namesOf("QELTA_DeviceInSlot");
    for (const broker::Instance& slot : inquiry.instancesOf("QELTA_SystemSlot"))
        inventory.slots.push_back(slotOf(slot, inSlots, known));
    inventory.elsewhere = withoutPlace(inventory, known);
    return inventory;
}

}  // namespace cimhost
