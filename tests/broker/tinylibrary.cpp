// The tiny provider as a library: "Tiny" has both factories, "Half" the first only, "Refusing" gives nothing.

#include "tests/broker/tinyprovider.h"

CMPI_EXTERN_C CMPIInstanceMI* Tiny_Create_InstanceMI(const CMPIBroker* broker, const CMPIContext* context,
                                                     CMPIStatus* rc) {
    return tiny::createInstanceMI(broker, context, rc);
}

CMPI_EXTERN_C CMPIAssociationMI* Tiny_Create_AssociationMI(const CMPIBroker* broker, const CMPIContext* context,
                                                           CMPIStatus* rc) {
    return tiny::createAssociationMI(broker, context, rc);
}

CMPI_EXTERN_C CMPIInstanceMI* Half_Create_InstanceMI(const CMPIBroker* broker, const CMPIContext* context,
                                                     CMPIStatus* rc) {
    return tiny::createInstanceMI(broker, context, rc);
}

CMPI_EXTERN_C CMPIInstanceMI* Refusing_Create_InstanceMI(const CMPIBroker*, const CMPIContext*, CMPIStatus* rc) {
    rc->rc = CMPI_RC_ERR_ACCESS_DENIED;
    return nullptr;
}

CMPI_EXTERN_C CMPIAssociationMI* Refusing_Create_AssociationMI(const CMPIBroker*, const CMPIContext*, CMPIStatus*) {
    return nullptr;
}
