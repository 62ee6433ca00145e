#ifndef PCIINFO_CIMHOST_SLOTCODES_H
#define PCIINFO_CIMHOST_SLOTCODES_H

#include <cstdint>
#include <string>

namespace cimhost {

/**
 * The words for the codes of an SMBIOS system slot record, in short form. A code without a word of its own is written
 * as "0xHH".
 */
std::string slotTypeName(std::uint64_t code);
std::string slotWidthName(std::uint64_t code);
std::string slotUsageName(std::uint64_t code);
std::string slotLengthName(std::uint64_t code);

}  // namespace cimhost

#endif
