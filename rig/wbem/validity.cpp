// The DTD of CIM messages, and whether a message is built by it.
// Tests: tests/wbem/protocol_test.cpp.
#include "wbem/validity.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "wbem/protocolerror.h"
#include "wbem/split.h"

namespace wbem {

namespace {

/**
 * An element's declaration. The content is written as in a DTD, with blanks for commas: "A B|C* D?" is one A, any
 * number of B and C, at most one D; "#PCDATA" is text. An element with several rows may be built as any of them tells.
 */
struct Declaration {
    const char* element;
    const char* attributes;
    const char* content;
};

constexpr Declaration kDeclarations[] = {
    {"CIM", "CIMVERSION DTDVERSION", "MESSAGE"},
    {"MESSAGE", "ID PROTOCOLVERSION", "SIMPLEREQ|SIMPLERSP"},
    {"SIMPLEREQ", "", "CORRELATOR* IMETHODCALL|METHODCALL"},
    {"CORRELATOR", "NAME", "VALUE"},
    {"IMETHODCALL", "NAME", "LOCALNAMESPACEPATH IPARAMVALUE* RESPONSEDESTINATION?"},
    {"IPARAMVALUE", "NAME",
     "VALUE|VALUE.ARRAY|VALUE.REFERENCE|INSTANCENAME|CLASSNAME|QUALIFIER.DECLARATION|CLASS|INSTANCE|"
     "VALUE.NAMEDINSTANCE?"},
    {"METHODCALL", "NAME", "LOCALCLASSPATH|LOCALINSTANCEPATH PARAMVALUE* RESPONSEDESTINATION?"},
    {"PARAMVALUE", "NAME",
     "VALUE|VALUE.REFERENCE|VALUE.ARRAY|VALUE.REFARRAY|CLASSNAME|INSTANCENAME|CLASS|INSTANCE|VALUE.NAMEDINSTANCE?"},
    {"RESPONSEDESTINATION", "", "INSTANCE"},
    {"SIMPLERSP", "", "IMETHODRESPONSE|METHODRESPONSE"},
    {"IMETHODRESPONSE", "NAME", "ERROR"},
    {"IMETHODRESPONSE", "NAME", "IRETURNVALUE?"},
    {"METHODRESPONSE", "NAME", "ERROR"},
    {"ERROR", "CODE", "INSTANCE*"},
    {"IRETURNVALUE", "", "CLASSNAME*"},
    {"IRETURNVALUE", "", "INSTANCENAME*"},
    {"IRETURNVALUE", "", "OBJECTPATH*"},
    {"IRETURNVALUE", "", "VALUE.OBJECT*"},
    {"IRETURNVALUE", "", "VALUE.OBJECTWITHPATH*"},
    {"IRETURNVALUE", "", "VALUE.NAMEDINSTANCE*"},
    {"IRETURNVALUE", "", "INSTANCE*"},
    {"IRETURNVALUE", "", "CLASS*"},
    {"IRETURNVALUE", "", "QUALIFIER.DECLARATION*"},
    {"IRETURNVALUE", "", "VALUE|VALUE.ARRAY|VALUE.REFERENCE?"},
    {"NAMESPACE", "NAME", ""},
    {"HOST", "", "#PCDATA"},
    {"LOCALNAMESPACEPATH", "", "NAMESPACE+"},
    {"NAMESPACEPATH", "", "HOST LOCALNAMESPACEPATH"},
    {"CLASSNAME", "NAME", ""},
    {"CLASSPATH", "", "NAMESPACEPATH CLASSNAME"},
    {"LOCALCLASSPATH", "", "LOCALNAMESPACEPATH CLASSNAME"},
    {"INSTANCENAME", "CLASSNAME", "KEYBINDING*"},
    {"INSTANCENAME", "CLASSNAME", "KEYVALUE"},
    {"INSTANCENAME", "CLASSNAME", "VALUE.REFERENCE"},
    {"INSTANCEPATH", "", "NAMESPACEPATH INSTANCENAME"},
    {"LOCALINSTANCEPATH", "", "LOCALNAMESPACEPATH INSTANCENAME"},
    {"OBJECTPATH", "", "INSTANCEPATH|CLASSPATH"},
    {"KEYBINDING", "NAME", "KEYVALUE|VALUE.REFERENCE"},
    {"KEYVALUE", "", "#PCDATA"},
    {"VALUE", "", "#PCDATA"},
    {"VALUE.NULL", "", ""},
    {"VALUE.ARRAY", "", "VALUE|VALUE.NULL*"},
    {"VALUE.REFERENCE", "", "CLASSPATH|LOCALCLASSPATH|CLASSNAME|INSTANCEPATH|LOCALINSTANCEPATH|INSTANCENAME"},
    {"VALUE.REFARRAY", "", "VALUE.REFERENCE|VALUE.NULL*"},
    {"VALUE.OBJECT", "", "CLASS|INSTANCE"},
    {"VALUE.NAMEDINSTANCE", "", "INSTANCENAME INSTANCE"},
    {"VALUE.OBJECTWITHPATH", "", "CLASSPATH CLASS"},
    {"VALUE.OBJECTWITHPATH", "", "INSTANCEPATH INSTANCE"},
    {"INSTANCE", "CLASSNAME", "QUALIFIER* PROPERTY|PROPERTY.ARRAY|PROPERTY.REFERENCE*"},
    {"CLASS", "NAME", "QUALIFIER* PROPERTY|PROPERTY.ARRAY|PROPERTY.REFERENCE* METHOD*"},
    {"PROPERTY", "NAME TYPE", "QUALIFIER* VALUE?"},
    {"PROPERTY.ARRAY", "NAME TYPE", "QUALIFIER* VALUE.ARRAY?"},
    {"PROPERTY.REFERENCE", "NAME", "QUALIFIER* VALUE.REFERENCE?"},
    {"METHOD", "NAME", "QUALIFIER* PARAMETER|PARAMETER.REFERENCE|PARAMETER.ARRAY|PARAMETER.REFARRAY*"},
    {"PARAMETER", "NAME TYPE", "QUALIFIER*"},
    {"PARAMETER.REFERENCE", "NAME", "QUALIFIER*"},
    {"PARAMETER.ARRAY", "NAME TYPE", "QUALIFIER*"},
    {"PARAMETER.REFARRAY", "NAME", "QUALIFIER*"},
    {"QUALIFIER", "NAME TYPE", "VALUE|VALUE.ARRAY?"},
    {"QUALIFIER.DECLARATION", "NAME TYPE", "SCOPE? VALUE|VALUE.ARRAY?"},
    {"SCOPE", "", ""},
};

/** A part of a content: one of some elements, so many times. */
struct Particle {
    std::vector<std::string> elements;
    bool optional = false;
    bool repeatable = false;

    bool takes(const std::string& element) const {
        return std::find(elements.begin(), elements.end(), element) != elements.end();
    }
};

struct Content {
    bool text = false;
    std::vector<Particle> particles;
};

struct Rule {
    std::vector<std::string> attributes;
    std::vector<Content> contents;  // any of these
};

Particle particleOf(std::string text) {
    Particle particle;
    const char suffix = text.back();
    particle.optional = suffix == '*' || suffix == '?';
    particle.repeatable = suffix == '*' || suffix == '+';
    if (particle.optional || particle.repeatable) text.pop_back();
    particle.elements = split(text, '|');
    return particle;
}

Content contentOf(const std::string& text) {
    Content content;
    content.text = text == "#PCDATA";
    if (content.text) return content;
    for (const std::string& part : split(text, ' ')) content.particles.push_back(particleOf(part));
    return content;
}

std::map<std::string, Rule> makeRules() {
    std::map<std::string, Rule> rules;
    for (const Declaration& declaration : kDeclarations) {
        Rule& rule = rules[declaration.element];
        rule.attributes = split(declaration.attributes, ' ');
        rule.contents.push_back(contentOf(declaration.content));
    }
    return rules;
}

const Rule* ruleOf(const std::string& element) {
    static const std::map<std::string, Rule> rules = makeRules();
    const auto found = rules.find(element);
    return found == rules.end() ? nullptr : &found->second;
}

using Names = std::vector<std::string>;

/** Which particle takes an element is never in doubt in this DTD, so each takes all that it can. */
bool fits(const std::vector<Particle>& particles, const Names& children) {
    auto child = children.begin();
    for (const Particle& particle : particles) {
        const auto first = child;
        while (child != children.end() && particle.takes(*child) && (particle.repeatable || child == first)) ++child;
        if (child == first && !particle.optional) return false;
    }
    return child == children.end();
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

void checkElement(pugi::xml_node element) {
    const std::string name = element.name();
    const Rule* rule = ruleOf(name);
    if (rule == nullptr) throw notValid(name + " is no element of a CIM message");
    for (const std::string& attribute : rule->attributes)
        if (!element.attribute(attribute.c_str()))
            throw notValid(std::string(name).append(" lacks ").append(attribute));
    Names children;
    bool text = false;
    for (const pugi::xml_node child : element) {
        if (child.type() == pugi::node_element)
            children.emplace_back(child.name());
        else
            text = text || !isBlank(child.value());
    }
    const auto allows = [&](const Content& content) {
        return (content.text || !text) && fits(content.particles, children);
    };
    if (!std::any_of(rule->contents.begin(), rule->contents.end(), allows))
        throw notValid("the contents of " + name + " are not what they have to be");
}

}  // namespace

void checkValidity(pugi::xml_node element) {
    checkElement(element);
    for (const pugi::xml_node child : element)
        if (child.type() == pugi::node_element) checkValidity(child);
}

}  // namespace wbem
