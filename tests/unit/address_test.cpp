// Addresses of PCI functions. How DeviceIDs of clients are read is tested in slotofdevice_test.cpp.
#include "pci/address.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using tPCIInfo::FunctionAddress;

TEST(Address, ComesFromTheKernelsField) {
    EXPECT_EQ(FunctionAddress::fromBusDevfn(0x0000), (FunctionAddress{0, 0, 0}));
    EXPECT_EQ(FunctionAddress::fromBusDevfn(0x00FB), (FunctionAddress{0, 31, 3}));
    EXPECT_EQ(FunctionAddress::fromBusDevfn(0xFF07), (FunctionAddress{255, 0, 7}));
}

TEST(Address, KeepsEightBitsOfTheBus) {
    EXPECT_EQ(FunctionAddress::fromBusDevfn(0x1230009), (FunctionAddress{0, 1, 1}));
    EXPECT_EQ(FunctionAddress::fromBusDevfn(~0UL), (FunctionAddress{255, 31, 7}));
}

TEST(Address, ReadsTheDeviceIdThatItPrints) {
    for (const unsigned long field : {0x0000UL, 0x00FBUL, 0x8008UL, 0xFFFFUL}) {
        const FunctionAddress address = FunctionAddress::fromBusDevfn(field);
        EXPECT_EQ(FunctionAddress::fromDeviceId(address.deviceId()), address) << address.deviceId();
    }
    EXPECT_EQ((FunctionAddress{12, 4, 7}.deviceId()), "PCI Bus 12, device 4, function 7");
}

TEST(Address, IsOrderedByBusThenDeviceThenFunction) {
    const std::vector<FunctionAddress> ordered = {{0, 0, 1}, {0, 0, 7}, {0, 1, 0}, {0, 31, 7}, {1, 0, 0}, {255, 0, 0}};
    std::vector<FunctionAddress> sorted(ordered.rbegin(), ordered.rend());
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, ordered);
    EXPECT_FALSE((FunctionAddress{1, 2, 3} < FunctionAddress{1, 2, 3}));
}

}  // namespace
