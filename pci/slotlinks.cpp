// PCI functions and the system slots that hold them, which are fetched through the object manager.
// Tests: tests/unit/deviceinslot_test.cpp, tests/unit/slotofdevice_test.cpp.
#include <syslog.h>

#include <cstdlib>
#include <optional>
#include <string_view>

#include "board/tsysbrd.h"
#include "pci/address.h"
#include "pci/pcidevinfo.h"
#include "utils/contained.h"
#include "utils/delivery.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

/** An association's path and the path of its "Antecedent"; nothing is delivered unless both are there. */
struct TPciDevInfo::Association {
    CMPIObjectPath* antecedent = nullptr;
    CMPIObjectPath* path = nullptr;
};

namespace {

constexpr std::size_t kTagNumber = std::string_view("System Slot ").size();  // where a "Tag" carries its number

/** A slot's "Number" in 16 bits; one that cannot be read counts as 0. */
unsigned short slotNumberOf(const CMPIInstance* slot) {
    unsigned short number = 0;
    const CMPIStatus status = CMPICIMInst().getPropertyVal(slot, "Number", number);
    return status.rc == CMPI_RC_OK ? number : static_cast<unsigned short>(0);
}

/** Calls visit(slot) for every system slot that the object manager knows, until it says that it has seen enough. */
template <typename Visit>
void forEachSlotInstance(const CMPIBroker* broker, const CMPIContext* context, Visit visit) {
    CMPICIMInst cim;
    CMPIEnumeration* slots = cim.enumerateInstances(broker, context, kNameSpace, kSystemSlotClass);
    while (CMPIInstance* slot = cim.getNextInstance(broker, context, slots)) {
        if (!visit(slot)) return;
    }
}

/** The number in a slot path's "Tag"; none when the tag is too short to carry one. */
std::optional<std::uint16_t> requestedSlot(const CMPIObjectPath* slotPath) {
    const std::string tag = keyText(slotPath, "Tag");
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances not creating path");
    if (tag.size() <= kTagNumber) return std::nullopt;
    const auto number = static_cast<std::uint16_t>(std::strtol(tag.c_str() + kTagNumber, nullptr, 10));
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances not creating path for slotnum [%d]", number);
    return number;
}

/** Logs which of its three labels a DeviceID has. */
void logLabels(const std::string& deviceId) {
    constexpr struct {
        const char* label;
        const char* found;
        const char* missing;
    } kLines[] = {
        {FunctionAddress::kLabels[0], "GetDeviceFromSlotAssocInstances found PCI Bus",
         "GetDeviceFromSlotAssocInstances could not find PCI Bus"},
        {FunctionAddress::kLabels[1], "GetDeviceFromSlotAssocInstances found device",
         "GetDeviceFromSlotAssocInstances not found device"},
        {FunctionAddress::kLabels[2], "GetDeviceFromSlotAssocInstances found function",
         "GetDeviceFromSlotAssocInstances not found function"},
    };
    for (const auto& line : kLines) {
        const bool found = deviceId.find(line.label) != std::string::npos;
        syslog(LOG_ERR, "%s", found ? line.found : line.missing);
    }
}

/** Sets an association's references and delivers it. */
void deliverAssociation(const Delivery& to, CMPIInstance* association, CMPIObjectPath* antecedent,
                        CMPIObjectPath* dependent) {
    CMPICIMInst cim;
    cim.setProperty(association, "Antecedent", antecedent);
    cim.setProperty(association, "Dependent", dependent);
    to.deliver(association);
}

}  // namespace

/** The first record of a list with that address, the cursor on it; null when there is none. */
const sPciDevices* TPciDevInfo::findFunction(const PciList& list, const FunctionAddress& address) {
    cursor = {&list, 0};
    for (; const sPciDevices* record = cursor.record(); ++cursor.index) {
        if (record->address() == address) return record;
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
        associateSlot(*kind, {broker, nullptr, result, namesOnly}, slotPath, slotNumber);
    }
}

/** Delivers the associations of one slot with the functions of one list. */
void TPciDevInfo::associateSlot(const Kind& kind, const Delivery& to, CMPIObjectPath* slotPath, int slotNumber) {
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
        CMPIObjectPath* devicePath = getObjectPath(to.broker, kNameSpace, kind.className, nullptr);
        CMPIObjectPath* path = getObjectPath(to.broker, kNameSpace, kDeviceInSlotClass, slotPath, devicePath);
        if (slotPath == nullptr || devicePath == nullptr || path == nullptr) {
            syslog(LOG_ERR, "MakeDeviceSlotAssociation object paths null");
            return;
        }
        syslog(LOG_ERR, "MakeDeviceSlotAssociation object paths not null");
        if (to.namesOnly) {
            syslog(LOG_ERR, "MakeDeviceSlotAssociation setting object path");
            to.deliver(path);
            return;
        }
        syslog(LOG_ERR, "MakeDeviceSlotAssociation creating instance");
        CMPIInstance* association = CMPICIMInst().createCIMInstance(to.broker, path);
        if (association == nullptr) {
            syslog(LOG_ERR, "MakeDeviceSlotAssociation could not creating instance");
            return;
        }
        syslog(LOG_ERR, "MakeDeviceSlotAssociation got the instance so setting it");
        deliverAssociation(to, association, slotPath, devicePath);
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
    contained(associateSlots, "MakeDeviceSlotAssociation system slots failed");
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
    if (requested) contained([&] { forEachSlotInstance(broker, context, associateSlot); });
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances leaving routine");
}

void TPciDevInfo::GetDeviceFromSlotAssocInstances(const CMPIBroker* broker, const CMPIContext* context,
                                                  const CMPIResult* result, const CMPIObjectPath* slotPath,
                                                  bool namesOnly) {
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances in the routine routine");
    const auto deliverSlot = [&](CMPIInstance* slot) {
        syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances got next intance");
        CMPICIMInst().getObjectPathFromInstance(slot);  // asked for as in the other walks, and not needed
        const unsigned short number = slotNumberOf(slot);
        syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances got slot number of %d", number);
        EnumDevBridgeInstances(broker, result, number, namesOnly);
        return true;
    };
    if (slotPath == nullptr) {
        syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances creating path");
        contained([&] { forEachSlotInstance(broker, context, deliverSlot); },
                  "GetDeviceFromSlotAssocInstances system slots failed");
    } else if (const std::optional<std::uint16_t> requested = requestedSlot(slotPath)) {
        EnumDevBridgeInstances(broker, result, *requested, namesOnly);
    }
    syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances leaving routine");
}

void TPciDevInfo::GetSlotFromDeviceAssocInstances(const CMPIBroker* broker, const CMPIContext* context,
                                                  const CMPIResult* result, const CMPIObjectPath* devicePath,
                                                  bool namesOnly) {
    syslog(LOG_ERR, "GetSlotFromDeviceAssocInstances in the routine");
    const Delivery to = {broker, context, result, namesOnly};
    int slotNumber = 0;
    if (devicePath != nullptr) {
        const std::string deviceId = keyText(devicePath, "DeviceID");
        syslog(LOG_ERR, "GetDeviceFromSlotAssocInstances not creating path deviceid [%s]", deviceId.c_str());
        logLabels(deviceId);
        const FunctionAddress address = FunctionAddress::fromDeviceId(deviceId);
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
    if (slotNumber != 0) contained([&] { forEachSlotInstance(broker, context, findHolder); });
    to.deliver([&] { return CMPICIMInst().getObjectPathFromInstance(holder); }, [&] { return holder; });
    syslog(LOG_ERR, "GetSlotFromDeviceAssocInstances returning from the routine");
}

void TPciDevInfo::GetAssocRefFromDeviceInstances(const CMPIBroker* broker, const CMPIContext* context,
                                                 const CMPIResult* result, const CMPIObjectPath* devicePath,
                                                 const std::string& resultClass, bool namesOnly) {
    syslog(LOG_ERR, "GetSlotRefFromDeviceAssocInstances in the routine");
    const Delivery to = {broker, context, result, namesOnly};
    const bool slotWanted = resultClass == kSystemSlotClass;
    CMPIObjectPath* knownPath = nullptr;
    int slotNumber = 0;
    if (devicePath != nullptr) {
        const FunctionAddress address = FunctionAddress::fromDeviceId(keyText(devicePath, "DeviceID"));
        slotNumber = describeFunction(broker, address, slotWanted, knownPath);
    }
    Association association;
    if (knownPath != nullptr && slotNumber != 0 && slotWanted) {
        association = associateWithSlot(to, slotNumber, knownPath);
    } else if (knownPath != nullptr && resultClass == kSystemBoardClass) {
        association = associateWithBoard(broker, knownPath);
    }
    if (association.antecedent != nullptr && association.path != nullptr) {
        if (namesOnly) {
            to.deliver(association.path);
        } else if (CMPIInstance* instance = CMPICIMInst().createCIMInstance(broker, association.path)) {
            deliverAssociation(to, instance, association.antecedent, knownPath);
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
TPciDevInfo::Association TPciDevInfo::associateWithSlot(const Delivery& to, int slotNumber,
                                                        CMPIObjectPath* devicePath) {
    Association association;
    const auto associate = [&](CMPIInstance* slot) {
        syslog(LOG_ERR, "GetSlotRefFromDeviceAssocInstances got next intance");
        const unsigned short number = slotNumberOf(slot);
        syslog(LOG_ERR, "GetSlotRefFromDeviceAssocInstances got slot number of %d", number);
        if (number == slotNumber) {
            CMPIObjectPath* slotPath = CMPICIMInst().getObjectPathFromInstance(slot);
            association = {slotPath, getObjectPath(to.broker, kNameSpace, kDeviceInSlotClass, slotPath, devicePath)};
        }
        return true;
    };
    contained([&] { forEachSlotInstance(to.broker, to.context, associate); });
    return association;
}

TPciDevInfo::Association TPciDevInfo::associateWithBoard(const CMPIBroker* broker, CMPIObjectPath* devicePath) {
    CMPIObjectPath* boardPath =
        CMPICIMInst().getObjectPathFromInstance(TSysBrd().PopulateSysbrdProperties(broker, kSystemBoardClass));
    return {boardPath, getObjectPath(broker, kNameSpace, kOnBoardDeviceClass, boardPath, devicePath)};
}

}  // namespace tPCIInfo
