#ifndef PCIINFO_TESTS_VM_FRAMING_H
#define PCIINFO_TESTS_VM_FRAMING_H

#include <cstdint>
#include <optional>

#include "emulator/bmc.h"

/**
 * The byte stream between a virtual machine's IPMI interface and a BMC outside it: messages, ended by A0h, and control
 * commands, ended by A1h, in both directions. A byte of these two values, or AAh, inside a unit is sent as AAh and
 * itself with bit 4 set.
 */
namespace vm {

using emulator::Bytes;

/** An IPMI message: `data` is a request's data, or an answer's, completion code first. */
struct Message {
    std::uint8_t sequence = 0;
    std::uint8_t netfn = 0;
    std::uint8_t lun = 0;
    std::uint8_t command = 0;
    Bytes data;
};

/** What stands between two end marks, escapes undone. */
struct Unit {
    bool control = false;
    Bytes bytes;  // a message's with its checksum
};

/** Takes a stream apart. */
class UnitReader {
 public:
    /** The unit that this byte ends, if it ends one. */
    std::optional<Unit> take(std::uint8_t byte);

 private:
    Bytes bytes_;
    bool escaped_ = false;
};

/** The message in a unit; none when it is too short for its header or its bytes do not add up to 0. */
std::optional<Message> parseMessage(const Bytes& unit);

/** As they go out, end mark included. */
Bytes frameMessage(const Message& message);
Bytes frameControl(const Bytes& command);

}  // namespace vm

#endif
