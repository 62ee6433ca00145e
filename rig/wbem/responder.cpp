// HTTP requests and responses around a CIM message: headers, errors, the summary for the log.
// Tests: tests/wbem/protocol_test.cpp.
#include "wbem/responder.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "broker/matching.h"
#include "cim/names.h"
#include "cim/shortage.h"
#include "wbem/cimerror.h"
#include "wbem/objects.h"
#include "wbem/split.h"
#include "wbem/xml.h"

namespace wbem {

namespace {

constexpr const char* kPath = "/cimom";
constexpr const char* kExtension = "http://www.dmtf.org/cim/mapping/http/v1.0";  // what M-POST requests declare

std::optional<std::string> header(const Headers& headers, const std::string& name) {
    for (const auto& [each, value] : headers)
        if (cim::sameName(each, name)) return value;
    return std::nullopt;
}

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\"");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t\"") - first + 1);
}

/** The parts of "a; b=c" or "a, b" without blanks and quotes around them. */
std::vector<std::string> parts(const std::string& text, char separator) {
    std::vector<std::string> result = split(text, separator);
    for (std::string& part : result) part = trimmed(part);
    return result;
}

/** The value of a parameter of a header, as charset in "text/xml; charset=utf-8". */
std::optional<std::string> headerParameter(const std::vector<std::string>& headerParts, const std::string& name) {
    for (const std::string& part : headerParts) {
        const auto equals = part.find('=');
        if (equals != std::string::npos && cim::sameName(trimmed(part.substr(0, equals)), name))
            return trimmed(part.substr(equals + 1));
    }
    return std::nullopt;
}

bool oneOf(const std::string& text, std::initializer_list<const char*> choices) {
    return std::any_of(choices.begin(), choices.end(), [&](const char* choice) { return cim::sameName(text, choice); });
}

/** The byte that two hexadecimal digits stand for; none for anything else. */
std::optional<unsigned char> hexByte(const std::string& digits) {
    unsigned char byte = 0;
    const char* const last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, byte, 16);
    if (digits.size() != 2 || error != std::errc() || end != last) return std::nullopt;
    return byte;
}

/** A header value with its %HH sequences as the bytes that they stand for. */
std::string unescaped(const std::string& text) {
    std::string result;
    for (std::size_t place = 0; place < text.size(); ++place) {
        const auto byte = text[place] == '%' ? hexByte(text.substr(place + 1, 2)) : std::nullopt;
        result += byte ? static_cast<char>(*byte) : text[place];
        if (byte) place += 2;
    }
    return result;
}

// --- what has to hold before the body is looked at ---

void checkTarget(const HttpRequest& request, const std::string& others) {
    if (pathOf(request) == kPath) return;
    const std::string served = std::string("CIM operations are served at ") + kPath;
    throw httpError(404, others.empty() ? served : served + ", " + others);
}

/** What the names of CIM headers begin with: nothing, or for M-POST the number of the extension ("73-"). */
std::string headerPrefix(const HttpRequest& request) {
    if (request.method == "POST") return "";
    if (request.method != "M-POST") throw httpError(405, "CIM operations come by POST or M-POST");
    const auto declared = header(request.headers, "Man");
    if (!declared) throw httpError(400, "an M-POST request has to have a Man header");
    const std::vector<std::string> extension = parts(*declared, ';');
    if (extension.empty() || extension.front() != kExtension)
        throw httpError(510, std::string("the only extension that is served is ") + kExtension);
    const auto number = headerParameter(extension, "ns");
    if (!number || number->empty()) return "";
    if (number->find_first_not_of("0123456789") != std::string::npos || number->size() > 8)
        throw httpError(400, "the Man header has no good ns parameter");
    return *number + "-";
}

void checkContentType(const Headers& headers) {
    const std::vector<std::string> type = parts(header(headers, "Content-Type").value_or(""), ';');
    if (type.empty() || !oneOf(type.front(), {"application/xml", "text/xml"}))
        throw httpError(415, "the content type has to be application/xml or text/xml");
    if (!oneOf(headerParameter(type, "charset").value_or("utf-8"), {"utf-8", "us-ascii"}))
        throw httpError(415, "the charset has to be utf-8");
    if (!oneOf(header(headers, "Content-Encoding").value_or("identity"), {"identity"}))
        throw httpError(415, "content encodings are not supported");
}

/** Whether a header that lists what the client takes, where there is one or several, has one of the choices in it. */
bool accepts(const Headers& headers, const char* name, std::initializer_list<const char*> choices) {
    bool listed = false;
    for (const auto& [each, value] : headers) {
        if (!cim::sameName(each, name)) continue;
        listed = true;
        for (const std::string& item : parts(value, ',')) {
            const std::vector<std::string> itemParts = parts(item, ';');
            if (!itemParts.empty() && oneOf(itemParts.front(), choices)) return true;
        }
    }
    return !listed;
}

void checkAccepted(const Headers& headers) {
    if (!accepts(headers, "Accept", {"*/*", "text/*", "application/*", "text/xml", "application/xml"}))
        throw httpError(406, "answers are application/xml");
    if (!accepts(headers, "Accept-Charset", {"*", "utf-8"})) throw httpError(406, "answers are in utf-8");
}

void checkOperationHeaders(const Headers& headers, const std::string& prefix) {
    const std::string operation = header(headers, prefix + "CIMOperation").value_or("");
    if (!cim::sameName(operation, "MethodCall"))
        throw ProtocolError(400, "unsupported-operation", "CIMOperation has to be MethodCall");
    if (header(headers, prefix + "CIMBatch"))
        throw ProtocolError(501, "multiple-requests-unsupported", "a message may hold one request only");
    const std::string version = header(headers, prefix + "CIMProtocolVersion").value_or("1.0");
    if (version.rfind("1.", 0) != 0)
        throw ProtocolError(501, "unsupported-protocol-version", "the protocol version has to be 1.x");
}

// --- headers that repeat what is in the body ---

/** The class or instance of an extrinsic call, as an object path. */
broker::ObjectPath targetOf(const Call& call) {
    if (const pugi::xml_node instance = call.target.child("INSTANCENAME"))
        return readInstanceName(instance, call.nameSpace);
    return {call.nameSpace, call.target.child("CLASSNAME").attribute("NAME").value(), {}};
}

bool namesTarget(const std::string& text, const Call& call) {
    if (call.intrinsic) return cim::sameName(text, call.nameSpace);
    try {
        const broker::ObjectPath told = broker::parseObjectPath(text);
        const broker::ObjectPath target = targetOf(call);
        return cim::sameName(told.nameSpace, target.nameSpace) && cim::sameName(told.className, target.className) &&
               broker::sameObject(told, target);
    } catch (const std::invalid_argument&) {
        return false;
    } catch (const CimError&) {  // keys that make no path, which no text names
        return false;
    }
}

void checkHeadersAgree(const Headers& headers, const std::string& prefix, const Call& call) {
    const auto method = header(headers, prefix + "CIMMethod");
    if (!method || !cim::sameName(unescaped(*method), call.method))
        throw ProtocolError(400, "header-mismatch", "CIMMethod is not the method of the message");
    const auto object = header(headers, prefix + "CIMObject");
    if (!object || !namesTarget(unescaped(*object), call))
        throw ProtocolError(400, "header-mismatch", "CIMObject is not the object of the message");
}

// --- answers ---

pugi::xml_node addMessage(pugi::xml_document& document, const Call& call) {
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    addAttribute(declaration, "version", "1.0");
    addAttribute(declaration, "encoding", "utf-8");
    pugi::xml_node cim = addElement(document, "CIM");
    addAttribute(cim, "CIMVERSION", "2.0");
    addAttribute(cim, "DTDVERSION", "2.0");
    pugi::xml_node message = addElement(cim, "MESSAGE");
    addAttribute(message, "ID", call.messageId);
    addAttribute(message, "PROTOCOLVERSION", "1.0");
    return message;
}

pugi::xml_node addResponse(pugi::xml_document& document, const Call& call) {
    pugi::xml_node response = addElement(addElement(addMessage(document, call), "SIMPLERSP"),
                                         call.intrinsic ? "IMETHODRESPONSE" : "METHODRESPONSE");
    addAttribute(response, "NAME", call.method);
    return response;
}

void addError(pugi::xml_node response, const CimError& error) {
    pugi::xml_node element = addElement(response, "ERROR");
    addAttribute(element, "CODE", std::to_string(error.code()));
    addAttribute(element, "DESCRIPTION", error.what());
}

/** The class that an operation is about, as far as its parameters tell one. */
std::string classOf(const Call& call) {
    if (!call.intrinsic) return call.targetClass();
    for (const pugi::xml_node parameter : call.element.children("IPARAMVALUE")) {
        if (!oneOf(parameter.attribute("NAME").value(),
                   {"ClassName", "InstanceName", "ObjectName", "NewInstance", "ModifiedInstance"}))
            continue;
        pugi::xml_node value = firstElement(parameter);
        if (std::string(value.name()) == "VALUE.NAMEDINSTANCE") value = firstElement(value);
        return value.attribute(std::string(value.name()) == "CLASSNAME" ? "NAME" : "CLASSNAME").value();
    }
    return "";
}

std::string subject(const Call& call) {
    const std::string className = classOf(call);
    return call.method + " " + call.nameSpace + (className.empty() ? "" : ":" + className) + ": ";
}

/** How a response ends for the log. */
std::string outcome(pugi::xml_node response) {
    const auto results = response.child("IRETURNVALUE").children();
    const auto count = std::distance(results.begin(), results.end());
    const pugi::xml_node error = response.child("ERROR");
    const std::string status =
        error ? std::string(error.attribute("CODE").value()) + " (" + error.attribute("DESCRIPTION").value() + ")"
              : "0";
    return "status " + status + ", " + std::to_string(count) + (count == 1 ? " object" : " objects");
}

HttpResponse cimResponse(const pugi::xml_document& document, const std::string& prefix, const std::string& summary) {
    HttpResponse response;
    response.headers = {{"Content-Type", "application/xml; charset=\"utf-8\""},
                        {"Cache-Control", "no-cache"},
                        {prefix + "CIMOperation", "MethodResponse"}};
    response.body = toText(document);
    response.summary = summary;
    return response;
}

/** What RFC 2774 has a server add when it understood the extension of an M-POST request. */
void addExtensionHeaders(HttpResponse& response, const std::string& prefix) {
    const std::string number = prefix.empty() ? "" : "; ns=" + prefix.substr(0, prefix.size() - 1);
    response.headers.emplace_back("Ext", "");
    response.headers.emplace_back("Man", kExtension + number);
}

HttpResponse errorResponse(const ProtocolError& error, const std::string& prefix) {
    HttpResponse response;
    response.status = error.status();
    response.headers = {{"Content-Type", "text/plain; charset=utf-8"}};
    if (!error.cimError().empty()) response.headers.emplace_back(prefix + "CIMError", error.cimError());
    if (error.status() == 405) response.headers.emplace_back("Allow", "POST, M-POST");
    response.body = xmlText(error.what()) + "\n";
    return response;
}

HttpResponse refusal(const HttpRequest& request, const ProtocolError& error, const std::string& prefix) {
    HttpResponse response = errorResponse(error, prefix);
    response.summary =
        request.method + " " + request.target + ": HTTP " + std::to_string(error.status()) + ", " + error.what();
    return response;
}

HttpResponse unavailable(const HttpRequest& request) {
    return refusal(request, httpError(503, cim::Shortage().what()), "");
}

}  // namespace

std::string pathOf(const HttpRequest& request) {
    const std::string& target = request.target;
    const auto scheme = target.find("://");
    if (scheme == std::string::npos || target.front() == '/') return target;
    const auto slash = target.find('/', scheme + 3);
    return slash == std::string::npos ? "/" : target.substr(slash);
}

HttpResponse Responder::answer(const HttpRequest& request) const {
    try {
        return wholeAnswer(request);
    } catch (const std::bad_alloc&) {
        return unavailable(request);
    } catch (const cim::Shortage&) {
        return unavailable(request);
    }
}

HttpResponse Responder::wholeAnswer(const HttpRequest& request) const {
    std::string prefix;
    try {
        if (request.refusal) throw *request.refusal;
        checkTarget(request, others_);
        prefix = headerPrefix(request);
        checkContentType(request.headers);
        checkAccepted(request.headers);
        checkOperationHeaders(request.headers, prefix);
        HttpResponse response = cim::whole([&] { return perform(request, prefix); });
        if (request.method == "M-POST") addExtensionHeaders(response, prefix);
        return response;
    } catch (const ProtocolError& error) {
        return refusal(request, error, prefix);
    }
}

HttpResponse Responder::perform(const HttpRequest& request, const std::string& prefix) const {
    const Call call = readCall(request.body);
    checkHeadersAgree(request.headers, prefix, call);
    pugi::xml_document document;
    pugi::xml_node response = addResponse(document, call);
    const std::string host = header(request.headers, "Host").value_or("");
    try {
        operations_.perform(call, host.empty() ? place_ : host, response, request.abandoned);
    } catch (const CimError& error) {
        response.remove_children();
        addError(response, error);
    }
    return cimResponse(document, prefix, subject(call) + outcome(response));
}

}  // namespace wbem
