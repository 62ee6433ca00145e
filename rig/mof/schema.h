#ifndef PCIINFO_MOF_SCHEMA_H
#define PCIINFO_MOF_SCHEMA_H

#include <cstddef>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

/** Class declarations, read from MOF texts (DSP0004, the subset that our schema and its qualifiers use). */
namespace mof {

enum class Type {
    boolean,
    char16,
    uint8,
    sint8,
    uint16,
    sint16,
    uint32,
    sint32,
    uint64,
    sint64,
    real32,
    real64,
    datetime,
    string,
    reference
};

/** The CIM name of a type: "uint8", "string", "reference"... */
std::string typeName(Type type);

/**
 * A literal as text: strings unescaped and joined, numbers and booleans as written ("true", "false" in lower case).
 * A scalar has one element; no value at all stands for NULL.
 */
using Literal = std::optional<std::vector<std::string>>;

/** A qualifier as it applies to an element, with the type and flavor of its declaration. */
struct Qualifier {
    std::string name;
    Type type = Type::boolean;
    bool array = false;
    Literal value;
    bool overridable = true;
    bool toSubclass = true;
    bool translatable = false;
    bool propagated = false;  // comes from the superclass
};

/** What a qualifier may stand at. Of these a schema that was read has no methods, and so no parameters. */
enum class Element { classElement, association, indication, property, reference, method, parameter };

/** A qualifier as it is declared: its default value, type and flavor, and what it may stand at. */
struct QualifierDeclaration {
    std::string name;
    Qualifier defaults;
    std::set<Element> scope;
};

struct Property {
    std::string name;
    Type type = Type::string;
    std::string referenceClass;  // of references only
    bool array = false;
    std::optional<std::size_t> arraySize;
    Literal defaultValue;
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
     * Reads the texts one behind the other. Throws Error as real MOF compilers do: for what is no MOF, a qualifier
     * that is not declared or does not apply there, an unknown superclass or reference class, a class or property that
     * is declared twice, a value that its type cannot hold, a class name without "Prefix_", an association with fewer
     * than two references, a class that is not abstract and has no key. What is left out of the subset is refused as
     * well: instances, methods, overriding of properties, NULL as an element of an array, references with a default,
     * #pragma include. So is a schema of more than 1 MiB of text, 256 classes, 1024 properties in a class or 512
     * qualifiers.
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
    std::vector<Class> classes_;
    std::vector<QualifierDeclaration> qualifiers_;
};

}  // namespace mof

#endif
