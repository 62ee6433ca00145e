#ifndef PCIINFO_TESTS_CIMHOST_PROGRAMTEST_H
#define PCIINFO_TESTS_CIMHOST_PROGRAMTEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "cimhost/printable.h"
#include "program.h"
#include "tests/support/machine.h"

using Json = nlohmann::ordered_json;
using Arguments = std::vector<std::string>;

inline Arguments joined(Arguments first, const Arguments& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/** What is said of wrong arguments, before anything is asked. */
inline std::string complaint(const Arguments& arguments) {
    const Outcome run = runCimhost(arguments);
    EXPECT_EQ(run.exitCode, 2) << testing::PrintToString(arguments);
    EXPECT_THAT(run.out, testing::IsEmpty());
    EXPECT_THAT(run.err, testing::StartsWith("cimhost: "));
    return run.err;
}

/** The program asked about a host that has no names. */
class HostTest : public testing::Test {
 protected:
    HostTest() { host.setCatalogue("").setClassList(""); }

    Outcome ask(const Arguments& arguments, const Surrounding& surrounding = {}) const {
        return runCimhost(joined(arguments, {"--host", host.directory()}), surrounding);
    }
    /** What is written by a command that succeeds and has nothing to say besides. */
    std::string answer(const Arguments& arguments) const {
        const Outcome run = ask(arguments);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_THAT(run.err, testing::IsEmpty());
        return run.out;
    }
    Json askForJson(const Arguments& arguments) const {
        return Json::parse(answer(joined(arguments, {"--format", "json"})));
    }

    testsupport::HostBuilder host;
};

/** The rack: slots 5, 3 and 9, functions in the first two. */
class RackTest : public HostTest {
 protected:
    RackTest() { testsupport::buildRack(host); }
};

#endif
