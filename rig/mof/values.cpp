#include "mof/values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <regex>
#include <string_view>
#include <system_error>

#include "mof/lexer.h"
#include "cim/names.h"

namespace mof {

namespace {

using Kind = syntax::Constant::Kind;

struct NamedType {
    const char* name;
    Type type;
};

constexpr std::array<NamedType, 15> kTypes = {{{"boolean", Type::boolean},
                                               {"char16", Type::char16},
                                               {"uint8", Type::uint8},
                                               {"sint8", Type::sint8},
                                               {"uint16", Type::uint16},
                                               {"sint16", Type::sint16},
                                               {"uint32", Type::uint32},
                                               {"sint32", Type::sint32},
                                               {"uint64", Type::uint64},
                                               {"sint64", Type::sint64},
                                               {"real32", Type::real32},
                                               {"real64", Type::real64},
                                               {"datetime", Type::datetime},
                                               {"string", Type::string},
                                               {"reference", Type::reference}}};

struct Integer {
    bool negative = false;
    std::uint64_t magnitude = 0;
};

/** The value of an integer as the grammar has it; none when it takes more than 64 bits. */
std::optional<Integer> integerOf(std::string_view text) {
    Integer integer;
    if (text.front() == '+' || text.front() == '-') {
        integer.negative = text.front() == '-';
        text.remove_prefix(1);
    }
    int base = 10;
    const auto last = static_cast<char>(text.back() | 0x20);
    if (text.size() > 1 && (text[1] | 0x20) == 'x') {
        base = 16;
        text.remove_prefix(2);
    } else if (last == 'b') {
        base = 2;
        text.remove_suffix(1);
    } else if (text.front() == '0') {
        base = 8;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), integer.magnitude, base);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return integer;
}

template <typename Number>
bool fits(const Integer& integer) {
    using Limits = std::numeric_limits<Number>;
    const auto most = static_cast<std::uint64_t>(Limits::max());
    if (!integer.negative) return integer.magnitude <= most;
    return integer.magnitude <= (Limits::is_signed ? most + 1 : 0);
}

template <typename Number>
bool integerFits(const syntax::Constant& constant) {
    if (constant.kind != Kind::integer) return false;
    const std::optional<Integer> integer = integerOf(constant.text);
    return integer && fits<Number>(*integer);
}

/** A whole number counts when it is decimal. */
template <typename Number>
bool realFits(const syntax::Constant& constant) {
    if (constant.kind != Kind::integer && constant.kind != Kind::real) return false;
    std::string_view text = constant.text;
    if (text.front() == '+') text.remove_prefix(1);
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

/** yyyymmddhhmmss.mmmmmmsutc or ddddddddhhmmss.mmmmmm:000, in which stars may stand for digits. */
bool isDatetime(const std::string& text) {
    static const std::regex kForm(R"([0-9*]{14}\.[0-9*]{6}([+-][0-9]{3}|:000))");
    return text.size() == 25 && std::regex_match(text, kForm);
}

}  // namespace

std::string typeName(Type type) {
    const auto* found = std::find_if(kTypes.begin(), kTypes.end(), [&](auto& known) { return known.type == type; });
    return found->name;
}

std::optional<Type> typeNamed(const std::string& name) {
    for (const NamedType& known : kTypes) {
        if (known.type != Type::reference && cim::sameName(known.name, name)) return known.type;
    }
    return std::nullopt;
}

std::string shown(const syntax::Constant& constant) {
    if (constant.kind == Kind::string) return "a string";
    return constant.kind == Kind::character ? "a character" : constant.text;
}

bool holds(Type type, const syntax::Constant& constant) {
    switch (type) {
        case Type::boolean:
            return constant.kind == Kind::boolean;
        case Type::char16:
            return constant.kind == Kind::character;
        case Type::uint8:
            return integerFits<std::uint8_t>(constant);
        case Type::sint8:
            return integerFits<std::int8_t>(constant);
        case Type::uint16:
            return integerFits<std::uint16_t>(constant);
        case Type::sint16:
            return integerFits<std::int16_t>(constant);
        case Type::uint32:
            return integerFits<std::uint32_t>(constant);
        case Type::sint32:
            return integerFits<std::int32_t>(constant);
        case Type::uint64:
            return integerFits<std::uint64_t>(constant);
        case Type::sint64:
            return integerFits<std::int64_t>(constant);
        case Type::real32:
            return realFits<float>(constant);
        case Type::real64:
            return realFits<double>(constant);
        case Type::datetime:
            return constant.kind == Kind::string && isDatetime(constant.text);
        case Type::string:
            return constant.kind == Kind::string;
        case Type::reference:
            return false;
    }
    return false;
}

}  // namespace mof
