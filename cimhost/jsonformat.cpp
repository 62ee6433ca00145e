#include "cimhost/jsonformat.h"

#include <vector>

#include "cimhost/json.h"

namespace cimhost {

namespace {

std::vector<Json> objectsOf(const Answer& answer) {
    std::vector<Json> objects;
    const auto append = [&](const auto& delivered) {
        for (const auto& object : delivered) objects.push_back(json(object));
    };
    std::visit(append, answer.objects);
    return objects;
}

}  // namespace

std::string JsonFormatter::text(const Answer& answer) const {
    const char* list = std::holds_alternative<Names>(answer.objects) ? "names" : "instances";
    return document({{"status", broker::statusName(answer.status)},
                     {"statusCode", static_cast<int>(answer.status)},
                     {list, objectsOf(answer)}},
                    charset_);
}

std::string JsonLinesFormatter::text(const Answer& answer) const {
    std::string text;
    for (const Json& object : objectsOf(answer)) text += line(object, charset_);
    return text;
}

}  // namespace cimhost
