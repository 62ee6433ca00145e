// Which of the objects that were delivered a path names. Tests: tests/broker/matching_test.cpp.
#include "broker/matching.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>

#include "cim/names.h"

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

/** What a value refers to, read out of a text where it is one. */
std::shared_ptr<const Wanted> wantedReference(const Value& value) {
    if (const ObjectPath* path = referenceOf(value)) return std::make_shared<Wanted>(*path);
    const auto* text = std::get_if<std::string>(&value.data);
    if (text == nullptr) return nullptr;
    try {
        return std::make_shared<Wanted>(parseObjectPath(*text));
    } catch (const std::invalid_argument&) {
        return nullptr;
    }
}

}  // namespace

const ObjectPath* referenceOf(const Value& value) {
    const auto* reference = std::get_if<std::shared_ptr<ObjectPath>>(&value.data);
    return reference ? reference->get() : nullptr;
}

Wanted::Wanted(const ObjectPath& path) {
    for (const Property& key : path.keys)
        keys_.push_back({cim::foldedName(key.name), key.value, wantedReference(key.value)});
    std::stable_sort(keys_.begin(), keys_.end(), [](const Key& a, const Key& b) { return a.name < b.name; });
}

bool Wanted::Key::isEqual(const Value& other) const {
    if (value.null || other.null) return value.null && other.null;
    if (const ObjectPath* path = referenceOf(other)) return reference && sameObject(*path, *reference);
    const std::optional<Integer> number = integerOf(other);
    return number ? number == integerOf(value) : other.data == value.data;
}

bool hasKeysOf(const ObjectPath& path, const Wanted& wanted) {
    return std::all_of(wanted.keys_.begin(), wanted.keys_.end(), [&](const Wanted::Key& key) {
        const Value* value = path.key(key.name);
        return value && key.isEqual(*value);
    });
}

bool sameObject(const ObjectPath& path, const Wanted& wanted) {
    if (path.keys.size() != wanted.keys_.size()) return false;
    std::vector<std::pair<std::string, const Value*>> keys;
    for (const Property& key : path.keys) keys.emplace_back(cim::foldedName(key.name), &key.value);
    std::stable_sort(keys.begin(), keys.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    return std::equal(keys.begin(), keys.end(), wanted.keys_.begin(), [](const auto& key, const Wanted::Key& other) {
        return key.first == other.name && other.isEqual(*key.second);
    });
}

}  // namespace broker
