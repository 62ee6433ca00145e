#ifndef PCIINFO_WBEM_READVALUE_H
#define PCIINFO_WBEM_READVALUE_H

#include <optional>
#include <string>

#include "broker/broker.h"

namespace wbem {

/** A boolean as messages write it, in any letter case; none for another text. */
std::optional<bool> readBoolean(const std::string& text);

/**
 * The value of a property of that type, as a VALUE element writes it: numbers in decimal or, without a fraction, in
 * hexadecimal. None for another text, or for a number that the type cannot hold.
 */
std::optional<broker::Value> readValue(CMPIType type, const std::string& text);

/** A key's number without more known of its type: uint64, sint64 below zero, else real64; none for other texts. */
std::optional<broker::Value> readNumber(const std::string& text);

}  // namespace wbem

#endif
