// XML in and out: Expat reads, pugixml holds the tree.
// Tests: tests/wbem/protocol_test.cpp.
#include "wbem/xml.h"

#include <expat.h>

#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>

#include "cim/utf8.h"
#include "wbem/protocolerror.h"

namespace wbem {

namespace {

struct ParserDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using Parser = std::unique_ptr<XML_ParserStruct, ParserDeleter>;

/** Builds the tree out of what the parser reports. Expat is strict about what is well-formed, pugixml's own is not. */
class TreeBuilder {
 public:
    TreeBuilder() : parser_(XML_ParserCreate(nullptr)), current_(document_) {
        if (!parser_) throw std::bad_alloc();
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), onStart, onEnd);
        XML_SetCharacterDataHandler(parser_.get(), onText);
        XML_SetStartDoctypeDeclHandler(parser_.get(), onDocumentType);
        XML_SetSkippedEntityHandler(parser_.get(), onSkippedEntity);
    }

    pugi::xml_document read(const std::string& text) {
        if (text.size() > std::numeric_limits<int>::max()) throw notValid("the document is too long");
        const XML_Status status = XML_Parse(parser_.get(), text.data(), static_cast<int>(text.size()), XML_TRUE);
        if (refusal_) throw notValid(*refusal_);
        if (status != XML_STATUS_OK) throw notWellFormed(complaint());
        return std::move(document_);
    }

 private:
    static TreeBuilder& of(void* self) { return *static_cast<TreeBuilder*>(self); }

    static void onStart(void* self, const XML_Char* name, const XML_Char** attributes) {
        of(self).start(name, attributes);
    }
    static void onEnd(void* self, const XML_Char*) { of(self).end(); }
    static void onText(void* self, const XML_Char* text, int length) {
        of(self).text_.append(text, static_cast<std::size_t>(length));
    }
    /** Entities, and default values of attributes, would let a short message grow to any size. */
    static void onDocumentType(void* self, const XML_Char*, const XML_Char*, const XML_Char*, int hasInternalSubset) {
        if (hasInternalSubset != 0) of(self).refuse("the document type may not have declarations of its own");
    }
    static void onSkippedEntity(void* self, const XML_Char* name, int) {
        of(self).refuse("the entity " + std::string(name) + " is not declared");
    }

    void start(const XML_Char* name, const XML_Char** attributes) {
        if (++depth_ > kMaxDepth) return refuse("elements are nested too deeply");
        parts_ += 1 + XML_GetSpecifiedAttributeCount(parser_.get()) / 2;  // which counts names and values
        if (parts_ > kMaxParts) return refuse("there are too many elements and attributes");
        flushText();
        current_ = current_.append_child(name);
        for (; *attributes; attributes += 2) current_.append_attribute(attributes[0]).set_value(attributes[1]);
    }

    void end() {
        --depth_;
        flushText();
        current_ = current_.parent();
    }

    void flushText() {
        if (text_.empty()) return;
        current_.append_child(pugi::node_pcdata).set_value(text_.c_str());
        text_.clear();
    }

    void refuse(const std::string& why) {
        if (!refusal_) refusal_ = why;
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    std::string complaint() const {
        std::ostringstream text;
        text << "line " << XML_GetCurrentLineNumber(parser_.get()) << ": "
             << XML_ErrorString(XML_GetErrorCode(parser_.get()));
        return text.str();
    }

    Parser parser_;
    pugi::xml_document document_;
    pugi::xml_node current_;
    std::string text_;  // since the last tag
    unsigned depth_ = 0;
    int parts_ = 0;  // elements and attributes
    std::optional<std::string> refusal_;
};

bool allowedInXml(const cim::Piece& piece) {
    if (!piece.valid) return false;
    if (piece.codePoint < 0x20) return piece.codePoint == '\t' || piece.codePoint == '\n' || piece.codePoint == '\r';
    return piece.codePoint != 0xfffe && piece.codePoint != 0xffff;
}

}  // namespace

pugi::xml_document parseXml(const std::string& text) {
    return TreeBuilder().read(text);
}

std::string toText(const pugi::xml_document& document) {
    std::ostringstream stream;
    // <A></A> is the same as <A/>, but not to every client.
    document.save(stream, "", pugi::format_raw | pugi::format_no_empty_element_tags, pugi::encoding_utf8);
    // A return that stands as it is would be read as a line end.
    std::string text;
    for (const char letter : stream.str()) {
        if (letter == '\r')
            text += "&#13;";
        else
            text += letter;
    }
    return text;
}

std::string xmlText(const std::string& bytes) {
    std::string result;
    result.reserve(bytes.size());
    for (std::string_view rest = bytes; !rest.empty();) {
        const cim::Piece piece = cim::firstPiece(rest);
        if (allowedInXml(piece))
            result += rest.substr(0, piece.length);
        else
            result += "\xef\xbf\xbd";
        rest.remove_prefix(piece.length);
    }
    return result;
}

pugi::xml_node addElement(pugi::xml_node parent, const char* name) {
    return parent.append_child(name);
}

pugi::xml_node addText(pugi::xml_node parent, const char* name, const std::string& text) {
    pugi::xml_node element = addElement(parent, name);
    element.append_child(pugi::node_pcdata).set_value(xmlText(text).c_str());
    return element;
}

void addAttribute(pugi::xml_node element, const char* name, const std::string& value) {
    element.append_attribute(name).set_value(xmlText(value).c_str());
}

pugi::xml_node firstElement(pugi::xml_node parent) {
    return parent.find_child([](pugi::xml_node child) { return child.type() == pugi::node_element; });
}

std::string textOf(pugi::xml_node element) {
    std::string text;
    for (const pugi::xml_node child : element)
        if (child.type() == pugi::node_pcdata) text += child.value();
    return text;
}

}  // namespace wbem
