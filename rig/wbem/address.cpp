// Addresses of the Internet as text.
// Tests: tests/wbem/serve_test.cpp.
#include "wbem/address.h"

#include <netdb.h>

#include <array>
#include <memory>
#include <stdexcept>

namespace wbem {

namespace {

struct AddressDeleter {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

/** The first address of that family, or an empty text and getaddrinfo's error. */
std::string firstAddress(const std::string& name, int family, int& error) {
    addrinfo hints{};
    hints.ai_family = family;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    error = getaddrinfo(name.c_str(), nullptr, &hints, &list);
    if (error != 0) return "";
    const std::unique_ptr<addrinfo, AddressDeleter> owned(list);
    return addressText(list->ai_addr, list->ai_addrlen);
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

bool isLoopback(const std::string& numericAddress) {
    return numericAddress.rfind("127.", 0) == 0 || numericAddress == "::1";
}

}  // namespace wbem
