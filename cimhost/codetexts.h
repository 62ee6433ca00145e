#ifndef PCIINFO_CIMHOST_CODETEXTS_H
#define PCIINFO_CIMHOST_CODETEXTS_H

#include <optional>
#include <string>

#include "broker/broker.h"

namespace cimhost {

/** What is added to a coded property's name for the text that its code stands for: "CurrentUsageText". */
constexpr const char* kTextSuffix = "Text";

/** Whether the schema declares what the property's codes stand for. */
bool isCoded(const std::string& className, const std::string& property);

/**
 * The text, or the array of texts, that the schema has for the codes of a property: null for a code that it does not
 * declare, and for no code at all. nullopt where the property is not coded.
 */
std::optional<broker::Value> codeText(const std::string& className, const broker::Property& property);

}  // namespace cimhost

#endif
