// The built program as a WBEM server, from outside.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "client.h"
#include "connection.h"
#include "tests/cimhost/program.h"
#include "tests/support/machine.h"

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

    static client::Answer ask(std::uint16_t port, const std::string& operation, const std::string& parameters) {
        Connection connection(port);
        connection.send(client::wire(client::post(client::message(operation, parameters), operation)));
        return client::read(client::bodyOf(connection.receiveResponse()));
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
        std::vector<std::thread> clients;
        clients.reserve(6);
        for (int i = 0; i < 6; ++i)
            clients.emplace_back([port] {
                for (int round = 0; round < 3; ++round) EXPECT_EQ(countSlots(port), 3U);
            });
        for (std::thread& each : clients) each.join();
        program.signal(signal);
        const Outcome outcome = program.end();
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_THAT(outcome.out, MatchesRegex("Listening on [^\n]+\n"));
        EXPECT_THAT(outcome.err, IsEmpty());
    }
}

TEST_F(Serve, TheTraceShowsWhatTheProviderDoesAndWhatWasAnswered) {
    RunningCimhost program(arguments({"--trace"}));
    const std::uint16_t port = portOf(program);
    EXPECT_EQ(countSlots(port), 3U);
    EXPECT_EQ(ask(port, "Frobnicate", "").error, CMPI_RC_ERR_NOT_SUPPORTED);
    program.signal(SIGTERM);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, MatchesRegex("Listening on [^\n]+\n"));
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("enumerating instances\n"), HasSubstr("\nipmi > "),
                                   HasSubstr("\nanswered EnumerateInstances in root/kavix: done\n"),
                                   HasSubstr("\nanswered Frobnicate in root/kavix: error 7, ")));
}

TEST_F(Serve, ARequestUnderWayIsAnsweredBeforeTheEndWhateverSignalsCome) {
    files.setFaults(R"({"faults": [{"on": "open", "times": 0, "delayMs": 700}]})");
    for (const int signals : {1, 3}) {
        RunningCimhost program(arguments({"--trace"}));
        Connection connection(portOf(program));
        connection.send(client::wire(
            client::post(client::message("EnumerateInstances", client::className("ClassName", "QELTA_SystemSlot")),
                         "EnumerateInstances")));
        ASSERT_TRUE(program.wroteToStderr("ipmi > "));  // the provider waits for the BMC now
        for (int sent = 0; sent < signals; ++sent) {
            program.signal(sent == 1 ? SIGINT : SIGTERM);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        EXPECT_THAT(client::children(client::read(client::bodyOf(connection.receiveResponse())).result), SizeIs(3));
        EXPECT_EQ(program.end().exitCode, 0);
    }
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
    program.signal(SIGTERM);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.exitCode, 0);
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
