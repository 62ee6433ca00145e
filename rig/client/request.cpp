// Requests as messages. Tests: tests/client/request_test.cpp, tests/e2e/remote.py.
#include "client/request.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

#include "mof/embedded.h"
#include "wbem/encoder.h"
#include "wbem/xml.h"

namespace client {

namespace {

using broker::ObjectPath;
using broker::Response;

pugi::xml_node addParameter(pugi::xml_node call, const char* name) {
    pugi::xml_node parameter = wbem::addElement(call, "IPARAMVALUE");
    wbem::addAttribute(parameter, "NAME", name);
    return parameter;
}

void addFlag(pugi::xml_node call, const char* name, bool value) {
    wbem::addText(addParameter(call, name), "VALUE", value ? "TRUE" : "FALSE");
}

void addClass(pugi::xml_node call, const char* name, const std::string& className) {
    wbem::addAttribute(wbem::addElement(addParameter(call, name), "CLASSNAME"), "NAME", className);
}

void addClass(pugi::xml_node call, const char* name, const std::optional<std::string>& className) {
    if (className && !className->empty()) addClass(call, name, *className);
}

void addRole(pugi::xml_node call, const char* name, const std::optional<std::string>& role) {
    if (role && !role->empty()) wbem::addText(addParameter(call, name), "VALUE", *role);
}

void addObject(pugi::xml_node call, const ObjectPath& path) {
    wbem::Encoder(schema::declared(), "").instanceName(addParameter(call, "ObjectName"), path);
}

/** Properties are wanted as they are, without what the schema says of them. */
void addBareness(pugi::xml_node call) {
    addFlag(call, "IncludeQualifiers", false);
    addFlag(call, "IncludeClassOrigin", false);
}

void addParameters(pugi::xml_node call, const Request& request) {
    switch (request.operation) {
        case Operation::enumerateInstances:
            addClass(call, "ClassName", request.object.className);
            addFlag(call, "LocalOnly", false);
            addFlag(call, "DeepInheritance", true);
            addBareness(call);
            return;
        case Operation::enumerateInstanceNames:
            addClass(call, "ClassName", request.object.className);
            return;
        case Operation::associators:
        case Operation::associatorNames:
            addObject(call, request.object);
            addClass(call, "AssocClass", request.filters.assocClass);
            addClass(call, "ResultClass", request.filters.resultClass);
            addRole(call, "Role", request.filters.role);
            addRole(call, "ResultRole", request.filters.resultRole);
            if (request.operation == Operation::associators) addBareness(call);
            return;
        case Operation::references:
        case Operation::referenceNames:
            addObject(call, request.object);
            addClass(call, "ResultClass", request.filters.resultClass);
            addRole(call, "Role", request.filters.role);
            if (request.operation == Operation::references) addBareness(call);
            return;
    }
}

std::string refusalOf(const Request& request, const Response& response) {
    return fmt::format("{}: {} ({}){}{}", described(request), broker::statusName(response.status),
                       static_cast<int>(response.status), response.message.empty() ? "" : ": ", response.message);
}

}  // namespace

const char* methodOf(Operation operation) {
    switch (operation) {
        case Operation::enumerateInstances:
            return "EnumerateInstances";
        case Operation::enumerateInstanceNames:
            return "EnumerateInstanceNames";
        case Operation::associators:
            return "Associators";
        case Operation::associatorNames:
            return "AssociatorNames";
        case Operation::references:
            return "References";
        default:
            return "ReferenceNames";
    }
}

std::string described(const Request& request) {
    return fmt::format("{} of {} in {}", methodOf(request.operation), request.object.className,
                       request.object.nameSpace);
}

std::string messageOf(const Request& request) {
    pugi::xml_document document;
    pugi::xml_node cim = wbem::addElement(document, "CIM");
    wbem::addAttribute(cim, "CIMVERSION", "2.0");
    wbem::addAttribute(cim, "DTDVERSION", "2.0");
    pugi::xml_node message = wbem::addElement(cim, "MESSAGE");
    wbem::addAttribute(message, "ID", "1");
    wbem::addAttribute(message, "PROTOCOLVERSION", "1.0");
    pugi::xml_node call = wbem::addElement(wbem::addElement(message, "SIMPLEREQ"), "IMETHODCALL");
    wbem::addAttribute(call, "NAME", methodOf(request.operation));
    wbem::addNamespace(call, request.object.nameSpace);
    addParameters(call, request);
    return wbem::toText(document);
}

Response RequestMaker::enumerateInstanceNames(const ObjectPath& classPath) {
    return asked({Operation::enumerateInstanceNames, classPath});
}

Response RequestMaker::enumerateInstances(const ObjectPath& classPath) {
    return asked({Operation::enumerateInstances, classPath});
}

Response RequestMaker::getInstance(const ObjectPath& path) {
    return asked({Operation::enumerateInstances, {path.nameSpace, path.className, {}}});
}

Response RequestMaker::associators(const ObjectPath& path, const broker::Filters& filters) {
    return associated({Operation::associators, path, filters});
}

Response RequestMaker::associatorNames(const ObjectPath& path, const broker::Filters& filters) {
    return associated({Operation::associatorNames, path, filters});
}

Response RequestMaker::references(const ObjectPath& path, const broker::Filters& filters) {
    return associated({Operation::references, path, filters});
}

Response RequestMaker::referenceNames(const ObjectPath& path, const broker::Filters& filters) {
    return associated({Operation::referenceNames, path, filters});
}

Response RequestMaker::associated(const Request& request) {
    if (!request.object.keys.empty()) return asked(request);
    Response refused;
    refused.status = CMPI_RC_ERR_INVALID_PARAMETER;
    refused.message = "a path without keys names no instance";
    refusal_ = refusalOf(request, refused);
    return refused;
}

Response RequestMaker::asked(const Request& request) {
    Response response = put(request);
    if (response.status != CMPI_RC_OK) refusal_ = refusalOf(request, response);
    return response;
}

std::string RequestMaker::takeRefusal() {
    return std::exchange(refusal_, "");
}

}  // namespace client
