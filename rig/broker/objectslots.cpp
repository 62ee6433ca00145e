// Slots of strings, paths, arrays and enumerations, and of contexts, which nobody looks into.
// Tests: tests/broker/objectpaths_test.cpp, arrays_test.cpp.

#include "broker/convert.h"
#include "broker/slots.h"

namespace broker::slots {

namespace {

const char* getCharPtr(const CMPIString* self, CMPIStatus* rc) {
    StringObject& string = StringObject::of(self);
    if (const auto fault = string.broker.enter("string.getCharPtr")) return failed<const char*>(rc, *fault);
    setStatus(rc, CMPI_RC_OK);
    return string.data.c_str();
}

CMPIString* getClassName(const CMPIObjectPath* self, CMPIStatus* rc) {
    PathObject& path = PathObject::of(self);
    if (const auto fault = path.broker.enter("objectPath.getClassName")) return failed<CMPIString*>(rc, *fault);
    return answer<StringObject>(path.broker, rc, path.data.className);
}

CMPIStatus addKey(const CMPIObjectPath* self, const char* name, const CMPIValue* value, CMPIType type) {
    PathObject& path = PathObject::of(self);
    if (const auto fault = path.broker.enter("objectPath.addKey", name, type)) return {*fault, nullptr};
    if (textOf(name).empty()) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    if ((type & CMPI_ARRAY) != 0) return {CMPI_RC_ERR_INVALID_DATA_TYPE, nullptr};
    Taken taken = take(path.broker, value, type);
    if (taken.status == CMPI_RC_OK) cim::setNamed(path.data.keys, name, std::move(taken.value));
    return {taken.status, nullptr};
}

CMPIData getKey(const CMPIObjectPath* self, const char* name, CMPIStatus* rc) {
    PathObject& path = PathObject::of(self);
    if (const auto fault = path.broker.enter("objectPath.getKey", name)) return failed<CMPIData>(rc, *fault);
    const Value* key = path.data.key(textOf(name));
    if (key == nullptr) return failed<CMPIData>(rc, CMPI_RC_ERR_NOT_FOUND);
    setStatus(rc, CMPI_RC_OK);
    return give(path.broker, *key, CMPI_keyValue);
}

// An array that grows does so one element at a time, after its last.
CMPIrc setElement(ArrayObject& array, CMPICount index, const CMPIValue* value, CMPIType type) {
    std::vector<Value>& elements = array.data.elements;
    const bool appends = array.data.grows && index == elements.size();
    if (index >= elements.size() && !appends) return CMPI_RC_ERR_FAILED;
    if (keptType(type) != array.data.elementType) {
        return array.broker.judge(array.broker.behaviour(manners::kElementOfOtherType), "array.setElementAt",
                                  typeName(keptType(type)) + " in an array of " + typeName(array.data.elementType));
    }
    Taken taken = take(array.broker, value, type);
    if (taken.status != CMPI_RC_OK) return taken.status;
    if (appends) elements.emplace_back();
    elements[index] = std::move(taken.value);
    return CMPI_RC_OK;
}

CMPIStatus setElementAt(const CMPIArray* self, CMPICount index, const CMPIValue* value, CMPIType type) {
    ArrayObject& array = ArrayObject::of(self);
    if (const auto fault = array.broker.enter("array.setElementAt", nullptr, type, index)) return {*fault, nullptr};
    return {setElement(array, index, value, type), nullptr};
}

CMPIData getNext(const CMPIEnumeration* self, CMPIStatus* rc) {
    EnumerationObject& enumeration = EnumerationObject::of(self);
    Broker& broker = enumeration.broker;
    if (const auto fault = broker.enter("enumeration.getNext")) return failed<CMPIData>(rc, *fault);
    EnumerationData& data = enumeration.data;
    if (data.next >= data.elements.size()) return failed<CMPIData>(rc, CMPI_RC_ERR_NOT_FOUND);
    setStatus(rc, CMPI_RC_OK);
    return give(broker, data.elements[data.next++], broker.behaviour(manners::kStateOfElements));
}

CMPIBoolean hasNext(const CMPIEnumeration* self, CMPIStatus* rc) {
    EnumerationObject& enumeration = EnumerationObject::of(self);
    if (const auto fault = enumeration.broker.enter("enumeration.hasNext")) return failed<CMPIBoolean>(rc, *fault);
    setStatus(rc, CMPI_RC_OK);
    return enumeration.data.next < enumeration.data.elements.size() ? 1 : 0;
}

}  // namespace

CMPIStringFT string() {
    return {CMPIVersion100, release<StringObject>, kNotServed, getCharPtr};
}

CMPIObjectPathFT objectPath() {
    return {CMPIVersion100, release<PathObject>, kNotServed, kNotServed, kNotServed, kNotServed, kNotServed,
            kNotServed,     getClassName,        addKey,     getKey,     kNotServed, kNotServed, kNotServed,
            kNotServed,     kNotServed,          kNotServed, kNotServed, kNotServed, kNotServed};
}

CMPIArrayFT array() {
    return {CMPIVersion100, release<ArrayObject>, kNotServed, kNotServed, kNotServed, kNotServed, setElementAt};
}

CMPIEnumerationFT enumeration() {
    return {CMPIVersion100, release<EnumerationObject>, kNotServed, getNext, hasNext, kNotServed};
}

CMPIContextFT context() {
    return {CMPIVersion100, release<ContextObject>, kNotServed, kNotServed, kNotServed, kNotServed, kNotServed};
}

}  // namespace broker::slots
