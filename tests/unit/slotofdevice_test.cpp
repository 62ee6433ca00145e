// From functions to their slots and to the board; how a DeviceID is read.
#include <fmt/format.h>

#include <array>

#include "tests/unit/inventory.h"

namespace {

using namespace std::string_literals;
using broker::Instance;
using broker::ObjectPath;
using broker::Value;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Values;
using namespace testsupport;

/** A path that carries a DeviceID and nothing else. */
ObjectPath identified(const Value& deviceId) {
    ObjectPath path = classPath("QELTA_PCIDevice");
    path.keys = {{"DeviceID", deviceId}};
    return path;
}

class SlotOfDevice : public InventoryTest {
 protected:
    SlotOfDevice() {
        files.addFunction(deviceAt(0, 0, 0));
        files.addFunction(bridgeAt(0, 0, 1));
        files.addFunction(deviceAt(0, 31, 2));
        files.addFunction(deviceAt(3, 3, 1));
        files.addFunction(bridgeAt(12, 4, 0));
    }

    Paths slotOf(const ObjectPath& device, bool namesOnly) {
        const auto info = scan();
        info->GetSlotFromDeviceAssocInstances(handle(), context(), result(), scope->make(device), namesOnly);
        return answered();
    }
    Paths referenceOf(const ObjectPath& device, const std::string& resultClass, bool namesOnly) {
        const auto info = scan();
        info->GetAssocRefFromDeviceInstances(handle(), context(), result(), scope->make(device), resultClass,
                                             namesOnly);
        return answered();
    }
};

// --- the slot number of a function ---

TEST_F(SlotOfDevice, SlotNumberIsTheDeviceNumberOfAKnownFunctionAndZeroOfAnUnknownOne) {
    const auto info = scan();
    EXPECT_EQ(info->GetSlotNumberFromDevice(3, 3, 1), 3);
    EXPECT_EQ(info->GetSlotNumberFromDevice(12, 4, 0), 4);
    EXPECT_EQ(info->GetSlotNumberFromDevice(0, 31, 2), 31);
    const std::vector<std::array<int, 3>> none = {{0, 0, 0}, {0, 0, 1},   {3, 3, 0},   {4, 3, 1},
                                                  {3, 4, 1}, {259, 3, 1}, {3, 259, 1}, {-253, 3, 1}};
    for (const auto& [bus, device, function] : none) {
        EXPECT_EQ(info->GetSlotNumberFromDevice(bus, device, function), 0) << bus << ' ' << device << ' ' << function;
    }
}

// --- the slot of a function ---

Lines startLines(const std::string& deviceId) {
    return allLines({slotFromLine("in the routine"), fromSlotLine("not creating path deviceid [" + deviceId + "]")});
}

Lines addressLines(int bus, int device, int function) {
    return allLines({fromSlotLine("found PCI Bus"), fromSlotLine("found device"), fromSlotLine("found function"),
                     fromSlotLine(fmt::format("bus [{}] device [{}] function [{}]", bus, device, function))});
}

Lines returningLines() {
    return slotFromLine("returning from the routine");
}

TEST_F(SlotOfDevice, IsTheFirstOfTwoWithOneNumberAndNoSlotBehindItIsFetched) {
    answer(kSlotClass, {slotInstance(9), slotInstance(3), numbered(103, Value::uint(CMPI_uint16, 3))});
    EXPECT_THAT(slotOf(devicePath(3, 3, 1), true), ElementsAre(slotPath(3)));
    EXPECT_EQ(callsOf("enumeration.getNext").size(), 2U);
    EXPECT_THAT(log(), ElementsAreArray(allLines({startLines("PCI Bus 3, device 3, function 1"), addressLines(3, 3, 1),
                                                  slotFromReadLines(9), slotFromReadLines(3), returningLines()})));
}

TEST_F(SlotOfDevice, IsNoneWhereNoSlotCarriesTheDeviceNumber) {
    answer(kSlotClass, {slotInstance(9)});
    EXPECT_THAT(slotOf(devicePath(3, 3, 1), true), IsEmpty());
    EXPECT_THAT(log(), ElementsAreArray(allLines({startLines("PCI Bus 3, device 3, function 1"), addressLines(3, 3, 1),
                                                  slotFromReadLines(9), noNextInstanceLines(), returningLines()})));
}

TEST_F(SlotOfDevice, IsNoneForDeviceNumberZeroAndNoSlotIsAskedFor) {
    answer(kSlotClass, {slotInstance(0)});
    EXPECT_THAT(slotOf(devicePath(0, 0, 0), true), IsEmpty());
    EXPECT_THAT(callsOf("bft.enumerateInstances"), IsEmpty());
    EXPECT_THAT(log(), ElementsAreArray(allLines(
                           {startLines("PCI Bus 0, device 0, function 0"), addressLines(0, 0, 0), returningLines()})));
}

TEST_F(SlotOfDevice, IsNoneForNoPath) {
    scan()->GetSlotFromDeviceAssocInstances(handle(), context(), result(), nullptr, true);
    EXPECT_THAT(answered(), IsEmpty());
    EXPECT_THAT(log(), ElementsAreArray(allLines({slotFromLine("in the routine"), returningLines()})));
}

TEST_F(SlotOfDevice, IsNoneOnASystemWithoutSlots) {
    answer(kSlotClass, {});
    EXPECT_THAT(slotOf(devicePath(3, 3, 1), false), IsEmpty());
    answerNoEnumeration(kSlotClass);
    EXPECT_THAT(slotOf(devicePath(3, 3, 1), false), IsEmpty());
    EXPECT_THAT(log(), ElementsAreArray(allLines({startLines("PCI Bus 3, device 3, function 1"), addressLines(3, 3, 1),
                                                  noEnumerationLines(), returningLines()})));
}

TEST_F(SlotOfDevice, NumbersAreReadInSixteenBitsAndUnreadableOnesAsZeroEach) {
    Instance without;
    without.path = slotPath(1);
    // The number before it does not live on in a slot that has none.
    answer(kSlotClass,
           {slotInstance(9), without, numbered(2, Value::nothing(CMPI_uint16)), numbered(4, Value::string("3")),
            numbered(259, Value::uint(CMPI_uint16, 259)), slotInstance(3)});
    EXPECT_THAT(slotOf(devicePath(3, 3, 1), true), ElementsAre(slotPath(3)));
    EXPECT_THAT(log(), Contains("GetSlotFromDeviceAssocInstances got slot number of 0").Times(3));
}

TEST_F(SlotOfDevice, FailedReadOfANumberCountsAsZeroWhateverValueCameWithIt) {
    answer(kSlotClass, {slotInstance(3)});
    failPropertyReads();
    EXPECT_THAT(slotOf(devicePath(3, 3, 1), true), IsEmpty());
    EXPECT_THAT(log(), Contains("GetSlotFromDeviceAssocInstances got slot number of 0"));
}

TEST_F(SlotOfDevice, WithoutAPathIsNotDeliveredAsOne) {
    answer(kSlotClass, {slotInstance(3), numbered(103, Value::uint(CMPI_uint16, 3))});
    manager.failAt("instance.getObjectPath", 1);
    EXPECT_THAT(slotOf(devicePath(3, 3, 1), true), IsEmpty());
    EXPECT_EQ(log().back(), returningLines().front());
}

// --- the DeviceID ---

/** A DeviceID, which of its three numbers are found, and the address that they make. */
struct DeviceId {
    const char* what;
    const char* text;
    bool hasBus, hasDevice, hasFunction;
    int bus, device, function;
};

class DeviceIdTest : public SlotOfDevice, public testing::WithParamInterface<DeviceId> {};

TEST_P(DeviceIdTest, IsReadAsAnAddress) {
    const DeviceId& id = GetParam();
    answer(kSlotClass, {slotInstance(9)});
    slotOf(identified(Value::string(id.text)), true);
    const Lines expected =
        allLines({startLines(id.text), fromSlotLine(id.hasBus ? "found PCI Bus" : "could not find PCI Bus"),
                  fromSlotLine(id.hasDevice ? "found device" : "not found device"),
                  fromSlotLine(id.hasFunction ? "found function" : "not found function"),
                  fromSlotLine(fmt::format("bus [{}] device [{}] function [{}]", id.bus, id.device, id.function))});
    const Lines lines = log();
    ASSERT_GE(lines.size(), expected.size());
    EXPECT_THAT(Lines(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(expected.size())),
                ElementsAreArray(expected));
    EXPECT_EQ(lines.back(), returningLines().front());
}

INSTANTIATE_TEST_SUITE_P(
    OfEveryForm, DeviceIdTest,
    Values(DeviceId{"AsPublished", "PCI Bus 12, device 4, function 0", true, true, true, 12, 4, 0},
           DeviceId{"Highest", "PCI Bus 255, device 31, function 7", true, true, true, 255, 31, 7},
           // The bus stands at character 8, wherever "PCI Bus " does.
           DeviceId{"OtherTextBeforeIt", "on PCI Bus 12, device 4, function 0", true, true, true, 0, 4, 0},
           DeviceId{"OtherNumberInItsPlace", "PCI PCI 7PCI Bus 12, device 4, function 0", true, true, true, 7, 4, 0},
           DeviceId{"LabelBehindTheNumber", "01234567 12, device 4, PCI Bus ", true, true, false, 12, 4, 0},
           DeviceId{"NoBusLabel", "PCI_Bus_12, device 4, function 0", false, true, true, 0, 4, 0},
           DeviceId{"LowerCaseBusLabel", "pci bus 12, device 4, function 0", false, true, true, 0, 4, 0},
           DeviceId{"FirstOfTwoDevices", "PCI Bus 3, device 3, device 4, function 1, function 2", true, true, true, 3,
                    3, 1},
           DeviceId{"OtherOrder", "PCI Bus 3, function 1, device 3", true, true, true, 3, 3, 1},
           DeviceId{"NoDevice", "PCI Bus 3, function 1", true, false, true, 3, 0, 1},
           DeviceId{"NoFunction", "PCI Bus 3, device 3", true, true, false, 3, 3, 0},
           DeviceId{"NumbersCutOff", "PCI Bus ", true, false, false, 0, 0, 0},
           DeviceId{"LabelsAtTheEnd", "PCI Bus 3, device ", true, true, false, 3, 0, 0},
           DeviceId{"NoDigits", "PCI Bus x, device y, function z", true, true, true, 0, 0, 0},
           DeviceId{"Hexadecimal", "PCI Bus 0x12, device 1f, function 0", true, true, true, 0, 1, 0},
           DeviceId{"Negative", "PCI Bus -3, device -1, function -1", true, true, true, -3, -1, -1},
           DeviceId{"ShorterThanTheBusPlace", "device", false, false, false, 0, 0, 0},
           DeviceId{"Empty", "", false, false, false, 0, 0, 0}),
    CaseName{});

TEST_F(SlotOfDevice, DeviceIdThatIsMissingOrNoTextIsEmpty) {
    answer(kSlotClass, {slotInstance(3)});
    for (const ObjectPath& path : {classPath("QELTA_PCIDevice"), identified(Value::uint(CMPI_uint64, 3)),
                                   identified(Value::nothing(CMPI_string)), identified(Value::boolean(true)),
                                   identified(Value::reference(slotPath(3)))}) {
        EXPECT_THAT(slotOf(path, true), IsEmpty());
        EXPECT_THAT(log(), Contains("GetDeviceFromSlotAssocInstances not creating path deviceid []"));
    }
}

TEST_F(SlotOfDevice, NumbersBeyondEveryAddressMatchNothing) {
    answer(kSlotClass, {slotInstance(3)});
    for (const char* id : {"PCI Bus 259, device 3, function 1", "PCI Bus 99999999999999999999, device 3, function 1",
                           "PCI Bus 4294967299, device 3, function 1", "PCI Bus 3, device 2147483651, function 1",
                           "PCI Bus 3, device 4294967299, function 1", "PCI Bus 3, device 3, function -4294967295",
                           "PCI Bus 3, device 3, function -255"}) {
        EXPECT_THAT(slotOf(identified(Value::string(id)), true), IsEmpty()) << id;
    }
}

// --- the one reference of a function ---

Lines referenceStartLines() {
    return slotRefLine("in the routine");
}

Lines referenceReturningLines() {
    return slotRefLine("returning from the routine");
}

TEST_F(SlotOfDevice, ReferenceNamesTheLastOfTwoSlotsWithOneNumberAndPathsAsTheyAreKnownNotAsTheyWereGiven) {
    const Instance twin = numbered(103, Value::uint(CMPI_uint16, 3));
    answer(kSlotClass, {slotInstance(3), twin, slotInstance(9)});
    const ObjectPath given = identified(Value::string("PCI Bus 3, device 3, function 1"));
    ObjectPath expected = inSlotPath(3, devicePath(3, 3, 1));
    expected.keys[0].value = Value::reference(twin.path);
    EXPECT_THAT(referenceOf(given, kSlotClass, true), ElementsAre(expected));
}

TEST_F(SlotOfDevice, ReferenceOfABridgeNamesABridgeWhateverClassWasAskedWith) {
    answer(kSlotClass, {slotInstance(4)});
    EXPECT_THAT(referenceOf(devicePath(12, 4, 0), kSlotClass, true), ElementsAre(inSlotPath(4, bridgePath(12, 4, 0))));
    EXPECT_THAT(referenceOf(devicePath(12, 4, 0), kBoardClass, true), ElementsAre(onBoardPath(bridgePath(12, 4, 0))));
}

TEST_F(SlotOfDevice, ReferenceIsChosenByResultClassWithRegardToCase) {
    answer(kSlotClass, {slotInstance(3)});
    for (const char* other : {"qelta_systemslot", "QELTA_SYSTEMSLOT", "qelta_systemboard", "QELTA_SYSTEMBOARD",
                              "QELTA_DeviceInSlot", "QELTA_OnBoardDevice", ""}) {
        EXPECT_THAT(referenceOf(devicePath(3, 3, 1), other, true), IsEmpty()) << other;
        EXPECT_THAT(referenceOf(devicePath(3, 3, 1), other, false), IsEmpty()) << other;
        EXPECT_THAT(log(), ElementsAreArray(allLines({referenceStartLines(), referenceReturningLines()}))) << other;
    }
}

TEST_F(SlotOfDevice, ReferenceDoesNotExistForUnknownFunctionsAndForNoPath) {
    answer(kSlotClass, {slotInstance(3)});
    for (const char* resultClass : {kSlotClass, kBoardClass}) {
        EXPECT_THAT(referenceOf(devicePath(3, 3, 0), resultClass, true), IsEmpty());
        const auto info = scan();
        info->GetAssocRefFromDeviceInstances(handle(), context(), result(), nullptr, resultClass, true);
        EXPECT_THAT(answered(), IsEmpty());
        EXPECT_THAT(manager.calls(), IsEmpty());
        EXPECT_THAT(log(), ElementsAreArray(allLines({referenceStartLines(), referenceReturningLines()})));
    }
}

TEST_F(SlotOfDevice, ReferenceReadsNumbersInSixteenBitsAndUnreadableOnesAsZero) {
    answer(kSlotClass, {numbered(5, Value::nothing(CMPI_uint16)), numbered(6, Value::uint(CMPI_uint16, 259))});
    EXPECT_THAT(referenceOf(devicePath(3, 3, 1), kSlotClass, true), IsEmpty());
    EXPECT_THAT(log(), ElementsAreArray(allLines({referenceStartLines(), slotRefReadLines(0), slotRefReadLines(259),
                                                  noNextInstanceLines(), referenceReturningLines()})));
}

TEST_F(SlotOfDevice, ReferenceIsNotDeliveredWithoutTheLastMatchingSlotsPath) {
    answer(kSlotClass, {slotInstance(3), numbered(103, Value::uint(CMPI_uint16, 3))});
    manager.failAt("instance.getObjectPath", 2);
    EXPECT_THAT(referenceOf(devicePath(3, 3, 1), kSlotClass, true), IsEmpty());
}

/** The nth call of a function fails, and nothing is delivered. */
struct MissingObject {
    const char* what;
    const char* resultClass;
    const char* function;
    unsigned nth;
    bool namesOnly;
};

class MissingObjectTest : public SlotOfDevice, public testing::WithParamInterface<MissingObject> {};

TEST_P(MissingObjectTest, LeavesNoReferenceToDeliver) {
    const MissingObject& missing = GetParam();
    answer(kSlotClass, {slotInstance(3)});
    manager.failAt(missing.function, missing.nth);
    EXPECT_THAT(referenceOf(devicePath(3, 3, 1), missing.resultClass, missing.namesOnly), IsEmpty());
    EXPECT_TRUE(manager.faultStruck());
    EXPECT_EQ(log().back(), referenceReturningLines().front());
}

INSTANTIATE_TEST_SUITE_P(AtEveryStep, MissingObjectTest,
                         Values(MissingObject{"FunctionPathToSlot", kSlotClass, "eft.newObjectPath", 1, true},
                                MissingObject{"ClassPathOfSlots", kSlotClass, "eft.newObjectPath", 2, true},
                                MissingObject{"SlotAssociationPath", kSlotClass, "eft.newObjectPath", 3, true},
                                MissingObject{"SlotPath", kSlotClass, "instance.getObjectPath", 1, true},
                                MissingObject{"SlotAssociation", kSlotClass, "eft.newInstance", 1, false},
                                MissingObject{"FunctionPathToBoard", kBoardClass, "eft.newObjectPath", 1, true},
                                MissingObject{"BoardPath", kBoardClass, "eft.newObjectPath", 2, true},
                                MissingObject{"Board", kBoardClass, "eft.newInstance", 1, true},
                                MissingObject{"BoardInstancesPath", kBoardClass, "instance.getObjectPath", 1, true},
                                MissingObject{"BoardAssociationPath", kBoardClass, "eft.newObjectPath", 3, true},
                                MissingObject{"BoardAssociation", kBoardClass, "eft.newInstance", 2, false}),
                         CaseName{});

TEST_F(SlotOfDevice, ExceptionsInTheWalkOverSlotsEndItAndStayInside) {
    answer(kSlotClass, {slotInstance(3)});
    for (const char* function : {"bft.enumerateInstances", "enumeration.hasNext", "enumeration.getNext",
                                 "instance.getProperty", "instance.getObjectPath", "eft.newObjectPath"}) {
        for (const bool standard : {true, false}) {
            for (const bool reference : {true, false}) {
                SCOPED_TRACE(function);
                // Outside of the walk: the path of the function for its reference, that of the slot for its delivery.
                if (function == (reference ? "eft.newObjectPath"s : "instance.getObjectPath"s)) continue;
                manager.throwAt(function, 1, standard);
                EXPECT_NO_THROW(reference ? referenceOf(devicePath(3, 3, 1), kSlotClass, true)
                                          : slotOf(devicePath(3, 3, 1), true));
                EXPECT_TRUE(manager.faultStruck());
                EXPECT_THAT(answered(), IsEmpty());
                EXPECT_EQ(log().back(), (reference ? referenceReturningLines() : returningLines()).front());
                manager.clearFaults();
            }
        }
    }
}

TEST_F(SlotOfDevice, ReferenceIsWholeWhereAnExceptionCutsOffASecondSlot) {
    answer(kSlotClass, {slotInstance(3), numbered(103, Value::uint(CMPI_uint16, 3))});
    manager.throwAt("eft.newObjectPath", 4);  // after the function's, the class's and the first association's
    referenceOf(devicePath(3, 3, 1), kSlotClass, false);
    EXPECT_TRUE(manager.faultStruck());
    for (const Instance& reference : scope->response().instances) {
        EXPECT_EQ(reference.properties, reference.path.keys);
    }
}

// --- one address in both lists ---

/** A bus whose list names an address twice, and whose configuration space says device first and then bridge. */
class AddressInBothLists : public SlotOfDevice {
 protected:
    AddressInBothLists() {
        for (const PciFunction& function : {deviceAt(9, 0, 5), deviceAt(9, 3, 5)}) {
            files.addFunction(function);
            files.addFunction(function);
        }
        start();
        host->onFileOpen([this](const std::string& path) {
            if (path != "/proc/bus/pci/09/00.5" && path != "/proc/bus/pci/09/03.5") return;
            PciFunction function = ++opened_ % 2 == 1 ? deviceAt(9, 0, 5) : bridgeAt(9, 0, 5);
            files.setFile(path.substr(1), configSpace(function));
        });
    }

 private:
    unsigned opened_ = 0;
};

TEST_F(AddressInBothLists, IsTheDeviceInItsSlot) {
    answer(kSlotClass, {slotInstance(3)});
    EXPECT_THAT(referenceOf(devicePath(9, 3, 5), kSlotClass, true), ElementsAre(inSlotPath(3, devicePath(9, 3, 5))));
}

TEST_F(AddressInBothLists, IsTheBridgeOnTheBoard) {
    EXPECT_THAT(referenceOf(devicePath(9, 3, 5), kBoardClass, true), ElementsAre(onBoardPath(bridgePath(9, 3, 5))));
    EXPECT_THAT(referenceOf(devicePath(9, 0, 5), kBoardClass, true), ElementsAre(onBoardPath(bridgePath(9, 0, 5))));
}

TEST_F(AddressInBothLists, IsInNoSlotWithDeviceNumberZeroAndNoSlotIsAskedFor) {
    answer(kSlotClass, {slotInstance(0)});
    EXPECT_THAT(referenceOf(devicePath(9, 0, 5), kSlotClass, true), IsEmpty());
    EXPECT_THAT(callsOf("bft.enumerateInstances"), IsEmpty());
}

}  // namespace
