#ifndef PCIINFO_CIMHOST_SERVE_H
#define PCIINFO_CIMHOST_SERVE_H

#include "cimhost/command.h"
#include "wbem/httpserver.h"

namespace cimhost {

struct ServeOptions {
    wbem::HttpOptions http;  // the address may be a host's name
    bool log = false;        // a line for each request appears on standard error
};

/**
 * Serves the provider as a WBEM server until SIGINT or SIGTERM comes, which stay blocked afterwards: the program is to
 * end then. "Listening on http://ADDRESS:PORT" on standard output tells that it may be asked; after it come where its
 * page is, a command that asks, and how the server ends. What the provider writes to standard output is part of the
 * trace. kErrorStatus: requests were still under way seconds after the signal, and could not be given up.
 */
ExitCode serve(const Settings& settings, const ServeOptions& options);

}  // namespace cimhost

#endif
