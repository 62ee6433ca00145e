// A provider that writes to standard output what an association request asks for, and answers nothing.
// It refuses enumerations.

#include <cstdio>

#include "tests/broker/tinyprovider.h"

namespace {

void write(const char* what, const char* filter) {
    if (filter != nullptr) {
        std::printf(" %s [%s]", what, filter);
    } else {
        std::printf(" %s null", what);
    }
}

CMPIStatus writeFilters(const tiny::Asked& asked) {
    if (asked.operation.rfind("enumerate", 0) == 0) return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
    std::printf("%s", asked.operation.c_str());
    write("assocClass", asked.assocClass);
    write("resultClass", asked.resultClass);
    write("role", asked.role);
    write("resultRole", asked.resultRole);
    std::printf("\n");
    return tiny::ok;
}

}  // namespace

extern "C" CMPIInstanceMI* PCIInfoProvider_Create_InstanceMI(const CMPIBroker* broker, const CMPIContext* context,
                                                             CMPIStatus* status) {
    return tiny::createInstanceMI(broker, context, status);
}

extern "C" CMPIAssociationMI* PCIInfoProvider_Create_AssociationMI(const CMPIBroker* broker, const CMPIContext* context,
                                                                   CMPIStatus* status) {
    tiny::behave(writeFilters);
    return tiny::createAssociationMI(broker, context, status);
}
