// Addresses of PCI functions, as the kernel and as clients write them. Tests: tests/unit/address_test.cpp.
#include "pci/address.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>
#include <tuple>

namespace tPCIInfo {

namespace {

/** The decimal number at a place of a text as strtol reads it, within int's range; 0 where there is none. */
int numberAt(const std::string& text, std::size_t place) {
    constexpr long kLowest = std::numeric_limits<int>::min();
    constexpr long kHighest = std::numeric_limits<int>::max();
    if (place >= text.size()) return 0;
    return static_cast<int>(std::clamp(std::strtol(text.c_str() + place, nullptr, 10), kLowest, kHighest));
}

std::tuple<int, int, int> numbersOf(const FunctionAddress& address) {
    return {address.bus, address.device, address.function};
}

}  // namespace

FunctionAddress FunctionAddress::fromBusDevfn(unsigned long field) {
    return {static_cast<int>(field >> 8 & 0xFF), static_cast<int>(field >> 3 & 0x1F), static_cast<int>(field & 7)};
}

FunctionAddress FunctionAddress::fromDeviceId(const std::string& deviceId) {
    const auto numberAfter = [&](const char* label, bool whereverItStands) {
        const std::size_t place = deviceId.find(label);
        if (place == std::string::npos) return 0;
        return numberAt(deviceId, (whereverItStands ? place : 0) + std::strlen(label));
    };
    return {numberAfter(kLabels[0], false), numberAfter(kLabels[1], true), numberAfter(kLabels[2], true)};
}

std::string FunctionAddress::deviceId() const {
    std::string text(64, '\0');  // has room for the labels and three numbers of any size
    char* end = text.data();
    const auto append = [&](std::string_view separator, std::string_view label, int number) {
        end = std::copy(separator.begin(), separator.end(), end);
        end = std::copy(label.begin(), label.end(), end);
        end = std::to_chars(end, text.data() + text.size(), number).ptr;
    };
    append("", kLabels[0], bus);
    append(", ", kLabels[1], device);
    append(", ", kLabels[2], function);
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

bool operator==(const FunctionAddress& a, const FunctionAddress& b) {
    return numbersOf(a) == numbersOf(b);
}

bool operator<(const FunctionAddress& a, const FunctionAddress& b) {
    return numbersOf(a) < numbersOf(b);
}

}  // namespace tPCIInfo
