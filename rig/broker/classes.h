#ifndef PCIINFO_BROKER_CLASSES_H
#define PCIINFO_BROKER_CLASSES_H

#include <cmpi/cmpidt.h>

#include <string>
#include <vector>

namespace broker {

/** A property as a schema declares it. */
struct PropertyDeclaration {
    std::string name;
    CMPIType type = CMPI_null;
    bool isKey = false;
    bool isInherited = false;
    std::string referenceClass = {};  // of references
};

/** A class as a schema declares it, with its superclasses' properties. */
struct ClassDeclaration {
    std::string name;
    std::vector<PropertyDeclaration> properties;
    std::string superclass = {};  // empty at the top
    bool isAbstract = false;
    bool isAssociation = false;

    const PropertyDeclaration* property(const std::string& propertyName) const;  // letter case is ignored
};

/** The classes declared to a broker, superclasses first. Names are compared without regard to case. */
class Classes {
 public:
    /** Takes the place of one of that name. */
    void add(const ClassDeclaration& declaration);
    const ClassDeclaration* find(const std::string& name) const;  // null where there is none
    bool isA(const std::string& name, const std::string& ancestor) const;
    /** The class and those below it without the abstract ones, in the order of their declaration. */
    std::vector<std::string> concreteFrom(const std::string& name) const;
    /** The classes, associations all of them, with a reference to which an object of that class may be bound. */
    std::vector<std::string> associationsOf(const std::string& sourceClass) const;

 private:
    std::vector<ClassDeclaration> declared_;
};

}  // namespace broker

#endif
