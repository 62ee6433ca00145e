#ifndef PCIINFO_WBEM_HTTPSERVER_H
#define PCIINFO_WBEM_HTTPSERVER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "wbem/connections.h"
#include "wbem/responder.h"

namespace wbem {

struct HttpOptions {
    std::string address = "127.0.0.1";  // numeric, IPv4 or IPv6
    std::uint16_t port = 5988;          // 0: any that is free
    std::size_t bodyLimit = 1U << 20U;  // bytes; longer requests are answered with 413
    std::vector<std::string> hosts;     // for which requests may be besides this machine's loopback and own address
    ConnectionLimits limits;
};

/**
 * An HTTP/1.1 server. Each connection has a thread of its own, on which its requests are answered one after the other,
 * in the order in which HTTP wants the answers; connections are answered side by side. Clients that take their time, or
 * more places than there are, lose their connections as ConnectionLimits and Connections have it.
 */
class HttpServer {
 public:
    /**
     * Called on the connection's thread with each request whose head has come, and with the reason where it is to be
     * refused: its end is in doubt (400, 501), it is too long (413), for another host (421) or of a foreign web page
     * (403). The request is abandoned when its client has closed the connection, or only
     * its own side of it, which looks the same; and after abandon().
     */
    using Handler = std::function<HttpResponse(const HttpRequest&)>;

    /** Serves when it returns. Throws std::runtime_error that says why it cannot (an address in use, for instance). */
    HttpServer(const HttpOptions& options, Handler handler);
    /** Closes all connections; waits for handlers that are under way. */
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::uint16_t port() const;
    /** "127.0.0.1:5988"; IPv6 addresses in brackets. */
    std::string place() const;

    /**
     * Takes no more connections, and no more requests on those that there are: what has not come whole by now is not
     * waited for. Returns when all other requests have got their answers, or after that time. False: handlers are still
     * busy; it may be called again. True although clients do not read their answers, which are lost with the server
     * then.
     */
    bool finish(std::chrono::milliseconds patience);

    /** Tells the handlers of requests that are under way that these are abandoned. */
    void abandon();

 private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace wbem

#endif
