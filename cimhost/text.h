#ifndef PCIINFO_CIMHOST_TEXT_H
#define PCIINFO_CIMHOST_TEXT_H

#include <cstddef>
#include <string>
#include <vector>

namespace cimhost {

/**
 * Text fit for a terminal: UTF-8 stays as it is; every byte that belongs to a control character or is no UTF-8 becomes
 * "\xHH". Such text is measured in columns, one for each code point; cut() and wrap() take it.
 */
std::string printable(const std::string& bytes);

std::size_t columnsOf(const std::string& text);

/** At most `columns` columns; what was cut off at the end shows as "...". */
std::string cut(const std::string& text, std::size_t columns);

/** Pieces of at most `columns` (at least one) columns, divided behind blanks where that is possible; one at least. */
std::vector<std::string> wrap(const std::string& text, std::size_t columns);

/** The lines of a text, without their ends; a last one without an end counts. */
std::vector<std::string> lines(const std::string& text);

/** The text as a MOF string literal, quotes included; a control character or a byte that is no UTF-8 is \xHHHH. */
std::string mofLiteral(const std::string& bytes);

}  // namespace cimhost

#endif
