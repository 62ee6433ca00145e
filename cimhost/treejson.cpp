// The choice of the tree's format, and the tree for programs. Tests: tests/cimhost/treecommand_test.cpp, formats.py.

#include <nlohmann/json.hpp>

#include "cimhost/tree.h"

namespace cimhost {

namespace {

Json json(const Function& function) {
    return {{"location", function.location},       {"class", function.className},
            {"ids", function.vendorDevice},        {"classCode", function.classCode},
            {"description", function.description}, {"path", cimhost::json(function.path)}};
}

/** What is known of a slot itself. */
Json json(const Slot& slot) {
    return {{"number", slot.number ? Json(*slot.number) : Json(nullptr)},
            {"designation", slot.designation},
            {"usage", slot.usage},
            {"width", slot.width}};
}

/** A place with its functions. */
Json placeOf(Json place, const Functions& functions) {
    place["functions"] = Json::array();
    for (const Function& function : functions) place["functions"].push_back(json(function));
    return place;
}

/** The members of `object`, all of them null. */
Json withoutValues(Json object) {
    for (Json& member : object) member = nullptr;
    return object;
}

}  // namespace

Json treeDocument(const Inventory& inventory) {
    Json slots = Json::array();
    for (const Slot& slot : inventory.slots) slots.push_back(placeOf(json(slot), slot.functions));
    return {{"status", broker::statusName(inventory.status)},
            {"statusCode", static_cast<int>(inventory.status)},
            {"host", inventory.host},
            {"readings", inventory.readings},
            {"board", placeOf({}, inventory.onBoard)},
            {"slots", slots},
            {"elsewhere", placeOf({}, inventory.elsewhere)}};
}

std::vector<Json> treeRecords(const Inventory& inventory) {
    std::vector<Json> records;
    const auto add = [&](const char* place, const Json& slot, const Json& function) {
        records.push_back({{"host", inventory.host}, {"place", place}});
        records.back().update(slot);
        records.back().update(function);
    };
    const Json noSlot = withoutValues(json(Slot()));
    for (const Function& function : inventory.onBoard) add("board", noSlot, json(function));
    for (const Slot& slot : inventory.slots) {
        for (const Function& function : slot.functions) add("slot", json(slot), json(function));
        if (slot.functions.empty()) add("slot", json(slot), withoutValues(json(Function())));
    }
    for (const Function& function : inventory.elsewhere) add("elsewhere", noSlot, json(function));
    return records;
}

std::string formatted(const Inventory& inventory, Format format, const TableOptions& options) {
    if (format == Format::table) return treeText(inventory, options);
    return structured(format, treeDocument(inventory), treeRecords(inventory), options);
}

}  // namespace cimhost
