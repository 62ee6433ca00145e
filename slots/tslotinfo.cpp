// The system slots in the SMBIOS table, as paths and instances.
// Tests: tests/unit/slots_test.cpp, tests/unit/slotfailures_test.cpp.
#include "slots/tslotinfo.h"

#include <syslog.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "ipmi/IpmiDataStore.h"
#include "ipmi/smbios.h"
#include "utils/delivery.h"
#include "utils/littleendian.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

namespace {

// Layout of the data store's file "smbios-table": a 31-byte entry point, then the structures.
constexpr std::size_t kStructureCountOffset = 28;
constexpr std::size_t kFirstStructureOffset = 31;
constexpr std::uint8_t kSystemSlotType = 9;

constexpr std::uint8_t kOpenOption = 16;

bool bit(std::uint8_t byte, unsigned number) {
    return ((byte >> number) & 1) != 0;
}

/** Fetches the SMBIOS table into the storage of `table`; false when it cannot be had. */
bool readTable(ByteVector& table) {
    std::uint8_t completionCode = 0;
    const std::int32_t result =
        IpmiDataStore().ReadFile(completionCode, "smbios-table", table, false, kOpenOption, kAccessRead, false);
    return completionCode == 0 && result == 0;
}

/**
 * Calls visit(record, structure, end) for every system slot structure of the table. One structure fewer than the table
 * announces is looked at: the last one ends the table. A structure that runs past the storage ends the walk.
 */
template <typename Visit>
void forEachSlotRecord(Visit visit) {
    ByteVector table(64);
    if (!readTable(table)) return;
    const std::uint8_t* bytes = table.data();
    const std::uint8_t* end = bytes + kFileArea;
    const int count = little16(bytes + kStructureCountOffset);
    const std::uint8_t* structure = bytes + kFirstStructureOffset;
    for (int visited = 1; visited < count; ++visited) {
        const std::uint8_t* next = get_next_struct_address(structure, end);
        if (next == nullptr) return;
        DMIType9 record;
        if (structure[0] == kSystemSlotType && end - structure >= static_cast<std::ptrdiff_t>(sizeof(record))) {
            std::memcpy(&record, structure, sizeof(record));
            visit(record, structure, end);
        }
        structure = next;
    }
}

/** The characters from `text` up to a zero byte, or to the end of the storage. */
std::string boundedText(const char* text, const std::uint8_t* end) {
    const auto limit = static_cast<std::size_t>(reinterpret_cast<const char*>(end) - text);
    return std::string(text, strnlen(text, limit));
}

std::vector<unsigned short> supportedVoltages(std::uint8_t characteristics1) {
    constexpr unsigned short kUnknown = 0;
    constexpr unsigned short k3Volt3 = 2;
    constexpr unsigned short k5Volt = 3;
    std::vector<unsigned short> voltages;
    if (bit(characteristics1, 1)) voltages.push_back(k5Volt);
    if (bit(characteristics1, 2)) voltages.push_back(k3Volt3);
    if (voltages.empty()) voltages.push_back(kUnknown);
    return voltages;
}

}  // namespace

void TSlotInfo::GetCIMInstances(const CMPIBroker* broker, const CMPIResult* result, const std::string&,
                                bool namesOnly) {
    GetSlotInfo(broker, result, namesOnly);
    syslog(LOG_ERR, "GetCIMInstances returning");
}

void TSlotInfo::GetSlotInfo(const CMPIBroker* broker, const CMPIResult* result, bool namesOnly) {
    forEachSlotRecord([&](const DMIType9& record, const std::uint8_t* structure, const std::uint8_t* end) {
        DumpSlotInfo(record, result, structure, end, broker, namesOnly);
    });
}

std::uint16_t TSlotInfo::GetMaxSystemSlot() {
    std::uint16_t highest = 0;
    forEachSlotRecord([&](const DMIType9& record, const std::uint8_t*, const std::uint8_t*) {
        if (record.number() > highest) highest = record.number();
    });
    return highest;
}

void TSlotInfo::DumpSlotInfo(const DMIType9& record, const CMPIResult* result, const std::uint8_t* structure,
                             const std::uint8_t* end, const CMPIBroker* broker, bool namesOnly) {
    syslog(LOG_ERR, "DumpSlotInfo in the routine");
    CMPIObjectPath* path = getObjectPath(broker, kSystemSlotClass, kNameSpace, record.number());
    if (path == nullptr) return;
    syslog(LOG_ERR, "DumpSlotInfo got object path");
    const Delivery to = {broker, nullptr, result, namesOnly};
    to.deliver([&] { return path; }, [&] { return createInstance(broker, path, record, structure, end); });
}

/** The instance on `path` with every property, in the order in which they are published; null when it cannot be made.
 */
CMPIInstance* TSlotInfo::createInstance(const CMPIBroker* broker, CMPIObjectPath* path, const DMIType9& record,
                                        const std::uint8_t* structure, const std::uint8_t* end) {
    CMPICIMInst cim;
    CMPIInstance* instance = cim.createCIMInstance(broker, path);
    if (instance == nullptr) return nullptr;

    std::string tag;
    getTag(tag, record.number());
    cim.setProperty(instance, "Number", static_cast<unsigned short>(record.number()));
    cim.setProperty(instance, "CreationClassName", std::string(kSystemSlotClass));
    cim.setProperty(instance, "Tag", tag);
    cim.setProperty(instance, "Description", std::string("System Slot"));
    cim.setProperty(instance, "CurrentUsage", static_cast<unsigned short>(record.currentUsage));
    cim.setProperty(instance, "SlotLength", record.slotLength);
    const SlotUsage usage = usageOf(record.currentUsage);
    cim.setProperty(instance, "SlotLength", record.slotLength);
    cim.setProperty(broker, instance, "OperationalStatus", std::vector<unsigned short>{usage.operationalStatus});
    cim.setProperty(broker, instance, "ConnectorType", std::vector<unsigned short>{record.slotType});
    cim.setProperty(instance, "MaxDataWidth", static_cast<unsigned short>(record.dataBusWidth));
    // The PME bit stands in characteristics 2; this property is published from bit 0 of characteristics 1 all the same.
    cim.setBoolProperty(instance, "PMESignal", bit(record.characteristics1, 0));
    cim.setBoolProperty(instance, "Shared", bit(record.characteristics1, 3));

    const char* first = find_string(structure, 1, end);
    const std::string designation = first != nullptr ? boundedText(first, end) : tag;
    cim.setProperty(instance, "SlotDesignation", designation);
    cim.setProperty(instance, "SlotAllInfo", first != nullptr ? designation + ", " + tag : tag);
    cim.setBoolProperty(instance, "SupportsHotPlug", bit(record.characteristics2, 1));
    cim.setProperty(broker, instance, "VccMixedVoltageSupport", supportedVoltages(record.characteristics1));
    return instance;
}

CMPIObjectPath* TSlotInfo::getObjectPath(const CMPIBroker* broker, const std::string& className,
                                         const std::string& nameSpace, int slotNumber) {
    std::string tag;
    getTag(tag, slotNumber);
    return CMPICIMInst().createHostObjectPath(broker, nameSpace, className, getSystemName(), "Tag", tag);
}

void TSlotInfo::getTag(std::string& tag, int slotNumber) {
    tag = "System Slot " + std::to_string(slotNumber);
}

std::string TSlotInfo::getSystemName() {
    return hostName();
}

std::string TSlotInfo::getSystemCreationClassName() {
    return kSystemCreationClass;
}

SlotUsage TSlotInfo::usageOf(std::uint8_t code) {
    constexpr unsigned short kUnknown = 0;
    constexpr unsigned short kOther = 1;
    constexpr unsigned short kOK = 2;
    switch (code) {
        case 1:
            return {kOther, "Other"};
        case 3:
            return {kOK, "Slot is available"};
        case 4:
            return {kOK, "Slot is in use"};
        default:
            return {kUnknown, "Unknown"};
    }
}

int TSlotInfo::GetSlotDataBusWidth(std::uint8_t code) {
    switch (code) {
        case 2:
            return 1;
        case 3:
            return 8;
        case 4:
            return 16;
        case 5:
            return 32;
        case 6:
            return 64;
        case 7:
            return 128;
        default:
            return 0;
    }
}

std::string TSlotInfo::GetString(int index, const std::uint8_t* structure, const std::uint8_t* begin,
                                 const std::uint8_t* end) {
    if (index == 0) return "";
    const std::ptrdiff_t formatted = structure[1] < 0x80 ? structure[1] : structure[1] - 0x100;
    const std::ptrdiff_t start = structure - begin + formatted;
    if (start < 0 || start >= end - begin || begin[start] == 0) return "(null string)";
    const std::uint8_t* place = begin + start;
    for (int count = 1; count != index && place != end; ++place) count += *place == 0 ? 1 : 0;
    return boundedText(reinterpret_cast<const char*>(place), end);
}

}  // namespace tPCIInfo
