#include "mof/parser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "mof/lexer.h"
#include "mof/values.h"
#include "cim/names.h"

namespace mof::syntax {

namespace {

/** Words that cannot be the name of a class, a property or a qualifier (which two of them are all the same). */
bool isReserved(const std::string& word) {
    static constexpr std::array<const char*, 26> kKeywords = {
        "any",       "as",         "association", "class",    "disableoverride", "enableoverride",
        "false",     "flavor",     "indication",  "instance", "method",          "null",
        "of",        "parameter",  "pragma",      "property", "qualifier",       "ref",
        "reference", "restricted", "schema",      "scope",    "tosubclass",      "translatable",
        "true",      "void"};
    const bool keyword =
        std::any_of(kKeywords.begin(), kKeywords.end(), [&](auto* known) { return cim::sameName(word, known); });
    return keyword || typeNamed(word).has_value();
}

class Parser {
 public:
    explicit Parser(const Source& source) : source_(source), lexer_(source) { advance(); }

    std::vector<Declaration> declarations();

 private:
    [[noreturn]] void failHere(const std::string& what) const { fail(source_, token_.line, what); }
    [[noreturn]] void failExpecting(const std::string& what) const;
    Token advance();
    bool accept(char symbol);
    bool acceptWord(const char* word);
    void expect(char symbol);
    void expectWord(const char* word);
    std::string name(const char* what);
    std::string anyWord(const char* what);

    void directive();
    QualifierDeclaration qualifierDeclaration();
    std::set<Element> scope();
    void addElements(std::set<Element>& elements);
    Flavors flavors(bool commas);
    void addFlavor(Flavors& flavors);
    std::vector<Qualifier> qualifierList();
    Qualifier qualifier();
    ClassDeclaration classDeclaration(std::vector<Qualifier> qualifiers);
    Property property();
    void arraySuffix(Variable& variable);
    Initializer initializer();
    Initializer arrayInitializer();
    std::optional<Constant> constant();
    Constant joinedString();

    const Source& source_;
    Lexer lexer_;
    Token token_;
};

void Parser::failExpecting(const std::string& what) const {
    failHere("expected " + what + ", found " + token_.shown());
}

/** Steps to the next token and gives the one left behind. */
Token Parser::advance() {
    return std::exchange(token_, lexer_.next());
}

bool Parser::accept(char symbol) {
    if (!token_.isSymbol(symbol)) return false;
    advance();
    return true;
}

bool Parser::acceptWord(const char* word) {
    if (!token_.isWord(word)) return false;
    advance();
    return true;
}

void Parser::expect(char symbol) {
    if (!accept(symbol)) failExpecting(std::string("'") + symbol + "'");
}

void Parser::expectWord(const char* word) {
    if (!acceptWord(word)) failExpecting(word);
}

std::string Parser::anyWord(const char* what) {
    if (token_.kind != TokenKind::identifier) failExpecting(what);
    return advance().text;
}

std::string Parser::name(const char* what) {
    if (token_.kind == TokenKind::identifier && isReserved(token_.text)) {
        failHere(token_.text + " is a keyword and cannot be " + what);
    }
    return anyWord(what);
}

std::vector<Declaration> Parser::declarations() {
    std::vector<Declaration> all;
    while (token_.kind != TokenKind::end) {
        if (token_.kind == TokenKind::directive) {
            directive();
        } else if (token_.isWord("qualifier")) {
            all.emplace_back(qualifierDeclaration());
        } else if (token_.isWord("instance")) {
            failHere("instances are not supported, only classes and qualifiers");
        } else {
            std::vector<Qualifier> qualifiers;
            if (token_.isSymbol('[')) qualifiers = qualifierList();
            if (token_.isWord("instance")) failHere("instances are not supported, only classes and qualifiers");
            all.emplace_back(classDeclaration(std::move(qualifiers)));
        }
    }
    return all;
}

/** No pragma changes what is declared, but for the one that reads another file. */
void Parser::directive() {
    if (!cim::sameName(token_.text, "#pragma")) failHere("unknown directive " + token_.text);
    advance();
    if (token_.isWord("include")) failHere("#pragma include is not supported");
    anyWord("a pragma's name");
    expect('(');
    if (token_.kind != TokenKind::string) failExpecting("a string");
    joinedString();
    expect(')');
}

QualifierDeclaration Parser::qualifierDeclaration() {
    expectWord("qualifier");
    QualifierDeclaration declaration;
    Variable& variable = declaration.variable;
    variable.line = token_.line;
    variable.name =
        token_.isWord("association") || token_.isWord("indication") ? advance().text : name("a qualifier's name");
    expect(':');
    const std::optional<Type> type = typeNamed(token_.text);
    if (token_.kind != TokenKind::identifier || !type) failExpecting("a type");
    variable.type = *type;
    advance();
    arraySuffix(variable);
    if (accept('=')) variable.value = initializer();
    expect(',');
    expectWord("scope");
    declaration.scope = scope();
    if (accept(',')) {
        expectWord("flavor");
        expect('(');
        declaration.flavors = flavors(true);
        expect(')');
    }
    expect(';');
    return declaration;
}

std::set<Element> Parser::scope() {
    std::set<Element> elements;
    expect('(');
    do {
        addElements(elements);
    } while (accept(','));
    expect(')');
    return elements;
}

/** Qualifier declarations are in scopes of old, but nothing can stand at them. */
void Parser::addElements(std::set<Element>& elements) {
    static const std::vector<std::pair<const char*, std::set<Element>>> kWords = {
        {"class", {Element::classElement}},
        {"association", {Element::association}},
        {"indication", {Element::indication}},
        {"property", {Element::property}},
        {"reference", {Element::reference}},
        {"any",
         {Element::classElement, Element::association, Element::indication, Element::property, Element::reference,
          Element::method, Element::parameter}},
        {"method", {Element::method}},
        {"parameter", {Element::parameter}},
        {"qualifier", {}},
    };
    const auto word =
        std::find_if(kWords.begin(), kWords.end(), [&](const auto& known) { return token_.isWord(known.first); });
    if (word == kWords.end()) failExpecting("a kind of element");
    elements.insert(word->second.begin(), word->second.end());
    advance();
}

/** Flavors in a declaration are parted by commas, those of a qualifier's use by blanks. */
Flavors Parser::flavors(bool commas) {
    Flavors flavors;
    do {
        addFlavor(flavors);
    } while (commas ? accept(',') : token_.kind == TokenKind::identifier);
    return flavors;
}

void Parser::addFlavor(Flavors& flavors) {
    const auto set = [&](std::optional<bool>& flavor, bool value) {
        if (flavor && *flavor != value) failHere("the flavor " + token_.text + " contradicts another");
        flavor = value;
    };
    if (token_.isWord("enableoverride")) {
        set(flavors.overridable, true);
    } else if (token_.isWord("disableoverride")) {
        set(flavors.overridable, false);
    } else if (token_.isWord("tosubclass")) {
        set(flavors.toSubclass, true);
    } else if (token_.isWord("restricted")) {
        set(flavors.toSubclass, false);
    } else if (token_.isWord("translatable")) {
        flavors.translatable = true;
    } else {
        failExpecting("a flavor");
    }
    advance();
}

std::vector<Qualifier> Parser::qualifierList() {
    std::vector<Qualifier> qualifiers;
    expect('[');
    do {
        qualifiers.push_back(qualifier());
    } while (accept(','));
    expect(']');
    return qualifiers;
}

Qualifier Parser::qualifier() {
    Qualifier qualifier;
    qualifier.line = token_.line;
    qualifier.name = anyWord("a qualifier's name");
    if (accept('(')) {
        qualifier.value.emplace();
        if (std::optional<Constant> value = constant()) qualifier.value->constants.push_back(std::move(*value));
        expect(')');
    } else if (token_.isSymbol('{')) {
        qualifier.value = arrayInitializer();
    }
    if (accept(':')) qualifier.flavors = flavors(false);
    return qualifier;
}

ClassDeclaration Parser::classDeclaration(std::vector<Qualifier> qualifiers) {
    if (!acceptWord("class")) failExpecting("a class or a qualifier declaration");
    ClassDeclaration declaration;
    declaration.qualifiers = std::move(qualifiers);
    declaration.line = token_.line;
    declaration.name = name("a class name");
    if (accept(':')) declaration.superclass = name("a class name");
    expect('{');
    while (!accept('}')) declaration.properties.push_back(property());
    expect(';');
    return declaration;
}

Property Parser::property() {
    Property property;
    if (token_.isSymbol('[')) property.qualifiers = qualifierList();
    Variable& variable = property.variable;
    if (const std::optional<Type> type = token_.kind == TokenKind::identifier ? typeNamed(token_.text) : std::nullopt) {
        variable.type = *type;
        advance();
    } else {
        variable.type = Type::reference;
        variable.referenceClass = name("a type or a class name");
        expectWord("ref");
    }
    variable.line = token_.line;
    variable.name = name("a property's name");
    if (token_.isSymbol('(')) failHere("methods are not supported");
    arraySuffix(variable);
    if (accept('=')) variable.value = initializer();
    expect(';');
    return property;
}

void Parser::arraySuffix(Variable& variable) {
    if (!accept('[')) return;
    variable.array = true;
    if (token_.kind == TokenKind::integer) {
        std::size_t size = 0;
        const char* end = token_.text.data() + token_.text.size();
        const auto [rest, error] = std::from_chars(token_.text.data(), end, size);
        if (error != std::errc() || rest != end || token_.text[0] == '0') failExpecting("the size of an array");
        variable.arraySize = size;
        advance();
    }
    expect(']');
}

Initializer Parser::initializer() {
    if (token_.isSymbol('{')) return arrayInitializer();
    Initializer initializer;
    if (std::optional<Constant> value = constant()) initializer.constants.push_back(std::move(*value));
    return initializer;
}

Initializer Parser::arrayInitializer() {
    Initializer initializer;
    initializer.array = true;
    expect('{');
    do {
        std::optional<Constant> element = constant();
        if (!element) failHere("NULL as an element is not supported");
        initializer.constants.push_back(std::move(*element));
    } while (accept(','));
    expect('}');
    return initializer;
}

/** None for NULL. */
std::optional<Constant> Parser::constant() {
    switch (token_.kind) {
        case TokenKind::string:
            return joinedString();
        case TokenKind::character:
            return Constant{Constant::Kind::character, advance().text};
        case TokenKind::integer:
            return Constant{Constant::Kind::integer, advance().text};
        case TokenKind::real:
            return Constant{Constant::Kind::real, advance().text};
        default:
            break;
    }
    if (acceptWord("null")) return std::nullopt;
    if (acceptWord("true")) return Constant{Constant::Kind::boolean, "true"};
    if (acceptWord("false")) return Constant{Constant::Kind::boolean, "false"};
    failExpecting("a value");
}

/** Strings one behind the other are one. */
Constant Parser::joinedString() {
    Constant constant;
    while (token_.kind == TokenKind::string) constant.text += advance().text;
    return constant;
}

}  // namespace

std::vector<Declaration> parse(const Source& source) {
    return Parser(source).declarations();
}

}  // namespace mof::syntax
