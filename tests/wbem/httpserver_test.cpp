// The HTTP server under clients of all kinds, well-behaved and not.

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "connection.h"
#include "server.h"
#include "wbem/httpserver.h"

namespace {

using client::Connection;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* kOk = "HTTP/1.1 200 ";
constexpr std::size_t kLimit = 20000;

/** A gate that threads wait at until so many are there; false when they do not come within seconds. */
class Gate {
 public:
    explicit Gate(unsigned count) : missing_(count) {}
    bool pass() {
        std::unique_lock lock(mutex_);
        if (missing_ > 0) --missing_;
        all_.notify_all();
        return all_.wait_for(lock, seconds(10), [&] { return missing_ == 0; });
    }

 private:
    std::mutex mutex_;
    std::condition_variable all_;
    unsigned missing_;
};

class Http : public client::Server {
 protected:
    Http() {
        options.port = 0;
        options.bodyLimit = kLimit;
    }

    /** Starts the server; `before` is called with every request before it is answered. */
    void start(const std::function<void()>& before = [] {}) {
        serve([this, before](const wbem::HttpRequest& request) {
            before();
            return responder.answer(request);
        });
    }

    void serve(const wbem::HttpServer::Handler& handler) { server.emplace(options, handler); }

    /** How long clients may take for heads and bodies; other answers than theirs are not hurried. */
    void allowArrivals(milliseconds time) { options.limits.headTime = options.limits.bodyTime = time; }

    std::uint16_t port() const { return server->port(); }

    /** The whole answer to one request, after which the connection is closed. */
    std::string ask(wbem::HttpRequest request) const {
        request.headers.emplace_back("Connection", "close");
        Connection connection(port());
        connection.send(client::wire(request));
        return connection.receiveAll();
    }

    /** The answer, where the server may need a moment to see that a place has become free. */
    std::string askUntilAnswered() const {
        std::string answer;
        for (int i = 0; answer.empty() && i < 500; ++i) {
            answer = ask(good());
            if (answer.empty()) std::this_thread::sleep_for(milliseconds(10));
        }
        return answer;
    }

    /** Other clients are answered as ever. */
    void expectAlive() const { EXPECT_THAT(ask(good()), AllOf(StartsWith(kOk), EndsWith("</CIM>"))); }

    static wbem::HttpRequest good() {
        return client::post(client::message("EnumerateClassNames", ""), "EnumerateClassNames");
    }
    static wbem::HttpRequest goodOfSize(std::size_t size) {
        wbem::HttpRequest request = good();
        request.body.append(size - request.body.size(), ' ');
        return request;
    }
    /** The head of a request with a body in chunks. */
    static std::string chunkedHead() {
        wbem::HttpRequest request = good();
        request.headers.emplace_back("Transfer-Encoding", "chunked");
        const std::string text = client::wire(request);
        return text.substr(0, text.find("Content-Length")) + "\r\n";
    }
    static std::string chunk(const std::string& data) {
        std::array<char, 20> length{};
        std::snprintf(length.data(), length.size(), "%zx", data.size());
        return length.data() + ("\r\n" + data) + "\r\n";
    }

    wbem::HttpOptions options;
    std::optional<wbem::HttpServer> server;
};

TEST_F(Http, ConnectionsStayOpenForMoreRequestsUnlessTheClientDoesNotWantIt) {
    start();
    Connection connection(port());
    const std::string request = client::wire(good());
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(connection.send(request));
        EXPECT_EQ(client::read(client::bodyOf(connection.receiveResponse())).error, 0);
    }
    ASSERT_TRUE(connection.send(request + request));
    EXPECT_THAT(connection.receiveResponse(), StartsWith(kOk));
    EXPECT_THAT(connection.receiveResponse(), StartsWith(kOk));

    EXPECT_THAT(ask(good()), EndsWith("</CIM>"));
    Connection old(port());
    old.send(client::wire(good(), "HTTP/1.0"));
    EXPECT_THAT(old.receiveAll(), AllOf(HasSubstr(" 200 OK\r\n"), EndsWith("</CIM>")));
}

TEST_F(Http, BodiesMayComeInChunksOrAfterAnInvitation) {
    start();
    const std::string body = good().body;
    Connection chunked(port());
    chunked.send(chunkedHead() + chunk(body.substr(0, 100)));
    chunked.send(chunk(body.substr(100)) + "0\r\n\r\n");
    const std::string response = chunked.receiveAll();  // where chunks end may be seen otherwise by others
    EXPECT_THAT(response, HasSubstr("\r\nConnection: close\r\n"));
    EXPECT_EQ(client::read(client::bodyOf(response)).error, 0);

    Connection cautious(port());
    wbem::HttpRequest request = good();
    request.headers.emplace_back("Expect", "100-continue");
    const std::string text = client::wire(request);
    cautious.send(text.substr(0, text.find("<?xml")));
    EXPECT_THAT(cautious.receiveThrough("\r\n\r\n"), StartsWith("HTTP/1.1 100 "));
    cautious.send(body);
    EXPECT_THAT(cautious.receiveResponse(), StartsWith(kOk));
}

TEST_F(Http, LongBodiesAreRefused) {
    start();
    EXPECT_THAT(ask(goodOfSize(kLimit)), StartsWith(kOk));
    EXPECT_THAT(ask(goodOfSize(kLimit + 1)), StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(ask(goodOfSize(2 * kLimit)), StartsWith("HTTP/1.1 413 "));
    Connection announcing(port());
    announcing.send("POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Length: 99999999999\r\n\r\n");
    EXPECT_THAT(announcing.receiveAll(), StartsWith("HTTP/1.1 413 "));

    const std::string piece(kLimit / 2, ' ');
    Connection chunked(port());
    chunked.send(chunkedHead() + chunk(piece) + chunk(piece) + chunk("x") + "0\r\n\r\n");
    EXPECT_THAT(chunked.receiveThrough("long"), StartsWith("HTTP/1.1 413 "));
    Connection endless(port());
    endless.send(chunkedHead());
    bool taken = true;
    for (int i = 0; taken && i < 10000; ++i) taken = endless.send(chunk(piece));
    EXPECT_FALSE(taken);
    expectAlive();
}

TEST_F(Http, RequestsThatStopOnTheWayOrDripAreGivenUp) {
    allowArrivals(milliseconds(1500));
    start();
    const std::string whole = client::wire(good());
    const std::size_t body = whole.find("\r\n\r\n") + 4;
    std::vector<std::thread> clients;
    for (const std::size_t length : {std::size_t{0}, std::size_t{3}, std::size_t{30}, body - 2, body, whole.size() - 1})
        clients.emplace_back([&, length] {
            Connection connection(port());
            connection.send(whole.substr(0, length));
            EXPECT_THAT(connection.receiveAll(), AnyOf(IsEmpty(), StartsWith("HTTP/1.1 408 "))) << length;
        });
    for (const std::size_t length : {std::size_t{0}, body})
        clients.emplace_back([&, length] {
            const Connection connection(port());
            connection.send(whole.substr(0, length));
            std::size_t at = length;
            while (at < length + 200 && connection.send(whole.substr(at, 1))) {
                std::this_thread::sleep_for(milliseconds(20));
                ++at;
            }
            EXPECT_LT(at, length + 200) << length;
        });
    for (std::thread& each : clients) each.join();
    expectAlive();
}

TEST_F(Http, ATimeForEachRequestIsNoneForTheConnection) {
    allowArrivals(milliseconds(1500));
    start();
    Connection connection(port());
    const std::string request = client::wire(good());
    for (int i = 0; i < 4; ++i) {
        std::this_thread::sleep_for(milliseconds(400));
        connection.send(request.substr(0, request.size() - 1));
        std::this_thread::sleep_for(milliseconds(50));
        connection.send(request.substr(request.size() - 1));
        EXPECT_THAT(connection.receiveResponse(), StartsWith(kOk));
    }
}

class Untaken : public Http, public testing::WithParamInterface<milliseconds wbem::ConnectionLimits::*> {};

INSTANTIATE_TEST_SUITE_P(In, Untaken,
                         testing::Values(&wbem::ConnectionLimits::answerTime, &wbem::ConnectionLimits::headTime),
                         [](const auto& row) { return row.index == 0 ? "ItsTime" : "FavourOfOthers"; });

TEST_P(Untaken, AnswersAreGivenUp) {
    options.limits.connections = 1;
    options.limits.*GetParam() = milliseconds(200);
    Gate asked(2);
    serve([&](const wbem::HttpRequest& request) {
        wbem::HttpResponse response = responder.answer(request);
        if (request.method == "GET") response.body.assign(32U << 20U, ' ');
        asked.pass();
        return response;
    });
    const Connection deaf(port());
    deaf.send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_TRUE(asked.pass());
    EXPECT_THAT(askUntilAnswered(), StartsWith(kOk));
}

TEST_F(Http, WhatIsNoHttpDoesNoHarm) {
    allowArrivals(seconds(1));
    start();
    const std::string host = "\r\nHost: localhost\r\n";
    const std::vector<std::string> texts = {
        std::string("\r\n\r\n\r\n"),
        std::string(50000, 'x'),
        std::string("\0\0\0\0\r\n\r\n", 8),
        "POST /cimom HTTP/9.9" + host + "\r\n",
        "POST /cimom HTTP/1.1\r\n\r\n",
        "POST /cimom HTTP/1.1" + host + "Content-Length: -1\r\n\r\n",
        "POST /cimom HTTP/1.1" + host + "Content-Length: 1x\r\n\r\n",
        "POST /cimom HTTP/1.1" + host + "A: " + std::string(100000, 'a') + "\r\n\r\n",
        "POST /" + std::string(100000, 'a') + " HTTP/1.1" + host + "\r\n",
        chunkedHead() + "zz\r\n"};
    std::vector<std::thread> clients;
    clients.reserve(texts.size());
    for (const std::string& text : texts)
        clients.emplace_back([this, &text] {
            Connection connection(port());
            connection.send(text);
            EXPECT_THAT(connection.receiveAll(),
                        AnyOf(IsEmpty(), StartsWith("HTTP/1.1 4"), StartsWith("HTTP/1.1 5"), StartsWith("HTTP/1.0 4")))
                << text.substr(0, 60);
        });
    for (std::thread& each : clients) each.join();
    {
        Connection gone(port());
        gone.send(client::wire(good()));
    }
    expectAlive();
}

TEST_F(Http, RequestsOfWhichTwoReadersCouldSeeDifferentEndsAreRefused) {
    const std::string body = good().body;
    const std::string length = "Content-Length: " + std::to_string(body.size()) + "\r\n";
    const std::string whole = client::wire(good());
    const std::string start = whole.substr(0, whole.find("Content-Length"));
    const std::string chunks = chunk(body) + "0\r\n\r\n";
    const auto replacing = [&](const std::string& part, const std::string& by) {
        std::string text = whole;
        return text.replace(text.find(part), part.size(), by);
    };
    const std::pair<const char*, std::string> rows[] = {
        {"200", whole},
        {"200", start + "content-length: \t" + length.substr(16) + "\r\n" + body},
        {"200", start + "Transfer-Encoding: Chunked\r\n\r\n" + chunks},
        {"200", replacing("Host: ", "Empty:\r\nHost: ")},
        {"400", replacing("/cimom", "/cimom?a\rb")},
        {"400", start + length + length + "\r\n" + body},
        {"400", start + length + "Content-Length: 0\r\n\r\n" + body},
        {"400", start + "Content-Length: 5, 5\r\n\r\n" + body},
        {"400", start + "Content-Length: +5\r\n\r\n" + body},
        {"400", start + "Content-Length : 5\r\n\r\n" + body},
        {"400", start + length + "Transfer-Encoding: chunked\r\n\r\n" + chunks},
        {"400", start + "Transfer-Encoding: chunked\r\n" + length + "\r\n" + chunks},
        {"400", start + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks},
        {"501", start + "Transfer-Encoding: gzip, chunked\r\n\r\n" + chunks},
        {"501", start + "Transfer-Encoding: identity\r\n\r\n" + body},
        {"400",
         replacing("HTTP/1.1", "HTTP/1.0").substr(0, start.size()) + "Transfer-Encoding: chunked\r\n\r\n" + chunks},
        {"400", replacing("HTTP/1.1\r\n", "HTTP/1.1\n")},
        {"400", replacing("localhost:1\r\n", "localhost:1\n")},
        {"400", replacing("\r\n\r\n", "\n\n")},
        {"400", replacing("\r\n\r\n", "\n\r\n")},
        {"400", replacing("\r\n\r\n", "\r\n\n")},
        {"400", replacing("Host: ", "A: b\r\n c\r\nHost: ")},
        {"400", replacing("Host: ", "A: b\rc\r\nHost: ")},
        {"400", replacing("Host: ", std::string("A: b\0c\r\nHost: ", 14))},
        {"400", replacing("Host: ", "A: b\x1b\r\nHost: ")},
        {"400", replacing("Host: ", ": b\r\nHost: ")},
        {"400", replacing("Host: localhost:1\r\n", "")},
        {"400", replacing("Host: ", "Host: localhost\r\nHost: ")}};
    this->start();
    for (const auto& [status, text] : rows) {
        Connection connection(port());
        connection.send(text + text);
        EXPECT_THAT(connection.receiveThrough("\r\n"), StartsWith(std::string("HTTP/1.1 ") + status))
            << text.substr(0, text.find("<?xml"));
        if (status == std::string("200")) continue;
        EXPECT_THAT(connection.receiveAll(), Not(HasSubstr("<CIM"))) << text;  // nothing after it is believed
    }
}

TEST_F(Http, RequestsForOtherHostsAndOfForeignPagesAreRefused) {
    const char* const own = "127.0.0.3";
    options.address = own;
    options.hosts = {"Proxy.example", "[2001:DB8::0:1]"};
    start();
    struct Row {
        const char* status;
        const char* host;
        const char* origin = "";
        const char* target = "/cimom";
    };
    const Row rows[] = {{"200", "localhost"},
                        {"200", "LocalHost.:1"},
                        {"200", "localhost \t"},
                        {"200", "127.0.0.1:5988"},
                        {"200", "127.0.0.3"},
                        {"200", "[::1]"},
                        {"200", "[0:0::1]:5988"},
                        {"200", "[::ffff:127.0.0.1]"},
                        {"200", "proxy.example:80"},
                        {"200", "[2001:db8::1]:80"},
                        {"421", ""},
                        {"421", "127.0.0.4"},
                        {"421", "page.example"},
                        {"421", "page.example:5988"},
                        {"421", "localhost.page.example"},
                        {"421", "page.example@localhost"},
                        {"421", "localhost, page.example"},
                        {"421", "[2001:db8::2]"},
                        {"421", "[::1"},
                        {"421", "[::1]x"},
                        {"421", "localhost:evil"},
                        {"421", "localhost:999999"},
                        {"200", "localhost:"},
                        {"200", "[::1%an-interface-of-the-client]"},
                        {"200", "localhost", "http://localhost:8080"},
                        {"200", "localhost", "https://Proxy.example"},
                        {"403", "localhost", "http://page.example"},
                        {"403", "localhost", "http://localhost.page.example:5988"},
                        {"403", "localhost", "null"},
                        {"200", "localhost", "", "http://127.0.0.1:1/cimom"},
                        {"421", "localhost", "", "http://page.example/cimom"},
                        {"421", "page.example", "", "http://localhost/cimom"}};
    for (const Row& row : rows) {
        wbem::HttpRequest request = good();
        request.target = row.target;
        request.headers[0].second = row.host;
        if (*row.origin != '\0') request.headers.emplace_back("Origin", row.origin);
        request.headers.emplace_back("Connection", "close");
        Connection connection(port(), own, own);
        connection.send(client::wire(request));
        EXPECT_THAT(connection.receiveAll(), StartsWith(std::string("HTTP/1.1 ") + row.status))
            << row.host << row.origin;
    }
    Connection old(port(), own, own);
    wbem::HttpRequest request = good();
    request.headers.erase(request.headers.begin());
    old.send(client::wire(request, "HTTP/1.0"));
    EXPECT_THAT(old.receiveAll(), HasSubstr(" 200 OK\r\n"));
}

TEST_F(Http, OtherMethodsThanPostAreAnswered) {
    start();
    for (const char* method : {"GET", "PUT", "OPTIONS", "HEAD", "FOO"}) {
        wbem::HttpRequest request = good();
        request.method = method;
        EXPECT_THAT(ask(request), AllOf(StartsWith("HTTP/1.1 405 "), HasSubstr("Allow: POST, M-POST"))) << method;
    }
    wbem::HttpRequest extended = good();
    extended.method = "M-POST";
    extended.headers = {{"Host", "localhost"},
                        {"Content-Type", "text/xml"},
                        {"Man", "http://www.dmtf.org/cim/mapping/http/v1.0;ns=12"},
                        {"12-CIMOperation", "MethodCall"},
                        {"12-CIMMethod", "EnumerateClassNames"},
                        {"12-CIMObject", "root%2Fkavix"}};
    EXPECT_THAT(ask(extended), AllOf(StartsWith(kOk), HasSubstr("\r\nExt: "), HasSubstr("12-CIMOperation")));
}

TEST_F(Http, ClientsAreAnsweredSideBySideAndWithPatience) {
    allowArrivals(seconds(1));
    constexpr unsigned kClients = 8;
    Gate gate(kClients);
    std::atomic<bool> together{true};
    start([&] {
        if (!gate.pass()) together = false;
        std::this_thread::sleep_for(milliseconds(1500));  // longer than a silent client is waited for
    });
    std::vector<std::thread> clients;
    for (unsigned i = 0; i < kClients; ++i) clients.emplace_back([&] { expectAlive(); });
    for (std::thread& each : clients) each.join();
    EXPECT_TRUE(together);
}

TEST_F(Http, WhereThePlacesAreTakenTheLongestIdleConnectionGoes) {
    options.limits.connections = 4;
    options.limits.perAddress = 2;
    start();
    const auto answers = [](Connection& connection) {
        return connection.send(client::wire(good())) && !connection.receiveResponse().empty();
    };
    Connection other(port(), "127.0.0.2");
    Connection used(port());
    Connection silent(port());
    Connection later(port(), "127.0.0.3");
    EXPECT_TRUE(answers(later));  // so that those before it were accepted, too
    EXPECT_TRUE(answers(used));
    silent.send("POST /cimom HTTP/1.1\r\nHost");
    Connection third(port());  // of two from one address
    EXPECT_EQ(silent.receiveAll(), "");
    EXPECT_TRUE(answers(used));
    Connection fifth(port(), "127.0.0.4");  // of four
    EXPECT_EQ(other.receiveAll(), "");
    for (Connection* each : {&used, &later, &third, &fifth}) EXPECT_TRUE(answers(*each));
}

TEST_F(Http, WhereAllRequestsAreBeingAnsweredMoreConnectionsAreTurnedAway) {
    options.limits.connections = 2;
    Gate inside(3);
    Gate released(3);
    std::atomic<bool> busy{true};
    start([&] {
        if (!busy) return;
        inside.pass();
        released.pass();
    });
    std::vector<std::thread> clients;
    for (int i = 0; i < 2; ++i) clients.emplace_back([&] { expectAlive(); });
    EXPECT_TRUE(inside.pass());
    EXPECT_EQ(ask(good()), "");
    busy = false;
    EXPECT_TRUE(released.pass());
    for (std::thread& each : clients) each.join();
    EXPECT_THAT(askUntilAnswered(), StartsWith(kOk));
}

TEST_F(Http, AHandlerCanAskWhetherAnybodyWaitsForItsAnswer) {
    struct Row {
        const char* what;
        std::function<void(std::optional<Connection>&)> happen;
        bool abandoned;
    };
    const Row rows[] = {{"nothing", [](auto&) {}, false},
                        {"another request", [](auto& client) { client->send(client::wire(good())); }, false},
                        {"the client has gone", [](auto& client) { client.reset(); }, true},
                        {"the server gives up", [this](auto&) { server->abandon(); }, true}};
    for (const Row& row : rows) {
        Gate happened(2);
        std::atomic<int> requests{0};
        std::promise<bool> last;
        serve([&](const wbem::HttpRequest& request) {
            if (++requests > 1) return wbem::HttpResponse{};
            EXPECT_FALSE(request.abandoned()) << row.what;
            EXPECT_TRUE(happened.pass());
            const auto until = steady_clock::now() + (row.abandoned ? seconds(10) : milliseconds(100));
            while (!request.abandoned() && steady_clock::now() < until) std::this_thread::yield();
            last.set_value(request.abandoned());
            return wbem::HttpResponse{};
        });
        std::optional<Connection> client(port());
        client->send(client::wire(good()));
        while (requests == 0) std::this_thread::yield();
        row.happen(client);
        EXPECT_TRUE(happened.pass());
        EXPECT_EQ(last.get_future().get(), row.abandoned) << row.what;
        EXPECT_TRUE(server->finish(seconds(10)));
    }
}

TEST_F(Http, RequestsUnderWayAreFinishedAndNoMoreAreTaken) {
    Gate inside(2);
    Gate released(2);
    start([&] {
        inside.pass();
        released.pass();
    });
    std::thread client([&] { expectAlive(); });
    EXPECT_TRUE(inside.pass());
    EXPECT_FALSE(server->finish(milliseconds(50)));
    std::FILE* heir = std::tmpfile();  // gets the number of the socket that the server listened at
    EXPECT_TRUE(released.pass());
    EXPECT_TRUE(server->finish(seconds(10)));
    EXPECT_EQ(std::fclose(heir), 0);
    client.join();
    EXPECT_THROW(Connection{port()}, std::system_error);
}

TEST_F(Http, ClientsThatDoNotSendOrReadOrGoOnAskingDoNotKeepItFromFinishing) {
    constexpr unsigned kAsking = 6;
    Gate gate(kAsking + 1);
    start([] { std::this_thread::sleep_for(milliseconds(20)); });  // so that some request is always under way
    const std::string request = client::wire(good());
    const Connection idle(port());
    const Connection half(port());
    half.send(request.substr(0, request.size() - 1));
    std::vector<std::thread> clients;
    for (unsigned i = 0; i < kAsking; ++i)
        clients.emplace_back([&] {
            Connection connection(port());
            const auto ask = [&] { return connection.send(request) && !connection.receiveResponse().empty(); };
            EXPECT_TRUE(ask());
            gate.pass();
            while (ask()) {
            }
        });
    EXPECT_TRUE(gate.pass());
    const auto began = steady_clock::now();
    EXPECT_TRUE(server->finish(seconds(10)));
    EXPECT_LT(steady_clock::now() - began, seconds(5));
    server.reset();
    for (std::thread& each : clients) each.join();

    start();
    const Connection deaf(port());
    const wbem::HttpRequest classes =
        client::post(client::message("EnumerateClasses", client::value("DeepInheritance", "TRUE")), "EnumerateClasses");
    std::string requests;
    for (int i = 0; i < 300; ++i) requests += client::wire(classes);
    std::thread talker([&] { deaf.send(requests); });
    std::this_thread::sleep_for(milliseconds(300));
    EXPECT_TRUE(server->finish(seconds(1)));
    server.reset();
    talker.join();
}

}  // namespace
