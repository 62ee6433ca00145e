#include "cimhost/texttable.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace cimhost {

namespace {

constexpr const char* kGap = "  ";
constexpr std::size_t kGapColumns = 2;
constexpr std::size_t kNarrowest = 20;

std::string padded(const std::string& text, std::size_t columns, Align align) {
    const std::string blanks(columns - std::min(columns, columnsOf(text)), ' ');
    return align == Align::right ? blanks + text : text + blanks;
}

std::string withoutTrailingBlanks(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

}  // namespace

TextTable::TextTable(std::vector<Heading> headings, Charset charset)
    : headings_(std::move(headings)), charset_(charset), widths_(headings_.size()) {
    Row row;
    for (const Heading& heading : headings_) row.push_back(heading.text);
    add(row);
}

void TextTable::add(const std::vector<std::string>& cells) {
    Row row;
    for (std::size_t i = 0; i < headings_.size(); ++i) {
        row.push_back(printable(cells[i], charset_));
        widths_[i] = std::max(widths_[i], columnsOf(row[i]));
    }
    rows_.push_back(row);
}

std::vector<TextTable::Lines> TextTable::rows(std::size_t width, Overflow overflow) const {
    const Widths widths = width == 0 ? widths_ : widthsWithin(width);
    std::vector<Lines> result;
    for (const Row& row : rows_) result.push_back(rowLines(row, widths, overflow));
    return result;
}

TextTable::Widths TextTable::widthsWithin(std::size_t width) const {
    Widths widths = widths_;
    const std::size_t taken = std::accumulate(widths.begin(), widths.end(), kGapColumns * (widths.size() - 1));
    std::size_t excess = taken - std::min(taken, width);
    for (const bool yields : {true, false}) {
        for (std::size_t column = widths.size(); column-- > 0;) {
            if (headings_[column].yields != yields) continue;
            const std::size_t given = std::min(excess, widths[column] - narrowest(column));
            widths[column] -= given;
            excess -= given;
        }
    }
    return widths;
}

std::size_t TextTable::narrowest(std::size_t column) const {
    return std::min(widths_[column], std::max(kNarrowest, columnsOf(rows_.front()[column])));
}

TextTable::Lines TextTable::cellLines(const Row& row, std::size_t column, std::size_t width, Overflow overflow) const {
    if (overflow == Overflow::cut && headings_[column].yields) return {cut(row[column], width)};
    return wrap(row[column], width);
}

TextTable::Lines TextTable::rowLines(const Row& row, const Widths& widths, Overflow overflow) const {
    std::vector<Lines> cells;
    std::size_t height = 1;
    for (std::size_t column = 0; column < row.size(); ++column) {
        cells.push_back(cellLines(row, column, widths[column], overflow));
        height = std::max(height, cells.back().size());
    }
    Lines result;
    for (std::size_t i = 0; i < height; ++i) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            const std::string piece = i < cells[column].size() ? cells[column][i] : "";
            line += (column == 0 ? "" : kGap) + padded(piece, widths[column], headings_[column].align);
        }
        result.push_back(withoutTrailingBlanks(line));
    }
    return result;
}

}  // namespace cimhost
