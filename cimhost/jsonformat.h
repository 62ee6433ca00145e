#ifndef PCIINFO_CIMHOST_JSONFORMAT_H
#define PCIINFO_CIMHOST_JSONFORMAT_H

#include <string>

#include "cimhost/formatter.h"

namespace cimhost {

/**
 * One JSON object: "status", "statusCode", then "instances" or "names", an array of what json.h makes of the objects,
 * in the order of the answer. docs/cimhost.schema.json describes it.
 */
class JsonFormatter : public Formatter {
 public:
    explicit JsonFormatter(Charset charset) : charset_(charset) {}
    std::string text(const Answer& answer) const override;

 private:
    Charset charset_;
};

/** A line for each object, without the status. */
class JsonLinesFormatter : public Formatter {
 public:
    explicit JsonLinesFormatter(Charset charset) : charset_(charset) {}
    std::string text(const Answer& answer) const override;

 private:
    Charset charset_;
};

}  // namespace cimhost

#endif
