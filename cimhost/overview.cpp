#include "cimhost/overview.h"

#include <fmt/format.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <system_error>

#include "cimhost/properties.h"
#include "cimhost/slotcodes.h"

namespace cimhost {

namespace {

OverviewColumn plain(const std::string& property, Align align = Align::left, unsigned dispensable = 0) {
    return {{property, align, false, dispensable},
            [property](const broker::Instance& instance) { return textOf(instance, property); }};
}

/** Two numbers of the same width in hexadecimal. */
OverviewColumn hexPair(const std::string& heading, const std::string& first, const std::string& second, int digits,
                       unsigned dispensable) {
    return {{heading, Align::left, false, dispensable},
            [=](const broker::Instance& instance) { return hexPairOf(instance, first, second, digits); }};
}

OverviewColumn coded(const std::string& heading, const std::string& property, std::string (*nameOf)(std::uint64_t),
                     unsigned dispensable = 0) {
    return {{heading, Align::left, false, dispensable},
            [=](const broker::Instance& instance) { return codeOf(instance, property, nameOf); }};
}

std::vector<OverviewColumn> pciFunctionColumns() {
    return {
        {{"Location"}, [](const broker::Instance& instance) { return shortLocation(textOf(instance, "DeviceID")); }},
        hexPair("Ven:Dev", "VendorID", "PciDeviceID", 4, 1),
        hexPair("Class", "ClassCode", "Subclass", 2, 2),
        {{"Rev", Align::left, false, 4},
         [](const broker::Instance& instance) { return hexOf(instance, "Revision", 2); }},
        plain("Number", Align::right, 5),
        plain("UINumber", Align::right, 3),
        {{"Description", Align::left, true},
         [](const broker::Instance& instance) { return textOf(instance, "Description"); }}};
}

std::vector<OverviewColumn> systemSlotColumns() {
    return {plain("Tag"),
            {{"Designation"}, [](const broker::Instance& instance) { return textOf(instance, "SlotDesignation"); }},
            coded("Usage", "CurrentUsage", slotUsageName),
            coded("Width", "MaxDataWidth", slotWidthName, 1),
            coded("Type", "ConnectorType", slotTypeName, 2),
            coded("Length", "SlotLength", slotLengthName, 3),
            {{"HotPlug", Align::left, false, 4},
             [](const broker::Instance& instance) { return textOf(instance, "SupportsHotPlug"); }}};
}

std::vector<OverviewColumn> associationColumns() {
    return {plain("Antecedent"), plain("Dependent")};
}

/** Takes `words` and the decimal number that follows them off the front of `text`. */
std::optional<unsigned> numberBehind(std::string_view& text, std::string_view words) {
    if (text.substr(0, words.size()) != words) return std::nullopt;
    text.remove_prefix(words.size());
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

}  // namespace

std::vector<OverviewColumn> overviewColumns(const std::string& className) {
    static const std::map<std::string, std::vector<OverviewColumn> (*)()> classes = {
        {"QELTA_PCIDevice", pciFunctionColumns},
        {"QELTA_PCIBridge", pciFunctionColumns},
        {"QELTA_SystemSlot", systemSlotColumns},
        {"QELTA_DeviceInSlot", associationColumns},
        {"QELTA_OnBoardDevice", associationColumns}};
    const auto found = classes.find(className);
    return found == classes.end() ? std::vector<OverviewColumn>() : found->second();
}

std::string shortLocation(const std::string& deviceId) {
    std::string_view rest = deviceId;
    const auto bus = numberBehind(rest, "PCI Bus ");
    const auto device = numberBehind(rest, ", device ");
    const auto function = numberBehind(rest, ", function ");
    if (!bus || !device || !function || !rest.empty()) return deviceId;
    return fmt::format("{:02x}:{:02x}.{:x}", *bus, *device, *function);
}

}  // namespace cimhost
