#ifndef PCIINFO_PCI_PCIDEVINFO_H
#define PCIINFO_PCI_PCIDEVINFO_H

#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "pci/address.h"

namespace tPCIInfo {

struct Delivery;

/** One PCI function, as one line of /proc/bus/pci/devices and the first 64 bytes of its configuration space tell. */
struct sPciDevices {
    std::uint8_t bus = 0;
    std::uint8_t dev = 0;   // 0 to 31
    std::uint8_t func = 0;  // 0 to 7
    std::uint16_t vendorId = 0;
    std::uint16_t deviceId = 0;
    std::uint16_t subsystemId = 0;
    std::uint16_t subsystemVendorId = 0;  // 2 when fewer than 64 bytes of configuration space came
    std::uint16_t irq = 0;                // the kernel's, not configuration byte 3Ch
    std::uint32_t memAddr[6] = {};        // per BAR, without its low byte; 0 where none
    std::uint16_t ioAddr[6] = {};         // per BAR; 0 where none
    std::uint32_t memLen[6] = {};         // low 16 bits of the BAR's size; 0 where none
    std::uint16_t ioLen[6] = {};          // never filled
    std::uint8_t config[256] = {};        // only the first 64 bytes are ever read
    std::string deviceName;
    std::string classTag;  // always "classname"
    std::string vendorName;
    std::string className;
    std::uint8_t classCode = 0;  // base class
    std::uint8_t subclass = 0;
    std::uint8_t hwClass = 0;  // base class again: decides between bridge and device
    std::uint8_t revision = 0;
    std::uint8_t slotNum = 0;   // the device number
    std::uint8_t uiNumber = 0;  // the device number where a system slot can have it, else 0: on the board

    FunctionAddress address() const { return {bus, dev, func}; }
};

/**
 * A list of records, in the order in which they were appended. It grows by blocks, so that there is never a second copy
 * of the records, which are large. A copy of the list shares them; only the list that is copied may grow afterwards.
 */
class PciList {
 public:
    void push_back(const sPciDevices& record);
    void clear() { *this = {}; }
    std::size_t size() const { return size_; }
    const sPciDevices& operator[](std::size_t index) const { return (*blocks_[index / kBlock])[index % kBlock]; }

 private:
    static constexpr std::size_t kBlock = 32;

    std::vector<std::shared_ptr<std::vector<sPciDevices>>> blocks_;  // all full but the last one
    std::size_t size_ = 0;
};

/** Base of the PCI inventory. */
class TPci {
 public:
    TPci() = default;
    TPci(const TPci&) = delete;
    TPci& operator=(const TPci&) = delete;
    virtual ~TPci() = default;
};

/**
 * The PCI functions of the host, scanned once by the constructor, and their CIM objects. An object serves one request
 * on one thread. Functions are listed in bus order (the order of /proc/bus/pci/devices), those of base class 06h as
 * bridges, all others as devices.
 *
 * What cannot be read or made is left out, and never an error. Objects are delivered to the result; returnDone is the
 * caller's.
 */
class TPciDevInfo : public TPci {
 public:
    /**
     * Scans the bus. The class name chooses the working list: "QELTA_PCIDevice" and "QELTA_DeviceInSlot" the devices,
     * "QELTA_PCIBridge" the bridges, any other an empty list. Null is an empty name.
     */
    explicit TPciDevInfo(const char* name);

    // --- scan ---

    /**
     * Scans the bus. Empties the bridge list and the working list first, but not the device list: after a second scan
     * every device is listed twice.
     */
    void ScanPciDevices();
    /** 1 when the list of functions was read to its end, 0 when it could not be opened. */
    int getAltHDList();
    /** The working list from its start on: the first record, null when there is none. */
    const sPciDevices* setFirstElement();
    /** The record at the cursor, which moves on by one; null at the end of the working list. */
    const sPciDevices* getNextElement();
    int GetDeviceSlot(sPciDevices* record, unsigned char* slot);

    // --- names: the catalogue files are searched as raw, zero-terminated text ---

    using CatalogueText = std::unique_ptr<char[]>;
    /** The whole text of the vendor and device catalogue; null when it is missing, empty or no regular file. */
    static CatalogueText getVendDeviceDescripts();
    /** The whole text of the class list, likewise. */
    static CatalogueText getClassDescripts();
    /** The text of the first <name> element after key="id" (four lowercase digits), else the default. */
    static void assignID(const char* text, const char* key, int id, const char* defaultName, std::string& out);
    /**
     * The rest of the line after the first occurrence of the sub-class digits that follows the class digits, else the
     * default. Neither digits are looked for in their own place of the list alone.
     */
    static void assignClassID(const char* text, unsigned char classCode, unsigned char subclass,
                              const char* defaultName, std::string& out);
    /** The number that up to `length` hexadecimal digits give, a leading 0x skipped; ends at any other character. */
    static unsigned int _httoi(const char* text, int length);
    /** The pieces of `text` between delimiter characters; empty pieces are dropped. */
    static std::vector<std::string> MultiStringTok(const std::string& text, const char* delimiters);

    // --- PCI functions as CIM objects ---

    /**
     * The path of a PCI function with its four keys; a null `deviceId` takes the DeviceID of the record at the cursor.
     * For "QELTA_DeviceInSlot" an association path without references, for an unknown class null.
     */
    CMPIObjectPath* getObjectPath(const CMPIBroker* broker, const std::string& nameSpace, const std::string& className,
                                  const std::string* deviceId);
    /** "PCI Bus 0, device 31, function 3" of the record at the cursor. */
    int getDeviceID(std::stringstream& out);
    int getSystemCreationClassName(std::stringstream& out);
    int getSystemName(std::stringstream& out);
    /** The number in decimal; `width` is ignored. */
    std::string FormatToString(int value, unsigned int width);
    /** "Ethernet controller: Intel Corporation 82557 (rev 08)". */
    std::string GetDeviceDescription(const sPciDevices* record);
    /** The properties that devices and bridges have in common; 1 for null handles, else 0. */
    int GetCommonDevProperties(const sPciDevices* record, CMPIInstance* instance, unsigned char* flag);
    /** The instance of a record on which the cursor stands; null when it cannot be made. */
    CMPIInstance* PopulatePciDeviceProperties(const CMPIBroker* broker, const sPciDevices* record, unsigned char* flag);
    CMPIInstance* PopulatePciBridgeProperties(const CMPIBroker* broker, const sPciDevices* record, unsigned char* flag);
    CMPIInstance* GetPciInfo(const CMPIBroker* broker, const sPciDevices* record);

    /** Delivers the working list, or every device-in-slot association. */
    void GetCIMInstance(const CMPIBroker* broker, const CMPIContext* context, const CMPIResult* result,
                        const std::string& name, bool namesOnly);
    /** Delivers every function on the system board, devices first. */
    void GetOnboardDeviceAssocInstances(const CMPIBroker* broker, const CMPIContext* context, const CMPIResult* result,
                                        bool namesOnly);
    /** Delivers every function whose slot number is `slot`, devices first. */
    void EnumDevBridgeInstances(const CMPIBroker* broker, const CMPIResult* result, unsigned short slot,
                                bool namesOnly);

    // --- PCI functions and the system slots that hold them ---
    //
    // A function sits in the slot whose "Number" equals its device number. The slots are fetched through the object
    // manager, which calls this provider again. No exception leaves a walk over slots.

    /** The slot number of the function with that address, 0 when it sits in none or does not exist. */
    int GetSlotNumberFromDevice(int bus, int device, int function);
    /** An association's path with its two references; a null reference is left out. Null when it cannot be made. */
    CMPIObjectPath* getObjectPath(const CMPIBroker* broker, const std::string& nameSpace, const std::string& name,
                                  CMPIObjectPath* antecedent, CMPIObjectPath* dependent);
    /** Delivers the association of one slot with every function whose slot number is `slotNumber`. */
    void CreateDeviceSlotAssociation(const CMPIBroker* broker, const CMPIResult* result, CMPIObjectPath* slotPath,
                                     int slotNumber, bool namesOnly);
    /** Delivers every device-in-slot association of the slots whose number is not 0. */
    void MakeDeviceSlotAssociation(const CMPIBroker* broker, const CMPIContext* context, const CMPIResult* result,
                                   bool namesOnly);
    /** Delivers the device-in-slot associations of the slots that carry the number in the path's "Tag". */
    void GetAssocRefFromSlotInstances(const CMPIBroker* broker, const CMPIContext* context, const CMPIResult* result,
                                      const CMPIObjectPath* slotPath, bool namesOnly);
    /** Delivers the functions in the slot that the path's "Tag" names, or for a null path those in every slot. */
    void GetDeviceFromSlotAssocInstances(const CMPIBroker* broker, const CMPIContext* context, const CMPIResult* result,
                                         const CMPIObjectPath* slotPath, bool namesOnly);
    /** Delivers the first slot that carries the number of the function that the path's "DeviceID" names. */
    void GetSlotFromDeviceAssocInstances(const CMPIBroker* broker, const CMPIContext* context, const CMPIResult* result,
                                         const CMPIObjectPath* devicePath, bool namesOnly);
    /**
     * Delivers the one association of a function with its slot (the last that carries its number) for `resultClass`
     * "QELTA_SystemSlot", with the system board for "QELTA_SystemBoard", none for any other text.
     */
    void GetAssocRefFromDeviceInstances(const CMPIBroker* broker, const CMPIContext* context, const CMPIResult* result,
                                        const CMPIObjectPath* devicePath, const std::string& resultClass,
                                        bool namesOnly);

 private:
    class Scan;
    struct Association;

    /** What differs between devices and bridges in the walks over both. */
    struct Kind {
        const char* className;
        PciList TPciDevInfo::*list;
        CMPIInstance* (TPciDevInfo::*populate)(const CMPIBroker*, const sPciDevices*, unsigned char*);
        const char* slotMatchLog;  // logged for a function in the slot asked for
    };

    /** A position in one of the three lists. */
    struct Cursor {
        const PciList* list = nullptr;
        std::size_t index = 0;

        const sPciDevices* record() const {
            return list != nullptr && index < list->size() ? &(*list)[index] : nullptr;
        }
    };

    static constexpr std::uint8_t kBridgeBaseClass = 0x06;  // PCI base class of bridges
    static const Kind kDevices;
    static const Kind kBridges;

    /** Two lowercase hexadecimal digits. */
    static std::string twoDigits(unsigned char number);

    /** Visits every record of a list with the cursor on it; the cursor is left at the list's end. */
    template <typename Visit>
    void walk(const PciList& list, Visit visit) {
        cursor = {&list, 0};
        for (; const sPciDevices* record = cursor.record(); ++cursor.index) visit(*record);
    }
    template <typename Matches>
    void deliverMatching(const Kind& kind, const Delivery& to, Matches matches);
    CMPIInstance* createFunctionInstance(const CMPIBroker* broker, const sPciDevices* record, const char* functionClass,
                                         unsigned char* flag);

    const std::string& systemName();
    const sPciDevices* findFunction(const PciList& list, const FunctionAddress& address);
    void associateSlot(const Kind& kind, const Delivery& to, CMPIObjectPath* slotPath, int slotNumber);
    int describeFunction(const CMPIBroker* broker, const FunctionAddress& address, bool slotWanted,
                         CMPIObjectPath*& path);
    Association associateWithSlot(const Delivery& to, int slotNumber, CMPIObjectPath* devicePath);
    Association associateWithBoard(const CMPIBroker* broker, CMPIObjectPath* devicePath);

    PciList currentList;
    PciList deviceList;
    PciList bridgeList;
    Cursor cursor;
    std::string className;
    std::optional<std::string> knownSystemName;
};

}  // namespace tPCIInfo

#endif
