#ifndef PCIINFO_UTILS_DELIVERY_H
#define PCIINFO_UTILS_DELIVERY_H

#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>

#include "utils/providerutils.h"

namespace tPCIInfo {

/** Where the objects of one request come from and go to, and in what form. Any handle may be null. */
struct Delivery {
    const CMPIBroker* broker;
    const CMPIContext* context;
    const CMPIResult* result;
    bool namesOnly;

    void deliver(const CMPIObjectPath* path) const { CMPICIMInst().returnObjectPath(result, path); }
    void deliver(const CMPIInstance* instance) const { CMPICIMInst().returnInstance(result, instance); }

    /** Closes the result. */
    void done() const {
        if (result != nullptr) result->ft->returnDone(result);
    }

    /** Delivers what makePath() gives where names are asked for, else what makeInstance() gives; null is nothing. */
    template <typename MakePath, typename MakeInstance>
    void deliver(MakePath makePath, MakeInstance makeInstance) const {
        if (namesOnly) {
            deliver(makePath());
        } else {
            deliver(makeInstance());
        }
    }
};

}  // namespace tPCIInfo

#endif
