// The PCI functions of the sample machines against lspci, the PCI ID list and their configuration spaces.
#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tests/samples/reference.h"
#include "tests/samples/sample.h"

using samples::shown;
using samples::shownArray;

namespace {

constexpr unsigned kBridgeClass = 0x06;

std::string deviceId(const reference::Function& function) {
    return fmt::format("PCI Bus {}, device {}, function {}", function.bus, function.dev, function.func);
}

std::string uint8(unsigned value) {
    return fmt::format("uint8 {}", value);
}
std::string uint16(unsigned value) {
    return fmt::format("uint16 {}", value);
}

/** A name as the catalogue has it: the catalogue is XML, and names are delivered as they stand there. */
std::string escaped(const std::string& name) {
    std::string text;
    for (const char c : name) text += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    return text;
}

std::uint32_t littleEndian(const reference::RawFunction& raw, std::size_t offset, std::size_t bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = bytes; i-- > 0;) value = value << 8 | raw.config[offset + i];
    return value;
}

class SamplePci : public samples::SampleTest {
 protected:
    /** Calls `check` with every function that lspci sees and the instance delivered for it. */
    template <typename Check>
    void forEveryFunction(Check check) {
        std::map<std::string, broker::Instance> delivered;
        for (const char* className : {"QELTA_PCIDevice", "QELTA_PCIBridge"})
            for (broker::Instance& instance : samples::instances(directory(), className))
                delivered.emplace(shown(instance, "DeviceID"), std::move(instance));
        const std::vector<reference::Function> functions = reference::lspci(procBusPci());
        ASSERT_FALSE(functions.empty());
        for (const reference::Function& function : functions) {
            SCOPED_TRACE(deviceId(function));
            const auto found = delivered.find("string " + deviceId(function));
            ASSERT_NE(found, delivered.end());
            check(function, found->second);
        }
    }
};

}  // namespace

TEST_P(SamplePci, BridgesAreTheFunctionsOfClass06AndDevicesAllOthersInBusOrder) {
    for (const bool bridges : {true, false}) {
        std::vector<std::string> delivered, expected;
        for (const broker::Instance& instance :
             samples::instances(directory(), bridges ? "QELTA_PCIBridge" : "QELTA_PCIDevice"))
            delivered.push_back(shown(instance, "DeviceID"));
        for (const reference::Function& function : reference::lspci(procBusPci()))
            if ((function.classCode == kBridgeClass) == bridges) expected.push_back("string " + deviceId(function));
        EXPECT_EQ(delivered, expected);
    }
}

TEST_P(SamplePci, VendorDeviceClassAndRevisionAreThoseOfLspci) {
    forEveryFunction([](const reference::Function& function, const broker::Instance& instance) {
        EXPECT_EQ(shown(instance, "VendorID"), uint16(function.vendor));
        EXPECT_EQ(shown(instance, "PciDeviceID"), uint16(function.device));
        EXPECT_EQ(shown(instance, "ClassCode"), uint8(function.classCode));
        EXPECT_EQ(shown(instance, "Subclass"), uint8(function.subclass));
        EXPECT_EQ(shown(instance, "Revision"), uint8(function.revision));
    });
}

TEST_P(SamplePci, DescriptionsAreMadeOfTheNamesInThePciIdList) {
    const reference::PciIds ids(PCIINFO_PCI_IDS);
    unsigned known = 0;
    forEveryFunction([&](const reference::Function& function, const broker::Instance& instance) {
        const char* defaultClass = function.classCode == kBridgeClass ? "PCI Bridge:" : "PIC:";
        known += ids.firstDevice(function.device).has_value() ? 1 : 0;
        EXPECT_EQ(shown(instance, "Description"),
                  fmt::format("string {}: {} {} (rev {:02x})",
                              ids.classText(function.classCode, function.subclass).value_or(defaultClass),
                              escaped(ids.vendor(function.vendor).value_or("vendor")),
                              escaped(ids.firstDevice(function.device).value_or("descrip")), function.revision));
    });
    EXPECT_GT(known, 0U);
}

TEST_P(SamplePci, AddressesAndLengthsFollowTheBaseAddressRegisters) {
    forEveryFunction([this](const reference::Function& function, const broker::Instance& instance) {
        const reference::RawFunction raw = reference::rawFunction(procBusPci(), function);
        std::vector<unsigned> memory, io;
        for (std::size_t i = 0; i < 6; ++i) {
            const std::uint32_t bar = littleEndian(raw, 0x10 + 4 * i, 4);
            const std::uint32_t low = bar & 0xFF;
            // An I/O address is made of bytes 1 and 2, the upper of them in the lower place.
            if (low == 0x01) io.push_back((bar >> 8 & 0xFF) << 8 | (bar >> 16 & 0xFF));
            if (low != 0x01 && low != 0x00) memory.push_back(bar >> 8);
        }
        memory.erase(std::remove(memory.begin(), memory.end(), 0U), memory.end());
        io.erase(std::remove(io.begin(), io.end(), 0U), io.end());
        const bool bridge = function.classCode == kBridgeClass;
        EXPECT_EQ(shown(instance, "MEMAddress"), bridge ? "unset" : shownArray("uint32", memory));
        EXPECT_EQ(shown(instance, "IOAddress"), bridge ? "unset" : shownArray("uint16", io));
        EXPECT_EQ(shown(instance, "MEMLength"), "unset");
        EXPECT_EQ(shown(instance, "IOLength"), "unset");
    });
}

TEST_P(SamplePci, InterruptsAreThoseOfTheKernelsListAndOfDevicesOnly) {
    forEveryFunction([this](const reference::Function& function, const broker::Instance& instance) {
        const unsigned irq = reference::rawFunction(procBusPci(), function).irq & 0xFFFF;
        EXPECT_EQ(shown(instance, "IRQ"), function.classCode == kBridgeClass || irq == 0 ? "unset" : uint16(irq));
    });
}

TEST_P(SamplePci, SubsystemsAreThoseOfConfigurationSpaceAndOfDevicesOnly) {
    forEveryFunction([this](const reference::Function& function, const broker::Instance& instance) {
        const reference::RawFunction raw = reference::rawFunction(procBusPci(), function);
        const bool bridge = function.classCode == kBridgeClass;
        EXPECT_EQ(shown(instance, "SubsystemVendorID"), bridge ? "unset" : uint16(littleEndian(raw, 0x2C, 2)));
        EXPECT_EQ(shown(instance, "SubsystemID"), bridge ? "unset" : uint16(littleEndian(raw, 0x2E, 2)));
    });
}

TEST_P(SamplePci, NumberIsTheDeviceNumberAndUINumberThatOfASystemSlot) {
    unsigned highestSlot = 0;
    for (const reference::Slot& slot : reference::dmidecodeSlots(smbiosTable()))
        highestSlot = std::max(highestSlot, slot.id.value());
    ASSERT_GT(highestSlot, 0U);
    forEveryFunction([highestSlot](const reference::Function& function, const broker::Instance& instance) {
        EXPECT_EQ(shown(instance, "Number"), function.dev == 0 ? "unset" : uint8(function.dev));
        EXPECT_EQ(shown(instance, "UINumber"), uint8(function.dev <= highestSlot ? function.dev : 0));
    });
}

TEST_P(SamplePci, SystemNameIsTheHostName) {
    std::string hostName = GetParam();  // the directory's own name, where no file has another one
    if (std::ifstream file(directory() + "/hostname"); file) std::getline(file, hostName);
    ASSERT_NE(hostName, "");
    forEveryFunction([&hostName](const reference::Function&, const broker::Instance& instance) {
        EXPECT_EQ(shown(instance, "SystemName"), "string " + hostName);
        ASSERT_NE(instance.path.key("SystemName"), nullptr);
        EXPECT_EQ(broker::toString(*instance.path.key("SystemName")), hostName);
    });
}

INSTANTIATE_TEST_SUITE_P(Machines, SamplePci, ::testing::ValuesIn(samples::names()), samples::caseName);
