// What DSP0200 demands of requests around the operation: HTTP headers, XML, versions.

#include <functional>

#include "server.h"
#include "tests/support/casename.h"
#include "wbem/xml.h"

namespace {

using testsupport::CaseName;
using wbem::HttpRequest;
using wbem::HttpResponse;

class Protocol : public client::Server {
 protected:
    static std::string header(const HttpResponse& response, const std::string& name) {
        for (const auto& [each, value] : response.headers)
            if (each == name) return value;
        return "none";
    }
};

HttpRequest good() {
    return client::post(client::message("EnumerateClassNames", ""), "EnumerateClassNames");
}

void set(HttpRequest& request, const std::string& name, const std::string& value) {
    for (auto& [each, content] : request.headers)
        if (each == name) {
            content = value;
            return;
        }
    request.headers.emplace_back(name, value);
}

void remove(HttpRequest& request, const std::string& name) {
    for (auto at = request.headers.begin(); at != request.headers.end(); ++at)
        if (at->first == name) {
            request.headers.erase(at);
            return;
        }
}

/** What a request differs in from a good one, and its answer; "none": no CIMError header. */
struct Row {
    const char* what;
    std::function<void(HttpRequest&)> change;
    unsigned status;
    const char* cimError;
};

class Requests : public Protocol, public testing::WithParamInterface<Row> {};

TEST_P(Requests, GetTheirStatusAndError) {
    HttpRequest request = good();
    GetParam().change(request);
    const HttpResponse response = responder.answer(request);
    EXPECT_EQ(response.status, GetParam().status) << response.body;
    EXPECT_EQ(header(response, "CIMError"), GetParam().cimError) << response.body;
    EXPECT_EQ(header(response, "Allow"), response.status == 405 ? "POST, M-POST" : "none");
    if (response.status == 200) {
        EXPECT_EQ(header(response, "CIMOperation"), "MethodResponse");
        EXPECT_EQ(header(response, "Content-Type"), "application/xml; charset=\"utf-8\"");
        EXPECT_EQ(client::read(response.body).error, 0);
    }
}

/** A row that sets a header. */
Row with(const char* what, const char* name, const char* value, unsigned status, const char* cimError = "none") {
    return {what, [=](HttpRequest& request) { set(request, name, value); }, status, cimError};
}

Row without(const char* what, const char* name, unsigned status, const char* cimError = "none") {
    return {what, [=](HttpRequest& request) { remove(request, name); }, status, cimError};
}

/** A row that replaces a part of the body. */
Row replacing(const char* what, const std::string& part, const std::string& by, unsigned status, const char* cimError) {
    return {what, [=](HttpRequest& request) { request.body.replace(request.body.find(part), part.size(), by); }, status,
            cimError};
}

Row body(const char* what, const std::string& text, unsigned status, const char* cimError) {
    return {what, [=](HttpRequest& request) { request.body = text; }, status, cimError};
}

const char kMalformed[] = "request-not-well-formed";
const char kInvalid[] = "request-not-valid";

INSTANTIATE_TEST_SUITE_P(
    WithHeaders, Requests,
    testing::Values(
        Row{"AsTheyHaveToBe", [](HttpRequest&) {}, 200, "none"},
        Row{"Get", [](HttpRequest& request) { request.method = "GET"; }, 405, "none"},
        Row{"LowerCaseMethod", [](HttpRequest& request) { request.method = "post"; }, 405, "none"},
        Row{"OtherPath", [](HttpRequest& request) { request.target = "/"; }, 404, "none"},
        Row{"AbsoluteTarget", [](HttpRequest& request) { request.target = "http://localhost:1/cimom"; }, 200, "none"},
        Row{"AbsoluteTargetWithoutPath", [](HttpRequest& request) { request.target = "http://localhost:1"; }, 404,
            "none"},
        with("TextXml", "Content-Type", "text/xml", 200),
        with("TextXmlInUpperCase", "Content-Type", "TEXT/XML ; CHARSET=UTF-8", 200),
        with("Json", "Content-Type", "application/json", 415),
        with("OtherCharset", "Content-Type", "text/xml; charset=utf-16", 415),
        without("NoContentType", "Content-Type", 415), with("Gzip", "Content-Encoding", "gzip", 415),
        with("AcceptsAll", "Accept", "text/html, */*;q=0.1", 200), with("AcceptsXml", "Accept", "application/xml", 200),
        with("AcceptsHtmlOnly", "Accept", "text/html", 406), with("AcceptsUtf8", "Accept-Charset", "utf-8;q=1", 200),
        Row{"AcceptsInSeveralHeaders",
            [](HttpRequest& request) {
                request.headers.emplace_back("Accept", "text/html");
                request.headers.emplace_back("accept", "text/xml");
            },
            200, "none"},
        with("AcceptsLatinOnly", "Accept-Charset", "iso-8859-1", 406),
        without("NoOperation", "CIMOperation", 400, "unsupported-operation"),
        with("ExportOperation", "CIMOperation", "ExportMethodCall", 400, "unsupported-operation"),
        with("Batch", "CIMBatch", "", 501, "multiple-requests-unsupported"),
        with("Protocol11", "CIMProtocolVersion", "1.1", 200),
        with("Protocol2", "CIMProtocolVersion", "2.0", 501, "unsupported-protocol-version"),
        without("NoMethod", "CIMMethod", 400, "header-mismatch"),
        without("NoObject", "CIMObject", 400, "header-mismatch"), without("NoHost", "Host", 200),
        with("MethodInEscapes", "CIMMethod", "%45numerateClassNames", 200),
        with("OtherMethod", "CIMMethod", "EnumerateClasses", 400, "header-mismatch"),
        with("ObjectInAnotherCase", "CIMObject", "root/KAVIX", 200),
        with("OtherObject", "CIMObject", "root%2Fkavix%3AQELTA_X", 400, "header-mismatch"),
        with("BrokenEscapes", "CIMObject", "root%2", 400, "header-mismatch")),
    CaseName());

INSTANTIATE_TEST_SUITE_P(
    WithBodies, Requests,
    testing::Values(
        body("Empty", "", 400, kMalformed), body("NoXml", "hello", 400, kMalformed),
        body("Cut", good().body.substr(0, 150), 400, kMalformed),
        body("TwoDocuments", good().body + "<x/>", 400, kMalformed),
        body("ByteZero", std::string("<CIM>\0</CIM>", 12), 400, kMalformed),
        body("NoUtf8", "<CIM>\xff</CIM>", 400, kMalformed), body("UnknownEntity", "<CIM>&foo;</CIM>", 400, kMalformed),
        body("AttributeTwice", "<CIM A=\"1\" A=\"2\"/>", 400, kMalformed),
        body("ControlCharacter", "<CIM>\x01</CIM>", 400, kMalformed),
        body("UnknownEncoding", "<?xml version=\"1.0\" encoding=\"x-none\"?><CIM/>", 400, kMalformed),
        replacing("Latin1", "utf-8", "iso-8859-1", 200, "none"),
        replacing("Comment", "<SIMPLEREQ>", "<!-- a --><?pi?><SIMPLEREQ>", 200, "none"),
        replacing("DocumentType", "<CIM ", "<!DOCTYPE CIM SYSTEM \"http://localhost/none.dtd\"><CIM ", 200, "none"),
        replacing("Entities", "<CIM ", "<!DOCTYPE CIM [<!ENTITY a \"b\">]><CIM ", 400, kInvalid),
        replacing("ExternalEntity", "<CIM ", "<!DOCTYPE CIM [<!ENTITY a SYSTEM \"file:///etc/passwd\">]><CIM ", 400,
                  kInvalid),
        replacing("AttributeDefaults", "<CIM ", "<!DOCTYPE CIM [<!ATTLIST CIM A CDATA \"b\">]><CIM ", 400, kInvalid),
        Row{"EntityOfAnExternalSubset",
            [](HttpRequest& request) {
                request.body.insert(request.body.find("<SIMPLEREQ>"), "&a;");
                request.body.insert(request.body.find("<CIM "), "<!DOCTYPE CIM SYSTEM \"x.dtd\">");
            },
            400, kInvalid},
        Row{"EntityOfAnExternalSubsetInAnAttribute",
            [](HttpRequest& request) {
                request.body.replace(request.body.find("&quot;"), 6, "&amp;&a;");
                request.body.insert(request.body.find("<CIM "), "<!DOCTYPE CIM SYSTEM \"x.dtd\">");
            },
            400, kInvalid},
        replacing("LongNamespace", "NAME=\"root\"", "NAME=\"" + std::string(1020, 'n') + "\"", 400, kInvalid),
        body("OtherRoot", "<HTML/>", 400, kInvalid), body("NoMessage", "<CIM/>", 400, kInvalid),
        body("NoRequest", client::envelope(""), 400, kInvalid),
        body("Response", client::envelope("<SIMPLERSP><IMETHODRESPONSE NAME=\"a\"/></SIMPLERSP>"), 400, kInvalid),
        replacing("NoVersion", "CIMVERSION=\"2.0\"", "", 400, kInvalid),
        replacing("Cim3", "CIMVERSION=\"2.0\"", "CIMVERSION=\"3.0\"", 501, "unsupported-cim-version"),
        replacing("Dtd2_4", "DTDVERSION=\"2.0\"", "DTDVERSION=\"2.4\"", 200, "none"),
        replacing("Dtd20", "DTDVERSION=\"2.0\"", "DTDVERSION=\"20.0\"", 501, "unsupported-dtd-version"),
        replacing("ProtocolInMessage2", "PROTOCOLVERSION=\"1.0\"", "PROTOCOLVERSION=\"2.0\"", 501,
                  "unsupported-protocol-version"),
        replacing("NoId", "ID=\"id &quot;1&quot;&#10;\"", "", 400, kInvalid),
        replacing("TextBetween", "<SIMPLEREQ>", "<SIMPLEREQ>text", 400, kInvalid),
        replacing("UnknownElement", "</IMETHODCALL>", "<IPARAM NAME=\"a\"/></IMETHODCALL>", 400, kInvalid),
        replacing("ParameterWithoutName", "</IMETHODCALL>", "<IPARAMVALUE/></IMETHODCALL>", 400, kInvalid),
        replacing("ParameterWithTwoValues", "</IMETHODCALL>",
                  "<IPARAMVALUE NAME=\"a\"><VALUE/><VALUE/></IPARAMVALUE></IMETHODCALL>", 400, kInvalid),
        replacing("NamespaceBehindParameters", "<LOCALNAMESPACEPATH>", "<IPARAMVALUE NAME=\"a\"/><LOCALNAMESPACEPATH>",
                  400, kInvalid),
        replacing("KeyWithoutValue", "</IMETHODCALL>",
                  "<IPARAMVALUE NAME=\"a\"><INSTANCENAME CLASSNAME=\"a\"><KEYBINDING NAME=\"a\"/></INSTANCENAME>"
                  "</IPARAMVALUE></IMETHODCALL>",
                  400, kInvalid),
        replacing("KeysOfTwoKinds", "</IMETHODCALL>",
                  "<IPARAMVALUE NAME=\"a\"><INSTANCENAME CLASSNAME=\"a\"><KEYVALUE/><KEYBINDING NAME=\"a\"><KEYVALUE/>"
                  "</KEYBINDING></INSTANCENAME></IPARAMVALUE></IMETHODCALL>",
                  400, kInvalid),
        Row{"MethodOfAnInstanceWithoutKeyNames",
            [](HttpRequest& request) {
                set(request, "CIMMethod", "Reset");
                set(request, "CIMObject", "root/kavix:QELTA_SystemSlot.Tag=\"System Slot 3\"");
                request.body = client::envelope(
                    "<SIMPLEREQ><METHODCALL NAME=\"Reset\"><LOCALINSTANCEPATH><LOCALNAMESPACEPATH>"
                    "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"kavix\"/></LOCALNAMESPACEPATH>"
                    "<INSTANCENAME CLASSNAME=\"QELTA_SystemSlot\"><KEYVALUE>System Slot 3</KEYVALUE></INSTANCENAME>"
                    "</LOCALINSTANCEPATH></METHODCALL></SIMPLEREQ>");
            },
            400, "header-mismatch"},
        body("MultipleRequest", client::envelope("<MULTIREQ></MULTIREQ>"), 501, "multiple-requests-unsupported"),
        body("ExportRequest", client::envelope("<SIMPLEEXPREQ></SIMPLEEXPREQ>"), 400, kInvalid)),
    CaseName());

TEST_F(Protocol, DeeplyNestedDocumentsAreRefused) {
    // References to objects whose keys are references, each three elements deeper than the one around it.
    const auto errorOf = [&](int depth) {
        const std::string start = R"(<INSTANCENAME CLASSNAME="a"><KEYBINDING NAME="a"><VALUE.REFERENCE>)";
        const std::string end = "</VALUE.REFERENCE></KEYBINDING></INSTANCENAME>";
        std::string starts;
        std::string ends;
        for (int i = 0; i < depth; ++i) {
            starts += start;
            ends += end;
        }
        HttpRequest request = good();
        request.body = client::message("EnumerateClassNames",
                                       client::parameter("a", starts + R"(<INSTANCENAME CLASSNAME="a"/>)" + ends));
        return header(responder.answer(request), "CIMError");
    };
    EXPECT_EQ(errorOf(10), "none");
    EXPECT_EQ(errorOf(30), kInvalid);
    EXPECT_EQ(errorOf(10000), kInvalid);
}

TEST_F(Protocol, DocumentsOfTooManyPartsAreRefused) {
    const auto errorOf = [&](const std::string& parameters) {
        HttpRequest request = good();
        request.body = client::message("EnumerateClassNames", parameters);
        return header(responder.answer(request), "CIMError");
    };
    const std::string element = R"(<IPARAMVALUE NAME="a"/>)";  // two parts
    std::string elements;
    std::string attributes = R"(<IPARAMVALUE NAME="a")";
    for (int i = 0; i < wbem::kMaxParts / 2; ++i) elements += element;
    for (int i = 0; i < wbem::kMaxParts; ++i) attributes += " a" + std::to_string(i) + "=\"\"";
    EXPECT_EQ(errorOf(elements), kInvalid);
    EXPECT_EQ(errorOf(attributes + "/>"), kInvalid);
    EXPECT_EQ(errorOf(elements.substr(20 * element.size())), "none");
}

TEST_F(Protocol, LongAttributesAndTextsInPiecesAreTaken) {
    HttpRequest request = good();
    const std::string name(1U << 20U, 'x');
    std::string text;
    for (int i = 0; i < 100000; ++i) text += "&lt;\n";
    request.body = client::message("EnumerateClassNames", client::parameter(name, "<VALUE>" + text + "</VALUE>"));
    EXPECT_EQ(client::read(responder.answer(request).body).error, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(Protocol, Utf16IsRead) {
    HttpRequest request = good();
    std::string wide = "\xff\xfe";
    for (const char letter : request.body.substr(request.body.find("<CIM"))) wide += {letter, '\0'};
    request.body = wide;
    EXPECT_EQ(client::read(responder.answer(request).body).error, 0);
}

TEST_F(Protocol, ExtendedPostRequestsHavePrefixedHeaders) {
    const auto extended = [](const std::string& man) {
        HttpRequest request{"M-POST", "/cimom", {{"Content-Type", "text/xml"}}, good().body, {}, ""};
        if (!man.empty()) request.headers.emplace_back("Man", man);
        return request;
    };
    const std::string extension = "http://www.dmtf.org/cim/mapping/http/v1.0";
    HttpRequest request = extended(extension + " ; ns=73");
    request.headers.emplace_back("73-CIMOperation", "MethodCall");
    request.headers.emplace_back("73-CIMMethod", "EnumerateClassNames");
    request.headers.emplace_back("73-CIMObject", "root%2Fkavix");
    const HttpResponse response = responder.answer(request);
    EXPECT_EQ(response.status, 200U) << response.body;
    EXPECT_EQ(header(response, "73-CIMOperation"), "MethodResponse");
    EXPECT_EQ(header(response, "Ext"), "");
    EXPECT_EQ(header(response, "Man"), extension + "; ns=73");

    set(request, "73-CIMMethod", "GetClass");
    EXPECT_EQ(header(responder.answer(request), "73-CIMError"), "header-mismatch");
    // Headers of another number, or without one, are none of this extension.
    HttpRequest other = extended("\"" + extension + "\"; ns=74");
    other.headers.emplace_back("73-CIMOperation", "MethodCall");
    other.headers.emplace_back("CIMOperation", "MethodCall");
    EXPECT_EQ(header(responder.answer(other), "74-CIMError"), "unsupported-operation");
    EXPECT_EQ(responder.answer(extended("")).status, 400U);
    EXPECT_EQ(responder.answer(extended("http://example.org/other; ns=10")).status, 510U);
    EXPECT_EQ(responder.answer(extended(extension + "; ns=x\r\n")).status, 400U);
}

}  // namespace
