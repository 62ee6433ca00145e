#ifndef PCIINFO_CIM_UTF8_H
#define PCIINFO_CIM_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

namespace cim {

/** A character of 1 to 4 bytes, or a single byte that begins none, as overlong forms and surrogates do not. */
struct Piece {
    std::size_t length = 1;
    bool valid = false;
    char32_t codePoint = 0;  // 0 where not valid
};

/** What is at the start of a text, which may not be empty, read as UTF-8. */
Piece firstPiece(std::string_view bytes);

/** The bytes of a character. Of code points only: no surrogates, nothing above 10FFFFh. */
std::string encoded(char32_t codePoint);

}  // namespace cim

#endif
