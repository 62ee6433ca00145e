// Slots of instances. Tests: tests/broker/instances_test.cpp, manners_test.cpp.

#include "broker/convert.h"
#include "broker/slots.h"

namespace broker::slots {

namespace {

CMPIData getProperty(const CMPIInstance* self, const char* name, CMPIStatus* rc) {
    InstanceObject& instance = InstanceObject::of(self);
    if (const auto fault = instance.broker.enter("instance.getProperty", name)) return failed<CMPIData>(rc, *fault);
    const Value* value = instance.data.property(textOf(name));
    if (value == nullptr) return failed<CMPIData>(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    setStatus(rc, CMPI_RC_OK);
    const bool isKey = instance.data.path.key(textOf(name)) != nullptr;
    return give(instance.broker, *value, isKey ? CMPI_keyValue : CMPI_goodValue);
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
manners::Verdict verdictOn(Broker& broker, const ObjectPath& path, const std::string& name, const Value& value) {
    const ClassDeclaration* declaration = broker.classes().find(path.className);
    if (declaration == nullptr) return manners::Verdict::taken;
    const PropertyDeclaration* property = declaration->property(name);
    if (property == nullptr) return broker.behaviour(manners::kUndeclaredProperty);
    const manners::Verdict verdict = broker.behaviour(verdictsOn(property->type, value.type));
    if (verdict != manners::Verdict::taken) return verdict;
    const Value* key = path.key(name);
    const bool leavesPath = property->isKey && key != nullptr && *key != value &&
                            broker.behaviour(manners::kPathOfInstance) == manners::PathOf::both;
    return leavesPath ? manners::Verdict::failed : broker.behaviour(verdictsOn(property->type, innermostType(value)));
}

CMPIStatus setProperty(const CMPIInstance* self, const char* name, const CMPIValue* value, CMPIType type) {
    InstanceObject& instance = InstanceObject::of(self);
    if (const auto fault = instance.broker.enter("instance.setProperty", name, type)) return {*fault, nullptr};
    if (textOf(name).empty()) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    Taken taken = take(instance.broker, value, type);
    if (taken.status != CMPI_RC_OK) return {taken.status, nullptr};
    Instance& data = instance.data;
    const manners::Verdict verdict = verdictOn(instance.broker, data.path, name, taken.value);
    const CMPIrc refused = instance.broker.judge(verdict, "instance.setProperty",
                                                 data.path.className + "." + name + ": " + typeName(taken.value.type));
    if (verdict == manners::Verdict::taken) {
        cim::setNamed(data.properties, name, std::move(taken.value));
        followKeys(instance.broker, data);
    }
    return {refused, nullptr};
}

CMPIObjectPath* getObjectPath(const CMPIInstance* self, CMPIStatus* rc) {
    InstanceObject& instance = InstanceObject::of(self);
    if (const auto fault = instance.broker.enter("instance.getObjectPath")) return failed<CMPIObjectPath*>(rc, *fault);
    return answer<PathObject>(instance.broker, rc, instance.data.path);
}

}  // namespace

void followKeys(const Broker& broker, Instance& instance) {
    if (broker.behaviour(manners::kPathOfInstance) != manners::PathOf::keys) return;
    const ClassDeclaration* declaration = broker.classes().find(instance.path.className);
    if (declaration == nullptr) return;
    instance.path.keys.clear();
    for (const PropertyDeclaration& key : declaration->properties) {
        const Value* value = key.isKey ? instance.property(key.name) : nullptr;
        if (value != nullptr && !value->null) instance.path.keys.push_back({key.name, *value});
    }
}

CMPIInstanceFT instance() {
    return {CMPIVersion100, release<InstanceObject>, kNotServed, getProperty, kNotServed, kNotServed,
            setProperty,    getObjectPath,           kNotServed, kNotServed};
}

}  // namespace broker::slots
