// The system board and its associations with the functions on it. Tests: tests/unit/board_test.cpp.
#include "board/tsysbrd.h"

#include <syslog.h>

#include "utils/contained.h"
#include "utils/delivery.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

int TSysBrd::GetCIMInstances(const CMPIBroker* broker, const CMPIResult* result, const CMPIContext* context,
                             const std::string& className, bool namesOnly) {
    if (className == kSystemBoardClass) {
        const Delivery to = {broker, context, result, namesOnly};
        to.deliver([&] { return getObjectPath(broker, kNameSpace, className, nullptr); },
                   [&] { return PopulateSysbrdProperties(broker, className); });
    } else if (className == kOnBoardDeviceClass) {
        MakeDeviceBoardAssociation(broker, result, context, namesOnly);
    }
    return 0;
}

CMPIInstance* TSysBrd::PopulateSysbrdProperties(const CMPIBroker* broker, const std::string& className) {
    CMPICIMInst cim;
    CMPIInstance* board = cim.createCIMInstance(broker, getObjectPath(broker, kNameSpace, className, nullptr));
    cim.setProperty(board, "SystemCreationClassName", getSystemCreationClassName());
    cim.setProperty(board, "SystemName", getSystemName());
    cim.setProperty(board, "DeviceID", getDeviceID());
    cim.setProperty(board, "ElementName", getDeviceID());
    cim.setProperty(board, "CreationClassName", std::string(kSystemBoardClass));
    cim.setProperty(board, "SlotDesignation", std::string("Onboard"));
    cim.setProperty(board, "SlotAllInfo", std::string("Onboard"));
    return board;
}

void TSysBrd::MakeDeviceBoardAssociation(const CMPIBroker* broker, const CMPIResult* result, const CMPIContext* context,
                                         bool namesOnly) {
    contained(
        [&] {
            associateBoard({broker, context, result, namesOnly});
        },
        "MakeDeviceBoardAssociation in the catch statement");
}

void TSysBrd::associateBoard(const Delivery& to) {
    CMPICIMInst cim;
    const CMPIInstance* board = PopulateSysbrdProperties(to.broker, kSystemBoardClass);
    CMPIEnumeration* devices = cim.enumerateInstances(to.broker, to.context, kNameSpace, kPciDeviceClass);
    CMPIEnumeration* bridges = cim.enumerateInstances(to.broker, to.context, kNameSpace, kPciBridgeClass);
    if (board == nullptr || devices == nullptr || bridges == nullptr) {
        syslog(LOG_ERR, "MakeDeviceBoardAssociation antInst is null");
        syslog(LOG_ERR, "MakeDeviceBoardAssociation leaving the routine");
        return;
    }
    syslog(LOG_ERR, "MakeDeviceBoardAssociation antInst is not null");
    associateAll(to, board, devices, "update");
    associateAll(to, board, bridges, "update2");
    syslog(LOG_ERR, "MakeDeviceBoardAssociation leaving the routine");
}

/** `updateWord` tells the two walks apart in the log. */
void TSysBrd::associateAll(const Delivery& to, const CMPIInstance* board, CMPIEnumeration* functions,
                           const char* updateWord) {
    CMPICIMInst cim;
    while (const CMPIInstance* function = cim.getNextInstance(to.broker, to.context, functions)) {
        syslog(LOG_ERR, "MakeDeviceBoardAssociation getting next instance");
        syslog(LOG_ERR, "MakeDeviceBoardAssociation getting the UI number");
        unsigned char ui = 0;
        const CMPIStatus status = cim.getPropertyVal(function, "UINumber", ui);
        if (status.rc != CMPI_RC_OK) ui = 0;
        syslog(LOG_ERR, "MakeDeviceBoardAssociation got the UI number");
        if (ui != 0) {
            syslog(LOG_ERR, "MakeDeviceBoardAssociation not making instance status [%d] ui [%d]",
                   static_cast<int>(status.rc), ui);
            continue;
        }
        syslog(LOG_ERR, "MakeDeviceBoardAssociation making instance status [%d] ui [%d]", static_cast<int>(status.rc),
               ui);
        associate(to, board, function, updateWord);
    }
}

/** Delivers the association of one function that is on the board. */
void TSysBrd::associate(const Delivery& to, const CMPIInstance* board, const CMPIInstance* function,
                        const char* updateWord) {
    CMPICIMInst cim;
    CMPIObjectPath* antecedent = cim.getObjectPathFromInstance(board);
    CMPIObjectPath* dependent = cim.getObjectPathFromInstance(function);
    if (antecedent == nullptr || dependent == nullptr) {
        syslog(LOG_ERR, "MakeDeviceBoardAssociation depOjbectpath and antobjectpath not good");
        return;
    }
    syslog(LOG_ERR, "MakeDeviceBoardAssociation depOjbectpath and antobjectpath is good");
    CMPIObjectPath* path = getObjectPath(to.broker, kNameSpace, kOnBoardDeviceClass, antecedent, dependent);
    if (path == nullptr) {
        syslog(LOG_ERR, "MakeDeviceBoardAssociation could not get object path");
        return;
    }
    if (to.namesOnly) {
        syslog(LOG_ERR, "MakeDeviceBoardAssociation setting object path");
        to.deliver(path);
        syslog(LOG_ERR, "MakeDeviceBoardAssociation set object path");
        return;
    }
    syslog(LOG_ERR, "MakeDeviceBoardAssociation creating instance");
    const CMPIInstance* association = cim.createCIMInstance(to.broker, path);
    syslog(LOG_ERR, "MakeDeviceBoardAssociation instance is created");
    if (association == nullptr) {
        syslog(LOG_ERR, "MakeDeviceBoardAssociation status == CMPI_RC_OK");
        return;
    }
    syslog(LOG_ERR, "MakeDeviceBoardAssociation %s status == CMPI_RC_OK", updateWord);
    syslog(LOG_ERR, "MakeDeviceBoardAssociation %s setting dependent op", updateWord);
    syslog(LOG_ERR, "MakeDeviceBoardAssociation %s setting instance to return", updateWord);
    to.deliver(association);
}

CMPIObjectPath* TSysBrd::getObjectPath(const CMPIBroker* broker, const std::string& nameSpace,
                                       const std::string& className, const std::string* deviceId) {
    return CMPICIMInst().createHostObjectPath(broker, nameSpace, className, getSystemName(), "DeviceID",
                                              deviceId != nullptr ? *deviceId : getDeviceID());
}

CMPIObjectPath* TSysBrd::getObjectPath(const CMPIBroker* broker, const std::string& nameSpace,
                                       const std::string& className, CMPIObjectPath* antecedent,
                                       CMPIObjectPath* dependent) {
    syslog(LOG_ERR, "TSysBrd::getObjectPath in the routine");
    CMPICIMInst cim;
    CMPIObjectPath* path = cim.createObjectPath(broker, nameSpace, className);
    if (path == nullptr) {
        syslog(LOG_ERR, "TSysBrd::getObjectPath could not create the path");
        return nullptr;
    }
    syslog(LOG_ERR, "TSysBrd::getObjectPath created the objectpath");
    syslog(LOG_ERR, "TSysBrd::getObjectPath setting ant");
    cim.setKeyProperty(path, "Antecedent", antecedent);
    syslog(LOG_ERR, "TSysBrd::getObjectPath setting dep");
    cim.setKeyProperty(path, "Dependent", dependent);
    syslog(LOG_ERR, "TSysBrd::getObjectPath leaving the routine");
    return path;
}

std::string TSysBrd::getDeviceID() {
    return "SystemBoard1";
}

std::string TSysBrd::getSystemName() {
    return hostName();
}

std::string TSysBrd::getSystemCreationClassName() {
    return kSystemCreationClass;
}

}  // namespace tPCIInfo
