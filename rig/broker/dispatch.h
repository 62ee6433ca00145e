#ifndef PCIINFO_BROKER_DISPATCH_H
#define PCIINFO_BROKER_DISPATCH_H

#include <functional>
#include <optional>
#include <string>

#include "broker/broker.h"

/** What becomes of a request before and after the provider, as the broker's manners have it. */
namespace broker::dispatch {

/** A class path as it reaches the provider, and the filters of an association request. */
using AskClass = std::function<Response(const ObjectPath& classPath)>;
using AskFiltered = std::function<Response(const Filters& filters)>;

/** An enumeration: asks for every class that it stands for. */
Response enumeration(const Broker& broker, const ObjectPath& classPath, const AskClass& ask);

/** The answer to a get, from what the provider delivered. */
Response got(const Broker& broker, const ObjectPath& path, Response delivered);

/** An association request. `association` is the filter that names the association's class. */
Response association(const Broker& broker, const ObjectPath& source, const Filters& filters,
                     std::optional<std::string> Filters::*association, const AskFiltered& ask);

/** A path as clients' requests bring it. */
ObjectPath arrived(const Broker& broker, ObjectPath path);

/** What was delivered as clients get it: with the keys of its paths in the manager's order. */
Response listed(const Broker& broker, Response response);

}  // namespace broker::dispatch

#endif
