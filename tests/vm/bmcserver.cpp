// The BMC of a virtual machine: the emulator's model on a unix socket, by the protocol of framing.h.
//
//     bmcserver SOCKET PROFILES LOG SECONDS
//
// PROFILES is the folder of fault scripts that the machine may choose from. It lives for SECONDS at most and writes a
// log of everything that happens, one line each: seconds since its start, what, and for a message network function,
// command, the request's data, ":", the answer's length and its first bytes.

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
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

std::string hex(const Bytes& bytes) {
    return bytes.empty() ? "-" : fmt::format("{:02x}", fmt::join(bytes, ""));
}

/** Lines are complete in the file as soon as they are written. */
class Log {
 public:
    explicit Log(const std::string& file) : file_(file) {
        if (!file_) fail(file);
    }

    void line(const std::string& what) {
        const std::chrono::duration<double> now = std::chrono::steady_clock::now() - start_;
        file_ << fmt::format("{:.6f} {}\n", now.count(), what) << std::flush;
    }
    void message(const vm::Message& request, const vm::Reaction& reaction) {
        constexpr std::size_t kShown = 8;
        Bytes head = reaction.answer;
        head.resize(std::min(head.size(), kShown));
        line(fmt::format("{} {:02x} {:02x} {} : {} {}", reaction.what, request.netfn, request.command,
                         hex(request.data), reaction.answer.size(), hex(head)));
    }

 private:
    std::ofstream file_;
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
        log.line("control " + hex(unit.bytes));
        return true;
    }
    const auto request = vm::parseMessage(unit.bytes);
    if (!request) {
        log.line("garbage " + hex(unit.bytes));
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
