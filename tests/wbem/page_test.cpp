// The page for browsers: when a machine is read for it, what it says, and what it is sent with.

#include "cimhost/page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "connection.h"
#include "tests/cimhost/program.h"
#include "tests/support/machine.h"
#include "wbem/protocolerror.h"
#include "wbem/xml.h"

namespace {

using cimhost::answerPage;
using cimhost::concernsPage;
using cimhost::Reading;
using cimhost::Readings;
using client::Connection;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using namespace std::chrono_literals;

constexpr const char* kHost = "127.0.0.1:5988";
constexpr const char* kForged = "\"><script>alert(1)</script>&amp;\x1b\xff";

wbem::HttpRequest request(const std::string& method, const std::string& target, const wbem::Headers& more = {}) {
    wbem::HttpRequest made{method, target, {{"Host", kHost}}, "", std::nullopt, ""};
    made.headers.insert(made.headers.end(), more.begin(), more.end());
    return made;
}

wbem::HttpRequest button(const std::string& origin = std::string("http://") + kHost, const wbem::Headers& more = {}) {
    wbem::HttpRequest made = request("POST", "/read", {{"Origin", origin}});
    made.headers.insert(made.headers.end(), more.begin(), more.end());
    return made;
}

std::string headerOf(const wbem::HttpResponse& response, const std::string& name) {
    for (const auto& [each, value] : response.headers)
        if (each == name) return value;
    return "";
}

Reading reading(const std::string& host = "host") {
    Reading made;
    made.inventory.host = host;
    made.inventory.slots = {{1, "PCIe Slot 1", "in use", "x8", {{"16:00.0", "C", "8086:1", "02:00", "NIC", {}}}}};
    made.inventory.onBoard = {{"00:00.0", "C", "8086:2", "06:00", "Host bridge", {}}};
    return made;
}

/** The text of the element with that id, "" where there is none. */
std::string textAt(const std::string& page, const std::string& id) {
    const pugi::xml_document document = wbem::parseXml(page);
    const pugi::xml_node found =
        document.find_node([&](pugi::xml_node node) { return node.attribute("id").value() == id; });
    std::string text;
    const auto add = [&](pugi::xml_node node) {
        text += node.value();
        return false;
    };
    found.find_node(add);
    return text;
}

/** A machine that counts how often it is read. */
class PageRequests : public testing::Test {
 protected:
    wbem::HttpResponse ask(const wbem::HttpRequest& asked) {
        EXPECT_TRUE(concernsPage(asked));
        return answerPage(asked, readings);
    }
    std::string page() { return ask(request("GET", "/")).body; }

    int count = 0;
    Readings readings{[this](const Readings::Unwanted&) { return reading("host" + std::to_string(++count)); }};
};

TEST_F(PageRequests, TheMachineIsReadOnceHoweverOftenThePageIsAskedFor) {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(textAt(page(), "host"), "host1");
    EXPECT_EQ(ask(request("HEAD", "/")).status, 200U);
    EXPECT_EQ(count, 1);
}

TEST_F(PageRequests, TheButtonHasItReadAgainAndLeadsToThePage) {
    page();
    const wbem::HttpResponse response = ask(button());
    EXPECT_EQ(response.status, 303U);
    EXPECT_EQ(headerOf(response, "Location"), "/");
    EXPECT_EQ(count, 2);
    EXPECT_EQ(textAt(page(), "host"), "host2");
}

TEST_F(PageRequests, PagesOfOthersHaveNothingRead) {
    for (const char* origin : {"http://127.0.0.1:80", "http://localhost:5988", "https://127.0.0.1:5988", "null", ""})
        EXPECT_EQ(ask(button(origin)).status, 403U) << origin;
    EXPECT_EQ(ask(request("POST", "/read")).status, 403U);
    EXPECT_EQ(ask(button(std::string("http://") + kHost, {{"Sec-Fetch-Site", "cross-site"}})).status, 403U);
    for (const char* site : {"cross-site", "same-site"}) {
        const std::string text = ask(request("GET", "/", {{"sec-fetch-site", site}})).body;
        EXPECT_EQ(textAt(text, "state"), "It has not been read yet.");
        EXPECT_EQ(textAt(text, "again"), "Read it");
    }
    EXPECT_EQ(count, 0);
    ask(request("GET", "/", {{"Sec-Fetch-Site", "same-origin"}}));
    EXPECT_EQ(count, 1);
    EXPECT_EQ(textAt(ask(request("GET", "/", {{"Sec-Fetch-Site", "cross-site"}})).body, "host"), "host1");
}

TEST_F(PageRequests, NothingMayBeLoadedOrRunButWhatThePageHasItself) {
    const wbem::HttpResponse first = ask(request("GET", "/"));
    const wbem::HttpResponse second = ask(request("GET", "/"));
    const std::string policy = headerOf(first, "Content-Security-Policy");
    EXPECT_THAT(policy, testing::MatchesRegex(
                            "default-src 'none'; style-src 'nonce-[0-9a-f]{32}'; script-src 'nonce-[0-9a-f]{32}'; "
                            "img-src data:; form-action 'self'; base-uri 'none'; frame-ancestors 'none'"));
    EXPECT_NE(policy, headerOf(second, "Content-Security-Policy"));
    const std::string nonce = policy.substr(policy.find("nonce-") + 6, 32);
    EXPECT_THAT(first.body, AllOf(HasSubstr("<style nonce=\"" + nonce), HasSubstr("<script nonce=\"" + nonce)));
    EXPECT_THAT(first.body,
                AllOf(Not(HasSubstr("style=\"")), Not(HasSubstr("http://127")), Not(HasSubstr(" onclick"))));
    EXPECT_EQ(headerOf(first, "Cache-Control"), "no-store");
    EXPECT_EQ(headerOf(first, "X-Content-Type-Options"), "nosniff");
}

TEST_F(PageRequests, AreThoseForThePageAndForReadingAndNoOthers) {
    for (const char* target : {"/", "http://127.0.0.1:5988/", "http://127.0.0.1:5988"})
        EXPECT_TRUE(concernsPage(request("GET", target))) << target;
    for (const char* target : {"", "/read", "/index.html", "/cimom", "//", "*"})
        EXPECT_FALSE(concernsPage(request("GET", target))) << target;
    for (const char* method : {"POST", "M-POST", "PUT", "OPTIONS", "get"})
        EXPECT_FALSE(concernsPage(request(method, "/"))) << method;
    wbem::HttpRequest refused = request("GET", "/");
    refused.refusal = wbem::httpError(421, "another host");
    EXPECT_FALSE(concernsPage(refused));
}

/** A machine whose reading ends when it is told to. */
class SlowMachine : public testing::Test {
 protected:
    SlowMachine() { gate.lock(); }
    ~SlowMachine() override { open(); }

    void open() {
        if (isOpen) return;
        isOpen = true;
        gate.unlock();
    }

    std::mutex gate;
    bool isOpen = false;
    std::atomic<int> count{0};
    Readings readings{[this](const Readings::Unwanted& unwanted) {
        ++count;
        const std::lock_guard<std::mutex> pass(gate);
        if (unwanted()) throw std::runtime_error("nobody wants it");
        return reading();
    }};
};

TEST_F(SlowMachine, IsReadOnceForAllWhoAskMeanwhileAndThePageSaysSo) {
    std::vector<std::future<wbem::HttpResponse>> pages;
    for (int i = 0; i < 4; ++i)
        pages.push_back(std::async(std::launch::async, [this] { return answerPage(request("GET", "/"), readings); }));
    for (auto& each : pages) {
        const wbem::HttpResponse response = each.get();
        EXPECT_EQ(headerOf(response, "Refresh"), "2");
        EXPECT_THAT(textAt(response.body, "notes"), HasSubstr("It is being read, for "));
        EXPECT_EQ(textAt(response.body, "again"), "Reading\u2026");
    }
    EXPECT_EQ(answerPage(button(), readings).status, 303U);
    EXPECT_EQ(count, 1);
    open();
    readings.once(10s);
    const wbem::HttpResponse whole = answerPage(request("GET", "/"), readings);
    EXPECT_EQ(headerOf(whole, "Refresh"), "");
    EXPECT_EQ(textAt(whole.body, "notes"), "");
    EXPECT_THAT(textAt(whole.body, "picture"), HasSubstr("PCIe Slot 1"));
    EXPECT_EQ(count, 1);
}

TEST_F(SlowMachine, IsNotWaitedForByTheEnd) {
    readings.again(0s);
    EXPECT_FALSE(readings.finish(0s));
    open();
    EXPECT_TRUE(readings.finish(10s));
    EXPECT_EQ(readings.state().failure, "nobody wants it");
    readings.again(0s);
    EXPECT_EQ(count, 1);
}

TEST(PageOf, AnAttemptThatFailedKeepsWhatWasReadBefore) {
    bool fails = false;
    Readings readings([&](const Readings::Unwanted&) { return fails ? throw std::runtime_error(kForged) : reading(); });
    answerPage(request("GET", "/"), readings);
    fails = true;
    answerPage(button(), readings);
    const std::string page = answerPage(request("GET", "/"), readings).body;
    EXPECT_EQ(textAt(page, "notes"),
              "The last attempt to read it failed: \"><script>alert(1)</script>&amp;\\x1b\\xff. "
              "Below is what was read before.");
    EXPECT_THAT(textAt(page, "functions"), HasSubstr("16:00.0"));
}

TEST(PageOf, AFirstAttemptThatFailedIsNotMadeAgainByLooking) {
    int count = 0;
    Readings readings([&](const Readings::Unwanted&) -> Reading {
        ++count;
        throw std::runtime_error("");
    });
    for (int i = 0; i < 3; ++i)
        EXPECT_THAT(textAt(answerPage(request("GET", "/"), readings).body, "notes"),
                    HasSubstr("The last attempt to read it failed: "));
    EXPECT_EQ(count, 1);
}

TEST(PageOf, AMachineWithoutSlotsOrWithAnErrorSaysWhy) {
    Readings readings([](const Readings::Unwanted&) {
        Reading made;
        made.inventory.host = "host";
        made.inventory.status = CMPI_RC_ERR_FAILED;
        made.inventory.subject = "QELTA_PCIDevice";
        made.trouble = "it is silent";
        return made;
    });
    const std::string page = answerPage(request("GET", "/"), readings).body;
    EXPECT_EQ(textAt(page, "notes"), "QELTA_PCIDevice: the provider answered CMPI_RC_ERR_FAILED.BMC: it is silent.");
    EXPECT_THAT(textAt(page, "picture"), HasSubstr("no slots"));
}

TEST(PageOf, AMachineWhoseReadingsDisagreeSaysSo) {
    Readings readings([](const Readings::Unwanted&) {
        Reading made;
        made.inventory.consistent = false;
        made.inventory.refusal = "it is in doubt.";
        return made;
    });
    EXPECT_THAT(textAt(answerPage(request("GET", "/"), readings).body, "notes"), HasSubstr("it is in doubt."));
}

TEST(PageOf, TextsOfTheMachineAreTexts) {
    Readings readings([](const Readings::Unwanted&) {
        Reading made = reading(kForged);
        made.inventory.slots[0].designation = kForged;
        made.inventory.onBoard[0].description = kForged;
        return made;
    });
    const wbem::HttpResponse response = answerPage(request("GET", "/"), readings);
    for (const char* id : {"host", "picture", "functions"})
        EXPECT_THAT(textAt(response.body, id), HasSubstr("\"><script>alert(1)</script>&amp;\\x1b\\xff")) << id;
    EXPECT_EQ(response.body.find("<script"), response.body.rfind("<script"));  // the page's own
}

TEST(PageOf, TheTableHasARowForEachFunctionAndEachSlotWithoutOne) {
    Readings readings([](const Readings::Unwanted&) {
        Reading made = reading();
        made.inventory.slots.push_back({2, "PCIe Slot 2", "available", "x4", {}});
        made.inventory.slots.push_back(made.inventory.slots[0]);
        return made;
    });
    const std::string page = answerPage(request("GET", "/"), readings).body;
    EXPECT_EQ(textAt(page, "functions"),
              "WhereLocationVendor:deviceClassWhat"
              "Slot 1: PCIe Slot 1, x8, in use16:00.08086:102:00NIC"
              "Slot 2: PCIe Slot 2, x4, availableno function"
              "Slot 1: PCIe Slot 1, x8, in usefunctions as above"
              "On the board00:00.08086:206:00Host bridge");
}

// --- the program ---

class ServedPage : public testing::Test {
 protected:
    ServedPage() { testsupport::buildRack(files); }

    RunningCimhost& start() {
        program.emplace(std::vector<std::string>{"serve", "--port", "0", "--trace", "--host", files.directory(),
                                                 "--library", PROVIDER_LIBRARY});
        const std::string line = program->firstLine();
        port = static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
        return *program;
    }

    std::string ask(const std::string& line, const std::string& headers = "") const {
        Connection connection(port);
        const std::string host = "Host: 127.0.0.1:" + std::to_string(port) + "\r\n";
        connection.send(line + " HTTP/1.1\r\n" + host + headers + "Content-Length: 0\r\nConnection: close\r\n\r\n");
        return connection.receiveAll();
    }

    static std::size_t countIn(const std::string& text, const std::string& part) {
        std::size_t count = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
        return count;
    }

    testsupport::HostBuilder files;
    std::optional<RunningCimhost> program;
    std::uint16_t port = 0;
};

TEST_F(ServedPage, CostsThreeReadingsOfTheTableAndOtherGetsAreNotFound) {
    start();
    EXPECT_THAT(ask("GET /"), AllOf(testing::StartsWith("HTTP/1.1 200 "), HasSubstr(">PCI5</text>")));
    EXPECT_THAT(ask("GET /?x=1"), testing::StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(client::bodyOf(ask("HEAD /")), IsEmpty());
    for (const char* path : {"/read", "/favicon.ico", "/x"})
        EXPECT_THAT(ask("GET " + std::string(path)),
                    AllOf(testing::StartsWith("HTTP/1.1 404 "),
                          testing::EndsWith("CIM operations are served at /cimom, a page for browsers at /\n")))
            << path;
    EXPECT_THAT(ask("GET /", "Origin: http://page.example\r\n"), testing::StartsWith("HTTP/1.1 403 "));
    EXPECT_THAT(ask("POST /read"), testing::StartsWith("HTTP/1.1 403 "));
    EXPECT_THAT(ask("POST /"), testing::StartsWith("HTTP/1.1 404 "));
    const std::string own = "Origin: http://127.0.0.1:" + std::to_string(port) + "\r\n";
    EXPECT_THAT(ask("POST /read", own), testing::StartsWith("HTTP/1.1 303 "));
    program->signal(SIGTERM);
    const Outcome outcome = program->end();
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(countIn(outcome.err, "open /dev/ipmi0"), 6U);  // one reading for GET, one for the button
}

TEST_F(ServedPage, AReadingUnderWayDoesNotKeepTheServerFromItsEnd) {
    files.setFaults(R"({"faults": [{"on": "open", "times": 0, "delayMs": 1500}]})");
    start();
    EXPECT_THAT(ask("GET /"), HasSubstr("It is being read, for 1 s"));
    program->signal(SIGTERM);
    EXPECT_EQ(program->end().exitCode, 0);
}

}  // namespace
