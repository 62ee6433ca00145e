#ifndef PCIINFO_BROKER_MATCHING_H
#define PCIINFO_BROKER_MATCHING_H

#include <memory>
#include <string>
#include <vector>

#include "broker/broker.h"

namespace broker {

/** The path that a value refers to; null when it is not a reference, or a null one. */
const ObjectPath* referenceOf(const Value& value);

/**
 * A path that others are compared with. Within a path a reference is written as quoted text, so a text among the keys
 * of this one may stand for a reference: it is read here, once for all comparisons.
 */
class Wanted {
 public:
    Wanted(const ObjectPath& path);  // NOLINT(google-explicit-constructor): any path may be wanted

 private:
    struct Key {
        std::string name;  // as cim::foldedName has it
        Value value;
        std::shared_ptr<const Wanted> reference;  // what the value refers to; null: nothing

        bool isEqual(const Value& other) const;
    };
    std::vector<Key> keys_;  // sorted by name

    friend bool hasKeysOf(const ObjectPath& path, const Wanted& wanted);
    friend bool sameObject(const ObjectPath& path, const Wanted& wanted);
};

/**
 * Whether `path` has every key of `wanted`, with the same value. Key names are compared without regard to case, numbers
 * by their value whatever their type; class and namespace do not count.
 */
bool hasKeysOf(const ObjectPath& path, const Wanted& wanted);

/** Whether both paths have the same keys, compared in this way; one that has a key twice is another object. */
bool sameObject(const ObjectPath& path, const Wanted& wanted);

}  // namespace broker

#endif
