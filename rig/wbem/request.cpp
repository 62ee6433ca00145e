// A request message: its versions, and the operation that it asks for.
// Tests: tests/wbem/protocol_test.cpp.
#include "wbem/request.h"

#include <utility>

#include "wbem/objects.h"
#include "wbem/protocolerror.h"
#include "wbem/validity.h"
#include "wbem/xml.h"

namespace wbem {

namespace {

void checkVersion(pugi::xml_node element, const char* attribute, const std::string& major, const char* cimError) {
    const std::string version = element.attribute(attribute).value();
    if (version.rfind(major + ".", 0) == 0) return;
    throw ProtocolError(501, cimError, std::string(attribute) + " \"" + version + "\" is not supported");
}

/** Versions come first: a message of another one may be built in another way. */
pugi::xml_node messageOf(const pugi::xml_document& document) {
    const pugi::xml_node cim = document.document_element();
    const pugi::xml_node message = cim.child("MESSAGE");
    if (std::string(cim.name()) != "CIM" || !message || !cim.attribute("CIMVERSION") || !cim.attribute("DTDVERSION") ||
        !message.attribute("PROTOCOLVERSION"))
        throw notValid("the document is no CIM message with its versions");
    checkVersion(cim, "CIMVERSION", "2", "unsupported-cim-version");
    checkVersion(cim, "DTDVERSION", "2", "unsupported-dtd-version");
    checkVersion(message, "PROTOCOLVERSION", "1", "unsupported-protocol-version");
    if (message.child("MULTIREQ"))
        throw ProtocolError(501, "multiple-requests-unsupported", "a message may hold one request only");
    return message;
}

}  // namespace

std::string Call::targetClass() const {
    const pugi::xml_node instance = target.child("INSTANCENAME");
    return instance ? instance.attribute("CLASSNAME").value() : target.child("CLASSNAME").attribute("NAME").value();
}

Call readCall(const std::string& text) {
    Call call;
    call.document = parseXml(text);
    const pugi::xml_node message = messageOf(call.document);
    checkValidity(call.document.document_element());
    const pugi::xml_node request = message.child("SIMPLEREQ");
    if (!request) throw notValid("the message is no request");
    call.intrinsic = !!request.child("IMETHODCALL");
    call.element = request.child(call.intrinsic ? "IMETHODCALL" : "METHODCALL");
    call.target = call.intrinsic ? pugi::xml_node() : firstElement(call.element);
    call.messageId = message.attribute("ID").value();
    call.method = call.element.attribute("NAME").value();
    call.nameSpace = readNamespace((call.intrinsic ? call.element : call.target).child("LOCALNAMESPACEPATH"));
    return call;
}

}  // namespace wbem
