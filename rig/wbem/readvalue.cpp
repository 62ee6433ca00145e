// Values out of the texts that messages have for them.
// Tests: tests/wbem/operations_test.cpp (NumbersInMessages, Errors).
#include "wbem/readvalue.h"

#include <charconv>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "cim/ascii.h"
#include "cim/names.h"

namespace wbem {

namespace {

using broker::Value;

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

/** The whole text as a number; none when it is not one or too large. */
template <typename Number, typename... Format>
std::optional<Number> parsed(std::string_view text, Format... format) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, format...);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

template <typename Number>
std::optional<Value> integer(CMPIType type, std::string_view text) {
    std::string digits = text.substr(0, 1) == "-" ? "-" : "";
    if (text.substr(0, 1) == "-" || text.substr(0, 1) == "+") text.remove_prefix(1);
    const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (hexadecimal) text.remove_prefix(2);
    if (text.empty() || !cim::isHexDigit(text.front())) return std::nullopt;  // a second sign, for one
    const auto number = parsed<Number>(digits += text, hexadecimal ? 16 : 10);
    if (!number) return std::nullopt;
    if constexpr (std::is_signed_v<Number>)
        return Value::sint(type, *number);
    else
        return Value::uint(type, *number);
}

std::optional<Value> real(CMPIType type, std::string_view text) {
    if (text.find_first_not_of("0123456789+-.eE") != std::string_view::npos) return std::nullopt;  // no "nan" nor "inf"
    if (text.substr(0, 2) == "+-") return std::nullopt;
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    const auto number = parsed<double>(text);
    const bool held = number && (type != CMPI_real32 || parsed<float>(text));
    return held ? std::optional(Value::real(type, *number)) : std::nullopt;
}

}  // namespace

std::optional<bool> readBoolean(const std::string& text) {
    const std::string_view word = trimmed(text);
    if (cim::sameName(word, "true")) return true;
    if (cim::sameName(word, "false")) return false;
    return std::nullopt;
}

std::optional<Value> readValue(CMPIType type, const std::string& text) {
    switch (type) {
        case CMPI_boolean: {
            const auto value = readBoolean(text);
            return value ? std::optional(Value::boolean(*value)) : std::nullopt;
        }
        case CMPI_uint8:
            return integer<std::uint8_t>(type, trimmed(text));
        case CMPI_uint16:
            return integer<std::uint16_t>(type, trimmed(text));
        case CMPI_uint32:
            return integer<std::uint32_t>(type, trimmed(text));
        case CMPI_uint64:
            return integer<std::uint64_t>(type, trimmed(text));
        case CMPI_sint8:
            return integer<std::int8_t>(type, trimmed(text));
        case CMPI_sint16:
            return integer<std::int16_t>(type, trimmed(text));
        case CMPI_sint32:
            return integer<std::int32_t>(type, trimmed(text));
        case CMPI_sint64:
            return integer<std::int64_t>(type, trimmed(text));
        case CMPI_real32:
        case CMPI_real64:
            return real(type, trimmed(text));
        default:
            return Value::string(text);  // the object manager knows no dates, nor single characters, but as text
    }
}

std::optional<Value> readNumber(const std::string& text) {
    for (const CMPIType type : std::initializer_list<CMPIType>{CMPI_uint64, CMPI_sint64, CMPI_real64})
        if (auto number = readValue(type, text)) return number;
    return std::nullopt;
}

}  // namespace wbem
