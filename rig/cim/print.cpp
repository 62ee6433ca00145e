// Values and object paths as text. Tests: tests/broker/text_test.cpp.

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "cim/data.h"

namespace cim {

namespace {

template <typename Number>
std::string decimal(Number number) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return {digits.data(), end};
}

struct Text {
    std::string operator()(std::monostate) const { return ""; }
    std::string operator()(bool value) const { return value ? "TRUE" : "FALSE"; }
    std::string operator()(std::uint64_t number) const { return decimal(number); }
    std::string operator()(std::int64_t number) const { return decimal(number); }
    std::string operator()(double number) const {
        const std::string text = decimal(number);
        return text.find_first_not_of("-0123456789") == std::string::npos ? text + ".0" : text;
    }
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(const std::shared_ptr<ObjectPath>& path) const { return toString(*path); }
    std::string operator()(const std::shared_ptr<Instance>& instance) const { return toString(instance->path); }
    std::string operator()(const std::vector<Value>& elements) const {
        std::string text;
        const char* separator = "";
        for (const Value& element : elements) {
            text += separator + toString(element);
            separator = ", ";
        }
        return text;
    }
};

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\') result += '\\';
        result += letter;
    }
    return result + '"';
}

std::string keyText(const Value& value) {
    const bool textual = std::holds_alternative<std::string>(value.data) ||
                         std::holds_alternative<std::shared_ptr<ObjectPath>>(value.data);
    return textual && !value.null ? quoted(toString(value)) : toString(value);
}

template <typename Code, std::size_t size>
const char* nameOf(const std::array<std::pair<Code, const char*>, size>& names, Code code) {
    const auto found = std::find_if(names.begin(), names.end(), [&](const auto& name) { return name.first == code; });
    return found == names.end() ? nullptr : found->second;
}

constexpr std::array<std::pair<CMPIType, const char*>, 18> typeNames{{
    {CMPI_null, "null"},
    {CMPI_boolean, "boolean"},
    {CMPI_char16, "char16"},
    {CMPI_real32, "real32"},
    {CMPI_real64, "real64"},
    {CMPI_uint8, "uint8"},
    {CMPI_uint16, "uint16"},
    {CMPI_uint32, "uint32"},
    {CMPI_uint64, "uint64"},
    {CMPI_sint8, "sint8"},
    {CMPI_sint16, "sint16"},
    {CMPI_sint32, "sint32"},
    {CMPI_sint64, "sint64"},
    {CMPI_instance, "instance"},
    {CMPI_ref, "reference"},
    {CMPI_string, "string"},
    {CMPI_chars, "string"},
    {CMPI_dateTime, "datetime"},
}};

constexpr std::array<std::pair<CMPIrc, const char*>, 28> statusNames{{
    {CMPI_RC_OK, "CMPI_RC_OK"},
    {CMPI_RC_ERR_FAILED, "CMPI_RC_ERR_FAILED"},
    {CMPI_RC_ERR_ACCESS_DENIED, "CMPI_RC_ERR_ACCESS_DENIED"},
    {CMPI_RC_ERR_INVALID_NAMESPACE, "CMPI_RC_ERR_INVALID_NAMESPACE"},
    {CMPI_RC_ERR_INVALID_PARAMETER, "CMPI_RC_ERR_INVALID_PARAMETER"},
    {CMPI_RC_ERR_INVALID_CLASS, "CMPI_RC_ERR_INVALID_CLASS"},
    {CMPI_RC_ERR_NOT_FOUND, "CMPI_RC_ERR_NOT_FOUND"},
    {CMPI_RC_ERR_NOT_SUPPORTED, "CMPI_RC_ERR_NOT_SUPPORTED"},
    {CMPI_RC_ERR_CLASS_HAS_CHILDREN, "CMPI_RC_ERR_CLASS_HAS_CHILDREN"},
    {CMPI_RC_ERR_CLASS_HAS_INSTANCES, "CMPI_RC_ERR_CLASS_HAS_INSTANCES"},
    {CMPI_RC_ERR_INVALID_SUPERCLASS, "CMPI_RC_ERR_INVALID_SUPERCLASS"},
    {CMPI_RC_ERR_ALREADY_EXISTS, "CMPI_RC_ERR_ALREADY_EXISTS"},
    {CMPI_RC_ERR_NO_SUCH_PROPERTY, "CMPI_RC_ERR_NO_SUCH_PROPERTY"},
    {CMPI_RC_ERR_TYPE_MISMATCH, "CMPI_RC_ERR_TYPE_MISMATCH"},
    {CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, "CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED"},
    {CMPI_RC_ERR_INVALID_QUERY, "CMPI_RC_ERR_INVALID_QUERY"},
    {CMPI_RC_ERR_METHOD_NOT_AVAILABLE, "CMPI_RC_ERR_METHOD_NOT_AVAILABLE"},
    {CMPI_RC_ERR_METHOD_NOT_FOUND, "CMPI_RC_ERR_METHOD_NOT_FOUND"},
    {CMPI_RC_NO_MORE_ELEMENTS, "CMPI_RC_NO_MORE_ELEMENTS"},
    {CMPI_RC_ERR_SERVER_LIMITS_EXCEEDED, "CMPI_RC_ERR_SERVER_LIMITS_EXCEEDED"},
    {CMPI_RC_ERR_QUERY_FEATURE_NOT_SUPPORTED, "CMPI_RC_ERR_QUERY_FEATURE_NOT_SUPPORTED"},
    {CMPI_RC_DO_NOT_UNLOAD, "CMPI_RC_DO_NOT_UNLOAD"},
    {CMPI_RC_NEVER_UNLOAD, "CMPI_RC_NEVER_UNLOAD"},
    {CMPI_RC_ERR_INVALID_HANDLE, "CMPI_RC_ERR_INVALID_HANDLE"},
    {CMPI_RC_ERR_INVALID_DATA_TYPE, "CMPI_RC_ERR_INVALID_DATA_TYPE"},
    {CMPI_RC_ERR_NOT_IN_CODEPAGE, "CMPI_RC_ERR_NOT_IN_CODEPAGE"},
    {CMPI_RC_ERROR_SYSTEM, "CMPI_RC_ERROR_SYSTEM"},
    {CMPI_RC_ERROR, "CMPI_RC_ERROR"},
}};

}  // namespace

std::string toString(const ObjectPath& path) {
    std::string text = path.nameSpace + ":" + path.className;
    char separator = '.';
    for (const Property& key : path.keys) {
        text += separator + key.name + "=" + keyText(key.value);
        separator = ',';
    }
    return text;
}

std::string toString(const Value& value) {
    return value.null ? "NULL" : std::visit(Text{}, value.data);
}

std::string typeName(CMPIType type) {
    const char* name = nameOf(typeNames, static_cast<CMPIType>(type & ~CMPI_ARRAY));
    if (name == nullptr) return "type(" + decimal(type) + ")";
    return (type & CMPI_ARRAY) != 0 ? std::string(name) + "[]" : name;
}

std::string statusName(CMPIrc rc) {
    const char* name = nameOf(statusNames, rc);
    return name == nullptr ? "CMPI_RC_(" + decimal(static_cast<int>(rc)) + ")" : name;
}

}  // namespace cim
