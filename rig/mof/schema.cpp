// Schema: what was declared, looked up by name.
// Tests: tests/schema/mof_test.cpp.
#include "mof/schema.h"

#include <algorithm>
#include <array>

#include "broker/broker.h"
#include "cim/names.h"

namespace mof {

namespace {

template <typename Named>
const Named* findNamed(const std::vector<Named>& all, const std::string& name) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Named& one) { return cim::sameName(one.name, name); });
    return found != all.end() ? &*found : nullptr;
}

bool isSet(const std::vector<Qualifier>& qualifiers, const char* name) {
    const Qualifier* found = findNamed(qualifiers, name);
    return found != nullptr && found->value == std::vector<std::string>{"true"};
}

}  // namespace

std::optional<CMPIType> typeNamed(const std::string& name) {
    static constexpr std::array<CMPIType, 15> kTypes = {
        CMPI_boolean, CMPI_uint8,  CMPI_uint16, CMPI_uint32, CMPI_uint64, CMPI_sint8, CMPI_sint16,  CMPI_sint32,
        CMPI_sint64,  CMPI_real32, CMPI_real64, CMPI_char16, CMPI_string, CMPI_ref,   CMPI_dateTime};
    for (const CMPIType type : kTypes)
        if (broker::typeName(type) == name) return type;
    return std::nullopt;
}

const Qualifier* Property::qualifier(const std::string& qualifierName) const {
    return findNamed(qualifiers, qualifierName);
}

bool Property::isKey() const {
    return isSet(qualifiers, "Key");
}

const Property* Class::property(const std::string& propertyName) const {
    return findNamed(properties, propertyName);
}

const Qualifier* Class::qualifier(const std::string& qualifierName) const {
    return findNamed(qualifiers, qualifierName);
}

bool Class::isAssociation() const {
    return isSet(qualifiers, "Association");
}

bool Class::isAbstract() const {
    return isSet(qualifiers, "Abstract");
}

const Class* Schema::find(const std::string& className) const {
    return findNamed(classes_, className);
}

const QualifierDeclaration* Schema::findQualifier(const std::string& name) const {
    return findNamed(qualifiers_, name);
}

/** Superclasses stand before their subclasses: no chain of them is closed. */
bool Schema::isA(const std::string& className, const std::string& ancestor) const {
    for (const Class* one = find(className); one != nullptr; one = find(one->superclass))
        if (cim::sameName(one->name, ancestor)) return true;
    return false;
}

std::vector<const Class*> Schema::subclasses(const std::string& className, bool deep) const {
    std::vector<const Class*> found;
    for (const Class& one : classes_) {
        const bool below =
            cim::sameName(one.superclass, className) || (deep && (className.empty() || isA(one.superclass, className)));
        if (below) found.push_back(&one);
    }
    return found;
}

}  // namespace mof
