// Making, returning and walking through CMPI objects; their names; the host name. Tests:
// tests/unit/cimobjects_test.cpp.
#include "utils/providerutils.h"

#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstddef>

namespace tPCIInfo {

namespace {

/** gethostname is given so many bytes; one more after them ends the text whatever it does. */
constexpr std::size_t kHostNameSize = 64;

// The upcall's slot is called enumInstances in the first generation of the CMPI headers, enumerateInstances since.

template <typename BrokerTable>
auto enumInstancesSlot(const BrokerTable& table, int) -> decltype(table.enumerateInstances) {
    return table.enumerateInstances;
}

template <typename BrokerTable>
auto enumInstancesSlot(const BrokerTable& table, long) -> decltype(table.enumInstances) {
    return table.enumInstances;
}

}  // namespace

std::string lower(std::string text) {
    for (char& character : text) character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    return text;
}

std::string textOf(const CMPIString* string) {
    const char* characters = string != nullptr ? string->ft->getCharPtr(string, nullptr) : nullptr;
    return characters != nullptr ? characters : "";
}

std::string classNameOf(const CMPIObjectPath* path) {
    return path != nullptr ? textOf(path->ft->getClassName(path, nullptr)) : "";
}

std::string hostName() {
    std::string name;
    CMPICIMInst().getHostName(name);
    return name;
}

// --- making and returning objects ---

CMPIInstance* CMPICIMInst::createCIMInstance(const CMPIBroker* broker, CMPIObjectPath* path) {
    if (broker == nullptr || path == nullptr) return nullptr;
    CMPIStatus ignored = kOk;
    return broker->eft->newInstance(broker, path, &ignored);
}

CMPIObjectPath* CMPICIMInst::getObjectPathFromInstance(const CMPIInstance* instance) {
    if (instance == nullptr) return nullptr;
    CMPIStatus ignored = kOk;
    return instance->ft->getObjectPath(instance, &ignored);
}

CMPIObjectPath* CMPICIMInst::createObjectPath(const CMPIBroker* broker, const std::string& nameSpace,
                                              const std::string& className) {
    if (broker == nullptr || className.empty()) return nullptr;
    CMPIStatus ignored = kOk;
    return broker->eft->newObjectPath(broker, nameSpace.c_str(), className.c_str(), &ignored);
}

CMPIObjectPath* CMPICIMInst::createHostObjectPath(const CMPIBroker* broker, const std::string& nameSpace,
                                                  const std::string& className, const std::string& host,
                                                  const std::string& keyName, const std::string& keyValue) {
    CMPIObjectPath* path = createObjectPath(broker, nameSpace, className);
    if (path == nullptr) return nullptr;
    setKeyProperty(path, "SystemCreationClassName", std::string(kSystemCreationClass));
    setKeyProperty(path, "SystemName", host);
    setKeyProperty(path, "CreationClassName", className);
    setKeyProperty(path, keyName, keyValue);
    return path;
}

void CMPICIMInst::returnInstance(const CMPIResult* result, const CMPIInstance* instance) {
    if (result != nullptr && instance != nullptr) result->ft->returnInstance(result, instance);
}

void CMPICIMInst::returnObjectPath(const CMPIResult* result, const CMPIObjectPath* path) {
    if (result != nullptr && path != nullptr) result->ft->returnObjectPath(result, path);
}

CMPIEnumeration* CMPICIMInst::enumerateInstances(const CMPIBroker* broker, const CMPIContext* context,
                                                 const std::string& nameSpace, const std::string& className) {
    return enumerateInstances(broker, context, createObjectPath(broker, nameSpace, className));
}

CMPIEnumeration* CMPICIMInst::enumerateInstances(const CMPIBroker* broker, const CMPIContext* context,
                                                 const CMPIObjectPath* classPath) {
    if (broker == nullptr || broker->bft == nullptr || classPath == nullptr) return nullptr;
    const auto enumInstances = enumInstancesSlot(*broker->bft, 0);
    CMPIStatus ignored = kOk;
    return enumInstances != nullptr ? enumInstances(broker, context, classPath, nullptr, &ignored) : nullptr;
}

CMPIInstance* CMPICIMInst::getNextInstance(const CMPIBroker*, const CMPIContext*, CMPIEnumeration* instances) {
    syslog(LOG_ERR, "getNextInstance in the routine");
    if (instances == nullptr) {
        syslog(LOG_ERR, "getNextInstance instances is null");
        return nullptr;
    }
    syslog(LOG_ERR, "getNextInstance instances not null");
    if (instances->ft->hasNext(instances, nullptr) == 0) {
        syslog(LOG_ERR, "getNextInstance does not have next");
        return nullptr;
    }
    syslog(LOG_ERR, "getNextInstance it has next");
    // Whatever the element's state and type say: object managers leave the type out, and OpenPegasus marks every
    // element of an upcall's enumeration as null.
    CMPIInstance* instance = instances->ft->getNext(instances, nullptr).value.inst;
    if (instance == nullptr || instance->hdl == nullptr) {
        syslog(LOG_ERR, "getNextInstance instance is null");
        return nullptr;
    }
    syslog(LOG_ERR, "getNextInstance instance not null");
    return instance;
}

int CMPICIMInst::getHostName(std::string& name) {
    std::array<char, kHostNameSize + 1> buffer{};
    const int result = gethostname(buffer.data(), kHostNameSize);
    name = result == 0 ? buffer.data() : "systemname";
    return result;
}

}  // namespace tPCIInfo
