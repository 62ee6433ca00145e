// The built program as a WBEM server, from outside.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <climits>
#include <csignal>
#include <ctime>
#include <deque>
#include <filesystem>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "client.h"
#include "connection.h"
#include "tests/cimhost/program.h"
#include "tests/support/machine.h"
#include "wbem/address.h"

namespace {

using client::Connection;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using namespace testsupport;

class Serve : public testing::Test {
 protected:
    Serve() { buildRack(files); }

    std::vector<std::string> arguments(std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {"serve", "--port", "0", "--host", files.directory(), "--library", PROVIDER_LIBRARY});
        return more;
    }

    /** The port in the line that tells that the server may be asked. */
    static std::uint16_t portOf(const RunningCimhost& program) {
        const std::string line = program.firstLine();
        EXPECT_THAT(line, MatchesRegex("Listening on http://127\\.0\\.0\\.1:[0-9]+\n"));
        return line.empty() ? 0 : static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
    }

    static std::string told(std::uint16_t port, const std::string& operation, const std::string& parameters) {
        Connection connection(port);
        connection.send(client::wire(client::post(client::message(operation, parameters), operation)));
        return client::bodyOf(connection.receiveResponse());
    }

    static client::Answer ask(std::uint16_t port, const std::string& operation, const std::string& parameters) {
        return client::read(told(port, operation, parameters));
    }

    /** What it said, once it was told to end. */
    static Outcome ended(RunningCimhost& program) {
        program.signal(SIGTERM);
        const Outcome outcome = program.end();
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return outcome;
    }

    static std::size_t countSlots(std::uint16_t port) {
        const client::Answer answer =
            ask(port, "EnumerateInstances", client::className("ClassName", "QELTA_SystemSlot"));
        return client::children(answer.result).size();
    }

    HostBuilder files;
};

TEST_F(Serve, ClientsGetTheProvidersAnswersUntilTheServerIsEnded) {
    for (const int signal : {SIGTERM, SIGINT}) {
        RunningCimhost program(arguments());
        const std::uint16_t port = portOf(program);
        const client::Answer functions = ask(port, "AssociatorNames", client::instanceName("ObjectName", slotPath(3)));
        EXPECT_THAT(client::children(functions.result), SizeIs(2));
        EXPECT_EQ(countSlots(port), 3U);
        const int process = program.processId();
        program.signal(signal);
        const Outcome outcome = program.end();
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        const std::string url = "http://127.0.0.1:" + std::to_string(port);
        EXPECT_EQ(outcome.out, "Listening on " + url + "\nSee the machine in a browser: " + url +
                                   "/\nAsk it, for example: wbemcli ein " + url +
                                   "/root/kavix:QELTA_SystemSlot\nIt ends with Ctrl-C, or with: kill " +
                                   std::to_string(process) + "\n");
        EXPECT_THAT(outcome.err, IsEmpty());
    }
}

TEST_F(Serve, EightClientsAtOnceGetTheAnswersThatOneGets) {
    RunningCimhost program(arguments());
    const std::uint16_t port = portOf(program);
    std::vector<std::pair<const char*, std::string>> questions;
    for (const char* name : {"QELTA_PCIDevice", "QELTA_SystemSlot", "QELTA_DeviceInSlot", "QELTA_OBDPCIController"})
        for (const char* operation : {"EnumerateInstanceNames", "EnumerateInstances"})
            questions.emplace_back(operation, client::className("ClassName", name));
    for (const auto& source : {slotPath(3), boardPath(), bridgePath(5, 5, 0)})
        for (const char* operation : {"Associators", "AssociatorNames", "References", "ReferenceNames"})
            questions.emplace_back(operation, client::instanceName("ObjectName", source));
    std::vector<std::string> alone;
    for (const auto& [operation, parameters] : questions) {
        alone.push_back(told(port, operation, parameters));
        EXPECT_GT(client::children(client::read(alone.back()).result).size(), 0U) << operation << parameters;
    }
    std::vector<std::thread> clients;
    for (std::size_t client = 0; client < 8; ++client)
        clients.emplace_back([&, client] {
            for (std::size_t i = 0; i < questions.size(); ++i) {  // each begins elsewhere, different requests meet
                const std::size_t at = (i + 3 * client) % questions.size();
                EXPECT_EQ(told(port, questions[at].first, questions[at].second), alone[at]);
            }
        });
    for (std::thread& each : clients) each.join();
    ended(program);
}

TEST_F(Serve, ClientsMeetTheMannersOfTheObjectManager) {
    struct Row {
        const char* manners;
        const char* tagOfSlotNine;      // of the slot got as that with the number 9
        std::size_t boardsOfADevice;    // with the board's class as result class
        std::size_t functionsByTheWay;  // that the board has by the slots' association class
        bool listsLeftUnread;           // property lists, by manager and provider
    };
    const Row rows[] = {{"standard", "System Slot 9", 1, 4, false},
                        {"sfcb", "System Slot 5", 1, 4, true},
                        {"pegasus", "System Slot 5", 2, 0, false},
                        {"strict", "", 1, 4, false}};  // refuses all but the first object of a get
    const std::string list = client::list("PropertyList", {"NoSuch"});
    for (const Row& row : rows) {
        SCOPED_TRACE(row.manners);
        RunningCimhost program(arguments({"--manners", row.manners}));
        const std::uint16_t port = portOf(program);
        const client::Answer got = ask(port, "GetInstance", client::instanceName("InstanceName", slotPath(9)));
        EXPECT_EQ(got.result.child("INSTANCE").find_child_by_attribute("PROPERTY", "NAME", "Tag").child_value("VALUE"),
                  std::string(row.tagOfSlotNine));
        const auto count = [&](const std::string& operation, const std::string& parameters) {
            return client::children(ask(port, operation, parameters).result).size();
        };
        EXPECT_EQ(count("AssociatorNames", client::instanceName("ObjectName", devicePath(3, 3, 0)) +
                                               client::className("ResultClass", "QELTA_SystemBoard")),
                  row.boardsOfADevice);
        EXPECT_EQ(count("AssociatorNames", client::instanceName("ObjectName", boardPath()) +
                                               client::className("AssocClass", "QELTA_DeviceInSlot")),
                  row.functionsByTheWay);
        EXPECT_EQ(count("EnumerateInstances", client::className("ClassName", "QELTA_Controller")), 9U);

        const auto properties = [port](const std::string& operation, const std::string& parameters) {
            return ask(port, operation, parameters).result.select_nodes(".//PROPERTY | .//PROPERTY.REFERENCE").size();
        };
        const std::string source = client::instanceName("ObjectName", slotPath(3));
        const std::pair<const char*, std::string> requests[] = {
            {"GetInstance", client::instanceName("InstanceName", slotPath(3))},
            {"EnumerateInstances", client::className("ClassName", "QELTA_SystemSlot")},
            {"Associators", source},
            {"References", source}};
        for (const auto& [operation, object] : requests) {
            const std::size_t all = properties(operation, object);
            const bool refused = *row.tagOfSlotNine == '\0' && operation == std::string("GetInstance");
            EXPECT_EQ(all == 0, refused) << operation;
            EXPECT_EQ(properties(operation, object + list), row.listsLeftUnread ? all : 0U) << operation;
        }
        // Classes are the manager's own.
        EXPECT_EQ(properties("Associators", client::className("ObjectName", "QELTA_SystemSlot") + list), 0U);
        ended(program);
    }
}

TEST_F(Serve, TheTraceTellsEachTimeWhatAStrictManagerRefuses) {
    RunningCimhost program(arguments({"--manners", "strict", "--trace"}));
    const std::uint16_t port = portOf(program);
    for (int i = 0; i < 2; ++i) ask(port, "GetInstance", client::instanceName("InstanceName", slotPath(9)));
    const std::string text = ended(program).err;
    const std::string line = "refused: result.returnInstance: a second instance for a get\n";
    const std::size_t first = text.find(line);
    ASSERT_NE(first, std::string::npos) << text;
    EXPECT_NE(text.find(line, first + line.size()), std::string::npos) << text;
}

TEST_F(Serve, TheTraceShowsWhatTheProviderDoesAndWhatWasAnswered) {
    RunningCimhost program(arguments({"--trace"}));
    const std::uint16_t port = portOf(program);
    EXPECT_EQ(countSlots(port), 3U);
    EXPECT_EQ(ask(port, "Frobnicate", "").error, CMPI_RC_ERR_NOT_SUPPORTED);
    const Outcome outcome = ended(program);
    EXPECT_THAT(outcome.out, testing::StartsWith("Listening on "));
    EXPECT_THAT(outcome.out, testing::Not(HasSubstr("enumerating")));
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("enumerating instances\n"), HasSubstr("\nipmi > "),
                                   HasSubstr(" EnumerateInstances root/kavix:QELTA_SystemSlot: status 0, 3 objects, "),
                                   HasSubstr(" Frobnicate root/kavix: status 7 ")));
}

/** What lines say after time and client, without the number of milliseconds. */
std::vector<std::string> logged(const std::string& text) {
    static const std::regex form(
        "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[-+][0-9]{4} 127\\.0\\.0\\.1 (.*), [0-9]+ ms");
    std::vector<std::string> entries;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::smatch parts;
        EXPECT_TRUE(std::regex_match(line, parts, form)) << line;
        entries.push_back(parts[1]);
    }
    return entries;
}

TEST_F(Serve, TheLogHasOneLineForEachRequestAndNothingOfTheProvider) {
    RunningCimhost program(arguments({"--log"}));
    const std::uint16_t port = portOf(program);
    const std::string ofSlots = client::className("ClassName", "QELTA_SystemSlot");
    ask(port, "EnumerateInstances", ofSlots);
    ask(port, "GetInstance", client::instanceName("InstanceName", slotPath(3)));
    ask(port, "GetInstance", client::instanceName("InstanceName", slotPath(4)));
    ask(port, "AssociatorNames",
        client::instanceName("ObjectName", boardPath()) + client::className("AssocClass", "QELTA_PCIDevice"));
    ask(port, "EnumerateClassNames", "");
    ask(port, "GetClass", client::className("ClassName", "a&#10;b\xc2\x9b[0m" + std::string(5000, 'x')));
    const auto sendBadly = [&](const std::string& method, const std::string& body) {
        wbem::HttpRequest request = client::post(body, "GetClass");
        request.method = method;
        Connection connection(port);
        connection.send(client::wire(request));
        connection.receiveThrough("\r\n\r\n");
    };
    sendBadly("GET", "");
    sendBadly("POST", "<CIM");
    sendBadly("POST", std::string((1U << 20U) + 1, ' '));
    sendBadly("POST", std::string((1U << 21U) + 2, ' '));
    const Outcome outcome = ended(program);
    const std::vector<std::string> entries = logged(outcome.err);
    ASSERT_EQ(entries.size(), 10U) << outcome.err;
    EXPECT_EQ(entries[0], "EnumerateInstances root/kavix:QELTA_SystemSlot: status 0, 3 objects");
    EXPECT_EQ(entries[1], "GetInstance root/kavix:QELTA_SystemSlot: status 0, 1 object");
    EXPECT_EQ(entries[2], "GetInstance root/kavix:QELTA_SystemSlot: status 6 (The object does not exist), 0 objects");
    EXPECT_EQ(entries[3], "AssociatorNames root/kavix:QELTA_SystemBoard: status 0, 0 objects");
    EXPECT_EQ(entries[4].rfind("EnumerateClassNames root/kavix: status 0, ", 0), 0U) << entries[4];
    EXPECT_EQ(entries[5].rfind("GetClass root/kavix:a\\x0ab\\xc2\\x9b[0mxxx", 0), 0U) << entries[5];
    EXPECT_LE(entries[5].size(), 400U);
    EXPECT_EQ(entries[6], "GET /cimom: HTTP 405, CIM operations come by POST or M-POST");
    EXPECT_EQ(entries[7].rfind("POST /cimom: HTTP 400, ", 0), 0U) << entries[7];
    EXPECT_EQ(entries[8], "POST /cimom: HTTP 413, the message is too long");
    EXPECT_EQ(entries[9], entries[8]);
}

TEST_F(Serve, ClientsThatStopOnTheWayDoNotKeepOthersOut) {
    RunningCimhost program(arguments());
    const std::uint16_t port = portOf(program);
    std::deque<Connection> slow;
    for (int i = 0; i < 300; ++i) slow.emplace_back(port).send("POST /cimom HTTP/1.1\r\nHost: loc");
    EXPECT_EQ(countSlots(port), 3U);
    ended(program);
}

/** The processor time that a process has taken so far. */
std::chrono::nanoseconds timeTakenBy(int process) {
    clockid_t clock{};
    timespec taken{};
    EXPECT_EQ(clock_getcpuclockid(process, &clock), 0);
    EXPECT_EQ(clock_gettime(clock, &taken), 0);
    return std::chrono::seconds(taken.tv_sec) + std::chrono::nanoseconds(taken.tv_nsec);
}

/** The lowest number that is no descriptor of a process: the one that it would get next. */
rlim_t nextDescriptorOf(int process) {
    const std::filesystem::path open = "/proc/" + std::to_string(process) + "/fd";
    rlim_t number = 0;
    while (std::filesystem::is_symlink(open / std::to_string(number))) ++number;
    return number;
}

TEST_F(Serve, AtTheLimitOfDescriptorsItWaitsForOneWithoutTakingTime) {
    RunningCimhost program(arguments());
    const std::uint16_t port = portOf(program);
    const int process = program.processId();
    const rlim_t next = nextDescriptorOf(process);
    const auto allow = [&](rlim_t descriptors) {
        const rlimit limit{descriptors, 100};
        ASSERT_EQ(prlimit(process, RLIMIT_NOFILE, &limit, nullptr), 0);
    };
    allow(next);
    Connection first(port);
    first.send(client::wire(client::post(client::message("EnumerateClassNames", ""), "EnumerateClassNames")));
    const auto before = timeTakenBy(process);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_LT(timeTakenBy(process) - before, std::chrono::milliseconds(100));

    allow(next + 8);
    EXPECT_THAT(first.receiveResponse(), HasSubstr("<CIM"));
    {
        std::deque<Connection> silent;
        for (int i = 0; i < 30; ++i) silent.emplace_back(port);
        EXPECT_EQ(ask(port, "EnumerateClassNames", "").error, 0);
    }
    allow(100);
    EXPECT_EQ(countSlots(port), 3U);
    ended(program);
}

TEST_F(Serve, RequestsForOtherHostsAreRefusedUnlessTheyAreAllowed) {
    RunningCimhost program(arguments({"--allow-host", "proxy.example", "--allow-host", "other.example", "--log"}));
    const std::uint16_t port = portOf(program);
    const auto statusFor = [&](const std::string& host, const std::string& origin) {
        wbem::HttpRequest request = client::post(client::message("EnumerateClassNames", ""), "EnumerateClassNames");
        request.headers[0].second = host;
        request.headers.emplace_back("Origin", origin);
        Connection connection(port);
        connection.send(client::wire(request));
        return connection.receiveThrough("\r\n");
    };
    EXPECT_THAT(statusFor("proxy.example", "http://other.example"), HasSubstr(" 200 "));
    EXPECT_THAT(statusFor("page.example:5988", "http://localhost"), HasSubstr(" 421 "));
    EXPECT_THAT(statusFor("localhost", "http://page.example"), HasSubstr(" 403 "));
    EXPECT_THAT(ended(program).err,
                AllOf(HasSubstr(" POST /cimom: HTTP 421, requests for page.example:5988 are not answered here, "),
                      HasSubstr(" POST /cimom: HTTP 403, pages of http://page.example may not ask here, ")));
}

TEST_F(Serve, ThisMachinesNameIsKnownForServersThatMoreThanItReach) {
    std::array<char, HOST_NAME_MAX + 1> name{};
    ASSERT_EQ(gethostname(name.data(), name.size()), 0);
    EXPECT_THAT(wbem::ownNames(), testing::Contains(name.data()));
}

TEST_F(Serve, AHostNameIsAnAddressAndOneThatIsNoneIsTold) {
    RunningCimhost program(arguments({"--address", "localhost"}));
    EXPECT_EQ(countSlots(portOf(program)), 3U);
    const Outcome outcome = ended(program);
    EXPECT_THAT(outcome.err, IsEmpty());  // no warning: it is this machine's alone

    // A label of more than 63 characters, or none, is no name: nobody is asked for it.
    for (const std::string& name : {std::string(70, 'a'), std::string("")}) {
        const Outcome none = runCimhost(arguments({"--address", name}));
        EXPECT_EQ(none.exitCode, 2);
        EXPECT_THAT(none.err, testing::StartsWith("cimhost: \"" + name + "\" is no address and stands for none: "));
        EXPECT_THAT(none.out, IsEmpty());
    }
}

TEST_F(Serve, AnAddressOfIpv6IsShownInBracketsAndQuotedInTheExample) {
    RunningCimhost program(arguments({"--address", "::1"}));
    const std::string line = program.firstLine();
    program.signal(SIGTERM);
    const Outcome outcome = program.end();
    if (outcome.exitCode == 2) GTEST_SKIP() << "no IPv6 here: " << outcome.err;
    EXPECT_THAT(line, MatchesRegex("Listening on http://\\[::1\\]:[0-9]+\n"));
    EXPECT_THAT(outcome.out, HasSubstr(" wbemcli ein 'http://[::1]:"));
    EXPECT_THAT(outcome.out, HasSubstr("/root/kavix:QELTA_SystemSlot'\n"));
    EXPECT_THAT(outcome.err, IsEmpty());
}

/** Asks the server with --trace for its slots; when it returns the provider waits for a slow BMC. */
void askForSlots(const Connection& connection, RunningCimhost& program) {
    connection.send(client::wire(
        client::post(client::message("EnumerateInstances", client::className("ClassName", "QELTA_SystemSlot")),
                     "EnumerateInstances")));
    ASSERT_TRUE(program.wroteToStderr("ipmi > "));
}

TEST_F(Serve, ARequestUnderWayIsAnsweredBeforeTheEndWhateverSignalsCome) {
    files.setFaults(R"({"faults": [{"on": "open", "times": 0, "delayMs": 700}]})");
    for (const int signals : {1, 3}) {
        RunningCimhost program(arguments({"--trace"}));
        Connection connection(portOf(program));
        askForSlots(connection, program);
        for (int sent = 0; sent < signals; ++sent) {
            program.signal(sent == 1 ? SIGINT : SIGTERM);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        EXPECT_THAT(client::children(client::read(client::bodyOf(connection.receiveResponse())).result), SizeIs(3));
        EXPECT_EQ(program.end().exitCode, 0);
    }
}

TEST_F(Serve, ARequestWhoseClientHasGoneEndsAtTheNextObject) {
    files.setFaults(R"({"faults": [{"on": "open", "times": 0, "delayMs": 700}]})");
    RunningCimhost program(arguments({"--trace"}));
    {
        Connection gone(portOf(program));
        askForSlots(gone, program);
    }
    EXPECT_THAT(ended(program).err, HasSubstr(": status 1 (Given up, as nobody waits for the answer), 0 objects, "));
}

TEST_F(Serve, SignalsThatFollowEachOtherAtOnceEndItCleanly) {
    for (int round = 0; round < 10; ++round) {
        RunningCimhost program(arguments());
        portOf(program);
        for (int sent = 0; sent < 50; ++sent) program.signal(SIGTERM);
        EXPECT_EQ(program.end().exitCode, 0);
    }
}

TEST_F(Serve, ThePortIsTheOneOfCimOperationsUnlessAnotherIsNamed) {
    // A loopback address of this process's own: servers of others may have the port.
    const int process = getpid();
    const std::string address = "127." + std::to_string(1 + process % 250) + "." + std::to_string(process / 250 % 250) +
                                "." + std::to_string(1 + process / 62500 % 250);
    RunningCimhost program({"serve", "--address", address, "--host", files.directory(), "--library", PROVIDER_LIBRARY});
    EXPECT_EQ(program.firstLine(), "Listening on http://" + address + ":5988\n");
    const Outcome outcome = ended(program);
    EXPECT_THAT(outcome.err, IsEmpty());  // no warning: it is this machine's alone
}

TEST_F(Serve, WhatItCannotServeIsTold) {
    RunningCimhost program(arguments());
    const std::string port = std::to_string(portOf(program));
    std::vector<std::string> again = arguments();
    again[2] = port;
    const Outcome taken = runCimhost(again);
    EXPECT_EQ(taken.exitCode, 2);
    EXPECT_EQ(taken.err, "cimhost: 127.0.0.1:" + port + ": Address already in use\n");
    EXPECT_THAT(taken.out, IsEmpty());

    const Outcome outside = runCimhost(arguments({"--address", "192.0.2.1"}));
    EXPECT_EQ(outside.exitCode, 2);
    EXPECT_THAT(outside.err, AllOf(HasSubstr("192.0.2.1 is no loopback address"), HasSubstr("192.0.2.1:0: ")));
    EXPECT_EQ(runCimhost(arguments({"--port", "65536"})).exitCode, 2);
    EXPECT_EQ(runCimhost({"serve", "--port", "0", "--library", "/none.so"}).exitCode, 2);
}

}  // namespace
