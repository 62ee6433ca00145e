// PCI functions as CIM objects: their paths, properties and instances, and the walks that deliver them.
// Tests: tests/unit/functions_test.cpp, tests/unit/functionwalks_test.cpp.
#include <syslog.h>

#include "pci/address.h"
#include "pci/pcidevinfo.h"
#include "utils/delivery.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

const TPciDevInfo::Kind TPciDevInfo::kDevices = {
    kPciDeviceClass, &TPciDevInfo::deviceList, &TPciDevInfo::PopulatePciDeviceProperties,
    "GetDeviceFromSlotAssocInstances found device match comparing slot number %d to systemslot"};
const TPciDevInfo::Kind TPciDevInfo::kBridges = {
    kPciBridgeClass, &TPciDevInfo::bridgeList, &TPciDevInfo::PopulatePciBridgeProperties,
    "GetDeviceFromSlotAssocInstances found match comparing bridge slot number %d to systemslot"};

namespace {

constexpr char kControllerClass[] = "QELTA_Controller";  // has paths like those of devices, but is not served

/** What stands in for an empty description; the device number goes in as one raw character. */
std::string identityText(const sPciDevices& record) {
    return "PCI Vendor ID " + std::to_string(record.vendorId) + "  PCI Device ID " + static_cast<char>(record.dev);
}

template <typename Number, std::size_t count>
std::vector<Number> nonZero(const Number (&numbers)[count]) {
    std::vector<Number> chosen;
    chosen.reserve(count);
    for (const Number number : numbers) {
        if (number != 0) chosen.push_back(number);
    }
    return chosen;
}

/** Sets an address list; an empty one is left out. */
template <typename Number>
void setAddresses(const CMPIBroker* broker, CMPIInstance* instance, const char* name,
                  const std::vector<Number>& addresses) {
    if (!addresses.empty()) CMPICIMInst().setProperty(broker, instance, name, addresses);
}

}  // namespace

CMPIObjectPath* TPciDevInfo::getObjectPath(const CMPIBroker* broker, const std::string& nameSpace,
                                           const std::string& name, const std::string* deviceId) {
    if (name == kDeviceInSlotClass) return getObjectPath(broker, nameSpace, name, nullptr, nullptr);
    if (name != kPciDeviceClass && name != kPciBridgeClass && name != kControllerClass) return nullptr;
    const sPciDevices* record = cursor.record();
    if (deviceId == nullptr && record == nullptr) return nullptr;
    return CMPICIMInst().createHostObjectPath(broker, nameSpace, name, systemName(), "DeviceID",
                                              deviceId != nullptr ? *deviceId : record->address().deviceId());
}

int TPciDevInfo::getDeviceID(std::stringstream& out) {
    if (const sPciDevices* record = cursor.record()) out << record->address().deviceId();
    return 1;
}

int TPciDevInfo::getSystemCreationClassName(std::stringstream& out) {
    out << kSystemCreationClass;
    return 1;
}

/** The host's name, which is asked for once: each function has it twice. */
const std::string& TPciDevInfo::systemName() {
    if (!knownSystemName) knownSystemName = hostName();
    return *knownSystemName;
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
    constexpr std::size_t kOtherText = sizeof(":   (rev 00)");
    std::string text;
    text.reserve(record->className.size() + record->vendorName.size() + record->deviceName.size() + kOtherText);
    text.append(record->className).append(": ").append(record->vendorName).append(" ").append(record->deviceName);
    return text.append(" (rev ").append(twoDigits(record->revision)).append(")");
}

int TPciDevInfo::GetCommonDevProperties(const sPciDevices* record, CMPIInstance* instance, unsigned char*) {
    if (record == nullptr || instance == nullptr) return 1;
    CMPICIMInst cim;
    const std::string description = GetDeviceDescription(record);
    const std::string id = record->address().deviceId();
    cim.setProperty(instance, "VendorID", record->vendorId);
    cim.setProperty(instance, "PciDeviceID", record->deviceId);
    cim.setProperty(instance, "SystemCreationClassName", std::string(kSystemCreationClass));
    cim.setProperty(instance, "SystemName", systemName());
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
    const bool bridge = record != nullptr && record->hwClass == kBridgeBaseClass;
    return bridge ? PopulatePciBridgeProperties(broker, record, &flag)
                  : PopulatePciDeviceProperties(broker, record, &flag);
}

/** Delivers the records of one list for which matches(record) holds. A path too is only given where the instance is. */
template <typename Matches>
void TPciDevInfo::deliverMatching(const Kind& kind, const Delivery& to, Matches matches) {
    walk(this->*kind.list, [&](const sPciDevices& record) {
        if (!matches(record)) return;
        unsigned char flag = 1;
        const CMPIInstance* instance = (this->*kind.populate)(to.broker, &record, &flag);
        if (instance == nullptr) return;
        to.deliver([&] { return getObjectPath(to.broker, kNameSpace, kind.className, nullptr); },
                   [&] { return instance; });
    });
}

void TPciDevInfo::GetOnboardDeviceAssocInstances(const CMPIBroker* broker, const CMPIContext*, const CMPIResult* result,
                                                 bool namesOnly) {
    syslog(LOG_ERR, "GetOnboardDeviceAssocInstances - sizeof deviceArray [%d] sizeof bridgearray[%d]",
           static_cast<int>(deviceList.size()), static_cast<int>(bridgeList.size()));
    for (const Kind* kind : {&kDevices, &kBridges}) {
        deliverMatching(*kind, {broker, nullptr, result, namesOnly},
                        [](const sPciDevices& record) { return record.uiNumber == 0; });
    }
}

void TPciDevInfo::EnumDevBridgeInstances(const CMPIBroker* broker, const CMPIResult* result, unsigned short slot,
                                         bool namesOnly) {
    for (const Kind* kind : {&kDevices, &kBridges}) {
        deliverMatching(*kind, {broker, nullptr, result, namesOnly}, [&](const sPciDevices& record) {
            if (record.slotNum != slot) return false;
            syslog(LOG_ERR, kind->slotMatchLog, record.slotNum);
            return true;
        });
    }
}

}  // namespace tPCIInfo
