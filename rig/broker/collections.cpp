// Slots of arrays and enumerations.

#include "broker/convert.h"
#include "broker/objects.h"
#include "broker/slots.h"

namespace broker {

namespace {

CMPICount getSize(const CMPIArray* self, CMPIStatus* rc) {
    ArrayObject& array = ArrayObject::of(self);
    if (const auto fault = array.core.enter("array.getSize")) return failed<CMPICount>(rc, *fault);
    setStatus(rc, CMPI_RC_OK);
    return static_cast<CMPICount>(array.data.elements.size());
}

CMPIType getSimpleType(const CMPIArray* self, CMPIStatus* rc) {
    ArrayObject& array = ArrayObject::of(self);
    if (const auto fault = array.core.enter("array.getSimpleType")) return failed<CMPIType>(rc, *fault);
    setStatus(rc, CMPI_RC_OK);
    return array.data.elementType;
}

CMPIData getElementAt(const CMPIArray* self, CMPICount index, CMPIStatus* rc) {
    ArrayObject& array = ArrayObject::of(self);
    if (const auto fault = array.core.enter("array.getElementAt", nullptr, CMPI_null, index)) {
        return noData(rc, *fault);
    }
    if (index >= array.data.elements.size()) return noData(rc, CMPI_RC_ERR_FAILED);
    setStatus(rc, CMPI_RC_OK);
    return give(array.core, array.data.elements[index]);
}

// An array that grows does so one element at a time, behind its last.
CMPIrc setElement(ArrayObject& array, CMPICount index, const CMPIValue* value, CMPIType type) {
    std::vector<Value>& elements = array.data.elements;
    const bool appends = array.data.grows && index == elements.size();
    if (index >= elements.size() && !appends) return CMPI_RC_ERR_FAILED;
    if (keptType(type) != array.data.elementType) {
        return array.core.judge(array.core.behaviour(manners::kElementOfOtherType), "array.setElementAt",
                                typeName(keptType(type)) + " in an array of " + typeName(array.data.elementType));
    }
    Taken taken = take(array.core, value, type);
    if (taken.status != CMPI_RC_OK) return taken.status;
    if (appends) elements.emplace_back();
    elements[index] = std::move(taken.value);
    return CMPI_RC_OK;
}

CMPIStatus setElementAt(const CMPIArray* self, CMPICount index, const CMPIValue* value, CMPIType type) {
    ArrayObject& array = ArrayObject::of(self);
    if (const auto fault = array.core.enter("array.setElementAt", nullptr, type, index)) return {*fault, nullptr};
    return {setElement(array, index, value, type), nullptr};
}

CMPIData getNext(const CMPIEnumeration* self, CMPIStatus* rc) {
    EnumerationObject& enumeration = EnumerationObject::of(self);
    if (const auto fault = enumeration.core.enter("enumeration.getNext")) return noData(rc, *fault);
    EnumerationData& data = enumeration.data;
    if (data.next >= data.elements.size()) return noData(rc, CMPI_RC_ERR_NOT_FOUND);
    setStatus(rc, CMPI_RC_OK);
    return give(enumeration.core, data.elements[data.next++], enumeration.core.behaviour(manners::kStateOfElements));
}

CMPIBoolean hasNext(const CMPIEnumeration* self, CMPIStatus* rc) {
    EnumerationObject& enumeration = EnumerationObject::of(self);
    if (const auto fault = enumeration.core.enter("enumeration.hasNext")) return failed<CMPIBoolean>(rc, *fault);
    setStatus(rc, CMPI_RC_OK);
    return enumeration.data.next < enumeration.data.elements.size() ? 1 : 0;
}

// All elements, wherever the enumeration stands.
CMPIArray* toArray(const CMPIEnumeration* self, CMPIStatus* rc) {
    EnumerationObject& enumeration = EnumerationObject::of(self);
    if (const auto fault = enumeration.core.enter("enumeration.toArray")) return failed<CMPIArray*>(rc, *fault);
    ArrayData array;
    array.elements = enumeration.data.elements;
    array.elementType = array.elements.empty() ? CMPI_instance : array.elements.front().type;
    return answer<ArrayObject>(enumeration.core, rc, std::move(array));
}

}  // namespace

CMPIArrayFT slots::array() {
    return {CMPIVersion100, release<ArrayObject>, clone<ArrayObject>, getSize,
            getSimpleType,  getElementAt,         setElementAt};
}

CMPIEnumerationFT slots::enumeration() {
    return {CMPIVersion100, release<EnumerationObject>, clone<EnumerationObject>, getNext, hasNext, toArray};
}

}  // namespace broker
