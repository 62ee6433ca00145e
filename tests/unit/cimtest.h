#ifndef PCIINFO_TESTS_UNIT_CIMTEST_H
#define PCIINFO_TESTS_UNIT_CIMTEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "emulator/emulatedhost.h"
#include "tests/support/hostbuilder.h"
#include "tests/support/loglines.h"
#include "tests/support/machine.h"
#include "tests/support/records.h"
#include "utils/providerutils.h"

namespace cim {

/** What gmock shows of a property that differs. */
inline void PrintTo(const Property& property, std::ostream* out) {
    *out << property.name << " = ";
    PrintTo(property.value, out);
}

}  // namespace cim

using CallRow = testsupport::Call;

/** The typed access to the object manager over an in-process broker, outside of any request. */
class CimTest : public testing::Test {
 protected:
    broker::ObjectPath thing_{"root/test", "Test_Thing", {}};

    CMPIInstance* makeInstance(const std::vector<broker::Property>& properties = {}) {
        return scope_.make(broker::Instance{thing_, properties});
    }
    CMPIObjectPath* makePath() { return scope_.make(thing_); }

    std::vector<broker::Property> propertiesOf(const CMPIInstance* instance) const {
        return scope_.read(instance).properties;
    }
    std::vector<broker::Property> keysOf(const CMPIObjectPath* path) const { return scope_.read(path).keys; }

    /** The calls since the last time, and forgets them. */
    std::vector<CallRow> takeCalls() {
        std::vector<CallRow> rows = testsupport::callsOf(broker_);
        broker_.clearCalls();
        return rows;
    }

    /** The log lines since the last time, and forgets them. Every one is of priority 3. */
    std::vector<std::string> takeLog() {
        std::vector<std::string> texts = testsupport::errorLog(host_);
        host_.clearEvents();
        return texts;
    }

    testsupport::HostBuilder files_;
    emulator::EmulatedHost host_{files_.directory()};
    broker::Broker broker_;
    broker::Broker::Scope scope_{broker_};
    tPCIInfo::CMPICIMInst cim_;
};

#endif
