#ifndef PCIINFO_WBEM_NAMESPACE_H
#define PCIINFO_WBEM_NAMESPACE_H

#include <string>
#include <vector>

#include "broker/broker.h"
#include "mof/schema.h"

namespace wbem {

/** A namespace of a server: its classes, and where their instances come from. */
struct Namespace {
    std::string name;
    const mof::Schema& schema;
    broker::Broker* manager = nullptr;        // has the provider; null: there are only the instances below
    std::vector<broker::Instance> instances;  // their paths are in this namespace
};

/**
 * The Interop namespaces, in which clients find out what else a server has: each lists all of them, and the one named,
 * as CIM_Namespace, and the server as CIM_ObjectManager. Both names are in use, so both are there.
 */
std::vector<Namespace> interopNamespaces(const std::string& servedNamespace);

}  // namespace wbem

#endif
