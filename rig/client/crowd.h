#ifndef PCIINFO_CLIENT_CROWD_H
#define PCIINFO_CLIENT_CROWD_H

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <optional>
#include <string>

#include "broker/objectmanager.h"
#include "client/server.h"

namespace client {

/** One of many servers, and the name that its list has for it. */
struct Listed {
    std::string name;
    Server server;
};

/** How far the asking of many servers has come. */
struct Progress {
    std::size_t underWay = 0;  // servers
    std::size_t answered = 0;
    std::size_t failed = 0;
    std::size_t requests = 0;  // answered, of all servers
};

/**
 * What asking many servers calls, always on the thread that asks. What they throw ends the asking, but for a
 * std::logic_error of `ask`: an answer that nobody thought of is its server's failure, and not that of the others.
 */
struct CrowdHandlers {
    /** The next server to ask; nothing when there are no more. */
    std::function<std::optional<Listed>()> next;
    /** Whether the next one may be begun now; it is asked several times a second. */
    std::function<bool()> mayBegin = [] { return true; };
    /**
     * Asks a server what there is to ask, and does with the answers what is to be done. It is called again and again,
     * each time with one answer more, until it has all that it wants and returns: until then what it asks ends it by an
     * exception, which it has to let pass. It returns whether the server has answered; what it says otherwise is up to
     * it. The manager is gone afterwards.
     */
    std::function<bool(const Listed&, broker::ObjectManager&, const std::function<std::string()>& refusal)> ask;
    /** No answer, or not all of them: a Failure, or another exception where the request could not be made. */
    std::function<void(const Listed&, const std::exception&)> failed;
    /** Called several times a second. False ends the asking. */
    std::function<bool(const Progress&)> goOn;
};

/**
 * Asks many servers, so many at a time, each of them one thing after the other; on this thread, with a connection for
 * each that is under way. Their answers together, those that come and those that have been read, take at most 256 MiB,
 * and twice that where each of those under way has a share of it to bring; what one answer takes while it is read, and
 * what is made of one server's answers, comes on top. Where there is no room for it, an answer is a Failure.
 */
Progress askCrowd(const Access& access, std::size_t parallel, const CrowdHandlers& handlers);

}  // namespace client

#endif
