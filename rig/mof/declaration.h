#ifndef PCIINFO_SCHEMA_DECLARATION_H
#define PCIINFO_SCHEMA_DECLARATION_H

#include "broker/broker.h"
#include "mof/schema.h"

namespace schema {

/** Declares all classes of a schema to an object manager. */
void declareTo(broker::Broker& manager, const mof::Schema& schema);

}  // namespace schema

#endif
