// Slots of object paths.

#include "broker/convert.h"
#include "broker/objects.h"
#include "broker/slots.h"

namespace broker {

namespace {

CMPIStatus setText(PathObject& path, const char* function, std::string& member, const char* text) {
    if (const auto fault = path.core.enter(function, text)) return {*fault, nullptr};
    if (text == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    member = text;
    return {CMPI_RC_OK, nullptr};
}

CMPIString* getText(PathObject& path, const char* function, const std::string& member, CMPIStatus* rc) {
    if (const auto fault = path.core.enter(function)) return failed<CMPIString*>(rc, *fault);
    return answer<StringObject>(path.core, rc, member);
}

CMPIStatus setNameSpace(const CMPIObjectPath* self, const char* nameSpace) {
    PathObject& path = PathObject::of(self);
    return setText(path, "objectPath.setNameSpace", path.data.path.nameSpace, nameSpace);
}

CMPIString* getNameSpace(const CMPIObjectPath* self, CMPIStatus* rc) {
    PathObject& path = PathObject::of(self);
    return getText(path, "objectPath.getNameSpace", path.data.path.nameSpace, rc);
}

CMPIStatus setHostname(const CMPIObjectPath* self, const char* hostName) {
    PathObject& path = PathObject::of(self);
    return setText(path, "objectPath.setHostname", path.data.hostName, hostName);
}

CMPIString* getHostname(const CMPIObjectPath* self, CMPIStatus* rc) {
    PathObject& path = PathObject::of(self);
    return getText(path, "objectPath.getHostname", path.data.hostName, rc);
}

CMPIStatus setClassName(const CMPIObjectPath* self, const char* className) {
    PathObject& path = PathObject::of(self);
    return setText(path, "objectPath.setClassName", path.data.path.className, className);
}

CMPIString* getClassName(const CMPIObjectPath* self, CMPIStatus* rc) {
    PathObject& path = PathObject::of(self);
    return getText(path, "objectPath.getClassName", path.data.path.className, rc);
}

CMPIStatus addKey(const CMPIObjectPath* self, const char* name, const CMPIValue* value, CMPIType type) {
    PathObject& path = PathObject::of(self);
    if (const auto fault = path.core.enter("objectPath.addKey", name, type)) return {*fault, nullptr};
    if (textOf(name).empty()) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    if ((type & CMPI_ARRAY) != 0) return {CMPI_RC_ERR_INVALID_DATA_TYPE, nullptr};
    Taken taken = take(path.core, value, type);
    if (taken.status == CMPI_RC_OK) setNamed(path.data.path.keys, name, std::move(taken.value));
    return {taken.status, nullptr};
}

CMPIData getKey(const CMPIObjectPath* self, const char* name, CMPIStatus* rc) {
    PathObject& path = PathObject::of(self);
    if (const auto fault = path.core.enter("objectPath.getKey", name)) return noData(rc, *fault);
    const Value* key = path.data.path.key(textOf(name));
    if (key == nullptr) return noData(rc, CMPI_RC_ERR_NOT_FOUND);
    setStatus(rc, CMPI_RC_OK);
    return give(path.core, *key, CMPI_keyValue);
}

CMPIData getKeyAt(const CMPIObjectPath* self, CMPICount index, CMPIString** name, CMPIStatus* rc) {
    PathObject& path = PathObject::of(self);
    if (const auto fault = path.core.enter("objectPath.getKeyAt", nullptr, CMPI_null, index)) return noData(rc, *fault);
    if (index >= path.data.path.keys.size()) return noData(rc, CMPI_RC_ERR_NOT_FOUND);
    return dataAt(path.core, path.data.path.keys, index, CMPI_keyValue, name, rc);
}

CMPICount getKeyCount(const CMPIObjectPath* self, CMPIStatus* rc) {
    PathObject& path = PathObject::of(self);
    if (const auto fault = path.core.enter("objectPath.getKeyCount")) return failed<CMPICount>(rc, *fault);
    setStatus(rc, CMPI_RC_OK);
    return static_cast<CMPICount>(path.data.path.keys.size());
}

CMPIStatus setNameSpaceFromObjectPath(const CMPIObjectPath* self, const CMPIObjectPath* source) {
    PathObject& path = PathObject::of(self);
    if (const auto fault = path.core.enter("objectPath.setNameSpaceFromObjectPath")) return {*fault, nullptr};
    if (source == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    path.data.path.nameSpace = PathObject::of(source).data.path.nameSpace;
    return {CMPI_RC_OK, nullptr};
}

CMPIStatus setHostAndNameSpaceFromObjectPath(const CMPIObjectPath* self, const CMPIObjectPath* source) {
    PathObject& path = PathObject::of(self);
    if (const auto fault = path.core.enter("objectPath.setHostAndNameSpaceFromObjectPath")) return {*fault, nullptr};
    if (source == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    path.data.path.nameSpace = PathObject::of(source).data.path.nameSpace;
    path.data.hostName = PathObject::of(source).data.hostName;
    return {CMPI_RC_OK, nullptr};
}

// There is no class repository, hence no qualifier.
CMPIData noQualifier(const CMPIObjectPath* self, const char* function, const char* name, CMPIStatus* rc) {
    const auto fault = PathObject::of(self).core.enter(function, name);
    return noData(rc, fault.value_or(CMPI_RC_ERR_NOT_SUPPORTED));
}

CMPIData getClassQualifier(const CMPIObjectPath* self, const char* qualifier, CMPIStatus* rc) {
    return noQualifier(self, "objectPath.getClassQualifier", qualifier, rc);
}

CMPIData getPropertyQualifier(const CMPIObjectPath* self, const char*, const char* qualifier, CMPIStatus* rc) {
    return noQualifier(self, "objectPath.getPropertyQualifier", qualifier, rc);
}

CMPIData getMethodQualifier(const CMPIObjectPath* self, const char*, const char* qualifier, CMPIStatus* rc) {
    return noQualifier(self, "objectPath.getMethodQualifier", qualifier, rc);
}

CMPIData getParameterQualifier(const CMPIObjectPath* self, const char*, const char*, const char* qualifier,
                               CMPIStatus* rc) {
    return noQualifier(self, "objectPath.getParameterQualifier", qualifier, rc);
}

CMPIString* pathToString(const CMPIObjectPath* self, CMPIStatus* rc) {
    PathObject& path = PathObject::of(self);
    return getText(path, "objectPath.toString", path.text(), rc);
}

}  // namespace

CMPIObjectPathFT slots::objectPath() {
    return {CMPIVersion100,
            release<PathObject>,
            clone<PathObject>,
            setNameSpace,
            getNameSpace,
            setHostname,
            getHostname,
            setClassName,
            getClassName,
            addKey,
            getKey,
            getKeyAt,
            getKeyCount,
            setNameSpaceFromObjectPath,
            setHostAndNameSpaceFromObjectPath,
            getClassQualifier,
            getPropertyQualifier,
            getMethodQualifier,
            getParameterQualifier,
            pathToString};
}

}  // namespace broker
