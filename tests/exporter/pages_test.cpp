// What the exporter answers, through its HTTP server where HTTP matters.

#include "exporter/pages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "machine.h"
#include "tests/wbem/connection.h"
#include "wbem/httpserver.h"

namespace {

using exporter::Exporter;
using exporter::Milliseconds;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* kConfig = R"(
modules:
  default: {scheme: http}
  lab: {scheme: http, targets: ["lab*"]}
)";

wbem::HttpRequest get(const std::string& target, const wbem::Headers& arguments = {}) {
    wbem::HttpRequest request;
    request.method = "GET";
    request.target = target;
    request.arguments = arguments;
    return request;
}

class Pages : public testing::Test {
 protected:
    exporter::Outcome probe(const std::string& target) {
        const std::lock_guard lock(mutex);
        asked.push_back(target);
        if (target == "gone:5988") return exporter::Failure{"connect", "no \x1b[2J route"};
        return machine::probed({});
    }

    std::string body(const std::string& target, const wbem::Headers& arguments = {}) {
        return exporter.answer(get(target, arguments)).body;
    }
    unsigned status(const std::string& target, const wbem::Headers& arguments = {}) {
        return exporter.answer(get(target, arguments)).status;
    }

    std::mutex mutex;
    std::vector<std::string> asked;
    std::vector<std::string> logged;
    Exporter exporter{exporter::parseConfig(kConfig, "test.yml"),
                      [this](const std::string& target, const exporter::Module&) { return probe(target); },
                      [this](const std::string& line) {
                          const std::lock_guard lock(mutex);
                          logged.push_back(line);
                      },
                      "1.2"};
};

TEST_F(Pages, ProbeAsksTheTarget) {
    const auto response = exporter.answer(get("/probe", {{"target", "Node1"}}));
    EXPECT_EQ(response.status, 200U);
    EXPECT_THAT(response.headers, Contains(std::pair<std::string, std::string>{
                                      "Content-Type", "text/plain; version=0.0.4; charset=utf-8"}));
    EXPECT_THAT(response.body, AllOf(HasSubstr("\npciinfo_up 1\n"), HasSubstr("\npciinfo_probe_pending 0\n"),
                                     HasSubstr("\npciinfo_probe_age_seconds ")));
    EXPECT_THAT(asked, ElementsAre("node1:5988"));
}

TEST_F(Pages, ProbeOfWhatIsGoneIsAnAnswerToo) {
    EXPECT_THAT(body("/probe", {{"target", "gone"}}), HasSubstr("pciinfo_up 0"));
    EXPECT_THAT(logged, ElementsAre(AllOf(StartsWith("gone:5988: connect after "), HasSubstr(": no \\x1b[2J route"))));
}

TEST_F(Pages, WrongScrapesAreToldSo) {
    EXPECT_EQ(status("/probe"), 400U);
    EXPECT_EQ(status("/probe", {{"target", "a"}, {"target", "b"}}), 400U);
    EXPECT_EQ(status("/probe", {{"target", "a/b"}}), 400U);
    EXPECT_EQ(status("/probe", {{"target", "a"}, {"module", ""}}), 400U);
    EXPECT_EQ(status("/probe", {{"target", "a"}, {"module", "lab"}}), 400U) << "not allowed";
    EXPECT_THAT(body("/probe", {{"target", "a"}, {"module", "\x1b<b>"}}),
                AllOf(HasSubstr("no module"), HasSubstr("\\x1b<b>")));
    EXPECT_EQ(status("/other"), 404U);
    EXPECT_THAT(asked, IsEmpty());
    wbem::HttpRequest post = get("/metrics");
    post.method = "POST";
    EXPECT_EQ(exporter.answer(post).status, 405U);
}

TEST_F(Pages, OneTargetTooManyIsToldSoAndCounted) {
    const std::string file = testing::TempDir() + "pciinfo-exporter-few.yml";
    std::ofstream(file) << "{max_targets: 1, modules: {default: {scheme: http}}}\n";
    exporter.reload(file);
    std::remove(file.c_str());
    EXPECT_EQ(status("/probe", {{"target", "a"}}), 200U);
    EXPECT_EQ(status("/probe", {{"target", "b"}}), 503U);
    EXPECT_EQ(body("/probe", {{"target", "b"}}),
              "there is no room for another target: max_targets is 1, and the answers of all that are known are young "
              "or under way\n");
    EXPECT_THAT(body("/metrics"), HasSubstr("pciinfo_exporter_scrapes_total{answer=\"refused\"} 2\n"));
    EXPECT_THAT(asked, ElementsAre("a:5988"));
}

TEST_F(Pages, MetricsTellOfTheExporter) {
    body("/probe", {{"target", "a"}});
    body("/probe", {{"target", "a"}});
    body("/probe", {{"target", "gone"}});
    EXPECT_THAT(body("/metrics"),
                AllOf(HasSubstr("pciinfo_exporter_build_info{version=\"1.2\"} 1\n"),
                      HasSubstr("pciinfo_exporter_scrapes_total{answer=\"kept\"} 1\n"),
                      HasSubstr("pciinfo_exporter_scrapes_total{answer=\"fresh\"} 2\n"),
                      HasSubstr("pciinfo_exporter_probes_total{result=\"success\"} 1\n"),
                      HasSubstr("pciinfo_exporter_probes_total{result=\"connect\"} 1\n"),
                      HasSubstr("pciinfo_exporter_probe_duration_seconds_count 2\n"),
                      HasSubstr("pciinfo_exporter_kept_targets 2\n"), HasSubstr("pciinfo_exporter_evictions_total 0\n"),
                      HasSubstr("pciinfo_exporter_config_last_reload_successful 1\n")));
}

TEST_F(Pages, ReloadTakesAGoodFileAlone) {
    const std::string file = testing::TempDir() + "pciinfo-exporter-test.yml";
    std::ofstream(file) << "modules: {new: {scheme: http}}\n";
    exporter.reload(file);
    EXPECT_EQ(status("/probe", {{"target", "a"}, {"module", "new"}}), 200U);
    EXPECT_EQ(status("/probe", {{"target", "a"}}), 400U);
    std::ofstream(file) << "modules: {new: {scheme: htp}}\n";
    exporter.reload(file);
    EXPECT_THAT(logged, Contains(file + ":1: scheme has to be http or https; the configuration stays as it was"));
    EXPECT_EQ(status("/probe", {{"target", "a"}, {"module", "new"}}), 200U);
    EXPECT_THAT(body("/metrics"), HasSubstr("pciinfo_exporter_config_last_reload_successful 0\n"));
    std::remove(file.c_str());
}

TEST(Patience, IsSomewhatLessThanPrometheusHas) {
    const std::pair<const char*, int> cases[] = {{"10", 9500},    {"3.5", 3000}, {"0.2", 100}, {"1e9", 599500},
                                                 {"-1", 9500},    {"x", 9500},   {"", 9500},   {"nan", 9500},
                                                 {"inf", 599500}, {"10 s", 9500}};
    for (const auto& [text, milliseconds] : cases) {
        wbem::HttpRequest request;
        request.headers = {{"x-prometheus-scrape-timeout-seconds", text}};
        EXPECT_EQ(exporter::patienceOf(request), Milliseconds(milliseconds)) << text;
    }
    EXPECT_EQ(exporter::patienceOf({}), Milliseconds(9500));
}

/** As a scraper meets it. */
TEST_F(Pages, ServerHandsOverTheQuery) {
    wbem::HttpOptions options;
    options.port = 0;
    const wbem::HttpServer server(options, [&](const wbem::HttpRequest& request) { return exporter.answer(request); });
    client::Connection connection(server.port());
    connection.send("GET /probe?target=%5B::1%5D%3A7&module=default HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(connection.receiveThrough("pciinfo_up 1\n"), StartsWith("HTTP/1.1 200 "));
    connection.receiveThrough("\npciinfo_probe_age_seconds ");
    connection.receiveThrough("\n");
    EXPECT_THAT(asked, ElementsAre("[::1]:7"));
    connection.send("GET /metrics HTTP/1.1\r\nHost: evil.example\r\n\r\n");
    EXPECT_THAT(connection.receiveThrough("\r\n"), StartsWith("HTTP/1.1 421 "));
}

}  // namespace
