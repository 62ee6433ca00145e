#ifndef PCIINFO_CIMHOST_SERVE_H
#define PCIINFO_CIMHOST_SERVE_H

#include "cimhost/command.h"
#include "wbem/httpserver.h"

namespace cimhost {

/**
 * Serves the provider as a WBEM server until SIGINT or SIGTERM comes, which stay blocked afterwards: the program is to
 * end then. "Listening on http://ADDRESS:PORT" on standard output tells that it may be asked. What the provider writes
 * to standard output is part of the trace. kErrorStatus: requests were still under way seconds after the signal.
 */
ExitCode serve(const Settings& settings, const wbem::HttpOptions& options);

}  // namespace cimhost

#endif
