#include "pci/pcidevinfo.h"

#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "board/tsysbrd.h"
#include "slots/tslotinfo.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

namespace {

constexpr char kBusDirectory[] = "/proc/bus/pci";
constexpr char kVendorCatalogue[] = "/etc/vmware/pci.xml";
constexpr char kClassList[] = "/etc/vmware/pci.classlist";
constexpr char kControllerClass[] = "QELTA_Controller";  // has paths like those of devices, but is not served

constexpr std::uint8_t kBridgeClass = 0x06;  // PCI base class of bridges
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

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

File openFile(const char* path) {
    return File(std::fopen(path, "r"));
}

std::uint16_t number16(const std::uint8_t* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

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

// ---------------------------------------------------------------------------------------------------------------
// Scan

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
    const unsigned long address = line.fields[0];
    record_.bus = static_cast<std::uint8_t>(address >> 8);
    record_.dev = static_cast<std::uint8_t>((address & 0xFF) >> 3);
    record_.func = static_cast<std::uint8_t>(address & 7);
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
        const char* defaultName = record_.hwClass == kBridgeClass ? "PCI Bridge:" : "PIC:";
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
    record_.subsystemVendorId = number16(config + kSubsystemVendor);
    record_.subsystemId = number16(config + kSubsystem);
    record_.className = classText();
    for (int bar = 0; bar < kBaseAddresses; ++bar) takeBaseAddress(bar, line.size(bar));
    syslog(LOG_ERR, "cache line size [%x]", config[kCacheLineSize]);
    syslog(LOG_ERR, "irq line [%x]", config[kInterruptLine]);
}

/**
 * Decodes one BAR the way in which clients know the addresses: by its whole low byte. 01h is an I/O port, taken from
 * the two bytes above, the first of them as the high one; any other but 00h is a memory address without that byte; 00h
 * is none at all.
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

TPciDevInfo::TPciDevInfo(const char* name) : className(name != nullptr ? name : "") {
    ScanPciDevices();
    if (className.empty()) return;
    if (className == kPciDeviceClass || className == kDeviceInSlotClass) currentList = deviceList;
    if (className == kPciBridgeClass) currentList = bridgeList;
    setFirstElement();
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
        (scan.record().hwClass == kBridgeClass ? bridgeList : deviceList).push_back(scan.record());
    }
    return 1;
}

const sPciDevices* TPciDevInfo::setFirstElement() {
    cursor = {&currentList, 0};
    return cursor.record();
}

const sPciDevices* TPciDevInfo::getNextElement() {
    const sPciDevices* element = cursor.list == &currentList ? cursor.record() : nullptr;
    if (element != nullptr) ++cursor.index;
    return element;
}

int TPciDevInfo::GetDeviceSlot(sPciDevices*, unsigned char*) {
    return 0;
}

// ---------------------------------------------------------------------------------------------------------------
// Names

namespace {

/** A FIFO would keep fopen waiting, so what is known to be no regular file is not opened at all. */
bool isSpecialFile(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0 && !S_ISREG(status.st_mode);
}

/** The length of a file in bytes, -1 where it cannot be told. Streams without a descriptor tell it by seeking alone. */
long lengthOf(std::FILE* file) {
    struct stat status {};
    const int descriptor = fileno(file);
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))) return -1;
    if (std::fseek(file, 0, SEEK_END) != 0) return -1;
    const long length = std::ftell(file);
    return std::fseek(file, 0, SEEK_SET) == 0 ? length : -1;
}

TPciDevInfo::CatalogueText loadText(const char* path) {
    if (isSpecialFile(path)) return nullptr;
    const File file = openFile(path);
    if (file == nullptr) return nullptr;
    const long length = lengthOf(file.get());
    if (length < 1) return nullptr;
    const auto size = static_cast<std::size_t>(length);
    TPciDevInfo::CatalogueText text(new (std::nothrow) char[size + 1]);
    if (text == nullptr || std::fread(text.get(), 1, size, file.get()) != size) return nullptr;
    text[size] = '\0';
    return text;
}

/** A part of a zero-terminated text; positions behind its end are clamped to it. */
class TextPart {
 public:
    explicit TextPart(const char* begin) : begin_(begin), end_(begin + std::strlen(begin)) {}

    /** The text from `offset` characters on. */
    TextPart from(std::size_t offset) const {
        return TextPart(begin_ + std::min(offset, static_cast<std::size_t>(end_ - begin_)), end_);
    }
    /** The characters up to `place`; none where it lies in front of this part. */
    std::string upTo(const char* place) const { return place > begin_ ? std::string(begin_, place) : std::string(); }
    std::string all() const { return upTo(end_); }
    /** The place of the first such character, null where there is none. */
    const char* find(char character) const { return std::strchr(begin_, character); }

 private:
    TextPart(const char* begin, const char* end) : begin_(begin), end_(end) {}

    const char* begin_;
    const char* end_;
};

/** Two lowercase hexadecimal digits. */
std::string twoDigits(unsigned char number) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", number);
    return digits.data();
}

}  // namespace

TPciDevInfo::CatalogueText TPciDevInfo::getVendDeviceDescripts() {
    return loadText(kVendorCatalogue);
}

TPciDevInfo::CatalogueText TPciDevInfo::getClassDescripts() {
    return loadText(kClassList);
}

void TPciDevInfo::assignID(const char* text, const char* key, int id, const char* defaultName, std::string& out) {
    constexpr char kNameBegin[] = "<name>";
    constexpr char kNameEnd[] = "</name>";
    out = defaultName;
    if (text == nullptr) return;
    std::array<char, 16> digits{};
    std::snprintf(digits.data(), digits.size(), "%c%04x%c", '"', static_cast<unsigned int>(id), '"');
    const char* entry = std::strstr(text, (std::string(key) + "=" + digits.data()).c_str());
    if (entry == nullptr) return;
    const char* begin = std::strstr(entry, kNameBegin);
    if (begin == nullptr) return;
    begin += std::strlen(kNameBegin);
    const char* end = std::strstr(begin, kNameEnd);
    if (end != nullptr) out.assign(begin, end);
}

void TPciDevInfo::assignClassID(const char* text, unsigned char classCode, unsigned char subclass,
                                const char* defaultName, std::string& out) {
    constexpr std::size_t kDigitsAndGap = 4;  // two digits and two separator characters stand in front of a text
    out = defaultName;
    if (text == nullptr) return;
    const std::string classKey = "C " + twoDigits(classCode);
    const char* classLine = std::strstr(text, classKey.c_str());
    if (classLine == nullptr) return;
    const char* digits = std::strstr(classLine + classKey.size(), twoDigits(subclass).c_str());
    if (digits == nullptr) return;

    TextPart start(digits);
    if (const char* carriageReturn = start.find('\r')) {
        out = start.from(kDigitsAndGap).upTo(carriageReturn);
        start = start.from(kDigitsAndGap);
    }
    const char* lineFeed = start.find('\n');
    const TextPart words = start.from(kDigitsAndGap);
    out = lineFeed != nullptr ? words.upTo(lineFeed) : words.all();
}

unsigned int TPciDevInfo::_httoi(const char* text, int length) {
    if (text == nullptr || length < 1) return 0;
    const auto most = static_cast<std::size_t>(length);
    std::string digits(text);
    for (std::size_t i = 0; i < std::min(most, digits.size()); ++i) {
        digits[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(digits[i])));
    }
    if (digits.compare(0, 2, "0X") == 0) digits.erase(0, 2);
    unsigned int number = 0;
    for (std::size_t i = 0; i < std::min(most, digits.size()); ++i) {
        const std::size_t value = std::string("0123456789ABCDEF").find(digits[i]);
        if (value == std::string::npos) break;
        number = number << 4 | static_cast<unsigned int>(value);
    }
    return number;
}

std::vector<std::string> TPciDevInfo::MultiStringTok(const std::string& text, const char* delimiters) {
    const std::string cuts = delimiters != nullptr ? delimiters : "";
    std::vector<std::string> pieces;
    std::size_t begin = text.find_first_not_of(cuts);
    while (begin != std::string::npos) {
        const std::size_t end = text.find_first_of(cuts, begin);
        pieces.push_back(text.substr(begin, end - begin));
        begin = text.find_first_not_of(cuts, end);
    }
    return pieces;
}

// ---------------------------------------------------------------------------------------------------------------
// PCI functions as CIM objects

/** What differs between devices and bridges in the walks over both. */
struct TPciDevInfo::Kind {
    const char* className;
    PciList TPciDevInfo::*list;
    CMPIInstance* (TPciDevInfo::*populate)(const CMPIBroker*, const sPciDevices*, unsigned char*);
    const char* slotMatchLog;  // logged for a function in the slot asked for
};

const TPciDevInfo::Kind TPciDevInfo::kDevices = {
    kPciDeviceClass, &TPciDevInfo::deviceList, &TPciDevInfo::PopulatePciDeviceProperties,
    "GetDeviceFromSlotAssocInstances found device match comparing slot number %d to systemslot"};
const TPciDevInfo::Kind TPciDevInfo::kBridges = {
    kPciBridgeClass, &TPciDevInfo::bridgeList, &TPciDevInfo::PopulatePciBridgeProperties,
    "GetDeviceFromSlotAssocInstances found match comparing bridge slot number %d to systemslot"};

namespace {

std::string deviceIdText(const sPciDevices& record) {
    return "PCI Bus " + std::to_string(record.bus) + ", device " + std::to_string(record.dev) + ", function " +
           std::to_string(record.func);
}

/** What stands in for an empty description; the device number goes in as one raw character. */
std::string identityText(const sPciDevices& record) {
    return "PCI Vendor ID " + std::to_string(record.vendorId) + "  PCI Device ID " + static_cast<char>(record.dev);
}

template <typename Number, std::size_t count>
std::vector<Number> nonZero(const Number (&numbers)[count]) {
    std::vector<Number> chosen;
    for (const Number number : numbers) {
        if (number != 0) chosen.push_back(number);
    }
    return chosen;
}

/** Sets an address list; one without an entry is no property at all. */
template <typename Number>
void setAddresses(const CMPIBroker* broker, CMPIInstance* instance, const char* name,
                  const std::vector<Number>& addresses) {
    if (!addresses.empty()) CMPICIMInst().setProperty(broker, instance, name, addresses);
}

}  // namespace

/** Visits every record of a list with the cursor on it; the cursor is left at the list's end. */
template <typename Visit>
void TPciDevInfo::walk(const PciList& list, Visit visit) {
    cursor = {&list, 0};
    for (; const sPciDevices* record = cursor.record(); ++cursor.index) visit(*record);
}

CMPIObjectPath* TPciDevInfo::getObjectPath(const CMPIBroker* broker, const std::string& nameSpace,
                                           const std::string& name, const std::string* deviceId) {
    if (name == kDeviceInSlotClass) return getObjectPath(broker, nameSpace, name, nullptr, nullptr);
    if (name != kPciDeviceClass && name != kPciBridgeClass && name != kControllerClass) return nullptr;
    if (deviceId == nullptr && cursor.record() == nullptr) return nullptr;
    std::stringstream id;
    if (deviceId != nullptr) {
        id << *deviceId;
    } else {
        getDeviceID(id);
    }
    return CMPICIMInst().createHostObjectPath(broker, nameSpace, name, "DeviceID", id.str());
}

int TPciDevInfo::getDeviceID(std::stringstream& out) {
    if (const sPciDevices* record = cursor.record()) out << deviceIdText(*record);
    return 1;
}

int TPciDevInfo::getSystemCreationClassName(std::stringstream& out) {
    out << kSystemCreationClass;
    return 1;
}

int TPciDevInfo::getSystemName(std::stringstream& out) {
    out.str("");
    out << hostName();
    return 1;
}

std::string TPciDevInfo::FormatToString(int value, unsigned int) {
    return std::to_string(value);
}

std::string TPciDevInfo::GetDeviceDescription(const sPciDevices* record) {
    if (record == nullptr) return "";
    return record->className + ": " + record->vendorName + " " + record->deviceName + " (rev " +
           twoDigits(record->revision) + ")";
}

int TPciDevInfo::GetCommonDevProperties(const sPciDevices* record, CMPIInstance* instance, unsigned char*) {
    if (record == nullptr || instance == nullptr) return 1;
    CMPICIMInst cim;
    const std::string description = GetDeviceDescription(record);
    const std::string id = deviceIdText(*record);
    cim.setProperty(instance, "VendorID", record->vendorId);
    cim.setProperty(instance, "PciDeviceID", record->deviceId);
    cim.setProperty(instance, "SystemCreationClassName", std::string(kSystemCreationClass));
    cim.setProperty(instance, "SystemName", hostName());
    if (record->slotNum != 0) cim.setProperty(instance, "Number", record->slotNum);
    cim.setProperty(instance, "UINumber", record->uiNumber);
    cim.setProperty(instance, "ClassCode", record->classCode);
    cim.setProperty(instance, "Subclass", record->subclass);
    cim.setProperty(instance, "Revision", record->revision);
    cim.setProperty(instance, "Description", description.empty() ? identityText(*record) : description);
    cim.setProperty(instance, "Location", id);
    cim.setProperty(instance, "DeviceID", id);
    return 0;
}

/** The instance of one function with its class name and the common properties; null when it cannot be made. */
CMPIInstance* TPciDevInfo::createFunctionInstance(const CMPIBroker* broker, const sPciDevices* record,
                                                  const char* functionClass, unsigned char* flag) {
    if (record == nullptr) return nullptr;
    CMPICIMInst cim;
    CMPIInstance* instance = cim.createCIMInstance(broker, getObjectPath(broker, kNameSpace, functionClass, nullptr));
    if (instance == nullptr) return nullptr;
    cim.setProperty(instance, "CreationClassName", std::string(functionClass));
    if (GetCommonDevProperties(record, instance, flag) == 0) return instance;
    if (flag != nullptr) *flag = 0;
    return nullptr;
}

CMPIInstance* TPciDevInfo::PopulatePciDeviceProperties(const CMPIBroker* broker, const sPciDevices* record,
                                                       unsigned char* flag) {
    CMPICIMInst cim;
    CMPIInstance* instance = createFunctionInstance(broker, record, kPciDeviceClass, flag);
    if (instance != nullptr) {
        if (record->irq != 0) cim.setProperty(instance, "IRQ", record->irq);
        cim.setProperty(instance, "SubsystemVendorID", record->subsystemVendorId);
        cim.setProperty(instance, "SubsystemID", record->subsystemId);
        setAddresses(broker, instance, "MEMAddress", nonZero(record->memAddr));
        setAddresses(broker, instance, "IOAddress", nonZero(record->ioAddr));
    }
    syslog(LOG_ERR, "returning pcidevice instance");
    return instance;
}

CMPIInstance* TPciDevInfo::PopulatePciBridgeProperties(const CMPIBroker* broker, const sPciDevices* record,
                                                       unsigned char* flag) {
    CMPIInstance* instance = createFunctionInstance(broker, record, kPciBridgeClass, flag);
    syslog(LOG_ERR, "returning pcidevice instance");
    return instance;
}

CMPIInstance* TPciDevInfo::GetPciInfo(const CMPIBroker* broker, const sPciDevices* record) {
    unsigned char flag = 1;
    const bool bridge = record != nullptr && record->hwClass == kBridgeClass;
    return bridge ? PopulatePciBridgeProperties(broker, record, &flag)
                  : PopulatePciDeviceProperties(broker, record, &flag);
}

void TPciDevInfo::GetCIMInstance(const CMPIBroker* broker, const CMPIContext* context, const CMPIResult* result,
                                 const std::string& name, bool namesOnly) {
    if (name == kDeviceInSlotClass) MakeDeviceSlotAssociation(broker, context, result, namesOnly);
    if (name != kPciBridgeClass && name != kPciDeviceClass) return;
    CMPICIMInst cim;
    const bool bridgesWanted = name == kPciBridgeClass;
    if (cursor.list != &currentList) return;
    for (; const sPciDevices* record = cursor.record(); ++cursor.index) {
        if ((record->hwClass == kBridgeClass) != bridgesWanted) continue;
        if (namesOnly) {
            cim.returnObjectPath(result, getObjectPath(broker, kNameSpace, name, nullptr));
        } else {
            cim.returnInstance(result, GetPciInfo(broker, record));
        }
    }
}

/** Delivers the records of one list for which matches(record) holds. A path too is only given where the instance is. */
template <typename Matches>
void TPciDevInfo::deliverMatching(const Kind& kind, const CMPIBroker* broker, const CMPIResult* result, bool namesOnly,
                                  Matches matches) {
    CMPICIMInst cim;
    walk(this->*kind.list, [&](const sPciDevices& record) {
        if (!matches(record)) return;
        unsigned char flag = 1;
        CMPIInstance* instance = (this->*kind.populate)(broker, &record, &flag);
        if (instance == nullptr) return;
        if (namesOnly) {
            cim.returnObjectPath(result, getObjectPath(broker, kNameSpace, kind.className, nullptr));
        } else {
            cim.returnInstance(result, instance);
        }
    });
}

void TPciDevInfo::GetOnboardDeviceAssocInstances(const CMPIBroker* broker, const CMPIContext*, const CMPIResult* result,
                                                 bool namesOnly) {
    syslog(LOG_ERR, "GetOnboardDeviceAssocInstances - sizeof deviceArray [%d] sizeof bridgearray[%d]",
           static_cast<int>(deviceList.size()), static_cast<int>(bridgeList.size()));
    for (const Kind* kind : {&kDevices, &kBridges}) {
        deliverMatching(*kind, broker, result, namesOnly,
                        [](const sPciDevices& record) { return record.uiNumber == 0; });
    }
}

void TPciDevInfo::EnumDevBridgeInstances(const CMPIBroker* broker, const CMPIResult* result, unsigned short slot,
                                         bool namesOnly) {
    for (const Kind* kind : {&kDevices, &kBridges}) {
        deliverMatching(*kind, broker, result, namesOnly, [&](const sPciDevices& record) {
            if (record.slotNum != slot) return false;
            syslog(LOG_ERR, kind->slotMatchLog, record.slotNum);
            return true;
        });
    }
}

// ---------------------------------------------------------------------------------------------------------------
// PCI functions and the system slots that hold them

/** A function's address as a DeviceID tells it; 0 for what it does not tell. */
struct TPciDevInfo::FunctionAddress {
    int bus;
    int device;
    int function;
};

/** An association's path and the path of its "Antecedent"; nothing is delivered unless both are there. */
struct TPciDevInfo::Association {
    CMPIObjectPath* antecedent = nullptr;
    CMPIObjectPath* path = nullptr;
};

namespace {

constexpr std::size_t kTagNumber = std::string_view("System Slot ").size();  // where a "Tag" carries its number

/** The decimal number that stands at a place of a text, up to the first character that is no digit; else 0. */
long numberAt(const std::string& text, std::size_t place) {
    return place < text.size() ? std::strtol(text.c_str() + place, nullptr, 10) : 0;
}

/** The same within the range of int, at whose ends no address and no slot number lies. */
int intAt(const std::string& text, std::size_t place) {
    constexpr long kLowest = std::numeric_limits<int>::min();
    constexpr long kHighest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(numberAt(text, place), kLowest, kHighest));
}

/** A slot's "Number" in 16 bits; one that cannot be read counts as 0. */
unsigned short slotNumberOf(const CMPIInstance* slot) {
    unsigned short number = 0;
    const CMPIStatus status = CMPICIMInst().getPropertyVal(slot, "Number", number);
    return status.rc == CMPI_RC_OK ? number : static_cast<unsigned short>(0);
}

/** Calls visit(slot) for every system slot that the object manager knows, until it says that it has seen enough. */
template <typename Visit>
void forEachSlot(const CMPIBroker* broker, const CMPIContext* context, Visit visit) {
    CMPICIMInst cim;
    CMPIEnumeration* slots = cim.enumerateInstances(broker, context, kNameSpace, kSystemSlotClass);
    while (CMPIInstance* slot = cim.getNextInstance(broker, context, slots)) {
        if (!visit(slot)) return;
    }
}

/** Runs a walk over slots; what it throws ends it and goes no further. */
template <typename Walk, typename Caught>
void contained(Walk walk, Caught caught) {
    try {
        walk();
    } catch (...) {
        caught();
    }
}

template <typename Walk>
void contained(Walk walk) {
    contained(walk, [] {});
}

/** The number in a slot path's "Tag"; none when the tag is too short to carry one. */
std::optional<std::uint16_t> requestedSlot(const CMPIObjectPath* slotPath) {
    const std::string tag = keyText(slotPath, "Tag");
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances not creating path");
    if (tag.size() <= kTagNumber) return std::nullopt;
    const auto number = static_cast<std::uint16_t>(numberAt(tag, kTagNumber));
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances not creating path for slotnum [%d]", number);
    return number;
}

/** Sets an association's references and delivers it. */
void returnAssociation(const CMPIResult* result, CMPIInstance* association, CMPIObjectPath* antecedent,
                       CMPIObjectPath* dependent) {
    CMPICIMInst cim;
    cim.setProperty(association, "Antecedent", antecedent);
    cim.setProperty(association, "Dependent", dependent);
    cim.returnInstance(result, association);
}

}  // namespace

TPciDevInfo::FunctionAddress TPciDevInfo::parseDeviceId(const std::string& deviceId, bool logs) {
    /** A label, where its number stands (behind the label unless the place is fixed), and what is logged of it. */
    struct Field {
        std::string label;
        std::optional<std::size_t> fixedPlace;
        const char* foundLog;
        const char* missingLog;
    };
    const auto read = [&](const Field& field) {
        const std::size_t place = deviceId.find(field.label);
        const bool found = place != std::string::npos;
        if (logs) syslog(LOG_ERR, "%s", found ? field.foundLog : field.missingLog);
        return found ? intAt(deviceId, field.fixedPlace.value_or(place + field.label.size())) : 0;
    };
    // The bus is read from the same place wherever its label stands.
    const int bus = read({"PCI Bus ", 8, "GetDeviceFromSlotAssocInstances found PCI Bus",
                          "GetDeviceFromSlotAssocInstances could not find PCI Bus"});
    const int device = read({"device ", std::nullopt, "GetDeviceFromSlotAssocInstances found device",
                             "GetDeviceFromSlotAssocInstances not found device"});
    const int function = read({"function ", std::nullopt, "GetDeviceFromSlotAssocInstances found function",
                               "GetDeviceFromSlotAssocInstances not found function"});
    return {bus, device, function};
}

/** The first record of a list with that address, the cursor on it; null when there is none. */
const sPciDevices* TPciDevInfo::findFunction(const PciList& list, const FunctionAddress& address) {
    cursor = {&list, 0};
    for (; const sPciDevices* record = cursor.record(); ++cursor.index) {
        if (record->bus == address.bus && record->dev == address.device && record->func == address.function) {
            return record;
        }
    }
    return nullptr;
}

int TPciDevInfo::GetSlotNumberFromDevice(int bus, int device, int function) {
    const FunctionAddress address = {bus, device, function};
    const sPciDevices* record = findFunction(deviceList, address);
    if (record == nullptr || record->slotNum == 0) record = findFunction(bridgeList, address);
    return record != nullptr ? record->slotNum : 0;
}

CMPIObjectPath* TPciDevInfo::getObjectPath(const CMPIBroker* broker, const std::string& nameSpace,
                                           const std::string& name, CMPIObjectPath* antecedent,
                                           CMPIObjectPath* dependent) {
    CMPICIMInst cim;
    CMPIObjectPath* path = cim.createObjectPath(broker, nameSpace, name);
    if (path == nullptr) return nullptr;
    cim.setKeyProperty(path, "Antecedent", antecedent);
    cim.setKeyProperty(path, "Dependent", dependent);
    return path;
}

void TPciDevInfo::CreateDeviceSlotAssociation(const CMPIBroker* broker, const CMPIResult* result,
                                              CMPIObjectPath* slotPath, int slotNumber, bool namesOnly) {
    for (const Kind* kind : {&kDevices, &kBridges}) {
        associateSlot(*kind, broker, result, slotPath, slotNumber, namesOnly);
    }
}

/** Delivers the associations of one slot with the functions of one list. */
void TPciDevInfo::associateSlot(const Kind& kind, const CMPIBroker* broker, const CMPIResult* result,
                                CMPIObjectPath* slotPath, int slotNumber, bool namesOnly) {
    CMPICIMInst cim;
    walk(this->*kind.list, [&](const sPciDevices& record) {
        syslog(LOG_ERR, "MakeDeviceSlotAssociation checking device slot [%d] against slotnumber [%d]", record.slotNum,
               slotNumber);
        if (record.slotNum != slotNumber) {
            syslog(LOG_ERR,
                   "MakeDeviceSlotAssociation found no match checking device slot [%d] against slotnumber [%d]",
                   record.slotNum, slotNumber);
            return;
        }
        syslog(LOG_ERR, "MakeDeviceSlotAssociation found match checking device slot [%d] against slotnumber [%d]",
               slotNumber, slotNumber);
        CMPIObjectPath* devicePath = getObjectPath(broker, kNameSpace, kind.className, nullptr);
        CMPIObjectPath* path = getObjectPath(broker, kNameSpace, kDeviceInSlotClass, slotPath, devicePath);
        if (slotPath == nullptr || devicePath == nullptr || path == nullptr) {
            syslog(LOG_ERR, "MakeDeviceSlotAssociation object paths null");
            return;
        }
        syslog(LOG_ERR, "MakeDeviceSlotAssociation object paths not null");
        if (namesOnly) {
            syslog(LOG_ERR, "MakeDeviceSlotAssociation setting object path");
            cim.returnObjectPath(result, path);
            return;
        }
        syslog(LOG_ERR, "MakeDeviceSlotAssociation creating instance");
        CMPIInstance* association = cim.createCIMInstance(broker, path);
        if (association == nullptr) {
            syslog(LOG_ERR, "MakeDeviceSlotAssociation could not creating instance");
            return;
        }
        syslog(LOG_ERR, "MakeDeviceSlotAssociation got the instance so setting it");
        returnAssociation(result, association, slotPath, devicePath);
    });
}

void TPciDevInfo::MakeDeviceSlotAssociation(const CMPIBroker* broker, const CMPIContext* context,
                                            const CMPIResult* result, bool namesOnly) {
    CMPICIMInst cim;
    syslog(LOG_ERR, "MakeDeviceSlotAssociation int the routine");
    const CMPIObjectPath* slotClass = cim.createObjectPath(broker, kNameSpace, kSystemSlotClass);
    syslog(LOG_ERR, "MakeDeviceSlotAssociation got the path");
    if (slotClass == nullptr) return;

    const auto associateSlots = [&] {
        syslog(LOG_ERR, "MakeDeviceSlotAssociation path is not null");
        syslog(LOG_ERR, "MakeDeviceSlotAssociation getting system slots");
        CMPIEnumeration* slots = cim.enumerateInstances(broker, context, slotClass);
        syslog(LOG_ERR, "MakeDeviceSlotAssociation got system slots");
        if (slots == nullptr) {
            syslog(LOG_ERR, "MakeDeviceSlotAssociation was not able to get instances of system slot");
            return;
        }
        syslog(LOG_ERR, "MakeDeviceSlotAssociation was able to get instances of system slot");
        while (CMPIInstance* slot = cim.getNextInstance(broker, context, slots)) {
            syslog(LOG_ERR, "MakeDeviceSlotAssociation got next intance");
            CMPIObjectPath* slotPath = cim.getObjectPathFromInstance(slot);
            syslog(LOG_ERR, "MakeDeviceSlotAssociation got next intance");
            unsigned char number = 0;  // in 8 bits here, in 16 everywhere else
            cim.getPropertyVal(slot, "Number", number);
            syslog(LOG_ERR, "MakeDeviceSlotAssociation got slot number of %d", number);
            if (number != 0) CreateDeviceSlotAssociation(broker, result, slotPath, number, namesOnly);
        }
    };
    contained(associateSlots, [] { syslog(LOG_ERR, "MakeDeviceSlotAssociation system slots failed"); });
}

void TPciDevInfo::GetAssocRefFromSlotInstances(const CMPIBroker* broker, const CMPIContext* context,
                                               const CMPIResult* result, const CMPIObjectPath* slotPath,
                                               bool namesOnly) {
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances in the routine routine");
    const std::optional<std::uint16_t> requested = slotPath != nullptr ? requestedSlot(slotPath) : std::nullopt;
    const auto associateSlot = [&](CMPIInstance* slot) {
        syslog(LOG_ERR, "GetSlotRefFromDeviceAssocInstances got next intance");
        const unsigned short number = slotNumberOf(slot);
        syslog(LOG_ERR, "GetSlotRefFromDeviceAssocInstances got slot number of %d", number);
        if (number == *requested) {
            CMPIObjectPath* knownPath = CMPICIMInst().getObjectPathFromInstance(slot);
            CreateDeviceSlotAssociation(broker, result, knownPath, number, namesOnly);
        }
        return true;  // every slot with the number counts
    };
    if (requested) contained([&] { forEachSlot(broker, context, associateSlot); });
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances leaving routine");
}

void TPciDevInfo::GetDeviceFromSlotAssocInstances(const CMPIBroker* broker, const CMPIContext* context,
                                                  const CMPIResult* result, const CMPIObjectPath* slotPath,
                                                  bool namesOnly) {
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances in the routine routine");
    const auto deliverSlot = [&](CMPIInstance* slot) {
        syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances got next intance");
        const unsigned short number = slotNumberOf(slot);
        syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances got slot number of %d", number);
        EnumDevBridgeInstances(broker, result, number, namesOnly);
        return true;
    };
    if (slotPath == nullptr) {
        syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances creating path");
        contained([&] { forEachSlot(broker, context, deliverSlot); },
                  [] { syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances system slots failed"); });
    } else if (const std::optional<std::uint16_t> requested = requestedSlot(slotPath)) {
        EnumDevBridgeInstances(broker, result, *requested, namesOnly);
    }
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances leaving routine");
}

void TPciDevInfo::GetSlotFromDeviceAssocInstances(const CMPIBroker* broker, const CMPIContext* context,
                                                  const CMPIResult* result, const CMPIObjectPath* devicePath,
                                                  bool namesOnly) {
    syslog(LOG_ERR, "GetSlotFromDeviceAssocInstances in the routine");
    int slotNumber = 0;
    if (devicePath != nullptr) {
        const std::string deviceId = keyText(devicePath, "DeviceID");
        syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances not creating path deviceid [%s]", deviceId.c_str());
        const FunctionAddress address = parseDeviceId(deviceId, true);
        syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances bus [%d] device [%d] function [%d]", address.bus,
               address.device, address.function);
        slotNumber = GetSlotNumberFromDevice(address.bus, address.device, address.function);
    }
    CMPIInstance* holder = nullptr;
    const auto findHolder = [&](CMPIInstance* slot) {
        syslog(LOG_ERR, "GetSlotFromDeviceAssocInstances got next intance");
        const unsigned short number = slotNumberOf(slot);
        syslog(LOG_ERR, "GetSlotFromDeviceAssocInstances got slot number of %d", number);
        if (number == slotNumber) holder = slot;
        return holder == nullptr;
    };
    if (slotNumber != 0) contained([&] { forEachSlot(broker, context, findHolder); });
    CMPICIMInst cim;
    if (namesOnly) {
        cim.returnObjectPath(result, cim.getObjectPathFromInstance(holder));
    } else {
        cim.returnInstance(result, holder);
    }
    syslog(LOG_ERR, "GetSlotFromDeviceAssocInstances returning from the routine");
}

void TPciDevInfo::GetAssocRefFromDeviceInstances(const CMPIBroker* broker, const CMPIContext* context,
                                                 const CMPIResult* result, const CMPIObjectPath* devicePath,
                                                 const std::string& resultClass, bool namesOnly) {
    syslog(LOG_ERR, "GetSlotRefFromDeviceAssocInstances in the routine");
    CMPICIMInst cim;
    const bool slotWanted = resultClass == kSystemSlotClass;
    CMPIObjectPath* knownPath = nullptr;
    int slotNumber = 0;
    if (devicePath != nullptr) {
        slotNumber =
            describeFunction(broker, parseDeviceId(keyText(devicePath, "DeviceID"), false), slotWanted, knownPath);
    }
    Association association;
    if (knownPath != nullptr && slotNumber != 0 && slotWanted) {
        association = associateWithSlot(broker, context, slotNumber, knownPath);
    } else if (knownPath != nullptr && resultClass == kSystemBoardClass) {
        association = associateWithBoard(broker, knownPath);
    }
    if (association.antecedent != nullptr && association.path != nullptr) {
        if (namesOnly) {
            cim.returnObjectPath(result, association.path);
        } else if (CMPIInstance* instance = cim.createCIMInstance(broker, association.path)) {
            returnAssociation(result, instance, association.antecedent, knownPath);
        }
    }
    syslog(LOG_ERR, "GetSlotRefFromDeviceAssocInstances returning from the routine");
}

/**
 * Makes the path of the function with that address, a device's or, where no device in a slot has it, a bridge's; null
 * when it does not exist. Returns its slot number, 0 where the slot is not wanted.
 */
int TPciDevInfo::describeFunction(const CMPIBroker* broker, const FunctionAddress& address, bool slotWanted,
                                  CMPIObjectPath*& path) {
    for (const Kind* kind : {&kDevices, &kBridges}) {
        const sPciDevices* record = findFunction(this->*kind->list, address);
        if (record == nullptr) continue;
        path = getObjectPath(broker, kNameSpace, kind->className, nullptr);
        if (slotWanted && record->slotNum != 0) return record->slotNum;
    }
    return 0;
}

/** With the slot that carries the number, the last one where several do. */
TPciDevInfo::Association TPciDevInfo::associateWithSlot(const CMPIBroker* broker, const CMPIContext* context,
                                                        int slotNumber, CMPIObjectPath* devicePath) {
    Association association;
    const auto associate = [&](CMPIInstance* slot) {
        syslog(LOG_ERR, "GetSlotRefFromDeviceAssocInstances got next intance");
        const unsigned short number = slotNumberOf(slot);
        syslog(LOG_ERR, "GetSlotRefFromDeviceAssocInstances got slot number of %d", number);
        if (number == slotNumber) {
            CMPIObjectPath* slotPath = CMPICIMInst().getObjectPathFromInstance(slot);
            association = {slotPath, getObjectPath(broker, kNameSpace, kDeviceInSlotClass, slotPath, devicePath)};
        }
        return true;
    };
    contained([&] { forEachSlot(broker, context, associate); });
    return association;
}

TPciDevInfo::Association TPciDevInfo::associateWithBoard(const CMPIBroker* broker, CMPIObjectPath* devicePath) {
    CMPIObjectPath* boardPath =
        CMPICIMInst().getObjectPathFromInstance(TSysBrd().PopulateSysbrdProperties(broker, kSystemBoardClass));
    return {boardPath, getObjectPath(broker, kNameSpace, kOnBoardDeviceClass, boardPath, devicePath)};
}

}  // namespace tPCIInfo
