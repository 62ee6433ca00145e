#ifndef PCIINFO_TESTS_UNIT_PCIHOST_H
#define PCIINFO_TESTS_UNIT_PCIHOST_H

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "emulator/emulatedhost.h"
#include "ipmi/IpmiDataStore.h"
#include "pci/pcidevinfo.h"
#include "tests/support/machine.h"

/** bus:device.function of records, in hexadecimal. */
inline std::vector<std::string> addresses(const std::vector<tPCIInfo::sPciDevices>& records) {
    std::vector<std::string> texts;
    texts.reserve(records.size());
    for (const tPCIInfo::sPciDevices& record : records)
        texts.push_back(fmt::format("{:02x}:{:02x}.{:x}", record.bus, record.dev, record.func));
    return texts;
}

/**
 * A host whose bus and catalogues a test writes itself. The files of the bus may be changed at any time, the BMC's data
 * store until the first call of host().
 */
class PciHostTest : public ::testing::Test {
 protected:
    PciHostTest() { tPCIInfo::MAX_KCS_BUFF_SIZE = 200; }
    ~PciHostTest() override { tPCIInfo::disconnect_kcs(); }

    emulator::EmulatedHost& host() {
        if (!host_) host_.emplace(files.directory());
        return *host_;
    }

    /** The working list of one fresh scan. */
    std::vector<tPCIInfo::sPciDevices> scan(const char* className) {
        host();
        tPCIInfo::TPciDevInfo info(className);
        std::vector<tPCIInfo::sPciDevices> records;
        while (const tPCIInfo::sPciDevices* record = info.getNextElement()) records.push_back(*record);
        return records;
    }
    std::vector<tPCIInfo::sPciDevices> devices() { return scan("QELTA_PCIDevice"); }
    std::vector<tPCIInfo::sPciDevices> bridges() { return scan("QELTA_PCIBridge"); }

    /** The one device on the bus. */
    tPCIInfo::sPciDevices device() {
        const auto records = devices();
        EXPECT_EQ(records.size(), 1U);
        return records.empty() ? tPCIInfo::sPciDevices() : records[0];
    }

    /** A BMC whose table tells of one system slot with that number. */
    void setHighestSlot(std::uint16_t number) {
        testsupport::Slot slot;
        slot.id = number;
        files.setSmbiosTable(testsupport::SmbiosBuilder().addSlot(slot).bytes());
    }

    testsupport::HostBuilder files;

 private:
    std::optional<emulator::EmulatedHost> host_;
};

#endif
