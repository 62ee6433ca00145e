#ifndef PCIINFO_WBEM_VALIDITY_H
#define PCIINFO_WBEM_VALIDITY_H

#include <pugixml.hpp>

namespace wbem {

/**
 * Whether an element and all in it is built as DSP0203 declares: child elements in their number and order, attributes
 * that must be there, no text but where there may be. Throws ProtocolError (request-not-valid) that names the first
 * element that is not. Attributes that DSP0203 does not know are not minded.
 */
void checkValidity(pugi::xml_node element);

}  // namespace wbem

#endif
