#ifndef PCIINFO_TESTS_UNIT_INVENTORY_H
#define PCIINFO_TESTS_UNIT_INVENTORY_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "emulator/emulatedhost.h"
#include "ipmi/IpmiDataStore.h"
#include "pci/pcidevinfo.h"
#include "tests/support/casename.h"
#include "tests/support/loglines.h"
#include "tests/support/machine.h"
#include "tests/support/records.h"

namespace testsupport {

constexpr char kSlotClass[] = "QELTA_SystemSlot";
constexpr char kBoardClass[] = "QELTA_SystemBoard";

/** A slot with a number in its tag and anything as its "Number". */
inline broker::Instance numbered(unsigned tagNumber, const broker::Value& number) {
    return instanceOf(slotPath(tagNumber), "Number", number);
}

/**
 * A machine whose object manager answers upcalls with canned objects. PCI functions are added first, then start() runs
 * the machine. Afterwards nothing may be left open and nothing leaked.
 */
class InventoryTest : public testing::Test {
 protected:
    InventoryTest() {
        resetTransport();
        files.setHostName(kMachineName);
    }

    ~InventoryTest() override {
        scope.reset();
        EXPECT_EQ(manager.objectsMade(), manager.objectsFreed());
        resetTransport();
        if (host != nullptr) {
            EXPECT_EQ(host->openFiles(), 0U);
        }
    }

    void start() {
        host = std::make_unique<emulator::EmulatedHost>(files.directory());
        scope = std::make_unique<broker::Broker::Scope>(manager);
    }

    /** A new scan of the bus; what it logged and called is forgotten. */
    std::unique_ptr<tPCIInfo::TPciDevInfo> scan(const char* className = "QELTA_DeviceInSlot") {
        if (host == nullptr) start();
        auto info = std::make_unique<tPCIInfo::TPciDevInfo>(className);
        forget();
        return info;
    }

    /** Forgets what was logged, called and delivered. */
    void forget() {
        host->clearEvents();
        manager.clearCalls();
        scope.reset();
        scope = std::make_unique<broker::Broker::Scope>(manager);
    }

    void answer(const std::string& className, const std::vector<broker::Instance>& instances) {
        broker::UpcallAnswer canned;
        for (const broker::Instance& instance : instances) canned.elements.push_back(broker::Value::instance(instance));
        manager.answerUpcall(className, canned);
    }
    void answerNoEnumeration(const std::string& className) {
        broker::UpcallAnswer canned;
        canned.nullEnumeration = true;
        canned.status = CMPI_RC_ERR_FAILED;
        manager.answerUpcall(className, canned);
    }

    /** Every read of a property fails from now on, and a 3 comes with it. */
    void failPropertyReads() {
        manager.instanceTable().getProperty = [](const CMPIInstance*, const char*, CMPIStatus* status) {
            if (status != nullptr) *status = {CMPI_RC_ERR_FAILED, nullptr};
            CMPIData rubbish{};
            rubbish.type = CMPI_uint16;
            rubbish.state = CMPI_badValue;
            rubbish.value.uint16 = 3;
            return rubbish;
        };
    }

    const CMPIBroker* handle() const { return manager.handle(); }
    const CMPIContext* context() const { return scope->context(); }
    const CMPIResult* result() const { return scope->result(); }

    Lines log() const { return errorLog(*host); }
    Paths answered() const { return delivered(scope->response()); }

    /** The names in the calls of one function, in order. */
    Lines callsOf(const std::string& function) const {
        Lines names;
        for (const broker::Call& call : manager.calls()) {
            if (call.function == function) names.push_back(call.name);
        }
        return names;
    }

    HostBuilder files;
    std::unique_ptr<emulator::EmulatedHost> host;
    broker::Broker manager;
    std::unique_ptr<broker::Broker::Scope> scope;

 private:
    static void resetTransport() {
        tPCIInfo::disconnect_kcs();
        tPCIInfo::MAX_KCS_BUFF_SIZE = 200;
    }
};

}  // namespace testsupport

#endif
