#ifndef PCIINFO_WBEM_HOSTS_H
#define PCIINFO_WBEM_HOSTS_H

#include <optional>
#include <string>
#include <vector>

#include "wbem/responder.h"

namespace wbem {

/**
 * The hosts that requests may be for. A name that leads to this machine is not among them by that alone: the owner of
 * a web page can have one of his lead here, and the browser of somebody who reads the page would ask for him.
 */
class Hosts {
 public:
    /** Names or addresses besides localhost, 127.0.0.1 and ::1; the letter case of names does not count. */
    explicit Hosts(const std::vector<std::string>& others);

    /**
     * Why a request is not to be answered: its target, Host or Origin names another host (the port does not count).
     * own: the numeric address at which it came in, which is right, too.
     */
    std::optional<ProtocolError> refusal(const HttpRequest& request, const std::string& own) const;

 private:
    bool include(const std::string& host, const std::string& own) const;

    std::vector<std::string> names_;
};

}  // namespace wbem

#endif
