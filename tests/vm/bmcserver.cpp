// The BMC of a virtual machine: the emulator's model on a unix socket, by the protocol of framing.h.
//
//     bmcserver SOCKET PROFILES LOG SECONDS
//
// PROFILES is the folder of fault scripts that the machine may choose from. It lives for SECONDS at most and writes a
// log of everything that happens, one line each: seconds since its start, what, and for a message network function,
// command, the request's data, ":", the answer's length and its first bytes.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "tests/vm/framing.h"
#include "tests/vm/serialbmc.h"

namespace {

using vm::Bytes;

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

class Descriptor {
 public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { ::close(number_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

 private:
    const int number_;
};

std::string hex(const Bytes& bytes, std::size_t most) {
    std::string digits;
    for (std::size_t i = 0; i < std::min(bytes.size(), most); ++i) {
        std::array<char, 3> pair{};
        std::snprintf(pair.data(), pair.size(), "%02x", bytes[i]);
        digits += pair.data();
    }
    return digits.empty() ? "-" : digits;
}

/** Lines are complete in the file as soon as they are written. */
class Log {
 public:
    explicit Log(const std::string& file) : file_(std::fopen(file.c_str(), "w")) {
        if (file_ == nullptr) fail(file);
        std::setvbuf(file_, nullptr, _IOLBF, BUFSIZ);
    }
    ~Log() { std::fclose(file_); }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void line(const std::string& what) {
        const std::chrono::duration<double> now = std::chrono::steady_clock::now() - start_;
        std::fprintf(file_, "%.6f %s\n", now.count(), what.c_str());
    }
    void message(const vm::Message& request, const vm::Reaction& reaction) {
        constexpr std::size_t kAllOfIt = 512;
        constexpr std::size_t kItsHead = 8;
        std::array<char, 16> code{};
        std::snprintf(code.data(), code.size(), " %02x %02x ", request.netfn, request.command);
        line(reaction.what + std::string(code.data()) + hex(request.data, kAllOfIt) + " : " +
             std::to_string(reaction.answer.size()) + " " + hex(reaction.answer, kItsHead));
    }

 private:
    std::FILE* const file_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

int listenAt(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        fail(path);
    }
    std::copy(path.begin(), path.end(), std::begin(address.sun_path));
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0) fail("socket");
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 1) != 0)
        fail(path);
    return listener;
}

/** False when the machine has gone. */
bool send(int connection, const Bytes& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return false;
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

/** Does what comes of one unit; false when the connection is to end. */
bool handle(int connection, const vm::Unit& unit, vm::SerialBmc& bmc, Log& log) {
    if (unit.control) {
        log.line("control " + hex(unit.bytes, unit.bytes.size()));
        return true;
    }
    const auto request = vm::parseMessage(unit.bytes);
    if (!request) {
        log.line("garbage " + hex(unit.bytes, unit.bytes.size()));
        return true;
    }
    const vm::Reaction reaction = bmc.take(*request);
    log.message(*request, reaction);
    std::this_thread::sleep_for(std::chrono::milliseconds(reaction.delayMs));
    return send(connection, reaction.output) && !reaction.disconnect;
}

/** Serves one connection until either side ends it. */
void serve(int connection, vm::SerialBmc& bmc, Log& log) {
    constexpr std::uint8_t kProtocolVersion = 1;
    if (!send(connection, vm::frameControl({0xFF, kProtocolVersion}))) return;
    vm::UnitReader reader;
    std::array<std::uint8_t, 4096> input{};
    for (;;) {
        const ssize_t count = ::recv(connection, input.data(), input.size(), 0);
        if (count <= 0) return;
        for (ssize_t i = 0; i < count; ++i)
            if (const auto unit = reader.take(input.at(static_cast<std::size_t>(i))))
                if (!handle(connection, *unit, bmc, log)) return;
    }
}

void run(const std::string& socket, vm::SerialBmc& bmc, Log& log) {
    const Descriptor listener(listenAt(socket));
    for (;;) {
        const Descriptor connection(::accept(listener.number(), nullptr, nullptr));
        if (connection.number() < 0) fail("accept");
        log.line("connected");
        serve(connection.number(), bmc, log);
        log.line("disconnected");
        bmc.disconnected();
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: bmcserver SOCKET PROFILES LOG SECONDS\n", stderr);
        return 2;
    }
    try {
        const int seconds = std::stoi(argv[4]);
        if (seconds < 1) throw std::invalid_argument("SECONDS has to be 1 at least");
        ::alarm(static_cast<unsigned>(seconds));
        emulator::Bmc model;
        vm::SerialBmc bmc(model, vm::readProfiles(argv[2]));
        Log log(argv[3]);
        run(argv[1], bmc, log);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bmcserver: %s\n", error.what());
        return 1;
    }
}
