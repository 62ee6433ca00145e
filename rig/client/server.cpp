// Where an object manager listens, out of a text; libcurl takes URLs apart. Tests: tests/client/server_test.cpp.
#include "client/server.h"

#include <curl/curl.h>
#include <fmt/format.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>

#include "cim/names.h"

namespace client {

namespace {

constexpr unsigned kHttpPort = 5988;
constexpr unsigned kHttpsPort = 5989;

/** An URL in its parts. */
class Url {
 public:
    explicit Url(const std::string& text) : url_(curl_url()) {
        if (!url_) throw std::bad_alloc();
        if (const CURLUcode code = curl_url_set(url_.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME))
            throw std::invalid_argument(curl_url_strerror(code));
    }

    /** A part, percent signs decoded where `flags` says so; empty where there is none. */
    std::string part(CURLUPart which, unsigned flags = 0) const {
        char* text = nullptr;
        if (curl_url_get(url_.get(), which, &text, flags) != CURLUE_OK) return "";
        const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
        return text;
    }

 private:
    struct Cleanup {
        void operator()(CURLU* url) const { curl_url_cleanup(url); }
    };
    std::unique_ptr<CURLU, Cleanup> url_;
};

/** What may be shown of a text that may have a password in it. */
std::string withoutUser(const std::string& text) {
    const auto at = text.rfind('@');
    return at == std::string::npos ? text : "..." + text.substr(at);
}

/** The part between the scheme and the path. */
std::string authorityOf(const std::string& text) {
    const auto scheme = text.find("://");
    const std::string rest = scheme == std::string::npos ? text : text.substr(scheme + 3);
    return rest.substr(0, rest.find_first_of("/?#"));
}

/** Before anything else is said of the text. */
void refusePassword(const std::string& authority) {
    const auto at = authority.rfind('@');
    if (at != std::string::npos && authority.find(':') < at)
        throw std::invalid_argument(
            "a password may not stand here, where others can read it; a netrc file or the environment has it");
}

Server serverOf(const std::string& text) {
    const bool hasScheme = text.find("://") != std::string::npos;
    const std::string authority = authorityOf(text);
    refusePassword(authority);
    if (authority.empty()) throw std::invalid_argument("there is no host");
    const Url url(hasScheme ? text : "https://" + text);
    const std::string scheme = url.part(CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https") throw std::invalid_argument("the scheme has to be http or https");
    const std::string path = url.part(CURLUPART_PATH);
    if ((!path.empty() && path != "/") || !url.part(CURLUPART_QUERY).empty() || !url.part(CURLUPART_FRAGMENT).empty())
        throw std::invalid_argument("nothing may follow host and port");
    Server server;
    server.host = url.part(CURLUPART_HOST);
    if (const std::string zone = url.part(CURLUPART_ZONEID); !zone.empty())
        server.host.insert(server.host.size() - 1, "%25" + zone);
    server.user = url.part(CURLUPART_USER, CURLU_URLDECODE);
    const std::string port = url.part(CURLUPART_PORT);
    server.port = static_cast<unsigned>(std::strtoul(port.c_str(), nullptr, 10));
    if (!port.empty() && server.port == 0) throw std::invalid_argument("there is no port 0");
    server.tls = hasScheme ? scheme == "https" : server.port != kHttpPort;
    if (port.empty()) server.port = server.tls ? kHttpsPort : kHttpPort;
    return server;
}

}  // namespace

std::string Server::url() const {
    return fmt::format("{}://{}:{}", tls ? "https" : "http", host, port);
}

bool Server::isLoopback() const {
    return cim::sameName(host, "localhost") || host == "[::1]" ||
           (host.rfind("127.", 0) == 0 && host.find_first_not_of("0123456789.") == std::string::npos);
}

Server parseServer(const std::string& text) {
    try {
        return serverOf(text);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument(
            fmt::format("'{}' names no server ([https://][user@]host[:port]): {}", withoutUser(text), error.what()));
    }
}

}  // namespace client
