#ifndef PCIINFO_UTILS_PROVIDERUTILS_H
#define PCIINFO_UTILS_PROVIDERUTILS_H

#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>

#include <string>
#include <vector>

namespace tPCIInfo {

/** The CIM namespace of every object path that the provider builds. */
constexpr char kNameSpace[] = "root/kavix";

/** The CIM classes served, in their canonical spelling: the inventory classes compare names with regard to case. */
constexpr char kPciDeviceClass[] = "QELTA_PCIDevice";
constexpr char kPciBridgeClass[] = "QELTA_PCIBridge";
constexpr char kDeviceInSlotClass[] = "QELTA_DeviceInSlot";
constexpr char kSystemSlotClass[] = "QELTA_SystemSlot";
constexpr char kSystemBoardClass[] = "QELTA_SystemBoard";
constexpr char kOnBoardDeviceClass[] = "QELTA_OnBoardDevice";
constexpr char kSlotControllerClass[] = "QELTA_SSPCIController";
constexpr char kBoardControllerClass[] = "QELTA_OBDPCIController";

/** The class that every "SystemCreationClassName" key names: the host's own class. */
constexpr char kSystemCreationClass[] = "QELTA_ASSETID";

constexpr CMPIStatus kOk = {CMPI_RC_OK, nullptr};

/** A copy of `text` in which every character has been through tolower. */
std::string lower(std::string text);

/** The characters of a CMPI string, copied; empty for a null handle. */
std::string textOf(const CMPIString* string);

/** The class name of an object path; empty when it has none. */
std::string classNameOf(const CMPIObjectPath* path);

/** The text of a key; empty when the path has no such key or the key is not a text. */
std::string keyText(const CMPIObjectPath* path, const std::string& name);

/** The host's name, "systemname" when it cannot be had. */
std::string hostName();

/**
 * Typed access to the object manager: makes object paths and instances, sets and reads properties and keys, returns
 * objects and walks enumerations. It holds nothing, so any instance serves, on any thread.
 *
 * Null handles and empty names are answered by doing nothing: makers give null, setters CMPI_RC_OK. What the object
 * manager says of a make, set, add or return call is dropped; only the array setters and the property readers hand a
 * failing status on. Objects made here belong to the object manager's memory management for the request.
 */
class CMPICIMInst {
 public:
    CMPIInstance* createCIMInstance(const CMPIBroker* broker, CMPIObjectPath* path);
    CMPIObjectPath* getObjectPathFromInstance(const CMPIInstance* instance);
    /** Null when the class name is empty; an empty namespace is allowed. */
    CMPIObjectPath* createObjectPath(const CMPIBroker* broker, const std::string& nameSpace,
                                     const std::string& className);
    /**
     * The path of an object on a host of that name: the keys that all of them have (the host's class and name, the
     * class name), and the one that is the class's own. Null when it cannot be made.
     */
    CMPIObjectPath* createHostObjectPath(const CMPIBroker* broker, const std::string& nameSpace,
                                         const std::string& className, const std::string& host,
                                         const std::string& keyName, const std::string& keyValue);
    void returnInstance(const CMPIResult* result, const CMPIInstance* instance);
    void returnObjectPath(const CMPIResult* result, const CMPIObjectPath* path);

    /** Asks the object manager for all instances of a class; null when it has none to give. */
    CMPIEnumeration* enumerateInstances(const CMPIBroker* broker, const CMPIContext* context,
                                        const std::string& nameSpace, const std::string& className);
    CMPIEnumeration* enumerateInstances(const CMPIBroker* broker, const CMPIContext* context,
                                        const CMPIObjectPath* classPath);
    /** The next instance of an enumeration; null at its end, and at an element whose instance is null. */
    CMPIInstance* getNextInstance(const CMPIBroker* broker, const CMPIContext* context, CMPIEnumeration* instances);

    /** The host's name, "systemname" when it cannot be had. Returns what gethostname returned. */
    int getHostName(std::string& name);

    CMPIStatus setBoolProperty(CMPIInstance* instance, const std::string& name, bool value);
    CMPIStatus setProperty(CMPIInstance* instance, const std::string& name, unsigned char value);
    CMPIStatus setProperty(CMPIInstance* instance, const std::string& name, unsigned short value);
    CMPIStatus setProperty(CMPIInstance* instance, const std::string& name, unsigned int value);
    CMPIStatus setProperty(CMPIInstance* instance, const std::string& name, unsigned long long value);
    /** An empty text sets nothing. */
    CMPIStatus setProperty(CMPIInstance* instance, const std::string& name, const std::string& value);
    /** Sets a reference. No exception leaves this setter. */
    CMPIStatus setProperty(CMPIInstance* instance, const std::string& name, CMPIObjectPath* value);

    /**
     * Array setters: an empty vector sets nothing. The status is that of the first step that failed (the array, a
     * string, an element); when an element failed, the property is set to the array filled so far.
     */
    CMPIStatus setProperty(const CMPIBroker* broker, CMPIInstance* instance, const std::string& name,
                           const std::vector<unsigned char>& values);
    CMPIStatus setProperty(const CMPIBroker* broker, CMPIInstance* instance, const std::string& name,
                           const std::vector<unsigned short>& values);
    CMPIStatus setProperty(const CMPIBroker* broker, CMPIInstance* instance, const std::string& name,
                           const std::vector<unsigned int>& values);
    /** The array is made with element type uint8, its elements and the property are strings. */
    CMPIStatus setProperty(const CMPIBroker* broker, CMPIInstance* instance, const std::string& name,
                           const std::vector<std::string>& values);

    /** The key is declared as uint32: the object manager reads the low 32 bits. */
    CMPIStatus setKeyProperty(CMPIObjectPath* path, const std::string& name, unsigned long long value);
    CMPIStatus setKeyProperty(CMPIObjectPath* path, const std::string& name, unsigned int value);
    CMPIStatus setKeyProperty(CMPIObjectPath* path, const std::string& name, unsigned short value);
    CMPIStatus setKeyProperty(CMPIObjectPath* path, const std::string& name, unsigned char value);
    /** An empty text is added like any other. */
    CMPIStatus setKeyProperty(CMPIObjectPath* path, const std::string& name, const std::string& value);
    /** Adds a reference key; a null reference adds none. */
    CMPIStatus setKeyProperty(CMPIObjectPath* path, const std::string& name, CMPIObjectPath* value);

    /**
     * Property readers. They return getProperty's status and store a value unless its state is null; integers of any
     * width are cut to the output's, a value whose type is not a number (or not a text) counts as null. A null value
     * leaves the output as it was, but for the 8-bit form, which sets it to 0 first and lets no exception out.
     */
    CMPIStatus getPropertyVal(const CMPIInstance* instance, const std::string& name, unsigned short& value);
    CMPIStatus getPropertyVal(const CMPIInstance* instance, const std::string& name, unsigned char& value);
    CMPIStatus getPropertyVal(const CMPIInstance* instance, const std::string& name, std::string& value);
};

/** Does what CMPICIMInst::setBoolProperty does. */
CMPIStatus setProperty(CMPIInstance* instance, const std::string& name, bool value);

}  // namespace tPCIInfo

#endif
