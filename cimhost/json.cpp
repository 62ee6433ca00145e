#include "cimhost/json.h"

#include <vector>

#include "cimhost/codetexts.h"

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
    template <class Object>
    Json operator()(const std::shared_ptr<Object>& object) const {
        return object ? cimhost::json(*object) : Json(nullptr);
    }
    template <class Scalar>
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

std::string document(const Json& json, Charset charset) {
    return dumped(json, kIndent, charset);
}

std::string line(const Json& json, Charset charset) {
    return dumped(json, kOneLine, charset);
}

}  // namespace cimhost
