// The texts of pictures. Tests: tests/cimhost/picture_test.cpp.

#include <fmt/format.h>

#include <algorithm>

#include "cimhost/picture.h"
#include "cimhost/printable.h"
#include "cimhost/properties.h"

namespace cimhost {

namespace {

bool isInUse(const Slot& slot) {
    return slot.usage == "in use";
}

}  // namespace

std::string nameOf(const Slot& slot) {
    if (slot.designation != kNothing && !slot.designation.empty()) return printable(slot.designation);
    return slot.number ? fmt::format("Slot {}", *slot.number) : "Slot";
}

std::string tooltipOf(const std::string& first, const PropertyTexts& properties) {
    std::string text = printable(first);
    for (const auto& [name, value] : properties) text += fmt::format("\n{}: {}", printable(name), printable(value));
    return text;
}

std::string tooltipOf(const Function& function) {
    return tooltipOf(fmt::format("{}  [{}] class {}", function.location, function.vendorDevice, function.classCode),
                     function.properties);
}

std::string tooltipOf(const Slot& slot) {
    return tooltipOf(fmt::format("{}, {}, {}, {}", nameOf(slot), slot.type, slot.width, slot.usage), slot.properties);
}

std::vector<Bus> busesOf(const Functions& functions) {
    std::vector<Bus> buses;
    for (const Function& function : functions) {
        const std::size_t colon = function.location.find(':');
        const std::string number = colon == std::string::npos ? "" : function.location.substr(0, colon);
        if (buses.empty() || buses.back().number != number) buses.push_back({number, {}});
        buses.back().functions.push_back(function);
    }
    return buses;
}

std::string nameOf(const Bus& bus) {
    return bus.number.empty() ? "No bus" : "Bus " + printable(bus.number);
}

std::string pictureSummary(const Inventory& inventory) {
    const auto inUse = std::count_if(inventory.slots.begin(), inventory.slots.end(), isInUse);
    std::string text = inventory.slots.empty()
                           ? reasonForNoSlots(inventory.status)
                           : fmt::format("{}, {} in use", counted(inventory.slots.size(), "slot"), inUse);
    text += "; " + counted(inventory.functionCount, "function");
    if (inventory.status == CMPI_RC_OK) return text;
    return fmt::format("{}; {} for {}", text, broker::statusName(inventory.status), inventory.subject);
}

}  // namespace cimhost
