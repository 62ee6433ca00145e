// Association requests: who delivers what, by the source's class and the filters.
// Tests: tests/requests/associators_test.cpp, tests/requests/references_test.cpp.
#include <strings.h>
#include <syslog.h>

#include <memory>
#include <string>

#include "board/tsysbrd.h"
#include "pci/pcidevinfo.h"
#include "provider/dispatch.h"
#include "utils/contained.h"
#include "utils/delivery.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

namespace {

/** An association request: the source's path, and its class name in lower case. */
struct AssociationRequest {
    Delivery to;
    const CMPIObjectPath* path;
    std::string source;
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

/** Runs an association request and closes its result, whatever standard exception ended it. */
template <typename Work>
CMPIStatus answer(const Delivery& to, const CMPIObjectPath* path, Work work) {
    CMPIStatus status = kOk;
    containedStandard([&] { status = work(AssociationRequest{to, path, lower(classNameOf(path))}); });
    containedStandard([&] { to.done(); });
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
std::string otherEndOfAssociation(const char* assocClass) {
    syslog(LOG_ERR, "PCI_Associators - association class found");
    const std::string association = lower(assocClass);
    if (contains(association, kDeviceInSlotClass)) return lower(kSystemSlotClass);
    if (contains(association, kOnBoardDeviceClass)) return lower(kSystemBoardClass);
    return "";
}

/** The class that a PCI function leads to without filters: its slot only for the view from a slot, else the board. */
std::string otherEndOfSource(const std::string& source) {
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
    return filters.assocClass != nullptr ? otherEndOfAssociation(filters.assocClass) : otherEndOfSource(source);
}

void associatePciFunction(const AssociationRequest& request, const AssociatorFilters& filters) {
    const Delivery& to = request.to;
    const char* source = request.source.c_str();
    syslog(LOG_ERR, "PCI_Associators - found one of the dependents [%s]", source);
    const std::string role = wantedRole(filters.resultRole);
    syslog(LOG_ERR, "PCI_Associators - found one2 of the dependents [%s]", source);
    const std::string wanted = wantedClass(request.source, filters);
    syslog(LOG_ERR, "PCI_Associators - rRole [%s] rClass [%s]", role.c_str(), wanted.c_str());
    if (!contains(role, "antecedent")) return;
    if (contains(wanted, kSystemSlotClass)) {
        const auto pci = std::make_unique<TPciDevInfo>(kPciBridgeClass);
        pci->GetSlotFromDeviceAssocInstances(to.broker, to.context, to.result, request.path, to.namesOnly);
    } else if (contains(wanted, kSystemBoardClass)) {
        syslog(LOG_ERR, "PCI_Associators4 - the srcclassname [%s] systemboard", source);
        TSysBrd().GetCIMInstances(to.broker, to.result, to.context, kSystemBoardClass, to.namesOnly);
    }
}

/** A slot's other end is anything but the antecedent: a role without meaning passes. */
void associateSystemSlot(const AssociationRequest& request, const AssociatorFilters& filters) {
    const Delivery& to = request.to;
    const char* source = request.source.c_str();
    syslog(LOG_ERR, "PCI_Associators - doing the class_system_slot thing for src class [%s]", source);
    if (filters.resultClass != nullptr && !equals(filters.resultClass, kSlotControllerClass)) return;
    if (filters.resultRole != nullptr && equals(filters.resultRole, "antecedent")) return;
    const auto pci = std::make_unique<TPciDevInfo>(kPciBridgeClass);
    syslog(LOG_ERR, "PCI_Associators - class_system_slot [%s] sending object path", source);
    pci->GetDeviceFromSlotAssocInstances(to.broker, to.context, to.result, request.path, to.namesOnly);
}

/** The board's other end is the dependent, and no other role passes. */
void associateSystemBoard(const AssociationRequest& request, const AssociatorFilters& filters) {
    const Delivery& to = request.to;
    syslog(LOG_ERR, "PCI_Associators - src class [%s]", request.source.c_str());
    if (filters.resultClass != nullptr && !equals(filters.resultClass, kBoardControllerClass)) return;
    if (filters.resultRole != nullptr && !equals(filters.resultRole, "dependent")) return;
    const auto pci = std::make_unique<TPciDevInfo>(kPciDeviceClass);
    pci->GetOnboardDeviceAssocInstances(to.broker, to.context, to.result, to.namesOnly);
}

// --- references ---

void refer(TPciDevInfo& pci, const AssociationRequest& request, const char* resultClass) {
    const Delivery& to = request.to;
    pci.GetAssocRefFromDeviceInstances(to.broker, to.context, to.result, request.path, resultClass, to.namesOnly);
}

void referToBoard(const AssociationRequest& request) {
    const auto pci = std::make_unique<TPciDevInfo>(kPciBridgeClass);
    refer(*pci, request, kSystemBoardClass);
}

std::unique_ptr<TPciDevInfo> pciInfoForSlots(const AssociationRequest& request) {
    auto pci = std::make_unique<TPciDevInfo>(kDeviceInSlotClass);
    syslog(LOG_ERR, "PCI_References - the srcclassname [%s] found systemslot", request.source.c_str());
    return pci;
}

void referToSlot(const AssociationRequest& request) {
    refer(*pciInfoForSlots(request), request, kSystemSlotClass);
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
    return answer({currentBroker(), context, result, namesOnly}, path, [&](const AssociationRequest& request) {
        const AssociatorFilters filters = {assocClass, resultClass, resultRole};
        syslog(LOG_ERR, "PCI_Associators - the srcclassname [%s]", request.source.c_str());
        if (isPciFunction(request.source)) {
            associatePciFunction(request, filters);
        } else if (contains(request.source, kSystemSlotClass)) {
            associateSystemSlot(request, filters);
        } else if (contains(request.source, kSystemBoardClass)) {
            associateSystemBoard(request, filters);
        } else {
            return kInvalidClass;
        }
        return kOk;
    });
}

CMPIStatus createPCIReferences(const CMPIContext* context, const CMPIResult* result, const CMPIObjectPath* path,
                               const char* resultClass, const char*, bool namesOnly) {
    return answer({currentBroker(), context, result, namesOnly}, path, [&](const AssociationRequest& request) {
        const Delivery& to = request.to;
        syslog(LOG_ERR, "PCI_References - the srcclassname [%s] resultclass is [%s]", request.source.c_str(),
               resultClass != nullptr ? resultClass : "nothing");
        if (isPciFunction(request.source)) {
            referencePciFunction(request, resultClass);
        } else if (contains(request.source, kSystemBoardClass)) {
            TSysBrd().GetCIMInstances(to.broker, to.result, to.context, kOnBoardDeviceClass, to.namesOnly);
        } else if (contains(request.source, kSystemSlotClass)) {
            pciInfoForSlots(request)->GetAssocRefFromSlotInstances(to.broker, to.context, to.result, request.path,
                                                                   to.namesOnly);
        } else {
            return kInvalidClass;
        }
        return kOk;
    });
}

}  // namespace tPCIInfo
