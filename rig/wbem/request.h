#ifndef PCIINFO_WBEM_REQUEST_H
#define PCIINFO_WBEM_REQUEST_H

#include <pugixml.hpp>

#include <string>

namespace wbem {

/** One operation as a request message asks for it. */
struct Call {
    std::string messageId;
    std::string method;
    bool intrinsic = true;  // an IMETHODCALL; else a METHODCALL of the class or instance `target`
    std::string nameSpace;  // "root/kavix", in the client's spelling
    pugi::xml_node target;  // LOCALCLASSPATH or LOCALINSTANCEPATH of an extrinsic call
    pugi::xml_document document;
    pugi::xml_node element;  // the call, in the document

    /** Of an extrinsic call: the class that it is about, or whose instance. */
    std::string targetClass() const;
};

/**
 * Reads a request message. Throws ProtocolError: request-not-well-formed, request-not-valid; and, with status 501,
 * unsupported-cim-version, unsupported-dtd-version (other than 2.x), unsupported-protocol-version (other than 1.x),
 * multiple-requests-unsupported.
 */
Call readCall(const std::string& message);

}  // namespace wbem

#endif
