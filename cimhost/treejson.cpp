#include <nlohmann/json.hpp>

#include "cimhost/tree.h"

namespace cimhost {

namespace {

using Json = nlohmann::ordered_json;

Json json(const Function& function) {
    return {{"location", function.location},       {"class", function.className},
            {"ids", function.vendorDevice},        {"classCode", function.classCode},
            {"description", function.description}, {"path", broker::toString(function.path)}};
}

Json json(const Slot& slot);

template <class Object>
Json arrayOf(const std::vector<Object>& objects) {
    Json array = Json::array();
    for (const Object& object : objects) array.push_back(json(object));
    return array;
}

Json json(const Slot& slot) {
    return {{"number", slot.number ? Json(*slot.number) : Json(nullptr)},
            {"designation", slot.designation},
            {"usage", slot.usage},
            {"width", slot.width},
            {"functions", arrayOf(slot.functions)}};
}

}  // namespace

std::string treeJson(const Inventory& inventory) {
    const Json document = {{"status", broker::statusName(inventory.status)},
                           {"statusCode", static_cast<int>(inventory.status)},
                           {"host", inventory.host},
                           {"board", {{"functions", arrayOf(inventory.onBoard)}}},
                           {"slots", arrayOf(inventory.slots)},
                           {"elsewhere", {{"functions", arrayOf(inventory.elsewhere)}}}};
    return document.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace cimhost
