// The HTTP server: sockets, connections, its end; HTTP itself is libmicrohttpd's.
// Tests: tests/wbem/httpserver_test.cpp.
#include "wbem/httpserver.h"

#include <microhttpd.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "wbem/address.h"

namespace wbem {

namespace {

/** A socket, closed with the object unless it was given away. */
class Socket {
 public:
    explicit Socket(int descriptor) : descriptor_(descriptor) {}
    ~Socket() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }

 private:
    int descriptor_;
};

struct AddressDeleter {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressDeleter>;

std::string placeOf(const std::string& address, std::uint16_t port) {
    const bool bracketed = address.find(':') != std::string::npos;
    return (bracketed ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

AddressList resolve(const HttpOptions& options) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    const int error = getaddrinfo(options.address.c_str(), std::to_string(options.port).c_str(), &hints, &list);
    if (error != 0) throw std::runtime_error(options.address + ": " + gai_strerror(error));
    return AddressList(list);
}

int listeningSocket(const HttpOptions& options) {
    const AddressList address = resolve(options);
    Socket socket(::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int yes = 1;
    if (socket.get() >= 0 && setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
        bind(socket.get(), address->ai_addr, address->ai_addrlen) == 0 && listen(socket.get(), SOMAXCONN) == 0)
        return socket.release();
    throw std::runtime_error(placeOf(options.address, options.port) + ": " + std::generic_category().message(errno));
}

std::uint16_t portOf(int socket) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        throw std::system_error(errno, std::generic_category(), "getsockname");
    // Both families have the port at the same place.
    return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

/** What is done about a request: it arrives, its handler is busy with it, or the handler's answer goes out. */
enum class Stage { head, body, handling, sending };

/** A request while the connection is busy with it. */
struct Arrival {
    HttpRequest request;
    Stage stage = Stage::head;
    std::size_t received = 0;  // bytes of the body
};

MHD_Result takeHeader(void* request, MHD_ValueKind, const char* name, const char* value) {
    static_cast<HttpRequest*>(request)->headers.emplace_back(name, value != nullptr ? value : "");
    return MHD_YES;
}

void setTimeout(MHD_Connection* connection, unsigned seconds) {
    MHD_set_connection_option(connection, MHD_CONNECTION_OPTION_TIMEOUT, seconds);
}

MHD_Result send(MHD_Connection* connection, const HttpResponse& response) {
    void* body = const_cast<char*>(response.body.data());
    MHD_Response* reply = MHD_create_response_from_buffer(response.body.size(), body, MHD_RESPMEM_MUST_COPY);
    if (reply == nullptr) return MHD_NO;
    bool whole = true;
    for (const auto& [name, value] : response.headers)  // an empty value is not taken, a blank is the same
        whole = MHD_add_response_header(reply, name.c_str(), value.empty() ? " " : value.c_str()) == MHD_YES && whole;
    const MHD_Result result = whole ? MHD_queue_response(connection, response.status, reply) : MHD_NO;
    MHD_destroy_response(reply);
    return result;
}

std::string clientOf(MHD_Connection* connection) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    return info != nullptr ? addressText(info->client_addr, sizeof(sockaddr_storage)) : "";
}

int socketOf(MHD_Connection* connection) {
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

/** Whether the other side has closed the connection, or will send nothing more. */
bool isLeft(int socket) {
    pollfd state{socket, POLLRDHUP, 0};
    return poll(&state, 1, 0) > 0;
}

std::uint64_t announcedLength(MHD_Connection* connection) {
    const char* text = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_CONTENT_LENGTH);
    return text != nullptr ? std::strtoull(text, nullptr, 10) : 0;
}

}  // namespace

struct HttpServer::State {
    State(const HttpOptions& serverOptions, Handler requestHandler)
        : options(serverOptions), handler(std::move(requestHandler)) {}
    ~State() {
        if (daemon != nullptr) MHD_stop_daemon(daemon);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void start() {
        Socket socket(listeningSocket(options));
        port = portOf(socket.get());
        daemon = MHD_start_daemon(MHD_USE_POLL_INTERNAL_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_ITC, 0,
                                  nullptr, nullptr, onAccess, this, MHD_OPTION_LISTEN_SOCKET, socket.get(),
                                  MHD_OPTION_CONNECTION_LIMIT, options.connections, MHD_OPTION_CONNECTION_TIMEOUT,
                                  timeout(), MHD_OPTION_NOTIFY_COMPLETED, onCompleted, this, MHD_OPTION_END);
        if (daemon == nullptr) throw std::runtime_error("the HTTP server does not start");
        socket.release();  // closed with the daemon
    }

    unsigned timeout() const { return static_cast<unsigned>(options.timeout.count()); }

    static MHD_Result onAccess(void* self, MHD_Connection* connection, const char* url, const char* method, const char*,
                               const char* data, std::size_t* size, void** arrival) {
        try {
            return static_cast<State*>(self)->access(connection, url, method, {data, *size}, size, arrival);
        } catch (...) {
            return MHD_NO;  // no memory, as a rule; the connection is closed
        }
    }

    static void onCompleted(void* self, MHD_Connection*, void** arrival, MHD_RequestTerminationCode) {
        const std::unique_ptr<Arrival> ended(static_cast<Arrival*>(std::exchange(*arrival, nullptr)));
        if (ended != nullptr) static_cast<State*>(self)->end(*ended);
    }

    /** Called when the headers have come, with each piece of the body, and when all has come (no data then). */
    MHD_Result access(MHD_Connection* connection, const char* url, const char* method, std::string_view data,
                      std::size_t* size, void** context) {
        if (*context == nullptr) *context = new Arrival;
        Arrival& arrival = *static_cast<Arrival*>(*context);
        if (arrival.stage == Stage::head) return takeHead(connection, url, method, arrival);
        if (data.empty()) return answer(connection, arrival);
        *size = 0;
        return takeBody(data, arrival) ? MHD_YES : MHD_NO;
    }

    MHD_Result takeHead(MHD_Connection* connection, const char* url, const char* method, Arrival& arrival) {
        arrival.stage = Stage::body;
        arrival.request.method = method;
        arrival.request.target = url;
        arrival.request.client = clientOf(connection);
        MHD_get_connection_values(connection, MHD_HEADER_KIND, takeHeader, &arrival.request);
        // A client reads no answer before it has sent what it has; somewhat too much is taken and dropped for that.
        arrival.request.bodyTooLong = announcedLength(connection) > options.bodyLimit;
        return announcedLength(connection) / 2 > options.bodyLimit ? answer(connection, arrival) : MHD_YES;
    }

    /** False: the body is far too long, the connection is to be closed. */
    bool takeBody(std::string_view data, Arrival& arrival) const {
        arrival.received += data.size();
        bool& tooLong = arrival.request.bodyTooLong;
        tooLong = tooLong || arrival.received > options.bodyLimit;
        if (!tooLong) arrival.request.body += data;
        return arrival.received / 2 <= options.bodyLimit;
    }

    MHD_Result answer(MHD_Connection* connection, Arrival& arrival) {
        if (!beginHandling(arrival)) return MHD_NO;
        setTimeout(connection, 0);  // the client is waiting for us, not we for it
        const int socket = socketOf(connection);
        arrival.request.abandoned = [this, socket] { return abandoned || isLeft(socket); };
        const HttpResponse response = handler(arrival.request);
        beginSending(arrival);
        setTimeout(connection, timeout());
        return send(connection, response);
    }

    /** False: the server is ending, which clients that go on asking must not hold up. */
    bool beginHandling(Arrival& arrival) {
        const std::lock_guard lock(mutex);
        if (finishing) return false;
        arrival.stage = Stage::handling;
        ++handling;
        return true;
    }

    void beginSending(Arrival& arrival) {
        const std::lock_guard lock(mutex);
        arrival.stage = Stage::sending;
        --handling;
        ++sending;
    }

    void end(const Arrival& arrival) {
        const std::lock_guard lock(mutex);
        if (arrival.stage == Stage::handling) --handling;
        if (arrival.stage == Stage::sending) --sending;
        ended.notify_all();
    }

    bool finish(std::chrono::milliseconds patience) {
        // The socket is ours to close then, which it can be only once.
        std::call_once(listeningEnded, [this] { const Socket socket(MHD_quiesce_daemon(daemon)); });
        std::unique_lock lock(mutex);
        finishing = true;
        ended.wait_for(lock, patience, [&] { return handling == 0 && sending == 0; });
        return handling == 0;
    }

    const HttpOptions options;
    const Handler handler;
    MHD_Daemon* daemon = nullptr;
    std::uint16_t port = 0;
    std::once_flag listeningEnded;
    std::mutex mutex;
    std::condition_variable ended;
    std::atomic<bool> abandoned{false};
    bool finishing = false;
    unsigned handling = 0;  // requests in that stage
    unsigned sending = 0;
};

HttpServer::HttpServer(const HttpOptions& options, Handler handler)
    : state_(std::make_unique<State>(options, std::move(handler))) {
    state_->start();
}

HttpServer::~HttpServer() = default;

std::uint16_t HttpServer::port() const {
    return state_->port;
}

std::string HttpServer::place() const {
    return placeOf(state_->options.address, state_->port);
}

bool HttpServer::finish(std::chrono::milliseconds patience) {
    return state_->finish(patience);
}

void HttpServer::abandon() {
    state_->abandoned = true;
}

}  // namespace wbem
