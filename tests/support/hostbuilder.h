#ifndef PCIINFO_TESTS_SUPPORT_HOSTBUILDER_H
#define PCIINFO_TESTS_SUPPORT_HOSTBUILDER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace testsupport {

using Bytes = std::vector<std::uint8_t>;

/** A directory of its own below the system's temporary directory; goes away, contents and all, with the object. */
class TemporaryDirectory {
 public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

 private:
    std::filesystem::path path_;
};

/** One PCI function: its line in /proc/bus/pci/devices and its configuration space. */
struct PciFunction {
    unsigned bus = 0;
    unsigned dev = 0;
    unsigned func = 0;
    std::uint16_t vendor = 0x8086;
    std::uint16_t device = 0x1234;
    std::uint32_t irq = 0;                 // as the kernel's list has it
    std::array<std::uint32_t, 6> bars{};   // raw register values, type bits included
    std::array<std::uint64_t, 6> sizes{};  // the list's size fields
    std::uint32_t romAddress = 0;
    std::uint8_t classCode = 0x02;
    std::uint8_t subclass = 0;
    std::uint8_t progIf = 0;
    std::uint8_t revision = 0;
    std::uint8_t cacheLineSize = 0;
    std::uint8_t irqLine = 0;
    std::uint16_t subsystemVendor = 0;
    std::uint16_t subsystem = 0;
    std::size_t configLength = 64;  // of the configuration file; its bytes from 64 on are FFh
    bool hasConfig = true;          // false: no configuration file at all
    std::string driver;
};

/** A function's line in /proc/bus/pci/devices, with its line end. */
std::string devicesLine(const PciFunction& function);
/** A function's configuration space, configLength bytes of it. */
Bytes configSpace(const PciFunction& function);

/**
 * A host directory, as emulator::EmulatedHost takes it, in a temporary directory. A fresh one has an empty
 * /proc/bus/pci/devices and nothing else. Every member writes through at once.
 */
class HostBuilder {
 public:
    HostBuilder();

    std::string directory() const { return directory_.path().string(); }
    /** The real path of something in the host directory, e.g. "proc/bus/pci/devices". */
    std::filesystem::path path(const std::string& relative) const { return directory_.path() / relative; }

    HostBuilder& addFunction(const PciFunction& function);
    /** Appended to /proc/bus/pci/devices as it stands; the line end is added when the text has none. */
    HostBuilder& addRawDevicesLine(const std::string& line);
    /** /etc/vmware/pci.xml */
    HostBuilder& setCatalogue(const std::string& xmlText);
    /** /etc/vmware/pci.classlist */
    HostBuilder& setClassList(const std::string& text);
    HostBuilder& setSmbiosTable(const Bytes& bytes);
    HostBuilder& setHostName(const std::string& name);
    /** bmc/faults.json */
    HostBuilder& setFaults(const std::string& json);
    HostBuilder& setBmcFile(const std::string& name, const Bytes& bytes);

    /** Any other file of the host directory; its folders are made as needed. */
    HostBuilder& setFile(const std::string& relative, const std::string& text);
    HostBuilder& setFile(const std::string& relative, const Bytes& bytes);
    HostBuilder& makeDirectory(const std::string& relative);
    HostBuilder& makeFifo(const std::string& relative);
    HostBuilder& remove(const std::string& relative);

 private:
    TemporaryDirectory directory_;
};

/** One system slot record (SMBIOS type 9). */
struct Slot {
    std::optional<std::string> designation = "PCI1";  // none: string number 0
    std::uint8_t type = 0x06;                         // 06h PCI
    std::uint8_t width = 0x05;                        // 05h 32 bits
    std::uint8_t usage = 0x03;                        // 03h available, 04h in use
    std::uint8_t length = 0x03;                       // 03h short, 04h long
    std::uint16_t id = 1;
    std::uint8_t characteristics1 = 0x04;
    std::uint8_t characteristics2 = 0;
    std::vector<std::string> strings;               // string set after the designation
    std::optional<std::uint8_t> designationNumber;  // a string number other than the one that fits
    std::uint8_t formattedLength = 13;              // the structure's own length byte
};

/** The file "smbios-table": an entry point structure of 31 bytes, then the structures. */
class SmbiosBuilder {
 public:
    static constexpr std::size_t kEntryPointLength = 31;
    static constexpr std::size_t kCountOffset = 28;

    SmbiosBuilder& addSlot(const Slot& slot);
    /** `formatted`: the formatted area after the 4-byte header. */
    SmbiosBuilder& addStructure(std::uint8_t type, const Bytes& formatted = {},
                                const std::vector<std::string>& strings = {});
    /** Bytes that stand in the table as they are and count as one structure. */
    SmbiosBuilder& addRaw(const Bytes& bytes);
    /** No end-of-table structure (type 127) is appended. */
    SmbiosBuilder& withoutEndOfTable();

    Bytes bytes() const;

 private:
    void addHeader(std::uint8_t type, std::uint8_t length);
    void addStrings(const std::vector<std::string>& strings);

    Bytes structures_;
    std::uint16_t count_ = 0;
    bool endOfTable_ = true;
};

}  // namespace testsupport

#endif
