#include "cimhost/texttable.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "cimhost/text.h"

namespace cimhost {

namespace {

constexpr const char* kGap = "  ";
constexpr std::size_t kGapColumns = 2;
constexpr std::size_t kNarrowest = 20;

std::string padded(const std::string& text, std::size_t columns, Align align) {
    const std::string blanks(columns - columnsOf(text), ' ');
    return align == Align::right ? blanks + text : text + blanks;
}

std::string withoutTrailingBlanks(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

}  // namespace

TextTable::TextTable(std::vector<Heading> headings) : headings_(std::move(headings)), widths_(headings_.size()) {
    Row row;
    for (const Heading& heading : headings_) row.push_back(heading.text);
    add(row);
}

void TextTable::add(const std::vector<std::string>& cells) {
    Row row;
    for (std::size_t i = 0; i < headings_.size(); ++i) {
        row.push_back(printable(cells[i]));
        widths_[i] = std::max(widths_[i], columnsOf(row[i]));
    }
    rows_.push_back(row);
}

std::string TextTable::cutTo(std::size_t width) const {
    std::string text;
    for (const Row& row : rows_) text += cut(line(row), width) + '\n';
    return text;
}

std::string TextTable::wrappedTo(std::size_t width) const {
    std::string text;
    for (const Row& row : rows_) text += wrappedLine(row, width);
    return text;
}

std::string TextTable::line(const Row& row) const {
    std::string text;
    for (std::size_t i = 0; i < row.size(); ++i)
        text += (i == 0 ? "" : kGap) + padded(row[i], widths_[i], headings_[i].align);
    return withoutTrailingBlanks(text);
}

std::string TextTable::wrappedLine(const Row& row, std::size_t width) const {
    const std::size_t indent = lastColumnBegins();
    std::string text;
    Row shown = row;
    for (const std::string& piece : wrap(row.back(), std::max(width, indent + kNarrowest) - indent)) {
        shown.back() = piece;
        text += line(shown) + '\n';
        shown.assign(row.size(), "");
    }
    return text;
}

std::size_t TextTable::lastColumnBegins() const {
    return std::accumulate(widths_.begin(), widths_.end() - 1, kGapColumns * (widths_.size() - 1));
}

}  // namespace cimhost
