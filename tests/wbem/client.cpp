// Requests as a client writes them, and answers as it reads them. Used by all tests of the server.
#include "client.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "broker/matching.h"
#include "wbem/validity.h"

namespace client {

namespace {

std::string element(const std::string& name, const std::string& attributes, const std::string& contents) {
    std::string start = "<" + name;
    if (!attributes.empty()) start += " " + attributes;
    return start + ">" + contents + "</" + name + ">";
}

std::string named(const std::string& name) {
    return "NAME=\"" + name + "\"";
}

std::string namespaceElement(const std::string& nameSpace) {
    std::string parts;
    std::istringstream stream(nameSpace);
    for (std::string part; std::getline(stream, part, '/');) parts += element("NAMESPACE", named(part), "");
    return element("LOCALNAMESPACEPATH", "", parts);
}

std::string keyElement(const broker::Value& key) {
    if (const broker::ObjectPath* path = broker::referenceOf(key))
        return element("VALUE.REFERENCE", "", nameElement(*path));
    const char* type = std::holds_alternative<std::string>(key.data) ? "string"
                       : std::holds_alternative<bool>(key.data)      ? "boolean"
                                                                     : "numeric";
    return element("KEYVALUE", std::string("VALUETYPE=\"") + type + "\"", broker::toString(key));
}

}  // namespace

std::string value(const std::string& name, const std::string& text) {
    return parameter(name, element("VALUE", "", text));
}

std::string className(const std::string& name, const std::string& className) {
    return parameter(name, element("CLASSNAME", named(className), ""));
}

std::string instanceName(const std::string& name, const broker::ObjectPath& path) {
    return parameter(name, nameElement(path));
}

std::string list(const std::string& name, const std::vector<std::string>& texts) {
    std::string values;
    for (const std::string& text : texts) values += element("VALUE", "", text);
    return parameter(name, element("VALUE.ARRAY", "", values));
}

std::string parameter(const std::string& name, const std::string& value) {
    return element("IPARAMVALUE", named(name), value);
}

std::string nameElement(const broker::ObjectPath& path) {
    std::string keys;
    for (const broker::Property& key : path.keys) keys += element("KEYBINDING", named(key.name), keyElement(key.value));
    return element("INSTANCENAME", "CLASSNAME=\"" + path.className + "\"", keys);
}

std::string message(const std::string& operation, const std::string& parameters, const std::string& nameSpace) {
    return envelope(
        element("SIMPLEREQ", "", element("IMETHODCALL", named(operation), namespaceElement(nameSpace) + parameters)));
}

std::string envelope(const std::string& contents) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n" +
           element("CIM", "CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"",
                   "\n" + element("MESSAGE", "ID=\"id &quot;1&quot;&#10;\" PROTOCOLVERSION=\"1.0\"", contents) + "\n");
}

wbem::HttpRequest post(const std::string& body, const std::string& method) {
    return {"POST",
            "/cimom",
            {{"Host", "localhost:1"},
             {"Content-Type", "application/xml; charset=\"utf-8\""},
             {"CIMOperation", "MethodCall"},
             {"CIMObject", "root%2Fkavix"},
             {"CIMMethod", method}},
            body,
            {},
            "192.0.2.7"};
}

std::string wire(const wbem::HttpRequest& request, const std::string& version) {
    std::string text = request.method + " " + request.target + " " + version + "\r\n";
    for (const auto& [name, content] : request.headers) text.append(name).append(": ").append(content).append("\r\n");
    return text + "Content-Length: " + std::to_string(request.body.size()) + "\r\n\r\n" + request.body;
}

Answer read(const std::string& text) {
    Answer answer;
    const pugi::xml_parse_result parsed =
        answer.document.load_string(text.c_str(), pugi::parse_default | pugi::parse_ws_pcdata_single);
    if (!parsed) throw std::runtime_error(std::string(parsed.description()) + ": " + text);
    wbem::checkValidity(answer.document.document_element());
    const pugi::xml_node message = answer.document.child("CIM").child("MESSAGE");
    const pugi::xml_node response = children(message.child("SIMPLERSP")).at(0);
    const pugi::xml_node error = response.child("ERROR");
    answer.messageId = message.attribute("ID").value();
    answer.operation = response.attribute("NAME").value();
    answer.error = error.attribute("CODE").as_int();
    answer.description = error.attribute("DESCRIPTION").value();
    answer.result = response.child("IRETURNVALUE");
    return answer;
}

std::vector<pugi::xml_node> children(pugi::xml_node parent) {
    std::vector<pugi::xml_node> elements;
    std::copy_if(parent.begin(), parent.end(), std::back_inserter(elements),
                 [](pugi::xml_node child) { return child.type() == pugi::node_element; });
    return elements;
}

}  // namespace client
