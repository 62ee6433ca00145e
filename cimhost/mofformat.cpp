// Answers as MOF. Tests: tests/cimhost/format_test.cpp.

#include <fmt/format.h>

#include "cimhost/formats.h"

namespace cimhost {

namespace {

/** Writes MOF in one character set. */
class Writer {
 public:
    explicit Writer(Charset charset) : charset_(charset) {}

    std::string operator()(const Instances& instances) const {
        std::string text;
        for (const broker::Instance& instance : instances) text += declaration(instance);
        return text;
    }
    std::string operator()(const Names& names) const {
        std::string text;
        for (const broker::ObjectPath& path : names) text += shown(broker::toString(path)) + '\n';
        return text;
    }

 private:
    std::string shown(const std::string& text) const { return printable(text, charset_); }

    std::string declaration(const broker::Instance& instance) const {
        std::string text = fmt::format("// {}\ninstance of {} {{\n", shown(broker::toString(instance.path)),
                                       shown(instance.path.className));
        for (const broker::Property& property : instance.properties)
            text += fmt::format("    {} = {};  // {}{}\n", shown(property.name), literal(property.value),
                                broker::typeName(property.value.type), instance.path.key(property.name) ? ", key" : "");
        return text + "};\n\n";
    }

    std::string literal(const broker::Value& value) const {
        if (value.null) return "NULL";
        if (const auto* elements = std::get_if<std::vector<broker::Value>>(&value.data)) return arrayLiteral(*elements);
        const bool bare =
            std::holds_alternative<bool>(value.data) || std::holds_alternative<std::uint64_t>(value.data) ||
            std::holds_alternative<std::int64_t>(value.data) || std::holds_alternative<double>(value.data);
        return bare ? broker::toString(value) : mofLiteral(broker::toString(value), charset_);
    }

    std::string arrayLiteral(const std::vector<broker::Value>& elements) const {
        std::string literals;
        for (const broker::Value& element : elements) literals += (literals.empty() ? "" : ", ") + literal(element);
        return '{' + literals + '}';
    }

    Charset charset_;
};

}  // namespace

std::string asMof(const Answer& answer, Charset charset) {
    return fmt::format("{}// {}\n", std::visit(Writer(charset), answer.objects), summary(answer));
}

}  // namespace cimhost
