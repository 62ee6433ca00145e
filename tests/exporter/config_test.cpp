// The configuration: what it may have, what is said of the rest, and which targets it lets through.

#include "exporter/config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using exporter::ConfigError;
using exporter::Milliseconds;
using exporter::Module;
using exporter::parseConfig;
using exporter::targetOf;
using testing::ElementsAre;
using testing::IsEmpty;

std::string complaint(const std::string& text) {
    try {
        parseConfig(text, "f.yml");
    } catch (const ConfigError& error) {
        return error.what();
    }
    return "none";
}

TEST(Config, HasItsValues) {
    const auto config = parseConfig(R"(max_targets: 20
max_bytes: 1000
max_probes: 3
modules:
  default: {}
  lab:
    scheme: https
    netrc_file: /etc/hostname
    ca_file: /etc/hostname
    insecure: true
    connect_timeout: 500ms
    timeout: 2m
    max_age: 0s
    failure_max_age: 1d
    targets: ["10.1.*", "*.lab:5989"]
)",
                                    "f.yml");
    EXPECT_EQ(config.maxTargets, 20U);
    EXPECT_EQ(config.maxBytes, 1000U);
    EXPECT_EQ(config.maxProbes, 3U);
    ASSERT_EQ(config.modules.size(), 2U);
    EXPECT_TRUE(config.modules.at("default")->asksAs(Module()));
    EXPECT_EQ(config.modules.at("default")->timeout, std::chrono::minutes(2));
    EXPECT_THAT(config.modules.at("default")->targets, IsEmpty());
    const Module& lab = *config.modules.at("lab");
    EXPECT_EQ(lab.netrcFile, "/etc/hostname");
    EXPECT_EQ(lab.caFile, "/etc/hostname");
    EXPECT_TRUE(lab.insecure);
    EXPECT_EQ(lab.connectTimeout, Milliseconds(500));
    EXPECT_EQ(lab.timeout, Milliseconds(120000));
    EXPECT_EQ(lab.maxAge, Milliseconds(0));
    EXPECT_EQ(lab.failureMaxAge, Milliseconds(86400000));
    EXPECT_THAT(lab.targets, ElementsAre("10.1.*", "*.lab:5989"));
}

TEST(Config, HasAnHourToKeepAnAnswerByDefault) {
    EXPECT_EQ(parseConfig("modules: {default: {}}", "").modules.at("default")->maxAge, std::chrono::hours(1));
}

TEST(Config, IsToldWhatIsWrongAndWhere) {
    const std::string module = "modules:\n  m:\n    ";
    const struct {
        std::string text;
        std::string told;
    } cases[] = {
        {"", "f.yml:1: the configuration has to be a map of keys and values"},
        {"max_probes: 3\n", "f.yml:1: there are no modules"},
        {"modules: {}\n", "f.yml:1: there are no modules"},
        {"\nlisten: x\n", "f.yml:2: unknown key \"listen\" in the configuration"},
        {"max_targets: 0\nmodules: {m: {}}", "f.yml:1: max_targets has to be a number from 1 to 10000000"},
        {"max_targets: -1\nmodules: {m: {}}", "f.yml:1: max_targets has to be a number from 1 to 10000000"},
        {"max_probes: 5000\nmodules: {m: {}}", "f.yml:1: max_probes has to be a number from 1 to 4096"},
        {"max_probes: 1\nmax_probes: 2\nmodules: {m: {}}",
         "f.yml:2: \"max_probes\" a second time in the configuration"},
        {"modules:\n  m: {}\n  m: {}\n", "f.yml:3: \"m\" a second time in modules"},
        {"modules:\n  m: 5\n", "f.yml:2: module \"m\" has to be a map of keys and values"},
        {module + "tiemout: 5s\n", "f.yml:3: unknown key \"tiemout\" in module \"m\""},
        {module + "scheme: ftp\n", "f.yml:3: scheme has to be http or https"},
        {module + "timeout: 5\n", "f.yml:3: timeout has to be a time, such as 500ms, 30s, 5m or 1h"},
        {module + "timeout: 0s\n", "f.yml:3: timeout has to be 1 ms at least"},
        {module + "max_age: [1h]\n", "f.yml:3: max_age has to be a time, such as 500ms, 30s, 5m or 1h"},
        {module + "max_age: 366d\n", "f.yml:3: max_age has to be 365d at most"},
        {module + "failure_max_age: 999999d\n", "f.yml:3: failure_max_age has to be 365d at most"},
        {module + "max_age: 365d\n    timeout: 365d\n    x: 1\n", "f.yml:5: unknown key \"x\" in module \"m\""},
        {module + "insecure: yes\n", "f.yml:3: insecure has to be true or false"},
        {module + "scheme: http\n    ca_file: /etc/hostname\n", "f.yml:3: module \"m\": http has no certificates"},
        {module + "netrc_file: secret\n", "f.yml:3: netrc_file has to be an absolute path"},
        {module + "netrc_file: /no/such\n", "f.yml:3: netrc_file: /no/such No such file or directory"},
        {module + "ca_file: /dev/null\n", "f.yml:3: ca_file: /dev/null is empty"},
        {module + "targets: a\n", "f.yml:3: targets has to be a list of patterns"},
        {module + "targets: []\n", "f.yml:3: targets has to be a list of patterns"},
        {"modules: {m: {}\nx", "f.yml:2: end of map flow not found"},
    };
    for (const auto& each : cases) EXPECT_EQ(complaint(each.text), each.told) << each.text;
}

TEST(Config, ThatCannotBeReadIsAnError) {
    EXPECT_THROW(exporter::loadConfig("/no/such"), ConfigError);
    EXPECT_THROW(exporter::loadConfig("/"), ConfigError);
}

TEST(Target, IsAHostWithAPort) {
    const Module https;
    Module http;
    http.scheme = "http";
    const struct {
        std::string text;
        std::string target;
    } cases[] = {
        {"Node1.Example", "node1.example:5989"},
        {"node1:1234", "node1:1234"},
        {"10.0.0.1", "10.0.0.1:5989"},
        {"[FE80::1]:77", "[fe80::1]:77"},
        {"", ""},
        {":5989", ""},
        {"node1:", ""},
        {"node1:0", ""},
        {"node1:65536", ""},
        {"node1:5989/x", ""},
        {"user@node1", ""},
        {"http://node1", ""},
        {"node 1", ""},
        {"node1\n", ""},
        {"-x\xff", ""},
        {std::string(300, 'a'), ""},
    };
    for (const auto& each : cases) EXPECT_EQ(targetOf(each.text, https), each.target) << each.text;
    EXPECT_EQ(targetOf("node1", http), "node1:5988");
}

TEST(Target, IsLetThroughByThePatterns) {
    Module module;
    module.targets = {"10.1.*", "node?.lab:5989"};
    EXPECT_EQ(targetOf("10.1.2.3", module), "10.1.2.3:5989");
    EXPECT_EQ(targetOf("NODE1.lab", module), "node1.lab:5989");
    EXPECT_EQ(targetOf("node1.lab:22", module), "");
    EXPECT_EQ(targetOf("127.0.0.1", module), "");
}

}  // namespace
