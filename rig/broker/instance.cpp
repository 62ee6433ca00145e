// Slots of instances.

#include <algorithm>

#include "broker/convert.h"
#include "broker/objects.h"
#include "broker/slots.h"
#include "cim/names.h"

namespace broker {

namespace {

CMPIValueState keyState(const InstanceData& data, const std::string& name) {
    return data.instance.path.key(name) == nullptr ? CMPI_goodValue : CMPI_keyValue;
}

CMPIData getProperty(const CMPIInstance* self, const char* name, CMPIStatus* rc) {
    InstanceObject& instance = InstanceObject::of(self);
    if (const auto fault = instance.core.enter("instance.getProperty", name)) return noData(rc, *fault);
    const Value* value = instance.data.instance.property(textOf(name));
    if (value == nullptr) return noData(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    setStatus(rc, CMPI_RC_OK);
    return give(instance.core, *value, keyState(instance.data, name));
}

CMPIData getPropertyAt(const CMPIInstance* self, CMPICount index, CMPIString** name, CMPIStatus* rc) {
    InstanceObject& instance = InstanceObject::of(self);
    if (const auto fault = instance.core.enter("instance.getPropertyAt", nullptr, CMPI_null, index)) {
        return noData(rc, *fault);
    }
    const std::vector<Property>& properties = instance.data.instance.properties;
    if (index >= properties.size()) return noData(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    return dataAt(instance.core, properties, index, keyState(instance.data, properties[index].name), name, rc);
}

CMPICount getPropertyCount(const CMPIInstance* self, CMPIStatus* rc) {
    InstanceObject& instance = InstanceObject::of(self);
    if (const auto fault = instance.core.enter("instance.getPropertyCount")) return failed<CMPICount>(rc, *fault);
    setStatus(rc, CMPI_RC_OK);
    return static_cast<CMPICount>(instance.data.instance.properties.size());
}

bool isText(CMPIType type) {
    return type == CMPI_string;
}

bool isNumber(CMPIType type) {
    return !isText(type) && type != CMPI_ref && type != CMPI_instance && (type & CMPI_ARRAY) == 0;
}

/** The type of a value as its elements have it, where it is an array with any. */
CMPIType innermostType(const Value& value) {
    const auto* elements = std::get_if<std::vector<Value>>(&value.data);
    if (elements == nullptr || elements->empty()) return value.type;
    return static_cast<CMPIType>(elements->front().type | CMPI_ARRAY);
}

manners::Row<manners::Verdict> verdictsOn(CMPIType declared, CMPIType given) {
    if (declared == given) return {};
    if ((declared & CMPI_ARRAY) != 0 && (given & CMPI_ARRAY) == 0) return manners::kScalarOnArray;
    return isNumber(declared) && isText(given) ? manners::kTextOnNumber : manners::kOtherType;
}

/** What the manager makes of a value for a property; what it does not take is complained of. */
manners::Verdict verdictOn(Core& core, const ObjectPath& path, const std::string& name, const Value& value) {
    const Classes::Declaration declaration = core.classes.find(path.className);
    if (declaration == nullptr) return manners::Verdict::taken;
    const PropertyDeclaration* property = declaration->property(name);
    if (property == nullptr) return core.behaviour(manners::kUndeclaredProperty);
    const manners::Verdict verdict = core.behaviour(verdictsOn(property->type, value.type));
    if (verdict != manners::Verdict::taken) return verdict;
    const Value* key = path.key(name);
    const bool leavesPath = property->isKey && key != nullptr && *key != value &&
                            core.behaviour(manners::kPathOfInstance) == manners::PathOf::both;
    return leavesPath ? manners::Verdict::failed : core.behaviour(verdictsOn(property->type, innermostType(value)));
}

bool passes(const InstanceData& data, const std::string& name) {
    if (!data.filter || data.instance.path.key(name) != nullptr) return true;
    return std::any_of(data.filter->begin(), data.filter->end(),
                       [&](const std::string& wanted) { return cim::sameName(wanted, name); });
}

CMPIStatus setProperty(const CMPIInstance* self, const char* name, const CMPIValue* value, CMPIType type) {
    InstanceObject& instance = InstanceObject::of(self);
    if (const auto fault = instance.core.enter("instance.setProperty", name, type)) return {*fault, nullptr};
    if (textOf(name).empty()) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    Taken taken = take(instance.core, value, type);
    if (taken.status != CMPI_RC_OK) return {taken.status, nullptr};
    Instance& data = instance.data.instance;
    const manners::Verdict verdict = verdictOn(instance.core, data.path, name, taken.value);
    const CMPIrc refused = instance.core.judge(verdict, "instance.setProperty",
                                               data.path.className + "." + name + ": " + typeName(taken.value.type));
    if (verdict == manners::Verdict::taken && passes(instance.data, name)) {
        setNamed(data.properties, name, std::move(taken.value));
        followKeys(instance.core, data);
    }
    return {refused, nullptr};
}

CMPIObjectPath* getObjectPath(const CMPIInstance* self, CMPIStatus* rc) {
    InstanceObject& instance = InstanceObject::of(self);
    if (const auto fault = instance.core.enter("instance.getObjectPath")) return failed<CMPIObjectPath*>(rc, *fault);
    return answer<PathObject>(instance.core, rc, instance.data.instance.path);
}

void addNames(std::vector<std::string>& names, const char** list) {
    if (list == nullptr) return;
    for (; *list != nullptr; ++list) names.emplace_back(*list);
}

CMPIStatus setPropertyFilter(const CMPIInstance* self, const char** names, const char** keys) {
    InstanceObject& instance = InstanceObject::of(self);
    if (const auto fault = instance.core.enter("instance.setPropertyFilter")) return {*fault, nullptr};
    InstanceData& data = instance.data;
    data.filter.reset();
    if (names == nullptr) return {CMPI_RC_OK, nullptr};
    data.filter.emplace();
    addNames(*data.filter, names);
    addNames(*data.filter, keys);
    auto& properties = data.instance.properties;
    properties.erase(std::remove_if(properties.begin(), properties.end(),
                                    [&](const Property& property) { return !passes(data, property.name); }),
                     properties.end());
    return {CMPI_RC_OK, nullptr};
}

CMPIStatus setObjectPath(const CMPIInstance* self, const CMPIObjectPath* path) {
    InstanceObject& instance = InstanceObject::of(self);
    if (const auto fault = instance.core.enter("instance.setObjectPath")) return {*fault, nullptr};
    if (path == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    Instance& data = instance.data.instance;
    data.path = PathObject::of(path).data.path;
    if (instance.core.behaviour(manners::kKeysBecomeProperties)) {
        for (const Property& key : data.path.keys) setNamed(data.properties, key.name, key.value);
    }
    followKeys(instance.core, data);
    return {CMPI_RC_OK, nullptr};
}

}  // namespace

void followKeys(const Core& core, Instance& instance) {
    if (core.behaviour(manners::kPathOfInstance) != manners::PathOf::keys) return;
    const Classes::Declaration declaration = core.classes.find(instance.path.className);
    if (declaration == nullptr) return;
    instance.path.keys.clear();
    for (const PropertyDeclaration& key : declaration->properties) {
        const Value* value = key.isKey ? instance.property(key.name) : nullptr;
        if (value != nullptr && !value->null) instance.path.keys.push_back({key.name, *value});
    }
}

CMPIInstanceFT slots::instance() {
    return {
        CMPIVersion100, release<InstanceObject>, clone<InstanceObject>, getProperty,  getPropertyAt, getPropertyCount,
        setProperty,    getObjectPath,           setPropertyFilter,     setObjectPath};
}

}  // namespace broker
