// UTF-8 by the library UTF8-CPP. Tests: tests/wbem, tests/schema, tests/cimhost.
#include "cim/utf8.h"

#include <utf8.h>

#include <iterator>

namespace cim {

Piece firstPiece(std::string_view bytes) {
    const char* end = bytes.data();
    try {
        const char32_t codePoint = utf8::next(end, bytes.data() + bytes.size());
        return {static_cast<std::size_t>(end - bytes.data()), true, codePoint};
    } catch (const utf8::exception&) {
        return {};
    }
}

std::string encoded(char32_t codePoint) {
    std::string bytes;
    utf8::append(codePoint, std::back_inserter(bytes));
    return bytes;
}

}  // namespace cim
