#ifndef PCIINFO_TESTS_EXPORTER_MACHINE_H
#define PCIINFO_TESTS_EXPORTER_MACHINE_H

#include <string>
#include <utility>

#include "exporter/probe.h"

namespace machine {

inline cimhost::Function function(const std::string& location, const std::string& ids = "8086:10fb",
                                  const std::string& classCode = "02:00",
                                  const std::string& description = "Ethernet controller: Acme") {
    return {location, "QELTA_PCIDevice", ids, classCode, description, {}};
}

inline cimhost::Slot slot(unsigned number, const std::string& designation, cimhost::Functions functions = {},
                          const std::string& usage = "in use") {
    return {number, designation, usage, "x8", std::move(functions), "PCIe3"};
}

/** A host's answer whose requests took so many seconds each. */
inline exporter::Probed probed(cimhost::Inventory inventory, double seconds = 0.1) {
    inventory.host = "node1";
    inventory.readings = cimhost::kReadingsOfInventory;
    exporter::Probed result{std::move(inventory), {}};
    for (const char* name : {"QELTA_SystemBoard", "QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SystemSlot"})
        result.requests.push_back({name, exporter::Seconds(seconds)});
    return result;
}

}  // namespace machine

#endif
