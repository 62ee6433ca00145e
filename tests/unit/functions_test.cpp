/** PCI functions as CIM objects: their paths, their properties, and how either is set. */
#include <fmt/format.h>

#include "tests/unit/inventory.h"

namespace {

using namespace std::string_literals;
using broker::Call;
using broker::Instance;
using broker::ObjectPath;
using broker::Value;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using tPCIInfo::sPciDevices;
using namespace testsupport;

/** A name and a type code, as a setter passes them. */
using Setting = std::pair<std::string, CMPIType>;

Value uint8(unsigned number) {
    return Value::uint(CMPI_uint8, number);
}

Value uint16(unsigned number) {
    return Value::uint(CMPI_uint16, number);
}

/** An array of `type` elements. */
Value numbers(CMPIType type, const std::vector<std::uint32_t>& elements) {
    std::vector<Value> values;
    values.reserve(elements.size());
    for (const std::uint32_t element : elements) values.push_back(Value::uint(type, element));
    return Value::array(type, values);
}

class PciFunctions : public InventoryTest {
 protected:
    std::vector<Setting> settings(const std::string& function) const {
        std::vector<Setting> all;
        for (const Call& call : manager.calls()) {
            if (call.function == function) all.push_back({call.name, call.type});
        }
        return all;
    }

    /** The instance of the first function of the class, as the product makes it. */
    Instance instanceOfFirst(const std::string& className) {
        const auto info = scan(className.c_str());
        const sPciDevices* record = info->setFirstElement();
        if (record == nullptr) throw std::logic_error("no function of " + className);
        const CMPIInstance* instance = info->GetPciInfo(handle(), record);
        if (instance == nullptr) throw std::logic_error("no instance of " + className);
        return scope->read(instance);
    }

    static Value propertyOf(const Instance& instance, const std::string& name) {
        const Value* value = instance.property(name);
        return value != nullptr ? *value : Value::string("no property " + name);
    }

    /** A function in which every member has a value of its own. */
    static PciFunction fullFunction() {
        PciFunction function = deviceAt(0x21, 0x1F, 3);
        function.vendor = 0x8086;
        function.device = 0xF229;
        function.irq = 0x1234;
        function.classCode = 0x0C;
        function.subclass = 0x83;
        function.revision = 0xFE;
        function.subsystemVendor = 0x9028;
        function.subsystem = 0xBEEF;
        function.bars = {0xFEBF0008, 0x0000E001, 0, 0xFEA0000C, 0x0000C001, 0xFE000000};
        function.sizes = {0x100, 0x20, 0, 0x4000, 0x20, 0x1000};
        return function;
    }

    void nameEverything() {
        files.setCatalogue(R"(<vendor id="8086"><name>Intel</name><device id="f229"><name>Thing</name>)");
        files.setClassList("C 06  Bridge\n\t83  Bridge thing\nC 0c  Serial bus\n\t83  Serial thing\n");
    }
};

const std::vector<Setting> kPathKeys = {{"SystemCreationClassName", CMPI_chars},
                                        {"SystemName", CMPI_chars},
                                        {"CreationClassName", CMPI_chars},
                                        {"DeviceID", CMPI_chars}};

/** What devices and bridges have in common, all of it set. */
const std::vector<Setting> kCommonProperties = {
    {"CreationClassName", CMPI_chars}, {"VendorID", CMPI_uint16},
    {"PciDeviceID", CMPI_uint16},      {"SystemCreationClassName", CMPI_chars},
    {"SystemName", CMPI_chars},        {"Number", CMPI_uint8},
    {"UINumber", CMPI_uint8},          {"ClassCode", CMPI_uint8},
    {"Subclass", CMPI_uint8},          {"Revision", CMPI_uint8},
    {"Description", CMPI_chars},       {"Location", CMPI_chars},
    {"DeviceID", CMPI_chars}};

const std::vector<Setting> kDeviceProperties = {{"IRQ", CMPI_uint16},
                                                {"SubsystemVendorID", CMPI_uint16},
                                                {"SubsystemID", CMPI_uint16},
                                                {"MEMAddress", CMPI_uint32A},
                                                {"IOAddress", CMPI_uint16A}};

// ---------------------------------------------------------------------------------------------------------------
// Instances

TEST_F(PciFunctions, ADeviceHasAllItsPropertiesWithTheirTypesAndValues) {
    nameEverything();
    files.addFunction(fullFunction()).setSmbiosTable(slotTable({0x1F}));
    const Instance device = instanceOfFirst("QELTA_PCIDevice");
    EXPECT_EQ(device.path, devicePath(0x21, 0x1F, 3));
    const std::string id = "PCI Bus 33, device 31, function 3";
    const std::vector<broker::Property> expected = {
        {"SystemCreationClassName", Value::string("QELTA_ASSETID")},
        {"SystemName", Value::string(kMachineName)},
        {"CreationClassName", Value::string("QELTA_PCIDevice")},
        {"DeviceID", Value::string(id)},
        {"VendorID", uint16(0x8086)},
        {"PciDeviceID", uint16(0xF229)},
        {"Number", uint8(31)},
        {"UINumber", uint8(31)},
        {"ClassCode", uint8(0x0C)},
        {"Subclass", uint8(0x83)},
        {"Revision", uint8(0xFE)},
        {"Description", Value::string("Serial thing: Intel Thing (rev fe)")},
        {"Location", Value::string(id)},
        {"IRQ", uint16(0x1234)},
        {"SubsystemVendorID", uint16(0x9028)},
        {"SubsystemID", uint16(0xBEEF)},
        {"MEMAddress", numbers(CMPI_uint32, {0xFEBF00, 0xFEA000})},
        {"IOAddress", numbers(CMPI_uint16, {0xE000, 0xC000})}};
    EXPECT_EQ(device.properties.size(), expected.size());
    for (const auto& property : expected) EXPECT_EQ(propertyOf(device, property.name), property.value) << property.name;
}

TEST_F(PciFunctions, ThePathIsFinishedBeforeTheInstanceIsMadeOfIt) {
    files.addFunction(bridgeAt(0, 1, 0));
    instanceOfFirst("QELTA_PCIBridge");
    Lines expected = {"eft.newObjectPath"};
    expected.insert(expected.end(), kPathKeys.size(), "objectPath.addKey");
    expected.emplace_back("eft.newInstance");
    expected.insert(expected.end(), kCommonProperties.size(), "instance.setProperty");
    const std::vector<Call> calls = manager.calls();
    Lines functions;
    functions.reserve(calls.size());
    for (const Call& call : calls) functions.push_back(call.function);
    EXPECT_EQ(functions, expected);
}

TEST_F(PciFunctions, ADevicesPropertiesAndAddressArraysAreSetInTheirOrderAndTypesAndLogged) {
    files.addFunction(fullFunction());
    instanceOfFirst("QELTA_PCIDevice");
    std::vector<Setting> expected = kCommonProperties;
    expected.insert(expected.end(), kDeviceProperties.begin(), kDeviceProperties.end());
    EXPECT_THAT(settings("instance.setProperty"), ElementsAreArray(expected));
    Lines arrayCalls;
    for (const Call& call : manager.calls()) {
        if (call.function == "eft.newArray" || call.function == "array.setElementAt")
            arrayCalls.push_back(fmt::format("{} {} {}", call.function, broker::typeName(call.type), call.index));
    }
    EXPECT_THAT(arrayCalls,
                ElementsAre("eft.newArray uint32 2", "array.setElementAt uint32 0", "array.setElementAt uint32 1",
                            "eft.newArray uint16 2", "array.setElementAt uint16 0", "array.setElementAt uint16 1"));
    EXPECT_THAT(log(), ElementsAre("in setProperty with array size [2]", "about to process the array",
                                   "new array created", "returning pcidevice instance"));
}

TEST_F(PciFunctions, ABridgeHasTheCommonPropertiesAndNoOthers) {
    nameEverything();
    PciFunction function = fullFunction();
    function.classCode = 0x06;
    files.addFunction(function).setSmbiosTable(slotTable({5}));
    const Instance bridge = instanceOfFirst("QELTA_PCIBridge");
    EXPECT_THAT(settings("instance.setProperty"), ElementsAreArray(kCommonProperties));
    EXPECT_EQ(bridge.path, bridgePath(0x21, 0x1F, 3));
    EXPECT_EQ(propertyOf(bridge, "CreationClassName"), Value::string("QELTA_PCIBridge"));
    EXPECT_EQ(propertyOf(bridge, "ClassCode"), uint8(0x06));
    EXPECT_EQ(propertyOf(bridge, "Number"), uint8(0x1F));
    EXPECT_EQ(propertyOf(bridge, "UINumber"), uint8(0)) << "above the highest slot";
    EXPECT_EQ(propertyOf(bridge, "Description"), Value::string("Bridge thing: Intel Thing (rev fe)"));
}

TEST_F(PciFunctions, SlotNumberZeroIsNotSetAndUiNumberZeroIs) {
    files.addFunction(deviceAt(0, 0, 1)).addFunction(bridgeAt(0, 0, 0));
    for (const char* className : {"QELTA_PCIDevice", "QELTA_PCIBridge"}) {
        const Instance function = instanceOfFirst(className);
        EXPECT_EQ(function.property("Number"), nullptr) << className;
        EXPECT_EQ(propertyOf(function, "UINumber"), uint8(0)) << className;
        EXPECT_THAT(callsOf("instance.setProperty"), Not(Contains("Number"))) << className;
    }
}

TEST_F(PciFunctions, AnIrqOfZeroIsNotSetAndSubsystemsOfZeroAre) {
    PciFunction function = deviceAt(0, 1, 0);
    function.irq = 0x10000;  // 0 in 16 bits
    files.addFunction(function);
    const Instance device = instanceOfFirst("QELTA_PCIDevice");
    EXPECT_THAT(callsOf("instance.setProperty"), Not(Contains("IRQ")));
    EXPECT_EQ(propertyOf(device, "SubsystemVendorID"), uint16(0));
    EXPECT_EQ(propertyOf(device, "SubsystemID"), uint16(0));
}

TEST_F(PciFunctions, ADeviceWithoutDecodableBarsHasNoAddressesAndTheirSetterIsNotCalled) {
    PciFunction function = deviceAt(0, 1, 0);
    function.bars[0] = 0xFE000000;
    files.addFunction(function);
    const Instance device = instanceOfFirst("QELTA_PCIDevice");
    EXPECT_EQ(device.property("MEMAddress"), nullptr);
    EXPECT_EQ(device.property("IOAddress"), nullptr);
    EXPECT_THAT(callsOf("eft.newArray"), IsEmpty());
    EXPECT_THAT(log(), ElementsAre("returning pcidevice instance"));
}

TEST_F(PciFunctions, AddressArraysHoldTheAddressesThatAreNotZeroInTheOrderOfTheBars) {
    PciFunction function = deviceAt(0, 1, 0);
    function.bars = {0x00000008, 0xFFFFFFFF, 0x00000001, 0xFFFFFF01, 0x80000008, 0x00010001};
    files.addFunction(function);
    const Instance device = instanceOfFirst("QELTA_PCIDevice");
    EXPECT_EQ(propertyOf(device, "MEMAddress"), numbers(CMPI_uint32, {0xFFFFFF, 0x800000}));
    EXPECT_EQ(propertyOf(device, "IOAddress"), numbers(CMPI_uint16, {0xFFFF, 0x0001}));
}

TEST_F(PciFunctions, NullRecordsAndHandlesGiveNoInstanceAndNoText) {
    files.addFunction(deviceAt(0, 1, 0));
    const auto info = scan("QELTA_PCIDevice");
    const sPciDevices* record = info->setFirstElement();
    unsigned char flag = 7;
    EXPECT_EQ(info->PopulatePciDeviceProperties(handle(), nullptr, &flag), nullptr);
    EXPECT_EQ(info->PopulatePciBridgeProperties(handle(), nullptr, &flag), nullptr);
    EXPECT_THAT(manager.calls(), IsEmpty());
    EXPECT_THAT(log(), ElementsAre("returning pcidevice instance", "returning pcidevice instance"));
    EXPECT_EQ(info->GetPciInfo(handle(), nullptr), nullptr);
    EXPECT_EQ(info->PopulatePciDeviceProperties(nullptr, record, nullptr), nullptr);
    EXPECT_EQ(info->PopulatePciBridgeProperties(nullptr, record, nullptr), nullptr);
    EXPECT_NE(info->PopulatePciDeviceProperties(handle(), record, nullptr), nullptr) << "the flag is not needed";
    EXPECT_EQ(info->getObjectPath(nullptr, "root/kavix", "QELTA_PCIDevice", nullptr), nullptr);
    EXPECT_EQ(info->GetDeviceDescription(nullptr), "");
    CMPIInstance* instance = scope->make(Instance{classPath("Any_Class"), {}});
    manager.clearCalls();
    EXPECT_EQ(info->GetCommonDevProperties(nullptr, instance, &flag), 1);
    EXPECT_EQ(info->GetCommonDevProperties(record, nullptr, &flag), 1);
    EXPECT_EQ(flag, 7);
    EXPECT_THAT(manager.calls(), IsEmpty());
}

TEST_F(PciFunctions, TheHardwareClassDecidesWhichKindOfInstanceIsMade) {
    files.addFunction(deviceAt(0, 1, 0));
    const auto info = scan("QELTA_PCIDevice");
    sPciDevices record = *info->setFirstElement();
    record.hwClass = 0x06;
    record.classCode = 0x02;
    EXPECT_EQ(scope->read(info->GetPciInfo(handle(), &record)).path.className, "QELTA_PCIBridge");
    record.hwClass = 0x02;
    record.classCode = 0x06;
    EXPECT_EQ(scope->read(info->GetPciInfo(handle(), &record)).path.className, "QELTA_PCIDevice");
}

TEST_F(PciFunctions, TheCommonPropertiesAreSetOnTheInstanceGivenAndZeroIsReturned) {
    files.addFunction(deviceAt(0, 1, 0));
    const auto info = scan("QELTA_PCIDevice");
    unsigned char flag = 1;
    CMPIInstance* instance = scope->make(Instance{classPath("Any_Class"), {}});
    manager.clearCalls();
    EXPECT_EQ(info->GetCommonDevProperties(info->setFirstElement(), instance, &flag), 0);
    const std::vector<Setting> fromVendorOn(kCommonProperties.begin() + 1, kCommonProperties.end());
    EXPECT_THAT(settings("instance.setProperty"), ElementsAreArray(fromVendorOn));
}

// ---------------------------------------------------------------------------------------------------------------
// Host name

TEST_F(PciFunctions, AHostWithoutANameIsCalledSystemname) {
    files.addFunction(deviceAt(0, 1, 0));
    start();
    host->failHostName(true);
    const Instance device = instanceOfFirst("QELTA_PCIDevice");
    EXPECT_EQ(propertyOf(device, "SystemName"), Value::string("systemname"));
    EXPECT_EQ(*device.path.key("SystemName"), Value::string("systemname"));
}

TEST_F(PciFunctions, AnEmptyHostNameIsAnEmptyKeyAndNoProperty) {
    files.addFunction(deviceAt(0, 1, 0));
    start();
    host->setHostName("");
    const Instance device = instanceOfFirst("QELTA_PCIDevice");
    EXPECT_EQ(*device.path.key("SystemName"), Value::string(""));
    EXPECT_THAT(callsOf("instance.setProperty"), Not(Contains("SystemName")));
}

// ---------------------------------------------------------------------------------------------------------------
// Paths

TEST_F(PciFunctions, DevicesBridgesAndControllersHavePathsOfOneFormInTheNamespaceAndWithTheDeviceIdGiven) {
    files.addFunction(deviceAt(2, 3, 1));
    const auto info = scan("QELTA_PCIDevice");
    for (const char* className : {"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_Controller"}) {
        ObjectPath expected = functionPath(className, 2, 3, 1);
        for (const char* nameSpace : {"root/kavix", "root/other"}) {
            expected.nameSpace = nameSpace;
            manager.clearCalls();
            EXPECT_EQ(scope->read(info->getObjectPath(handle(), nameSpace, className, nullptr)), expected);
            EXPECT_THAT(settings("objectPath.addKey"), ElementsAreArray(kPathKeys));
        }
        for (const std::string& given : {"PCI Bus 7, device 8, function 9"s, "anything"s, ""s}) {
            expected.keys.back().value = Value::string(given);
            EXPECT_EQ(scope->read(info->getObjectPath(handle(), "root/other", className, &given)), expected);
        }
    }
}

TEST_F(PciFunctions, AGivenDeviceIdNeedsNoRecord) {
    const auto info = scan("QELTA_PCIDevice");
    const std::string given = "PCI Bus 0, device 0, function 0";
    EXPECT_EQ(scope->read(info->getObjectPath(handle(), "root/kavix", "QELTA_PCIDevice", &given)), devicePath(0, 0, 0));
}

TEST_F(PciFunctions, AnAssociationsPathComesWithoutReferences) {
    const auto info = scan("QELTA_DeviceInSlot");
    const ObjectPath path = scope->read(info->getObjectPath(handle(), "root/kavix", "QELTA_DeviceInSlot", nullptr));
    EXPECT_EQ(path.className, "QELTA_DeviceInSlot");
    EXPECT_EQ(path.nameSpace, "root/kavix");
    EXPECT_THAT(path.keys, IsEmpty());
}

TEST_F(PciFunctions, AnyOtherClassHasNoPath) {
    files.addFunction(deviceAt(2, 3, 1));
    const auto info = scan("QELTA_PCIDevice");
    for (const char* className : {"QELTA_SystemSlot", "QELTA_SystemBoard", "QELTA_OnBoardDevice",
                                  "QELTA_SSPCIController", "QELTA_OBDPCIController", "qelta_pcidevice", "Any", ""}) {
        const std::string given = "x";
        EXPECT_EQ(info->getObjectPath(handle(), "root/kavix", className, nullptr), nullptr) << className;
        EXPECT_EQ(info->getObjectPath(handle(), "root/kavix", className, &given), nullptr) << className;
    }
    EXPECT_THAT(manager.calls(), IsEmpty());
}

TEST_F(PciFunctions, APathThatCannotBeMadeIsNull) {
    files.addFunction(deviceAt(2, 3, 1));
    const auto info = scan("QELTA_PCIDevice");
    manager.failAt("eft.newObjectPath", 1);
    EXPECT_EQ(info->getObjectPath(handle(), "root/kavix", "QELTA_PCIDevice", nullptr), nullptr);
    EXPECT_THAT(callsOf("objectPath.addKey"), IsEmpty());
}

TEST_F(PciFunctions, WithoutARecordAtTheCursorThereIsNoDeviceIdAndNoPath) {
    files.addFunction(deviceAt(2, 3, 1));
    for (const char* className : {"QELTA_PCIBridge", "", static_cast<const char*>(nullptr)}) {
        const auto info = scan(className);
        std::stringstream out;
        info->getDeviceID(out);
        EXPECT_EQ(out.str(), "");
        EXPECT_EQ(info->getObjectPath(handle(), "root/kavix", "QELTA_PCIDevice", nullptr), nullptr);
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Texts

TEST_F(PciFunctions, TheDeviceIdIsThatOfTheRecordAtTheCursor) {
    files.addFunction(deviceAt(0, 31, 3)).addFunction(deviceAt(255, 0, 7));
    const auto info = scan("QELTA_PCIDevice");
    for (const char* expected : {"PCI Bus 0, device 31, function 3", "PCI Bus 255, device 0, function 7"}) {
        std::stringstream out;
        EXPECT_EQ(info->getDeviceID(out), 1);
        EXPECT_EQ(out.str(), expected);
        info->getNextElement();
    }
}

TEST_F(PciFunctions, TheSystemsNameReplacesWhatTheStreamHeldAndItsClassIsTheAssetId) {
    const auto info = scan("QELTA_PCIDevice");
    std::stringstream name;
    name << "something longer than the name";
    EXPECT_EQ(info->getSystemName(name), 1);
    EXPECT_EQ(name.str(), kMachineName);
    std::stringstream className;
    EXPECT_EQ(info->getSystemCreationClassName(className), 1);
    EXPECT_EQ(className.str(), "QELTA_ASSETID");
}

TEST_F(PciFunctions, NumbersAreFormattedInDecimalWhateverTheWidth) {
    const auto info = scan("QELTA_PCIDevice");
    EXPECT_EQ(info->FormatToString(7, 4), "7");
    EXPECT_EQ(info->FormatToString(1234, 1), "1234");
    EXPECT_EQ(info->FormatToString(0, 0), "0");
    EXPECT_EQ(info->FormatToString(-3, 2), "-3");
    EXPECT_EQ(info->FormatToString(2147483647, 4000000000U), "2147483647");
}

TEST_F(PciFunctions, ADescriptionIsMadeOfClassVendorDeviceAndRevision) {
    const auto info = scan("QELTA_PCIDevice");
    sPciDevices record;
    EXPECT_EQ(info->GetDeviceDescription(&record), ":   (rev 00)") << "of empty names";
    record.className = "Ethernet controller";
    record.vendorName = "Intel Corporation";
    record.deviceName = "82557";
    for (const auto& [revision, text] : {std::pair(0x08, "08"), {0x00, "00"}, {0xAB, "ab"}, {0xFF, "ff"}}) {
        record.revision = static_cast<std::uint8_t>(revision);
        EXPECT_EQ(info->GetDeviceDescription(&record),
                  "Ethernet controller: Intel Corporation 82557 (rev "s + text + ")");
    }
}

TEST_F(PciFunctions, WithoutCataloguesDescriptionsHaveADoubledColon) {
    files.addFunction(deviceAt(0, 1, 0)).addFunction(bridgeAt(0, 2, 0));
    EXPECT_EQ(propertyOf(instanceOfFirst("QELTA_PCIDevice"), "Description"),
              Value::string("PIC:: vendor descrip (rev 00)"));
    EXPECT_EQ(propertyOf(instanceOfFirst("QELTA_PCIBridge"), "Description"),
              Value::string("PCI Bridge:: vendor descrip (rev 00)"));
}

}  // namespace
