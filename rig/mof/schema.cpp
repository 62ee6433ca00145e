#include "mof/schema.h"

#include <algorithm>
#include <set>
#include <utility>
#include <variant>

#include "mof/lexer.h"
#include "mof/parser.h"
#include "mof/values.h"
#include "cim/names.h"

namespace mof {

namespace {

// A text that is no schema of ours must not cost more than this process has: inherited properties are copied.
constexpr std::size_t kMostBytes = std::size_t{1} << 20;  // of all texts
constexpr std::size_t kMostClasses = 256;
constexpr std::size_t kMostProperties = 1024;  // of a class, with the inherited ones
constexpr std::size_t kMostQualifiers = 512;   // that are declared

template <typename Named>
const Named* findNamed(const std::vector<Named>& all, const std::string& name) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Named& one) { return cim::sameName(one.name, name); });
    return found != all.end() ? &*found : nullptr;
}

bool isTrue(const Qualifier* qualifier) {
    return qualifier != nullptr && qualifier->value == Literal({"true"});
}

bool isSet(const std::vector<Qualifier>& qualifiers, const char* name) {
    return isTrue(findNamed(qualifiers, name));
}

Literal literalOf(const syntax::Initializer& initializer) {
    if (initializer.isNull()) return std::nullopt;
    std::vector<std::string> texts;
    for (const syntax::Constant& constant : initializer.constants) texts.push_back(constant.text);
    return texts;
}

const char* elementName(Element element) {
    switch (element) {
        case Element::classElement:
            return "a class";
        case Element::association:
            return "an association";
        case Element::indication:
            return "an indication";
        case Element::property:
            return "a property";
        case Element::reference:
            return "a reference";
        case Element::method:
            return "a method";
        case Element::parameter:
            return "a parameter";
    }
    return "";
}

/** Puts a schema together, declaration by declaration. */
class Builder {
 public:
    void read(const Source& source);
    std::vector<Class> takeClasses() { return std::move(classes_); }
    std::vector<QualifierDeclaration> takeQualifiers() { return std::move(qualifiers_); }

 private:
    [[noreturn]] void failAt(std::size_t line, const std::string& what) const { fail(*source_, line, what); }

    void add(const syntax::QualifierDeclaration& declaration);
    void add(const syntax::ClassDeclaration& declaration);
    void inherit(const syntax::ClassDeclaration& declaration, Class& derived) const;
    void addProperty(const syntax::Property& declaration, Class& owner) const;
    void checkClass(const syntax::ClassDeclaration& declaration, const Class& declared) const;
    void checkAssociation(const syntax::ClassDeclaration& declaration, const Class& declared) const;
    void addQualifiers(const std::vector<syntax::Qualifier>& uses, std::vector<Qualifier>& qualifiers) const;
    void addQualifier(const syntax::Qualifier& use, std::vector<Qualifier>& qualifiers) const;
    void checkScope(const std::vector<syntax::Qualifier>& uses, Element element) const;
    const QualifierDeclaration& declared(const syntax::Qualifier& use) const;
    Literal valueOf(const syntax::Qualifier& use, const Qualifier& defaults) const;
    Literal checkedLiteral(const syntax::Variable& variable) const;
    void checkValue(std::size_t line, const std::string& name, Type type, bool array,
                    const syntax::Initializer& value) const;

    const Source* source_ = nullptr;
    std::size_t bytes_ = 0;
    std::vector<QualifierDeclaration> qualifiers_;
    std::vector<Class> classes_;
};

void Builder::read(const Source& source) {
    source_ = &source;
    bytes_ += source.text.size();
    if (bytes_ > kMostBytes) failAt(1, "more than 1 MiB of text");
    for (const syntax::Declaration& declaration : syntax::parse(source)) {
        std::visit([this](const auto& one) { add(one); }, declaration);
    }
}

void Builder::add(const syntax::QualifierDeclaration& declaration) {
    const syntax::Variable& variable = declaration.variable;
    if (findNamed(qualifiers_, variable.name) != nullptr) {
        failAt(variable.line, "the qualifier " + variable.name + " is declared twice");
    }
    if (qualifiers_.size() == kMostQualifiers) failAt(variable.line, "more than 512 qualifiers");
    QualifierDeclaration declared;
    declared.name = variable.name;
    declared.scope = declaration.scope;
    Qualifier& defaults = declared.defaults;
    defaults.name = variable.name;
    defaults.type = variable.type;
    defaults.array = variable.array;
    defaults.value = checkedLiteral(variable);
    defaults.overridable = declaration.flavors.overridable.value_or(true);
    defaults.toSubclass = declaration.flavors.toSubclass.value_or(true);
    defaults.translatable = declaration.flavors.translatable;
    qualifiers_.push_back(std::move(declared));
}

void Builder::add(const syntax::ClassDeclaration& declaration) {
    const std::size_t underscore = declaration.name.find('_');
    if (underscore == std::string::npos || underscore == 0 || underscore + 1 == declaration.name.size()) {
        failAt(declaration.line, "the class name " + declaration.name + " does not begin with a schema's name and '_'");
    }
    if (findNamed(classes_, declaration.name) != nullptr) {
        failAt(declaration.line, "the class " + declaration.name + " is declared twice");
    }
    if (classes_.size() == kMostClasses) failAt(declaration.line, "more than 256 classes");
    Class declared;
    declared.name = declaration.name;
    if (!declaration.superclass.empty()) inherit(declaration, declared);
    addQualifiers(declaration.qualifiers, declared.qualifiers);
    for (const syntax::Property& property : declaration.properties) addProperty(property, declared);
    checkClass(declaration, declared);
    classes_.push_back(std::move(declared));
}

std::vector<Qualifier> propagated(const std::vector<Qualifier>& qualifiers) {
    std::vector<Qualifier> passed;
    for (const Qualifier& qualifier : qualifiers) {
        if (!qualifier.toSubclass) continue;
        passed.push_back(qualifier);
        passed.back().propagated = true;
    }
    return passed;
}

void Builder::inherit(const syntax::ClassDeclaration& declaration, Class& derived) const {
    const Class* base = findNamed(classes_, declaration.superclass);
    if (base == nullptr) failAt(declaration.line, "the superclass " + declaration.superclass + " is not declared");
    derived.superclass = base->name;
    derived.qualifiers = propagated(base->qualifiers);
    for (const Property& property : base->properties) {
        derived.properties.push_back(property);
        derived.properties.back().propagated = true;
        derived.properties.back().qualifiers = propagated(property.qualifiers);
    }
}

void Builder::addProperty(const syntax::Property& declaration, Class& owner) const {
    const syntax::Variable& variable = declaration.variable;
    if (const Property* known = owner.property(variable.name)) {
        failAt(variable.line, known->propagated ? variable.name + " is inherited; overriding is not supported"
                                                : "the property " + variable.name + " is declared twice");
    }
    if (owner.properties.size() == kMostProperties) failAt(variable.line, "more than 1024 properties");
    Property property;
    property.name = variable.name;
    property.type = variable.type;
    property.array = variable.array;
    property.arraySize = variable.arraySize;
    property.defaultValue = checkedLiteral(variable);
    property.classOrigin = owner.name;
    const bool reference = property.type == Type::reference;
    if (reference) {
        if (property.array) failAt(variable.line, "the reference " + variable.name + " is an array");
        const Class* referred = findNamed(classes_, variable.referenceClass);
        if (referred == nullptr && !cim::sameName(variable.referenceClass, owner.name)) {
            failAt(variable.line, "the class " + variable.referenceClass + " that is referred to is not declared");
        }
        property.referenceClass = referred != nullptr ? referred->name : owner.name;
    }
    addQualifiers(declaration.qualifiers, property.qualifiers);
    checkScope(declaration.qualifiers, reference ? Element::reference : Element::property);
    if (property.isKey() && property.array) failAt(variable.line, "the key " + variable.name + " is an array");
    owner.properties.push_back(std::move(property));
}

void Builder::checkClass(const syntax::ClassDeclaration& declaration, const Class& declared) const {
    Element element = Element::classElement;
    if (isSet(declared.qualifiers, "Indication")) element = Element::indication;
    if (declared.isAssociation()) element = Element::association;
    checkScope(declaration.qualifiers, element);
    checkAssociation(declaration, declared);

    const Class* base = findNamed(classes_, declared.superclass);
    if (declared.isAbstract() && base != nullptr && !base->isAbstract()) {
        failAt(declaration.line, declared.name + " is abstract, its superclass is not");
    }
    const bool hasKey = std::any_of(declared.properties.begin(), declared.properties.end(),
                                    [](const Property& property) { return property.isKey(); });
    const bool needsKey = !declared.isAbstract() && element != Element::indication;
    if (needsKey && !hasKey) failAt(declaration.line, declared.name + " has no key");
}

void Builder::checkAssociation(const syntax::ClassDeclaration& declaration, const Class& declared) const {
    const auto references = std::count_if(declared.properties.begin(), declared.properties.end(),
                                          [](const Property& property) { return property.type == Type::reference; });
    if (!declared.isAssociation()) {
        if (references > 0) failAt(declaration.line, declared.name + " has references but is no association");
        return;
    }
    if (references < 2) failAt(declaration.line, "the association " + declared.name + " has fewer than two references");
    const Class* base = findNamed(classes_, declared.superclass);
    if (base != nullptr && !base->isAssociation()) {
        failAt(declaration.line, "the association " + declared.name + " derives from a class that is none");
    }
    const bool inherited = base != nullptr;
    if (!inherited && !cim::sameName(declaration.qualifiers.front().name, "Association")) {
        failAt(declaration.line, "Association is not the first qualifier of " + declared.name);
    }
}

void Builder::addQualifiers(const std::vector<syntax::Qualifier>& uses, std::vector<Qualifier>& qualifiers) const {
    for (std::size_t i = 0; i < uses.size(); ++i) {
        const auto previous = uses.begin() + static_cast<std::ptrdiff_t>(i);
        const bool twice = std::any_of(uses.begin(), previous, [&](const syntax::Qualifier& other) {
            return cim::sameName(other.name, uses[i].name);
        });
        if (twice) failAt(uses[i].line, "the qualifier " + uses[i].name + " stands here twice");
        addQualifier(uses[i], qualifiers);
    }
}

/** Takes the place of an inherited one, where that may be overridden. */
void Builder::addQualifier(const syntax::Qualifier& use, std::vector<Qualifier>& qualifiers) const {
    const Qualifier& defaults = declared(use).defaults;
    Qualifier qualifier = defaults;
    qualifier.value = valueOf(use, defaults);
    qualifier.overridable = use.flavors.overridable.value_or(defaults.overridable);
    qualifier.toSubclass = use.flavors.toSubclass.value_or(defaults.toSubclass);
    qualifier.translatable = use.flavors.translatable || defaults.translatable;
    const auto inherited = std::find_if(qualifiers.begin(), qualifiers.end(),
                                        [&](const Qualifier& other) { return cim::sameName(other.name, use.name); });
    if (inherited == qualifiers.end()) {
        qualifiers.push_back(std::move(qualifier));
        return;
    }
    if (!inherited->overridable && inherited->value != qualifier.value) {
        failAt(use.line, "the qualifier " + use.name + " of the superclass cannot be overridden");
    }
    *inherited = std::move(qualifier);
}

void Builder::checkScope(const std::vector<syntax::Qualifier>& uses, Element element) const {
    for (const syntax::Qualifier& use : uses) {
        if (declared(use).scope.count(element) == 0) {
            failAt(use.line, "the qualifier " + use.name + " does not apply to " + elementName(element));
        }
    }
}

const QualifierDeclaration& Builder::declared(const syntax::Qualifier& use) const {
    const QualifierDeclaration* declared = findNamed(qualifiers_, use.name);
    if (declared == nullptr) failAt(use.line, "the qualifier " + use.name + " is not declared");
    return *declared;
}

/** Without a value a boolean qualifier is true, any other NULL. */
Literal Builder::valueOf(const syntax::Qualifier& use, const Qualifier& defaults) const {
    if (!use.value) return defaults.type == Type::boolean && !defaults.array ? Literal({"true"}) : std::nullopt;
    checkValue(use.line, use.name, defaults.type, defaults.array, *use.value);
    return literalOf(*use.value);
}

Literal Builder::checkedLiteral(const syntax::Variable& variable) const {
    if (!variable.value) return std::nullopt;
    checkValue(variable.line, variable.name, variable.type, variable.array, *variable.value);
    if (variable.arraySize && variable.value->constants.size() > *variable.arraySize) {
        failAt(variable.line, "the value of " + variable.name + " has more elements than the array");
    }
    return literalOf(*variable.value);
}

void Builder::checkValue(std::size_t line, const std::string& name, Type type, bool array,
                         const syntax::Initializer& value) const {
    if (value.isNull()) return;
    if (value.array != array) {
        failAt(line, name + (array ? " is an array, its value is not" : " is no array, its value is one"));
    }
    for (const syntax::Constant& constant : value.constants) {
        if (!holds(type, constant)) {
            failAt(line, name + " is of type " + typeName(type) + ", which cannot be " + shown(constant));
        }
    }
}

}  // namespace

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

Schema Schema::read(const std::vector<Source>& sources) {
    Builder builder;
    for (const Source& source : sources) builder.read(source);
    Schema schema;
    schema.classes_ = builder.takeClasses();
    schema.qualifiers_ = builder.takeQualifiers();
    return schema;
}

const Class* Schema::find(const std::string& className) const {
    return findNamed(classes_, className);
}

const QualifierDeclaration* Schema::findQualifier(const std::string& name) const {
    return findNamed(qualifiers_, name);
}

/** Superclasses stand before their subclasses: no chain of them is closed. */
bool Schema::isA(const std::string& className, const std::string& ancestor) const {
    for (const Class* one = find(className); one != nullptr; one = find(one->superclass)) {
        if (cim::sameName(one->name, ancestor)) return true;
    }
    return false;
}

std::vector<const Class*> Schema::subclasses(const std::string& className, bool deep) const {
    std::vector<const Class*> found;
    for (const Class& one : classes_) {
        const bool below = cim::sameName(one.superclass, className) ||
                           (deep && (className.empty() || isA(one.superclass, className)));
        if (below) found.push_back(&one);
    }
    return found;
}

}  // namespace mof
