#ifndef PCIINFO_TEXT_NAMES_H
#define PCIINFO_TEXT_NAMES_H

#include <string>
#include <string_view>

namespace cim {

/** CIM names are equal without regard to the case of ASCII letters. */
bool sameName(std::string_view left, std::string_view right);

/** The spelling under which names that are the same sort together. */
std::string foldedName(std::string_view name);

}  // namespace cim

#endif
