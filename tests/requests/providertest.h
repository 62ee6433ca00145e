#ifndef PCIINFO_TESTS_REQUESTS_PROVIDERTEST_H
#define PCIINFO_TESTS_REQUESTS_PROVIDERTEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "emulator/emulatedhost.h"
#include "tests/requests/manners.h"
#include "tests/support/hostbuilder.h"
#include "tests/support/machine.h"

/** The library, loaded as an object manager loads it, over an emulated host. Nothing that a request made outlives it.
 */
class ProviderTest : public testing::Test {
 protected:
    using Build = void (*)(testsupport::HostBuilder&);

    /** The host begins as `build` leaves its directory. */
    explicit ProviderTest(Build build) : host_(built(files_, build)) {}

    void SetUp() override { broker_.load(PROVIDER_LIBRARY); }
    void TearDown() override {
        expectNothingLeft();
        broker_.expectNoComplaintBut(testsupport::kKnownComplaints);
    }

    void expectNothingLeft() const {
        EXPECT_EQ(broker_.objectsMade(), broker_.objectsFreed());
        EXPECT_EQ(host_.openFiles(), 0U);
    }

    testsupport::HostBuilder files_;
    emulator::EmulatedHost host_;
    testsupport::ManneredBroker broker_;

 private:
    static std::string built(testsupport::HostBuilder& files, Build build) {
        build(files);
        return files.directory();
    }
};

/** One of the three instance operations. */
struct Operation {
    const char* name;
    broker::Response (broker::Broker::*ask)(const broker::ObjectPath&);
    bool namesOnly;

    bool isGet() const { return ask == &broker::Broker::getInstance; }
};

inline void PrintTo(const Operation& operation, std::ostream* out) {
    *out << operation.name;
}

inline constexpr Operation kInstanceOperations[] = {
    {"EnumerateNames", &broker::Broker::enumerateInstanceNames, true},
    {"Enumerate", &broker::Broker::enumerateInstances, false},
    {"Get", &broker::Broker::getInstance, false},
};

/** The classes served. */
inline constexpr const char* kClasses[] = {
    "QELTA_PCIDevice",   "QELTA_PCIBridge",     "QELTA_DeviceInSlot",    "QELTA_SystemSlot",
    "QELTA_SystemBoard", "QELTA_OnBoardDevice", "QELTA_SSPCIController", "QELTA_OBDPCIController",
};

#endif
