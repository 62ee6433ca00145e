#include "cimhost/text.h"

#include <fmt/format.h>

#include <cstdint>
#include <sstream>

namespace cimhost {

namespace {

constexpr const char* kEllipsis = "...";

unsigned byteAt(const std::string& text, std::size_t position) {
    return static_cast<unsigned char>(text[position]);
}

bool isContinuation(unsigned byte) {
    return (byte & 0xC0U) == 0x80U;
}

/** One piece of a text: a code point of `length` bytes, or a single byte that does not begin one. */
struct Piece {
    std::size_t length = 1;
    bool valid = false;
    std::uint32_t codePoint = 0;
};

/** The bytes that a sequence with this first byte has; 0 when none begins so. */
std::size_t sequenceLength(unsigned first) {
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first < 0xE0) return 2;
    if (first >= 0xE0 && first < 0xF0) return 3;
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

bool isScalar(std::uint32_t codePoint, std::size_t length) {
    constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = codePoint >= 0xD800 && codePoint < 0xE000;
    return codePoint >= smallest[length] && codePoint <= 0x10FFFF && !surrogate;
}

Piece pieceAt(const std::string& text, std::size_t position) {
    const unsigned first = byteAt(text, position);
    const std::size_t length = sequenceLength(first);
    if (length == 0 || length > text.size() - position) return {};
    std::uint32_t codePoint = length == 1 ? first : first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned next = byteAt(text, position + i);
        if (!isContinuation(next)) return {};
        codePoint = codePoint << 6U | (next & 0x3FU);
    }
    return isScalar(codePoint, length) ? Piece{length, true, codePoint} : Piece{};
}

/** C0, DEL, C1, and the two Unicode line ends. */
bool isControl(std::uint32_t codePoint) {
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0) || codePoint == 0x2028 || codePoint == 0x2029;
}

/** Pieces that may be shown are taken over; `escape` writes the others, one call for each. */
template <class Escape>
std::string escaped(const std::string& bytes, Escape escape) {
    std::string text;
    for (std::size_t position = 0; position < bytes.size();) {
        const Piece piece = pieceAt(bytes, position);
        const std::string original = bytes.substr(position, piece.length);
        text += piece.valid && !isControl(piece.codePoint) ? original : escape(piece, original);
        position += piece.length;
    }
    return text;
}

/** The byte offset behind the first `columns` columns. */
std::size_t offsetOf(const std::string& text, std::size_t columns) {
    std::size_t offset = 0;
    for (; columns > 0 && offset < text.size(); --columns) offset += pieceAt(text, offset).length;
    return offset;
}

std::string mofEscape(const Piece& piece, const std::string& original) {
    switch (piece.valid ? piece.codePoint : 0) {
        case '\b':
            return "\\b";
        case '\t':
            return "\\t";
        case '\n':
            return "\\n";
        case '\f':
            return "\\f";
        case '\r':
            return "\\r";
        default:
            return fmt::format("\\x{:04X}", piece.valid ? piece.codePoint : byteAt(original, 0));
    }
}

}  // namespace

std::string printable(const std::string& bytes) {
    return escaped(bytes, [](const Piece&, const std::string& original) {
        std::string text;
        for (std::size_t i = 0; i < original.size(); ++i) text += fmt::format("\\x{:02x}", byteAt(original, i));
        return text;
    });
}

std::size_t columnsOf(const std::string& text) {
    std::size_t columns = 0;
    for (std::size_t offset = 0; offset < text.size(); ++columns) offset += pieceAt(text, offset).length;
    return columns;
}

std::string cut(const std::string& text, std::size_t columns) {
    if (columnsOf(text) <= columns) return text;
    const std::string ellipsis(kEllipsis);
    if (columns <= ellipsis.size()) return ellipsis.substr(0, columns);
    return text.substr(0, offsetOf(text, columns - ellipsis.size())) + ellipsis;
}

std::vector<std::string> wrap(const std::string& text, std::size_t columns) {
    std::vector<std::string> pieces;
    std::string rest = text;
    while (columnsOf(rest) > columns) {
        std::size_t end = offsetOf(rest, columns);
        const std::size_t blank = rest.rfind(' ', end - 1);
        if (blank != std::string::npos) end = blank + 1;
        pieces.push_back(rest.substr(0, end));
        rest.erase(0, end);
    }
    pieces.push_back(rest);
    return pieces;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> found;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) found.push_back(line);
    return found;
}

std::string mofLiteral(const std::string& bytes) {
    std::string quoted;
    for (const char byte : bytes) {
        if (byte == '"' || byte == '\\') quoted += '\\';
        quoted += byte;
    }
    return '"' + escaped(quoted, mofEscape) + '"';
}

}  // namespace cimhost
