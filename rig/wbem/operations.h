#ifndef PCIINFO_WBEM_OPERATIONS_H
#define PCIINFO_WBEM_OPERATIONS_H

#include <pugixml.hpp>

#include <functional>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "mof/schema.h"
#include "wbem/namespace.h"
#include "wbem/request.h"

namespace wbem {

/**
 * The operations of a CIM server with one provider, its schema and namespace, and the Interop namespaces that tell of
 * it: what is the object manager's business is done here, everything else is asked of the provider. May be used from
 * any number of threads at once.
 */
class Operations {
 public:
    /** Declares the classes to the object manager. It and the schema have to outlive this object. */
    Operations(broker::Broker& manager, const mof::Schema& schema, const std::string& nameSpace);

    /**
     * Performs an operation and puts what it returns (IRETURNVALUE, where it returns something) below `response`. host:
     * where the objects are, for paths that tell it. abandoned: as in HttpRequest, asked before each instance or path.
     * Throws CimError; what the provider throws becomes CIM_ERR_FAILED (1), and so does an abandoned request.
     */
    void perform(const Call& call, const std::string& host, pugi::xml_node response,
                 const std::function<bool()>& abandoned) const;

 private:
    std::vector<Namespace> namespaces_;
};

}  // namespace wbem

#endif
