// The schema as a broker knows it. Tests: tests/broker/manners_test.cpp, instances_test.cpp.
#include "broker/classes.h"

#include <algorithm>

#include "cim/names.h"

namespace broker {

const PropertyDeclaration* ClassDeclaration::property(const std::string& propertyName) const {
    return cim::findNamed(properties, propertyName);
}

void Classes::add(const ClassDeclaration& declaration) {
    if (ClassDeclaration* known = cim::findNamed(declared_, declaration.name)) {
        *known = declaration;
    } else {
        declared_.push_back(declaration);
    }
}

const ClassDeclaration* Classes::find(const std::string& name) const {
    return cim::findNamed(declared_, name);
}

bool Classes::isA(const std::string& name, const std::string& ancestor) const {
    for (const ClassDeclaration* each = find(name); each != nullptr; each = find(each->superclass))
        if (cim::sameName(each->name, ancestor)) return true;
    return false;
}

std::vector<std::string> Classes::concreteFrom(const std::string& name) const {
    std::vector<std::string> names;
    for (const ClassDeclaration& each : declared_)
        if (!each.isAbstract && isA(each.name, name)) names.push_back(each.name);
    return names;
}

std::vector<std::string> Classes::associationsOf(const std::string& sourceClass) const {
    std::vector<std::string> names;
    for (const ClassDeclaration& each : declared_) {
        const bool fits =
            std::any_of(each.properties.begin(), each.properties.end(), [&](const PropertyDeclaration& property) {
                return property.type == CMPI_ref && isA(sourceClass, property.referenceClass);
            });
        if (fits) names.push_back(each.name);
    }
    return names;
}

}  // namespace broker
