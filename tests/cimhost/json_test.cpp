// JSON, lines of it, and records: what is in them, and what odd texts become in each format.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>

#include "answers.h"

namespace {

using broker::Instance;
using broker::Value;
using cimhost::Format;
using cimhost::Instances;
using cimhost::Json;
using cimhost::Names;
using cimhost::TableOptions;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr Format kFormats[] = {Format::table, Format::mof, Format::json, Format::jsonl, Format::csv, Format::tsv};

Instance slot(const std::string& designation = "PCI-E Slot 3") {
    return instance("QELTA_SystemSlot",
                    {{"SystemName", Value::string("host")}, {"Tag", Value::string("System Slot 3")}},
                    {{"Number", uint16(3)},
                     {"CurrentUsage", uint16(4)},
                     {"ConnectorType", Value::array(CMPI_uint16, {uint16(0xB5), uint16(0x77)})},
                     {"MaxDataWidth", uint16(99)},
                     {"SlotDesignation", Value::string(designation)}});
}

/** One that no schema declares. */
Instance thing(const std::string& text) {
    return instance("ACME_Thing", {{"Id", uint16(1)}}, {{"Text", Value::string(text)}});
}

Json onlyInstance(const Instance& made) {
    return Json::parse(text(answer({made}), Format::json))["instances"][0];
}

std::vector<std::string> membersOf(const Json& object) {
    std::vector<std::string> names;
    for (const auto& member : object.items()) names.push_back(member.key());
    return names;
}

TEST(JsonText, InstanceIsOneFlatObject) {
    const Json made = onlyInstance(slot());
    EXPECT_THAT(membersOf(made),
                ElementsAre("path", "SystemName", "Tag", "Number", "CurrentUsage", "CurrentUsageText", "ConnectorType",
                            "ConnectorTypeText", "MaxDataWidth", "MaxDataWidthText", "SlotDesignation"));
    EXPECT_EQ(made["Tag"], "System Slot 3");
    EXPECT_EQ(made["Number"], 3);
}

TEST(JsonText, CodesHaveTheTextsOfTheSchema) {
    const Json made = onlyInstance(slot());
    EXPECT_EQ(made["CurrentUsage"], 4);
    EXPECT_EQ(made["CurrentUsageText"], "In Use");
    EXPECT_EQ(made["ConnectorType"], Json::parse("[181, 119]"));
    EXPECT_EQ(made["ConnectorTypeText"], Json::parse(R"(["PCI Express 3 x8", null])")) << "119 is not declared";
    EXPECT_EQ(made["MaxDataWidthText"], nullptr);
    EXPECT_EQ(onlyInstance(instance("QELTA_PCIBridge", {}, {{"ClassCode", Value::nothing(CMPI_uint8)}})).dump(),
              R"({"path":{"text":"root/kavix:QELTA_PCIBridge","namespace":"root/kavix","class":"QELTA_PCIBridge",)"
              R"("keys":{}},"ClassCode":null,"ClassCodeText":null})");
}

TEST(JsonText, PathIsAnObjectWithItsText) {
    const Json path = onlyInstance(slot())["path"];
    EXPECT_THAT(membersOf(path), ElementsAre("text", "namespace", "class", "keys"));
    EXPECT_EQ(path["text"], broker::toString(slot().path));
    EXPECT_EQ(path["namespace"], "root/kavix");
    EXPECT_EQ(path["class"], "QELTA_SystemSlot");
    EXPECT_EQ(path["keys"].dump(), R"({"SystemName":"host","Tag":"System Slot 3"})");
}

TEST(JsonText, NamesAreThePathsAlone) {
    const Json document = Json::parse(text(answer(Names{slot().path}), Format::json));
    EXPECT_THAT(membersOf(document), ElementsAre("status", "statusCode", "names"));
    EXPECT_EQ(document["names"][0], onlyInstance(slot())["path"]);
}

TEST(JsonText, ValuesOfEveryKind) {
    const Json made = onlyInstance(instance("ACME_Thing", {},
                                            {{"None", Value::nothing(CMPI_string)},
                                             {"Flag", Value::boolean(true)},
                                             {"Large", Value::uint(CMPI_uint64, 18446744073709551615U)},
                                             {"Negative", Value::sint(CMPI_sint64, -5)},
                                             {"Real", Value::real(CMPI_real64, 0.5)},
                                             {"Other", Value::reference(slot().path)},
                                             {"Embedded", Value::instance(slot())},
                                             {"Empty", Value::array(CMPI_uint8, {})}}));
    EXPECT_EQ(made["None"], nullptr);
    EXPECT_EQ(made["Flag"], true);
    EXPECT_EQ(made["Large"].get<std::uint64_t>(), 18446744073709551615U);
    EXPECT_EQ(made["Negative"], -5);
    EXPECT_EQ(made["Real"], 0.5);
    EXPECT_EQ(made["Other"]["keys"]["Tag"], "System Slot 3");
    EXPECT_EQ(made["Embedded"]["CurrentUsageText"], "In Use");
    EXPECT_EQ(made["Empty"], Json::array());
}

TEST(JsonText, ErrorStatusHasItsNameAndNumber) {
    const Json document = Json::parse(text(answer(Instances{}, CMPI_RC_ERR_INVALID_CLASS), Format::json));
    EXPECT_EQ(document["status"], "CMPI_RC_ERR_INVALID_CLASS");
    EXPECT_EQ(document["statusCode"], 5);
    EXPECT_EQ(document["instances"], Json::array());
}

TEST(JsonLines, HaveOneObjectEach) {
    const std::vector<std::string> lines = cimhost::lines(text(answer({slot(), thing("a\nb")}), Format::jsonl));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(Json::parse(lines[0]), onlyInstance(slot()));
    EXPECT_EQ(Json::parse(lines[1])["Text"], "a\nb");
    EXPECT_EQ(Json::parse(text(answer(Names{slot().path}), Format::jsonl)), onlyInstance(slot())["path"]);
    EXPECT_EQ(text(answer(Instances{}, CMPI_RC_ERR_FAILED), Format::jsonl), "");
}

TEST(Csv, HasThePropertiesOfTheSchemaAndQuotesWhatItHasTo) {
    const std::vector<std::string> lines = cimhost::lines(text(answer({slot("a \"b\"")}), Format::csv));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0],
              "Class,SystemCreationClassName,SystemName,CreationClassName,Tag,Number,Description,CurrentUsage,"
              "CurrentUsageText,SlotLength,SlotLengthText,OperationalStatus,OperationalStatusText,ConnectorType,"
              "ConnectorTypeText,MaxDataWidth,MaxDataWidthText,PMESignal,Shared,SlotDesignation,SlotAllInfo,"
              "SupportsHotPlug,VccMixedVoltageSupport,VccMixedVoltageSupportText,Path");
    EXPECT_EQ(
        lines[1],
        "QELTA_SystemSlot,,host,,System Slot 3,3,,4,In Use,,,,,181;119,PCI Express 3 x8;,99,,,,\"a \"\"b\"\"\",,,,,"
        "\"root/kavix:QELTA_SystemSlot.SystemName=\"\"host\"\",Tag=\"\"System Slot 3\"\"\"");
}

TEST(Csv, PutsSeveralClassesIntoOneTable) {
    EXPECT_EQ(text(answer({thing("a"), instance("ACME_Other", {{"Id", uint16(2)}}, {{"More", Value::boolean(true)}})}),
                   Format::csv),
              "Class,Id,Text,More,Path\n"
              "ACME_Thing,1,a,,root/kavix:ACME_Thing.Id=1\n"
              "ACME_Other,2,,TRUE,root/kavix:ACME_Other.Id=2\n");
}

TEST(Tsv, HasOneLineForEachRecordAndNoQuotes) {
    EXPECT_EQ(text(answer({thing("a\tb,\"c\"\n")}), Format::tsv),
              "Class\tId\tText\tPath\n"
              "ACME_Thing\t1\ta\\x09b,\"c\"\\x0a\troot/kavix:ACME_Thing.Id=1\n");
}

TEST(Tsv, NamesHaveTheirKeys) {
    EXPECT_EQ(text(answer(Names{slot().path}), Format::tsv),
              "Class\tSystemName\tTag\tPath\n"
              "QELTA_SystemSlot\thost\tSystem Slot 3\t" +
                  broker::toString(slot().path) + "\n");
    EXPECT_EQ(text(answer(Names{}), Format::tsv), "");
}

// --- texts that a terminal would obey ---

const std::string kNasty =
    "a\x1b[2J\n\t\r\x07\x7f"
    "\xc2\x9b"      // C1
    "\xe2\x80\xae"  // right to left from here
    "\xff";

TEST(OddTexts, NeverReachATerminalRaw) {
    const Instance value = thing(kNasty);
    const Instance key = instance("ACME_" + kNasty, {{"Id" + kNasty, Value::string(kNasty)}}, {});
    for (const Format format : kFormats) {
        for (const bool full : {false, true}) {
            TableOptions options;
            options.inFull = full;
            for (std::string shown : {text(answer({value, key}), format, options),
                                      text(answer(Names{value.path, key.path}), format, options)}) {
                if (format == Format::tsv) std::replace(shown.begin(), shown.end(), '\t', ' ');
                for (const std::string& line : cimhost::lines(shown))
                    EXPECT_EQ(cimhost::printable(line), line) << "format " << static_cast<int>(format);
            }
        }
    }
}

TEST(OddTexts, AreAsciiWhereNothingElseCanBeShown) {
    TableOptions options;
    options.charset = cimhost::Charset::ascii;
    options.toTerminal = true;
    for (const Format format : kFormats) {
        const std::string shown = text(answer({thing("\xc3\x9c")}), format, options);
        for (const char byte : shown) EXPECT_LT(static_cast<unsigned char>(byte), 0x7F) << shown;
    }
}

TEST(OddTexts, KeepTheirCharactersInFilesOfRecords) {
    TableOptions options;
    options.charset = cimhost::Charset::ascii;
    for (const Format format : {Format::csv, Format::tsv})
        EXPECT_THAT(text(answer({thing("\xc3\x9c")}), format, options), HasSubstr("\xc3\x9c"));
}

TEST(OddTexts, AreVisible) {
    EXPECT_THAT(text(answer({thing("a\x1b[2J\xff")}), Format::table), HasSubstr("a\\x1b[2J\\xff"));
    EXPECT_THAT(text(answer({thing("a\n\xff\x1b")}), Format::mof),
                HasSubstr("Text = \"a\\n\\x00FF\\x001B\";  // string\n"));
    EXPECT_THAT(text(answer({thing("a\x1b\n")}), Format::csv), HasSubstr(",a\\x1b\\x0a,"));
}

TEST(OddTexts, AreReadFromJsonAsTheyWere) {
    const std::string shown = text(answer({thing("a\x1b\n\x7f\xc2\x9b\xe2\x80\xae\xff")}), Format::json);
    EXPECT_THAT(shown, HasSubstr(R"(a\u001b\n\u007f\u009b\u202e)"));
    EXPECT_EQ(Json::parse(shown)["instances"][0]["Text"], "a\x1b\n\x7f\xc2\x9b\xe2\x80\xae\xef\xbf\xbd")
        << "the byte that is no UTF-8 is replaced";
}

}  // namespace
