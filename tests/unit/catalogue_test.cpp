/** The names of vendors, devices and classes: loading the catalogues and finding texts in them. */
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <utility>

#include "tests/support/casename.h"
#include "tests/unit/pcihost.h"

namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testsupport::PciFunction;
using tPCIInfo::TPciDevInfo;

// ---------------------------------------------------------------------------------------------------------------
// Loading: what holds for one catalogue holds for the other

struct Catalogue {
    const char* name;
    const char* path;
    TPciDevInfo::CatalogueText (*load)();

    friend void PrintTo(const Catalogue& catalogue, std::ostream* out) { *out << catalogue.path; }
};

/** Ends a program that waits for ever, as on a FIFO that nobody writes to. */
class Watchdog {
 public:
    Watchdog() { alarm(60); }
    ~Watchdog() { alarm(0); }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
};

class CatalogueLoading : public PciHostTest, public ::testing::WithParamInterface<Catalogue> {
 protected:
    std::string relativePath() const { return GetParam().path + 1; }

    void setContent(const std::string& content) { files.setFile(relativePath(), content); }

    void linkTo(const std::string& target) {
        const auto link = files.path(relativePath());
        std::filesystem::create_directories(link.parent_path());
        std::filesystem::create_symlink(target, link);
    }

    /** Loads the catalogue; whatever comes of it, the file is closed again. */
    TPciDevInfo::CatalogueText load() {
        host();
        const Watchdog watchdog;
        auto text = GetParam().load();
        EXPECT_EQ(host().openFiles(), 0U);
        EXPECT_THAT(host().logTexts(), IsEmpty());
        return text;
    }
};

TEST_P(CatalogueLoading, OpensItsFileForReading) {
    setContent("text\n");
    load();
    const auto opened = host().eventsOf<emulator::FileOpened>();
    ASSERT_EQ(opened.size(), 1U);
    EXPECT_EQ(opened[0].path, GetParam().path);
    EXPECT_EQ(opened[0].mode, "r");
    EXPECT_TRUE(opened[0].ok);
}

TEST_P(CatalogueLoading, GivesTheWholeTextTerminatedAndReadsItAfreshEachTime) {
    const std::string large = std::string(7 * 1024 * 1024, 'n') + "the end";
    for (const std::string& content : {"one\r\ntwo\n"s, "x"s, "front\0back"s, large}) {
        setContent(content);
        const auto text = load();
        ASSERT_NE(text, nullptr) << content.size();
        EXPECT_EQ(std::memcmp(text.get(), content.c_str(), content.size() + 1), 0) << content.size();
    }
}

TEST_P(CatalogueLoading, FollowsALinkToAFile) {
    files.setFile("elsewhere", "linked"s);
    linkTo(files.path("elsewhere").string());
    const auto text = load();
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text.get(), "linked");
}

TEST_P(CatalogueLoading, GivesNothingForWhatIsNoFileWithATextAndDoesNotWaitForOne) {
    EXPECT_EQ(load(), nullptr) << "missing";
    setContent("");
    EXPECT_EQ(load(), nullptr) << "empty";
    files.remove(relativePath()).makeDirectory(relativePath());
    EXPECT_EQ(load(), nullptr) << "a directory";
    files.remove(relativePath()).makeFifo(relativePath());
    EXPECT_EQ(load(), nullptr) << "a FIFO that nobody writes to";
    for (const char* target : {"/dev/zero", "/nowhere/at/all"}) {
        files.remove(relativePath());
        linkTo(target);
        EXPECT_EQ(load(), nullptr) << target;
    }
}

TEST_P(CatalogueLoading, GivesNothingForAFileThatIsShorterThanItsStatusSays) {
    const std::string shorter = "/sys/devices/system/cpu/online";  // a page long, says its status
    std::ifstream in(shorter);
    const std::string content(std::istreambuf_iterator<char>(in), {});
    std::error_code error;
    const auto size = std::filesystem::file_size(shorter, error);
    if (content.empty() || error || size <= content.size()) GTEST_SKIP() << "no such file on this machine";
    linkTo(shorter);
    EXPECT_EQ(load(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Of, CatalogueLoading,
    ::testing::Values(Catalogue{"VendorsAndDevices", "/etc/vmware/pci.xml", &TPciDevInfo::getVendDeviceDescripts},
                      Catalogue{"Classes", "/etc/vmware/pci.classlist", &TPciDevInfo::getClassDescripts}),
    [](const auto& row) { return row.param.name; });

// ---------------------------------------------------------------------------------------------------------------
// Vendors and devices

std::string lookUp(const std::string& text, const char* key, int id, const char* defaultName) {
    std::string name = "what was there before";
    TPciDevInfo::assignID(text.c_str(), key, id, defaultName, name);
    return name;
}

std::string vendorName(const std::string& text, int id) {
    return lookUp(text, "vendor id", id, "vendor");
}

std::string deviceName(const std::string& text, int id) {
    return lookUp(text, "device id", id, "descrip");
}

constexpr char kCatalogue[] = R"(<?xml version="1.0"?>
<pcitable>
  <vendor id="10ec">
    <name>Realtek</name>
    <device id="8139"><name>RTL8139</name></device>
    <device id="1229"><name>A clone</name></device>
  </vendor>
  <vendor id="8086">
    <name>Intel Corporation</name>
    <device id="1229"><name>82557</name></device>
    <device id="7190"><vendorsays>nothing</vendorsays></device>
    <device id="7191"><name>440BX AGP</name></device>
  </vendor>
  <vendor id="000f"><name>Padded</name></vendor>
</pcitable>
)";

TEST(NameLookup, TakesTheNameBehindTheKey) {
    EXPECT_EQ(vendorName(kCatalogue, 0x8086), "Intel Corporation");
    EXPECT_EQ(vendorName(kCatalogue, 0x10EC), "Realtek");
    EXPECT_EQ(deviceName(kCatalogue, 0x8139), "RTL8139");
    EXPECT_EQ(deviceName(kCatalogue, 0x7191), "440BX AGP");
}

TEST(NameLookup, LooksForFourDigitsPaddedWithZeros) {
    EXPECT_EQ(vendorName(kCatalogue, 0x000F), "Padded");
    EXPECT_EQ(vendorName(R"(<vendor id="f"><name>Not padded</name>)", 0x000F), "vendor");
}

TEST(NameLookup, TwoDevicesWithOneIdGetTheNameOfTheFirstEntryWhateverItsVendor) {
    EXPECT_EQ(deviceName(kCatalogue, 0x1229), "A clone");
}

TEST(NameLookup, AnEntryWithoutANameTakesThatOfTheNextEntryThatHasOne) {
    EXPECT_EQ(deviceName(kCatalogue, 0x7190), "440BX AGP");
}

TEST(NameLookup, ANumberUnderAnotherKeyOrUnderNoneIsPassedOver) {
    const std::string entry = "vendor id=\"8086\"><name>Intel</name>";
    for (const char* before : {"\"8086\" ", "=\"8086\" ", "device id=\"8086\"><name>Thing</name>", "\"8086\"8086\"",
                               "vendor id= \"8086\"", "endor id=\"8086\""}) {
        EXPECT_EQ(vendorName(before + entry, 0x8086), "Intel") << before;
    }
}

TEST(NameLookup, AnUnknownIdGivesTheDefault) {
    EXPECT_EQ(vendorName(kCatalogue, 0x1234), "vendor");
    EXPECT_EQ(deviceName(kCatalogue, 0x1234), "descrip");
    EXPECT_EQ(deviceName(kCatalogue, 0x8086), "descrip") << "the number of a vendor is none of a device";
}

TEST(NameLookup, AMissingCatalogueGivesTheDefault) {
    std::string name = "before";
    TPciDevInfo::assignID(nullptr, "vendor id", 0x8086, "vendor", name);
    EXPECT_EQ(name, "vendor");
}

TEST(NameLookup, AVendorIsFoundOnlyWhenItsAttributeIsWrittenExactly) {
    const std::string name = "><name>Realtek</name>";
    EXPECT_EQ(vendorName("<vendor id=\"10ec\"" + name, 0x10EC), "Realtek");
    for (const char* attribute :
         {"vendor id=\"10EC\"", "vendor id=\"10Ec\"", "vendor id = \"10ec\"", "vendor id= \"10ec\"",
          "vendor id =\"10ec\"", "vendor id='10ec'", "vendor id=10ec", "vendor  id=\"10ec\"", "vendor\tid=\"10ec\"",
          "Vendor id=\"10ec\"", "vendor id=\"0x10ec\"", "vendor id=\"10ec \"", "vendor id=\" 10ec\"", "id=\"10ec\""}) {
        EXPECT_EQ(vendorName("<" + (attribute + name), 0x10EC), "vendor") << attribute;
    }
}

/** A text in which the name of vendor 8086h is looked up. */
struct VendorText {
    const char* what;
    const char* text;
    const char* name;
};

class VendorTextTest : public ::testing::TestWithParam<VendorText> {};

TEST_P(VendorTextTest, IsSearchedForTheName) {
    EXPECT_EQ(vendorName(GetParam().text, 0x8086), GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
    Where, VendorTextTest,
    ::testing::Values(
        VendorText{"TheKeyIsInAComment", R"(<!-- vendor id="8086" --><name>A comment's</name>)", "A comment's"},
        VendorText{"TheKeyIsInAnotherAttribute", R"(<card subvendor id="8086"><name>Another's</name>)", "Another's"},
        VendorText{"ThereIsNoMarkup", R"(none at all: vendor id="8086" <name>In plain text</name>)", "In plain text"},
        VendorText{"MarkupIsInTheName", "<vendor id=\"8086\"><name> \tA &amp; B\r\n <i>x</i> </name>",
                   " \tA &amp; B\r\n <i>x</i> "},
        VendorText{"AnyBytesAreInTheName", "<vendor id=\"8086\"><name>Bj\xC3\xB6rn \xFF\x01</name>",
                   "Bj\xC3\xB6rn \xFF\x01"},
        VendorText{"TheNameIsEmpty", R"(<vendor id="8086"><name></name>)", ""},
        VendorText{"TheNameIsBeforeTheKey", R"(<name>Before</name><vendor id="8086">)", "vendor"},
        VendorText{"TheTagHasAnAttribute", R"(<vendor id="8086"><name lang="en">Intel</name>)", "vendor"},
        VendorText{"TheTagIsInUpperCase", R"(<vendor id="8086"><NAME>Intel</NAME>)", "vendor"},
        VendorText{"AnotherNameIsClosedFirst", R"(<vendor id="8086"></name><name>Intel</name>)", "Intel"},
        VendorText{"TheNameIsClosedInALaterEntry", R"(<vendor id="8086"><name>Intel<x><name>Other</name>)",
                   "Intel<x><name>Other"}),
    testsupport::CaseName{});

TEST(NameLookup, EveryCutOfTheTextIsSurvived) {
    const std::string text = R"(<vendor id="8086"><name>Intel</name>)";
    for (std::size_t length = 0; length < text.size(); ++length)
        EXPECT_EQ(vendorName(text.substr(0, length), 0x8086), "vendor") << length;
}

// ---------------------------------------------------------------------------------------------------------------
// Classes

std::string classText(const std::string& text, unsigned char classCode, unsigned char subclass) {
    std::string out = "what was there before";
    TPciDevInfo::assignClassID(text.c_str(), classCode, subclass, "PIC:", out);
    return out;
}

constexpr char kClassList[] =
    "# comment\n"
    "C 00  Unclassified device\n"
    "\t00  Non-VGA unclassified device\n"
    "\t01  VGA compatible unclassified device\n"
    "C 01  Mass storage controller\n"
    "\t00  SCSI storage controller\n"
    "\t01  IDE interface\n"
    "\t\t80  Master\n"
    "\t06  SATA controller\n"
    "C 02  Network controller\n"
    "\t00  Ethernet controller\n"
    "\t07  Broadband thing\n"
    "C 0c  Serial bus controller\n"
    "\t03  USB controller\n"
    "\t0c  Twelfth\n";

/** A list in which a class and a sub-class are looked up, and the text that is found. */
struct ClassList {
    const char* what;
    const char* list;
    unsigned char classCode, subclass;
    const char* text;
};

class ClassLookup : public ::testing::TestWithParam<ClassList> {};

TEST_P(ClassLookup, GivesTheTextOrTheDefault) {
    const ClassList& row = GetParam();
    EXPECT_EQ(classText(row.list, row.classCode, row.subclass), row.text);
}

INSTANTIATE_TEST_SUITE_P(
    Of, ClassLookup,
    ::testing::Values(
        ClassList{"TheFirstClass", "C 01  Mass storage\n\t00  SCSI storage\n", 1, 0, "SCSI storage"},
        ClassList{"TheLastSubclass", kClassList, 1, 6, "SATA controller"},
        ClassList{"ALaterClass", kClassList, 2, 0, "Ethernet controller"},
        ClassList{"AClassWithALetter", kClassList, 0x0C, 3, "USB controller"},
        ClassList{"ASubclassWithTheDigitsOfItsClass", kClassList, 1, 1, "IDE interface"},
        ClassList{"SubclassZeroOfClassZero", kClassList, 0, 0, "Non-VGA unclassified device"},
        ClassList{"ASubclassWithTheLetterOfItsClass", kClassList, 0x0C, 0x0C, "Twelfth"},
        ClassList{"AnUnknownClass", kClassList, 0x55, 0, "PIC:"},
        ClassList{"ASubclassThatComesBeforeTheClassOnly", kClassList, 0x0C, 0x80, "PIC:"},
        // A sub-class that is missing from its class is the first later occurrence of its digits.
        ClassList{"ASubclassOfTheNextClass", kClassList, 1, 7, "Broadband thing"},
        ClassList{"ASubclassWithTheDigitsOfALaterClass", kClassList, 1, 0x0C, "Serial bus controller"},
        ClassList{"ASubclassWithTheDigitsOfAProgrammingInterface", kClassList, 1, 0x80, "Master"},
        // Broadband: the letters from the fourth on after "ad".
        ClassList{"SubclassDigitsInsideAWord", kClassList, 1, 0xAD, "nd thing"},
        ClassList{"SubclassDigitsInsideANumber", "C 01  x\n\tnumber 20010 of it\n\t10  Ten\n", 1, 0x10, "f it"},
        ClassList{"AClassInUpperCase", "C 0C  x\n\t03  USB\n", 0x0C, 3, "PIC:"},
        ClassList{"ASubclassInUpperCase", "C 0c  x\n\t0A  upper\n\t0a  lower\n", 0x0C, 0x0A, "lower"},
        ClassList{"TheFirstPlaceThatLooksLikeTheClass",
                  "# the ABC 01 of it\n\t00  From the comment\nC 01  x\n\t00  From the list\n", 1, 0,
                  "From the comment"},
        ClassList{"TwoBlanksBeforeTheClass", "C  01  x\n\t00  y\n", 1, 0, "PIC:"},
        ClassList{"ATabBeforeTheClass", "C\t01  x\n\t00  y\n", 1, 0, "PIC:"},
        ClassList{"ASmallLetterBeforeTheClass", "c 01  x\n\t00  y\n", 1, 0, "PIC:"},
        // Two separators are skipped, whatever they are.
        ClassList{"AColonAndABlankBeforeTheText", "C 01\n00: Text\n", 1, 0, "Text"},
        ClassList{"OneBlankBeforeTheText", "C 01\n00 Text\n", 1, 0, "ext"},
        ClassList{"FourBlanksBeforeTheText", "C 01\n00    Text  \n", 1, 0, "  Text  "},
        ClassList{"WithCarriageReturnsATextThatBeginsFourCharactersLateAndKeepsTheReturn",
                  "C 01  Mass storage\r\n\t00  SCSI storage controller\r\n", 1, 0, " storage controller\r"},
        ClassList{"WithACarriageReturnFurtherDownATextThatBeginsLateToo",
                  "C 01  x\n\t00  SCSI storage\n\t01  IDE\n\t02  Floppy\r\n", 1, 0, " storage"},
        ClassList{"WithACarriageReturnBeforeTheSubclassTheWholeText", "C 01  x\r\n\t00  SCSI storage\n", 1, 0,
                  "SCSI storage"},
        ClassList{"WithCarriageReturnsAndNoLineFeedATextThatRunsToTheEnd", "C 01\r\t00  SCSI\r\t01  IDE\r", 1, 0,
                  "\r\t01  IDE\r"},
        // "\t01  IDE" begins four characters after the digits 00, and its text four later.
        ClassList{"WithCarriageReturnsAShortTextThatRunsIntoTheNextLine", "C 01\r\n\t00\r\n\t01  IDE\r\n", 1, 0,
                  " IDE\r"},
        ClassList{"WithoutALineEndATextThatRunsToTheEnd", "C 01\n\t00  SCSI storage", 1, 0, "SCSI storage"},
        ClassList{"ALineThatEndsAfterTheDigits", "C 01\n\t00\n\t01  IDE\n", 1, 0, ""},
        ClassList{"ALineThatEndsAfterOneBlank", "C 01\n\t00 \n\t01  IDE\n", 1, 0, ""},
        ClassList{"ALineThatEndsAfterTwoBlanks", "C 01\n\t00  \n\t01  IDE\n", 1, 0, ""},
        ClassList{"AListCutWithinTheSubclass", "C 01\n\t0", 1, 0, "PIC:"},
        ClassList{"AListCutAfterTheClass", "C 01", 1, 0, "PIC:"},
        ClassList{"AListCutWithinTheClass", "C 0", 1, 0, "PIC:"}),
    testsupport::CaseName{});

TEST(ClassLists, CutRightAfterTheDigitsGiveAnEmptyText) {
    for (const char* rest : {"", " ", "  ", "\r", "\r\n", "\n", " \r", " \r\n"})
        EXPECT_EQ(classText("C 01\n\t00"s + rest, 0x01, 0x00), "") << ::testing::PrintToString(rest);
}

TEST(ClassLists, ThatAreMissingGiveTheDefault) {
    std::string out = "before";
    TPciDevInfo::assignClassID(nullptr, 0x06, 0x04, "PCI Bridge:", out);
    EXPECT_EQ(out, "PCI Bridge:");
}

/** The text with line feeds turned into another line end. */
std::string withLineEnds(const std::string& text, const std::string& lineEnd) {
    std::string result;
    for (const char c : text) result += c == '\n' ? lineEnd : std::string(1, c);
    return result;
}

TEST(ClassLists, LeadNowhereOutOfThemHoweverTheyAreCut) {
    for (const char* lineEnd : {"\n", "\r\n", "\r", "\n\r"}) {
        const std::string whole = withLineEnds(kClassList, lineEnd);
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            const std::string text = whole.substr(0, length);
            for (const char subclass : {'\x00', '\x01', '\x06', '\x0C', '\x80', '\xAD'}) {
                const std::string out = classText(text, 0x01, static_cast<unsigned char>(subclass));
                EXPECT_TRUE(out == "PIC:" || text.find(out) != std::string::npos) << length << ": " << out;
            }
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Names of scanned functions

constexpr char kClassPairs[] =
    "C 00\n\t03  Zero three\nC 01\n\t02  One two\n\t04  One four\nC 02\n\t01  Two one\nC 03\n\t00  Three zero\n";

class CatalogueOfAScan : public PciHostTest {
 protected:
    CatalogueOfAScan() {
        bridge.dev = 1;
        bridge.classCode = 0x06;
        bridge.subclass = 0x04;
        bridge.vendor = 0x8086;
        bridge.device = 0x7191;
        nic.dev = 2;
        nic.classCode = 0x02;
        nic.vendor = 0x10EC;
        nic.device = 0x8139;
        files.addFunction(bridge).addFunction(nic);
    }

    /** vendor, device and class text of the network controller, or of the bridge */
    std::vector<std::string> nicNames() { return names(devices()); }
    std::vector<std::string> bridgeNames() { return names(bridges()); }

    PciFunction bridge;
    PciFunction nic;

 private:
    static std::vector<std::string> names(const std::vector<tPCIInfo::sPciDevices>& records) {
        if (records.size() != 1) return {"not one record"};
        return {records[0].vendorName, records[0].deviceName, records[0].className};
    }
};

TEST_F(CatalogueOfAScan, WhatStandsBehindAZeroByteIsNotSeen) {
    files.setCatalogue("\0"s + kCatalogue).setClassList("C 01\n\0"s + kClassList);
    EXPECT_THAT(nicNames(), ElementsAre("vendor", "descrip", "PIC:"));
}

TEST_F(CatalogueOfAScan, NamesOfDevicesAndBridgesAreLookedUpInBothFilesAfreshForEachRequest) {
    files.setCatalogue(kCatalogue).setClassList(kClassList + "C 06  Bridge\n\t04  PCI bridge\n"s);
    EXPECT_THAT(nicNames(), ElementsAre("Realtek", "RTL8139", "Ethernet controller"));
    EXPECT_THAT(bridgeNames(), ElementsAre("Intel Corporation", "440BX AGP", "PCI bridge"));
    files.setCatalogue(R"(<vendor id="10ec"><name>Renamed</name>)").setClassList("C 02\n\t00  Other\n");
    EXPECT_THAT(nicNames(), ElementsAre("Renamed", "descrip", "Other"));
    files.remove("etc/vmware/pci.xml").remove("etc/vmware/pci.classlist");
    EXPECT_THAT(nicNames(), ElementsAre("vendor", "descrip", "PIC:"));
    EXPECT_THAT(bridgeNames(), ElementsAre("vendor", "descrip", "PCI Bridge:"));
}

TEST_F(CatalogueOfAScan, ANumberMayBeAVendorsAndADevices) {
    nic.vendor = nic.device = 0x8139;
    bridge.vendor = bridge.device = 0x10EC;
    files.setFile("proc/bus/pci/devices", ""s).addFunction(bridge).addFunction(nic);
    files.setCatalogue(R"(<vendor id="8139"><name>Vendor 8139</name><device id="10ec"><name>Device 10ec</name>
                          <vendor id="10ec"><name>Vendor 10ec</name><device id="8139"><name>Device 8139</name>)");
    EXPECT_THAT(nicNames(), ElementsAre("Vendor 8139", "Device 8139", "PIC:"));
    EXPECT_THAT(bridgeNames(), ElementsAre("Vendor 10ec", "Device 10ec", "PCI Bridge:"));
}

TEST_F(CatalogueOfAScan, ClassAndSubclassAreNotMixedUp) {
    files.setFile("proc/bus/pci/devices", ""s).setClassList(kClassPairs);
    PciFunction function;
    for (const auto& [classCode, subclass] : {std::pair(1, 2), {1, 4}, {2, 1}, {3, 0}, {0, 3}}) {
        ++function.dev;
        function.classCode = static_cast<std::uint8_t>(classCode);
        function.subclass = static_cast<std::uint8_t>(subclass);
        files.addFunction(function);
    }
    std::vector<std::string> texts;
    for (const auto& record : devices()) texts.push_back(record.className);
    EXPECT_THAT(texts, ElementsAre("One two", "One four", "Two one", "Three zero", "Zero three"));
}

TEST_F(CatalogueOfAScan, MissingAndUnknownNamesLogNothing) {
    devices();
    const auto without = host().logTexts();
    host().clearEvents();
    files.setCatalogue(kCatalogue).setClassList(kClassList);
    devices();
    EXPECT_EQ(host().logTexts(), without);
}

}  // namespace
