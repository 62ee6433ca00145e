#ifndef PCIINFO_TESTS_WBEM_CLIENT_H
#define PCIINFO_TESTS_WBEM_CLIENT_H

#include <pugixml.hpp>

#include <string>
#include <vector>

#include "broker/broker.h"
#include "wbem/responder.h"

/** Requests as a client writes them, and answers as it reads them. */
namespace client {

// --- parameters; each is an IPARAMVALUE element ---

std::string value(const std::string& name, const std::string& text);
std::string className(const std::string& name, const std::string& className);
std::string instanceName(const std::string& name, const broker::ObjectPath& path);
std::string list(const std::string& name, const std::vector<std::string>& texts);
/** Whatever else: the element as it stands. */
std::string parameter(const std::string& name, const std::string& element);

/** An INSTANCENAME element; references without host or namespace. */
std::string nameElement(const broker::ObjectPath& path);

// --- messages ---

std::string message(const std::string& operation, const std::string& parameters,
                    const std::string& nameSpace = "root/kavix");
/** A request message around SIMPLEREQ or whatever else. */
std::string envelope(const std::string& contents);

/** A POST request with all headers that DSP0200 demands. */
wbem::HttpRequest post(const std::string& body, const std::string& method);

/** The same as it goes over the wire. */
std::string wire(const wbem::HttpRequest& request, const std::string& version = "HTTP/1.1");

/** What a CIM message in answer has in it. */
struct Answer {
    std::string messageId;
    std::string operation;
    int error = 0;  // code of the ERROR element
    std::string description;
    pugi::xml_document document;
    pugi::xml_node result;  // IRETURNVALUE, null where there is none
};

/** Reads an answer with pugixml's own parser. Throws std::runtime_error when it is not a valid message. */
Answer read(const std::string& text);

/** The child elements of a result. */
std::vector<pugi::xml_node> children(pugi::xml_node parent);

}  // namespace client

#endif
