// Addresses of the Internet as text.
// Tests: tests/wbem/serve_test.cpp.
#include "wbem/address.h"

#include <netdb.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <memory>
#include <stdexcept>

namespace wbem {

namespace {

struct AddressDeleter {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressDeleter>;

/** What there is of that family and with those flags, or null and getaddrinfo's error. */
AddressList look(const std::string& name, int family, int flags, int& error) {
    addrinfo hints{};
    hints.ai_family = family;
    hints.ai_flags = flags;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    error = getaddrinfo(name.c_str(), nullptr, &hints, &list);
    return AddressList(error == 0 ? list : nullptr);
}

/** The first address of that family, or an empty text and getaddrinfo's error. */
std::string firstAddress(const std::string& name, int family, int& error) {
    const AddressList list = look(name, family, 0, error);
    return list ? addressText(list->ai_addr, list->ai_addrlen) : "";
}

}  // namespace

std::string numericAddress(const std::string& name) {
    int error = 0;
    std::string address = firstAddress(name, AF_INET, error);
    const int firstError = error;
    if (address.empty()) address = firstAddress(name, AF_INET6, error);
    if (address.empty())
        throw std::runtime_error("\"" + name + "\" is no address and stands for none: " + gai_strerror(firstError));
    return address;
}

std::string addressText(const sockaddr* address, socklen_t length) {
    std::array<char, NI_MAXHOST> text{};
    const int error = getnameinfo(address, length, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST);
    return error == 0 ? text.data() : "";
}

std::optional<std::string> usualAddress(const std::string& text) {
    int error = 0;
    const AddressList list = look(text, AF_UNSPEC, AI_NUMERICHOST, error);
    if (!list) return std::nullopt;
    std::string address = addressText(list->ai_addr, list->ai_addrlen);
    address.erase(std::min(address.find('%'), address.size()));
    const bool mapped = list->ai_family == AF_INET6 && address.find('.') != std::string::npos;
    return mapped ? address.substr(address.rfind(':') + 1) : address;
}

std::vector<std::string> ownNames() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    if (gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return {};
    int error = 0;
    const AddressList list = look(name.data(), AF_UNSPEC, AI_CANONNAME, error);
    if (!list || list->ai_canonname == nullptr) return {name.data()};
    return {name.data(), list->ai_canonname};
}

bool isLoopback(const std::string& numericAddress) {
    return numericAddress.rfind("127.", 0) == 0 || numericAddress == "::1";
}

}  // namespace wbem
