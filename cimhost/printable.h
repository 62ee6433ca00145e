#ifndef PCIINFO_CIMHOST_PRINTABLE_H
#define PCIINFO_CIMHOST_PRINTABLE_H

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace cimhost {

/** What the place where text is shown can show of it. */
enum class Charset { utf8, ascii };

/**
 * Text fit for a terminal: UTF-8 stays as it is; every byte that is no UTF-8, or belongs to a control character or to
 * one that is invisible or turns the direction of writing, becomes "\xHH". In ASCII so does every byte above 7Eh, as a
 * terminal of another character set may obey it. Such text is measured in columns, one for each code point; cut() and
 * wrap() take it.
 */
std::string printable(const std::string& bytes, Charset charset = Charset::utf8);

/** A JSON text in which what printable() would replace is written as "\uXXXX"; line ends stay. It is UTF-8. */
std::string printableJson(const std::string& json);

std::size_t columnsOf(const std::string& text);

/** At most `columns` columns; what was cut off at the end shows as "...". */
std::string cut(const std::string& text, std::size_t columns);

/** Pieces of at most `columns` (0 counts as one) columns, divided after blanks where that is possible; one at least. */
std::vector<std::string> wrap(const std::string& text, std::size_t columns);

/** "1 slot", "0 slots". */
std::string counted(std::size_t count, const std::string& noun);

/** Texts in the order in which they first came, each once; empty ones are left out. */
class DistinctTexts {
 public:
    void add(const std::string& text);
    const std::vector<std::string>& inOrder() const { return texts_; }

 private:
    std::vector<std::string> texts_;
    std::set<std::string> known_;
};

/** The lines of a text, without their ends; a last one without an end counts. */
std::vector<std::string> lines(const std::string& text);

/** The text as a MOF string literal, quotes included; what printable() would replace is \xHHHH. */
std::string mofLiteral(const std::string& bytes, Charset charset = Charset::utf8);

}  // namespace cimhost

#endif
