#ifndef PCIINFO_CIMHOST_FORMATTER_H
#define PCIINFO_CIMHOST_FORMATTER_H

#include <cstddef>
#include <memory>
#include <string>

#include "cimhost/answer.h"
#include "cimhost/text.h"
#include "cimhost/texttable.h"

namespace cimhost {

enum class Format { table, mof, json, jsonl, csv, tsv };

/** How text for people is laid out; the other formats look at the character set alone. */
struct TableOptions {
    std::size_t width = 0;  // columns that a line may take; 0: as many as it needs
    bool inFull = false;    // every property and whole paths, instead of one line for each object
    bool toTerminal = false;
    Charset charset = Charset::utf8;
    bool color = false;

    /** On a terminal people look; elsewhere nothing may get lost. */
    Overflow overflow() const { return toTerminal ? Overflow::cut : Overflow::wrap; }
    /** Records that go to a file keep their characters, whatever the locale. */
    Charset ofRecords() const { return toTerminal ? charset : Charset::utf8; }
};

/** Writes an answer out. */
class Formatter {
 public:
    virtual ~Formatter() = default;
    /** Whole lines. */
    virtual std::string text(const Answer& answer) const = 0;
};

std::unique_ptr<Formatter> makeFormatter(Format format, const TableOptions& options);

}  // namespace cimhost

#endif
