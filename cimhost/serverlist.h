#ifndef PCIINFO_CIMHOST_SERVERLIST_H
#define PCIINFO_CIMHOST_SERVERLIST_H

#include <istream>
#include <string>
#include <vector>

#include "client/crowd.h"

namespace cimhost {

/**
 * The servers that a list has, one a line as client::parseServer takes them, each once; blank lines, and what follows a
 * '#' at the beginning of a line or after a blank, are left out. A server's name is what stands there. Throws
 * std::runtime_error that tells the line which names none, or that there are too many.
 */
std::vector<client::Listed> readServers(std::istream& list, const std::string& name);

/** Of a file, or of standard input for "-". Throws std::runtime_error likewise, and where it cannot be read. */
std::vector<client::Listed> serversOf(const std::string& file);

}  // namespace cimhost

#endif
