#ifndef PCIINFO_UTILS_LITTLEENDIAN_H
#define PCIINFO_UTILS_LITTLEENDIAN_H

#include <cstdint>

namespace tPCIInfo {

/** The number in two bytes, least significant first. */
inline std::uint16_t little16(const std::uint8_t* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

/** The number in four bytes, least significant first. */
inline std::uint32_t little32(const std::uint8_t* bytes) {
    return little16(bytes) | static_cast<std::uint32_t>(little16(bytes + 2)) << 16;
}

}  // namespace tPCIInfo

#endif
