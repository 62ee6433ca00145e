// The parameters of an operation.
// Tests: tests/wbem/operations_test.cpp (Errors).
#include "wbem/parameters.h"

#include "cim/names.h"
#include "wbem/cimerror.h"
#include "wbem/objects.h"
#include "wbem/readvalue.h"
#include "wbem/xml.h"

namespace wbem {

namespace {

std::optional<std::string> unlessEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

std::string nameOf(pugi::xml_node element) {
    return element.attribute("NAME").value();
}

CimError missing(const char* name) {
    return invalidParameter(std::string("The parameter ") + name + " is missing");
}

CimError illTyped(const char* name) {
    return invalidParameter(std::string("The parameter ") + name + " has a value of another type than it must have");
}

}  // namespace

Parameters::Parameters(pugi::xml_node call, std::string nameSpace) : nameSpace_(std::move(nameSpace)) {
    for (const pugi::xml_node element : call.children("IPARAMVALUE"))
        parameters_.push_back({nameOf(element), firstElement(element)});
}

bool Parameters::flag(const char* name, bool byDefault) {
    const pugi::xml_node value = find(name, "VALUE");
    if (!value) return byDefault;
    const std::optional<bool> flag = readBoolean(textOf(value));
    if (!flag) throw illTyped(name);
    return *flag;
}

std::optional<std::string> Parameters::text(const char* name) {
    return unlessEmpty(textOf(find(name, "VALUE")));
}

std::optional<std::string> Parameters::className(const char* name) {
    return unlessEmpty(nameOf(find(name, "CLASSNAME")));
}

std::string Parameters::requiredText(const char* name) {
    return textOf(require(name, "VALUE"));
}

std::string Parameters::requiredClassName(const char* name) {
    return nameOf(require(name, "CLASSNAME"));
}

broker::ObjectPath Parameters::requiredInstanceName(const char* name) {
    return readInstanceName(require(name, "INSTANCENAME"), nameSpace_);
}

std::pair<broker::ObjectPath, bool> Parameters::requiredObjectName(const char* name) {
    const pugi::xml_node value = find(name);
    if (std::string(value.name()) == "CLASSNAME") return {{nameSpace_, nameOf(value), {}}, true};
    return {requiredInstanceName(name), false};
}

broker::Instance Parameters::requiredInstance(const char* name) {
    return readInstance(require(name, "INSTANCE"), nameSpace_);
}

broker::Instance Parameters::requiredNamedInstance(const char* name) {
    const pugi::xml_node value = require(name, "VALUE.NAMEDINSTANCE");
    broker::Instance instance = readInstance(value.child("INSTANCE"), nameSpace_);
    instance.path = readInstanceName(value.child("INSTANCENAME"), nameSpace_);
    return instance;
}

PropertyList Parameters::propertyList() {
    const pugi::xml_node value = find("PropertyList", "VALUE.ARRAY");
    if (!value) return std::nullopt;
    std::set<std::string> names;
    for (const pugi::xml_node element : value) {
        if (element.type() != pugi::node_element) continue;
        if (std::string(element.name()) != "VALUE") throw illTyped("PropertyList");
        names.insert(cim::foldedName(textOf(element)));
    }
    return names;
}

void Parameters::refuseOthers() const {
    for (const Parameter& parameter : parameters_)
        if (!parameter.asked) throw invalidParameter("The operation has no parameter " + parameter.name);
}

pugi::xml_node Parameters::find(const char* name) {
    Parameter* found = nullptr;
    for (Parameter& parameter : parameters_) {
        if (!cim::sameName(parameter.name, name)) continue;
        if (found != nullptr) throw invalidParameter(std::string("The parameter ") + name + " is there twice");
        found = &parameter;
    }
    if (found == nullptr) return {};
    found->asked = true;
    return found->value;
}

pugi::xml_node Parameters::find(const char* name, const char* element) {
    const pugi::xml_node value = find(name);
    if (value && std::string(value.name()) != element) throw illTyped(name);
    return value;
}

pugi::xml_node Parameters::require(const char* name, const char* element) {
    const pugi::xml_node value = find(name, element);
    if (!value) throw missing(name);
    return value;
}

}  // namespace wbem
