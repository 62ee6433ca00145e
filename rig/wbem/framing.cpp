// Where a request's head and body end, beyond doubt.
// Tests: tests/wbem/httpserver_test.cpp.
#include "wbem/framing.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "cim/names.h"

namespace wbem {

namespace {

using Field = std::pair<const char*, const char*>;

/** Whether each text begins where the one before it has ended with CR LF. */
bool linesAreWhole(const RawHead& head) {
    const auto afterLine = [](const char* text) { return text + std::strlen(text) + 2; };
    const char* place = afterLine(head.version);
    for (const auto& [name, value] : head.fields) {
        if (name != place) return false;
        place = afterLine(value);
    }
    return place + 2 == head.begin + head.size;
}

bool isControl(char letter) {
    const auto code = static_cast<unsigned char>(letter);
    return (code < 0x20 && code != '\t') || code == 0x7f;
}

bool isWellFormed(const Field& field) {
    const std::string_view name = field.first;
    const std::string_view value = field.second;
    return name.find_first_of(" \t\"(),/:;<=>?@[\\]{}") == std::string_view::npos && !name.empty() &&
           std::none_of(name.begin(), name.end(), isControl) && std::none_of(value.begin(), value.end(), isControl);
}

}  // namespace

std::optional<ProtocolError> framingFault(const RawHead& head) {
    if (!linesAreWhole(head)) return httpError(400, "lines have to end with CR LF, and none may go on in the next");
    // The library ends the texts in the request line with null characters.
    const bool lineIsWellFormed =
        std::none_of(head.begin, head.version, [](char letter) { return letter != '\0' && isControl(letter); });
    if (!lineIsWellFormed || !std::all_of(head.fields.begin(), head.fields.end(), isWellFormed))
        return httpError(400, "there are characters in the head that may not be there");
    const auto count = [&](const char* name) {
        return std::count_if(head.fields.begin(), head.fields.end(),
                             [&](const Field& field) { return cim::sameName(field.first, name); });
    };
    const auto lengths = count("Content-Length");
    const auto encodings = count("Transfer-Encoding");
    if (lengths + encodings > 1) return httpError(400, "the length of the body is told more than once");
    const auto hosts = count("Host");
    const bool old = std::strcmp(head.version, "HTTP/1.0") == 0;
    if (hosts > 1 || (hosts == 0 && !old)) return httpError(400, "there has to be one Host header");
    for (const auto& [name, value] : head.fields) {
        if (!cim::sameName(name, "Transfer-Encoding")) continue;
        if (!cim::sameName(value, "chunked"))
            return httpError(501, "the only transfer encoding that is known is chunked");
        if (old) return httpError(400, "HTTP/1.0 has no transfer encodings");
    }
    return std::nullopt;
}

}  // namespace wbem
