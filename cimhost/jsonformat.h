#ifndef PCIINFO_CIMHOST_JSONFORMAT_H
#define PCIINFO_CIMHOST_JSONFORMAT_H

#include <string>

#include "cimhost/formatter.h"

namespace cimhost {

/**
 * One JSON object: "status", "statusCode", then "instances" or "names", an array in the order of the answer.
 * Each has "path", "namespace", "class" and the array "properties" ("keys" for a name) of {name, type, value, key},
 * "key" being there for keys alone. A null value is null, a reference an object like those of "names". Bytes that are
 * no UTF-8 are replaced by U+FFFD.
 */
class JsonFormatter : public Formatter {
 public:
    std::string text(const Answer& answer) const override;
};

}  // namespace cimhost

#endif
