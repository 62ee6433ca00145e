#ifndef PCIINFO_SCHEMA_EMBEDDED_H
#define PCIINFO_SCHEMA_EMBEDDED_H

#include "mof/schema.h"

/** The classes that the provider publishes, as this tree declares them; nothing is read at run time. */
namespace schema {

/** The file qualifiers.mof. */
const mof::Source& qualifiers();
/** The file PCIInfoProvider.mof. */
const mof::Source& classes();

/** Both, read once. */
const mof::Schema& declared();

}  // namespace schema

#endif
