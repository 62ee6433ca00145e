// Slots that make objects, and the services that go with them.

#include <cstring>

#include "broker/convert.h"
#include "broker/objects.h"
#include "broker/slots.h"
#include "cim/names.h"

namespace broker {

namespace {

Instance newInstanceData(const Core& core, const ObjectPath& path, const ClassDeclaration* declaration) {
    Instance instance;
    instance.path = path;
    if (declaration != nullptr) {
        for (const PropertyDeclaration& each : declaration->properties) {
            instance.properties.push_back({each.name, Value::nothing(each.type)});
        }
    }
    if (core.behaviour(manners::kKeysBecomeProperties)) {
        for (const Property& key : path.keys) setNamed(instance.properties, key.name, key.value);
    }
    followKeys(core, instance);
    return instance;
}

CMPIInstance* newInstance(const CMPIBroker* broker, const CMPIObjectPath* path, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    const ObjectPath* plain = path == nullptr ? nullptr : &PathObject::of(path).data.path;
    const char* name = plain == nullptr ? nullptr : plain->className.c_str();
    if (const auto fault = core.enter("eft.newInstance", name)) return failed<CMPIInstance*>(rc, *fault);
    if (plain == nullptr) return failed<CMPIInstance*>(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    const Classes::Declaration declaration = core.classes.find(plain->className);
    if (declaration == nullptr) {
        const manners::Verdict verdict = core.behaviour(manners::kUndeclaredClass);
        const CMPIrc refused = core.judge(verdict, "eft.newInstance", "the schema lacks " + plain->className);
        if (refused != CMPI_RC_OK) return failed<CMPIInstance*>(rc, refused);
    }
    return answer<InstanceObject>(core, rc, newInstanceData(core, *plain, declaration.get()));
}

CMPIObjectPath* newObjectPath(const CMPIBroker* broker, const char* nameSpace, const char* className, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto fault = core.enter("eft.newObjectPath", className)) return failed<CMPIObjectPath*>(rc, *fault);
    if (className == nullptr) return failed<CMPIObjectPath*>(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return answer<PathObject>(core, rc, ObjectPath{textOf(nameSpace), className, {}});
}

CMPIString* newString(const CMPIBroker* broker, const char* text, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto fault = core.enter("eft.newString", text)) return failed<CMPIString*>(rc, *fault);
    if (text == nullptr) return failed<CMPIString*>(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return answer<StringObject>(core, rc, text);
}

CMPIArray* newArray(const CMPIBroker* broker, CMPICount size, CMPIType type, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto fault = core.enter("eft.newArray", nullptr, type, size)) return failed<CMPIArray*>(rc, *fault);
    if (!isElementType(type)) return failed<CMPIArray*>(rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    return answer<ArrayObject>(core, rc,
                               ArrayData{keptType(type), size == 0, std::vector<Value>(size, Value::nothing(type))});
}

/** Arguments, date and time values and select expressions are not served. */
template <class Result>
Result notServed(const CMPIBroker* broker, const char* function, CMPIStatus* rc) {
    const auto fault = Core::of(broker).enter(function);
    return failed<Result>(rc, fault.value_or(CMPI_RC_ERR_NOT_SUPPORTED));
}

CMPIArgs* newArgs(const CMPIBroker* broker, CMPIStatus* rc) {
    return notServed<CMPIArgs*>(broker, "eft.newArgs", rc);
}

CMPIDateTime* newDateTime(const CMPIBroker* broker, CMPIStatus* rc) {
    return notServed<CMPIDateTime*>(broker, "eft.newDateTime", rc);
}

CMPIDateTime* newDateTimeFromBinary(const CMPIBroker* broker, CMPIUint64, CMPIBoolean, CMPIStatus* rc) {
    return notServed<CMPIDateTime*>(broker, "eft.newDateTimeFromBinary", rc);
}

CMPIDateTime* newDateTimeFromChars(const CMPIBroker* broker, const char*, CMPIStatus* rc) {
    return notServed<CMPIDateTime*>(broker, "eft.newDateTimeFromChars", rc);
}

CMPISelectExp* newSelectExp(const CMPIBroker* broker, const char*, const char*, CMPIArray**, CMPIStatus* rc) {
    return notServed<CMPISelectExp*>(broker, "eft.newSelectExp", rc);
}

CMPIString* getMessage(const CMPIBroker* broker, const char*, const char*, CMPIStatus* rc, CMPICount, ...) {
    return notServed<CMPIString*>(broker, "eft.getMessage", rc);
}

// No class hierarchy is known: a class is itself and nothing else.
CMPIBoolean classPathIsA(const CMPIBroker* broker, const CMPIObjectPath* path, const char* className, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto fault = core.enter("eft.classPathIsA", className)) return failed<CMPIBoolean>(rc, *fault);
    if (path == nullptr || className == nullptr) return failed<CMPIBoolean>(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    setStatus(rc, CMPI_RC_OK);
    return cim::sameName(PathObject::of(path).data.path.className, className) ? 1 : 0;
}

CMPIString* objectText(const CMPIBroker* broker, const void* object, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto fault = core.enter("eft.toString")) return failed<CMPIString*>(rc, *fault);
    const Object* found = core.find(object);
    if (found == nullptr) return failed<CMPIString*>(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return answer<StringObject>(core, rc, found->text());
}

CMPIBoolean isOfType(const CMPIBroker* broker, const void* object, const char* type, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto fault = core.enter("eft.isOfType", type)) return failed<CMPIBoolean>(rc, *fault);
    const Object* found = core.find(object);
    if (found == nullptr) return failed<CMPIBoolean>(rc, CMPI_RC_ERR_INVALID_HANDLE);
    setStatus(rc, CMPI_RC_OK);
    return textOf(type) == found->cmpiName() ? 1 : 0;
}

CMPIString* getType(const CMPIBroker* broker, const void* object, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto fault = core.enter("eft.getType")) return failed<CMPIString*>(rc, *fault);
    const Object* found = core.find(object);
    if (found == nullptr) return failed<CMPIString*>(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return answer<StringObject>(core, rc, found->cmpiName());
}

// Messages go into the record of calls and nowhere else.
CMPIStatus logMessage(const CMPIBroker* broker, CMPISeverity, const char*, const char* text, const CMPIString* string) {
    const char* message = string == nullptr ? text : StringObject::of(string).data.c_str();
    const auto fault = Core::of(broker).enter("eft.logMessage", message);
    return {fault.value_or(CMPI_RC_OK), nullptr};
}

CMPIStatus trace(const CMPIBroker* broker, CMPILevel, const char*, const char* text, const CMPIString* string) {
    const char* message = string == nullptr ? text : StringObject::of(string).data.c_str();
    const auto fault = Core::of(broker).enter("eft.trace", message);
    return {fault.value_or(CMPI_RC_OK), nullptr};
}

}  // namespace

CMPIBrokerEncFT slots::encapsulation() {
    return {CMPIVersion100,
            newInstance,
            newObjectPath,
            newArgs,
            newString,
            newArray,
            newDateTime,
            newDateTimeFromBinary,
            newDateTimeFromChars,
            newSelectExp,
            classPathIsA,
            objectText,
            isOfType,
            getType,
            getMessage,
            logMessage,
            trace};
}

}  // namespace broker
