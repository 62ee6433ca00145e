#ifndef PCIINFO_CIMHOST_TEXTTABLE_H
#define PCIINFO_CIMHOST_TEXTTABLE_H

#include <cstddef>
#include <string>
#include <vector>

#include "cimhost/printable.h"

namespace cimhost {

enum class Align { left, right };

/** What becomes of text that a column has no room for. */
enum class Overflow { cut, wrap };

struct Heading {
    std::string text;
    Align align = Align::left;
    bool yields = false;  // gives its room up before the other columns do
    // leaveOut() takes the column with the greatest number first, and never one with 0.
    unsigned dispensable = 0;
    std::string name = text;  // of what is left out
};

/**
 * Rows of text under headings, every column as wide as its widest cell where there is room. Cells may hold any bytes,
 * see printable().
 *
 * Where there is less room, columns that yield become narrower first, then the others, the last of either first: down
 * to 20 columns, and where that is still too much, those that yield down to 8 and the others to their longest word.
 * Those that yield stay as wide as their heading. Columns that yield are cut or wrapped, the others always wrapped. A
 * width that is still too small is exceeded.
 */
class TextTable {
 public:
    using Lines = std::vector<std::string>;

    explicit TextTable(std::vector<Heading> headings, Charset charset = Charset::utf8);

    /** As many cells as there are headings. */
    void add(const std::vector<std::string>& cells);

    /**
     * Drops columns that are dispensable until the others fit the width with 20 columns for each that yields. Returns
     * the names of those that are gone, in the order of the columns. A width of 0 means no limit.
     */
    std::vector<std::string> leaveOut(std::size_t width);

    /** The lines of each row, those of the headings first. A width of 0 means no limit. */
    std::vector<Lines> rows(std::size_t width, Overflow overflow) const;

 private:
    using Row = std::vector<std::string>;
    using Widths = std::vector<std::size_t>;

    Widths widthsWithin(std::size_t width) const;
    std::size_t wanted(std::size_t column) const;
    std::size_t least(std::size_t column) const;
    void drop(std::size_t column);
    Lines cellLines(const Row& row, std::size_t column, std::size_t width, Overflow overflow) const;
    Lines rowLines(const Row& row, const Widths& widths, Overflow overflow) const;

    std::vector<Heading> headings_;
    Charset charset_;
    Widths widths_;
    std::vector<Row> rows_;  // the headings are the first
};

}  // namespace cimhost

#endif
