#ifndef PCIINFO_WBEM_ADDRESS_H
#define PCIINFO_WBEM_ADDRESS_H

#include <sys/socket.h>

#include <string>

namespace wbem {

/**
 * The numeric address that a host name or an address stands for, as for "localhost" 127.0.0.1: of several the first, of
 * IPv4 before those of IPv6. Throws std::runtime_error that says why there is none.
 */
std::string numericAddress(const std::string& name);

/** An address as text, without the port; empty for a family that is not of the Internet. */
std::string addressText(const sockaddr* address, socklen_t length);

/** Whether only this machine can reach a numeric address. */
bool isLoopback(const std::string& numericAddress);

}  // namespace wbem

#endif
