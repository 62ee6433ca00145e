// The system board, and its associations with the functions on it.
#include "board/tsysbrd.h"

#include "tests/unit/inventory.h"

namespace {

using broker::Instance;
using broker::ObjectPath;
using broker::Value;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::Values;
using tPCIInfo::TSysBrd;
using namespace testsupport;

constexpr char kAssociationClass[] = "QELTA_OnBoardDevice";

Instance withUiNumber(const ObjectPath& path, const Value& value) {
    return instanceOf(path, "UINumber", value);
}

Instance withUiNumber(const ObjectPath& path, std::uint8_t number) {
    return withUiNumber(path, Value::uint(CMPI_uint8, number));
}

// --- log lines ---

Lines boardLine(const std::string& text) {
    return {"MakeDeviceBoardAssociation " + text};
}

Lines pathLines() {
    return {"TSysBrd::getObjectPath in the routine", "TSysBrd::getObjectPath created the objectpath",
            "TSysBrd::getObjectPath setting ant", "TSysBrd::getObjectPath setting dep",
            "TSysBrd::getObjectPath leaving the routine"};
}

/** One function up to where it is known whether it is on the board. */
Lines uiNumberLines(const Lines& readerLines = uint8Lines()) {
    return allLines({nextInstanceLines(), boardLine("getting next instance"), boardLine("getting the UI number"),
                     readerLines, boardLine("got the UI number")});
}

Lines onBoardLines(const Lines& readerLines = uint8Lines()) {
    return allLines({uiNumberLines(readerLines), boardLine("making instance status [0] ui [0]")});
}

Lines onBoardWithPathsLines(const Lines& readerLines = uint8Lines()) {
    return allLines({onBoardLines(readerLines), boardLine("depOjbectpath and antobjectpath is good")});
}

Lines pathDeliveredLines(const Lines& readerLines = uint8Lines()) {
    return allLines({onBoardWithPathsLines(readerLines), pathLines(), boardLine("setting object path"),
                     boardLine("set object path")});
}

Lines creatingLines() {
    return allLines(
        {onBoardWithPathsLines(), pathLines(), boardLine("creating instance"), boardLine("instance is created")});
}

Lines instanceDeliveredLines(const std::string& word) {
    return allLines({creatingLines(), boardLine(word + " status == CMPI_RC_OK"),
                     boardLine(word + " setting dependent op"), boardLine(word + " setting instance to return")});
}

Lines leavingLines() {
    return boardLine("leaving the routine");
}

Lines nothingToAssociateLines() {
    return allLines({boardLine("antInst is null"), leavingLines()});
}

/** The walk over devices, then that over bridges. */
Lines walkLines(const Lines& devices, const Lines& bridges) {
    return allLines({boardLine("antInst is not null"), devices, noNextInstanceLines(), bridges, noNextInstanceLines(),
                     leavingLines()});
}

class SystemBoard : public InventoryTest {
 protected:
    SystemBoard() { start(); }

    /** Asks for a class and gives what was delivered. */
    Paths ask(const std::string& className, bool namesOnly) {
        EXPECT_EQ(board.GetCIMInstances(handle(), result(), context(), className, namesOnly), 0);
        return answered();
    }
    Paths associate(bool namesOnly) {
        board.MakeDeviceBoardAssociation(handle(), result(), context(), namesOnly);
        return answered();
    }
    void answerFunctions(const std::vector<Instance>& devices, const std::vector<Instance>& bridges) {
        answer("QELTA_PCIDevice", devices);
        answer("QELTA_PCIBridge", bridges);
    }

    TSysBrd board;
};

// --- the board ---

TEST_F(SystemBoard, NamesOnlyDeliversOnePathWithItsFourKeysInOrder) {
    EXPECT_THAT(ask(kBoardClass, true), ElementsAre(boardPath()));
    EXPECT_THAT(scope->response().instances, IsEmpty());
    EXPECT_THAT(callsOf("objectPath.addKey"),
                ElementsAre("SystemCreationClassName", "SystemName", "CreationClassName", "DeviceID"));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SystemBoard, InstanceHasItsSevenPropertiesSetInOrderAsChars) {
    EXPECT_THAT(ask(kBoardClass, false), ElementsAre(boardPath()));
    ASSERT_EQ(scope->response().instances.size(), 1U);
    EXPECT_THAT(callsOf("instance.setProperty"),
                ElementsAre("SystemCreationClassName", "SystemName", "DeviceID", "ElementName", "CreationClassName",
                            "SlotDesignation", "SlotAllInfo"));
    EXPECT_EQ(scope->response().instances.front().properties,
              (std::vector<broker::Property>{{"SystemCreationClassName", Value::string("QELTA_ASSETID")},
                                             {"SystemName", Value::string(kMachineName)},
                                             {"CreationClassName", Value::string("QELTA_SystemBoard")},
                                             {"DeviceID", Value::string("SystemBoard1")},
                                             {"ElementName", Value::string("SystemBoard1")},
                                             {"SlotDesignation", Value::string("Onboard")},
                                             {"SlotAllInfo", Value::string("Onboard")}}));
    for (const broker::Call& call : manager.calls()) {
        if (call.function == "instance.setProperty" || call.function == "objectPath.addKey") {
            EXPECT_EQ(call.type, CMPI_chars) << call.name;
        }
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SystemBoard, ClassNamesAreComparedWithRegardToCase) {
    for (const char* className : {"qelta_systemboard", "QELTA_SYSTEMBOARD", "QELTA_SystemBoarD", "qelta_onboarddevice",
                                  "QELTA_ONBOARDDEVICE", "QELTA_PCIDevice", "QELTA_SystemBoard ", ""}) {
        EXPECT_THAT(ask(className, true), IsEmpty()) << className;
        EXPECT_THAT(ask(className, false), IsEmpty()) << className;
    }
    EXPECT_THAT(manager.calls(), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SystemBoard, PathTakesNamespaceClassNameAndAnotherDeviceIdFromItsCaller) {
    const std::string deviceId = "SystemBoard2";
    ObjectPath expected = renamed(boardPath(), "QELTA_OtherBoard");
    expected.nameSpace = "root/other";
    expected.keys[2].value = Value::string("QELTA_OtherBoard");
    expected.keys[3].value = Value::string(deviceId);
    CMPIObjectPath* path = board.getObjectPath(handle(), "root/other", "QELTA_OtherBoard", &deviceId);
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(scope->read(path), expected);
}

TEST_F(SystemBoard, WhosePathOrInstanceCannotBeMadeIsNotDelivered) {
    for (const auto& [function, namesOnly] :
         {std::pair("eft.newObjectPath", true), {"eft.newObjectPath", false}, {"eft.newInstance", false}}) {
        manager.failAt(function, 1);
        EXPECT_THAT(ask(kBoardClass, namesOnly), IsEmpty()) << function;
        EXPECT_TRUE(manager.faultStruck()) << function;
        manager.failAt(function, 1);
        EXPECT_EQ(board.PopulateSysbrdProperties(handle(), kBoardClass), nullptr) << function;
        manager.clearFaults();
    }
    manager.failAt("eft.newObjectPath", 1);
    EXPECT_EQ(board.getObjectPath(handle(), "root/kavix", kBoardClass, nullptr), nullptr);
}

// --- associations: what is delivered ---

// Every other form of a number: tests/requests/associations_test.cpp.
TEST_F(SystemBoard, FunctionWhoseUiNumberHasNoLowByteCountsAsOnBoard) {
    answerFunctions({withUiNumber(devicePath(3, 3, 0), Value::uint(CMPI_uint16, 256))}, {});
    EXPECT_THAT(associate(true), ElementsAre(onBoardPath(devicePath(3, 3, 0))));
}

TEST_F(SystemBoard, FunctionWithoutUiNumberCountsAsOnBoard) {
    Instance device;
    device.path = devicePath(3, 3, 0);
    answerFunctions({device}, {});
    EXPECT_THAT(associate(true), ElementsAre(onBoardPath(devicePath(3, 3, 0))));
    EXPECT_THAT(log(), Contains("MakeDeviceBoardAssociation making instance status [12] ui [0]"));
}

TEST_F(SystemBoard, FailedReadOfUiNumberCountsAsOnBoardWhateverValueCameWithIt) {
    answerFunctions({withUiNumber(devicePath(3, 3, 0), 3)}, {});
    failPropertyReads();
    EXPECT_THAT(associate(true), ElementsAre(onBoardPath(devicePath(3, 3, 0))));
    EXPECT_THAT(log(), Contains("MakeDeviceBoardAssociation making instance status [1] ui [0]"));
}

// --- associations: log lines ---

TEST_F(SystemBoard, LogsEveryStepToEveryPath) {
    answerFunctions({withUiNumber(devicePath(0, 31, 2), 0)}, {withUiNumber(bridgePath(0, 0, 0), 0)});
    associate(true);
    EXPECT_THAT(log(), ElementsAreArray(walkLines(pathDeliveredLines(), pathDeliveredLines())));
}

TEST_F(SystemBoard, LogsBridgeInstancesInOtherWordsThanDeviceInstances) {
    answerFunctions({withUiNumber(devicePath(0, 31, 2), 0)}, {withUiNumber(bridgePath(0, 0, 0), 0)});
    associate(false);
    EXPECT_THAT(log(),
                ElementsAreArray(walkLines(instanceDeliveredLines("update"), instanceDeliveredLines("update2"))));
}

TEST_F(SystemBoard, LogsFunctionsThatAreNotOnIt) {
    answerFunctions({withUiNumber(devicePath(3, 3, 0), 3)}, {withUiNumber(bridgePath(5, 5, 0), 200)});
    EXPECT_THAT(associate(false), IsEmpty());
    const Lines device = allLines({uiNumberLines(), boardLine("not making instance status [0] ui [3]")});
    const Lines bridge = allLines({uiNumberLines(), boardLine("not making instance status [0] ui [200]")});
    EXPECT_THAT(log(), ElementsAreArray(walkLines(device, bridge)));
}

TEST_F(SystemBoard, AsksForTheDevicesThenForTheBridgesAndLogsAWalkOverNothing) {
    answerFunctions({}, {});
    associate(false);
    EXPECT_THAT(callsOf("bft.enumerateInstances"), ElementsAre("QELTA_PCIDevice", "QELTA_PCIBridge"));
    EXPECT_THAT(log(), ElementsAreArray(walkLines({}, {})));
}

TEST_F(SystemBoard, WithoutOneOfTheEnumerationsAssociatesNothing) {
    for (const char* missing : {"QELTA_PCIDevice", "QELTA_PCIBridge"}) {
        answerFunctions({withUiNumber(devicePath(0, 31, 2), 0)}, {withUiNumber(bridgePath(0, 0, 0), 0)});
        answerNoEnumeration(missing);
        EXPECT_THAT(associate(true), IsEmpty()) << missing;
        EXPECT_THAT(log(), ElementsAreArray(nothingToAssociateLines())) << missing;
        EXPECT_EQ(callsOf("bft.enumerateInstances").size(), 2U) << missing;
        forget();
    }
}

TEST_F(SystemBoard, WithoutItsInstanceAssociatesNothing) {
    answerFunctions({withUiNumber(devicePath(0, 31, 2), 0)}, {withUiNumber(bridgePath(0, 0, 0), 0)});
    manager.failAt("eft.newInstance", 1);
    EXPECT_THAT(associate(false), IsEmpty());
    EXPECT_THAT(log(), ElementsAreArray(nothingToAssociateLines()));
}

// --- associations: objects that cannot be had are skipped, the others are delivered ---

class SkippedFunction : public SystemBoard {
 protected:
    /** Two devices on the board; what the first one's failure leaves is delivered. */
    void associateWithFault(const std::string& function, unsigned nth, bool namesOnly) {
        answerFunctions({withUiNumber(devicePath(0, 31, 2), 0), withUiNumber(devicePath(0, 31, 3), 0)}, {});
        manager.failAt(function, nth);
        EXPECT_THAT(associate(namesOnly), ElementsAre(onBoardPath(devicePath(0, 31, 3))));
        EXPECT_TRUE(manager.faultStruck());
    }
};

TEST_F(SkippedFunction, WhoseOwnPathOrThatOfTheBoardIsMissing) {
    const Lines skipped = allLines({onBoardLines(), boardLine("depOjbectpath and antobjectpath not good")});
    for (const unsigned nth : {1U, 2U}) {  // the first is the board's
        associateWithFault("instance.getObjectPath", nth, true);
        EXPECT_THAT(log(), ElementsAreArray(walkLines(allLines({skipped, pathDeliveredLines()}), {}))) << nth;
        manager.clearFaults();
        forget();
    }
}

TEST_F(SkippedFunction, WhoseAssociationPathCannotBeMade) {
    associateWithFault("eft.newObjectPath", 4, true);  // after the board's and those of the two enumerations
    const Lines skipped =
        allLines({onBoardWithPathsLines(),
                  {"TSysBrd::getObjectPath in the routine", "TSysBrd::getObjectPath could not create the path"},
                  boardLine("could not get object path")});
    EXPECT_THAT(log(), ElementsAreArray(walkLines(allLines({skipped, pathDeliveredLines()}), {})));
}

TEST_F(SkippedFunction, WhoseAssociationCannotBeMadeIsLoggedInTheWordsOfSuccess) {
    associateWithFault("eft.newInstance", 2, false);  // after the board's
    const Lines skipped = allLines({creatingLines(), boardLine("status == CMPI_RC_OK")});
    EXPECT_THAT(log(), ElementsAreArray(walkLines(allLines({skipped, instanceDeliveredLines("update")}), {})));
}

TEST_F(SystemBoard, FunctionWhoseUiNumberThrowsCountsAsOnBoard) {
    for (const bool standard : {true, false}) {
        answerFunctions({withUiNumber(devicePath(3, 3, 0), 3)}, {});
        manager.throwAt("instance.getProperty", 1, standard);
        EXPECT_THAT(associate(true), ElementsAre(onBoardPath(devicePath(3, 3, 0))));
        EXPECT_THAT(log(), ElementsAreArray(walkLines(pathDeliveredLines(uint8CaughtLines()), {})));
        forget();
    }
}

// --- associations: exceptions ---

class BoardException : public SystemBoard, public testing::WithParamInterface<std::tuple<const char*, bool>> {};

TEST_P(BoardException, IsCaughtAndLoggedAndEndsTheRoutine) {
    const auto [function, standard] = GetParam();
    unsigned struck = 0;
    for (const bool namesOnly : {true, false}) {
        answerFunctions({withUiNumber(devicePath(0, 31, 2), 0)}, {withUiNumber(bridgePath(0, 0, 0), 0)});
        manager.throwAt(function, 1, standard);
        EXPECT_NO_THROW(associate(namesOnly));
        if (manager.faultStruck()) {
            ++struck;
            ASSERT_FALSE(log().empty());
            EXPECT_EQ(log().back(), "MakeDeviceBoardAssociation in the catch statement");
            EXPECT_THAT(log(), Not(Contains("MakeDeviceBoardAssociation leaving the routine")));
            EXPECT_THAT(answered(), IsEmpty());
        }
        manager.clearFaults();
        forget();
    }
    EXPECT_GT(struck, 0U);
}

INSTANTIATE_TEST_SUITE_P(OfEveryCall, BoardException,
                         testing::Combine(Values("eft.newObjectPath", "eft.newInstance", "objectPath.addKey",
                                                 "instance.setProperty", "instance.getObjectPath",
                                                 "bft.enumerateInstances", "enumeration.hasNext", "enumeration.getNext",
                                                 "result.returnObjectPath", "result.returnInstance"),
                                          testing::Bool()));

TEST_F(SystemBoard, WhoseMakingFailsWithAnExceptionIsLoggedInOneLine) {
    for (const char* function : {"eft.newObjectPath", "objectPath.addKey", "eft.newInstance", "instance.setProperty"}) {
        answerFunctions({withUiNumber(devicePath(0, 31, 2), 0)}, {});
        manager.throwAt(function, 1);
        EXPECT_THAT(associate(true), IsEmpty()) << function;
        EXPECT_TRUE(manager.faultStruck()) << function;
        EXPECT_EQ(log(), boardLine("in the catch statement")) << function;
        EXPECT_THAT(callsOf("bft.enumerateInstances"), IsEmpty()) << function;
        manager.clearFaults();
        forget();
    }
}

TEST_F(SystemBoard, WithoutABrokerOrAResultIsNotDelivered) {
    for (const bool namesOnly : {true, false}) {
        EXPECT_EQ(board.GetCIMInstances(nullptr, result(), context(), kBoardClass, namesOnly), 0);
        EXPECT_EQ(board.GetCIMInstances(handle(), nullptr, context(), kBoardClass, namesOnly), 0);
        forget();
        board.MakeDeviceBoardAssociation(nullptr, result(), context(), namesOnly);
        EXPECT_THAT(answered(), IsEmpty());
        EXPECT_EQ(log(), nothingToAssociateLines());
        forget();
        answerFunctions({withUiNumber(devicePath(0, 31, 2), 0)}, {});
        board.MakeDeviceBoardAssociation(handle(), nullptr, context(), namesOnly);
        EXPECT_EQ(log(), walkLines(namesOnly ? pathDeliveredLines() : instanceDeliveredLines("update"), {}));
    }
    EXPECT_EQ(board.PopulateSysbrdProperties(nullptr, kBoardClass), nullptr);
    EXPECT_EQ(board.getObjectPath(nullptr, "root/kavix", kBoardClass, nullptr), nullptr);
    EXPECT_EQ(board.getObjectPath(nullptr, "root/kavix", kAssociationClass, nullptr, nullptr), nullptr);
}

TEST_F(SystemBoard, AssociationPathIsMadeWithoutItsReferencesToo) {
    const CMPIObjectPath* path = board.getObjectPath(handle(), "root/kavix", kAssociationClass, nullptr, nullptr);
    ASSERT_NE(path, nullptr);
    EXPECT_THAT(scope->read(path).keys, IsEmpty());
    EXPECT_EQ(log(), pathLines());
}

}  // namespace
