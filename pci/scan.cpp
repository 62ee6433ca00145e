// The scan: one pass over /proc/bus/pci/devices with each function's configuration header and names.
// Tests: tests/unit/scan_test.cpp, tests/unit/configspace_test.cpp.
#include <syslog.h>

#include <array>
#include <cstdio>
#include <map>

#include "pci/address.h"
#include "pci/file.h"
#include "pci/pcidevinfo.h"
#include "slots/tslotinfo.h"
#include "utils/littleendian.h"

namespace tPCIInfo {

namespace {

constexpr char kBusDirectory[] = "/proc/bus/pci";

constexpr std::uint8_t kUnusedBus = 0xFE;
constexpr std::size_t kLineSize = 2048;

// Standard configuration space header (PCI base specification), as far as it is read.
constexpr std::size_t kHeaderSize = 64;
constexpr std::size_t kRevision = 0x08;
constexpr std::size_t kSubclass = 0x0A;
constexpr std::size_t kBaseClass = 0x0B;
constexpr std::size_t kCacheLineSize = 0x0C;
constexpr std::size_t kBaseAddress = 0x10;
constexpr std::size_t kSubsystemVendor = 0x2C;
constexpr std::size_t kSubsystem = 0x2E;
constexpr std::size_t kInterruptLine = 0x3C;
constexpr int kBaseAddresses = 6;

/** One line of /proc/bus/pci/devices: up to seventeen hexadecimal fields; those that it lacks are 0. */
struct BusLine {
    static constexpr std::size_t kSizes = 10;  // index of the first BAR's size

    std::array<unsigned long, 17> fields{};
    int count = 0;

    explicit BusLine(const char* line) {
        auto& f = fields;
        count = std::sscanf(line, "%lx %lx %lx %lx %lx %lx %lx %lx %lx %lx %lx %lx %lx %lx %lx %lx %lx", &f[0], &f[1],
                            &f[2], &f[3], &f[4], &f[5], &f[6], &f[7], &f[8], &f[9], &f[10], &f[11], &f[12], &f[13],
                            &f[14], &f[15], &f[16]);
    }

    unsigned long size(int bar) const { return fields[kSizes + static_cast<std::size_t>(bar)]; }
};

}  // namespace

/** One scan of the bus. The working record is kept from line to line: what a line does not tell stays as it was. */
class TPciDevInfo::Scan {
 public:
    Scan()
        : maxSlot_(static_cast<std::uint8_t>(TSlotInfo().GetMaxSystemSlot())),
          vendors_(getVendDeviceDescripts()),
          classes_(getClassDescripts()) {}

    /** Takes one line in; the record is to be kept when this says so. */
    bool read(const char* line);
    const sPciDevices& record() const { return record_; }

 private:
    /** Names found in this scan, by the numbers that they were looked up for. */
    using Names = std::map<int, std::string>;

    void takeAddress(const BusLine& line);
    void takeIdentity(const BusLine& line);
    void takeNames();
    void takeConfiguration(const BusLine& line);
    void takeHeader(const BusLine& line);
    void takeBaseAddress(int bar, unsigned long size);
    const std::string& name(Names& known, const char* key, int id, const char* defaultName);
    const std::string& classText();

    std::uint8_t maxSlot_;
    CatalogueText vendors_;
    CatalogueText classes_;
    Names deviceNames_;
    Names vendorNames_;
    Names classTexts_;
    sPciDevices record_;
};

bool TPciDevInfo::Scan::read(const char* text) {
    const BusLine line(text);
    takeAddress(line);
    syslog(LOG_ERR, "SCANPCIDEV - slotnum [%x] uinumber [%x]", record_.slotNum, record_.uiNumber);
    takeIdentity(line);
    takeNames();
    record_.classCode = record_.subclass = record_.hwClass = record_.revision = 0;
    record_.subsystemId = record_.subsystemVendorId = 0;
    takeConfiguration(line);
    return record_.vendorId != 0 && record_.bus != kUnusedBus;
}

void TPciDevInfo::Scan::takeAddress(const BusLine& line) {
    if (line.count < 1) return;
    const FunctionAddress address = FunctionAddress::fromBusDevfn(line.fields[0]);
    record_.bus = static_cast<std::uint8_t>(address.bus);
    record_.dev = static_cast<std::uint8_t>(address.device);
    record_.func = static_cast<std::uint8_t>(address.function);
    record_.slotNum = record_.dev;
    record_.uiNumber = record_.dev <= maxSlot_ ? record_.dev : std::uint8_t{0};
}

void TPciDevInfo::Scan::takeIdentity(const BusLine& line) {
    if (line.count >= 2) {
        record_.vendorId = static_cast<std::uint16_t>(line.fields[1] >> 16);
        record_.deviceId = static_cast<std::uint16_t>(line.fields[1]);
    }
    if (line.count >= 3) record_.irq = static_cast<std::uint16_t>(line.fields[2]);
}

void TPciDevInfo::Scan::takeNames() {
    record_.deviceName = name(deviceNames_, "device id", record_.deviceId, "descrip");
    record_.vendorName = name(vendorNames_, "vendor id", record_.vendorId, "vendor");
    record_.classTag = "classname";
}

const std::string& TPciDevInfo::Scan::name(Names& known, const char* key, int id, const char* defaultName) {
    const auto place = known.try_emplace(id);
    if (place.second) assignID(vendors_.get(), key, id, defaultName, place.first->second);
    return place.first->second;
}

const std::string& TPciDevInfo::Scan::classText() {
    const auto place = classTexts_.try_emplace(record_.hwClass << 8 | record_.subclass);
    if (place.second) {
        const char* defaultName = record_.hwClass == kBridgeBaseClass ? "PCI Bridge:" : "PIC:";
        assignClassID(classes_.get(), record_.hwClass, record_.subclass, defaultName, place.first->second);
    }
    return place.first->second;
}

void TPciDevInfo::Scan::takeConfiguration(const BusLine& line) {
    std::array<char, 64> path{};
    std::snprintf(path.data(), path.size(), "%s/%02x/%02x.%x", kBusDirectory, record_.bus, record_.dev, record_.func);
    const File file = openFile(path.data());
    if (file == nullptr) return;
    // Reading configuration space touches the device: no more is asked for than is used.
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    syslog(LOG_ERR, "reading the configuration registers");
    const std::size_t got = std::fread(record_.config, 1, kHeaderSize, file.get());
    syslog(LOG_ERR, "reading the configuration registers with ret of %d", static_cast<int>(got));
    if (got == kHeaderSize) {
        takeHeader(line);
    } else {
        syslog(LOG_ERR, "was not able to get the configuration data");
        record_.subsystemVendorId = 2;
    }
}

void TPciDevInfo::Scan::takeHeader(const BusLine& line) {
    const std::uint8_t* config = record_.config;
    syslog(LOG_ERR, "was able to get the configuration data");
    syslog(LOG_ERR, "bus %x dev %x func %x slot %x vendor %x new vendor %x hw class %x", record_.bus, record_.dev,
           record_.func, record_.slotNum, record_.vendorId, config[0], config[kBaseClass]);
    record_.classCode = record_.hwClass = config[kBaseClass];
    record_.revision = config[kRevision];
    record_.subclass = config[kSubclass];
    record_.subsystemVendorId = little16(config + kSubsystemVendor);
    record_.subsystemId = little16(config + kSubsystem);
    record_.className = classText();
    for (int bar = 0; bar < kBaseAddresses; ++bar) takeBaseAddress(bar, line.size(bar));
    syslog(LOG_ERR, "cache line size [%x]", config[kCacheLineSize]);
    syslog(LOG_ERR, "irq line [%x]", config[kInterruptLine]);
}

/**
 * Decodes one BAR by its whole low byte, not by its flag bits: 01h is an I/O port, taken from the two bytes above, the
 * first of them as the high one; any other but 00h is a memory address without that byte; 00h is none at all.
 */
void TPciDevInfo::Scan::takeBaseAddress(int bar, unsigned long size) {
    const std::uint8_t* b = record_.config + kBaseAddress + 4 * bar;
    std::uint32_t& memAddr = record_.memAddr[bar];
    std::uint32_t& memLen = record_.memLen[bar];
    std::uint16_t& ioAddr = record_.ioAddr[bar];
    memAddr = memLen = ioAddr = 0;
    if (b[0] == 0x01) {
        ioAddr = static_cast<std::uint16_t>(b[1] << 8 | b[2]);
        syslog(LOG_ERR, "found IO address and it is [%x] and length is [%d]", ioAddr, 0);
    } else if (b[0] != 0x00) {
        memAddr = static_cast<std::uint32_t>(b[3] << 16 | b[2] << 8 | b[1]);
        memLen = static_cast<std::uint16_t>(size);
        syslog(LOG_ERR, "found MEM address and it is [%x] and length is [%d]", memAddr, static_cast<int>(memLen));
    }
    syslog(LOG_ERR, "reading base addr [%x][%x][%x][%x]", b[0], b[1], b[2], b[3]);
    syslog(LOG_ERR, "Reading the size array index [%d] size [%lx]", bar, size);
}

void TPciDevInfo::ScanPciDevices() {
    currentList.clear();
    bridgeList.clear();
    getAltHDList();
}

int TPciDevInfo::getAltHDList() {
    Scan scan;
    std::array<char, sizeof(kBusDirectory) + sizeof("/devices")> path{};
    std::snprintf(path.data(), path.size(), "%s/devices", kBusDirectory);
    const File list = openFile(path.data());
    if (list == nullptr) return 0;
    std::array<char, kLineSize> line{};
    while (std::fgets(line.data(), static_cast<int>(line.size()), list.get()) != nullptr) {
        if (!scan.read(line.data())) continue;
        (scan.record().hwClass == kBridgeBaseClass ? bridgeList : deviceList).push_back(scan.record());
    }
    return 1;
}

}  // namespace tPCIInfo
