#ifndef PCIINFO_CIMHOST_REMOTE_H
#define PCIINFO_CIMHOST_REMOTE_H

#include <cstddef>
#include <string>

#include "cimhost/question.h"
#include "client/server.h"

namespace cimhost {

/** Which object managers are asked, in place of the provider in this process, and how. */
struct RemoteOptions {
    std::string server;   // one; empty: none
    std::string servers;  // a file that lists several, "-" for standard input; empty: none
    client::Access access = {};
    std::size_t parallel = 64;  // of several, how many at a time
    std::string state = {};     // the file that says which of several are done; empty: none
};

/** Puts questions to an object manager; what it is asked throws client::Failure where there is no answer. */
Ask askOf(const client::Server& server, const client::Access& access);

}  // namespace cimhost

#endif
