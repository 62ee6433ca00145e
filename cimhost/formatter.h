#ifndef PCIINFO_CIMHOST_FORMATTER_H
#define PCIINFO_CIMHOST_FORMATTER_H

#include <cstddef>
#include <memory>
#include <string>

#include "cimhost/answer.h"

namespace cimhost {

enum class Format { table, mof, json };

/** What only tables look at. */
struct TableOptions {
    std::size_t width = 120;  // of the terminal, in columns
    bool inFull = false;      // every property and whole paths, instead of one line for each object
};

/** Writes an answer out, its status included. */
class Formatter {
 public:
    virtual ~Formatter() = default;
    /** Whole lines. */
    virtual std::string text(const Answer& answer) const = 0;
};

std::unique_ptr<Formatter> makeFormatter(Format format, const TableOptions& options);

}  // namespace cimhost

#endif
