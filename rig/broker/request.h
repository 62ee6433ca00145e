#ifndef PCIINFO_BROKER_REQUEST_H
#define PCIINFO_BROKER_REQUEST_H

#include <cmpi/cmpift.h>

#include <utility>

#include "broker/objects.h"

namespace broker {

/**
 * Serves one request on this thread, inside the session that is under way or in one of its own: calls the slot with
 * the context (null: a new one), a result and the arguments, and answers with what came out. Without an interface to
 * ask the status is CMPI_RC_ERR_INVALID_CLASS: no provider knows the class. Where the manager breaks down meanwhile, it
 * is CMPI_RC_ERR_FAILED, and nothing that was delivered arrives.
 *
 * An exception of the provider passes; what was made meanwhile is freed with the session all the same.
 */
template <bool kOfGet = false, typename Interface, typename Table, typename... Parameters, typename... Arguments>
Response ask(Broker& broker, Interface* interface, const CMPIContext* context,
             CMPIStatus (*Table::*slot)(Interface*, const CMPIContext*, const CMPIResult*, const CMPIObjectPath*,
                                        Parameters...),
             const ObjectPath& path, Arguments... arguments) {
    Response failure;
    failure.status = CMPI_RC_ERR_INVALID_CLASS;
    if (interface == nullptr) return failure;
    const Session session(broker);
    ResultObject& result = broker.make<ResultObject>(ResultData{{}, kOfGet});
    if (context == nullptr) context = broker.make<ContextObject>().handle();
    const CMPIObjectPath* asked = broker.make<PathObject>(path).handle();
    const CMPIStatus status = (interface->ft->*slot)(interface, context, result.handle(), asked, arguments...);
    failure.status = CMPI_RC_ERR_FAILED;
    if (broker.brokenDown()) return failure;
    Response response = std::move(result.data.response);
    response.status = status.rc;
    response.hasMessage = status.msg != nullptr;
    return response;
}

}  // namespace broker

#endif
