#include <vector>

#include "cimhost/json.h"
#include "cimhost/tree.h"

namespace cimhost {

namespace {

Json json(const Function& function) {
    return {{"location", function.location},       {"class", function.className},
            {"ids", function.vendorDevice},        {"classCode", function.classCode},
            {"description", function.description}, {"path", cimhost::json(function.path)}};
}

/** What is known of a slot itself. */
Json head(const Slot& slot) {
    return {{"number", slot.number ? Json(*slot.number) : Json(nullptr)},
            {"designation", slot.designation},
            {"usage", slot.usage},
            {"width", slot.width}};
}

Json json(const Slot& slot);

template <class Object>
Json arrayOf(const std::vector<Object>& objects) {
    Json array = Json::array();
    for (const Object& object : objects) array.push_back(json(object));
    return array;
}

Json json(const Slot& slot) {
    Json object = head(slot);
    object["functions"] = arrayOf(slot.functions);
    return object;
}

/** The members of `object`, all of them null. */
Json withoutValues(Json object) {
    for (Json& member : object) member = nullptr;
    return object;
}

/** Collects the records of a tree, each of the same members. */
class Records {
 public:
    explicit Records(const std::string& host) : host_(host) {}

    void add(const std::string& place, const Json& slot, const Functions& functions) {
        for (const Function& function : functions) addOne(place, slot, json(function));
    }
    void addEmpty(const Slot& slot) { addOne("slot", head(slot), withoutValues(json(Function()))); }

    const std::vector<Json>& all() const { return records_; }

 private:
    void addOne(const std::string& place, const Json& slot, const Json& function) {
        Json record = {{"host", host_}, {"place", place}};
        record.update(slot);
        record.update(function);
        records_.push_back(record);
    }

    std::string host_;
    std::vector<Json> records_;
};

std::vector<Json> recordsOf(const Inventory& inventory) {
    Records records(inventory.host);
    const Json noSlot = withoutValues(head(Slot()));
    records.add("board", noSlot, inventory.onBoard);
    for (const Slot& slot : inventory.slots) {
        records.add("slot", head(slot), slot.functions);
        if (slot.functions.empty()) records.addEmpty(slot);
    }
    records.add("elsewhere", noSlot, inventory.elsewhere);
    return records.all();
}

std::string fieldOf(const Json& value) {
    if (value.is_null()) return "";
    if (value.is_object()) return value.at("text");
    return value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace

std::string treeJson(const Inventory& inventory, Charset charset) {
    return document({{"status", broker::statusName(inventory.status)},
                     {"statusCode", static_cast<int>(inventory.status)},
                     {"host", inventory.host},
                     {"readings", inventory.readings},
                     {"board", {{"functions", arrayOf(inventory.onBoard)}}},
                     {"slots", arrayOf(inventory.slots)},
                     {"elsewhere", {{"functions", arrayOf(inventory.elsewhere)}}}},
                    charset);
}

std::string treeJsonLines(const Inventory& inventory, Charset charset) {
    std::string text;
    for (const Json& record : recordsOf(inventory)) text += line(record, charset);
    return text;
}

std::string treeSeparated(const Inventory& inventory, Separator separator, Charset charset) {
    std::string text;
    for (const Json& record : recordsOf(inventory)) {
        std::vector<std::string> names;
        std::vector<std::string> fields;
        for (const auto& member : record.items()) {
            names.push_back(member.key());
            fields.push_back(fieldOf(member.value()));
        }
        if (text.empty()) text = separatedLine(names, separator, charset);
        text += separatedLine(fields, separator, charset);
    }
    return text;
}

}  // namespace cimhost
