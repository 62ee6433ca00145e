#ifndef PCIINFO_IPMI_SMBIOS_H
#define PCIINFO_IPMI_SMBIOS_H

#include <cstdint>

namespace tPCIInfo {

// SMBIOS structures (DMTF DSP0134) in memory. `end` is the end of the storage that may be read; a structure is its
// formatted area, whose length stands in byte 1, and the set of zero-terminated strings after it, which ends with one
// more zero byte (two for an empty set).

/** The structure that follows; null when this one's formatted area or string set runs past the end. */
const std::uint8_t* get_next_struct_address(const std::uint8_t* structure, const std::uint8_t* end);

/** The number of strings in the set, 0 for an empty one; of a set that runs past the end, those that begin before it.
 */
int get_string_number(const std::uint8_t* structure, const std::uint8_t* end);

/** The first character of string `number`, counted from 1; null when there is none. */
const char* find_string(const std::uint8_t* structure, std::uint8_t number, const std::uint8_t* end);

}  // namespace tPCIInfo

#endif
