#ifndef PCIINFO_TESTS_WBEM_CONNECTION_H
#define PCIINFO_TESTS_WBEM_CONNECTION_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>

namespace client {

/** A connection to a server on this machine, byte by byte, so that requests may be as bad as can be. */
class Connection {
 public:
    /** source, target: addresses of the client and of the server, of 127.0.0.0/8. */
    explicit Connection(std::uint16_t port, const char* source = "127.0.0.1", const char* target = "127.0.0.1")
        : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in own{};
        own.sin_family = AF_INET;
        inet_pton(AF_INET, source, &own.sin_addr);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        inet_pton(AF_INET, target, &address.sin_addr);
        const timeval patience{10, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        if (bind(socket_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
            connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::system_error(errno, std::generic_category(), "connect");
    }
    ~Connection() { close(socket_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /** False when the server takes no more. */
    bool send(const std::string& text) const {
        std::size_t sent = 0;
        while (sent < text.size()) {
            const ssize_t step = ::send(socket_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (step <= 0) return false;
            sent += static_cast<std::size_t>(step);
        }
        return true;
    }

    /** Everything until the server closes the connection; and "open" after it when it does not within ten seconds. */
    std::string receiveAll() {
        while (receiveMore()) {
        }
        std::string all = received_;
        received_.clear();
        return closed_ ? all : all + "open";
    }

    /** What comes up to the end of a text that has to be in it. */
    std::string receiveThrough(const std::string& end) {
        while (received_.find(end) == std::string::npos && receiveMore()) {
        }
        const std::size_t length = received_.find(end);
        std::string part = received_.substr(0, length == std::string::npos ? length : length + end.size());
        received_.erase(0, part.size());
        return part;
    }

    /** A response with a CIM message. */
    std::string receiveResponse() { return receiveThrough("</CIM>"); }

 private:
    bool receiveMore() {
        std::array<char, 4096> piece{};
        const ssize_t got = recv(socket_, piece.data(), piece.size(), 0);
        closed_ = got == 0 || (got < 0 && errno == ECONNRESET);
        if (got <= 0) return false;
        received_.append(piece.data(), static_cast<std::size_t>(got));
        return true;
    }

    int socket_;
    bool closed_ = false;
    std::string received_;
};

/** The body of a response. */
inline std::string bodyOf(const std::string& response) {
    const std::size_t end = response.find("\r\n\r\n");
    return end == std::string::npos ? "" : response.substr(end + 4);
}

}  // namespace client

#endif
