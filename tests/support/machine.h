#ifndef PCIINFO_TESTS_SUPPORT_MACHINE_H
#define PCIINFO_TESTS_SUPPORT_MACHINE_H

#include <iosfwd>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "tests/support/hostbuilder.h"

namespace cim {

/** GoogleTest shows objects as the text that they are written as. */
void PrintTo(const ObjectPath& path, std::ostream* out);
void PrintTo(const Instance& instance, std::ostream* out);
void PrintTo(const Value& value, std::ostream* out);

}  // namespace cim

namespace testsupport {

using Paths = std::vector<broker::ObjectPath>;
using Lines = std::vector<std::string>;

/** The host name of the machines below, a key of all their objects. */
constexpr char kMachineName[] = "rack7";

/** A path in "root/kavix" without keys. */
broker::ObjectPath classPath(const std::string& className);

// --- the paths of a machine's objects, whole, as they are published ---

/** A PCI function; `className` as its path has it. */
broker::ObjectPath functionPath(const std::string& className, unsigned bus, unsigned dev, unsigned func);
broker::ObjectPath devicePath(unsigned bus, unsigned dev, unsigned func);
broker::ObjectPath bridgePath(unsigned bus, unsigned dev, unsigned func);
broker::ObjectPath slotPath(unsigned number);
broker::ObjectPath boardPath();
/** "QELTA_DeviceInSlot" from the slot with that number to the function. */
broker::ObjectPath inSlotPath(unsigned number, const broker::ObjectPath& function);
/** "QELTA_OnBoardDevice" from the board to the function. */
broker::ObjectPath onBoardPath(const broker::ObjectPath& function);

/** The path with another class name, as a client may spell it. */
broker::ObjectPath renamed(broker::ObjectPath path, const std::string& className);

// --- canned objects, as an object manager may hand them back ---

/** An instance with the path's keys as properties and one property more. */
broker::Instance instanceOf(const broker::ObjectPath& path, const std::string& property, const broker::Value& value);
/** A slot with its "Number" in 16 bits. */
broker::Instance slotInstance(unsigned number);

// --- what came of a request ---

/** The paths of all that was delivered, of instances and of paths. */
Paths delivered(const broker::Response& response);
Paths pathsOf(const std::vector<broker::Instance>& instances);

// --- lists in a row ---

Paths allPaths(const std::vector<Paths>& lists);
Lines allLines(const std::vector<Lines>& lists);

// --- machines ---

PciFunction deviceAt(unsigned bus, unsigned dev, unsigned func);
PciFunction bridgeAt(unsigned bus, unsigned dev, unsigned func);
/** An SMBIOS table with those slots. */
Bytes slotTable(const std::vector<std::uint8_t>& numbers);

/**
 * A machine with one of everything: slots 5, 3 and 9 (in this order, 9 empty), two functions of one device in slot 3,
 * a bridge and a device in slot 5, functions on the board, and a bridge (device 1) that is neither on the board nor in
 * any slot.
 */
void buildRack(HostBuilder& host);

/** What the rack's requests deliver, in the order in which they do. */
namespace rack {
Paths devices();
Paths bridges();
Paths slots();
Paths functionsOnBoard();
/** Slot by slot, as the slots are enumerated. */
Paths functionsInSlots();
Paths functionsInSlot(unsigned number);
Paths associationsOfBoard();
Paths associationsOfSlots();
Paths associationsOfSlot(unsigned number);
}  // namespace rack

}  // namespace testsupport

#endif
