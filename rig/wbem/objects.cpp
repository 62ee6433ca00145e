// Object paths and instances out of the elements of a message.
// Tests: tests/wbem/operations_test.cpp.
#include "wbem/objects.h"

#include <optional>
#include <utility>
#include <vector>

#include "mof/schema.h"
#include "wbem/cimerror.h"
#include "wbem/protocolerror.h"
#include "wbem/readvalue.h"
#include "wbem/xml.h"

namespace wbem {

namespace {

using broker::ObjectPath;
using broker::Value;

/** The value that was read, if it is one. */
Value checked(std::optional<Value> value, const std::string& type, const std::string& text) {
    if (!value) throw invalidParameter("\"" + text + "\" is no " + type);
    return std::move(*value);
}

Value readKeyValue(pugi::xml_node element) {
    const std::string text = textOf(element);
    const std::string type = element.attribute("VALUETYPE").as_string("string");
    if (type == "numeric") return checked(readNumber(text), "number", text);
    if (type == "boolean") return checked(readValue(CMPI_boolean, text), type, text);
    if (type == "string") return Value::string(text);
    throw invalidParameter("\"" + type + "\" is no type of a key value");
}

/** Of a VALUE.REFERENCE, in any of its forms. */
ObjectPath readReference(pugi::xml_node element, const std::string& nameSpace) {
    const pugi::xml_node path = firstElement(element);
    pugi::xml_node ownNamespace = path.child("LOCALNAMESPACEPATH");
    if (!ownNamespace) ownNamespace = path.child("NAMESPACEPATH").child("LOCALNAMESPACEPATH");
    const std::string where = ownNamespace ? readNamespace(ownNamespace) : nameSpace;
    const std::string form = path.name();
    if (form == "INSTANCENAME") return readInstanceName(path, where);
    if (const pugi::xml_node name = path.child("INSTANCENAME")) return readInstanceName(name, where);
    const pugi::xml_node className = form == "CLASSNAME" ? path : path.child("CLASSNAME");
    return {where, className.attribute("NAME").value(), {}};
}

Value readKey(pugi::xml_node binding, const std::string& nameSpace) {
    const pugi::xml_node value = firstElement(binding);
    return std::string(value.name()) == "KEYVALUE" ? readKeyValue(value)
                                                   : Value::reference(readReference(value, nameSpace));
}

CMPIType declaredType(pugi::xml_node property) {
    const std::string name = property.attribute("TYPE").value();
    const std::optional<CMPIType> type = mof::typeNamed(name);
    if (!type) throw invalidParameter("\"" + name + "\" is no type");
    return *type;
}

Value readTyped(CMPIType type, pugi::xml_node value) {
    if (std::string(value.name()) == "VALUE.NULL") return Value::nothing(type);
    const std::string text = textOf(value);
    return checked(readValue(type, text), broker::typeName(type), text);
}

Value readArray(CMPIType type, pugi::xml_node array) {
    if (!array) return Value::nothing(static_cast<CMPIType>(type | CMPI_ARRAY));
    std::vector<Value> elements;
    for (const pugi::xml_node element : array)
        if (element.type() == pugi::node_element) elements.push_back(readTyped(type, element));
    return Value::array(type, std::move(elements));
}

Value readProperty(pugi::xml_node property, const std::string& nameSpace) {
    const std::string kind = property.name();
    if (kind == "PROPERTY.REFERENCE") {
        const pugi::xml_node reference = property.child("VALUE.REFERENCE");
        return reference ? Value::reference(readReference(reference, nameSpace)) : Value::nothing(CMPI_ref);
    }
    const CMPIType type = declaredType(property);
    if (kind == "PROPERTY.ARRAY") return readArray(type, property.child("VALUE.ARRAY"));
    const pugi::xml_node value = property.child("VALUE");
    return value ? readTyped(type, value) : Value::nothing(type);
}

}  // namespace

std::string readNamespace(pugi::xml_node element) {
    std::string text;
    for (const pugi::xml_node part : element.children("NAMESPACE")) {
        if (!text.empty()) text += '/';
        text += part.attribute("NAME").value();
    }
    if (text.size() > kMaxNamespace) throw notValid("the name of a namespace is too long");
    return text;
}

ObjectPath readInstanceName(pugi::xml_node element, const std::string& nameSpace) {
    ObjectPath path{nameSpace, element.attribute("CLASSNAME").value(), {}};
    if (element.child("KEYVALUE") || element.child("VALUE.REFERENCE"))
        throw invalidParameter("the name of an instance of " + path.className + " does not name its keys");
    for (const pugi::xml_node binding : element.children("KEYBINDING"))
        path.keys.push_back({binding.attribute("NAME").value(), readKey(binding, nameSpace)});
    return path;
}

broker::Instance readInstance(pugi::xml_node element, const std::string& nameSpace) {
    broker::Instance instance{{nameSpace, element.attribute("CLASSNAME").value(), {}}, {}};
    for (const pugi::xml_node child : element)
        if (child.type() == pugi::node_element && std::string(child.name()) != "QUALIFIER")
            instance.properties.push_back({child.attribute("NAME").value(), readProperty(child, nameSpace)});
    return instance;
}

}  // namespace wbem
