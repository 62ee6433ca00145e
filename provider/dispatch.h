#ifndef PCIINFO_PROVIDER_DISPATCH_H
#define PCIINFO_PROVIDER_DISPATCH_H

#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>

#include <string>

#include "utils/delivery.h"

namespace tPCIInfo {

constexpr CMPIStatus kInvalidClass = {CMPI_RC_ERR_INVALID_CLASS, nullptr};

/** The broker that the latest factory call brought; null before the first. */
const CMPIBroker* currentBroker();

/**
 * Serves one instance request: every object of the class, whatever the path's keys. A standard exception ends it with
 * what was delivered so far, the status as it stands and the result left open.
 */
CMPIStatus serveInstances(const Delivery& to, const std::string& className);

/**
 * Serves associators and associatorNames. Filters are null where the client gave none; the role is not looked at. The
 * result is closed whatever becomes of the request, unless an exception other than a standard one passes.
 */
CMPIStatus processAssociators(const CMPIContext* context, const CMPIResult* result, const CMPIObjectPath* path,
                              const char* assocClass, const char* resultClass, const char* role, const char* resultRole,
                              bool namesOnly);

/** Serves references and referenceNames, likewise. */
CMPIStatus createPCIReferences(const CMPIContext* context, const CMPIResult* result, const CMPIObjectPath* path,
                               const char* resultClass, const char* role, bool namesOnly);

}  // namespace tPCIInfo

#endif
