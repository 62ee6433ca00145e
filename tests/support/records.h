#ifndef PCIINFO_TESTS_SUPPORT_RECORDS_H
#define PCIINFO_TESTS_SUPPORT_RECORDS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <tuple>
#include <vector>

#include "broker/broker.h"
#include "emulator/emulatedhost.h"

namespace testsupport {

/** Everything that was logged, which has to be at priority 3 throughout. */
inline std::vector<std::string> errorLog(const emulator::EmulatedHost& host) {
    for (const emulator::LogLine& line : host.eventsOf<emulator::LogLine>()) EXPECT_EQ(line.priority, 3) << line.text;
    return host.logTexts();
}

/** One call into the object manager: function, name of the property, key or class, CMPI type, index or array size. */
using Call = std::tuple<std::string, std::string, CMPIType, std::size_t>;

inline std::vector<Call> callsOf(const broker::Broker& manager) {
    std::vector<Call> calls;
    for (const broker::Call& call : manager.calls())
        calls.emplace_back(call.function, call.name, call.type, call.index);
    return calls;
}

}  // namespace testsupport

#endif
