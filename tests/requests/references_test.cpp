// What references deliver for a source and its filter, and what is logged on the way.
#include "tests/requests/rack.h"

namespace {

using broker::Instance;
using broker::ObjectPath;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Values;
using namespace testsupport;

constexpr char kSlotAssociation[] = "QELTA_DeviceInSlot";
constexpr char kBoardAssociation[] = "QELTA_OnBoardDevice";

ObjectPath device() {
    return devicePath(3, 3, 0);
}
ObjectPath bridge() {
    return bridgePath(5, 5, 0);
}
ObjectPath slotController() {
    return renamed(device(), "QELTA_SSPCIController");
}
ObjectPath slot() {
    return slotPath(3);
}

Paths nothing() {
    return {};
}
Paths slotReference() {
    return {inSlotPath(3, device())};
}
Paths boardReference() {
    return {onBoardPath(device())};
}
Paths bridgesBoardReference() {
    return {onBoardPath(bridge())};
}
Paths slotsReferences() {
    return rack::associationsOfSlot(3);
}

using ReferenceFilter = FilterTest;

TEST_P(ReferenceFilter, DecidesWhatIsDelivered) {
    expectWhateverTheRole(kAllReferences);
}

// Names within longer names, and objects beside those that conformance_test.cpp asks about; it has every combination
// of filters that are a name, another name, or empty.
INSTANTIATE_TEST_SUITE_P(
    WithoutResultClass, ReferenceFilter,
    Values(FilterCase{"DeviceOnTheBoard",
                      [] { return devicePath(0, 31, 2); },
                      {},
                      [] { return Paths{onBoardPath(devicePath(0, 31, 2))}; }},
           FilterCase{"SlotControllerOnTheBoard",
                      [] { return renamed(devicePath(0, 31, 2), "QELTA_SSPCIController"); },
                      {},
                      nothing},
           FilterCase{"SlotControllerBesideDevice",
                      [] { return renamed(device(), "QELTA_SSPCIController_QELTA_PCIDevice"); },
                      {},
                      boardReference},
           FilterCase{"SlotControllerBesideBridge",
                      [] { return renamed(device(), "QELTA_SSPCIController_QELTA_PCIBridge"); },
                      {},
                      boardReference},
           FilterCase{"SlotControllerBesideBoardController",
                      [] { return renamed(device(), "QELTA_SSPCIController_QELTA_OBDPCIController"); },
                      {},
                      boardReference},
           FilterCase{"UnknownDevice", [] { return devicePath(30, 3, 0); }, {}, nothing},
           FilterCase{"SlotWithABridge", [] { return slotPath(5); }, {}, [] { return rack::associationsOfSlot(5); }},
           FilterCase{"EmptySlot", [] { return slotPath(9); }, {}, nothing},
           FilterCase{"SlotThatDoesNotExist", [] { return slotPath(31); }, {}, nothing}),
    CaseName{});

INSTANTIATE_TEST_SUITE_P(
    ToTheSlot, ReferenceFilter,
    Values(FilterCase{"DeviceInUpperCase", device, {nullptr, "QELTA_DEVICEINSLOT"}, slotReference},
           FilterCase{"DeviceOnTheBoard", [] { return devicePath(0, 31, 2); }, {nullptr, kSlotAssociation}, nothing},
           FilterCase{"DeviceNumberZero", [] { return devicePath(7, 0, 0); }, {nullptr, kSlotAssociation}, nothing},
           FilterCase{
               "BridgeThatNoSlotCarries", [] { return bridgePath(0, 1, 0); }, {nullptr, kSlotAssociation}, nothing}),
    CaseName{});

INSTANTIATE_TEST_SUITE_P(ToTheBoard, ReferenceFilter,
                         Values(FilterCase{"DeviceNumberZero",
                                           [] { return devicePath(7, 0, 0); },
                                           {nullptr, kBoardAssociation},
                                           [] { return Paths{onBoardPath(devicePath(7, 0, 0))}; }}),
                         CaseName{});

INSTANTIATE_TEST_SUITE_P(
    OfAPciFunctionByAnotherClass, ReferenceFilter,
    Values(FilterCase{"NoAssociationEither", device, {nullptr, "QELTA_SystemBoard"}, nothing},
           FilterCase{"WithinALongerName", device, {nullptr, "QELTA_DeviceInSlots"}, nothing},
           FilterCase{"FirstPartOnly", device, {nullptr, "QELTA_DeviceIn"}, nothing},
           FilterCase{"BoardsWithinALongerName", device, {nullptr, "QELTA_OnBoardDevices"}, nothing},
           FilterCase{"BothInOneName", device, {nullptr, "QELTA_DeviceInSlot_QELTA_OnBoardDevice"}, nothing}),
    CaseName{});

INSTANTIATE_TEST_SUITE_P(IsIgnored, ReferenceFilter,
                         Values(FilterCase{
                             "ForTheBoard", boardPath, {nullptr, kSlotAssociation}, rack::associationsOfBoard}),
                         CaseName{});

// --- sources ---

class ReferenceSources : public RackTest {};

TEST_F(ReferenceSources, AreToldByNamesContainedInAnyLetterCase) {
    const std::vector<std::pair<ObjectPath, Paths>> rows = {
        {renamed(device(), "qelta_pcidevice"), boardReference()},
        {renamed(device(), "MY_QELTA_PCIDEVICE_2"), boardReference()},
        {renamed(bridge(), "qElTa_PcIbRiDgE"), bridgesBoardReference()},
        {renamed(device(), "xqelta_sspcicontrollerx"), slotReference()},
        {renamed(device(), "QELTA_OBDPCICONTROLLER"), boardReference()},
        {renamed(slot(), "QELTA_SYSTEMSLOT"), slotsReferences()},
        {renamed(boardPath(), "the_qelta_systemboard"), rack::associationsOfBoard()},
        // A PCI function's name counts before the board's, and the board's before a slot's.
        {renamed(device(), "QELTA_SystemBoard_QELTA_PCIDevice"), boardReference()},
        {renamed(device(), "QELTA_SystemBoard_QELTA_SSPCIController"), slotReference()},
        {renamed(slot(), "QELTA_SystemSlot_QELTA_SystemBoard"), rack::associationsOfBoard()},
    };
    for (const auto& [source, expected] : rows) expectAnswers(kAllReferences, source, {}, expected);
}

TEST_F(ReferenceSources, WithoutUsableKeysHaveNoReference) {
    for (const char* resultClass : {static_cast<const char*>(nullptr), kSlotAssociation, kBoardAssociation}) {
        expectDelivered(ask(kReferenceNames, classPath("QELTA_SystemSlot"), {nullptr, resultClass}), {}, true);
    }
    // An empty DeviceID is bus 0, device 0, function 0: the host bridge.
    expectDelivered(ask(kReferenceNames, classPath("QELTA_PCIDevice")), {onBoardPath(bridgePath(0, 0, 0))}, true);
    expectDelivered(ask(kReferenceNames, classPath("QELTA_PCIDevice"), {nullptr, kSlotAssociation}), {}, true);
}

// --- what is delivered ---

TEST_F(ReferenceSources, HaveTheirReferencesSetWhenAskedFromTheDeviceAndNotWhenAskedFromTheBoard) {
    const auto referencesSet = [&] {
        Lines names;
        for (const broker::Call& call : manager.calls()) {
            if (call.function == "instance.setProperty" && call.type == CMPI_ref) names.push_back(call.name);
        }
        return names;
    };
    EXPECT_EQ(ask(kReferences, device()).instances.size(), 1U);
    EXPECT_THAT(referencesSet(), ElementsAre("Antecedent", "Dependent"));
    EXPECT_EQ(ask(kReferences, boardPath()).instances.size(), 4U);
    EXPECT_THAT(referencesSet(), ElementsAre());
}

TEST_F(ReferenceSources, OfSlotsAndDevicesAreTheVeryInstancesThatEnumerationGives) {
    const std::vector<Instance> all = manager.enumerateInstances(classPath(kSlotAssociation)).instances;
    ASSERT_EQ(all.size(), 4U);
    EXPECT_THAT(ask(kReferences, slotPath(5)).instances, ElementsAre(all[0], all[1]));
    EXPECT_THAT(ask(kReferences, slotPath(3)).instances, ElementsAre(all[2], all[3]));
    EXPECT_THAT(ask(kReferences, device(), {nullptr, kSlotAssociation}).instances, ElementsAre(all[2]));
}

TEST_F(ReferenceSources, OfTheBoardAreTheVeryInstancesThatEnumerationGives) {
    const std::vector<Instance> all = manager.enumerateInstances(classPath(kBoardAssociation)).instances;
    EXPECT_EQ(all.size(), 4U);
    EXPECT_THAT(ask(kReferences, boardPath()).instances, ElementsAreArray(all));
}

TEST_F(ReferenceSources, WithTwoSlotsOfOneNumberAreOneForTheDeviceAndThoseOfEachForTheSlot) {
    host->bmc().putFile("smbios-table", slotTable({3, 3}));
    expectDelivered(ask(kReferenceNames, slot()), allPaths({slotsReferences(), slotsReferences()}), true);
    expectDelivered(ask(kReferenceNames, device(), {nullptr, kSlotAssociation}), slotReference(), true);
}

TEST_F(ReferenceSources, OfSlotNumberZeroAreThoseOfDeviceNumberZero) {
    host->bmc().putFile("smbios-table", slotTable({0, 3}));
    expectDelivered(ask(kReferenceNames, slotPath(0)),
                    {inSlotPath(0, devicePath(7, 0, 0)), inSlotPath(0, bridgePath(0, 0, 0))}, true);
    expectDelivered(ask(kReferenceNames, devicePath(7, 0, 0), {nullptr, kSlotAssociation}), {}, true);
}

TEST_F(ReferenceSources, OnAMachineWithoutSlotsLeadToTheBoardAlone) {
    host->removeDevice(true);
    for (const ObjectPath& source : {slot(), slotController()}) expectAnswers({kReferences}, source, {}, {});
    expectDelivered(ask(kReferences, device()), boardReference(), false);
    EXPECT_EQ(ask(kReferenceNames, boardPath()).paths.size(), rack::devices().size() + rack::bridges().size());
}

TEST_F(ReferenceSources, OnAnEmptyBusHaveNone) {
    files.setFile("proc/bus/pci/devices", std::string());
    for (const ObjectPath& source : {device(), slotController(), slot(), boardPath()})
        expectAnswers({kReferences}, source, {}, {});
}

// --- log lines ---

/** The first line; `resultClass` as the log shows it. */
Lines sourceLines(const std::string& source, const std::string& resultClass) {
    return {"PCI_References - the srcclassname [" + source + "] resultclass is [" + resultClass + "]"};
}

Lines functionLines() {
    return {"PCI_AssociatorName - pcidevice found"};
}

Lines foundSlotLines(const std::string& source) {
    return {"PCI_References - the srcclassname [" + source + "] found systemslot"};
}

class ReferenceLog : public SmallMachineTest {
 protected:
    Lines logOf(const AssociationOperation& operation, const ObjectPath& source, const char* resultClass) {
        ask(operation, source, {nullptr, resultClass});
        return log();
    }
    static Lines slotReferenceLines(const std::string& source, const Lines& deliveryLines) {
        return allLines({functionLines(), scanLines(), foundSlotLines(source), slotRefLine("in the routine"),
                         slotUpcallLines(), slotRefReadLines(3), slotRefReadLines(9), noNextInstanceLines(),
                         deliveryLines, slotRefLine("returning from the routine")});
    }
    static Lines boardReferenceLines(const Lines& deliveryLines) {
        return allLines({functionLines(), scanLines(), slotRefLine("in the routine"), deliveryLines,
                         slotRefLine("returning from the routine")});
    }
};

TEST_F(ReferenceLog, OfADeviceToItsSlot) {
    EXPECT_THAT(logOf(kReferenceNames, device(), "qelta_DeviceInSlot"),
                ElementsAreArray(allLines({sourceLines("qelta_pcidevice", "qelta_DeviceInSlot"),
                                           slotReferenceLines("qelta_pcidevice", {})})));
    EXPECT_THAT(logOf(kReferences, device(), kSlotAssociation),
                ElementsAreArray(allLines(
                    {sourceLines("qelta_pcidevice", kSlotAssociation),
                     slotReferenceLines("qelta_pcidevice", allLines({setReferenceLines(), setReferenceLines()}))})));
}

TEST_F(ReferenceLog, OfASlotControllerSaysNothingForNoFilter) {
    EXPECT_THAT(logOf(kReferenceNames, slotController(), nullptr),
                ElementsAreArray(allLines({sourceLines("qelta_sspcicontroller", "nothing"),
                                           slotReferenceLines("qelta_sspcicontroller", {})})));
}

TEST_F(ReferenceLog, OfADeviceToTheBoard) {
    EXPECT_THAT(logOf(kReferenceNames, device(), nullptr),
                ElementsAreArray(allLines({sourceLines("qelta_pcidevice", "nothing"), boardReferenceLines({})})));
    EXPECT_THAT(
        logOf(kReferences, device(), kBoardAssociation),
        ElementsAreArray(allLines({sourceLines("qelta_pcidevice", kBoardAssociation),
                                   boardReferenceLines(allLines({setReferenceLines(), setReferenceLines()}))})));
}

TEST_F(ReferenceLog, OfADeviceByAnotherClass) {
    EXPECT_THAT(logOf(kReferenceNames, device(), "QELTA_SystemSlot"),
                ElementsAreArray(allLines({sourceLines("qelta_pcidevice", "QELTA_SystemSlot"), functionLines()})));
}

TEST_F(ReferenceLog, ShowsAFilterOfTheTextNothingLikeNone) {
    EXPECT_THAT(logOf(kReferenceNames, device(), "nothing"),
                ElementsAreArray(allLines({sourceLines("qelta_pcidevice", "nothing"), functionLines()})));
}

TEST_F(ReferenceLog, OfASlot) {
    EXPECT_THAT(
        logOf(kReferenceNames, slot(), kBoardAssociation),
        ElementsAreArray(allLines({sourceLines("qelta_systemslot", kBoardAssociation), scanLines(),
                                   foundSlotLines("qelta_systemslot"), fromSlotLine("in the routine routine"),
                                   fromSlotLine("not creating path"), fromSlotLine("not creating path for slotnum [3]"),
                                   slotUpcallLines(), slotRefReadLines(3), pathDeliveredLines(3), slotRefReadLines(9),
                                   noNextInstanceLines(), fromSlotLine("leaving routine")})));
}

TEST_F(ReferenceLog, OfTheBoard) {
    EXPECT_THAT(logOf(kReferenceNames, boardPath(), nullptr),
                ElementsAreArray(allLines({sourceLines("qelta_systemboard", "nothing"),
                                           {"PCI_enuminstances - in the routine with classname [QELTA_PCIDevice]"},
                                           scanLines(),
                                           {"returning pcidevice instance"},
                                           {"PCI_enuminstances - in the routine with classname [QELTA_PCIBridge]"},
                                           scanLines(),
                                           {"MakeDeviceBoardAssociation antInst is not null"},
                                           nextInstanceLines(),
                                           {"MakeDeviceBoardAssociation getting next instance",
                                            "MakeDeviceBoardAssociation getting the UI number"},
                                           uint8Lines(),
                                           {"MakeDeviceBoardAssociation got the UI number",
                                            "MakeDeviceBoardAssociation not making instance status [0] ui [3]"},
                                           noNextInstanceLines(),
                                           noNextInstanceLines(),
                                           {"MakeDeviceBoardAssociation leaving the routine"}})));
}

TEST_F(ReferenceLog, OfAnUnknownClass) {
    EXPECT_THAT(logOf(kReferenceNames, classPath("CIM_Unknown"), nullptr),
                ElementsAreArray(sourceLines("cim_unknown", "nothing")));
}

}  // namespace
