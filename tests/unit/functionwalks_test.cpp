/** Deliveries of PCI functions: one class, all on the board, all in one slot. */
#include "tests/unit/inventory.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using tPCIInfo::TPciDevInfo;
using namespace testsupport;

constexpr char kReturning[] = "returning pcidevice instance";

class PciWalks : public InventoryTest {
 protected:
    using Info = std::unique_ptr<TPciDevInfo>;

    Paths deliver(const Info& info, const std::string& className, bool namesOnly) {
        forget();
        info->GetCIMInstance(handle(), context(), result(), className, namesOnly);
        return answered();
    }
    Paths deliver(const std::string& className, bool namesOnly) {
        return deliver(scan(className.c_str()), className, namesOnly);
    }
    Paths onBoard(const Info& info, bool namesOnly) {
        forget();
        info->GetOnboardDeviceAssocInstances(handle(), context(), result(), namesOnly);
        return answered();
    }
    Paths inSlot(const Info& info, unsigned short slot, bool namesOnly) {
        forget();
        info->EnumDevBridgeInstances(handle(), result(), slot, namesOnly);
        return answered();
    }
    /** What was delivered came in the form that was asked for, and nobody closed the result. */
    void expectForm(bool namesOnly) const {
        EXPECT_EQ(scope->response().instances.empty(), namesOnly);
        EXPECT_NE(scope->response().paths.empty(), namesOnly);
        EXPECT_EQ(scope->response().doneCalls, 0U);
    }

    static Lines repeated(const std::string& line, std::size_t count) { return Lines(count, line); }
};

// ---------------------------------------------------------------------------------------------------------------
// One class

TEST_F(PciWalks, AClassIsDeliveredInBusOrderAndEachInstanceIsLogged) {
    files.addFunction(deviceAt(4, 1, 0)).addFunction(bridgeAt(3, 1, 0)).addFunction(deviceAt(0, 31, 7));
    files.addFunction(bridgeAt(0, 1, 0));
    for (const bool namesOnly : {false, true}) {
        EXPECT_THAT(deliver("QELTA_PCIDevice", namesOnly), ElementsAre(devicePath(4, 1, 0), devicePath(0, 31, 7)));
        expectForm(namesOnly);
        EXPECT_THAT(deliver("QELTA_PCIBridge", namesOnly), ElementsAre(bridgePath(3, 1, 0), bridgePath(0, 1, 0)));
        expectForm(namesOnly);
        EXPECT_THAT(callsOf("eft.newObjectPath"), ElementsAre("QELTA_PCIBridge", "QELTA_PCIBridge"));
        EXPECT_EQ(callsOf("eft.newInstance").size(), namesOnly ? 0U : 2U);
        EXPECT_EQ(log(), repeated(kReturning, namesOnly ? 0 : 2));
    }
}

TEST_F(PciWalks, ABusWithoutFunctionsDeliversNothing) {
    for (const bool namesOnly : {false, true}) {
        EXPECT_THAT(deliver("QELTA_PCIDevice", namesOnly), IsEmpty());
        EXPECT_THAT(deliver("QELTA_PCIBridge", namesOnly), IsEmpty());
        EXPECT_THAT(manager.calls(), IsEmpty());
        EXPECT_THAT(log(), IsEmpty());
        EXPECT_THAT(onBoard(scan(), namesOnly), IsEmpty());
        EXPECT_THAT(log(),
                    ElementsAre("GetOnboardDeviceAssocInstances - sizeof deviceArray [0] sizeof bridgearray[0]"));
    }
}

TEST_F(PciWalks, RecordsOfTheOtherKindAreSkippedAndTheCursorEndsBehindThem) {
    files.addFunction(deviceAt(0, 1, 0)).addFunction(bridgeAt(0, 2, 0));
    const auto info = scan("QELTA_PCIDevice");
    EXPECT_THAT(deliver(info, "QELTA_PCIBridge", false), IsEmpty());
    EXPECT_THAT(manager.calls(), IsEmpty());
    EXPECT_EQ(info->getNextElement(), nullptr);
}

TEST_F(PciWalks, AnyOtherClassDeliversNothingAndLeavesTheCursor) {
    files.addFunction(deviceAt(0, 1, 0));
    const auto info = scan("QELTA_PCIDevice");
    for (const char* className :
         {"QELTA_Controller", "QELTA_SSPCIController", "QELTA_OBDPCIController", "QELTA_SystemSlot",
          "QELTA_SystemBoard", "QELTA_OnBoardDevice", "qelta_pcidevice", "Any_Class", ""}) {
        EXPECT_THAT(deliver(info, className, false), IsEmpty()) << className;
        EXPECT_THAT(manager.calls(), IsEmpty()) << className;
        EXPECT_THAT(log(), IsEmpty()) << className;
    }
    EXPECT_EQ(info->getNextElement()->dev, 1);
}

TEST_F(PciWalks, AClassIsDeliveredFromTheCursorOnUntilTheFirstElementIsSetAgain) {
    files.addFunction(deviceAt(0, 1, 0)).addFunction(deviceAt(0, 2, 0)).addFunction(deviceAt(0, 3, 0));
    for (const bool namesOnly : {false, true}) {
        const auto info = scan("QELTA_PCIDevice");
        info->getNextElement();
        EXPECT_THAT(deliver(info, "QELTA_PCIDevice", namesOnly), ElementsAre(devicePath(0, 2, 0), devicePath(0, 3, 0)));
        EXPECT_THAT(deliver(info, "QELTA_PCIDevice", namesOnly), IsEmpty());
        EXPECT_EQ(info->getNextElement(), nullptr);
        info->setFirstElement();
        EXPECT_EQ(deliver(info, "QELTA_PCIDevice", namesOnly).size(), 3U);
    }
}

TEST_F(PciWalks, AFunctionWhosePathOrInstanceCannotBeMadeIsSkippedAlone) {
    files.addFunction(deviceAt(0, 1, 0)).addFunction(deviceAt(0, 2, 0)).addFunction(deviceAt(0, 3, 0));
    for (const auto& [function, namesOnly] : {std::pair("eft.newObjectPath", true),
                                              {"eft.newObjectPath", false},
                                              {"eft.newInstance", false},
                                              {"result.returnObjectPath", true},
                                              {"result.returnInstance", false}}) {
        const auto info = scan("QELTA_PCIDevice");
        manager.failAt(function, 2);
        EXPECT_THAT(deliver(info, "QELTA_PCIDevice", namesOnly), ElementsAre(devicePath(0, 1, 0), devicePath(0, 3, 0)))
            << function;
        EXPECT_TRUE(manager.faultStruck()) << function;
        EXPECT_EQ(log(), repeated(kReturning, namesOnly ? 0 : 3)) << function;
        manager.clearFaults();
    }
}

// ---------------------------------------------------------------------------------------------------------------
// The system board

class OnBoard : public PciWalks {
 protected:
    /** Slots up to 4; functions of the device numbers 0 and 5 are on the board. */
    OnBoard() {
        files.setSmbiosTable(slotTable({4}));
        files.addFunction(bridgeAt(0, 0, 0)).addFunction(deviceAt(0, 4, 0)).addFunction(deviceAt(0, 5, 0));
        files.addFunction(bridgeAt(0, 4, 1)).addFunction(deviceAt(1, 0, 0)).addFunction(bridgeAt(1, 31, 0));
    }
};

TEST_F(OnBoard, FunctionsWithoutAUserVisibleNumberAreDeliveredDevicesFirst) {
    const auto info = scan("QELTA_PCIDevice");
    for (const bool namesOnly : {false, true}) {
        EXPECT_THAT(onBoard(info, namesOnly),
                    ElementsAre(devicePath(0, 5, 0), devicePath(1, 0, 0), bridgePath(0, 0, 0), bridgePath(1, 31, 0)));
        expectForm(namesOnly);
        // Names need the instance first, then the path again.
        EXPECT_EQ(callsOf("eft.newInstance").size(), 4U);
        EXPECT_EQ(callsOf("eft.newObjectPath").size(), namesOnly ? 8U : 4U);
        EXPECT_EQ(log(), allLines({{"GetOnboardDeviceAssocInstances - sizeof deviceArray [3] sizeof bridgearray[3]"},
                                   repeated(kReturning, 4)}));
    }
}

TEST_F(OnBoard, TheWorkingListDoesNotMatter) {
    for (const char* className : {"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SystemBoard", ""}) {
        EXPECT_EQ(onBoard(scan(className), true).size(), 4U) << className;
    }
}

TEST_F(OnBoard, AFunctionWhoseInstanceCannotBeMadeHasNoPathEither) {
    for (const bool namesOnly : {false, true}) {
        const auto info = scan("QELTA_PCIDevice");
        manager.failAt("eft.newInstance", 3);
        EXPECT_THAT(onBoard(info, namesOnly),
                    ElementsAre(devicePath(0, 5, 0), devicePath(1, 0, 0), bridgePath(1, 31, 0)));
        EXPECT_TRUE(manager.faultStruck());
        manager.clearFaults();
    }
}

TEST_F(OnBoard, AScanThatIsRunAgainAddsToTheDevicesAndRenewsTheBridges) {
    const auto info = scan("QELTA_PCIDevice");
    info->ScanPciDevices();
    onBoard(info, true);
    EXPECT_THAT(log(), Contains("GetOnboardDeviceAssocInstances - sizeof deviceArray [6] sizeof bridgearray[3]"));
}

TEST_F(OnBoard, AfterAnotherWalkTheWorkingListIsAtItsEndUntilTheFirstElementIsSetAgain) {
    const auto info = scan("QELTA_PCIDevice");
    // This search stops in the middle of another list, at the second of its records.
    ASSERT_EQ(info->GetSlotNumberFromDevice(0, 5, 0), 5);
    EXPECT_EQ(info->getNextElement(), nullptr);
    for (const bool namesOnly : {true, false})
        EXPECT_THAT(deliver(info, "QELTA_PCIDevice", namesOnly), IsEmpty()) << namesOnly;
    EXPECT_EQ(info->setFirstElement()->dev, 4);
    EXPECT_EQ(deliver(info, "QELTA_PCIDevice", true).size(), 3U);
}

// ---------------------------------------------------------------------------------------------------------------
// One slot

class InSlot : public PciWalks {
 protected:
    InSlot() {
        files.addFunction(bridgeAt(3, 7, 0)).addFunction(deviceAt(0, 7, 0)).addFunction(deviceAt(0, 8, 0));
        files.addFunction(deviceAt(2, 7, 1)).addFunction(bridgeAt(0, 0, 0)).addFunction(bridgeAt(0, 7, 2));
    }
};

TEST_F(InSlot, EveryFunctionWithTheNumberIsLoggedAndDeliveredDevicesFirst) {
    const auto info = scan("QELTA_PCIBridge");
    for (const bool namesOnly : {false, true}) {
        EXPECT_THAT(inSlot(info, 7, namesOnly),
                    ElementsAre(devicePath(0, 7, 0), devicePath(2, 7, 1), bridgePath(3, 7, 0), bridgePath(0, 7, 2)));
        expectForm(namesOnly);
        EXPECT_EQ(log(),
                  allLines({deviceInSlotLines(7), deviceInSlotLines(7), bridgeInSlotLines(7), bridgeInSlotLines(7)}));
    }
}

TEST_F(InSlot, ASlotThatNoDeviceNumberMatchesDeliversNothing) {
    const auto info = scan("QELTA_PCIBridge");
    for (const unsigned short slot : {std::uint16_t{9}, std::uint16_t{31}, std::uint16_t{255}, std::uint16_t{65535},
                                      std::uint16_t{0x0107}, std::uint16_t{0x0100}}) {
        EXPECT_THAT(inSlot(info, slot, false), IsEmpty()) << slot << ": compared in 16 bits";
        EXPECT_THAT(log(), IsEmpty());
        EXPECT_THAT(manager.calls(), IsEmpty());
    }
}

TEST_F(InSlot, AFunctionThatCannotBeMadeIsSkippedAlone) {
    for (const auto& [function, nth] : {std::pair("eft.newInstance", 2U),
                                        {"eft.newObjectPath", 3U},
                                        {"eft.newObjectPath", 4U},
                                        {"result.returnObjectPath", 2U}}) {
        const auto info = scan("QELTA_PCIBridge");
        manager.failAt(function, nth);
        EXPECT_THAT(inSlot(info, 7, true), ElementsAre(devicePath(0, 7, 0), bridgePath(3, 7, 0), bridgePath(0, 7, 2)))
            << function << " " << nth;
        EXPECT_EQ(log(),
                  allLines({deviceInSlotLines(7), deviceInSlotLines(7), bridgeInSlotLines(7), bridgeInSlotLines(7)}));
        manager.clearFaults();
    }
}

}  // namespace
