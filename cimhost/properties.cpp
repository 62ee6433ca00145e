#include "cimhost/properties.h"

#include <fmt/format.h>

#include <vector>

#include "broker/matching.h"

namespace cimhost {

namespace {

const broker::Value* valueOf(const broker::Instance& instance, const std::string& name) {
    const broker::Value* value = instance.property(name);
    return value && !value->null ? value : nullptr;
}

}  // namespace

std::string cellText(const broker::Value& value) {
    const broker::ObjectPath* path = broker::referenceOf(value);
    if (!path || path->keys.empty()) return broker::toString(value);
    return fmt::format("{} \"{}\"", path->className, cellText(path->keys.back().value));
}

std::optional<std::uint64_t> numberOf(const broker::Instance& instance, const std::string& name) {
    const broker::Value* value = valueOf(instance, name);
    if (!value) return std::nullopt;
    if (const auto* elements = std::get_if<std::vector<broker::Value>>(&value->data))
        value = elements->empty() ? value : &elements->front();
    const auto* number = std::get_if<std::uint64_t>(&value->data);
    return number ? std::optional<std::uint64_t>(*number) : std::nullopt;
}

std::string textOf(const broker::Instance& instance, const std::string& name) {
    const broker::Value* value = valueOf(instance, name);
    return value ? cellText(*value) : kNothing;
}

std::string hexOf(const broker::Instance& instance, const std::string& name, int digits) {
    const auto number = numberOf(instance, name);
    return number ? fmt::format("{:0{}x}", *number, digits) : kNothing;
}

std::string hexPairOf(const broker::Instance& instance, const std::string& first, const std::string& second,
                      int digits) {
    return hexOf(instance, first, digits) + ":" + hexOf(instance, second, digits);
}

std::string codeOf(const broker::Instance& instance, const std::string& name, std::string (*nameOf)(std::uint64_t)) {
    const auto code = numberOf(instance, name);
    return code ? nameOf(*code) : kNothing;
}

}  // namespace cimhost
