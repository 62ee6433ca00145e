#ifndef PCIINFO_BROKER_REQUEST_H
#define PCIINFO_BROKER_REQUEST_H

#include <cmpi/cmpift.h>

#include <utility>

#include "broker/broker.h"
#include "broker/core.h"
#include "broker/objects.h"

namespace broker {

/** Whether a request is answered with one instance. */
inline bool asksForOne(decltype(&CMPIInstanceMIFT::getInstance) slot) {
    return slot == &CMPIInstanceMIFT::getInstance;
}
template <class OtherSlot>
bool asksForOne(OtherSlot) {
    return false;
}

/**
 * Serves one request on this thread, inside the session that is under way or in one of its own: calls the slot with
 * the context (null: a new one), a result and the arguments, and answers with what came out. Without an interface to
 * ask the status is CMPI_RC_ERR_INVALID_CLASS: no provider knows the class. Where the manager breaks down meanwhile, it
 * is CMPI_RC_ERR_FAILED, and nothing that was delivered arrives.
 *
 * An exception of the provider passes; what was made meanwhile is freed with the session all the same.
 */
template <class Interface, class Table, class... Parameters, class... Arguments>
Response ask(Core& core, Interface* interface, const CMPIContext* context,
             CMPIStatus (*Table::*slot)(Interface*, const CMPIContext*, const CMPIResult*, Parameters...),
             Arguments... arguments) {
    const Session session(core);
    ResultObject& result = core.make<ResultObject>();
    if (interface == nullptr) {
        result.data.status = CMPI_RC_ERR_INVALID_CLASS;
        return std::move(result.data);
    }
    result.ofGet = asksForOne(slot);
    if (context == nullptr) context = core.make<ContextObject>().handle();
    const CMPIStatus status = (interface->ft->*slot)(interface, context, result.handle(), arguments...);
    if (core.brokenDown()) {
        Response lost;
        lost.status = CMPI_RC_ERR_FAILED;
        return lost;
    }
    result.data.status = status.rc;
    result.data.hasMessage = status.msg != nullptr;
    return std::move(result.data);
}

}  // namespace broker

#endif
