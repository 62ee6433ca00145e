#ifndef PCIINFO_BROKER_OBJECTMANAGER_H
#define PCIINFO_BROKER_OBJECTMANAGER_H

#include <cmpi/cmpidt.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cim/data.h"

namespace broker {

// What an object manager is asked with and answers with is plain data of CIM.
using cim::Instance;
using cim::ObjectPath;
using cim::parseObjectPath;
using cim::Property;
using cim::statusName;
using cim::toString;
using cim::typeName;
using cim::Value;

/** The filters of an association request; nullopt is a null pointer to the provider. */
struct Filters {
    std::optional<std::string> assocClass;
    std::optional<std::string> resultClass;
    std::optional<std::string> role;
    std::optional<std::string> resultRole;
};

/** What was made of one request. */
struct Response {
    CMPIrc status = CMPI_RC_OK;
    bool hasMessage = false;
    std::vector<Instance> instances;
    std::vector<ObjectPath> paths;
    unsigned doneCalls = 0;              // how often a provider called returnDone ...
    std::size_t deliveredAfterDone = 0;  // ... and what it delivered after the first of them
    std::string message = {};            // what an object manager elsewhere says of a status that is not OK
};

/** Whoever answers requests for objects, read-only: the broker of this process, or an object manager elsewhere. */
class ObjectManager {
 public:
    ObjectManager() = default;
    ObjectManager(const ObjectManager&) = delete;
    ObjectManager& operator=(const ObjectManager&) = delete;
    virtual ~ObjectManager() = default;

    virtual Response enumerateInstanceNames(const ObjectPath& classPath) = 0;
    virtual Response enumerateInstances(const ObjectPath& classPath) = 0;
    /** May bring further instances of the class, or of others: whoever asks chooses by the keys. */
    virtual Response getInstance(const ObjectPath& path) = 0;
    virtual Response associators(const ObjectPath& path, const Filters& filters) = 0;
    virtual Response associatorNames(const ObjectPath& path, const Filters& filters) = 0;
    virtual Response references(const ObjectPath& path, const Filters& filters) = 0;
    virtual Response referenceNames(const ObjectPath& path, const Filters& filters) = 0;
};

}  // namespace broker

#endif
