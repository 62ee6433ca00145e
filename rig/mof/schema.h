#ifndef PCIINFO_MOF_SCHEMA_H
#define PCIINFO_MOF_SCHEMA_H

#include <cmpi/cmpidt.h>

#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

/** Class declarations, read from MOF texts (DSP0004, the subset that our schema and its qualifiers use). */
namespace mof {

/** The type of that CIM name, "uint8" or "reference", arrays left aside; none for another name. */
std::optional<CMPIType> typeNamed(const std::string& name);

/** A qualifier as it applies to an element, with the type and flavor of its declaration. */
struct Qualifier {
    std::string name;
    CMPIType type = CMPI_boolean;
    bool array = false;
    /** A single value has one element: the text of a string, a number as it is written, "true" or "false". */
    std::optional<std::vector<std::string>> value;
    bool overridable = true;
    bool toSubclass = true;
    bool translatable = false;
    bool propagated = false;  // comes from the superclass
};

/** What a qualifier may stand at, in the order of DSP0201. A schema that was read has no methods, so no parameters. */
constexpr const char* kElements[] = {"CLASS",  "ASSOCIATION", "REFERENCE", "PROPERTY",
                                     "METHOD", "PARAMETER",   "INDICATION"};

/** A qualifier as it is declared: its default value, type and flavor, and what it may stand at. */
struct QualifierDeclaration {
    std::string name;
    Qualifier defaults;
    std::set<std::string> scope;  // of kElements
};

struct Property {
    std::string name;
    CMPIType type = CMPI_string;  // of an array: that of its elements
    bool array = false;
    std::string referenceClass;  // of references only
    std::vector<Qualifier> qualifiers;
    std::string classOrigin;  // the class that introduces it
    bool propagated = false;  // comes from the superclass

    const Qualifier* qualifier(const std::string& qualifierName) const;  // letter case is ignored; null when absent
    bool isKey() const;
};

struct Class {
    std::string name;
    std::string superclass;  // empty at the top of a tree
    std::vector<Qualifier> qualifiers;
    std::vector<Property> properties;  // the superclass's first, then its own, in the order of the text

    const Property* property(const std::string& propertyName) const;  // letter case is ignored; null when absent
    const Qualifier* qualifier(const std::string& qualifierName) const;
    bool isAssociation() const;
    bool isAbstract() const;
};

/** What is wrong with a MOF text: "file:line: what". */
class Error : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

/** A MOF text and the name that errors call it by. */
struct Source {
    std::string name;
    std::string text;
};

/** A closed set of classes: every superclass, reference class and qualifier that they use is in it. */
class Schema {
 public:
    /**
     * Reads the texts in their order. What they refer to has to stand before. Throws Error for everything that is not
     * in a schema such as ours: methods, instances, default values of properties, overriding of properties, flavors
     * where a qualifier is used, escapes other than \" and \\, comments other than to the end of the line. That the
     * declarations make sense to an object manager is not looked at: the tests of the schema do that.
     */
    static Schema read(const std::vector<Source>& sources);

    const std::vector<Class>& classes() const { return classes_; }  // in the order of the texts
    const Class* find(const std::string& className) const;          // letter case is ignored; null when absent
    const std::vector<QualifierDeclaration>& qualifiers() const { return qualifiers_; }  // in the order of the texts
    const QualifierDeclaration* findQualifier(const std::string& name) const;            // likewise
    /** Whether the class is that other one or derives from it. Letter case is ignored; unknown names are false. */
    bool isA(const std::string& className, const std::string& ancestor) const;
    /** Classes right below that one ("" stands for the top), or with `deep` all below it, in the order of the texts. */
    std::vector<const Class*> subclasses(const std::string& className, bool deep) const;

 private:
    friend class Reader;
    std::vector<Class> classes_;
    std::vector<QualifierDeclaration> qualifiers_;
};

}  // namespace mof

#endif
