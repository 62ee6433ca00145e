// The log lines that requests are to write, and their order.
#include "tests/support/loglines.h"

#include <fmt/format.h>

namespace testsupport {

// --- the log lines of CMPICIMInst's steps ---

Lines nextInstanceLines() {
    return {"getNextInstance in the routine", "getNextInstance instances not null", "getNextInstance it has next",
            "getNextInstance instance not null"};
}

Lines noNextInstanceLines() {
    return {"getNextInstance in the routine", "getNextInstance instances not null",
            "getNextInstance does not have next"};
}

Lines noEnumerationLines() {
    return {"getNextInstance in the routine", "getNextInstance instances is null"};
}

Lines uint16Lines() {
    return {"getPropertyVal uint16 getting the property value"};
}

Lines uint8Lines() {
    return {"getPropertyVal uint8 getting the property value", "getPropertyVal uint8 got property value",
            "getPropertyVal uint8 the value is not null", "getPropertyVal uint8 the value is not null2",
            "getPropertyVal uint8 returning"};
}

Lines uint8CaughtLines() {
    return {"getPropertyVal uint8 getting the property value", "getPropertyVal uint8 catch block found",
            "getPropertyVal uint8 returning"};
}

Lines setReferenceLines() {
    return {"setProperty for CMPIObjectPath in the routine", "setProperty for CMPIObjectPath about to set property",
            "setProperty for CMPIObjectPath about to setting property",
            "setProperty for CMPIObjectPath have set property", "setProperty for CMPIObjectPath leaving the routine"};
}

// --- the log lines of the walks over functions and system slots ---

Lines makeLine(const std::string& text) {
    return {"MakeDeviceSlotAssociation " + text};
}

Lines fromSlotLine(const std::string& text) {
    return {"GetDeviceFromSlotAssocInstances " + text};
}

Lines slotFromLine(const std::string& text) {
    return {"GetSlotFromDeviceAssocInstances " + text};
}

Lines slotRefLine(const std::string& text) {
    return {"GetSlotRefFromDeviceAssocInstances " + text};
}

namespace {

Lines checkedLines(unsigned slotNum, unsigned slotNumber, const char* found) {
    const std::string rest = fmt::format("checking device slot [{}] against slotnumber [{}]", slotNum, slotNumber);
    return allLines({makeLine(rest), makeLine(found + (" " + rest))});
}

}  // namespace

Lines noMatchLines(unsigned slotNum, unsigned slotNumber) {
    return checkedLines(slotNum, slotNumber, "found no match");
}

Lines matchLines(unsigned number) {
    return checkedLines(number, number, "found match");
}

Lines pathDeliveredLines(unsigned number) {
    return allLines({matchLines(number), makeLine("object paths not null"), makeLine("setting object path")});
}

Lines instanceDeliveredLines(unsigned number) {
    return allLines({matchLines(number), makeLine("object paths not null"), makeLine("creating instance"),
                     makeLine("got the instance so setting it"), setReferenceLines(), setReferenceLines()});
}

Lines slotRefReadLines(unsigned number) {
    return allLines({nextInstanceLines(), slotRefLine("got next intance"), uint16Lines(),
                     slotRefLine(fmt::format("got slot number of {}", number))});
}

Lines fromSlotReadLines(unsigned number) {
    return allLines({nextInstanceLines(), fromSlotLine("got next intance"), uint16Lines(),
                     fromSlotLine(fmt::format("got slot number of {}", number))});
}

Lines slotFromReadLines(unsigned number) {
    return allLines({nextInstanceLines(), slotFromLine("got next intance"), uint16Lines(),
                     slotFromLine(fmt::format("got slot number of {}", number))});
}

Lines deviceInSlotLines(unsigned number) {
    return allLines({fromSlotLine(fmt::format("found device match comparing slot number {} to systemslot", number)),
                     {"returning pcidevice instance"}});
}

Lines bridgeInSlotLines(unsigned number) {
    return allLines({fromSlotLine(fmt::format("found match comparing bridge slot number {} to systemslot", number)),
                     {"returning pcidevice instance"}});
}

}  // namespace testsupport
