#ifndef PCIINFO_TESTS_SUPPORT_LOGLINES_H
#define PCIINFO_TESTS_SUPPORT_LOGLINES_H

#include "tests/support/machine.h"

namespace testsupport {

// --- the log lines of CMPICIMInst's steps ---

Lines nextInstanceLines();
Lines noNextInstanceLines();
Lines noEnumerationLines();
Lines uint16Lines();
Lines uint8Lines();
Lines uint8CaughtLines();
Lines setReferenceLines();

// --- the log lines of the walks over functions and system slots ---

/** One line, after the name that it begins with: "MakeDeviceSlotAssociation ...", */
Lines makeLine(const std::string& text);
/** "GetDeviceFromSlotAssocInstances ...", */
Lines fromSlotLine(const std::string& text);
/** "GetSlotFromDeviceAssocInstances ...", */
Lines slotFromLine(const std::string& text);
/** "GetSlotRefFromDeviceAssocInstances ...". */
Lines slotRefLine(const std::string& text);

/** A function's slot number compared with the number of a slot. */
Lines noMatchLines(unsigned slotNum, unsigned slotNumber);
Lines matchLines(unsigned number);

/** A function in the slot whose association is delivered as a path ... */
Lines pathDeliveredLines(unsigned number);

/** ... or as an instance. */
Lines instanceDeliveredLines(unsigned number);

/** A slot read in the course of each operation, in 16 bits. */
Lines slotRefReadLines(unsigned number);
Lines fromSlotReadLines(unsigned number);
Lines slotFromReadLines(unsigned number);

/** A function delivered for its slot. */
Lines deviceInSlotLines(unsigned number);
Lines bridgeInSlotLines(unsigned number);

}  // namespace testsupport

#endif
