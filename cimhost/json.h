#ifndef PCIINFO_CIMHOST_JSON_H
#define PCIINFO_CIMHOST_JSON_H

#include <nlohmann/json.hpp>

#include <string>

#include "broker/broker.h"
#include "cimhost/text.h"

namespace cimhost {

using Json = nlohmann::ordered_json;

/** {"text": "root/kavix:...", "namespace", "class", "keys": {name: value}}; "text" is what commands take. */
Json json(const broker::ObjectPath& path);

/** "path", then a member for each property, behind a coded one (see codetexts.h) its text. */
Json json(const broker::Instance& instance);

/**
 * The document as text that a terminal may show, with line ends and indented where it is not to be on one line; the
 * line end behind it included. Bytes that are no UTF-8 are replaced by U+FFFD.
 */
std::string document(const Json& json, Charset charset);
std::string line(const Json& json, Charset charset);

}  // namespace cimhost

#endif
