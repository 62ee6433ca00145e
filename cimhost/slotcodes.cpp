#include "cimhost/slotcodes.h"

#include <fmt/format.h>

#include <array>

namespace cimhost {

namespace {

/** `names` begins at code `first`. */
template <std::size_t size>
std::string nameOf(std::uint64_t code, const std::array<const char*, size>& names, std::uint64_t first = 1) {
    if (code >= first && code - first < size) return names[code - first];
    return fmt::format("0x{:02x}", code);
}

constexpr std::uint64_t kFirstPciExpress = 0xA5;

}  // namespace

std::string slotTypeName(std::uint64_t code) {
    static constexpr std::array<const char*, 0x13> parallel = {
        "other",  "unknown",   "ISA",   "MCA",   "EISA", "PCI",    "PC Card", "VL-VESA", "proprietary", "CPU",
        "memory", "I/O riser", "NuBus", "PCI66", "AGP",  "AGP 2X", "AGP 4X",  "PCI-X",   "AGP 8X"};
    // Each generation has six codes, for an unnamed number of lanes and for 1 to 16; B7h stands for nothing.
    static constexpr std::array<const char*, 31> express = {
        "PCIe",      "PCIe x1",   "PCIe x2",  "PCIe x4",   "PCIe x8",  "PCIe x16", "PCIe2",    "PCIe2 x1",
        "PCIe2 x2",  "PCIe2 x4",  "PCIe2 x8", "PCIe2 x16", "PCIe3",    "PCIe3 x1", "PCIe3 x2", "PCIe3 x4",
        "PCIe3 x8",  "PCIe3 x16", "0xb7",     "PCIe4",     "PCIe4 x1", "PCIe4 x2", "PCIe4 x4", "PCIe4 x8",
        "PCIe4 x16", "PCIe5",     "PCIe5 x1", "PCIe5 x2",  "PCIe5 x4", "PCIe5 x8", "PCIe5 x16"};
    return code < kFirstPciExpress ? nameOf(code, parallel) : nameOf(code, express, kFirstPciExpress);
}

std::string slotWidthName(std::uint64_t code) {
    static constexpr std::array<const char*, 14> names = {"other",  "unknown", "8 bit", "16 bit", "32 bit",
                                                          "64 bit", "128 bit", "x1",    "x2",     "x4",
                                                          "x8",     "x12",     "x16",   "x32"};
    return nameOf(code, names);
}

std::string slotUsageName(std::uint64_t code) {
    static constexpr std::array<const char*, 5> names = {"other", "unknown", "available", "in use", "unavailable"};
    return nameOf(code, names);
}

std::string slotLengthName(std::uint64_t code) {
    static constexpr std::array<const char*, 6> names = {"other", "unknown", "short", "long", "2.5in", "3.5in"};
    return nameOf(code, names);
}

}  // namespace cimhost
