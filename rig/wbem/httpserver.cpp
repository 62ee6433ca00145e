// The HTTP server: sockets, connections, its end; HTTP itself is libmicrohttpd's.
// Tests: tests/wbem/httpserver_test.cpp.
#include "wbem/httpserver.h"

#include <microhttpd.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "cim/names.h"
#include "wbem/address.h"
#include "wbem/framing.h"
#include "wbem/hosts.h"
#include "wbem/listener.h"

namespace wbem {

namespace {

using Stage = Connections::Stage;

/** A request while the connection is busy with it. */
struct Arrival {
    HttpRequest request;
    bool begun = false;        // its head was looked at
    std::size_t received = 0;  // bytes of the body
    bool last = false;         // no other may follow on the connection
};

MHD_Result takeField(void* head, MHD_ValueKind, const char* name, const char* value) {
    static_cast<RawHead*>(head)->fields.emplace_back(name, value != nullptr ? value : "");
    return MHD_YES;
}

/** As the library has it in memory, when its end was just read. */
RawHead headOf(MHD_Connection* connection, const char* method, const char* version) {
    const MHD_ConnectionInfo* size = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE);
    RawHead head{method, size->header_size, version, {}};
    MHD_get_connection_values(connection, MHD_HEADER_KIND, takeField, &head);
    return head;
}

/** Fields as they mean it: blanks after a value are not part of it. */
Headers headersOf(const RawHead& head) {
    Headers headers;
    for (const auto& [name, value] : head.fields) {
        const std::string_view text = value;
        headers.emplace_back(name, text.substr(0, text.find_last_not_of(" \t") + 1));
    }
    return headers;
}

MHD_Result takeArgument(void* arguments, MHD_ValueKind, const char* name, const char* value) {
    static_cast<Headers*>(arguments)->emplace_back(name, value != nullptr ? value : "");
    return MHD_YES;
}

int socketOf(MHD_Connection* connection) {
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

MHD_Result send(MHD_Connection* connection, const HttpResponse& response, bool last) {
    void* body = const_cast<char*>(response.body.data());
    MHD_Response* reply = MHD_create_response_from_buffer(response.body.size(), body, MHD_RESPMEM_MUST_COPY);
    if (reply == nullptr) return MHD_NO;
    bool whole = true;
    for (const auto& [name, value] : response.headers)  // an empty value is not taken, a blank is the same
        whole = MHD_add_response_header(reply, name.c_str(), value.empty() ? " " : value.c_str()) == MHD_YES && whole;
    if (last) whole = MHD_add_response_header(reply, MHD_HTTP_HEADER_CONNECTION, "close") == MHD_YES && whole;
    const MHD_Result result = whole ? MHD_queue_response(connection, response.status, reply) : MHD_NO;
    MHD_destroy_response(reply);
    return result;
}

/** Whether the other side has closed the connection, or will send nothing more. */
bool isLeft(int socket) {
    pollfd state{socket, POLLRDHUP, 0};
    return poll(&state, 1, 0) > 0;
}

/** The numeric address at this end of a connection. */
std::string ownAddress(int socket) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    auto* const own = reinterpret_cast<sockaddr*>(&address);
    return getsockname(socket, own, &length) == 0 ? addressText(own, length) : "";
}

std::string clientOf(MHD_Connection* connection) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    return info != nullptr ? addressText(info->client_addr, sizeof(sockaddr_storage)) : "";
}

std::uint64_t announcedLength(MHD_Connection* connection) {
    const char* text = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_CONTENT_LENGTH);
    return text != nullptr ? std::strtoull(text, nullptr, 10) : 0;
}

bool isChunked(const Headers& headers) {
    return std::any_of(headers.begin(), headers.end(),
                       [](const auto& each) { return cim::sameName(each.first, MHD_HTTP_HEADER_TRANSFER_ENCODING); });
}

ProtocolError tooLong() {
    return httpError(413, "the message is too long");
}

}  // namespace

struct HttpServer::State {
    State(const HttpOptions& serverOptions, Handler requestHandler)
        : options(serverOptions),
          handler(std::move(requestHandler)),
          listener(options.address, options.port),
          port(listener.port()) {}
    ~State() {
        listener.stop();
        if (daemon != nullptr) MHD_stop_daemon(daemon);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void start() {
        // The library takes no connections itself: at the limit of descriptors it would try without end. Nor does it
        // time them out: it would wait for ever for a client that sends a byte now and then.
        daemon = MHD_start_daemon(
            MHD_USE_POLL_INTERNAL_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_ITC | MHD_USE_NO_LISTEN_SOCKET, 0,
            nullptr, nullptr, onAccess, this, MHD_OPTION_CONNECTION_LIMIT, std::numeric_limits<unsigned>::max(),
            MHD_OPTION_NOTIFY_COMPLETED, onCompleted, this, MHD_OPTION_NOTIFY_CONNECTION, onConnection, this,
            MHD_OPTION_END);
        if (daemon == nullptr) throw std::runtime_error("the HTTP server does not start");
        listener.start(
            {[this](int socket, const sockaddr* address, socklen_t length) { take(socket, address, length); },
             [this] { connections.endLongestIdle(); }, [this] { return connections.endOverdue(); }});
    }

    void take(int socket, const sockaddr* address, socklen_t length) {
        try {
            Descriptor taken(socket);
            if (!connections.admit(socket, addressText(address, length))) return;
            // The library closes it where it does not take it.
            if (MHD_add_connection(daemon, taken.release(), address, length) != MHD_YES) connections.forget(socket);
        } catch (const std::bad_alloc&) {  // the client finds the connection closed
        }
    }

    static void onConnection(void* self, MHD_Connection* connection, void**, MHD_ConnectionNotificationCode what) {
        if (what == MHD_CONNECTION_NOTIFY_CLOSED) static_cast<State*>(self)->connections.forget(socketOf(connection));
    }

    static MHD_Result onAccess(void* self, MHD_Connection* connection, const char* url, const char* method,
                               const char* version, const char* data, std::size_t* size, void** context) {
        try {
            State& state = *static_cast<State*>(self);
            if (*context == nullptr) *context = new Arrival;
            Arrival& arrival = *static_cast<Arrival*>(*context);
            if (!arrival.begun) return state.takeHead(connection, url, headOf(connection, method, version), arrival);
            if (*size == 0) return state.answer(connection, arrival);
            const std::string_view piece(data, std::exchange(*size, 0));
            return state.takeBody(piece, arrival) ? MHD_YES : MHD_NO;
        } catch (...) {
            return MHD_NO;  // no memory, as a rule; the connection is closed
        }
    }

    static void onCompleted(void* self, MHD_Connection* connection, void** arrival, MHD_RequestTerminationCode) {
        delete static_cast<Arrival*>(std::exchange(*arrival, nullptr));
        static_cast<State*>(self)->connections.enter(socketOf(connection), Stage::head);
    }

    MHD_Result takeHead(MHD_Connection* connection, const char* url, const RawHead& head, Arrival& arrival) {
        const int socket = socketOf(connection);
        connections.enter(socket, Stage::body);
        arrival.begun = true;
        HttpRequest& request = arrival.request;
        request.method = head.begin;
        request.target = url;
        MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, takeArgument, &request.arguments);
        request.client = clientOf(connection);
        request.headers = headersOf(head);
        // Chunks may end with line feeds alone, as the library has it. Where they end is of no account where nothing
        // may follow.
        arrival.last = isChunked(request.headers);
        if ((request.refusal = framingFault(head))) return answer(connection, arrival);
        request.refusal = hosts.refusal(request, ownAddress(socket));
        // A client reads no answer before it has sent what it has; somewhat too much is taken and dropped for that.
        if (announcedLength(connection) > options.bodyLimit) request.refusal = tooLong();
        return announcedLength(connection) / 2 > options.bodyLimit ? answer(connection, arrival) : MHD_YES;
    }

    /** False: the body is far too long, the connection is to be closed. */
    bool takeBody(std::string_view data, Arrival& arrival) const {
        arrival.received += data.size();
        if (arrival.received > options.bodyLimit) arrival.request.refusal = tooLong();
        if (!arrival.request.refusal) arrival.request.body += data;
        return arrival.received / 2 <= options.bodyLimit;
    }

    MHD_Result answer(MHD_Connection* connection, Arrival& arrival) {
        const int socket = socketOf(connection);
        if (!connections.enter(socket, Stage::handling)) return MHD_NO;
        arrival.request.abandoned = [this, socket] { return abandoned || isLeft(socket); };
        const HttpResponse response = handler(arrival.request);
        connections.enter(socket, Stage::sending);
        return send(connection, response, arrival.last);
    }

    bool finish(std::chrono::milliseconds patience) {
        listener.stop();
        connections.refuseRequests();
        return connections.waitForAnswers(patience);
    }

    const HttpOptions options;
    const Handler handler;
    const Hosts hosts{options.hosts};
    Connections connections{options.limits};
    Listener listener;
    const std::uint16_t port;
    MHD_Daemon* daemon = nullptr;
    std::atomic<bool> abandoned{false};
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
