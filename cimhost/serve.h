#ifndef PCIINFO_CIMHOST_SERVE_H
#define PCIINFO_CIMHOST_SERVE_H

#include <cstdint>
#include <string>

#include "cimhost/command.h"

namespace cimhost {

struct ServerOptions {
    std::string address = "127.0.0.1";
    std::uint16_t port = 5988;  // 0: any that is free
};

/**
 * Serves the provider as a WBEM server until SIGINT or SIGTERM comes, which stay blocked afterwards: the program is to
 * end then. "Listening on http://ADDRESS:PORT" on standard output tells that it may be asked. What the provider writes
 * to standard output is part of the trace. kErrorStatus: requests were still under way seconds after the signal.
 */
ExitCode serve(const Settings& settings, const ServerOptions& options);

}  // namespace cimhost

#endif
