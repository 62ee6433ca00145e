#include "cimhost/text.h"

#include <fmt/format.h>

#include <cstdint>
#include <sstream>
#include <string_view>

#include "text/utf8.h"

namespace cimhost {

namespace {

constexpr const char* kEllipsis = "...";

std::uint32_t byteOf(char character) {
    return static_cast<unsigned char>(character);
}

/** C0, DEL, C1, and the two Unicode line ends. */
bool isControl(char32_t codePoint) {
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0) || codePoint == 0x2028 || codePoint == 0x2029;
}

/** Pieces that may be shown are taken over; `escape` writes the others, one call for each. */
template <class Escape>
std::string escaped(const std::string& bytes, Escape escape) {
    std::string result;
    for (std::string_view rest = bytes; !rest.empty();) {
        const text::Piece piece = text::firstPiece(rest);
        const std::string original(rest.substr(0, piece.length));
        result += piece.valid && !isControl(piece.codePoint) ? original : escape(piece, original);
        rest.remove_prefix(piece.length);
    }
    return result;
}

/** The byte offset behind the first `columns` columns. */
std::size_t offsetOf(const std::string& text, std::size_t columns) {
    std::string_view rest = text;
    for (; columns > 0 && !rest.empty(); --columns) rest.remove_prefix(text::firstPiece(rest).length);
    return text.size() - rest.size();
}

std::string mofEscape(const text::Piece& piece, const std::string& original) {
    switch (piece.codePoint) {
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
            return fmt::format("\\x{:04X}", piece.valid ? std::uint32_t{piece.codePoint} : byteOf(original.front()));
    }
}

}  // namespace

std::string printable(const std::string& bytes) {
    return escaped(bytes, [](const text::Piece&, const std::string& original) {
        std::string escapes;
        for (const char each : original) escapes += fmt::format("\\x{:02x}", byteOf(each));
        return escapes;
    });
}

std::size_t columnsOf(const std::string& text) {
    std::size_t columns = 0;
    for (std::string_view rest = text; !rest.empty(); ++columns) rest.remove_prefix(text::firstPiece(rest).length);
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
