// Events as the lines of a trace. Held by tests/emulator/device_test.cpp and host_test.cpp.
#include <fmt/format.h>

#include <cerrno>
#include <cstring>

#include "emulator/emulatedhost.h"

namespace emulator {

namespace {

/** A text on one line: control characters as \xNN. */
std::string onOneLine(const std::string& text) {
    std::string line;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || code == 0x7F)
            line += fmt::format("\\x{:02x}", code);
        else
            line += c;
    }
    return line;
}

std::string message(char direction, std::uint8_t netfn, std::uint8_t command, const Bytes& data) {
    std::string line = fmt::format("ipmi {} {:02X} {:02X}", direction, netfn, command);
    for (const std::uint8_t byte : data) line += fmt::format(" {:02X}", byte);
    return line;
}

std::string errorName(int error) {
    const char* name = strerrorname_np(error);
    return name != nullptr ? name : std::to_string(error);
}

const char* outcome(bool ok) {
    return ok ? "" : " -> failed";
}

/** One line for each kind of event. */
struct Describer {
    std::string operator()(const LogLine& line) const {
        return fmt::format("syslog <{}> {}", line.priority, onOneLine(line.text));
    }
    std::string operator()(const FileOpened& file) const {
        return fmt::format("fopen {} {}{}", file.path, file.mode, outcome(file.ok));
    }
    std::string operator()(const FileRead& read) const {
        return fmt::format("read {} {} -> {}", read.path, read.asked, read.got);
    }
    std::string operator()(const DeviceOpened& device) const {
        return fmt::format("open {} {:#x}{}", device.path, device.flags, outcome(device.ok));
    }
    std::string operator()(const DeviceClosed&) const { return "close device"; }
    std::string operator()(const Sent& sent) const {
        const std::string line = message('>', sent.request.netfn, sent.request.command, sent.request.data);
        return sent.error == 0 ? line : line + " -> failed " + errorName(sent.error);
    }
    std::string operator()(const Received& received) const {
        const Answer& answer = received.answer;
        std::string line = message('<', answer.netfn, answer.command, answer.data);
        if (answer.receiveType != 1) line += fmt::format(" (message type {})", answer.receiveType);
        if (answer.data.size() > received.bufferLen) line += fmt::format(" (room for {})", received.bufferLen);
        return line;
    }
    std::string operator()(const ReceiveFailed& failed) const {
        const std::string line = "ipmi < failed " + errorName(failed.error);
        return failed.count == 1 ? line : fmt::format("{} ({} times)", line, failed.count);
    }
    std::string operator()(const Waited& waited) const {
        return fmt::format("poll {} ms -> {}", waited.timeoutMs, waited.ready);
    }
};

int errorOf(const Event& event) {
    if (const auto* file = std::get_if<FileOpened>(&event)) return file->error;
    if (const auto* device = std::get_if<DeviceOpened>(&event)) return device->error;
    if (const auto* sent = std::get_if<Sent>(&event)) return sent->error;
    if (const auto* failed = std::get_if<ReceiveFailed>(&event)) return failed->error;
    return 0;
}

}  // namespace

bool isShortage(const Event& event) {
    const int error = errorOf(event);
    return error == ENOMEM || error == EMFILE || error == ENFILE;
}

std::string describe(const Event& event) {
    return std::visit(Describer{}, event);
}

}  // namespace emulator
