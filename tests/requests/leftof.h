#ifndef PCIINFO_TESTS_REQUESTS_LEFTOF_H
#define PCIINFO_TESTS_REQUESTS_LEFTOF_H

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <variant>
#include <vector>

#include "broker/broker.h"

namespace testsupport {

// Whether an object is what is left of another one when some of its parts could not be set.

inline bool isLeftOf(const broker::ObjectPath& part, const broker::ObjectPath& whole);

inline bool isLeftOf(const broker::Value& part, const broker::Value& whole) {
    if (part == whole) return true;
    if (part.type != whole.type) return false;
    if (part.null) return true;  // a declared property that could not be set
    const auto* path = std::get_if<std::shared_ptr<broker::ObjectPath>>(&part.data);
    const auto* wholePath = std::get_if<std::shared_ptr<broker::ObjectPath>>(&whole.data);
    if (path != nullptr && wholePath != nullptr) return isLeftOf(**path, **wholePath);
    const auto* elements = std::get_if<std::vector<broker::Value>>(&part.data);
    const auto* wholeElements = std::get_if<std::vector<broker::Value>>(&whole.data);
    return elements != nullptr && wholeElements != nullptr &&
           std::equal(elements->begin(), elements->end(), wholeElements->begin(), wholeElements->end(),
                      [](const broker::Value& element, const broker::Value& other) {
                          return element.null || element == other;
                      });
}

inline bool areLeftOf(const std::vector<broker::Property>& part, const std::vector<broker::Property>& whole) {
    return std::all_of(part.begin(), part.end(), [&](const broker::Property& property) {
        return std::any_of(whole.begin(), whole.end(), [&](const broker::Property& other) {
            return property.name == other.name && isLeftOf(property.value, other.value);
        });
    });
}

inline bool isLeftOf(const broker::ObjectPath& part, const broker::ObjectPath& whole) {
    return part.nameSpace == whole.nameSpace && part.className == whole.className && areLeftOf(part.keys, whole.keys);
}

inline bool isLeftOf(const broker::Instance& part, const broker::Instance& whole) {
    return isLeftOf(part.path, whole.path) && areLeftOf(part.properties, whole.properties);
}

/** Whether the objects, each whole or in part, come from the full list, in its order and none twice. */
template <typename Object>
testing::AssertionResult areAmong(const std::vector<Object>& objects, const std::vector<Object>& full) {
    auto place = full.begin();
    for (const Object& object : objects) {
        place = std::find_if(place, full.end(), [&](const Object& whole) { return isLeftOf(object, whole); });
        if (place == full.end()) return testing::AssertionFailure() << testing::PrintToString(object);
        ++place;
    }
    return testing::AssertionSuccess();
}

}  // namespace testsupport

#endif
