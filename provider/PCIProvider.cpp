// The library's face: the entry points of both interfaces, their function tables, and the factories.
// Tests: tests/requests/entry_test.cpp.
#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>
#include <syslog.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "provider/dispatch.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

namespace {

/** The object manager's broker; both interfaces share it, and object managers run factories on several threads. */
std::atomic<const CMPIBroker*> _broker{nullptr};

constexpr CMPIStatus kNotSupported = {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};

}  // namespace

const CMPIBroker* currentBroker() {
    return _broker;
}

// ---------------------------------------------------------------------------------------------------------------
// Instance operations

CMPIStatus PCI_Cleanup(CMPIInstanceMI*, const CMPIContext*, CMPIBoolean) {
    return kOk;
}

CMPIStatus PCI_EnumInstanceNames(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                                 const CMPIObjectPath* path) {
    return serveInstances({_broker, context, result, true}, classNameOf(path));
}

CMPIStatus PCI_EnumInstances(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                             const CMPIObjectPath* path, const char**) {
    std::fputs("enumerating instances\n", stdout);
    const std::string className = classNameOf(path);
    syslog(LOG_ERR, "PCI_enuminstances - in the routine with classname [%s]", className.c_str());
    return serveInstances({_broker, context, result, false}, className);
}

CMPIStatus PCI_GetInstance(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                           const CMPIObjectPath* path, const char**) {
    return serveInstances({_broker, context, result, false}, classNameOf(path));
}

CMPIStatus PCI_CreateInstance(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*,
                              const CMPIInstance*) {
    return kNotSupported;
}

CMPIStatus PCI_ModifyInstance(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*,
                              const CMPIInstance*, const char**) {
    return kNotSupported;
}

CMPIStatus PCI_DeleteInstance(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*) {
    return kNotSupported;
}

CMPIStatus PCI_ExecQuery(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*, const char*,
                         const char*) {
    return kNotSupported;
}

// ---------------------------------------------------------------------------------------------------------------
// Association operations

CMPIStatus PCI_AssociationCleanup(CMPIAssociationMI*, const CMPIContext*, CMPIBoolean) {
    return kOk;
}

CMPIStatus PCI_Associators(CMPIAssociationMI*, const CMPIContext* context, const CMPIResult* result,
                           const CMPIObjectPath* path, const char* assocClass, const char* resultClass,
                           const char* role, const char* resultRole, const char**) {
    return processAssociators(context, result, path, assocClass, resultClass, role, resultRole, false);
}

CMPIStatus PCI_AssociatorNames(CMPIAssociationMI*, const CMPIContext* context, const CMPIResult* result,
                               const CMPIObjectPath* path, const char* assocClass, const char* resultClass,
                               const char* role, const char* resultRole) {
    return processAssociators(context, result, path, assocClass, resultClass, role, resultRole, true);
}

CMPIStatus PCI_References(CMPIAssociationMI*, const CMPIContext* context, const CMPIResult* result,
                          const CMPIObjectPath* path, const char* resultClass, const char* role, const char**) {
    return createPCIReferences(context, result, path, resultClass, role, false);
}

CMPIStatus PCI_ReferenceNames(CMPIAssociationMI*, const CMPIContext* context, const CMPIResult* result,
                              const CMPIObjectPath* path, const char* resultClass, const char* role) {
    return createPCIReferences(context, result, path, resultClass, role, true);
}

// ---------------------------------------------------------------------------------------------------------------
// Function tables. Object managers of the older header generations want them writable; nothing writes them. The fields
// are filled by position, since the slots' names differ between the generations.

namespace {

CMPIInstanceMIFT instMIFT__ = {
    100,
    100,
    "instancePCIInfoProvider",
    PCI_Cleanup,
    PCI_EnumInstanceNames,
    PCI_EnumInstances,
    PCI_GetInstance,
    PCI_CreateInstance,
    PCI_ModifyInstance,
    PCI_DeleteInstance,
    PCI_ExecQuery,
};

CMPIAssociationMIFT assocMIFT__ = {
    100,
    100,
    "associationPCIInfoProvider",
    PCI_AssociationCleanup,
    PCI_Associators,
    PCI_AssociatorNames,
    PCI_References,
    PCI_ReferenceNames,
};

/** Factories run more than once, with the broker of the latest call as the one to use, and may run at the same time. */
void setBroker(const CMPIBroker* broker) {
    _broker = broker;
}

}  // namespace

}  // namespace tPCIInfo

#define PCIINFO_FACTORY extern "C" __attribute__((visibility("default")))

/** The provider's instance interface, the same record at every call. */
PCIINFO_FACTORY CMPIInstanceMI* PCIInfoProvider_Create_InstanceMI(const CMPIBroker* broker, const CMPIContext*,
                                                                  CMPIStatus*) {
    static CMPIInstanceMI mi = {nullptr, &tPCIInfo::instMIFT__};
    tPCIInfo::setBroker(broker);
    return &mi;
}

/** The provider's association interface, likewise. */
PCIINFO_FACTORY CMPIAssociationMI* PCIInfoProvider_Create_AssociationMI(const CMPIBroker* broker, const CMPIContext*,
                                                                        CMPIStatus*) {
    static CMPIAssociationMI mi = {nullptr, &tPCIInfo::assocMIFT__};
    tPCIInfo::setBroker(broker);
    return &mi;
}
