#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>
#include <strings.h>
#include <syslog.h>

#include <atomic>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include "board/tsysbrd.h"
#include "pci/pcidevinfo.h"
#include "slots/tslotinfo.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

namespace {

/** The object manager's broker; both interfaces share it, and object managers run factories on several threads. */
std::atomic<const CMPIBroker*> _broker{nullptr};

constexpr CMPIStatus kOk = {CMPI_RC_OK, nullptr};
constexpr CMPIStatus kInvalidClass = {CMPI_RC_ERR_INVALID_CLASS, nullptr};
constexpr CMPIStatus kNotSupported = {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};

void returnDone(const CMPIResult* result) {
    if (result != nullptr) result->ft->returnDone(result);
}

/** Runs a part of a request; a standard exception ends it. A failure shows as fewer objects, never as a status. */
template <typename Part>
void untilException(Part part) {
    try {
        part();
    } catch (const std::exception&) {
        return;
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Instance operations

/** Where a request's objects go, and in what form. */
struct Delivery {
    const CMPIContext* context;
    const CMPIResult* result;
    bool namesOnly;
};

void deliverPciFunctions(const Delivery& to, const char* className) {
    const auto pci = std::make_unique<TPciDevInfo>(className);
    pci->GetCIMInstance(_broker, to.context, to.result, className, to.namesOnly);
}

void deliverSlots(const Delivery& to, const char* className) {
    TSlotInfo().GetCIMInstances(_broker, to.result, className, to.namesOnly);
}

void deliverBoard(const Delivery& to, const char* className) {
    TSysBrd().GetCIMInstances(_broker, to.result, to.context, className, to.namesOnly);
}

void deliverSlotControllers(const Delivery& to, const char*) {
    const auto pci = std::make_unique<TPciDevInfo>(kPciBridgeClass);
    pci->GetDeviceFromSlotAssocInstances(_broker, to.context, to.result, nullptr, to.namesOnly);
}

void deliverBoardControllers(const Delivery& to, const char*) {
    const auto pci = std::make_unique<TPciDevInfo>(kPciDeviceClass);
    pci->GetOnboardDeviceAssocInstances(_broker, to.context, to.result, to.namesOnly);
}

/** One class of the dispatch chain. The two controller views leave the result open. */
struct ServedClass {
    const char* name;
    void (*deliver)(const Delivery&, const char* className);
    bool closesResult;
};

constexpr ServedClass kServedClasses[] = {
    {kPciDeviceClass, deliverPciFunctions, true},
    {kPciBridgeClass, deliverPciFunctions, true},
    {kDeviceInSlotClass, deliverPciFunctions, true},
    {kSystemSlotClass, deliverSlots, true},
    {kSystemBoardClass, deliverBoard, true},
    {kOnBoardDeviceClass, deliverBoard, true},
    {kSlotControllerClass, deliverSlotControllers, false},
    {kBoardControllerClass, deliverBoardControllers, false},
};

const ServedClass* findClass(const std::string& className) {
    for (const ServedClass& served : kServedClasses) {
        if (lower(className) == lower(served.name)) return &served;
    }
    return nullptr;
}

/**
 * Serves one instance request: every object of the class, whatever the path's keys. A standard exception ends it with
 * what was delivered so far, the status as it stands and the result left open.
 */
CMPIStatus serve(const Delivery& to, const std::string& className) {
    CMPIStatus status = kOk;
    untilException([&] {
        if (const ServedClass* served = findClass(className)) {
            served->deliver(to, served->name);
            if (served->closesResult && !to.namesOnly) returnDone(to.result);
        } else {
            status = kInvalidClass;
        }
    });
    return status;
}

}  // namespace

CMPIStatus PCI_Cleanup(CMPIInstanceMI*, const CMPIContext*, CMPIBoolean) {
    return kOk;
}

CMPIStatus PCI_EnumInstanceNames(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                                 const CMPIObjectPath* path) {
    return serve({context, result, true}, classNameOf(path));
}

CMPIStatus PCI_EnumInstances(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                             const CMPIObjectPath* path, const char**) {
    std::fputs("enumerating instances\n", stdout);
    const std::string className = classNameOf(path);
    syslog(LOG_ERR, "PCI_enuminstances - in the routine with classname [%s]", className.c_str());
    return serve({context, result, false}, className);
}

CMPIStatus PCI_GetInstance(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                           const CMPIObjectPath* path, const char**) {
    return serve({context, result, false}, classNameOf(path));
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

namespace {

/** An association request: the source's path and its class name in lower case, and the form of the answer. */
struct AssociationRequest {
    const CMPIContext* context;
    const CMPIResult* result;
    const CMPIObjectPath* path;
    std::string source;
    bool namesOnly;
};

/** The filters of associators; null where the client gave none. */
struct AssociatorFilters {
    const char* assocClass;
    const char* resultClass;
    const char* resultRole;
};

/** Whether a text in lower case has the constant, in any letter case, somewhere in it. */
bool contains(const std::string& lowered, const char* constant) {
    return lowered.find(lower(constant)) != std::string::npos;
}

/** Whether a filter is the constant, in any letter case. */
bool equals(const char* filter, const char* constant) {
    return lower(filter) == lower(constant);
}

bool isPciFunction(const std::string& source) {
    for (const char* name : {kPciBridgeClass, kPciDeviceClass, kSlotControllerClass, kBoardControllerClass}) {
        if (contains(source, name)) return true;
    }
    return false;
}

/** Runs an association request and closes its result, whatever became of it. */
template <typename Work>
CMPIStatus answer(const CMPIResult* result, Work work) {
    CMPIStatus status = kOk;
    untilException([&] { work(status); });
    untilException([&] { returnDone(result); });
    return status;
}

// --- associators ---

/** The role that the objects asked for must play, in lower case. A PCI function's other end is the antecedent. */
std::string wantedRole(const char* resultRole) {
    if (resultRole == nullptr) return "antecedent";
    syslog(LOG_ERR, "PCI_Associators - result role found [%s]", resultRole);
    std::string role = lower(resultRole);
    syslog(LOG_ERR, "PCI_Associators - result role found2 [%s]", role.c_str());
    return role;
}

/** The class at a PCI function's other end that the association class leads to; empty for an unknown one. */
std::string classBehind(const char* assocClass) {
    syslog(LOG_ERR, "PCI_Associators - association class found");
    const std::string association = lower(assocClass);
    if (contains(association, kDeviceInSlotClass)) return lower(kSystemSlotClass);
    if (contains(association, kOnBoardDeviceClass)) return lower(kSystemBoardClass);
    return "";
}

/** The class that a PCI function leads to without filters: its slot only for the view from a slot, else the board. */
std::string classBehindSource(const std::string& source) {
    syslog(LOG_ERR, "PCI_Associators - association class not found");
    if (contains(source, kPciBridgeClass) || contains(source, kPciDeviceClass)) return lower(kSystemBoardClass);
    if (contains(source, kSlotControllerClass)) return lower(kSystemSlotClass);
    return lower(kSystemBoardClass);
}

/** The class of the objects asked for, in lower case. A result class decides alone, then the association class. */
std::string wantedClass(const std::string& source, const AssociatorFilters& filters) {
    if (filters.resultClass != nullptr) {
        syslog(LOG_ERR, "PCI_Associators - result class found [%s]", filters.resultClass);
        std::string wanted = lower(filters.resultClass);
        syslog(LOG_ERR, "PCI_Associators - result class found2 [%s]", wanted.c_str());
        return wanted;
    }
    syslog(LOG_ERR, "PCI_Associators - resultClass not found");
    return filters.assocClass != nullptr ? classBehind(filters.assocClass) : classBehindSource(source);
}

void associatePciFunction(const AssociationRequest& request, const AssociatorFilters& filters) {
    const char* source = request.source.c_str();
    syslog(LOG_ERR, "PCI_Associators - found one of the dependents [%s]", source);
    const std::string role = wantedRole(filters.resultRole);
    syslog(LOG_ERR, "PCI_Associators - found one2 of the dependents [%s]", source);
    const std::string wanted = wantedClass(request.source, filters);
    syslog(LOG_ERR, "PCI_Associators - rRole [%s] rClass [%s]", role.c_str(), wanted.c_str());
    if (!contains(role, "antecedent")) return;
    if (contains(wanted, kSystemSlotClass)) {
        const auto pci = std::make_unique<TPciDevInfo>(kPciBridgeClass);
        pci->GetSlotFromDeviceAssocInstances(_broker, request.context, request.result, request.path, request.namesOnly);
    } else if (contains(wanted, kSystemBoardClass)) {
        syslog(LOG_ERR, "PCI_Associators4 - the srcclassname [%s] systemboard", source);
        TSysBrd().GetCIMInstances(_broker, request.result, request.context, kSystemBoardClass, request.namesOnly);
    }
}

/** A slot's other end is anything but the antecedent: a role without meaning passes. */
void associateSystemSlot(const AssociationRequest& request, const AssociatorFilters& filters) {
    const char* source = request.source.c_str();
    syslog(LOG_ERR, "PCI_Associators - doing the class_system_slot thing for src class [%s]", source);
    if (filters.resultClass != nullptr && !equals(filters.resultClass, kSlotControllerClass)) return;
    if (filters.resultRole != nullptr && equals(filters.resultRole, "antecedent")) return;
    const auto pci = std::make_unique<TPciDevInfo>(kPciBridgeClass);
    syslog(LOG_ERR, "PCI_Associators - class_system_slot [%s] sending object path", source);
    pci->GetDeviceFromSlotAssocInstances(_broker, request.context, request.result, request.path, request.namesOnly);
}

/** The board's other end is the dependent, and no other role passes. */
void associateSystemBoard(const AssociationRequest& request, const AssociatorFilters& filters) {
    syslog(LOG_ERR, "PCI_Associators - src class [%s]", request.source.c_str());
    if (filters.resultClass != nullptr && !equals(filters.resultClass, kBoardControllerClass)) return;
    if (filters.resultRole != nullptr && !equals(filters.resultRole, "dependent")) return;
    const auto pci = std::make_unique<TPciDevInfo>(kPciDeviceClass);
    pci->GetOnboardDeviceAssocInstances(_broker, request.context, request.result, request.namesOnly);
}

// --- references ---

void referToBoard(const AssociationRequest& request) {
    const auto pci = std::make_unique<TPciDevInfo>(kPciBridgeClass);
    pci->GetAssocRefFromDeviceInstances(_broker, request.context, request.result, request.path, kSystemBoardClass,
                                        request.namesOnly);
}

std::unique_ptr<TPciDevInfo> pciInfoForSlots(const AssociationRequest& request) {
    auto pci = std::make_unique<TPciDevInfo>(kDeviceInSlotClass);
    syslog(LOG_ERR, "PCI_References - the srcclassname [%s] found systemslot", request.source.c_str());
    return pci;
}

void referToSlot(const AssociationRequest& request) {
    pciInfoForSlots(request)->GetAssocRefFromDeviceInstances(_broker, request.context, request.result, request.path,
                                                             kSystemSlotClass, request.namesOnly);
}

/** Without a filter a device or bridge gives its reference to the board alone, whether it sits in a slot or not. */
void referencePciFunction(const AssociationRequest& request, const char* resultClass) {
    syslog(LOG_ERR, "PCI_AssociatorName - pcidevice found");
    if (resultClass != nullptr) {
        if (strcasecmp(resultClass, kDeviceInSlotClass) == 0) referToSlot(request);
        if (strcasecmp(resultClass, kOnBoardDeviceClass) == 0) referToBoard(request);
    } else if (contains(request.source, kBoardControllerClass) || contains(request.source, kPciBridgeClass) ||
               contains(request.source, kPciDeviceClass)) {
        referToBoard(request);
    } else {
        referToSlot(request);
    }
}

}  // namespace

CMPIStatus processAssociators(const CMPIContext* context, const CMPIResult* result, const CMPIObjectPath* path,
                              const char* assocClass, const char* resultClass, const char*, const char* resultRole,
                              bool namesOnly) {
    return answer(result, [&](CMPIStatus& status) {
        const AssociationRequest request = {context, result, path, lower(classNameOf(path)), namesOnly};
        const AssociatorFilters filters = {assocClass, resultClass, resultRole};
        syslog(LOG_ERR, "PCI_Associators - the srcclassname [%s]", request.source.c_str());
        if (isPciFunction(request.source)) {
            associatePciFunction(request, filters);
        } else if (contains(request.source, kSystemSlotClass)) {
            associateSystemSlot(request, filters);
        } else if (contains(request.source, kSystemBoardClass)) {
            associateSystemBoard(request, filters);
        } else {
            status = kInvalidClass;
        }
    });
}

CMPIStatus createPCIReferences(const CMPIContext* context, const CMPIResult* result, const CMPIObjectPath* path,
                               const char* resultClass, const char*, bool namesOnly) {
    return answer(result, [&](CMPIStatus& status) {
        const AssociationRequest request = {context, result, path, lower(classNameOf(path)), namesOnly};
        syslog(LOG_ERR, "PCI_References - the srcclassname [%s] resultclass is [%s]", request.source.c_str(),
               resultClass != nullptr ? resultClass : "nothing");
        if (isPciFunction(request.source)) {
            referencePciFunction(request, resultClass);
        } else if (contains(request.source, kSystemBoardClass)) {
            TSysBrd().GetCIMInstances(_broker, result, context, kOnBoardDeviceClass, namesOnly);
        } else if (contains(request.source, kSystemSlotClass)) {
            pciInfoForSlots(request)->GetAssocRefFromSlotInstances(_broker, context, result, path, namesOnly);
        } else {
            status = kInvalidClass;
        }
    });
}

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
