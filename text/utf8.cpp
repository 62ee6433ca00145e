#include "text/utf8.h"

#include <utf8.h>

namespace text {

Piece firstPiece(std::string_view bytes) {
    const char* end = bytes.data();
    try {
        const char32_t codePoint = utf8::next(end, bytes.data() + bytes.size());
        return {static_cast<std::size_t>(end - bytes.data()), true, codePoint};
    } catch (const utf8::exception&) {
        return {};
    }
}

}  // namespace text
