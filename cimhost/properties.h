#ifndef PCIINFO_CIMHOST_PROPERTIES_H
#define PCIINFO_CIMHOST_PROPERTIES_H

#include <cstdint>
#include <optional>
#include <string>

#include "broker/broker.h"

namespace cimhost {

/** What is shown in place of a value that is absent or null. */
constexpr const char* kNothing = "-";

/** What is added to a coded property's name for the text that its code stands for: "CurrentUsageText". */
constexpr const char* kTextSuffix = "Text";

/** A value in the room of a cell: as broker::toString writes it, but a reference by its class and last key alone. */
std::string cellText(const broker::Value& value);

/**
 * The text, or the array of texts, that the schema has for the codes of a property: null for a code that it does not
 * declare, and for no code at all. nullopt where the property is not coded.
 */
std::optional<broker::Value> codeText(const std::string& className, const broker::Property& property);

/** A property's value, and what its codes stand for: "4 (In Use)". */
std::string explainedText(const broker::Instance& instance, const broker::Property& property);

// --- an instance's properties in short form; kNothing where a property is absent, null or of another kind ---

/** The number in a property, or in the first element of an array. */
std::optional<std::uint64_t> numberOf(const broker::Instance& instance, const std::string& name);
std::string textOf(const broker::Instance& instance, const std::string& name);
std::string hexOf(const broker::Instance& instance, const std::string& name, int digits);
/** Two numbers of the same width in hexadecimal, "8086:a1c1". */
std::string hexPairOf(const broker::Instance& instance, const std::string& first, const std::string& second,
                      int digits);
/** The text of a slot's code in short, "PCIe3 x8" for "PCI Express 3 x8"; "0xHH" for a code without a text. */
std::string slotWordOf(const broker::Instance& slot, const std::string& name);

}  // namespace cimhost

#endif
