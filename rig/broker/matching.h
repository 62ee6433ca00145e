#ifndef PCIINFO_BROKER_MATCHING_H
#define PCIINFO_BROKER_MATCHING_H

#include "broker/broker.h"

namespace broker {

/** The path that a value refers to; null when it is not a reference, or a null one. */
const ObjectPath* referenceOf(const Value& value);

/**
 * Whether `path` has every key of `wanted`, with the same value. Key names are compared without regard to case, numbers
 * by their value whatever their type; class and namespace do not count.
 */
bool hasKeysOf(const ObjectPath& path, const ObjectPath& wanted);

/** Whether both paths have the same keys, compared in this way; one that has a key twice is another object. */
bool sameObject(const ObjectPath& left, const ObjectPath& right);

}  // namespace broker

#endif
