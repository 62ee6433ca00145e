#include "cimhost/mofformat.h"

#include <fmt/format.h>

#include <vector>

#include "cimhost/text.h"

namespace cimhost {

namespace {

std::string literal(const broker::Value& value);

std::string arrayLiteral(const std::vector<broker::Value>& elements) {
    std::string literals;
    for (const broker::Value& element : elements) literals += (literals.empty() ? "" : ", ") + literal(element);
    return '{' + literals + '}';
}

std::string literal(const broker::Value& value) {
    if (value.null) return "NULL";
    if (const auto* elements = std::get_if<std::vector<broker::Value>>(&value.data)) return arrayLiteral(*elements);
    const bool bare = std::holds_alternative<bool>(value.data) || std::holds_alternative<std::uint64_t>(value.data) ||
                      std::holds_alternative<std::int64_t>(value.data) || std::holds_alternative<double>(value.data);
    return bare ? broker::toString(value) : mofLiteral(broker::toString(value));
}

std::string declaration(const broker::Instance& instance) {
    std::string text = fmt::format("// {}\ninstance of {} {{\n", printable(instance.path.nameSpace),
                                   printable(instance.path.className));
    for (const broker::Property& property : instance.properties)
        text += fmt::format("    {} = {};  // {}{}\n", printable(property.name), literal(property.value),
                            broker::typeName(property.value.type), instance.path.key(property.name) ? ", key" : "");
    return text + "};\n\n";
}

std::string written(const Instances& instances) {
    std::string text;
    for (const broker::Instance& instance : instances) text += declaration(instance);
    return text;
}

std::string written(const Names& names) {
    std::string text;
    for (const broker::ObjectPath& path : names) text += printable(broker::toString(path)) + '\n';
    return text;
}

}  // namespace

std::string MofFormatter::text(const Answer& answer) const {
    const std::string objects = std::visit([](const auto& list) { return written(list); }, answer.objects);
    return fmt::format("{}// {}\n", objects, summary(answer));
}

}  // namespace cimhost
