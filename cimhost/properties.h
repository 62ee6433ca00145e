#ifndef PCIINFO_CIMHOST_PROPERTIES_H
#define PCIINFO_CIMHOST_PROPERTIES_H

#include <cstdint>
#include <optional>
#include <string>

#include "broker/broker.h"

namespace cimhost {

/** What is shown in place of a value that is absent or null. */
constexpr const char* kNothing = "-";

/** A value in the room of a cell: as broker::toString writes it, but a reference by its class and last key alone. */
std::string cellText(const broker::Value& value);

// --- an instance's properties in short form; kNothing where a property is absent, null or of another kind ---

/** The number in a property, or in the first element of an array. */
std::optional<std::uint64_t> numberOf(const broker::Instance& instance, const std::string& name);
std::string textOf(const broker::Instance& instance, const std::string& name);
std::string hexOf(const broker::Instance& instance, const std::string& name, int digits);
/** Two numbers of the same width in hexadecimal, "8086:a1c1". */
std::string hexPairOf(const broker::Instance& instance, const std::string& first, const std::string& second,
                      int digits);
/** The word for a coded number, see slotcodes.h. */
std::string codeOf(const broker::Instance& instance, const std::string& name, std::string (*nameOf)(std::uint64_t));

}  // namespace cimhost

#endif
