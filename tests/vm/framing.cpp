// Messages between QEMU and a BMC on their serial line. Tests: serialbmc_test.cpp.
#include "tests/vm/framing.h"

#include <numeric>
#include <utility>

namespace vm {

namespace {

constexpr std::uint8_t kEndOfMessage = 0xA0;
constexpr std::uint8_t kEndOfControl = 0xA1;
constexpr std::uint8_t kEscape = 0xAA;
constexpr std::uint8_t kEscapeBit = 0x10;

constexpr std::size_t kHeader = 3;  // sequence, network function with lun, command
constexpr std::size_t kChecksum = 1;

std::uint8_t sum(const Bytes& bytes) {
    return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0U));
}

bool isMark(std::uint8_t byte) {
    return byte == kEndOfMessage || byte == kEndOfControl || byte == kEscape;
}

Bytes framed(const Bytes& unit, std::uint8_t end) {
    Bytes out;
    for (const std::uint8_t byte : unit) {
        if (isMark(byte)) out.push_back(kEscape);
        out.push_back(isMark(byte) ? static_cast<std::uint8_t>(byte | kEscapeBit) : byte);
    }
    out.push_back(end);
    return out;
}

}  // namespace

std::optional<Unit> UnitReader::take(std::uint8_t byte) {
    if (byte == kEndOfMessage || byte == kEndOfControl) {
        escaped_ = false;
        return Unit{byte == kEndOfControl, std::exchange(bytes_, {})};
    }
    if (byte == kEscape) {
        escaped_ = true;
        return std::nullopt;
    }
    bytes_.push_back(escaped_ ? static_cast<std::uint8_t>(byte & ~kEscapeBit) : byte);
    escaped_ = false;
    return std::nullopt;
}

std::optional<Message> parseMessage(const Bytes& unit) {
    if (unit.size() < kHeader + kChecksum || sum(unit) != 0) return std::nullopt;
    Message message;
    message.sequence = unit[0];
    message.netfn = static_cast<std::uint8_t>(unit[1] >> 2);
    message.lun = static_cast<std::uint8_t>(unit[1] & 3);
    message.command = unit[2];
    message.data.assign(unit.begin() + kHeader, unit.end() - kChecksum);
    return message;
}

Bytes frameMessage(const Message& message) {
    Bytes unit = {message.sequence, static_cast<std::uint8_t>(message.netfn << 2 | message.lun), message.command};
    unit.insert(unit.end(), message.data.begin(), message.data.end());
    unit.push_back(static_cast<std::uint8_t>(-sum(unit)));
    return framed(unit, kEndOfMessage);
}

Bytes frameControl(const Bytes& command) {
    return framed(command, kEndOfControl);
}

}  // namespace vm
