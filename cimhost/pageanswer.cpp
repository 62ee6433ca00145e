// Which requests are for the page, and what it is sent with. Tests: tests/wbem/page_test.cpp.

#include <fmt/format.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <new>
#include <optional>
#include <system_error>

#include "cim/names.h"
#include "cim/shortage.h"
#include "cimhost/page.h"

namespace cimhost {

namespace {

constexpr const char* kPagePath = "/";
constexpr const char* kReadPath = "/read";
constexpr std::chrono::seconds kPatience{1};  // for a reading that is under way
constexpr int kLookAgain = 2;                 // seconds

std::optional<std::string> header(const wbem::HttpRequest& request, const char* name) {
    for (const auto& [each, value] : request.headers)
        if (cim::sameName(each, name)) return value;
    return std::nullopt;
}

/** 128 bits that nobody can guess, in hexadecimal. Throws std::system_error where the system has none. */
std::string makeNonce() {
    std::array<unsigned char, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw std::system_error(errno, std::generic_category(), "random numbers");
    std::string text;
    for (const unsigned char byte : bytes) text += fmt::format("{:02x}", byte);
    return text;
}

/** Nothing may be loaded, run or sent, but for the page's own style sheet, script and form, and its icon, an empty one.
 */
wbem::Headers pageHeaders(const std::string& nonce) {
    return {{"Content-Type", "application/xhtml+xml; charset=utf-8"},
            {"Content-Security-Policy",
             fmt::format("default-src 'none'; style-src 'nonce-{0}'; script-src 'nonce-{0}'; img-src data:; "
                         "form-action 'self'; base-uri 'none'; frame-ancestors 'none'",
                         nonce)},
            {"Cache-Control", "no-store"},
            {"X-Content-Type-Options", "nosniff"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Cross-Origin-Opener-Policy", "same-origin"},
            // Without a referrer, forms would tell no origin either.
            {"Referrer-Policy", "same-origin"}};
}

wbem::HttpResponse plain(unsigned status, const std::string& text, const std::string& summary) {
    return {status, {{"Content-Type", "text/plain; charset=utf-8"}}, text + "\n", summary};
}

/** Whether a browser says that it was led here by a page of another server; not all do. */
bool comesFromElsewhere(const wbem::HttpRequest& request) {
    const std::string site = header(request, "Sec-Fetch-Site").value_or("none");
    return site != "none" && site != "same-origin";
}

/** Whether the request is of this server's own page: browsers tell the origin of whatever is posted. */
bool isOfOwnPage(const wbem::HttpRequest& request) {
    const auto origin = header(request, "Origin");
    const auto host = header(request, "Host");
    return origin && host && cim::sameName(*origin, "http://" + *host) && !comesFromElsewhere(request);
}

wbem::HttpResponse readAgain(const wbem::HttpRequest& request, Readings& readings) {
    if (!isOfOwnPage(request))
        return plain(403, "only this server's own page may have the machine read", "POST /read: HTTP 403");
    readings.again(kPatience);
    wbem::HttpResponse response = plain(303, "see /", "POST /read: HTTP 303");
    response.headers.emplace_back("Location", kPagePath);
    return response;
}

wbem::HttpResponse wholeAnswer(const wbem::HttpRequest& request, Readings& readings) {
    if (request.method == "POST") return readAgain(request, readings);
    // A page of another site may lead here, but not have the machine read.
    if (!readings.state().last && !comesFromElsewhere(request)) readings.once(kPatience);
    const Readings::State state = readings.state();
    const std::string nonce = makeNonce();
    wbem::HttpResponse response{200, pageHeaders(nonce), pageText(state, nonce), request.method + " /: HTTP 200"};
    if (state.underWay) response.headers.emplace_back("Refresh", std::to_string(kLookAgain));
    return response;
}

wbem::HttpResponse unavailable(const wbem::HttpRequest& request, const char* reason) {
    return plain(503, reason, fmt::format("{} {}: HTTP 503, {}", request.method, wbem::pathOf(request), reason));
}

}  // namespace

bool concernsPage(const wbem::HttpRequest& request) {
    if (request.refusal) return false;
    const std::string path = wbem::pathOf(request);
    if (request.method == "POST") return path == kReadPath;
    return (request.method == "GET" || request.method == "HEAD") && path == kPagePath;
}

wbem::HttpResponse answerPage(const wbem::HttpRequest& request, Readings& readings) {
    try {
        return wholeAnswer(request, readings);
    } catch (const std::bad_alloc&) {
        return unavailable(request, cim::Shortage().what());
    } catch (const std::system_error& error) {  // no thread, no random numbers
        return unavailable(request, error.what());
    }
}

}  // namespace cimhost
