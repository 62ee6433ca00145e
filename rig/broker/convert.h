#ifndef PCIINFO_BROKER_CONVERT_H
#define PCIINFO_BROKER_CONVERT_H

#include "broker/broker.h"

namespace broker {

struct Taken {
    CMPIrc status = CMPI_RC_OK;
    Value value;  // of an OK status only
};

/**
 * Copies a value as a provider passes it to a setter. Exactly the bytes of the type are read. For CMPI_chars `value`
 * is the text itself; for every other type it is the address of the value, and of the pointer where the value is an
 * object. A null address or pointer is a null value. CMPI_RC_ERR_TYPE_MISMATCH: the pointer is none to a living
 * object of that kind; CMPI_RC_ERR_INVALID_DATA_TYPE: values of that type are not served.
 */
Taken take(const Broker& broker, const CMPIValue* value, CMPIType type);

/** A value as a getter returns it; objects in it are made in this thread's session. */
CMPIData give(Broker& broker, const Value& value, CMPIValueState state = CMPI_goodValue);

/** Whether take serves arrays of that element type. */
bool isElementType(CMPIType type);

/** The type under which values of a type are kept: text is CMPI_string. */
CMPIType keptType(CMPIType type);

}  // namespace broker

#endif
