#include "cimhost/slotcodes.h"

#include <fmt/format.h>

#include <array>

namespace cimhost {

namespace {

/** Names of consecutive codes, the first of which is `first`; null for a code that stands for nothing. */
template <std::size_t size>
const char* nameIn(std::uint64_t code, const std::array<const char*, size>& names, std::uint64_t first) {
    return code >= first && code - first < size ? names[static_cast<std::size_t>(code - first)] : nullptr;
}

std::string nameOr(const char* name, std::uint64_t code) {
    return name != nullptr ? name : fmt::format("0x{:02x}", code);
}

template <std::size_t size>
std::string nameOf(std::uint64_t code, const std::array<const char*, size>& names) {
    return nameOr(nameIn(code, names, 1), code);
}

const char* knownSlotType(std::uint64_t code) {
    constexpr std::uint64_t kFlexbus = 0x30;
    constexpr std::uint64_t kFirstLate = 0xA0;
    static constexpr std::array<const char*, 0x28> early = {"other",        "unknown",      "ISA",
                                                            "MCA",          "EISA",         "PCI",
                                                            "PC Card",      "VL-VESA",      "proprietary",
                                                            "CPU",          "memory",       "I/O riser",
                                                            "NuBus",        "PCI66",        "AGP",
                                                            "AGP 2X",       "AGP 4X",       "PCI-X",
                                                            "AGP 8X",       "M.2 1-DP",     "M.2 1-SD",
                                                            "M.2 2",        "M.2 3",        "MXM I",
                                                            "MXM II",       "MXM III",      "MXM III HE",
                                                            "MXM IV",       "MXM 3.0 A",    "MXM 3.0 B",
                                                            "PCIe2 U.2",    "PCIe3 U.2",    "PCIe mini 52 keep-out",
                                                            "PCIe mini 52", "PCIe mini 76", "PCIe4 U.2",
                                                            "PCIe5 U.2",    "OCP 3.0 SFF",  "OCP 3.0 LFF",
                                                            "OCP <3.0"};
    // Each generation of PCI Express has six codes, for an unnamed number of lanes and for 1 to 16.
    static constexpr std::array<const char*, 39> late = {
        "PC-98/C20", "PC-98/C24", "PC-98/E",  "PC-98/local", "PC-98/card", "PCIe",      "PCIe x1",   "PCIe x2",
        "PCIe x4",   "PCIe x8",   "PCIe x16", "PCIe2",       "PCIe2 x1",   "PCIe2 x2",  "PCIe2 x4",  "PCIe2 x8",
        "PCIe2 x16", "PCIe3",     "PCIe3 x1", "PCIe3 x2",    "PCIe3 x4",   "PCIe3 x8",  "PCIe3 x16", nullptr,
        "PCIe4",     "PCIe4 x1",  "PCIe4 x2", "PCIe4 x4",    "PCIe4 x8",   "PCIe4 x16", "PCIe5",     "PCIe5 x1",
        "PCIe5 x2",  "PCIe5 x4",  "PCIe5 x8", "PCIe5 x16",   "PCIe6+",     "EDSFF E1",  "EDSFF E3"};
    if (code == kFlexbus) return "CXL 1.0";
    return code < kFirstLate ? nameIn(code, early, 1) : nameIn(code, late, kFirstLate);
}

}  // namespace

std::string slotTypeName(std::uint64_t code) {
    return nameOr(knownSlotType(code), code);
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
