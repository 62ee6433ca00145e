// The reader of fault scripts and data-store folders.
#include "emulator/faultscript.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <stdexcept>

#include "tests/emulator/datastore.h"
#include "tests/support/hostbuilder.h"

namespace {

using emulator::Bytes;
using emulator::Fault;
using emulator::FaultScript;
using emulator::Occasion;
using testing::AllOf;
using testing::HasSubstr;

class FaultScriptTest : public testing::Test {
 protected:
    FaultScript script(const std::string& json) {
        host.setFaults(json);
        return emulator::readFaultScript(file());
    }
    Fault onlyFault(const std::string& members) {
        const FaultScript read = script(R"({"faults": [{)" + members + "}]}");
        return read.faults.at(0);
    }
    std::string file() const { return host.path("bmc/faults.json").string(); }
    /** What the reader says of a script that it refuses. */
    std::string errorOf(const std::string& json) {
        try {
            script(json);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "no error";
    }

    testsupport::HostBuilder host;
};

TEST_F(FaultScriptTest, TopLevelSettings) {
    FaultScript read = script("{}");
    EXPECT_EQ(read.readLimit, 0U);
    EXPECT_FALSE(read.endOfFile);
    EXPECT_TRUE(read.faults.empty());
    read = script(R"({"readLimit": 58, "endOfFile": true})");
    EXPECT_EQ(read.readLimit, 58U);
    EXPECT_TRUE(read.endOfFile);
}

TEST_F(FaultScriptTest, EveryMemberOfAFault) {
    const Fault fault = onlyFault(R"("on": "read", "from": 2, "times": 0, "completionCode": "0xC3", "length": 300,
        "netfn": 46, "command": "0x91", "receiveType": 3, "countField": "0xffff", "data": [0, "0xD9", 255],
        "receiveFailures": 7, "receiveErrno": 5, "delayMs": 6000, "pollErrno": 4, "timeout": true, "vanish": true)");
    EXPECT_EQ(fault.on, Occasion::read);
    EXPECT_EQ(fault.from, 2U);
    EXPECT_EQ(fault.times, 0U);
    EXPECT_EQ(fault.completionCode, 0xC3);
    EXPECT_EQ(fault.length, 300U);
    EXPECT_EQ(fault.netfn, 0x2E);
    EXPECT_EQ(fault.command, 0x91);
    EXPECT_EQ(fault.receiveType, 3);
    EXPECT_EQ(fault.countField, 0xFFFF);
    EXPECT_EQ(fault.data, Bytes({0, 0xD9, 255}));
    EXPECT_EQ(fault.receiveFailures, 7U);
    EXPECT_EQ(fault.receiveErrno, 5);
    EXPECT_EQ(fault.delayMs, 6000U);
    EXPECT_EQ(fault.pollErrno, 4);
    EXPECT_TRUE(fault.timeout);
    EXPECT_TRUE(fault.vanish);
    EXPECT_FALSE(fault.missing);
}

TEST_F(FaultScriptTest, WhatIsNotSaidStaysUnset) {
    const Fault fault = onlyFault("");
    EXPECT_EQ(fault.on, Occasion::any);
    EXPECT_EQ(fault.from, 1U);
    EXPECT_EQ(fault.times, 1U);
    EXPECT_FALSE(fault.completionCode || fault.length || fault.netfn || fault.command || fault.receiveType ||
                 fault.countField || fault.data || fault.receiveFailures || fault.receiveErrno || fault.delayMs ||
                 fault.pollErrno);
    EXPECT_FALSE(fault.timeout || fault.vanish || fault.missing);
}

TEST_F(FaultScriptTest, EveryOccasionHasItsName) {
    const std::pair<const char*, Occasion> names[] = {
        {"open", Occasion::open},   {"read", Occasion::read},           {"write", Occasion::write},
        {"close", Occasion::close}, {"querySize", Occasion::querySize}, {"writeDefaults", Occasion::writeDefaults},
        {"any", Occasion::any},     {"remove", Occasion::remove}};
    for (const auto& [name, occasion] : names)
        EXPECT_EQ(onlyFault(std::string(R"("on": ")") + name + '"').on, occasion) << name;
    EXPECT_EQ(onlyFault(R"("on": "deviceOpen", "missing": true)").on, Occasion::deviceOpen);
}

TEST_F(FaultScriptTest, AnErrorNamesTheFileAndTheKey) {
    const std::pair<const char*, const char*> errors[] = {
        {R"({"readlimit": 1})", "readlimit: unknown key"},
        {R"({"readLimit": -1})", "readLimit: must be a number"},
        {R"({"readLimit": 1.5})", "readLimit: must be a number"},
        {R"({"readLimit": "58"})", "readLimit: '58' is no number"},
        {R"({"readLimit": "0xZZ"})", "readLimit: '0xZZ' is no number"},
        {R"({"readLimit": "0x1g"})", "readLimit: '0x1g' is no number"},
        {R"({"readLimit": "0x"})", "readLimit: '0x' is no number"},
        {R"({"readLimit": "0x10000000000000000"})", "readLimit: '0x10000000000000000' is no number"},
        {R"({"endOfFile": 1})", "endOfFile: must be true or false"},
        {R"({"faults": {}})", "faults: must be an array"},
        {R"({"faults": [{}, 3]})", "faults[1]: must be an object"},
        {R"({"faults": [{"on": "reed"}]})", "faults[0].on: unknown occasion \"reed\""},
        {R"({"faults": [{"on": 1}]})", "faults[0].on: unknown occasion 1"},
        {R"({"faults": [{}, {"code": 1}]})", "faults[1].code: unknown key"},
        {R"({"faults": [{"completionCode": 256}]})", "faults[0].completionCode: number too large"},
        {R"({"faults": [{"length": "0x4000000000000000"}]})", "faults[0].length: number too large"},
        {R"({"faults": [{"length": 65536}]})", "faults[0].length: number too large"},
        {R"({"faults": [{"countField": "0x10000"}]})", "faults[0].countField: number too large"},
        {R"({"faults": [{"data": 1}]})", "faults[0].data: must be an array of bytes"},
        {R"({"faults": [{"data": [1, 256]}]})", "faults[0].data: number too large"},
        {R"({"faults": [{"timeout": "yes"}]})", "faults[0].timeout: must be true or false"},
        {R"({"faults": [{"from": 0}]})", "faults[0].from: occasions are counted from 1"},
        {R"({"faults": [{"missing": true}]})", "faults[0]: \"missing\""},
        {R"({"faults": [{"on": "deviceOpen"}]})", "faults[0]: \"missing\""},
        {"[]", "top level: must be an object"},
        {"{", "parse error"},
    };
    for (const auto& [json, message] : errors)
        EXPECT_THAT(errorOf(json), AllOf(HasSubstr(file()), HasSubstr(message))) << json;
}

TEST_F(FaultScriptTest, NestingIsRefusedWhereverItStands) {
    const std::string brackets = std::string(200000, '[') + std::string(200000, ']');
    for (const char* beginning : {"", R"({"readLimit": )", R"({"faults": )", R"({"faults": [{"on": )",
                                  R"({"faults": [{"data": )", R"({"faults": [{"data": [)"})
        EXPECT_THAT(errorOf(beginning + brackets), AllOf(HasSubstr(file()), HasSubstr("nested too deeply")));
    EXPECT_THAT(errorOf(R"({"faults": [{"data": [[[]]]}]})"), HasSubstr("nested too deeply"));
}

TEST_F(FaultScriptTest, AScriptThatCannotBeReadIsAnErrorThatNamesItOnce) {
    const auto error = [&] {
        try {
            emulator::readFaultScript(file());
        } catch (const std::runtime_error& said) {
            return std::string(said.what());
        }
        return std::string("no error");
    };
    EXPECT_EQ(error(), file() + ": No such file or directory");
    host.makeDirectory("bmc/faults.json");
    EXPECT_EQ(error(), file() + ": not a regular file");
    host.remove("bmc/faults.json");
    EXPECT_EQ(errorOf(std::string((1 << 20) + 1, ' ')), file() + ": longer than 1048576 bytes");
}

TEST_F(FaultScriptTest, AFolderFillsTheDataStore) {
    host.setBmcFile("smbios-table", {1, 2}).setBmcFile("settings", {3}).setFile("bmc/defaults/settings", Bytes{4});
    host.setFaults(R"({"readLimit": 1, "endOfFile": true, "faults": [{"on": "querySize", "completionCode": 24}]})");
    emulator::Bmc bmc;
    emulator::loadDataStore(bmc, host.path("bmc").string());

    EXPECT_EQ(bmc.file("smbios-table"), Bytes({1, 2}));
    EXPECT_EQ(bmc.file("settings"), Bytes({3}));
    EXPECT_EQ(bmc.file("faults.json"), std::nullopt);
    EXPECT_EQ(bmc.answer(datastore::querySize("settings")).data[0], 24);
    const std::uint32_t handle = datastore::number(bmc.answer(datastore::open("settings")).data);
    EXPECT_EQ(bmc.answer(datastore::read(handle, 0, 2)).data[0], emulator::Bmc::kReadRefused);
    EXPECT_EQ(bmc.answer(datastore::read(handle, 1, 1)).data[0], emulator::Bmc::kPastEnd);
    EXPECT_EQ(bmc.answer(datastore::writeDefaults(handle)).data[0], 0);
    EXPECT_EQ(bmc.file("settings"), Bytes({4}));
}

TEST_F(FaultScriptTest, FilesAreReadAsFarAsAnAreaGoes) {
    for (const char* name : {"bmc/smbios-table", "bmc/defaults/smbios-table"}) {
        host.setFile(name, Bytes{1, 2});
        std::filesystem::resize_file(host.path(name), std::uintmax_t{1} << 40);  // a hole: it takes no room
    }
    emulator::Bmc bmc;
    emulator::loadDataStore(bmc, host.path("bmc").string());
    EXPECT_EQ(bmc.file("smbios-table")->size(), emulator::Bmc::kFileArea);
    EXPECT_EQ(bmc.file("smbios-table")->at(1), 2);
}

TEST_F(FaultScriptTest, ALinkThatLeadsNowhereIsNoFile) {
    host.makeDirectory("bmc");
    std::filesystem::create_symlink("nowhere", host.path("bmc/.#faults.json"));
    emulator::Bmc bmc;
    emulator::loadDataStore(bmc, host.path("bmc").string());
    EXPECT_EQ(bmc.file(".#faults.json"), std::nullopt);
}

TEST_F(FaultScriptTest, AFolderThatIsNotThereIsAnEmptyDataStore) {
    emulator::Bmc bmc;
    emulator::loadDataStore(bmc, host.path("bmc").string());
    EXPECT_EQ(bmc.answer(datastore::open("smbios-table")).data[0], 0x0C);
}

}  // namespace
