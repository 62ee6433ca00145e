#ifndef PCIINFO_MOF_PARSER_H
#define PCIINFO_MOF_PARSER_H

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "mof/schema.h"

/** What stands in a MOF text, before names are looked up and values are held against types. */
namespace mof::syntax {

struct Constant {
    enum class Kind { string, character, integer, real, boolean };
    Kind kind = Kind::string;
    std::string text;
};

/** NULL has no constants. */
struct Initializer {
    bool array = false;
    std::vector<Constant> constants;

    bool isNull() const { return constants.empty(); }
};

/** Flavors that are written; those left open take another's. */
struct Flavors {
    std::optional<bool> overridable;
    std::optional<bool> toSubclass;
    bool translatable = false;
};

struct Qualifier {
    std::string name;
    std::size_t line = 0;
    std::optional<Initializer> value;
    Flavors flavors;
};

struct Variable {
    std::string name;
    std::size_t line = 0;
    Type type = Type::string;
    std::string referenceClass;
    bool array = false;
    std::optional<std::size_t> arraySize;
    std::optional<Initializer> value;
};

struct Property {
    Variable variable;
    std::vector<Qualifier> qualifiers;
};

struct QualifierDeclaration {
    Variable variable;
    std::set<Element> scope;
    Flavors flavors;
};

struct ClassDeclaration {
    std::string name;
    std::size_t line = 0;
    std::string superclass;
    std::vector<Qualifier> qualifiers;
    std::vector<Property> properties;
};

using Declaration = std::variant<QualifierDeclaration, ClassDeclaration>;

/** The declarations of a text, in its order. Throws Error. */
std::vector<Declaration> parse(const Source& source);

}  // namespace mof::syntax

#endif
