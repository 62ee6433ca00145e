// Rows of text in columns that fit a width. Tests: tests/cimhost/printable_test.cpp.

#include "cimhost/texttable.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <utility>

namespace cimhost {

namespace {

constexpr const char* kGap = "  ";
constexpr std::size_t kGapColumns = 2;
constexpr std::size_t kReadable = 20;
constexpr std::size_t kNarrowest = 8;

std::string padded(const std::string& text, std::size_t columns, Align align) {
    const std::string blanks(columns - std::min(columns, columnsOf(text)), ' ');
    return align == Align::right ? blanks + text : text + blanks;
}

std::string withoutTrailingBlanks(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

/** Columns of the longest word, with the blank after it, where wrap() divides the text. */
std::size_t longestWord(const std::string& text) {
    std::size_t longest = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(' ', begin), text.size() - 1) + 1;
        longest = std::max(longest, columnsOf(text.substr(begin, end - begin)));
        begin = end;
    }
    return longest;
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

std::vector<std::string> TextTable::leaveOut(std::size_t width) {
    std::vector<std::size_t> candidates(headings_.size());
    std::iota(candidates.begin(), candidates.end(), std::size_t{0});
    std::size_t taken = 0;
    for (const std::size_t column : candidates) taken += wanted(column) + (column == 0 ? 0 : kGapColumns);
    std::stable_sort(candidates.begin(), candidates.end(), [this](std::size_t left, std::size_t right) {
        return headings_[left].dispensable > headings_[right].dispensable;
    });
    std::set<std::size_t> gone;
    for (const std::size_t column : candidates) {
        if (width == 0 || taken <= width || headings_[column].dispensable == 0) break;
        taken -= wanted(column) + kGapColumns;
        gone.insert(column);
    }
    std::vector<std::string> names;
    names.reserve(gone.size());
    for (const std::size_t column : gone) names.push_back(headings_[column].name);
    std::for_each(gone.rbegin(), gone.rend(), [this](std::size_t column) { drop(column); });
    return names;
}

void TextTable::drop(std::size_t column) {
    const auto erase = [column](auto& list) { list.erase(list.begin() + static_cast<std::ptrdiff_t>(column)); };
    erase(headings_);
    erase(widths_);
    for (Row& row : rows_) erase(row);
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
    const auto narrow = [&](bool yields, auto limit) {
        for (std::size_t column = widths.size(); column-- > 0;) {
            if (headings_[column].yields != yields) continue;
            const std::size_t given = std::min(excess, widths[column] - std::min(widths[column], limit(column)));
            widths[column] -= given;
            excess -= given;
        }
    };
    const auto readable = [&](std::size_t column) { return std::max(kReadable, columnsOf(rows_.front()[column])); };
    const auto narrowest = [&](std::size_t column) { return least(column); };
    for (const bool yields : {true, false}) narrow(yields, readable);
    for (const bool yields : {true, false}) narrow(yields, narrowest);
    return widths;
}

/** The width that a column needs to be read with ease. */
std::size_t TextTable::wanted(std::size_t column) const {
    if (!headings_[column].yields) return widths_[column];
    return std::min(widths_[column], std::max(kReadable, columnsOf(rows_.front()[column])));
}

/** The width that a column keeps in any case. */
std::size_t TextTable::least(std::size_t column) const {
    if (headings_[column].yields) return std::max(kNarrowest, columnsOf(rows_.front()[column]));
    std::size_t longest = 0;
    for (const Row& row : rows_) longest = std::max(longest, longestWord(row[column]));
    return longest;
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
            const bool endsLine = column + 1 == row.size() && headings_[column].align == Align::left;
            line += column == 0 ? "" : kGap;
            line += endsLine ? piece : padded(piece, widths[column], headings_[column].align);
        }
        result.push_back(withoutTrailingBlanks(line));
    }
    return result;
}

}  // namespace cimhost
