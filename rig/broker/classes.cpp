#include "broker/classes.h"

#include <algorithm>

#include "cim/names.h"

namespace broker {

const PropertyDeclaration* ClassDeclaration::property(const std::string& propertyName) const {
    const auto found = std::find_if(properties.begin(), properties.end(), [&](const PropertyDeclaration& each) {
        return cim::sameName(each.name, propertyName);
    });
    return found == properties.end() ? nullptr : &*found;
}

namespace {

template <class Declarations>
auto findNamed(Declarations& declarations, const std::string& name) {
    return std::find_if(declarations.begin(), declarations.end(),
                        [&](const Classes::Declaration& each) { return cim::sameName(each->name, name); });
}

}  // namespace

void Classes::add(const ClassDeclaration& declaration) {
    auto added = std::make_shared<const ClassDeclaration>(declaration);
    const std::lock_guard lock(mutex_);
    const auto found = findNamed(declared_, declaration.name);
    if (found == declared_.end()) {
        declared_.push_back(std::move(added));
    } else {
        *found = std::move(added);
    }
}

Classes::Declaration Classes::find(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = findNamed(declared_, name);
    return found == declared_.end() ? nullptr : *found;
}

bool Classes::isA(const std::string& name, const std::string& ancestor) const {
    Declaration declaration = find(name);
    // A superclass may be missing, and bad declarations may go round in a circle.
    for (std::size_t steps = all().size(); declaration != nullptr && steps > 0; --steps) {
        if (cim::sameName(declaration->name, ancestor)) return true;
        declaration = find(declaration->superclass);
    }
    return false;
}

std::vector<std::string> Classes::concreteFrom(const std::string& name) const {
    std::vector<std::string> names;
    for (const Declaration& each : all())
        if (!each->isAbstract && isA(each->name, name)) names.push_back(each->name);
    return names;
}

std::vector<std::string> Classes::associationsOf(const std::string& sourceClass) const {
    std::vector<std::string> names;
    for (const Declaration& each : all()) {
        const bool fits =
            std::any_of(each->properties.begin(), each->properties.end(), [&](const PropertyDeclaration& property) {
                return property.type == CMPI_ref && isA(sourceClass, property.referenceClass);
            });
        if (each->isAssociation && fits) names.push_back(each->name);
    }
    return names;
}

std::vector<Classes::Declaration> Classes::all() const {
    const std::lock_guard lock(mutex_);
    return declared_;
}

}  // namespace broker
