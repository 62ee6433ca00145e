#ifndef PCIINFO_WBEM_ADDRESS_H
#define PCIINFO_WBEM_ADDRESS_H

#include <sys/socket.h>

#include <optional>
#include <string>
#include <vector>

namespace wbem {

/**
 * The numeric address that a host name or an address stands for, as for "localhost" 127.0.0.1: of several the first, of
 * IPv4 before those of IPv6. Throws std::runtime_error that says why there is none.
 */
std::string numericAddress(const std::string& name);

/** An address as text, without the port; empty for a family that is not of the Internet. */
std::string addressText(const sockaddr* address, socklen_t length);

/**
 * A numeric address in the form in which others are compared with it: as addressText gives it, one of IPv4 within IPv6
 * as the former, without a zone. None for what is no numeric address.
 */
std::optional<std::string> usualAddress(const std::string& text);

/** What this machine calls itself: its host name, and that in full where it is known. */
std::vector<std::string> ownNames();

/** Whether only this machine can reach a numeric address. */
bool isLoopback(const std::string& numericAddress);

}  // namespace wbem

#endif
