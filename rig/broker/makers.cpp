// Slots that make objects. Tests: tests/broker/encapsulation_test.cpp, instances_test.cpp, objectpaths_test.cpp.

#include "broker/convert.h"
#include "broker/slots.h"

namespace broker::slots {

namespace {

Instance newInstanceData(const Broker& broker, const ObjectPath& path, const ClassDeclaration* declaration) {
    Instance instance;
    instance.path = path;
    if (declaration != nullptr) {
        for (const PropertyDeclaration& each : declaration->properties) {
            instance.properties.push_back({each.name, Value::nothing(each.type)});
        }
    }
    if (broker.behaviour(manners::kKeysBecomeProperties)) {
        for (const Property& key : path.keys) cim::setNamed(instance.properties, key.name, key.value);
    }
    followKeys(broker, instance);
    return instance;
}

CMPIInstance* newInstance(const CMPIBroker* self, const CMPIObjectPath* path, CMPIStatus* rc) {
    Broker& broker = Broker::of(self);
    const ObjectPath* plain = path == nullptr ? nullptr : &PathObject::of(path).data;
    const char* name = plain == nullptr ? nullptr : plain->className.c_str();
    if (const auto fault = broker.enter("eft.newInstance", name)) return failed<CMPIInstance*>(rc, *fault);
    if (plain == nullptr) return failed<CMPIInstance*>(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    const ClassDeclaration* declaration = broker.classes().find(plain->className);
    if (declaration == nullptr) {
        const manners::Verdict verdict = broker.behaviour(manners::kUndeclaredClass);
        const CMPIrc refused = broker.judge(verdict, "eft.newInstance", "the schema lacks " + plain->className);
        if (refused != CMPI_RC_OK) return failed<CMPIInstance*>(rc, refused);
    }
    return answer<InstanceObject>(broker, rc, newInstanceData(broker, *plain, declaration));
}

CMPIObjectPath* newObjectPath(const CMPIBroker* self, const char* nameSpace, const char* className, CMPIStatus* rc) {
    Broker& broker = Broker::of(self);
    if (const auto fault = broker.enter("eft.newObjectPath", className)) return failed<CMPIObjectPath*>(rc, *fault);
    if (className == nullptr) return failed<CMPIObjectPath*>(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return answer<PathObject>(broker, rc, ObjectPath{textOf(nameSpace), className, {}});
}

CMPIString* newString(const CMPIBroker* self, const char* text, CMPIStatus* rc) {
    Broker& broker = Broker::of(self);
    if (const auto fault = broker.enter("eft.newString", text)) return failed<CMPIString*>(rc, *fault);
    if (text == nullptr) return failed<CMPIString*>(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return answer<StringObject>(broker, rc, text);
}

CMPIArray* newArray(const CMPIBroker* self, CMPICount size, CMPIType type, CMPIStatus* rc) {
    Broker& broker = Broker::of(self);
    if (const auto fault = broker.enter("eft.newArray", nullptr, type, size)) return failed<CMPIArray*>(rc, *fault);
    if (!isElementType(type)) return failed<CMPIArray*>(rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    return answer<ArrayObject>(broker, rc,
                               ArrayData{keptType(type), size == 0, std::vector<Value>(size, Value::nothing(type))});
}

// Takes arguments without end, which no template of functions does.
CMPIString* getMessage(const CMPIBroker*, const char*, const char*, CMPIStatus* rc, CMPICount, ...) {
    return failed<CMPIString*>(rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

}  // namespace

CMPIBrokerEncFT encapsulation() {
    return {CMPIVersion100, newInstance, newObjectPath, kNotServed, newString,  newArray,
            kNotServed,     kNotServed,  kNotServed,    kNotServed, kNotServed, kNotServed,
            kNotServed,     kNotServed,  getMessage,    kNotServed, kNotServed};
}

}  // namespace broker::slots
