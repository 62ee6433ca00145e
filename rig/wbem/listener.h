#ifndef PCIINFO_WBEM_LISTENER_H
#define PCIINFO_WBEM_LISTENER_H

#include <sys/socket.h>

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace wbem {

/** A descriptor, closed with the object unless it was given away. */
class Descriptor {
 public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }

 private:
    int number_;
};

/** A socket that connections are made to, and the thread that takes them. */
class Listener {
 public:
    /** What it does with connections. Called on the listener's thread; they do not throw. */
    struct Actions {
        /** The socket, which does not block, is the function's from then on. */
        std::function<void(int socket, const sockaddr* address, socklen_t length)> take;
        /** Connections wait that cannot be taken, as descriptors or memory have run out. */
        std::function<void()> makeRoom;
        /** Called several times a second until it returns false, and again when a connection was taken. */
        std::function<bool()> look;
    };

    /** Listens at a numeric address. Throws std::runtime_error that says why it cannot. */
    Listener(const std::string& address, std::uint16_t port);
    /** Takes no more connections, as stop(). */
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    std::uint16_t port() const;
    void start(Actions actions);
    /** Takes no more connections; the thread has ended when it returns. May be called again. */
    void stop();

 private:
    void run();
    bool accept() const;

    Descriptor socket_;
    Descriptor stopping_;
    Actions actions_;
    std::thread thread_;
};

/** "127.0.0.1:5988"; IPv6 addresses in brackets. */
std::string placeOf(const std::string& address, std::uint16_t port);

}  // namespace wbem

#endif
