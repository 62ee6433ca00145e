// The time of small requests: bench_served own LIBRARY CLASS KEY VALUE N asks the library within the process, on an
// emulated host where one is preloaded; bench_served load PORT FILE N CONNECTIONS sends the HTTP request in the file to
// a server on this machine, N times on each of the connections. Prints seconds of all of it and microseconds of one.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/thinbroker.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

/** A connection that is kept open from request to request. */
class Connection {
 public:
    explicit Connection(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in server{};
        server.sin_family = AF_INET;
        server.sin_port = htons(port);
        server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const timeval patience{30, 0};
        const int on = 1;
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        if (connect(socket_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0)
            throw std::runtime_error("the server cannot be connected to");
    }
    ~Connection() { close(socket_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void ask(const std::string& request) {
        if (send(socket_, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size()))
            throw std::runtime_error("the server takes no request");
        received_.clear();
        while (!complete()) receive();
        if (received_.compare(0, 15, "HTTP/1.1 200 OK") != 0 || received_.find("<ERROR") != std::string::npos)
            throw std::runtime_error("the server answers: " + received_.substr(0, 300));
    }

 private:
    bool complete() const {
        constexpr char kLength[] = "Content-Length: ";
        const std::size_t head = received_.find("\r\n\r\n");
        const std::size_t length = received_.find(kLength);
        if (head == std::string::npos || length > head) return false;
        return received_.size() >= head + 4 + std::strtoul(&received_[length + std::strlen(kLength)], nullptr, 10);
    }
    void receive() {
        std::array<char, 16384> bytes{};
        const ssize_t count = recv(socket_, bytes.data(), bytes.size(), 0);
        if (count <= 0) throw std::runtime_error("the server does not answer");
        received_.append(bytes.data(), static_cast<std::size_t>(count));
    }

    int socket_;
    std::string received_;
};

void measure(std::vector<double>& times, long count, const std::function<void()>& ask) {
    ask();
    for (long i = 0; i < count; ++i) {
        const auto start = Clock::now();
        ask();
        times.push_back(Seconds(Clock::now() - start).count());
    }
}

void print(std::vector<double> times, double seconds) {
    std::sort(times.begin(), times.end());
    std::printf("\n{\"requests\": %zu, \"seconds\": %.9f, \"median\": %.9f, \"least\": %.9f}\n", times.size(), seconds,
                times.at(times.size() / 2), times.front());
}

void askLibrary(char** arguments) {
    const bench::ThinBroker broker(arguments[0]);
    bench::Question question;
    question.kind = bench::Question::Kind::get;
    question.className = arguments[1];
    question.keyName = arguments[2];
    question.keyValue = arguments[3];
    std::vector<double> times;
    const auto start = Clock::now();
    // On a thread of its own, as in a server: with one thread alone the C library locks and allocates for less.
    std::thread([&] {
        measure(times, std::strtol(arguments[4], nullptr, 10), [&] {
            if (broker.ask(question).objects == 0) std::_Exit(1);
        });
    }).join();
    print(times, Seconds(Clock::now() - start).count());
}

void askServer(char** arguments) {
    const auto port = static_cast<std::uint16_t>(std::strtoul(arguments[0], nullptr, 10));
    std::ifstream file(arguments[1], std::ios::binary);
    const std::string request((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const long count = std::strtol(arguments[2], nullptr, 10);
    std::vector<std::vector<double>> times(std::strtoul(arguments[3], nullptr, 10));
    std::vector<std::thread> clients;
    clients.reserve(times.size());
    const auto start = Clock::now();
    for (std::vector<double>& own : times) {
        clients.emplace_back([&own, &request, port, count] {
            try {
                Connection connection(port);
                measure(own, count, [&] { connection.ask(request); });
            } catch (const std::exception& error) {
                std::fprintf(stderr, "bench_served: %s\n", error.what());
                std::_Exit(1);
            }
        });
    }
    for (std::thread& client : clients) client.join();
    const double seconds = Seconds(Clock::now() - start).count();
    std::vector<double> all;
    for (const std::vector<double>& own : times) all.insert(all.end(), own.begin(), own.end());
    print(all, seconds);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 7 && std::strcmp(argv[1], "own") == 0) {
            askLibrary(argv + 2);
        } else if (argc == 6 && std::strcmp(argv[1], "load") == 0) {
            askServer(argv + 2);
        } else {
            throw std::runtime_error("own LIBRARY CLASS KEY VALUE N, or load PORT FILE N CONNECTIONS");
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_served: %s\n", error.what());
        return 1;
    }
}
