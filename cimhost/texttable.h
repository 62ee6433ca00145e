#ifndef PCIINFO_CIMHOST_TEXTTABLE_H
#define PCIINFO_CIMHOST_TEXTTABLE_H

#include <cstddef>
#include <string>
#include <vector>

namespace cimhost {

enum class Align { left, right };

struct Heading {
    std::string text;
    Align align = Align::left;
};

/** Rows of text under headings, every column as wide as its widest cell. Cells may hold any bytes, see printable(). */
class TextTable {
 public:
    explicit TextTable(std::vector<Heading> headings);

    /** As many cells as there are headings. */
    void add(const std::vector<std::string>& cells);

    /** Lines of at most `width` columns: what is longer loses its end, see cut(). */
    std::string cutTo(std::size_t width) const;
    /** Nothing is lost: the last column goes on in lines of its own. It gets 20 columns even in a narrower width. */
    std::string wrappedTo(std::size_t width) const;

 private:
    using Row = std::vector<std::string>;

    std::string line(const Row& row) const;
    std::string wrappedLine(const Row& row, std::size_t width) const;
    std::size_t lastColumnBegins() const;

    std::vector<Heading> headings_;
    std::vector<std::size_t> widths_;
    std::vector<Row> rows_;  // the headings are the first
};

}  // namespace cimhost

#endif
