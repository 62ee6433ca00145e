// The choice of a format, and JSON. Tests: tests/cimhost/format_test.cpp, json_test.cpp, formats.py.

#include "cimhost/formats.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cimhost/properties.h"

namespace cimhost {

namespace {

constexpr int kIndent = 2;
constexpr int kOneLine = -1;

Json json(const broker::Value& value);

/** One function for each kind of data that a value may hold. */
struct ToJson {
    Json operator()(std::monostate) const { return nullptr; }
    Json operator()(const std::vector<broker::Value>& elements) const {
        Json array = Json::array();
        for (const broker::Value& element : elements) array.push_back(json(element));
        return array;
    }
    template <typename Object>
    Json operator()(const std::shared_ptr<Object>& object) const {
        return object ? cimhost::json(*object) : Json(nullptr);
    }
    template <typename Scalar>
    Json operator()(const Scalar& scalar) const {
        return scalar;
    }
};

Json json(const broker::Value& value) {
    return value.null ? Json(nullptr) : std::visit(ToJson{}, value.data);
}

std::string dumped(const Json& json, int indent, Charset charset) {
    const bool ascii = charset == Charset::ascii;
    return printableJson(json.dump(indent, ' ', ascii, Json::error_handler_t::replace)) + '\n';
}

std::string fieldOf(const Json& value) {
    if (value.is_null()) return "";
    if (value.is_object()) return value.at("text");
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::vector<Json> objectsOf(const Answer& answer) {
    std::vector<Json> objects;
    const auto append = [&](const auto& delivered) {
        for (const auto& object : delivered) objects.push_back(cimhost::json(object));
    };
    std::visit(append, answer.objects);
    return objects;
}

Json documentOf(const Answer& answer, const std::vector<Json>& objects) {
    const char* list = std::holds_alternative<Names>(answer.objects) ? "names" : "instances";
    return {{"status", broker::statusName(answer.status)},
            {"statusCode", static_cast<int>(answer.status)},
            {list, objects}};
}

}  // namespace

Json json(const broker::ObjectPath& path) {
    Json keys = Json::object();
    for (const broker::Property& key : path.keys) keys[key.name] = json(key.value);
    return {{"text", broker::toString(path)}, {"namespace", path.nameSpace}, {"class", path.className}, {"keys", keys}};
}

Json json(const broker::Instance& instance) {
    Json object = {{"path", json(instance.path)}};
    for (const broker::Property& property : instance.properties) {
        object.emplace(property.name, json(property.value));
        if (const auto text = codeText(instance.path.className, property))
            object.emplace(property.name + kTextSuffix, json(*text));
    }
    return object;
}

std::vector<Row> rowsOf(const std::vector<Json>& records) {
    std::vector<Row> rows;
    for (const Json& record : records) {
        if (rows.empty()) rows.emplace_back();
        Row row;
        for (const auto& member : record.items()) {
            if (rows.size() == 1) rows.front().push_back(member.key());
            row.push_back(fieldOf(member.value()));
        }
        rows.push_back(row);
    }
    return rows;
}

std::string structured(Format format, const Json& document, const std::vector<Json>& records,
                       const TableOptions& options) {
    if (format == Format::json) return dumped(document, kIndent, options.charset);
    if (format != Format::jsonl) return separated(format, rowsOf(records), options);
    std::string text;
    for (const Json& record : records) text += dumped(record, kOneLine, options.charset);
    return text;
}

std::string formatted(const Answer& answer, Format format, const TableOptions& options) {
    switch (format) {
        case Format::mof:
            return asMof(answer, options.charset);
        case Format::json:
        case Format::jsonl: {
            const std::vector<Json> objects = objectsOf(answer);
            return structured(format, documentOf(answer, objects), objects, options);
        }
        case Format::csv:
        case Format::tsv:
            return separated(format, rowsOf(answer), options);
        case Format::table:
            break;
    }
    return asTable(answer, options);
}

std::string summary(const Answer& answer) {
    const std::size_t count = std::visit([](const auto& objects) { return objects.size(); }, answer.objects);
    const char* noun = std::holds_alternative<Names>(answer.objects) ? "name" : "instance";
    return fmt::format("{}, {}", broker::statusName(answer.status), counted(count, noun));
}

}  // namespace cimhost
