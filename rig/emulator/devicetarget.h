#ifndef PCIINFO_EMULATOR_DEVICETARGET_H
#define PCIINFO_EMULATOR_DEVICETARGET_H

#include <memory>

#include "emulator/host.h"

namespace emulator {

/** The device session behind a descriptor, kept alive for a call together with its host; null for other descriptors. */
struct DeviceTarget {
    std::shared_ptr<Host> host;
    std::shared_ptr<DeviceSession> session;

    explicit DeviceTarget(int descriptor) {
        if (!Host::mayBeSession(descriptor)) return;
        host = Host::active();
        if (host) session = host->session(descriptor);
    }
};

}  // namespace emulator

#endif
