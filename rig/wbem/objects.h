#ifndef PCIINFO_WBEM_OBJECTS_H
#define PCIINFO_WBEM_OBJECTS_H

#include <pugixml.hpp>

#include <cstddef>
#include <string>

#include "broker/broker.h"

/** Object paths and instances out of the elements of a valid message. Throw CimError (4) for values that are none. */
namespace wbem {

/** How long the name of a namespace may be: each of the objects of a message that are in it has a copy. */
constexpr std::size_t kMaxNamespace = 1024;

/** Of a LOCALNAMESPACEPATH: "root/kavix". Throws ProtocolError (request-not-valid) for one that is too long. */
std::string readNamespace(pugi::xml_node element);

/**
 * Of an INSTANCENAME; it is in that namespace. Keys become strings, booleans, numbers as readNumber gives them, and
 * references, whose namespace is their own where they tell one. A name without keys in it ("KEYVALUE" alone) is
 * refused.
 */
broker::ObjectPath readInstanceName(pugi::xml_node element, const std::string& nameSpace);

/** Of an INSTANCE; its path has no keys. */
broker::Instance readInstance(pugi::xml_node element, const std::string& nameSpace);

}  // namespace wbem

#endif
