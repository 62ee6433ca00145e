/** What one scan takes from the configuration space of each function, and what it logs of it. */
#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>

#include "tests/support/casename.h"
#include "tests/support/records.h"
#include "tests/unit/pcihost.h"

namespace {

using namespace std::string_literals;
using emulator::FileRead;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using testsupport::allLines;
using testsupport::bridgeAt;
using testsupport::deviceAt;
using testsupport::errorLog;
using testsupport::Lines;
using testsupport::PciFunction;
using tPCIInfo::sPciDevices;

class ConfigurationSpace : public PciHostTest {};

TEST_F(ConfigurationSpace, EveryMemberComesFromTheLineOrTheConfigurationSpace) {
    PciFunction function = deviceAt(0x1A, 0x0B, 3);
    function.vendor = 0x10EC;
    function.device = 0x8139;
    function.irq = 0x13;
    function.irqLine = 0x0B;
    function.classCode = 0x02;
    function.subclass = 0x80;
    function.revision = 0xA5;
    function.subsystemVendor = 0x1028;
    function.subsystem = 0xBEEF;
    function.bars[1] = 0xFEBF0008;
    function.sizes[1] = 0x8000;
    files.addFunction(function);
    setHighestSlot(0x0B);
    const sPciDevices record = device();
    EXPECT_EQ(record.bus, 0x1A);
    EXPECT_EQ(record.dev, 0x0B);
    EXPECT_EQ(record.func, 3);
    EXPECT_EQ(record.vendorId, 0x10EC);
    EXPECT_EQ(record.deviceId, 0x8139);
    EXPECT_EQ(record.irq, 0x13) << "the kernel's, not the register's";
    EXPECT_EQ(record.classCode, 0x02);
    EXPECT_EQ(record.hwClass, 0x02);
    EXPECT_EQ(record.subclass, 0x80);
    EXPECT_EQ(record.revision, 0xA5);
    EXPECT_EQ(record.subsystemVendorId, 0x1028);
    EXPECT_EQ(record.subsystemId, 0xBEEF);
    EXPECT_THAT(record.memAddr, ElementsAre(0, 0xFEBF00, 0, 0, 0, 0));
    EXPECT_THAT(record.memLen, ElementsAre(0, 0x8000, 0, 0, 0, 0));
    EXPECT_THAT(record.ioAddr, Each(0));
    EXPECT_THAT(record.ioLen, Each(0));
    EXPECT_EQ(record.slotNum, 0x0B);
    EXPECT_EQ(record.uiNumber, 0x0B);
    EXPECT_EQ(record.classTag, "classname");
}

TEST_F(ConfigurationSpace, IdentityComesFromTheListEvenWhereTheConfigurationSpaceSaysOtherwise) {
    PciFunction function = deviceAt(0, 1, 0);
    files.addFunction(function);
    function.vendor = 0xFFFF;
    function.device = 0xFFFF;
    files.setFile("proc/bus/pci/00/01.0", testsupport::configSpace(function));
    EXPECT_EQ(device().vendorId, 0x8086);
    EXPECT_EQ(device().deviceId, 0x1234);
}

TEST_F(ConfigurationSpace, OnlyTheFirst64BytesAreKeptAndAskedForInOneUnbufferedRead) {
    PciFunction function = deviceAt(0x0A, 0x1F, 3);
    function.configLength = 4096;  // FFh from byte 64 on
    function.irqLine = 0x0A;
    files.addFunction(function);
    const sPciDevices record = device();
    const testsupport::Bytes expected = testsupport::configSpace(function);
    EXPECT_TRUE(std::equal(expected.begin(), expected.begin() + 64, record.config));
    EXPECT_TRUE(std::all_of(record.config + 64, record.config + 256, [](std::uint8_t byte) { return byte == 0; }));
    std::vector<FileRead> reads = host().eventsOf<FileRead>();
    reads.erase(std::remove_if(reads.begin(), reads.end(),
                               [](const FileRead& read) { return read.path == "/proc/bus/pci/devices"; }),
                reads.end());
    ASSERT_THAT(reads, SizeIs(1));
    EXPECT_EQ(reads[0].path, "/proc/bus/pci/0a/1f.3");
    EXPECT_EQ(reads[0].asked, 64U);
    EXPECT_EQ(reads[0].got, 64U);
}

// ---------------------------------------------------------------------------------------------------------------
// Base address registers

struct Bar {
    const char* what;
    std::uint32_t raw;
    std::uint64_t size;
    const char* kind;       // as it is logged; none where no address is found
    std::uint32_t address;  // that is found
    std::uint32_t length;   // in memory; ports have none

    bool isMemory() const { return kind != nullptr && kind == "MEM"s; }
    bool isPorts() const { return kind != nullptr && kind == "IO"s; }
    /** What is logged of it before the two lines that every BAR has. */
    Lines log() const {
        if (kind == nullptr) return {};
        return {fmt::format("found {} address and it is [{:x}] and length is [{}]", kind, address, length)};
    }

    friend void PrintTo(const Bar& bar, std::ostream* out) { *out << fmt::format("{:08x}", bar.raw); }
};

class BaseAddressRegister : public PciHostTest, public ::testing::WithParamInterface<Bar> {};

TEST_P(BaseAddressRegister, IsDecodedByItsWholeLowByte) {
    const Bar& bar = GetParam();
    for (std::size_t index = 0; index < 6; ++index) {
        files.setFile("proc/bus/pci/devices", ""s);
        PciFunction function = deviceAt(0, 1, 0);
        function.bars[index] = bar.raw;
        function.sizes[index] = bar.size;
        files.addFunction(function);
        host().clearEvents();
        const sPciDevices record = device();
        for (std::size_t other = 0; other < 6; ++other) {
            const bool mine = other == index;
            EXPECT_EQ(record.memAddr[other], mine && bar.isMemory() ? bar.address : 0U) << index;
            EXPECT_EQ(record.memLen[other], mine ? bar.length : 0U) << index;
            EXPECT_EQ(record.ioAddr[other], mine && bar.isPorts() ? bar.address : 0U) << index;
            EXPECT_EQ(record.ioLen[other], 0U) << index;
        }
        Lines found = host().logTexts();
        found.erase(
            std::remove_if(found.begin(), found.end(), [](const auto& line) { return line.find("found") != 0; }),
            found.end());
        EXPECT_EQ(found, bar.log()) << index;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, BaseAddressRegister,
    ::testing::Values(Bar{"NoBar", 0, 0, nullptr, 0, 0},
                      Bar{"PortsWithAClearLowByteTakeBytesOneAndTwo", 0x0000E001, 0x20, "IO", 0xE000, 0},
                      Bar{"PortsKeepTheHigherOfTheTwoBytesFirst", 0x78563401, 0x20, "IO", 0x3456, 0},
                      Bar{"PortsAtAddressZero", 0x00000001, 0, "IO", 0, 0},
                      Bar{"PortsWithAddressBitsInTheLowByteCountAsMemory", 0x0000E081, 0x40, "MEM", 0xE0, 0x40},
                      Bar{"MemoryWithAClearLowByteGivesNothing", 0xFE000000, 0x1000, nullptr, 0, 0},
                      Bar{"PrefetchableMemoryLosesItsLowByte", 0xFEBF0008, 0x8000, "MEM", 0xFEBF00, 0x8000},
                      Bar{"WideMemory", 0xF7FF0004, 0x4000, "MEM", 0xF7FF00, 0x4000},
                      Bar{"WidePrefetchableMemory", 0xE000000C, 0xFFFF, "MEM", 0xE00000, 0xFFFF},
                      Bar{"MemoryBelowOneMegabyte", 0x000D0002, 0x100, "MEM", 0x0D00, 0x100},
                      Bar{"TheLowByteAloneMakesAMemoryAddressOfZero", 0x00000008, 0x10, "MEM", 0, 0x10},
                      Bar{"AllBitsSet", 0xFFFFFFFF, 0x10, "MEM", 0xFFFFFF, 0x10},
                      Bar{"ASizeOfOneMegabyteHasNoLength", 0xFEB00008, 0x00100000, "MEM", 0xFEB000, 0},
                      Bar{"ASizeKeepsItsLowSixteenBitsOnly", 0xFEB00008, 0x12345678, "MEM", 0xFEB000, 0x5678},
                      Bar{"ASizeBeyond32BitsKeepsItsLowSixteenBitsOnly", 0xFEB0000C, 0xABC000001000, "MEM", 0xFEB000,
                          0x1000}),
    testsupport::CaseName{});

TEST_F(ConfigurationSpace, BarsComeFromTheRegistersAndNotFromTheListsAddresses) {
    PciFunction function = deviceAt(0, 1, 0);
    function.bars[0] = 0xFEBF0008;
    files.addFunction(function);
    function.bars[0] = 0;
    function.bars[1] = 0xC001;
    files.setFile("proc/bus/pci/00/01.0", testsupport::configSpace(function));
    EXPECT_THAT(device().memAddr, Each(0));
    EXPECT_THAT(device().ioAddr, ElementsAre(0, 0xC000, 0, 0, 0, 0));
}

// ---------------------------------------------------------------------------------------------------------------
// The working record

/** A function with something in every member, then one without a whole configuration space. */
class CarryOver : public PciHostTest {
 protected:
    CarryOver() {
        files.setClassList("C 02  Network\n\t80  Other network\nC 06  Bridge\n\t04  PCI bridge\n");
        first = deviceAt(0, 1, 0);
        first.subclass = 0x80;
        first.revision = 0x11;
        first.subsystem = 0x2222;
        first.subsystemVendor = 0x3333;
        first.cacheLineSize = 0x44;
        first.irqLine = 0x55;
        first.bars = {0xFEBF0008, 0xE001, 0, 0, 0, 0xFEA00008};
        first.sizes = {0x100, 0x20, 0, 0, 0, 0x200};
        second = bridgeAt(0, 2, 0);
        second.vendor = 0x10EC;
        second.revision = 0x66;
        second.bars = {0, 0xD001, 0xFE900008, 0, 0, 0};
    }

    /** The record of the second function, which ends up among the devices. */
    sPciDevices secondRecord() {
        files.addFunction(first).addFunction(second);
        const auto records = devices();
        EXPECT_THAT(addresses(records), ElementsAre("00:01.0", "00:02.0"));
        EXPECT_THAT(bridges(), IsEmpty());
        return records.size() == 2 ? records[1] : sPciDevices();
    }

    static void expectFirstFunctionsTextAndAddresses(const sPciDevices& record) {
        EXPECT_EQ(record.className, "Other network");
        EXPECT_THAT(record.memAddr, ElementsAre(0xFEBF00, 0, 0, 0, 0, 0xFEA000));
        EXPECT_THAT(record.memLen, ElementsAre(0x100, 0, 0, 0, 0, 0x200));
        EXPECT_THAT(record.ioAddr, ElementsAre(0, 0xE000, 0, 0, 0, 0));
    }

    static void expectNoAddresses(const sPciDevices& record) {
        EXPECT_THAT(record.memAddr, Each(0));
        EXPECT_THAT(record.memLen, Each(0));
        EXPECT_THAT(record.ioAddr, Each(0));
    }

    PciFunction first;
    PciFunction second;
};

/** What can be read of the second function's configuration space. */
struct PartlyRead {
    const char* what;
    std::size_t length;
    bool file = true;
    bool directory = false;  // in place of the file
};

class CarryOverTo : public CarryOver, public ::testing::WithParamInterface<PartlyRead> {};

TEST_P(CarryOverTo, ClassTextAddressesAndTheBytesThatDidNotComeStayThoseOfThePreviousLine) {
    const auto& [what, length, file, directory] = GetParam();
    second.configLength = length;
    second.hasConfig = file;
    if (directory) files.makeDirectory("proc/bus/pci/00/02.0");
    const sPciDevices record = secondRecord();
    EXPECT_EQ(record.classCode, 0);
    EXPECT_EQ(record.hwClass, 0);
    EXPECT_EQ(record.subclass, 0);
    EXPECT_EQ(record.revision, 0);
    EXPECT_EQ(record.subsystemId, 0);
    EXPECT_EQ(record.subsystemVendorId, file || directory ? 2 : 0);
    expectFirstFunctionsTextAndAddresses(record);
    testsupport::Bytes expected = testsupport::configSpace(first);
    const testsupport::Bytes came = testsupport::configSpace(second);
    std::copy(came.begin(), came.end(), expected.begin());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), record.config));
    EXPECT_EQ(record.vendorId, 0x10EC) << "the line's own values count";
    EXPECT_EQ(record.slotNum, 2);
}

INSTANTIATE_TEST_SUITE_P(AFunction, CarryOverTo,
                         ::testing::Values(PartlyRead{"WithoutAFile", 0, false},
                                           PartlyRead{"WithADirectory", 0, false, true},
                                           PartlyRead{"WithAnEmptyFile", 0}, PartlyRead{"WithTwelveBytes", 12},
                                           PartlyRead{"WithOneByteLessThanIsWanted", 63}),
                         testsupport::CaseName{});

TEST_F(CarryOver, ReachesOverSeveralLinesAndEndsWithTheNextFullRead) {
    second.hasConfig = false;
    PciFunction third = deviceAt(0, 3, 0);
    third.configLength = 5;
    PciFunction fourth = deviceAt(0, 4, 0);
    fourth.classCode = 0x55;
    files.addFunction(first).addFunction(second).addFunction(third).addFunction(fourth);
    const auto records = devices();
    ASSERT_THAT(records, SizeIs(4));
    expectFirstFunctionsTextAndAddresses(records[1]);
    expectFirstFunctionsTextAndAddresses(records[2]);
    EXPECT_EQ(records[3].className, "PIC:");
    expectNoAddresses(records[3]);
}

TEST_F(CarryOver, ComesFromFunctionsThatAreNotKeptThemselves) {
    first.bus = 0xFE;
    second.hasConfig = false;
    files.addFunction(first).addFunction(second);
    const auto records = devices();
    ASSERT_THAT(addresses(records), ElementsAre("00:02.0"));
    expectFirstFunctionsTextAndAddresses(records[0]);
}

TEST_F(CarryOver, DoesNotReachIntoTheNextRequest) {
    files.addFunction(first);
    expectFirstFunctionsTextAndAddresses(device());
    files.setFile("proc/bus/pci/devices", ""s);
    second.hasConfig = false;
    files.addFunction(second);
    const sPciDevices record = device();
    EXPECT_EQ(record.className, "");
    expectNoAddresses(record);
    EXPECT_THAT(record.config, Each(0));
}

TEST_F(CarryOver, NamesOfVendorAndDeviceAreNeverCarriedOver) {
    files.setCatalogue(R"(<vendor id="8086"><name>V</name><device id="1234"><name>D</name>)");
    second.device = 0x9999;
    second.hasConfig = false;
    const sPciDevices record = secondRecord();
    EXPECT_EQ(record.vendorName, "vendor");
    EXPECT_EQ(record.deviceName, "descrip");
    EXPECT_EQ(record.classTag, "classname");
}

// ---------------------------------------------------------------------------------------------------------------
// Log

Lines scannedLine(unsigned slotNum, unsigned uiNumber) {
    return {fmt::format("SCANPCIDEV - slotnum [{:x}] uinumber [{:x}]", slotNum, uiNumber)};
}

Lines readLines(int got) {
    return {"reading the configuration registers",
            fmt::format("reading the configuration registers with ret of {}", got)};
}

Lines barLines(unsigned index, const Lines& found, const std::string& bytes, std::uint64_t size) {
    return allLines(
        {found,
         {"reading base addr " + bytes, fmt::format("Reading the size array index [{}] size [{:x}]", index, size)}});
}

TEST_F(ConfigurationSpace, EveryStepOfAFullReadIsLoggedInOrder) {
    setHighestSlot(0x1F);
    PciFunction function = deviceAt(0x2A, 0x1F, 3);
    function.vendor = 0x10EC;
    function.classCode = 0x0C;
    function.cacheLineSize = 0x10;
    function.irqLine = 0x0B;
    function.irq = 0x99;
    function.bars = {0x0000E001, 0xFEBF0008, 0xFE000000, 0x0000E081, 0, 0xE000000C};
    function.sizes = {0x20, 0x4000, 0x1000, 0x80, 0xFEDCBA98, 0x123456789A};
    files.addFunction(function);
    function.vendor = 0x12AB;  // what the register says
    files.setFile("proc/bus/pci/2a/1f.3", testsupport::configSpace(function));
    devices();
    EXPECT_EQ(
        errorLog(host()),
        allLines(
            {scannedLine(0x1F, 0x1F),
             readLines(64),
             {"was able to get the configuration data",
              "bus 2a dev 1f func 3 slot 1f vendor 10ec new vendor ab hw class c"},
             barLines(0, {"found IO address and it is [e000] and length is [0]"}, "[1][e0][0][0]", 0x20),
             barLines(1, {"found MEM address and it is [febf00] and length is [16384]"}, "[8][0][bf][fe]", 0x4000),
             barLines(2, {}, "[0][0][0][fe]", 0x1000),
             barLines(3, {"found MEM address and it is [e0] and length is [128]"}, "[81][e0][0][0]", 0x80),
             barLines(4, {}, "[0][0][0][0]", 0xFEDCBA98),
             barLines(5, {"found MEM address and it is [e00000] and length is [30874]"}, "[c][0][0][e0]", 0x123456789A),
             {"cache line size [10]", "irq line [b]"}}));
}

TEST_F(ConfigurationSpace, AShortReadIsLogged) {
    PciFunction function = deviceAt(0, 9, 0);
    function.configLength = 20;
    files.addFunction(function);
    devices();
    EXPECT_EQ(errorLog(host()),
              allLines({scannedLine(9, 0), readLines(20), {"was not able to get the configuration data"}}));
}

TEST_F(ConfigurationSpace, ALineWithoutAnyFieldLogsThePreviousNumbers) {
    setHighestSlot(4);
    PciFunction function = deviceAt(0, 3, 0);
    function.hasConfig = false;
    files.addRawDevicesLine("garbage").addFunction(function).addRawDevicesLine("garbage");
    devices();
    EXPECT_EQ(errorLog(host()), allLines({scannedLine(0, 0), scannedLine(3, 3), scannedLine(3, 3)}));
}

TEST_F(ConfigurationSpace, FunctionsThatAreNotKeptAreLoggedAllTheSame) {
    PciFunction function = bridgeAt(0xFE, 9, 0);
    files.addFunction(function);
    devices();
    EXPECT_THAT(errorLog(host()), Contains("bus fe dev 9 func 0 slot 9 vendor 8086 new vendor 86 hw class 6"));
}

}  // namespace
