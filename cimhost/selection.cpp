#include "cimhost/selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "cimhost/overview.h"
#include "cimhost/properties.h"

namespace cimhost {

namespace {

constexpr unsigned kLast16 = 0xffff;
constexpr unsigned kLast8 = 0xff;

bool fits(const std::optional<unsigned>& wanted, std::optional<std::uint64_t> number) {
    return !wanted || (number && *number == *wanted);
}

/** The location of the function that has this DeviceID; nothing set where the text has another form. */
Location locationOf(const std::string& deviceId) {
    const std::string text = shortLocation(deviceId);
    return looksLikeFunction(text) ? parseLocation(text) : Location();
}

bool fits(const Location& wanted, const std::string& deviceId) {
    const Location found = locationOf(deviceId);
    return found.bus && fits(wanted.bus, found.bus) && fits(wanted.device, found.device) &&
           fits(wanted.function, found.function);
}

}  // namespace

void Selection::byLocation(const std::string& text) {
    location_ = parseLocation(text);
    byLocation_ = true;
}

void Selection::byId(const std::string& text) {
    const std::size_t first = text.find(':');
    if (first == std::string::npos)
        throw std::invalid_argument(
            fmt::format("'{}' is not [VENDOR]:[DEVICE][:CLASS], e.g. 8086: or 8086:a1c1", text));
    const std::size_t second = std::min(text.find(':', first + 1), text.size());
    vendor_ = hexNumber(text.substr(0, first), kLast16, "vendor");
    device_ = hexNumber(text.substr(first + 1, second - first - 1), kLast16, "device");
    byNumbers_ = true;
    if (second < text.size()) byClass(text.substr(second + 1));
}

void Selection::byClass(const std::string& text) {
    constexpr std::size_t kBaseDigits = 2;
    baseClass_ = hexNumber(text.substr(0, kBaseDigits), kLast8, "class");
    std::string rest = text.size() > kBaseDigits ? text.substr(kBaseDigits) : "";
    if (!rest.empty() && rest.front() == ':') rest.erase(0, 1);
    subclass_ = rest == "xx" ? std::nullopt : hexNumber(rest, kLast8, "subclass");
    byNumbers_ = true;
}

bool Selection::chooses(const broker::Instance& instance) const {
    if (byLocation_ && !fits(location_, textOf(instance, "DeviceID"))) return false;
    if (!byNumbers_) return true;
    const auto vendor = numberOf(instance, "VendorID");
    return vendor && fits(vendor_, vendor) && fits(device_, numberOf(instance, "PciDeviceID")) &&
           fits(baseClass_, numberOf(instance, "ClassCode")) && fits(subclass_, numberOf(instance, "Subclass"));
}

bool Selection::chooses(const broker::ObjectPath& path) const {
    return chooses(broker::Instance{path, path.keys});
}

}  // namespace cimhost
