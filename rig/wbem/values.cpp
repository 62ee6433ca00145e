#include "wbem/values.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>

#include "cim/names.h"

namespace wbem {

namespace {

using broker::Value;

constexpr CMPIType kTypes[] = {CMPI_boolean, CMPI_uint8,  CMPI_uint16, CMPI_uint32, CMPI_uint64,
                               CMPI_sint8,   CMPI_sint16, CMPI_sint32, CMPI_sint64, CMPI_real32,
                               CMPI_real64,  CMPI_char16, CMPI_string, CMPI_ref,    CMPI_dateTime};

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

/** The whole text as a number; none when it is not one or too large. */
template <class Number, class... Format>
std::optional<Number> parsed(std::string_view text, Format... format) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, format...);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

std::optional<std::uint64_t> readUnsigned(std::string_view text) {
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    return hexadecimal ? parsed<std::uint64_t>(text.substr(2), 16) : parsed<std::uint64_t>(text);
}

std::optional<std::int64_t> readSigned(std::string_view text) {
    if (text.substr(0, 2) == "-+") return std::nullopt;
    const bool negative = !text.empty() && text.front() == '-';
    if (negative) text.remove_prefix(1);
    const auto magnitude = readUnsigned(text);
    constexpr auto kLimit = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!magnitude || *magnitude > kLimit + (negative ? 1 : 0)) return std::nullopt;
    return static_cast<std::int64_t>(negative ? 0 - *magnitude : *magnitude);
}

unsigned bitsOf(CMPIType type) {
    switch (type) {
        case CMPI_uint8:
        case CMPI_sint8:
            return 8;
        case CMPI_uint16:
        case CMPI_sint16:
            return 16;
        case CMPI_uint32:
        case CMPI_sint32:
            return 32;
        default:
            return 64;
    }
}

std::optional<Value> unsignedValue(CMPIType type, std::string_view text) {
    const auto number = readUnsigned(text);
    if (!number || *number > std::numeric_limits<std::uint64_t>::max() >> (64 - bitsOf(type))) return std::nullopt;
    return Value::uint(type, *number);
}

std::optional<Value> signedValue(CMPIType type, std::string_view text) {
    const auto number = readSigned(text);
    const std::int64_t limit = std::numeric_limits<std::int64_t>::max() >> (64 - bitsOf(type));
    if (!number || *number > limit || *number < -limit - 1) return std::nullopt;
    return Value::sint(type, *number);
}

std::optional<Value> realValue(CMPIType type, std::string_view text) {
    if (text.find_first_not_of("0123456789+-.eE") != std::string_view::npos) return std::nullopt;  // no "nan" nor "inf"
    if (text.substr(0, 2) == "+-") return std::nullopt;
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    const auto number = parsed<double>(text);
    const bool held = number && (type != CMPI_real32 || parsed<float>(text));
    return held ? std::optional(Value::real(type, *number)) : std::nullopt;
}

}  // namespace

std::optional<CMPIType> typeNamed(const std::string& name) {
    for (const CMPIType type : kTypes)
        if (broker::typeName(type) == name) return type;
    return std::nullopt;
}

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
        case CMPI_uint16:
        case CMPI_uint32:
        case CMPI_uint64:
            return unsignedValue(type, trimmed(text));
        case CMPI_sint8:
        case CMPI_sint16:
        case CMPI_sint32:
        case CMPI_sint64:
            return signedValue(type, trimmed(text));
        case CMPI_real32:
        case CMPI_real64:
            return realValue(type, trimmed(text));
        default:
            return Value::string(text);  // the object manager knows no dates, nor single characters, but as text
    }
}

std::optional<Value> readNumber(const std::string& text) {
    std::optional<Value> number = readValue(CMPI_uint64, text);
    if (!number) number = readValue(CMPI_sint64, text);
    if (!number) number = readValue(CMPI_real64, text);
    return number;
}

}  // namespace wbem
