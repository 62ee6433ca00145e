#ifndef PCIINFO_WBEM_XML_H
#define PCIINFO_WBEM_XML_H

#include <pugixml.hpp>

#include <string>

namespace wbem {

/** How deeply elements of a message may be nested; what CIM needs is far less. Tree walks may recurse so deep. */
constexpr unsigned kMaxDepth = 64;
/** How many elements and attributes a request may have; each takes many times its text in memory. */
constexpr int kMaxParts = 50000;

/**
 * Reads a document in UTF-8, UTF-16, ISO-8859-1 or US-ASCII; texts come out as UTF-8. Comments and processing
 * instructions are left out, external subsets are not read. Throws ProtocolError: request-not-well-formed for what is
 * no XML; request-not-valid for elements nested too deeply, too many elements and attributes, a document type with
 * declarations of its own (an internal subset), and references to entities other than the five of XML.
 */
pugi::xml_document parseXml(const std::string& text, int maxParts = kMaxParts);

/** The document without any white space of its own. */
std::string toText(const pugi::xml_document& document);

/** Text that XML can hold: each byte that is not UTF-8 and each character that XML forbids becomes U+FFFD. */
std::string xmlText(const std::string& bytes);

// --- building; throws std::bad_alloc where pugixml would leave out what it has no memory for ---

pugi::xml_node addElement(pugi::xml_node parent, const char* name);
/** An element with text in it. */
pugi::xml_node addText(pugi::xml_node parent, const char* name, const std::string& text);
void addAttribute(pugi::xml_node element, const char* name, const std::string& value);

// --- reading ---

/** The first child element; null when there is none. */
pugi::xml_node firstElement(pugi::xml_node parent);
/** All text directly in the element. */
std::string textOf(pugi::xml_node element);

}  // namespace wbem

#endif
