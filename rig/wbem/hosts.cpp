// Which Host and Origin a request may tell.
// Tests: tests/wbem/httpserver_test.cpp, serve_test.cpp.
#include "wbem/hosts.h"

#include <algorithm>
#include <iterator>

#include "cim/names.h"
#include "wbem/address.h"

namespace wbem {

namespace {

/** "", or a colon and a port. */
bool isPort(const std::string& text) {
    constexpr std::size_t kLongest = 6;
    return text.empty() ||
           (text[0] == ':' && text.size() <= kLongest && text.find_first_not_of("0123456789", 1) == std::string::npos);
}

/** Without port, brackets and zone; addresses in their usual form. What is not written as a host is left as it is. */
std::string bare(const std::string& host) {
    const bool bracketed = host.rfind('[', 0) == 0;
    const std::size_t first = bracketed ? 1 : 0;
    const std::size_t colon = host.find(':');
    // An address of IPv6 without brackets has no port.
    const bool hasPort = !bracketed && colon != std::string::npos && colon == host.rfind(':');
    const std::size_t end = bracketed ? host.find(']') : hasPort ? colon : host.size();
    if (end == std::string::npos || !isPort(host.substr(end + first))) return host;
    std::string name = host.substr(first, end - first);
    if (name.find(':') != std::string::npos) name.erase(std::min(name.find('%'), name.size()));
    if (!name.empty() && name.back() == '.') name.pop_back();  // of the name server's root
    return usualAddress(name).value_or(name);
}

/** The host and port of a URL; none of a path. */
std::optional<std::string> hostOf(const std::string& url) {
    const std::size_t scheme = url.find("://");
    if (scheme == std::string::npos || url.front() == '/') return std::nullopt;
    const std::size_t begin = scheme + 3;
    return url.substr(begin, url.find('/', begin) - begin);
}

ProtocolError misdirected(const std::string& host) {
    return httpError(421, "requests for " + host + " are not answered here");
}

}  // namespace

Hosts::Hosts(const std::vector<std::string>& others) : names_{"localhost", "127.0.0.1", "::1"} {
    std::transform(others.begin(), others.end(), std::back_inserter(names_), bare);
}

bool Hosts::include(const std::string& host, const std::string& own) const {
    const std::string name = bare(host);
    return name == bare(own) || std::any_of(names_.begin(), names_.end(),
                                            [&](const std::string& each) { return cim::sameName(each, name); });
}

std::optional<ProtocolError> Hosts::refusal(const HttpRequest& request, const std::string& own) const {
    const auto named = hostOf(request.target);
    if (named && !include(*named, own)) return misdirected(*named);
    for (const auto& [name, value] : request.headers) {
        if (cim::sameName(name, "Host") && !include(value, own)) return misdirected(value);
        if (cim::sameName(name, "Origin") && !include(hostOf(value).value_or(value), own))
            return httpError(403, "pages of " + value + " may not ask here");
    }
    return std::nullopt;
}

}  // namespace wbem
