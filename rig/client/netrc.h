#ifndef PCIINFO_CLIENT_NETRC_H
#define PCIINFO_CLIENT_NETRC_H

#include <istream>
#include <optional>
#include <string>

namespace client {

/**
 * The password of a user at a host in a netrc file, which libcurl cannot be asked for: it sends another user's, or an
 * empty one, where it finds none. Entries without a user are for all; nothing where there is none.
 */
std::optional<std::string> passwordIn(std::istream& netrc, const std::string& host, const std::string& user);

/** The same of a file; an empty name: ~/.netrc. A file that is not there has none. */
std::optional<std::string> passwordFor(const std::string& file, const std::string& host, const std::string& user);

}  // namespace client

#endif
