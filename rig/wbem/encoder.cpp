// Objects as elements of a message.
// Tests: tests/wbem/operations_test.cpp.
#include "wbem/encoder.h"

#include <utility>
#include <variant>
#include <vector>

#include "broker/matching.h"
#include "cim/names.h"
#include "wbem/split.h"
#include "wbem/xml.h"

namespace wbem {

namespace {

using broker::ObjectPath;
using broker::Value;

bool wanted(const View& view, const std::string& property) {
    if (view.within != nullptr && view.within->property(property) == nullptr) return false;
    return !view.properties || view.properties->count(cim::foldedName(property)) != 0;
}

const char* valueTypeOf(const Value& value) {
    if (std::holds_alternative<bool>(value.data)) return "boolean";
    return value.null || std::holds_alternative<std::string>(value.data) ? "string" : "numeric";
}

void addArray(pugi::xml_node parent, const std::vector<Value>& elements) {
    pugi::xml_node array = addElement(parent, "VALUE.ARRAY");
    for (const Value& element : elements) {
        if (element.null)
            addElement(array, "VALUE.NULL");
        else
            addText(array, "VALUE", broker::toString(element));
    }
}

void addFlag(pugi::xml_node element, const char* name, bool value, bool byDefault) {
    if (value != byDefault) addAttribute(element, name, value ? "true" : "false");
}

/** The value of a qualifier, if it has one; texts of booleans are lower case there, upper case in a message. */
void addLiteral(pugi::xml_node parent, const mof::Qualifier& qualifier) {
    if (!qualifier.value) return;
    pugi::xml_node place = qualifier.array ? addElement(parent, "VALUE.ARRAY") : parent;
    for (const std::string& text : *qualifier.value)
        addText(place, "VALUE", qualifier.type != CMPI_boolean ? text : text == "true" ? "TRUE" : "FALSE");
}

/** What tells how a qualifier behaves; an attribute that is left out stands for the usual. */
void addFlavors(pugi::xml_node element, const mof::Qualifier& qualifier) {
    addFlag(element, "OVERRIDABLE", qualifier.overridable, true);
    addFlag(element, "TOSUBCLASS", qualifier.toSubclass, true);
    addFlag(element, "TRANSLATABLE", qualifier.translatable, false);
}

void addQualifiers(pugi::xml_node parent, const std::vector<mof::Qualifier>& qualifiers, const View& view) {
    if (!view.qualifiers) return;
    for (const mof::Qualifier& qualifier : qualifiers) {
        if (view.localOnly && qualifier.propagated) continue;
        pugi::xml_node element = addElement(parent, "QUALIFIER");
        addAttribute(element, "NAME", qualifier.name);
        addAttribute(element, "TYPE", broker::typeName(qualifier.type));
        addFlag(element, "PROPAGATED", qualifier.propagated, false);
        addFlavors(element, qualifier);
        addLiteral(element, qualifier);
    }
}

pugi::xml_node addProperty(pugi::xml_node parent, const std::string& name, CMPIType type, bool array) {
    const bool reference = type == CMPI_ref;
    pugi::xml_node element = addElement(parent, reference ? "PROPERTY.REFERENCE"
                                                : array   ? "PROPERTY.ARRAY"
                                                          : "PROPERTY");
    addAttribute(element, "NAME", name);
    if (!reference) addAttribute(element, "TYPE", broker::typeName(type));
    return element;
}

}  // namespace

void addNamespace(pugi::xml_node parent, const std::string& nameSpace) {
    pugi::xml_node element = addElement(parent, "LOCALNAMESPACEPATH");
    for (const std::string& part : split(nameSpace, '/')) addAttribute(addElement(element, "NAMESPACE"), "NAME", part);
}

void Encoder::className(pugi::xml_node parent, const std::string& name) const {
    addAttribute(addElement(parent, "CLASSNAME"), "NAME", name);
}

void Encoder::instanceName(pugi::xml_node parent, const ObjectPath& path) const {
    pugi::xml_node element = addElement(parent, "INSTANCENAME");
    addAttribute(element, "CLASSNAME", path.className);
    for (const broker::Property& key : path.keys) keyBinding(element, key);
}

void Encoder::instancePath(pugi::xml_node parent, const ObjectPath& path) const {
    pugi::xml_node element = addElement(parent, "INSTANCEPATH");
    place(element, path.nameSpace);
    instanceName(element, path);
}

void Encoder::classPath(pugi::xml_node parent, const std::string& nameSpace, const std::string& name) const {
    pugi::xml_node element = addElement(parent, "CLASSPATH");
    place(element, nameSpace);
    className(element, name);
}

void Encoder::instance(pugi::xml_node parent, const broker::Instance& instance, const View& view) const {
    pugi::xml_node element = addElement(parent, "INSTANCE");
    addAttribute(element, "CLASSNAME", instance.path.className);
    const mof::Class* declaration = schema_.find(instance.path.className);
    for (const broker::Property& each : instance.properties) {
        if (!wanted(view, each.name)) continue;
        const mof::Property* declared = declaration != nullptr ? declaration->property(each.name) : nullptr;
        property(element, each, view.classOrigin && declared != nullptr ? declared->classOrigin : "");
    }
}

void Encoder::classElement(pugi::xml_node parent, const mof::Class& declaration, const View& view) const {
    pugi::xml_node element = addElement(parent, "CLASS");
    addAttribute(element, "NAME", declaration.name);
    if (!declaration.superclass.empty()) addAttribute(element, "SUPERCLASS", declaration.superclass);
    addQualifiers(element, declaration.qualifiers, view);
    for (const mof::Property& each : declaration.properties) {
        if (!wanted(view, each.name) || (view.localOnly && each.propagated)) continue;
        pugi::xml_node child = addProperty(element, each.name, each.type, each.array);
        if (!each.referenceClass.empty()) addAttribute(child, "REFERENCECLASS", each.referenceClass);
        if (view.classOrigin) addAttribute(child, "CLASSORIGIN", each.classOrigin);
        addFlag(child, "PROPAGATED", each.propagated, false);
        addQualifiers(child, each.qualifiers, view);
    }
}

void Encoder::property(pugi::xml_node parent, const broker::Property& property, const std::string& origin) const {
    const CMPIType type = property.value.type;
    const auto elementType = static_cast<CMPIType>(type & ~CMPI_ARRAY);
    pugi::xml_node element = addProperty(parent, property.name, elementType, elementType != type);
    if (!origin.empty()) addAttribute(element, "CLASSORIGIN", origin);
    value(element, property.value);
}

void Encoder::value(pugi::xml_node parent, const Value& value) const {
    if (value.null) return;
    if (const ObjectPath* path = broker::referenceOf(value))
        reference(parent, *path);
    else if (const auto* elements = std::get_if<std::vector<Value>>(&value.data))
        addArray(parent, *elements);
    else
        addText(parent, "VALUE", broker::toString(value));
}

void Encoder::keyBinding(pugi::xml_node parent, const broker::Property& key) const {
    pugi::xml_node element = addElement(parent, "KEYBINDING");
    addAttribute(element, "NAME", key.name);
    if (const ObjectPath* path = broker::referenceOf(key.value)) return reference(element, *path);
    pugi::xml_node value = addText(element, "KEYVALUE", key.value.null ? "" : broker::toString(key.value));
    addAttribute(value, "VALUETYPE", valueTypeOf(key.value));
}

void Encoder::qualifierDeclaration(pugi::xml_node parent, const mof::QualifierDeclaration& declaration) const {
    const mof::Qualifier& defaults = declaration.defaults;
    pugi::xml_node element = addElement(parent, "QUALIFIER.DECLARATION");
    addAttribute(element, "NAME", declaration.name);
    addAttribute(element, "TYPE", broker::typeName(defaults.type));
    addFlag(element, "ISARRAY", defaults.array, false);
    addFlavors(element, defaults);
    pugi::xml_node scope = addElement(element, "SCOPE");
    for (const char* each : mof::kElements) addFlag(scope, each, declaration.scope.count(each) > 0, false);
    addLiteral(element, defaults);
}

void Encoder::place(pugi::xml_node parent, const std::string& nameSpace) const {
    pugi::xml_node element = addElement(parent, "NAMESPACEPATH");
    addText(element, "HOST", host_);
    addNamespace(element, nameSpace);
}

/** Clients that show paths as text get along with the local form best. */
void Encoder::reference(pugi::xml_node parent, const ObjectPath& path) const {
    pugi::xml_node local = addElement(addElement(parent, "VALUE.REFERENCE"), "LOCALINSTANCEPATH");
    addNamespace(local, path.nameSpace);
    instanceName(local, path);
}

}  // namespace wbem
