#ifndef PCIINFO_CLIENT_FAILURE_H
#define PCIINFO_CLIENT_FAILURE_H

#include <stdexcept>
#include <string>

namespace client {

/** Why there is no answer of an object manager. */
enum class Trouble {
    name,            // the host's name has no address
    unreachable,     // no connection: refused, no route
    connectTimeout,  // no connection in time
    answerTimeout,   // connected, but the answer did not come, or not all of it, in time
    tls,             // no agreement, or a certificate that is not trusted
    credentials,     // it wants others, or some (HTTP status 401)
    httpStatus,      // another HTTP status than 200
    ended,           // the connection ended before the answer did
    malformed,       // what came is no answer to that request
    tooLarge,        // more came than an answer may have, or than there is room for
    other,
};

/** A word for each, for programs: "name", "connect-timeout"... */
const char* wordOf(Trouble trouble);

/** A request that got no answer of the object manager. what() is one sentence: server, what was asked, what came. */
class Failure : public std::runtime_error {
 public:
    Failure(Trouble trouble, const std::string& server, const std::string& asked, const std::string& came);

    Trouble trouble() const { return trouble_; }
    const std::string& asked() const { return asked_; }
    /** What came alone: "no connection within 10 s". */
    const std::string& came() const { return came_; }

 private:
    Trouble trouble_;
    std::string asked_;
    std::string came_;
};

}  // namespace client

#endif
