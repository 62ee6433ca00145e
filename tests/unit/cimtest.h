#ifndef PCIINFO_TESTS_UNIT_CIMTEST_H
#define PCIINFO_TESTS_UNIT_CIMTEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "broker/broker.h"
#include "emulator/emulatedhost.h"
#include "tests/support/hostbuilder.h"
#include "utils/providerutils.h"

namespace broker {

// What gmock shows of a value that differs.

inline void PrintTo(const Value& value, std::ostream* out) {
    *out << typeName(value.type) << ' ' << toString(value);
}

inline void PrintTo(const Property& property, std::ostream* out) {
    *out << property.name << " = ";
    PrintTo(property.value, out);
}

inline void PrintTo(const ObjectPath& path, std::ostream* out) {
    *out << toString(path);
}

}  // namespace broker

/** One call into the object manager: function, name of the property, key or class, CMPI type, index or array size. */
using CallRow = std::tuple<std::string, std::string, CMPIType, std::size_t>;

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
        std::vector<CallRow> rows;
        for (const broker::Call& call : broker_.calls()) {
            rows.emplace_back(call.function, call.name, call.type, call.index);
        }
        broker_.clearCalls();
        return rows;
    }

    /** The log lines since the last time, and forgets them. Every one is of priority 3. */
    std::vector<std::string> takeLog() {
        std::vector<std::string> texts;
        for (const emulator::LogLine& line : host_.eventsOf<emulator::LogLine>()) {
            EXPECT_EQ(line.priority, 3) << line.text;
            texts.push_back(line.text);
        }
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
