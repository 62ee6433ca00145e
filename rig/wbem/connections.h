#ifndef PCIINFO_WBEM_CONNECTIONS_H
#define PCIINFO_WBEM_CONNECTIONS_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace wbem {

struct ConnectionLimits {
    unsigned connections = 256;  // at once
    unsigned perAddress = 128;   // of them from one address
    // How long a client may take: to bring the head of a request, from its connection or the answer before; to bring
    // the body, from the head; to take the answer.
    std::chrono::milliseconds headTime{std::chrono::seconds(10)};
    std::chrono::milliseconds bodyTime{std::chrono::seconds(30)};
    std::chrono::milliseconds answerTime{std::chrono::seconds(60)};
};

/**
 * What the connections of a server are at, by their sockets, which belong to others. A connection is ended by shutting
 * its socket down: who reads or writes there notices, and has it forgotten before it closes the socket. One that never
 * came to life, for want of memory, stays until its number comes again.
 */
class Connections {
 public:
    /** What is done about a request: it arrives, its handler is busy with it, or the handler's answer goes out. */
    enum class Stage { head, body, handling, sending };

    explicit Connections(const ConnectionLimits& limits) : limits_(limits) {}

    /**
     * Takes up a connection. Where there is no place for it, or none for its address, the one that has brought no
     * request for the longest is ended. False: requests of all are being answered; the new one is not taken up.
     */
    bool admit(int socket, const std::string& address);
    void forget(int socket);
    /** False: the request is not to be handled, as the connection was ended or after refuseRequests(). */
    bool enter(int socket, Stage stage);

    /** Ends those whose time is over. False: there are no connections. */
    bool endOverdue();
    /** Ends the one that has brought no request for the longest. */
    void endLongestIdle();

    void refuseRequests();
    /** Waits until no request is being answered, at most so long. False: handlers are still busy. */
    bool waitForAnswers(std::chrono::milliseconds patience);

 private:
    using Clock = std::chrono::steady_clock;
    struct Connection {
        std::string address;
        Stage stage = Stage::head;
        Clock::time_point lastRequest = Clock::now();  // when it came whole; until then when the connection was made
        Clock::time_point since = lastRequest;         // in the stage
        bool ended = false;
    };
    using Choice = std::function<bool(const Connection&)>;

    std::size_t count(const Choice& choice) const;
    bool isClientsTurn(const Connection& connection) const;
    bool endLongestIdle(const Choice& choice);
    bool isOverdue(const Connection& connection) const;

    const ConnectionLimits limits_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<int, Connection> connections_;
    bool refusing_ = false;
};

}  // namespace wbem

#endif
