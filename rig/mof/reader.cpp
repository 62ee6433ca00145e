// The reader of MOF texts: tokens, and the declarations that they make.
// Tests: tests/schema/mof_test.cpp, tests/schema/schema_test.cpp.
#include <algorithm>
#include <string_view>
#include <utility>

#include "cim/ascii.h"
#include "cim/names.h"
#include "mof/schema.h"

namespace mof {

namespace {

enum class Kind { end, word, string, number, symbol };

struct Token {
    Kind kind = Kind::end;
    std::string text;  // of a string: its contents
};

bool isWordCharacter(char c) {
    return cim::isLetter(c) || cim::isDigit(c);
}

/** Cuts a text into tokens, without blanks and comments. */
class Lexer {
 public:
    explicit Lexer(const Source& source) : source_(source), rest_(source.text) {}

    Token next() {
        skipBlanks();
        if (rest_.empty()) return {Kind::end, "the end of the text"};
        if (cim::isLetter(rest_.front())) return {Kind::word, takeWhile(isWordCharacter)};
        if (cim::isDigit(rest_.front())) return {Kind::number, takeWhile(cim::isDigit)};
        if (rest_.front() == '"') return {Kind::string, string()};
        return {Kind::symbol, take(1)};
    }

    /** Throws Error for the line of the token that was read last. */
    [[noreturn]] void fail(const std::string& what) const {
        const auto end = source_.text.end() - static_cast<std::ptrdiff_t>(rest_.size());
        const auto line = std::count(source_.text.begin(), end, '\n') + 1;
        throw Error(source_.name + ":" + std::to_string(line) + ": " + what);
    }

 private:
    std::string take(std::size_t length) {
        std::string text(rest_.substr(0, length));
        rest_.remove_prefix(text.size());
        return text;
    }

    void skipBlanks() {
        for (;;) {
            rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size()));
            if (rest_.substr(0, 2) != "//") return;
            rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
        }
    }

    std::string takeWhile(bool (*belongs)(char)) {
        return take(static_cast<std::size_t>(std::find_if_not(rest_.begin(), rest_.end(), belongs) - rest_.begin()));
    }

    std::string string() {
        std::string contents;
        for (take(1); rest_.substr(0, 1) != "\""; contents += take(1)) {
            if (rest_.empty() || rest_.front() == '\n') fail("the string does not end on its line");
            if (rest_.front() != '\\') continue;
            take(1);
            if (rest_.empty() || (rest_.front() != '"' && rest_.front() != '\\')) fail("an unknown escape in a string");
        }
        take(1);
        return contents;
    }

    const Source& source_;
    std::string_view rest_;
};

std::vector<Qualifier> propagated(const std::vector<Qualifier>& qualifiers) {
    std::vector<Qualifier> passed;
    for (const Qualifier& qualifier : qualifiers) {
        if (!qualifier.toSubclass) continue;
        passed.push_back(qualifier);
        passed.back().propagated = true;
    }
    return passed;
}

/** Adds the qualifiers that a class has of its own; they take the place of those that it inherits. */
void add(std::vector<Qualifier>& all, std::vector<Qualifier> own) {
    for (Qualifier& each : own) {
        const auto inherited = std::find_if(all.begin(), all.end(), [&](const Qualifier& other) {
            return other.propagated && other.name == each.name;
        });
        if (inherited == all.end())
            all.push_back(std::move(each));
        else
            *inherited = std::move(each);
    }
}

}  // namespace

/** Adds the declarations of one text to a schema. */
class Reader {
 public:
    Reader(const Source& source, Schema& schema) : lexer_(source), schema_(schema), token_(lexer_.next()) {}

    void read() {
        while (token_.kind != Kind::end) {
            if (accept("#"))
                pragma();
            else if (accept("qualifier"))
                schema_.qualifiers_.push_back(qualifierDeclaration());
            else
                schema_.classes_.push_back(classDeclaration());
        }
    }

 private:
    [[noreturn]] void failExpecting(const std::string& what) const {
        lexer_.fail("expected " + what + ", found " + (token_.kind == Kind::string ? "a string" : token_.text));
    }

    /** Whether a word, in any letter case, or a symbol comes next; then it is skipped. */
    bool accept(std::string_view text) {
        const bool there =
            (token_.kind == Kind::word || token_.kind == Kind::symbol) && cim::sameName(token_.text, text);
        if (there) token_ = lexer_.next();
        return there;
    }

    void expect(const std::string& text) {
        if (!accept(text)) failExpecting(text);
    }

    std::string take(Kind kind, const char* what) {
        if (token_.kind != kind) failExpecting(what);
        return std::exchange(token_, lexer_.next()).text;
    }

    /** `#pragma locale ("en_US")`: the only pragma of ours, which changes nothing. */
    void pragma() {
        expect("pragma");
        expect("locale");
        expect("(");
        take(Kind::string, "a string");
        expect(")");
    }

    QualifierDeclaration qualifierDeclaration() {
        QualifierDeclaration declaration;
        Qualifier& defaults = declaration.defaults;
        defaults.name = declaration.name = take(Kind::word, "a qualifier's name");
        expect(":");
        const std::optional<CMPIType> type = typeNamed(token_.text);
        if (!type) failExpecting("a type");
        defaults.type = *type;
        take(Kind::word, "a type");
        defaults.array = arraySuffix();
        if (accept("=")) defaults.value = {constant(defaults.type)};
        expect(",");
        expect("scope");
        expect("(");
        do addElement(declaration.scope);
        while (accept(","));
        expect(")");
        expect(",");
        expect("flavor");
        expect("(");
        do addFlavor(defaults);
        while (accept(","));
        expect(")");
        expect(";");
        return declaration;
    }

    void addElement(std::set<std::string>& scope) {
        if (accept("any")) return scope.insert(std::begin(kElements), std::end(kElements));
        const auto* const element =
            std::find_if(std::begin(kElements), std::end(kElements), [this](const char* each) { return accept(each); });
        if (element == std::end(kElements)) failExpecting("a kind of element");
        scope.insert(*element);
    }

    void addFlavor(Qualifier& qualifier) {
        if (accept("disableoverride"))
            qualifier.overridable = false;
        else if (accept("restricted"))
            qualifier.toSubclass = false;
        else if (accept("translatable"))
            qualifier.translatable = true;
        else if (!accept("enableoverride") && !accept("tosubclass"))  // which a qualifier has without them, too
            failExpecting("a flavor");
    }

    Class classDeclaration() {
        std::vector<Qualifier> qualifiers = qualifierList();
        expect("class");
        Class declared;
        declared.name = take(Kind::word, "a class name");
        if (accept(":")) inherit(declared);
        add(declared.qualifiers, std::move(qualifiers));
        expect("{");
        while (!accept("}")) declared.properties.push_back(property(declared));
        expect(";");
        return declared;
    }

    /** The class of the name that comes next. */
    const Class& knownClass(const char* what) {
        const Class* found = schema_.find(token_.text);
        if (token_.kind != Kind::word || found == nullptr) failExpecting(what);
        token_ = lexer_.next();
        return *found;
    }

    void inherit(Class& derived) {
        const Class& base = knownClass("a class that is declared before");
        derived.superclass = base.name;
        derived.qualifiers = propagated(base.qualifiers);
        for (Property property : base.properties) {
            property.propagated = true;
            property.qualifiers = propagated(property.qualifiers);
            derived.properties.push_back(std::move(property));
        }
    }

    Property property(const Class& owner) {
        Property property;
        property.classOrigin = owner.name;
        property.qualifiers = qualifierList();
        const std::optional<CMPIType> type = typeNamed(token_.text);
        if (type && *type != CMPI_ref) {
            property.type = *type;
            take(Kind::word, "a type");
        } else {
            property.type = CMPI_ref;
            property.referenceClass = knownClass("a type or a class that is declared before").name;
            expect("ref");
        }
        if (owner.property(token_.text) != nullptr) lexer_.fail(token_.text + " is declared already");
        property.name = take(Kind::word, "a property's name");
        property.array = arraySuffix();
        expect(";");
        return property;
    }

    bool arraySuffix() {
        const bool array = accept("[");
        if (array) expect("]");
        return array;
    }

    std::vector<Qualifier> qualifierList() {
        std::vector<Qualifier> qualifiers;
        if (!accept("[")) return qualifiers;
        do qualifiers.push_back(qualifier());
        while (accept(","));
        expect("]");
        return qualifiers;
    }

    /** Without a value a boolean qualifier is true. */
    Qualifier qualifier() {
        const QualifierDeclaration* declared = schema_.findQualifier(token_.text);
        if (token_.kind != Kind::word || declared == nullptr) failExpecting("a qualifier that is declared before");
        token_ = lexer_.next();
        Qualifier qualifier = declared->defaults;
        qualifier.value.emplace();
        if (qualifier.type == CMPI_boolean && !qualifier.array) {
            qualifier.value->emplace_back("true");
            return qualifier;
        }
        expect(qualifier.array ? "{" : "(");
        do qualifier.value->push_back(constant(qualifier.type));
        while (qualifier.array && accept(","));
        expect(qualifier.array ? "}" : ")");
        return qualifier;
    }

    /** Strings one after the other are one. */
    std::string constant(CMPIType type) {
        if (type == CMPI_boolean) {
            if (accept("true")) return "true";
            expect("false");
            return "false";
        }
        if (type != CMPI_string) return take(Kind::number, "a number");
        std::string text = take(Kind::string, "a string");
        while (token_.kind == Kind::string) text += take(Kind::string, "a string");
        return text;
    }

    Lexer lexer_;
    Schema& schema_;
    Token token_;
};

Schema Schema::read(const std::vector<Source>& sources) {
    Schema schema;
    for (const Source& source : sources) Reader(source, schema).read();
    return schema;
}

}  // namespace mof
