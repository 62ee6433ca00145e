#ifndef PCIINFO_PCI_ADDRESS_H
#define PCIINFO_PCI_ADDRESS_H

#include <string>

namespace tPCIInfo {

/**
 * The address of a PCI function within its domain: bus 0 to 255, device 0 to 31, function 0 to 7. One that a client
 * gave may lie outside and is then no function's.
 */
struct FunctionAddress {
    int bus = 0;
    int device = 0;
    int function = 0;

    /** What stands in front of the three numbers in a DeviceID. */
    static constexpr const char* kLabels[] = {"PCI Bus ", "device ", "function "};

    /** From the first field of a line of /proc/bus/pci/devices: the bus above the eight bits of device and function. */
    static FunctionAddress fromBusDevfn(unsigned long field);
    /** From a DeviceID: 0 for what it does not tell. The bus is read at one place wherever its label is. */
    static FunctionAddress fromDeviceId(const std::string& deviceId);

    /** "PCI Bus 0, device 31, function 3". */
    std::string deviceId() const;
};

bool operator==(const FunctionAddress& a, const FunctionAddress& b);
/** By bus, then device, then function. */
bool operator<(const FunctionAddress& a, const FunctionAddress& b);

}  // namespace tPCIInfo

#endif
