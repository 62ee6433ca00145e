#ifndef PCIINFO_CLIENT_REQUEST_H
#define PCIINFO_CLIENT_REQUEST_H

#include <string>

#include "broker/objectmanager.h"

namespace client {

enum class Operation {
    enumerateInstances,
    enumerateInstanceNames,
    associators,
    associatorNames,
    references,
    referenceNames,
};

/** One request for objects; object managers are asked for nothing else. */
struct Request {
    Operation operation;
    broker::ObjectPath object;     // of an enumeration the class, without keys
    broker::Filters filters = {};  // of associations; references know resultClass and role alone
};

/** The name of the operation in messages, "EnumerateInstances". */
const char* methodOf(Operation operation);

/** "EnumerateInstances of QELTA_SystemSlot in root/kavix" */
std::string described(const Request& request);

/** The request as a message (DSP0201). Filters that are empty texts are left out: there is no such class or role. */
std::string messageOf(const Request& request);

/** A manager that makes requests of what it is asked, and answers with what comes of them. */
class RequestMaker : public broker::ObjectManager {
 public:
    broker::Response enumerateInstanceNames(const broker::ObjectPath& classPath) override;
    broker::Response enumerateInstances(const broker::ObjectPath& classPath) override;
    /**
     * The whole class: object managers answer a get with its first instance, under the path that was asked for, and a
     * reading of the table costs the same.
     */
    broker::Response getInstance(const broker::ObjectPath& path) override;
    // A path without keys names a class to object managers: CMPI_RC_ERR_INVALID_PARAMETER, and nobody is asked.
    broker::Response associators(const broker::ObjectPath& path, const broker::Filters& filters) override;
    broker::Response associatorNames(const broker::ObjectPath& path, const broker::Filters& filters) override;
    broker::Response references(const broker::ObjectPath& path, const broker::Filters& filters) override;
    broker::Response referenceNames(const broker::ObjectPath& path, const broker::Filters& filters) override;

    /** The last status that was not OK, with what was asked and what was said of it; nothing more the next time. */
    std::string takeRefusal();

 private:
    /** Gets the answer to a request. What it throws passes through. */
    virtual broker::Response put(const Request& request) = 0;
    broker::Response asked(const Request& request);
    broker::Response associated(const Request& request);

    std::string refusal_;
};

}  // namespace client

#endif
