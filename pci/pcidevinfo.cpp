// The inventory of one request: its three lists, the cursor in one of them, and the delivery of the working list.
// Tests: tests/unit/scan_test.cpp, tests/unit/functionwalks_test.cpp.
#include "pci/pcidevinfo.h"

#include <utility>

#include "utils/delivery.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

void PciList::push_back(const sPciDevices& record) {
    if (size_ == blocks_.size() * kBlock) {
        auto block = std::make_shared<std::vector<sPciDevices>>();
        block->reserve(kBlock);
        blocks_.push_back(std::move(block));
    }
    blocks_.back()->push_back(record);
    ++size_;
}

TPciDevInfo::TPciDevInfo(const char* name) : className(name != nullptr ? name : "") {
    ScanPciDevices();
    if (className.empty()) return;
    if (className == kPciDeviceClass || className == kDeviceInSlotClass) currentList = deviceList;
    if (className == kPciBridgeClass) currentList = bridgeList;
    setFirstElement();
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

void TPciDevInfo::GetCIMInstance(const CMPIBroker* broker, const CMPIContext* context, const CMPIResult* result,
                                 const std::string& name, bool namesOnly) {
    if (name == kDeviceInSlotClass) MakeDeviceSlotAssociation(broker, context, result, namesOnly);
    if (name != kPciBridgeClass && name != kPciDeviceClass) return;
    const bool bridgesWanted = name == kPciBridgeClass;
    if (cursor.list != &currentList) return;
    const Delivery to = {broker, context, result, namesOnly};
    for (; const sPciDevices* record = cursor.record(); ++cursor.index) {
        if ((record->hwClass == kBridgeBaseClass) != bridgesWanted) continue;
        to.deliver([&] { return getObjectPath(broker, kNameSpace, name, nullptr); },
                   [&] { return GetPciInfo(broker, record); });
    }
}

}  // namespace tPCIInfo
