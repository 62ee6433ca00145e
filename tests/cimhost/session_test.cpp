// Sessions: what is traced, the host that the provider sees, and how a command ends.

#include "cimhost/session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "cimhost/command.h"
#include "tests/support/hostbuilder.h"

namespace {

using cimhost::Answer;
using cimhost::Question;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class SessionTest : public testing::Test {
 protected:
    cimhost::Surroundings surroundings() const { return {CIMHOST_PROVIDER, host.directory()}; }

    cimhost::ExitCode run(const Question& question) const {
        cimhost::Settings settings;
        settings.surroundings = surroundings();
        return cimhost::run(settings, question);
    }

    testsupport::HostBuilder host;
};

TEST_F(SessionTest, OutputOfTheProviderGoesToTheTrace) {
    std::vector<std::string> trace;
    testing::internal::CaptureStdout();
    std::printf("before\n");
    cimhost::Session session(surroundings(), [&](const std::string& line) { trace.push_back(line); });
    session.ask({"X", [](broker::ObjectManager&) {
                     std::printf("one\ntwo\x1b\n");
                     std::cout << "three\n";
                     return Answer{};
                 }});
    std::printf("between\n");
    const Question failing = {"X", [](broker::ObjectManager&) -> Answer {
                                  std::printf("lost\n");
                                  throw std::runtime_error("");
                              }};
    EXPECT_THROW(session.ask(failing), cimhost::ProviderException);
    std::printf("after\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before\nbetween\nafter\n");
    EXPECT_THAT(trace, testing::ElementsAre("stdout: one", "stdout: two\\x1b", "stdout: three"));
}

TEST_F(SessionTest, KeepsNoRecordOfTheProvidersCalls) {
    host.addFunction({});
    cimhost::Session session(surroundings());
    session.ask(cimhost::enumerateInstances("QELTA_PCIDevice"));
    EXPECT_THAT(session.manager().calls(), testing::IsEmpty());
}

/** The descriptions of a host's functions as the session has them. */
std::vector<std::string> descriptions(const cimhost::Surroundings& surroundings) {
    cimhost::Session session(surroundings);
    const Answer answer = session.ask(cimhost::enumerateInstances("QELTA_PCIDevice"));
    std::vector<std::string> texts;
    for (const broker::Instance& each : std::get<cimhost::Instances>(answer.objects))
        texts.push_back(broker::toString(*each.property("Description")));
    return texts;
}

TEST_F(SessionTest, CatalogueStandsInForTheHostsOwn) {
    testsupport::PciFunction function;
    function.vendor = 0x1234;
    function.device = 0xabcd;
    host.addFunction(function).setCatalogue("<device id=\"abcd\"><name>Own</name>");
    testsupport::HostBuilder other;
    other.setFile("pci.xml", "<vendor id=\"1234\"><name>Maker</name><device id=\"abcd\"><name>Thing</name>");
    other.setFile("pci.classlist", "C 02  Network controller\n\t00  Ethernet controller\n");
    cimhost::Surroundings changed = surroundings();
    EXPECT_THAT(descriptions(changed), testing::ElementsAre(HasSubstr("Own")));
    changed.catalogue = other.directory();
    EXPECT_THAT(descriptions(changed), testing::ElementsAre("Ethernet controller: Maker Thing (rev 00)"));
    changed.hostDirectory.clear();
    for (const std::string& description : descriptions(changed))
        EXPECT_THAT(description, testing::Not(HasSubstr("Own"))) << "this machine, with its own functions";
}

TEST_F(SessionTest, ExceptionOfTheProviderIsReportedAndAnError) {
    const Question standard = {"QELTA_X",
                               [](broker::ObjectManager&) -> Answer { throw std::runtime_error("too much"); }};
    const Question other = {"QELTA_X", [](broker::ObjectManager&) -> Answer { throw 1; }};
    testing::internal::CaptureStderr();
    EXPECT_EQ(run(standard), cimhost::kErrorStatus);
    EXPECT_EQ(run(other), cimhost::kErrorStatus);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "cimhost: QELTA_X: the provider threw an exception: too much\n"
              "cimhost: QELTA_X: the provider threw an exception\n");
}

TEST_F(SessionTest, ErrorStatusIsWrittenExplainedAndReturned) {
    const Question question = {"QELTA_X", [](broker::ObjectManager&) {
                                   return Answer{CMPI_RC_ERR_ACCESS_DENIED, cimhost::Instances{}};
                               }};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(run(question), cimhost::kErrorStatus);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "CMPI_RC_ERR_ACCESS_DENIED, 0 instances\n");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                AllOf(StartsWith("cimhost: QELTA_X: "), HasSubstr("CMPI_RC_ERR_ACCESS_DENIED")));
}

}  // namespace
