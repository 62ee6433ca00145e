/** One scan of the bus: which functions are found, and what is known of them. */
#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <random>
#include <stdexcept>
#include <type_traits>

#include "tests/support/casename.h"
#include "tests/unit/pcihost.h"

namespace {

using namespace std::string_literals;
using emulator::DeviceOpened;
using emulator::FileOpened;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using testsupport::bridgeAt;
using testsupport::deviceAt;
using testsupport::PciFunction;
using tPCIInfo::sPciDevices;
using tPCIInfo::TPci;
using tPCIInfo::TPciDevInfo;

class BusScan : public PciHostTest {};

constexpr char kList[] = "proc/bus/pci/devices";

// ---------------------------------------------------------------------------------------------------------------
// Lists

TEST_F(BusScan, BaseClass06GoesToTheBridgesWhateverItsSubclassAndEverythingElseToTheDevices) {
    unsigned dev = 0;
    for (const unsigned subclass : {0x00U, 0x01U, 0x04U, 0x80U}) {
        PciFunction bridge = bridgeAt(0, dev++, 0);
        bridge.subclass = static_cast<std::uint8_t>(subclass);
        files.addFunction(bridge);
    }
    dev = 16;
    for (const unsigned classCode : {0x00U, 0x05U, 0x07U, 0x46U, 0x60U, 0xFFU}) {
        PciFunction function = deviceAt(0, dev++, 0);
        function.classCode = static_cast<std::uint8_t>(classCode);
        function.subclass = 0x06;
        files.addFunction(function);
    }
    EXPECT_THAT(addresses(bridges()), ElementsAre("00:00.0", "00:01.0", "00:02.0", "00:03.0"));
    EXPECT_THAT(addresses(devices()), ElementsAre("00:10.0", "00:11.0", "00:12.0", "00:13.0", "00:14.0", "00:15.0"));
}

TEST_F(BusScan, FunctionsWhoseConfigurationCannotBeReadAreDevicesEvenIfBridges) {
    PciFunction missing = bridgeAt(0, 1, 0);
    missing.hasConfig = false;
    PciFunction shortened = bridgeAt(0, 2, 0);
    shortened.configLength = 63;
    files.addFunction(missing).addFunction(shortened);
    EXPECT_THAT(bridges(), IsEmpty());
    EXPECT_THAT(addresses(devices()), ElementsAre("00:01.0", "00:02.0"));
}

TEST_F(BusScan, FunctionsKeepTheOrderOfTheListUnsortedAndUnmerged) {
    files.addFunction(deviceAt(3, 1, 0))
        .addFunction(bridgeAt(2, 0, 0))
        .addFunction(deviceAt(0, 5, 0))
        .addFunction(bridgeAt(1, 0, 0));
    files.addFunction(deviceAt(3, 1, 0));
    EXPECT_THAT(addresses(devices()), ElementsAre("03:01.0", "00:05.0", "03:01.0"));
    EXPECT_THAT(addresses(bridges()), ElementsAre("02:00.0", "01:00.0"));
}

TEST_F(BusScan, VendorZeroAndBusFEGiveNoRecord) {
    PciFunction noVendor = deviceAt(0, 1, 0);
    noVendor.vendor = 0;
    files.addFunction(noVendor)
        .addFunction(deviceAt(0xFE, 2, 0))
        .addFunction(bridgeAt(0xFE, 3, 0))
        .addFunction(deviceAt(0xFF, 4, 0));
    EXPECT_THAT(addresses(devices()), ElementsAre("ff:04.0"));
    EXPECT_THAT(bridges(), IsEmpty());
}

TEST_F(BusScan, TheWorkingListIsChosenByTheExactClassNameAndTheBusIsScannedOnceWhateverItIs) {
    files.addFunction(deviceAt(0, 1, 0)).addFunction(bridgeAt(0, 2, 0)).addFunction(deviceAt(0, 3, 0));
    struct Row {
        const char* className;
        std::vector<std::string> list;
    };
    const std::vector<std::string> theDevices = {"00:01.0", "00:03.0"};
    for (const Row& row :
         {Row{"QELTA_PCIDevice", theDevices}, Row{"QELTA_DeviceInSlot", theDevices},
          Row{"QELTA_PCIBridge", {"00:02.0"}}, Row{"QELTA_SystemSlot", {}}, Row{"QELTA_SystemBoard", {}},
          Row{"QELTA_OnBoardDevice", {}}, Row{"QELTA_SSPCIController", {}}, Row{"QELTA_OBDPCIController", {}},
          Row{"QELTA_Controller", {}}, Row{"qelta_pcidevice", {}}, Row{"QELTA_PCIDEVICE", {}},
          Row{"QELTA_pciBridge", {}}, Row{"QELTA_PCIDevice ", {}}, Row{"QELTA_PCIDevic", {}}, Row{"", {}},
          Row{nullptr, {}}}) {
        host().clearEvents();
        EXPECT_EQ(addresses(scan(row.className)), row.list) << ::testing::PrintToString(row.className);
        std::vector<std::string> opened;
        for (const auto& file : host().eventsOf<FileOpened>()) opened.push_back(file.path);
        EXPECT_EQ(std::count(opened.begin(), opened.end(), "/proc/bus/pci/devices"), 1);
        for (const char* function : {"01.0", "02.0", "03.0"}) {
            EXPECT_EQ(std::count(opened.begin(), opened.end(), "/proc/bus/pci/00/"s + function), 1) << function;
        }
    }
}

TEST_F(BusScan, AMissingOrUnreadableListGivesNoRecordsAndNoMessage) {
    files.remove(kList);
    EXPECT_THAT(devices(), IsEmpty());
    EXPECT_THAT(bridges(), IsEmpty());
    files.makeDirectory(kList);
    EXPECT_THAT(devices(), IsEmpty());
    EXPECT_THAT(host().logTexts(), IsEmpty());
}

TEST_F(BusScan, TheScanTellsWhetherTheListCouldBeOpened) {
    files.addFunction(deviceAt(0, 1, 0));
    host();
    TPciDevInfo info("QELTA_PCIDevice");
    EXPECT_EQ(info.getAltHDList(), 1);
    files.setFile(kList, ""s);
    EXPECT_EQ(info.getAltHDList(), 1);
    files.remove(kList);
    EXPECT_EQ(info.getAltHDList(), 0);
}

TEST_F(BusScan, TheWorkingListKeepsItsRecordsAndTheirPlacesWhenTheOthersGrow) {
    constexpr unsigned kCount = 100;
    for (unsigned i = 0; i < kCount; ++i) files.addFunction(deviceAt(i, 1, 0));
    host();
    TPciDevInfo info("QELTA_PCIDevice");
    const auto* first = info.setFirstElement();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(info.getAltHDList(), 1);
    EXPECT_EQ(info.setFirstElement(), first);
    unsigned count = 0;
    while (const auto* record = info.getNextElement()) EXPECT_EQ(record->bus, count++);
    EXPECT_EQ(count, kCount);
}

TEST_F(BusScan, ScanningAgainEmptiesTheWorkingList) {
    files.addFunction(deviceAt(0, 1, 0));
    host();
    TPciDevInfo info("QELTA_PCIDevice");
    info.ScanPciDevices();
    EXPECT_EQ(info.setFirstElement(), nullptr);
    EXPECT_EQ(info.getNextElement(), nullptr);
}

// ---------------------------------------------------------------------------------------------------------------
// Elements

TEST_F(BusScan, ElementsComeOneAfterTheOtherUntilNullAndFromTheFirstOnceItIsSetAgain) {
    files.addFunction(deviceAt(0, 1, 0)).addFunction(deviceAt(0, 2, 0));
    host();
    TPciDevInfo info("QELTA_PCIDevice");
    EXPECT_EQ(info.getNextElement()->dev, 1);
    for (const char* set : {"in the middle", "at the end"}) {
        SCOPED_TRACE(set);
        EXPECT_EQ(info.setFirstElement()->dev, 1);
        EXPECT_EQ(info.getNextElement()->dev, 1);
        EXPECT_EQ(info.getNextElement()->dev, 2);
        EXPECT_EQ(info.getNextElement(), nullptr);
        EXPECT_EQ(info.getNextElement(), nullptr);
    }
}

TEST_F(BusScan, TheSlotOfADeviceIsNeverTold) {
    files.addFunction(deviceAt(0, 1, 0));
    host();
    TPciDevInfo info("QELTA_PCIDevice");
    sPciDevices record;
    record.slotNum = 7;
    unsigned char slot = 99;
    EXPECT_EQ(info.GetDeviceSlot(&record, &slot), 0);
    EXPECT_EQ(slot, 99);
    EXPECT_EQ(info.GetDeviceSlot(nullptr, nullptr), 0);
}

TEST_F(BusScan, AnInventoryIsDestroyedThroughItsBase) {
    static_assert(std::has_virtual_destructor_v<TPci> && std::is_base_of_v<TPci, TPciDevInfo>);
    files.addFunction(deviceAt(0, 1, 0)).addFunction(bridgeAt(0, 2, 0));
    host();
    std::unique_ptr<TPci> info = std::make_unique<TPciDevInfo>("QELTA_PCIDevice");
    EXPECT_NE(dynamic_cast<TPciDevInfo*>(info.get()), nullptr);
    info.reset();  // the leak checker watches
}

// ---------------------------------------------------------------------------------------------------------------
// What a line tells

/** A list, and the records of the devices that one scan makes of it: address, vendor and device, interrupt. */
struct List {
    const char* what;
    std::string text;
    std::vector<std::string> records;

    friend void PrintTo(const List& list, std::ostream* out) { *out << ::testing::PrintToString(list.text); }
};

class BusScanLists : public BusScan, public ::testing::WithParamInterface<List> {};

TEST_P(BusScanLists, AreReadLineByLine) {
    files.setFile(kList, GetParam().text);
    std::vector<std::string> records;
    for (const sPciDevices& record : devices()) {
        records.push_back(fmt::format("{:02x}:{:02x}.{:x} {:04x}{:04x} {:x}", record.bus, record.dev, record.func,
                                      record.vendorId, record.deviceId, record.irq));
        EXPECT_EQ(record.slotNum, record.dev);
    }
    EXPECT_EQ(records, GetParam().records);
}

INSTANTIATE_TEST_SUITE_P(
    Whose, BusScanLists,
    ::testing::Values(
        List{"AddressesAreInTheLowSixteenBitsOfTheFirstField",
             "0000\t80861229\n00fb\n00ff\nff08\na5a5\nA5A5\n8\n",
             {"00:00.0 80861229 0", "00:1f.3 80861229 0", "00:1f.7 80861229 0", "ff:01.0 80861229 0",
              "a5:14.5 80861229 0", "a5:14.5 80861229 0", "00:01.0 80861229 0"}},
        List{"BusNumbersAboveFFAreCut",
             "1234567\t80861229\n1000000000001a9\n",
             {"45:0c.7 80861229 0", "01:15.1 80861229 0"}},
        List{"BusFEIsLeftOutInEveryDomain", "1fe08\t80861229\n", {}},
        List{"VendorDeviceAndIrqAreCutToSixteenBits", "0008\t1234567890abcdef\t12345678\n", {"00:01.0 90abcdef 5678"}},
        List{"ShortLinesKeepThePreviousLinesValuesInWhatTheyDidNotReach",
             "0008\t80861229\t11\n0110\t10ec8139\n0218\n",
             {"00:01.0 80861229 11", "01:02.0 10ec8139 11", "02:03.0 10ec8139 11"}},
        List{"FirstLineTellsNoIrqLeavesItZero",
             "0008\t80861229\n0010\t80861230\t5\n",
             {"00:01.0 80861229 0", "00:02.0 80861230 5"}},
        List{"FirstLineTellsNoVendorGivesNoRecord", "0008\n", {}},
        List{"FirstLinesWithoutAnyFieldGiveNoRecord", "\ngarbage\n0008\t80861229\n", {"00:01.0 80861229 0"}},
        List{"LineAfterOneWithoutVendorIsLeftOutToo",
             "0008\t00001229\n0010\n0018\t80861229\n0020\n",
             {"00:03.0 80861229 0", "00:04.0 80861229 0"}},
        List{"FieldsEndAtTheFirstThatIsNoHexadecimalNumber",
             "0008\t80861229\t11\n0010\t10ec8139\tnone\t5\n",
             {"00:01.0 80861229 11", "00:02.0 10ec8139 11"}},
        List{"DriverNamesAreIgnored",
             "0008\t80861229\t5\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t0\tbeef_driver\n",
             {"00:01.0 80861229 5"}},
        List{"LastLineNeedsNoLineEnd",
             "0008\t80861229\t0\n0010\t10ec8139\t0",
             {"00:01.0 80861229 0", "00:02.0 10ec8139 0"}},
        List{"CarriageReturnsAndBlanksBetweenFieldsDoNotMatter",
             "  0008 80861229   5\r\n0010\t\t10ec8139 6\r\n",
             {"00:01.0 80861229 5", "00:02.0 10ec8139 6"}},
        List{"LinesEndAtAZeroByte",
             "0008\t80861229\t11\n0010\t10ec8139\0\t12\n\0\n0018\t10ec8139\t13\n"s,
             {"00:01.0 80861229 11", "00:02.0 10ec8139 11", "00:02.0 10ec8139 11", "00:03.0 10ec8139 13"}},
        // 2,048 bytes hold 2,046 characters, the line end and the terminating zero.
        List{"LineFillsTheBuffer",
             "0008\t80861229\t" + std::string(2046 - 15, ' ') + "7\n0010\t10ec8139\t12\n",
             {"00:01.0 80861229 7", "00:02.0 10ec8139 12"}},
        // The digits on both sides of the cut count.
        List{"LineIsLongerThanTheBufferAndCutThere",
             "0008\t80861229\t" + std::string(2047 - 15, ' ') + "72118\t10ec8139\t12\n0020\t80861230\t13\n",
             {"00:01.0 80861229 7", "21:03.0 10ec8139 12", "00:04.0 80861230 13"}},
        List{"LineOfGarbageRepeatsTheRecordForEachBufferful",
             "0008\t80861229\n" + std::string(5000, 'x') + "\n",
             {"00:01.0 80861229 0", "00:01.0 80861229 0", "00:01.0 80861229 0", "00:01.0 80861229 0"}}),
    testsupport::CaseName{});

/** Device numbers that have a user-visible number, by the highest slot that the BMC's table tells of. */
class BusScanUiNumbers : public BusScan, public ::testing::WithParamInterface<unsigned> {};

TEST_P(BusScanUiNumbers, AreTheDeviceNumbersUpToTheHighestSystemSlot) {
    for (unsigned dev = 0; dev < 32; ++dev) files.addFunction(deviceAt(0, dev, 0));
    if (GetParam() != 0) setHighestSlot(static_cast<std::uint16_t>(GetParam()));
    const auto records = devices();
    ASSERT_THAT(records, SizeIs(32));
    for (unsigned dev = 0; dev < 32; ++dev) {
        EXPECT_EQ(records[dev].slotNum, dev) << "whatever slots there are";
        EXPECT_EQ(records[dev].uiNumber, dev <= GetParam() ? dev : 0U) << dev;
    }
}

INSTANTIATE_TEST_SUITE_P(HighestSlot, BusScanUiNumbers, ::testing::Values(0U, 1U, 4U, 30U, 31U, 128U, 255U));

// ---------------------------------------------------------------------------------------------------------------
// Lines that are not as they should be

TEST_F(BusScan, ALineWithoutAnyFieldRepeatsThePreviousRecord) {
    PciFunction function = deviceAt(1, 2, 3);
    function.irq = 9;
    function.revision = 0x17;
    function.subsystem = 0x4711;
    function.bars[0] = 0xFEBF0008;
    for (const char* line : {"", "   \t ", "garbage", "#0008 80861229", "xyz 1 2 3", "-"}) {
        files.setFile(kList, ""s);
        files.addFunction(function).addRawDevicesLine(line);
        const auto records = devices();
        ASSERT_THAT(addresses(records), ElementsAre("01:02.3", "01:02.3")) << line;
        EXPECT_EQ(records[1].vendorId, records[0].vendorId);
        EXPECT_EQ(records[1].irq, 9);
        EXPECT_EQ(records[1].revision, 0x17) << "its configuration space is read once more";
        EXPECT_EQ(records[1].subsystemId, 0x4711);
        EXPECT_THAT(records[1].memAddr, ElementsAre(0xFEBF00, 0, 0, 0, 0, 0));
    }
}

TEST_F(BusScan, AFirstLineWithoutAnyFieldIsReadAsFunctionZeroOfBusZero) {
    PciFunction function = deviceAt(0, 0, 0);
    function.bars[0] = 0xFEBF0008;
    files.addFunction(function).setFile(kList, "garbage\n0008\t80861229\t0\n"s);
    const auto records = devices();
    ASSERT_THAT(addresses(records), ElementsAre("00:01.0"));
    EXPECT_EQ(host().logTexts().at(0), "SCANPCIDEV - slotnum [0] uinumber [0]");
    EXPECT_EQ(records[0].memAddr[0], 0xFEBF00U) << "of the configuration space that was read last";
}

TEST_F(BusScan, ArbitraryBytesGiveNoRecordWithoutVendorOrOfBusFE) {
    std::mt19937 random(20240229);
    std::uniform_int_distribution<int> byte(0, 255);
    for (int round = 0; round < 20; ++round) {
        std::string bytes = "0008 80861229\n";
        while (bytes.size() < 20000) {
            // Half of the characters are such as a list has, so that some fields convert.
            const int value = byte(random);
            bytes += value < 128 ? "0123456789abcdef \t\n"[value % 19] : static_cast<char>(byte(random));
        }
        files.setFile(kList, bytes);
        const auto records = devices();
        ASSERT_THAT(records, Not(IsEmpty()));
        for (const sPciDevices& record : records) {
            EXPECT_NE(record.vendorId, 0);
            EXPECT_NE(record.bus, 0xFE);
            EXPECT_LT(record.dev, 32);
            EXPECT_LT(record.func, 8);
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Order

/** The files and devices that were opened, in order. */
std::vector<std::string> openings(const emulator::EmulatedHost& host) {
    std::vector<std::string> paths;
    for (const emulator::Event& event : host.events()) {
        if (const auto* file = std::get_if<FileOpened>(&event)) paths.push_back(file->path + " " + file->mode);
        if (const auto* device = std::get_if<DeviceOpened>(&event)) paths.push_back(device->path);
    }
    return paths;
}

TEST_F(BusScan, TheBmcIsAskedFirstThenTheCataloguesAreLoadedThenTheBusIsRead) {
    setHighestSlot(4);
    PciFunction gone = deviceAt(0, 2, 0);
    gone.hasConfig = false;
    files.addFunction(deviceAt(0, 1, 0)).addFunction(gone).setCatalogue("x").setClassList("x");
    devices();
    EXPECT_THAT(openings(host()),
                ElementsAre("/dev/ipmi0", "/etc/vmware/pci.xml r", "/etc/vmware/pci.classlist r",
                            "/proc/bus/pci/devices r", "/proc/bus/pci/00/01.0 r", "/proc/bus/pci/00/02.0 r"));
}

TEST_F(BusScan, TheBmcAndTheCataloguesAreAskedEvenIfThereIsNoBus) {
    setHighestSlot(4);
    files.setCatalogue("x").setClassList("x").remove("proc");
    devices();
    EXPECT_THAT(openings(host()), ElementsAre("/dev/ipmi0", "/etc/vmware/pci.xml r", "/etc/vmware/pci.classlist r",
                                              "/proc/bus/pci/devices r"));
    EXPECT_EQ(host().openFiles(), 0U);
}

TEST_F(BusScan, AnExceptionInTheMiddleOfAScanLeavesNoFileOpen) {
    setHighestSlot(4);
    files.addFunction(deviceAt(0, 1, 0)).addFunction(deviceAt(0, 2, 0)).setCatalogue("x").setClassList("x");
    host().onFileOpen([](const std::string& path) {
        if (path == "/proc/bus/pci/00/02.0") throw std::runtime_error(path);
    });
    EXPECT_THROW(devices(), std::runtime_error);
    EXPECT_EQ(host().openFiles(), 0U);
}

TEST_F(BusScan, AFunctionThatGoesAwayInTheMiddleOfAScanIsStillListed) {
    files.addFunction(deviceAt(0, 1, 0)).addFunction(bridgeAt(0, 2, 0)).addFunction(deviceAt(0, 3, 0));
    host().onFileOpen([this](const std::string& path) {
        if (path == "/proc/bus/pci/00/02.0") files.remove(path.substr(1));
    });
    EXPECT_THAT(addresses(devices()), ElementsAre("00:01.0", "00:02.0", "00:03.0"));
}

}  // namespace
