// PCI functions as lspci names and chooses them. Tests: tests/cimhost/shortforms_test.cpp, usage_test.cpp.

#include "cimhost/selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <regex>
#include <stdexcept>
#include <system_error>

#include "cim/ascii.h"
#include "cimhost/properties.h"

namespace cimhost {

namespace {

constexpr unsigned kLast16 = 0xffff;
constexpr unsigned kLast8 = 0xff;
constexpr unsigned kLastDevice = 0x1f;
constexpr unsigned kLastFunction = 7;

/**
 * A hexadecimal number of at most that, with no more digits; nullopt for "" and "*". Throws std::invalid_argument,
 * which names `what`, for anything else.
 */
std::optional<unsigned> hexNumber(const std::string& text, unsigned most, const std::string& what) {
    if (text.empty() || text == "*") return std::nullopt;
    unsigned number = 0;
    constexpr int kHexadecimal = 16;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, kHexadecimal);
    const bool isTooLong = text.size() > fmt::formatted_size("{:x}", most);
    if (error != std::errc() || end != text.data() + text.size() || isTooLong || number > most)
        throw std::invalid_argument(fmt::format("'{}' is no {}, a hexadecimal number up to {:x}", text, what, most));
    return number;
}

/** Takes what follows the last `separator` off the end of `text`, the separator too; nullopt without one. */
std::optional<std::string> takeAfter(std::string& text, char separator) {
    const std::size_t place = text.rfind(separator);
    if (place == std::string::npos) return std::nullopt;
    const std::string after = text.substr(place + 1);
    text.erase(place);
    return after;
}

void checkDomain(const std::string& text) {
    if (hexNumber(text, kLast16, "domain").value_or(0) != 0)
        throw std::invalid_argument(fmt::format("domain {}: the provider does not tell PCI domains apart", text));
}

bool fits(const std::optional<unsigned>& wanted, std::optional<std::uint64_t> number) {
    return !wanted || (number && *number == *wanted);
}

/** A DeviceID of another form fits nothing. */
bool fits(const Location& wanted, const std::string& deviceId) {
    Location found;
    try {
        found = parseLocation(shortLocation(deviceId));
    } catch (const std::invalid_argument&) {
        return false;
    }
    return found.bus && fits(wanted.bus, found.bus) && fits(wanted.device, found.device) &&
           fits(wanted.function, found.function);
}

}  // namespace

Location parseLocation(const std::string& text) {
    std::string rest = text;
    Location location;
    if (const auto function = takeAfter(rest, '.')) location.function = hexNumber(*function, kLastFunction, "function");
    const auto device = takeAfter(rest, ':');
    location.device = hexNumber(device.value_or(rest), kLastDevice, "device");
    if (!device) return location;
    const auto bus = takeAfter(rest, ':');
    location.bus = hexNumber(bus.value_or(rest), kLast8, "bus");
    if (bus) checkDomain(rest);
    return location;
}

bool looksLikeFunction(const std::string& text) {
    const auto isPart = [](char c) { return cim::isHexDigit(c) || c == ':' || c == '.'; };
    return std::count(text.begin(), text.end(), ':') >= 1 && std::all_of(text.begin(), text.end(), isPart);
}

std::string shortLocation(const std::string& deviceId) {
    static const std::regex form("PCI Bus ([0-9]{1,9}), device ([0-9]{1,9}), function ([0-9]{1,9})");
    std::smatch numbers;
    if (!std::regex_match(deviceId, numbers, form)) return deviceId;
    return fmt::format("{:02x}:{:02x}.{:x}", std::stoul(numbers[1]), std::stoul(numbers[2]), std::stoul(numbers[3]));
}

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
