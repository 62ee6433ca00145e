// The socket that clients connect to, and who accepts there.
// Tests: tests/wbem/httpserver_test.cpp, serve_test.cpp.
#include "wbem/listener.h"

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace wbem {

namespace {

// Milliseconds from one look to the next, and of rest where nothing can be accepted.
constexpr int kLook = 200;
constexpr int kRest = 20;

struct AddressDeleter {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressDeleter>;

AddressList resolve(const std::string& address, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    const int error = getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (error != 0) throw std::runtime_error(address + ": " + gai_strerror(error));
    return AddressList(list);
}

int listeningSocket(const std::string& address, std::uint16_t port) {
    const AddressList resolved = resolve(address, port);
    Descriptor socket(::socket(resolved->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int yes = 1;
    if (socket.get() >= 0 && setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
        bind(socket.get(), resolved->ai_addr, resolved->ai_addrlen) == 0 && listen(socket.get(), SOMAXCONN) == 0)
        return socket.release();
    throw std::runtime_error(placeOf(address, port) + ": " + std::generic_category().message(errno));
}

bool isWantOfResources(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

Descriptor::~Descriptor() {
    if (number_ >= 0) close(number_);
}

Listener::Listener(const std::string& address, std::uint16_t port)
    : socket_(listeningSocket(address, port)), stopping_(eventfd(0, EFD_CLOEXEC)) {
    if (stopping_.get() < 0) throw std::runtime_error("eventfd: " + std::generic_category().message(errno));
}

Listener::~Listener() {
    stop();
}

std::uint16_t Listener::port() const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0)
        throw std::system_error(errno, std::generic_category(), "getsockname");
    // Both families have the port at the same place.
    return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

void Listener::start(Actions actions) {
    actions_ = std::move(actions);
    thread_ = std::thread([this] { run(); });
}

void Listener::stop() {
    if (!thread_.joinable()) return;
    eventfd_write(stopping_.get(), 1);
    thread_.join();
    const Descriptor closed(socket_.release());
}

void Listener::run() {
    bool resting = false;
    bool looking = false;
    for (;;) {
        pollfd polled[] = {{stopping_.get(), POLLIN, 0}, {resting ? -1 : socket_.get(), POLLIN, 0}};
        poll(polled, 2, resting ? kRest : looking ? kLook : -1);
        if (polled[0].revents != 0) return;
        resting = polled[1].revents != 0 && !accept();
        looking = actions_.look();
    }
}

/** False: there is none, or it cannot be had now. */
bool Listener::accept() const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    auto* const from = reinterpret_cast<sockaddr*>(&address);
    const int socket = accept4(socket_.get(), from, &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket >= 0)
        actions_.take(socket, from, length);
    else if (isWantOfResources(errno))
        actions_.makeRoom();
    return socket >= 0;
}

std::string placeOf(const std::string& address, std::uint16_t port) {
    const bool bracketed = address.find(':') != std::string::npos;
    return (bracketed ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

}  // namespace wbem
