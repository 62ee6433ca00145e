// XML in and out: Expat reads, pugixml holds the tree.
// Tests: tests/wbem/protocol_test.cpp.
#include "wbem/xml.h"

#include <expat.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <limits>
#include <memory>
#include <new>
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

/** What pugixml answers where there is no memory is nothing, or false. */
template <typename Made>
Made there(Made made) {
    if (!made) throw std::bad_alloc();
    return made;
}

pugi::xml_node append(pugi::xml_node parent, const char* name) {
    pugi::xml_node element = there(parent.append_child(pugi::node_element));
    there(element.set_name(name));
    return element;
}

void appendText(pugi::xml_node parent, const std::string& text) {
    there(there(parent.append_child(pugi::node_pcdata)).set_value(text.c_str()));
}

void appendAttribute(pugi::xml_node element, const char* name, const char* value) {
    pugi::xml_attribute attribute = there(element.append_attribute(""));
    there(attribute.set_name(name));
    there(attribute.set_value(value));
}

/** The first reference in the markup of a start tag to an entity that is none of XML's own; empty: there is none. */
std::string_view foreignEntity(std::string_view markup) {
    for (auto begin = markup.find('&'); begin != std::string_view::npos; begin = markup.find('&', begin + 1)) {
        const std::string_view name = markup.substr(begin + 1, markup.find(';', begin) - begin - 1);
        const auto own = {"amp", "lt", "gt", "quot", "apos"};
        if (name.front() != '#' && std::find(own.begin(), own.end(), name) == own.end()) return name;
    }
    return {};
}

/** Builds the tree out of what the parser reports. Expat is strict about what is well-formed, pugixml's own is not. */
class TreeBuilder {
 public:
    explicit TreeBuilder(int maxParts) : parser_(XML_ParserCreate(nullptr)), current_(document_), maxParts_(maxParts) {
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
        if (failure_) std::rethrow_exception(failure_);
        if (status != XML_STATUS_OK) fail(XML_GetErrorCode(parser_.get()));
        return std::move(document_);
    }

 private:
    /** No exception may pass through the parser, which is C: the first one ends the parsing, and then is thrown. */
    template <typename Work>
    static void guarded(void* self, Work work) {
        auto& builder = *static_cast<TreeBuilder*>(self);
        if (builder.failure_) return;
        try {
            work(builder);
        } catch (...) {
            builder.failure_ = std::current_exception();
            XML_StopParser(builder.parser_.get(), XML_FALSE);
        }
    }

    static void onStart(void* self, const XML_Char* name, const XML_Char** attributes) {
        guarded(self, [&](TreeBuilder& builder) { builder.start(name, attributes); });
    }
    static void onEnd(void* self, const XML_Char*) {
        guarded(self, [](TreeBuilder& builder) { builder.end(); });
    }
    static void onText(void* self, const XML_Char* text, int length) {
        guarded(self, [&](TreeBuilder& builder) { builder.text_.append(text, static_cast<std::size_t>(length)); });
    }
    /** Entities, and default values of attributes, would let a short message grow to any size. */
    static void onDocumentType(void* self, const XML_Char*, const XML_Char*, const XML_Char*, int hasInternalSubset) {
        guarded(self, [&](TreeBuilder& builder) {
            if (hasInternalSubset != 0) throw notValid("the document type may not have declarations of its own");
            builder.watchAttributes();
        });
    }
    static void onSkippedEntity(void* self, const XML_Char* name, int) {
        guarded(self, [&](TreeBuilder&) { refuseEntity(name); });
    }
    static void onMarkup(void* self, const XML_Char* text, int length) {
        guarded(self, [&](TreeBuilder& builder) { builder.markup_.append(text, static_cast<std::size_t>(length)); });
    }

    [[noreturn]] static void refuseEntity(std::string_view name) {
        throw notValid("the entity " + std::string(name) + " is not declared");
    }

    /** In a document with an external subset Expat silently leaves entities out of attributes that it does not know. */
    void watchAttributes() {
        XML_SetDefaultHandlerExpand(parser_.get(), onMarkup);
        watchesAttributes_ = true;
    }

    void checkAttributes() {
        markup_.clear();
        XML_DefaultCurrent(parser_.get());  // calls onMarkup
        if (const std::string_view name = foreignEntity(markup_); !name.empty()) refuseEntity(name);
    }

    void start(const XML_Char* name, const XML_Char** attributes) {
        if (++depth_ > kMaxDepth) throw notValid("elements are nested too deeply");
        parts_ += 1 + XML_GetSpecifiedAttributeCount(parser_.get()) / 2;  // which counts names and values
        if (parts_ > maxParts_) throw notValid("there are too many elements and attributes");
        if (watchesAttributes_) checkAttributes();
        flushText();
        current_ = append(current_, name);
        for (; *attributes; attributes += 2) appendAttribute(current_, attributes[0], attributes[1]);
    }

    void end() {
        --depth_;
        flushText();
        current_ = current_.parent();
    }

    void flushText() {
        if (text_.empty()) return;
        appendText(current_, text_);
        text_.clear();
    }

    [[noreturn]] void fail(XML_Error error) const {
        if (error == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
        throw notWellFormed("line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())) + ": " +
                            XML_ErrorString(error));
    }

    Parser parser_;
    pugi::xml_document document_;
    pugi::xml_node current_;
    std::string text_;    // since the last tag
    std::string markup_;  // of the start tag, where attributes are watched
    bool watchesAttributes_ = false;
    unsigned depth_ = 0;
    const int maxParts_;
    int parts_ = 0;  // elements and attributes
    std::exception_ptr failure_;
};

/** Takes a document's text in. A return that stands as it is would be read as a line end. */
class TextWriter : public pugi::xml_writer {
 public:
    void write(const void* data, std::size_t size) override {
        for (const char letter : std::string_view(static_cast<const char*>(data), size)) {
            if (letter == '\r')
                text += "&#13;";
            else
                text += letter;
        }
    }

    std::string text;
};

bool allowedInXml(const cim::Piece& piece) {
    if (!piece.valid) return false;
    if (piece.codePoint < 0x20) return piece.codePoint == '\t' || piece.codePoint == '\n' || piece.codePoint == '\r';
    return piece.codePoint != 0xfffe && piece.codePoint != 0xffff;
}

}  // namespace

pugi::xml_document parseXml(const std::string& text, int maxParts) {
    return TreeBuilder(maxParts).read(text);
}

std::string toText(const pugi::xml_document& document) {
    TextWriter writer;
    // <A></A> is the same as <A/>, but not to every client.
    document.save(writer, "", pugi::format_raw | pugi::format_no_empty_element_tags, pugi::encoding_utf8);
    return std::move(writer.text);
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
    return append(parent, name);
}

pugi::xml_node addText(pugi::xml_node parent, const char* name, const std::string& text) {
    pugi::xml_node element = addElement(parent, name);
    appendText(element, xmlText(text));
    return element;
}

void addAttribute(pugi::xml_node element, const char* name, const std::string& value) {
    appendAttribute(element, name, xmlText(value).c_str());
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
