// CIM-XML requests: HTTP headers and a message, answered by the server without its sockets. The input is the message;
// in front of it may stand headers, a line each, and an empty line.
#include <algorithm>
#include <pugixml.hpp>
#include <string>

#include "host.h"
#include "mof/embedded.h"
#include "provider.h"
#include "wbem/operations.h"
#include "wbem/responder.h"
#include "wbem/validity.h"
#include "wbem/xml.h"

namespace {

using fuzz::Host;
using fuzz::require;

constexpr std::size_t kLongestAnswer = std::size_t{1} << 20;

/** The text between the first `begin` behind `place` and the next `end`; `place` moves behind it. */
std::string between(const std::string& text, const std::string& begin, const std::string& end, std::size_t& place) {
    const std::size_t found = text.find(begin, place);
    if (found == std::string::npos) return "";
    const std::size_t start = found + begin.size();
    place = std::min(text.find(end, start), text.size());
    return text.substr(start, place - start);
}

/** The headers that repeat what is in the message, as a client sends them. */
wbem::Headers headersFor(const std::string& message) {
    std::size_t place = 0;
    const std::string method = between(message, "METHODCALL NAME=\"", "\"", place);
    const std::size_t end = std::min(message.find("</LOCALNAMESPACEPATH>", place), message.size());
    std::string object;
    for (;;) {
        std::size_t next = place;
        const std::string part = between(message, "<NAMESPACE NAME=\"", "\"", next);
        if (next == place || next > end) break;
        object += (object.empty() ? "" : "%2F") + part;
        place = next;
    }
    return {{"Host", "here:1"},
            {"Content-Type", "application/xml; charset=\"utf-8\""},
            {"CIMOperation", "MethodCall"},
            {"CIMMethod", method},
            {"CIMObject", object}};
}

/**
 * A header of the input, in place of ours or beside them. "method" and "target" are those of the request's line,
 * "hostname" and "slot" texts of the machine, which come back in answers.
 */
void takeHeader(wbem::HttpRequest& request, const std::string& line) {
    const std::size_t colon = std::min(line.find(':'), line.size());
    const std::string name = line.substr(0, colon);
    const std::string value = line.substr(std::min(colon + 1, line.size()));
    if (name == "method") {
        request.method = value;
    } else if (name == "target") {
        request.target = value;
    } else if (name == "hostname") {
        Host::get().name = value.substr(0, 63);
    } else if (name == "slot") {
        std::string& table = Host::get().smbiosTable;
        const std::size_t place = table.find("PCI5");
        if (place != std::string::npos) table.replace(place, 4, value.empty() ? "x" : value);
    } else {
        const auto same = std::find_if(request.headers.begin(), request.headers.end(),
                                       [&](const auto& header) { return header.first == name; });
        if (same != request.headers.end()) request.headers.erase(same);
        request.headers.emplace_back(name, value);
    }
}

wbem::HttpRequest requestOf(const std::string& input) {
    const std::size_t body = std::min(input.find('<'), input.size());
    const std::string message = input.substr(body);
    wbem::HttpRequest request;
    request.method = "POST";
    request.target = "/cimom";
    request.headers = headersFor(message);
    request.body = message;
    request.client = "192.0.2.7";
    for (std::size_t place = 0; place < body;) {
        const std::size_t feed = std::min(input.find('\n', place), body);
        if (feed > place) takeHeader(request, input.substr(place, feed - place));
        place = feed + 1;
    }
    return request;
}

struct Server {
    wbem::Operations operations{fuzz::manager(), schema::declared(), "root/kavix"};
    wbem::Responder responder{operations, "127.0.0.1:5988"};
};

/** The answer, which is a whole message or an error's text. */
wbem::HttpResponse answer(const wbem::HttpRequest& request) {
    static const Server& server = *new Server;
    const broker::Broker& manager = fuzz::manager();
    const std::size_t left = manager.objectsMade() - manager.objectsFreed();
    wbem::HttpResponse response = server.responder.answer(request);
    require(manager.objectsMade() - manager.objectsFreed() == left, "every object is freed");
    Host::get().expectNothingOpen();
    require(response.body.size() <= kLongestAnswer, "an answer is in proportion");
    require(!response.summary.empty(), "the log has a line");
    if (response.status != 200) {
        require(response.status >= 400 && response.status <= 510, "what is no answer is an error");
        return response;
    }
    try {
        const pugi::xml_document document = wbem::parseXml(response.body);  // which is strict
        wbem::checkValidity(document.document_element());
        const pugi::xml_node one = document.child("CIM").child("MESSAGE").child("SIMPLERSP").first_child();
        require(!!one, "an answer has a response");
    } catch (const std::exception& error) {
        require(false, error.what());
    }
    return response;
}

const wbem::HttpRequest& slotRequest() {
    static const wbem::HttpRequest& request = *new wbem::HttpRequest(
        requestOf(R"(<CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLEREQ>)"
                  R"(<IMETHODCALL NAME="EnumerateInstanceNames"><LOCALNAMESPACEPATH><NAMESPACE NAME="root"/>)"
                  R"(<NAMESPACE NAME="kavix"/></LOCALNAMESPACEPATH><IPARAMVALUE NAME="ClassName">)"
                  R"(<CLASSNAME NAME="QELTA_SystemSlot"/></IPARAMVALUE></IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>)"));
    return request;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Host& host = Host::get();
    host.reset();
    fuzz::buildRack(host);
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    const wbem::HttpRequest request = requestOf(text);
    const wbem::HttpResponse first = answer(request);
    if (size % 4 != 0) return 0;
    require(answer(request).body == first.body, "two runs give the same");
    host.reset();
    fuzz::buildRack(host);
    static const std::string& whole = *new std::string(answer(slotRequest()).body);
    require(whole.find("System Slot 9") != std::string::npos, "the three slots are told");
    require(answer(slotRequest()).body == whole, "the next request is answered whole");
    return 0;
}
