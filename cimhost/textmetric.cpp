// How wide texts are in pictures, without a font at hand. Tests: tests/cimhost/picture_test.cpp,
// tests/e2e/page.py.

#include "cimhost/textmetric.h"

#include <array>
#include <cstdint>
#include <string_view>

#include "cim/utf8.h"

namespace cimhost {

namespace {

// Hundredths of a font's size.
using Hundredths = std::int64_t;

constexpr std::size_t kLetters = 0x7F - 0x20;

// clang-format off
/** Of the letters from 20h to 7Eh the greater widths in DejaVu Sans and in the fonts with the widths of Arial. */
constexpr std::array<Hundredths, kLetters> kRegular = {
    32, 41, 46, 84, 64, 96, 78, 28, 40, 40, 50, 84, 32, 37, 32, 34, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 34, 34,
    84, 84, 84, 56, 102, 69, 69, 73, 78, 67, 62, 78, 76, 30, 50, 67, 56, 87, 75, 79, 67, 79, 73, 67, 62, 74, 69, 99,
    69, 67, 69, 40, 34, 40, 84, 56, 50, 62, 64, 55, 64, 62, 36, 64, 64, 28, 28, 58, 28, 98, 64, 62, 64, 64, 42, 53,
    40, 64, 60, 82, 60, 60, 53, 64, 34, 64, 84};
constexpr std::array<Hundredths, kLetters> kBold = {
    35, 46, 53, 84, 70, 101, 88, 31, 46, 46, 53, 84, 38, 42, 38, 37, 70, 70, 70, 70, 70, 70, 70, 70, 70, 70, 40, 40,
    84, 84, 84, 62, 100, 78, 77, 74, 84, 69, 69, 83, 84, 38, 56, 78, 64, 100, 84, 86, 74, 86, 78, 73, 69, 82, 78,
    111, 78, 73, 73, 46, 37, 46, 84, 56, 50, 68, 72, 60, 72, 68, 44, 72, 72, 35, 35, 67, 35, 105, 72, 69, 72, 72, 50,
    60, 48, 72, 66, 93, 65, 66, 59, 72, 37, 72, 84};
// clang-format on
constexpr Hundredths kFixed = 62;
constexpr Hundredths kForeign = 160;
constexpr const char* kEllipsis = "\u2026";

Hundredths widthOf(const cim::Piece& piece, const Font& font) {
    if (piece.codePoint < 0x20 || piece.codePoint > 0x7E) return kForeign;
    if (font.fixed) return kFixed;
    return (font.bold ? kBold : kRegular)[piece.codePoint - 0x20];
}

/** In whole pixels, never too few. */
int pixels(Hundredths width, const Font& font) {
    return static_cast<int>((width * font.size + 99) / 100);
}

/** How many bytes of the text fit. */
std::size_t fittingBytes(std::string_view text, const Font& font, int width) {
    Hundredths taken = 0;
    std::string_view rest = text;
    while (!rest.empty()) {
        const cim::Piece piece = cim::firstPiece(rest);
        taken += widthOf(piece, font);
        if (pixels(taken, font) > width) break;
        rest.remove_prefix(piece.length);
    }
    return text.size() - rest.size();
}

std::string trimmedEnd(const std::string& text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

int widthOf(const std::string& text, const Font& font) {
    Hundredths width = 0;
    for (std::string_view rest = text; !rest.empty();) {
        const cim::Piece piece = cim::firstPiece(rest);
        width += widthOf(piece, font);
        rest.remove_prefix(piece.length);
    }
    return pixels(width, font);
}

std::string fitted(const std::string& text, const Font& font, int width) {
    if (fittingBytes(text, font, width) == text.size()) return text;
    const int ellipsis = widthOf(kEllipsis, font);
    if (ellipsis > width) return "";
    return trimmedEnd(text.substr(0, fittingBytes(text, font, width - ellipsis))) + kEllipsis;
}

std::vector<std::string> fittedLines(const std::string& text, const Font& font, int width, std::size_t lines) {
    std::vector<std::string> result;
    std::string rest = text;
    while (!rest.empty()) {
        const std::size_t fitting = fittingBytes(rest, font, width);
        const std::size_t blank = fitting < rest.size() ? rest.rfind(' ', fitting) : std::string::npos;
        if (result.size() + 1 >= lines || fitting == rest.size() || blank == std::string::npos || blank == 0) {
            result.push_back(fitted(rest, font, width));
            return result;
        }
        result.push_back(trimmedEnd(rest.substr(0, blank)));
        rest.erase(0, blank + 1);
    }
    return result;
}

}  // namespace cimhost
