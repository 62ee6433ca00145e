#include "cimhost/location.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <system_error>

#include "cim/ascii.h"

namespace cimhost {

namespace {

constexpr unsigned kLastDomain = 0xffff;
constexpr unsigned kLastBus = 0xff;
constexpr unsigned kLastDevice = 0x1f;
constexpr unsigned kLastFunction = 7;

/** Takes what stands behind the last `separator` off the end of `text`, the separator too; nullopt without one. */
std::optional<std::string> takeBehind(std::string& text, char separator) {
    const std::size_t place = text.rfind(separator);
    if (place == std::string::npos) return std::nullopt;
    const std::string behind = text.substr(place + 1);
    text.erase(place);
    return behind;
}

void checkDomain(const std::string& text) {
    if (hexNumber(text, kLastDomain, "domain").value_or(0) != 0)
        throw std::invalid_argument(fmt::format("domain {}: the provider does not tell PCI domains apart", text));
}

}  // namespace

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

Location parseLocation(const std::string& text) {
    std::string rest = text;
    Location location;
    if (const auto function = takeBehind(rest, '.'))
        location.function = hexNumber(*function, kLastFunction, "function");
    const auto device = takeBehind(rest, ':');
    location.device = hexNumber(device.value_or(rest), kLastDevice, "device");
    if (!device) return location;
    const auto bus = takeBehind(rest, ':');
    location.bus = hexNumber(bus.value_or(rest), kLastBus, "bus");
    if (bus) checkDomain(rest);
    return location;
}

bool looksLikeFunction(const std::string& text) {
    const auto isPart = [](char c) { return cim::isHexDigit(c) || c == ':' || c == '.'; };
    return std::count(text.begin(), text.end(), ':') >= 1 && std::all_of(text.begin(), text.end(), isPart);
}

std::string deviceIdOf(const Location& location) {
    return fmt::format("PCI Bus {}, device {}, function {}", location.bus.value(), location.device.value(),
                       location.function.value());
}

}  // namespace cimhost
