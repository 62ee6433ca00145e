#include "cimhost/shortforms.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>

#include "cimhost/classes.h"
#include "cimhost/location.h"
#include "cim/ascii.h"
#include "cim/names.h"

namespace cimhost {

namespace {

constexpr std::size_t kMostDigits = 5;

broker::ObjectPath pathWithKey(const std::string& className, const std::string& key, const std::string& value) {
    return {"root/kavix", className, {{key, broker::Value::string(value)}}};
}

bool isNumber(const std::string& text) {
    return !text.empty() && text.size() <= kMostDigits && std::all_of(text.begin(), text.end(), cim::isDigit);
}

/** A number that is no slot's; as an object path it could not be read either. */
bool isOtherNumber(const std::string& text) {
    const std::size_t digits = !text.empty() && (text.front() == '-' || text.front() == '+') ? 1 : 0;
    return text.size() > digits &&
           std::all_of(text.begin() + static_cast<std::ptrdiff_t>(digits), text.end(), cim::isDigit);
}

broker::ObjectPath slotPath(const std::string& number) {
    return pathWithKey("QELTA_SystemSlot", "Tag", fmt::format("System Slot {}", std::stoul(number)));
}

std::vector<broker::ObjectPath> functionPaths(const std::string& text) {
    const Location location = parseLocation(text);
    if (!location.bus || !location.device || !location.function)
        throw std::invalid_argument(fmt::format("{}: a function is named as BUS:DEVICE.FUNCTION, e.g. 16:00.0", text));
    const std::string deviceId = deviceIdOf(location);
    return {pathWithKey("QELTA_PCIDevice", "DeviceID", deviceId), pathWithKey("QELTA_PCIBridge", "DeviceID", deviceId)};
}

broker::ObjectPath wholePath(const std::string& text) {
    broker::ObjectPath path = broker::parseObjectPath(text);
    path.className = wholeClassName(path.className);
    return path;
}

}  // namespace

std::vector<broker::ObjectPath> pathsNamedBy(const std::string& text) {
    if (isNumber(text)) return {slotPath(text)};
    if (isOtherNumber(text))
        throw std::invalid_argument(
            fmt::format("{} is no slot's number, which has one to {} digits and no sign", text, kMostDigits));
    if (looksLikeFunction(text)) return functionPaths(text);
    if (cim::sameName(text, "board")) return {pathWithKey("QELTA_SystemBoard", "DeviceID", "SystemBoard1")};
    return {wholePath(text)};
}

}  // namespace cimhost
