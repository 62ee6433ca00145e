#include "cimhost/jsonformat.h"

#include <nlohmann/json.hpp>

#include <vector>

namespace cimhost {

namespace {

using Json = nlohmann::ordered_json;

Json json(const broker::Value& value);
Json json(const broker::ObjectPath& path);
Json json(const broker::Instance& instance);

/** One function for each kind of data that a value may hold. */
struct ToJson {
    Json operator()(std::monostate) const { return nullptr; }
    Json operator()(const std::vector<broker::Value>& elements) const {
        Json array = Json::array();
        for (const broker::Value& element : elements) array.push_back(json(element));
        return array;
    }
    template <class Object>
    Json operator()(const std::shared_ptr<Object>& object) const {
        return object ? json(*object) : Json(nullptr);
    }
    template <class Scalar>
    Json operator()(const Scalar& scalar) const {
        return scalar;
    }
};

Json json(const broker::Value& value) {
    return value.null ? Json(nullptr) : std::visit(ToJson{}, value.data);
}

Json json(const broker::Property& property, bool key) {
    Json object = {
        {"name", property.name}, {"type", broker::typeName(property.value.type)}, {"value", json(property.value)}};
    if (key) object["key"] = true;
    return object;
}

Json head(const broker::ObjectPath& path) {
    return {{"path", broker::toString(path)}, {"namespace", path.nameSpace}, {"class", path.className}};
}

Json json(const broker::ObjectPath& path) {
    Json object = head(path);
    object["keys"] = Json::array();
    for (const broker::Property& key : path.keys) object["keys"].push_back(json(key, true));
    return object;
}

Json json(const broker::Instance& instance) {
    Json object = head(instance.path);
    object["properties"] = Json::array();
    for (const broker::Property& property : instance.properties)
        object["properties"].push_back(json(property, instance.path.key(property.name) != nullptr));
    return object;
}

}  // namespace

std::string JsonFormatter::text(const Answer& answer) const {
    Json document = {{"status", broker::statusName(answer.status)}, {"statusCode", static_cast<int>(answer.status)}};
    Json& list = document[std::holds_alternative<Names>(answer.objects) ? "names" : "instances"];
    list = Json::array();
    const auto append = [&list](const auto& objects) {
        for (const auto& object : objects) list.push_back(json(object));
    };
    std::visit(append, answer.objects);
    return document.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace cimhost
