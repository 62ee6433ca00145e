#ifndef PCIINFO_CLIENT_SERVER_H
#define PCIINFO_CLIENT_SERVER_H

#include <chrono>
#include <string>

namespace client {

/** Where an object manager listens. */
struct Server {
    bool tls = true;
    std::string host;  // a name or an address, one of IPv6 in brackets
    unsigned port = 0;
    std::string user;  // empty: none is named

    /** "https://host:5989", without the user. */
    std::string url() const;
    /** Whether only this machine can be meant: localhost or a loopback address. */
    bool isLoopback() const;
};

/**
 * Reads [SCHEME://][USER@]HOST[:PORT][/]. Without a scheme it is https, but http where the port is 5988; without a port
 * 5989 for https, 5988 for http. Throws std::invalid_argument that says what is wrong, and never shows a password:
 * that may not be there at all, as everybody on a machine can read command lines.
 */
Server parseServer(const std::string& text);

/** How object managers are asked. */
struct Access {
    // The user where the server names none, and a password: for every server that is asked with this access. Without a
    // password they are looked up in the netrc file by the server's host.
    std::string user = {};
    std::string password = {};
    std::string netrcFile = {};  // empty: ~/.netrc, if there is one
    std::string caFile = {};     // certificates to trust, PEM; empty: the system's
    /** Take any certificate; and send credentials without TLS, which else is done to this machine alone. */
    bool insecure = false;
    std::chrono::milliseconds connectTimeout{10000};
    /**
     * For an answer, connecting included. The table is read with 331 exchanges, or 1134 where the BMC refuses long
     * reads; of 10 ms each, twice in a request, behind four such requests of others: 113 s.
     */
    std::chrono::milliseconds answerTimeout{120000};
};

}  // namespace client

#endif
