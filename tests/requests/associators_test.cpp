// What associators deliver for a source and its filters, and what is logged on the way.
#include "tests/requests/rack.h"

namespace {

using broker::Instance;
using broker::ObjectPath;
using broker::Response;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Values;
using namespace testsupport;

Paths nothing() {
    return {};
}
Paths slotThree() {
    return {slotPath(3)};
}
Paths functionsInSlotThree() {
    return rack::functionsInSlot(3);
}

ObjectPath device() {
    return devicePath(3, 3, 0);
}
ObjectPath slotController() {
    return renamed(device(), "QELTA_SSPCIController");
}
ObjectPath slot() {
    return slotPath(3);
}

using AssociatorFilters = FilterTest;

TEST_P(AssociatorFilters, DecideWhatIsDelivered) {
    expectWhateverTheRole(kAllAssociators);
}

constexpr char kSlotAssociation[] = "QELTA_DeviceInSlot";
constexpr char kBoardAssociation[] = "QELTA_OnBoardDevice";
constexpr char kSlotClass[] = "QELTA_SystemSlot";
constexpr char kBoardClass[] = "QELTA_SystemBoard";

// Names within longer names, and objects beside those that conformance_test.cpp asks about; it has every combination
// of filters that are a name, another name, or empty.
INSTANTIATE_TEST_SUITE_P(OfAPciFunctionWithoutFilters, AssociatorFilters,
                         Values(FilterCase{"DeviceBesideSlotController",
                                           [] { return renamed(device(), "QELTA_SSPCIController_QELTA_PCIDevice"); },
                                           {},
                                           board},
                                FilterCase{"BridgeBesideSlotController",
                                           [] { return renamed(device(), "QELTA_SSPCIController_QELTA_PCIBridge"); },
                                           {},
                                           board},
                                FilterCase{
                                    "BoardBesideSlotController",
                                    [] { return renamed(device(), "QELTA_OBDPCIController_QELTA_SSPCIController"); },
                                    {},
                                    slotThree}),
                         CaseName{});

INSTANTIATE_TEST_SUITE_P(
    OfAPciFunctionByAssociationClass, AssociatorFilters,
    Values(FilterCase{"SlotWithinALongerName", device, {"My_QELTA_DEVICEINSLOT_2"}, slotThree},
           FilterCase{"SlotAsAntecedentWithinALongerRole",
                      device,
                      {kSlotAssociation, nullptr, nullptr, "the ANTECEDENTs"},
                      slotThree},
           FilterCase{"BoardWithinALongerName", device, {"xQELTA_OnBoardDevicex"}, board},
           FilterCase{"SlotWhereBothAreNamed", device, {"QELTA_OnBoardDevice_QELTA_DeviceInSlot"}, slotThree},
           FilterCase{"FirstPartOnly", device, {"QELTA_DeviceIn"}, nothing}),
    CaseName{});

INSTANTIATE_TEST_SUITE_P(
    OfAPciFunctionByResultClass, AssociatorFilters,
    Values(FilterCase{"SlotWithinALongerName", device, {nullptr, "X_qelta_systemslot_X"}, slotThree},
           FilterCase{"BoardWithinALongerName", device, {nullptr, "QELTA_SystemBoards"}, board},
           FilterCase{"SlotWhereBothAreNamed", device, {nullptr, "QELTA_SystemBoard_QELTA_SystemSlot"}, slotThree},
           FilterCase{"TheAssociationClassItself", device, {nullptr, kSlotAssociation}, nothing}),
    CaseName{});

INSTANTIATE_TEST_SUITE_P(OfAPciFunctionByResultRole, AssociatorFilters,
                         Values(FilterCase{
                             "Unknown", device, {kSlotAssociation, kSlotClass, nullptr, "Ante"}, nothing}),
                         CaseName{});

INSTANTIATE_TEST_SUITE_P(
    OfASlot, AssociatorFilters,
    Values(FilterCase{"ResultClassWithinALongerName", slot, {nullptr, "QELTA_SSPCIControllers"}, nothing},
           FilterCase{"ResultRoleAntecedentInUpperCase", slot, {nullptr, nullptr, nullptr, "ANTECEDENT"}, nothing},
           FilterCase{"ResultRoleContainingAntecedent",
                      slot,
                      {nullptr, nullptr, nullptr, "antecedents"},
                      functionsInSlotThree},
           FilterCase{"SlotWithABridge", [] { return slotPath(5); }, {}, [] { return rack::functionsInSlot(5); }},
           FilterCase{"EmptySlot", [] { return slotPath(9); }, {}, nothing},
           FilterCase{"SlotThatDoesNotExist",
                      [] { return slotPath(31); },
                      {},
                      [] {
                          return Paths{devicePath(0, 31, 2), bridgePath(0, 31, 0)};
                      }},
           FilterCase{"SlotNumberZero",
                      [] { return slotPath(0); },
                      {},
                      [] {
                          return Paths{devicePath(7, 0, 0), bridgePath(0, 0, 0)};
                      }},
           FilterCase{"SlotBeforeBoard",
                      [] { return renamed(slot(), "QELTA_SystemBoard_QELTA_SystemSlot"); },
                      {},
                      functionsInSlotThree}),
    CaseName{});

INSTANTIATE_TEST_SUITE_P(
    OfTheBoard, AssociatorFilters,
    Values(FilterCase{"ResultClassWithinALongerName", boardPath, {nullptr, "QELTA_OBDPCIControllers"}, nothing},
           FilterCase{"ResultRoleDependentInUpperCase",
                      boardPath,
                      {nullptr, nullptr, nullptr, "DEPENDENT"},
                      rack::functionsOnBoard},
           FilterCase{"ResultRoleContainingDependent", boardPath, {nullptr, nullptr, nullptr, "dependents"}, nothing}),
    CaseName{});

// --- sources ---

class AssociatorSources : public RackTest {};

TEST_F(AssociatorSources, AreToldByNamesContainedInAnyLetterCase) {
    const std::vector<std::pair<ObjectPath, Paths>> rows = {
        {renamed(device(), "qelta_pcidevice"), board()},
        {renamed(device(), "MY_QELTA_PCIDEVICE_2"), board()},
        {renamed(bridgePath(5, 5, 0), "qElTa_PcIbRiDgE"), board()},
        {renamed(device(), "xqelta_sspcicontrollerx"), slotThree()},
        {renamed(device(), "QELTA_OBDPCICONTROLLER"), board()},
        {renamed(slot(), "qelta_systemslot"), functionsInSlotThree()},
        {renamed(slot(), "QELTA_SystemSlotView"), functionsInSlotThree()},
        {renamed(boardPath(), "the_qelta_systemboard"), rack::functionsOnBoard()},
        // A PCI function's name counts before a slot's or the board's.
        {renamed(device(), "QELTA_SystemSlot_QELTA_PCIDevice"), board()},
        {renamed(device(), "QELTA_SystemBoard_QELTA_SSPCIController"), slotThree()},
    };
    for (const auto& [source, expected] : rows) expectAnswers(kAllAssociators, source, {}, expected);
}

TEST_F(AssociatorSources, NeedNoKeysForTheBoard) {
    expectDelivered(ask(kAssociatorNames, classPath("QELTA_PCIDevice")), board(), true);
    expectDelivered(ask(kAssociatorNames, classPath(kBoardClass)), rack::functionsOnBoard(), true);
}

TEST_F(AssociatorSources, WithoutUsableKeysLeadToNoSlotAndToNoFunction) {
    expectDelivered(ask(kAssociatorNames, classPath("QELTA_PCIDevice"), {kSlotAssociation}), {}, true);
    expectDelivered(ask(kAssociatorNames, classPath(kSlotClass)), {}, true);
    ObjectPath shortTag = slot();
    shortTag.keys.back().value = broker::Value::string("System Slot ");  // twelve characters
    expectDelivered(ask(kAssociatorNames, shortTag), {}, true);
}

TEST_F(AssociatorSources, InNoSlotHaveNone) {
    for (const ObjectPath& function :
         {devicePath(7, 0, 0), bridgePath(0, 0, 0), devicePath(0, 31, 2), bridgePath(0, 1, 0), devicePath(30, 3, 0)})
        expectAnswers({kAssociatorNames}, function, {kSlotAssociation}, {});
}

// --- what is delivered ---

TEST_F(AssociatorSources, LeadToTheVeryInstancesThatEnumerationsGive) {
    const std::vector<Instance> slots = manager.enumerateInstances(classPath(kSlotClass)).instances;
    const std::vector<Instance> boards = manager.enumerateInstances(classPath(kBoardClass)).instances;
    const std::vector<Instance> devices = manager.enumerateInstances(classPath("QELTA_PCIDevice")).instances;
    const std::vector<Instance> bridges = manager.enumerateInstances(classPath("QELTA_PCIBridge")).instances;
    ASSERT_EQ(slots.size(), 3U);
    ASSERT_EQ(devices.size(), 5U);
    ASSERT_EQ(bridges.size(), 4U);
    EXPECT_THAT(ask(kAssociators, device(), {kSlotAssociation}).instances, ElementsAre(slots[1]));
    EXPECT_THAT(ask(kAssociators, device()).instances, ElementsAreArray(boards));
    EXPECT_THAT(ask(kAssociators, slotPath(5)).instances, ElementsAre(devices[3], bridges[3]));
    EXPECT_THAT(ask(kAssociators, boardPath()).instances, ElementsAre(devices[0], devices[4], bridges[0], bridges[2]));
}

TEST_F(AssociatorSources, WithTwoSlotsOfOneNumberLeadToTheFirst) {
    host->bmc().putFile("smbios-table", [] {
        Slot upper;
        upper.id = 3;
        upper.designation = "UPPER";
        Slot lower = upper;
        lower.designation = "LOWER";
        return SmbiosBuilder().addSlot(upper).addSlot(lower).bytes();
    }());
    const Response response = ask(kAssociators, device(), {kSlotAssociation});
    ASSERT_EQ(response.instances.size(), 1U);
    const broker::Value* designation = response.instances.front().property("SlotDesignation");
    ASSERT_NE(designation, nullptr);
    EXPECT_EQ(*designation, broker::Value::string("UPPER"));
}

TEST_F(AssociatorSources, OnAMachineWithoutSlotsAreAllOnTheBoard) {
    host->removeDevice(true);
    expectDelivered(ask(kAssociatorNames, boardPath()), allPaths({rack::devices(), rack::bridges()}), true);
    expectAnswers({kAssociatorNames}, device(), {kSlotAssociation}, {});
}

TEST_F(AssociatorSources, OnAnEmptyBusLeadToNothingButTheBoard) {
    files.setFile("proc/bus/pci/devices", std::string());
    for (const ObjectPath& source : {slot(), boardPath()}) expectAnswers({kAssociators}, source, {}, {});
    expectDelivered(ask(kAssociators, device()), board(), false);
    expectDelivered(ask(kAssociators, device(), {kSlotAssociation}), {}, false);
}

// --- log lines ---

Lines line(const std::string& text) {
    return {"PCI_Associators - " + text};
}

/** The lines up to the answer for a PCI function; `wantedLines` tell where the wanted class comes from. */
Lines functionLines(const std::string& source, const Lines& roleLines, const Lines& wantedLines,
                    const std::string& decision) {
    return allLines({line("the srcclassname [" + source + "]"), line("found one of the dependents [" + source + "]"),
                     roleLines, line("found one2 of the dependents [" + source + "]"), wantedLines, line(decision)});
}

Lines boardAnswerLines(const std::string& source) {
    return {"PCI_Associators4 - the srcclassname [" + source + "] systemboard"};
}

class AssociatorLog : public SmallMachineTest {
 protected:
    Lines logOf(const ObjectPath& source, const FilterTexts& texts) {
        ask(kAssociatorNames, source, texts);
        return log();
    }
    static Lines slotAnswerLines() {
        return allLines({scanLines(), slotFromLine("in the routine"),
                         fromSlotLine("not creating path deviceid [PCI Bus 3, device 3, function 0]"),
                         fromSlotLine("found PCI Bus"), fromSlotLine("found device"), fromSlotLine("found function"),
                         fromSlotLine("bus [3] device [3] function [0]"), slotUpcallLines(), slotFromReadLines(3),
                         slotFromLine("returning from the routine")});
    }
    static Lines wantedByNothingLines() {
        return allLines({line("resultClass not found"), line("association class not found")});
    }
    static Lines wantedByAssociationLines() {
        return allLines({line("resultClass not found"), line("association class found")});
    }
};

TEST_F(AssociatorLog, OfADeviceWithoutFilters) {
    EXPECT_THAT(logOf(renamed(device(), "QELTA_PCIDevice"), {}),
                ElementsAreArray(allLines({functionLines("qelta_pcidevice", {}, wantedByNothingLines(),
                                                         "rRole [antecedent] rClass [qelta_systemboard]"),
                                           boardAnswerLines("qelta_pcidevice")})));
}

TEST_F(AssociatorLog, OfASlotControllerWithoutFilters) {
    EXPECT_THAT(logOf(slotController(), {}),
                ElementsAreArray(allLines({functionLines("qelta_sspcicontroller", {}, wantedByNothingLines(),
                                                         "rRole [antecedent] rClass [qelta_systemslot]"),
                                           slotAnswerLines()})));
}

TEST_F(AssociatorLog, OfADeviceByAssociationClass) {
    EXPECT_THAT(logOf(device(), {kSlotAssociation}),
                ElementsAreArray(allLines({functionLines("qelta_pcidevice", {}, wantedByAssociationLines(),
                                                         "rRole [antecedent] rClass [qelta_systemslot]"),
                                           slotAnswerLines()})));
    EXPECT_THAT(logOf(device(), {kBoardAssociation}),
                ElementsAreArray(allLines({functionLines("qelta_pcidevice", {}, wantedByAssociationLines(),
                                                         "rRole [antecedent] rClass [qelta_systemboard]"),
                                           boardAnswerLines("qelta_pcidevice")})));
}

TEST_F(AssociatorLog, OfADeviceByAnotherAssociationClassShowsNoWantedClass) {
    EXPECT_THAT(logOf(device(), {"CIM_Component"}),
                ElementsAreArray(
                    functionLines("qelta_pcidevice", {}, wantedByAssociationLines(), "rRole [antecedent] rClass []")));
}

TEST_F(AssociatorLog, OfADeviceByResultClassShowsItAsGivenAndLowered) {
    EXPECT_THAT(logOf(device(), {kBoardAssociation, "QELTA_SystemSLOT"}),
                ElementsAreArray(allLines({functionLines("qelta_pcidevice", {},
                                                         allLines({line("result class found [QELTA_SystemSLOT]"),
                                                                   line("result class found2 [qelta_systemslot]")}),
                                                         "rRole [antecedent] rClass [qelta_systemslot]"),
                                           slotAnswerLines()})));
}

TEST_F(AssociatorLog, OfADeviceByRoleShowsItAsGivenAndLowered) {
    EXPECT_THAT(logOf(device(), {nullptr, nullptr, "ignored", "DePendent"}),
                ElementsAreArray(functionLines(
                    "qelta_pcidevice",
                    allLines({line("result role found [DePendent]"), line("result role found2 [dependent]")}),
                    wantedByNothingLines(), "rRole [dependent] rClass [qelta_systemboard]")));
}

TEST_F(AssociatorLog, OfASlot) {
    EXPECT_THAT(
        logOf(renamed(slot(), "QELTA_SystemSlot"), {}),
        ElementsAreArray(allLines({line("the srcclassname [qelta_systemslot]"),
                                   line("doing the class_system_slot thing for src class [qelta_systemslot]"),
                                   scanLines(), line("class_system_slot [qelta_systemslot] sending object path"),
                                   fromSlotLine("in the routine routine"), fromSlotLine("not creating path"),
                                   fromSlotLine("not creating path for slotnum [3]"), deviceInSlotLines(3),
                                   fromSlotLine("leaving routine")})));
}

TEST_F(AssociatorLog, OfASlotWhoseFiltersExcludeEverything) {
    const Lines expected = allLines({line("the srcclassname [qelta_systemslot]"),
                                     line("doing the class_system_slot thing for src class [qelta_systemslot]")});
    EXPECT_THAT(logOf(slot(), {nullptr, "QELTA_PCIDevice"}), ElementsAreArray(expected));
    EXPECT_THAT(logOf(slot(), {nullptr, nullptr, nullptr, "Antecedent"}), ElementsAreArray(expected));
}

TEST_F(AssociatorLog, OfTheBoard) {
    EXPECT_THAT(logOf(boardPath(), {}),
                ElementsAreArray(allLines({line("the srcclassname [qelta_systemboard]"),
                                           line("src class [qelta_systemboard]"),
                                           scanLines(),
                                           {"GetOnboardDeviceAssocInstances - sizeof deviceArray [1] sizeof "
                                            "bridgearray[0]"}})));
}

TEST_F(AssociatorLog, OfTheBoardWhoseFiltersExcludeEverything) {
    const Lines expected =
        allLines({line("the srcclassname [qelta_systemboard]"), line("src class [qelta_systemboard]")});
    EXPECT_THAT(logOf(boardPath(), {nullptr, "QELTA_PCIDevice"}), ElementsAreArray(expected));
    EXPECT_THAT(logOf(boardPath(), {nullptr, nullptr, nullptr, "Antecedent"}), ElementsAreArray(expected));
}

TEST_F(AssociatorLog, OfAnUnknownClass) {
    EXPECT_THAT(logOf(classPath("CIM_Unknown"), {}), ElementsAreArray(line("the srcclassname [cim_unknown]")));
}

}  // namespace
