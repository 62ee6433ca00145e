// Which of the objects that were delivered a path names. Tests: tests/broker/matching_test.cpp.
#include "broker/matching.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>

namespace broker {

namespace {

/** Integers in the form in which all of them can be compared: the sign and the magnitude. */
struct Integer {
    bool negative = false;
    std::uint64_t magnitude = 0;
    bool operator==(const Integer& other) const { return negative == other.negative && magnitude == other.magnitude; }
};

std::optional<Integer> integerOf(const Value& value) {
    if (const auto* number = std::get_if<std::uint64_t>(&value.data)) return Integer{false, *number};
    if (const auto* number = std::get_if<std::int64_t>(&value.data)) {
        const auto bits = static_cast<std::uint64_t>(*number);
        return *number < 0 ? Integer{true, ~bits + 1} : Integer{false, bits};
    }
    return std::nullopt;
}

bool sameReference(const ObjectPath& reference, const Value& wanted) {
    if (const ObjectPath* path = referenceOf(wanted)) return sameObject(reference, *path);
    // Within a path a reference is written as quoted text, so it may have been read as a text.
    const auto* text = std::get_if<std::string>(&wanted.data);
    if (!text) return false;
    try {
        return sameObject(reference, parseObjectPath(*text));
    } catch (const std::invalid_argument&) {
        return false;
    }
}

bool sameKeyValue(const Value& value, const Value& wanted) {
    if (value.null || wanted.null) return value.null && wanted.null;
    if (const ObjectPath* reference = referenceOf(value)) return sameReference(*reference, wanted);
    const std::optional<Integer> number = integerOf(value);
    return number ? number == integerOf(wanted) : value.data == wanted.data;
}

}  // namespace

const ObjectPath* referenceOf(const Value& value) {
    const auto* reference = std::get_if<std::shared_ptr<ObjectPath>>(&value.data);
    return reference ? reference->get() : nullptr;
}

bool hasKeysOf(const ObjectPath& path, const ObjectPath& wanted) {
    return std::all_of(wanted.keys.begin(), wanted.keys.end(), [&](const Property& key) {
        const Value* value = path.key(key.name);
        return value && sameKeyValue(*value, key.value);
    });
}

bool sameObject(const ObjectPath& left, const ObjectPath& right) {
    return left.keys.size() == right.keys.size() && hasKeysOf(left, right) && hasKeysOf(right, left);
}

}  // namespace broker
