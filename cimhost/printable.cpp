// Text that a terminal may show: escaped, measured, cut and wrapped. Tests: tests/cimhost/printable_test.cpp.

#include "cimhost/printable.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>

#include "cim/utf8.h"

namespace cimhost {

namespace {

std::uint32_t byteOf(char character) {
    return static_cast<unsigned char>(character);
}

/**
 * C0, DEL, C1; then characters that are not seen but make what is seen another text: directions of writing, Unicode's
 * line ends, blanks of no width, fillers, variation selectors, tags; Unicode's category Cf and its property
 * Default_Ignorable_Code_Point have them.
 */
bool isUnsafe(char32_t codePoint) {
    static constexpr std::pair<char32_t, char32_t> ranges[] = {
        {0x00, 0x1F},       {0x7F, 0x9F},       {0xAD, 0xAD},       {0x34F, 0x34F},     {0x600, 0x605},
        {0x61C, 0x61C},     {0x6DD, 0x6DD},     {0x70F, 0x70F},     {0x890, 0x891},     {0x8E2, 0x8E2},
        {0x115F, 0x1160},   {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x200B, 0x200F},   {0x2028, 0x202E},
        {0x2060, 0x206F},   {0x3164, 0x3164},   {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},
        {0xFFF0, 0xFFFB},   {0x110BD, 0x110BD}, {0x110CD, 0x110CD}, {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3},
        {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}};
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [&](const auto& range) { return codePoint >= range.first && codePoint <= range.second; });
}

/** What of valid text may be shown as it is. */
struct ShownIn {
    Charset charset;
    bool operator()(char32_t codePoint) const {
        return !isUnsafe(codePoint) && (codePoint < 0x80 || charset == Charset::utf8);
    }
};

/** Pieces that may be shown are taken over; `escape` writes the others, one call for each. */
template <typename MayShow, typename Escape>
std::string escaped(const std::string& bytes, MayShow mayShow, Escape escape) {
    std::string result;
    for (std::string_view rest = bytes; !rest.empty();) {
        const cim::Piece piece = cim::firstPiece(rest);
        const std::string original(rest.substr(0, piece.length));
        result += piece.valid && mayShow(piece.codePoint) ? original : escape(piece, original);
        rest.remove_prefix(piece.length);
    }
    return result;
}

/** How many bytes the first `columns` columns take. */
std::size_t offsetOf(std::string_view text, std::size_t columns) {
    std::string_view rest = text;
    for (; columns > 0 && !rest.empty(); --columns) rest.remove_prefix(cim::firstPiece(rest).length);
    return text.size() - rest.size();
}

/** The code point as UTF-16: `unit` writes each number of 16 bits. */
template <typename Unit>
std::string utf16(std::uint32_t codePoint, Unit unit) {
    if (codePoint < 0x10000) return unit(codePoint);
    const std::uint32_t offset = codePoint - 0x10000;
    return unit(0xD800 + (offset >> 10)) + unit(0xDC00 + (offset & 0x3FF));
}

std::string mofEscape(const cim::Piece& piece, const std::string& original) {
    constexpr std::string_view kControls = "\b\t\n\f\r";
    constexpr std::string_view kLetters = "btnfr";
    if (const std::size_t place = kControls.find(original); place != std::string::npos) return {'\\', kLetters[place]};
    return utf16(piece.valid ? std::uint32_t{piece.codePoint} : byteOf(original.front()),
                 [](std::uint32_t number) { return fmt::format("\\x{:04X}", number); });
}

}  // namespace

std::string printable(const std::string& bytes, Charset charset) {
    return escaped(bytes, ShownIn{charset}, [](const cim::Piece&, const std::string& original) {
        std::string escapes;
        for (const char each : original) escapes += fmt::format("\\x{:02x}", byteOf(each));
        return escapes;
    });
}

std::string printableJson(const std::string& json) {
    const auto mayShow = [](char32_t codePoint) { return codePoint == '\n' || !isUnsafe(codePoint); };
    return escaped(json, mayShow, [](const cim::Piece& piece, const std::string&) {
        return utf16(piece.codePoint, [](std::uint32_t number) { return fmt::format("\\u{:04x}", number); });
    });
}

std::size_t columnsOf(const std::string& text) {
    std::size_t columns = 0;
    for (std::string_view rest = text; !rest.empty(); ++columns) rest.remove_prefix(cim::firstPiece(rest).length);
    return columns;
}

std::string cut(const std::string& text, std::size_t columns) {
    if (columnsOf(text) <= columns) return text;
    const std::string ellipsis = "...";
    if (columns <= ellipsis.size()) return ellipsis.substr(0, columns);
    return text.substr(0, offsetOf(text, columns - ellipsis.size())) + ellipsis;
}

std::vector<std::string> wrap(const std::string& text, std::size_t columns) {
    std::vector<std::string> pieces;
    std::string_view rest = text;
    columns = std::max<std::size_t>(columns, 1);
    for (std::size_t end = 0; (end = offsetOf(rest, columns)) < rest.size(); rest.remove_prefix(end)) {
        const std::size_t blank = rest.rfind(' ', end - 1);
        if (blank != std::string::npos) end = blank + 1;
        pieces.emplace_back(rest.substr(0, end));
    }
    pieces.emplace_back(rest);
    return pieces;
}

std::string counted(std::size_t count, const std::string& noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

void DistinctTexts::add(const std::string& text) {
    if (!text.empty() && known_.insert(text).second) texts_.push_back(text);
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> found;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) found.push_back(line);
    return found;
}

std::string mofLiteral(const std::string& bytes, Charset charset) {
    std::string quoted;
    for (const char byte : bytes) {
        if (byte == '"' || byte == '\\') quoted += '\\';
        quoted += byte;
    }
    return '"' + escaped(quoted, ShownIn{charset}, mofEscape) + '"';
}

}  // namespace cimhost
