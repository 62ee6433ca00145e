#ifndef PCIINFO_TESTS_UNIT_SLOTHOST_H
#define PCIINFO_TESTS_UNIT_SLOTHOST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "slots/tslotinfo.h"
#include "tests/unit/inventory.h"

namespace testsupport {

// --- values of slots' properties ---

inline broker::Value uint16(unsigned number) {
    return broker::Value::uint(CMPI_uint16, number);
}

inline broker::Value uint16Array(const std::vector<unsigned>& numbers) {
    std::vector<broker::Value> elements;
    std::transform(numbers.begin(), numbers.end(), std::back_inserter(elements), uint16);
    return broker::Value::array(CMPI_uint16, elements);
}

// --- log lines ---

inline Lines slotWithoutPathLines() {
    return {"DumpSlotInfo in the routine"};
}
inline Lines slotLines() {
    return {"DumpSlotInfo in the routine", "DumpSlotInfo got object path"};
}
inline Lines returningLines() {
    return {"GetCIMInstances returning"};
}

/** A machine whose BMC tells of the slots that a test gives. */
class SlotsTest : public InventoryTest {
 protected:
    /** A machine with those slots, and an end-of-table structure. */
    void startWith(const std::vector<Slot>& slots) {
        SmbiosBuilder table;
        for (const Slot& slot : slots) table.addSlot(slot);
        startWith(table.bytes());
    }
    void startWith(const Bytes& table) {
        files.setSmbiosTable(table);
        start();
        forget();
    }
    void startWithNumbers(const std::vector<std::uint8_t>& numbers) { startWith(slotTable(numbers)); }

    void enumerate(bool namesOnly = false) {
        tPCIInfo::TSlotInfo().GetCIMInstances(handle(), result(), "QELTA_SystemSlot", namesOnly);
    }

    /** The only instance that was delivered. */
    broker::Instance instance() const {
        EXPECT_EQ(scope->response().instances.size(), 1U);
        return scope->response().instances.empty() ? broker::Instance{} : scope->response().instances.front();
    }
    broker::Instance instanceOf(const Slot& slot) {
        if (host == nullptr) startWith({slot});
        host->bmc().putFile("smbios-table", SmbiosBuilder().addSlot(slot).bytes());
        forget();
        enumerate();
        return instance();
    }
    /** A property of the one slot's instance; a null of no type where it was not set. */
    broker::Value property(const Slot& slot, const char* name) {
        const broker::Instance made = instanceOf(slot);
        const broker::Value* found = made.property(name);
        return found != nullptr ? *found : broker::Value();
    }

    std::vector<Call> callsMade() const { return testsupport::callsOf(manager); }

    unsigned requestsSent() const { return static_cast<unsigned>(host->eventsOf<emulator::Sent>().size()); }
};

}  // namespace testsupport

#endif
