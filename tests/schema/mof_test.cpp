#include "mof/schema.h"

#include <random>
#include <set>
#include <string>
#include <vector>

#include "mof/embedded.h"

namespace {

const char kQualifiers[] = R"(
Qualifier Abstract : boolean = false, Scope(class, association), Flavor(Restricted);
Qualifier Association : boolean = false, Scope(association), Flavor(DisableOverride);
Qualifier Indication : boolean = false, Scope(indication), Flavor(DisableOverride);
Qualifier Key : boolean = false, Scope(property, reference), Flavor(DisableOverride);
Qualifier Description : string = null, Scope(any), Flavor(Translatable);
Qualifier ValueMap : string[], Scope(property, method, parameter);
Qualifier MaxLen : uint32, Scope(property);
)";

mof::Schema read(const std::string& text) {
    return mof::Schema::read({{"q.mof", kQualifiers}, {"t.mof", text}});
}

/** The message of the error that reading the text ends in; empty when it is read. */
std::string errorOf(const std::string& text) {
    try {
        read(text);
    } catch (const mof::Error& error) {
        return error.what();
    }
    return "";
}

/** A class with the declaration in it, on line 2. */
std::string classWith(const std::string& declaration) {
    return "class T_A { [Key] string K;\n" + declaration + " };";
}

std::vector<std::string> namesOf(const std::vector<const mof::Class*>& classes) {
    std::vector<std::string> names;
    names.reserve(classes.size());
    for (const mof::Class* one : classes) names.push_back(one->name);
    return names;
}

struct Flawed {
    std::string text;
    std::string error;  // behind the file's name
};

void expectErrors(const std::vector<Flawed>& texts) {
    for (const Flawed& flawed : texts) EXPECT_EQ(errorOf(flawed.text), "t.mof:" + flawed.error) << flawed.text;
}

}  // namespace

TEST(MofReader, ReadsAClassWithEverythingThatItCanDeclare) {
    const mof::Schema schema = read(R"(
#pragma locale ("en_US")
// a comment */ to the end of the line
/* and one // over
   two lines */
[Description ("one" /* joined */ " and\ttwo \"q\" \x41\xe9\x20AC" "é")]
CLASS T_Base
{
    [kEY, MaxLen (0x40), Description (null)] STRING Name = "x";
    uint16 Codes[] = {1, 0x1F, 017, 101b, +5};
    [ValueMap {"1", "2"} : DisableOverride Restricted] sint8 Fixed[3] = {-128, 127};
    real32 Real = -1.5e-3;  boolean Flag = TRUE;  char16 Letter = '\'';  datetime When;  uint64 None = NULL;
};
[Association] class T_Link { [Key] T_Base REF Left; [Key] t_link REF Right = NULL; };
)");
    ASSERT_EQ(schema.classes().size(), 2U);
    const mof::Class& base = schema.classes()[0];
    EXPECT_EQ(base.name, "T_Base");
    EXPECT_EQ(base.superclass, "");
    EXPECT_FALSE(base.isAssociation());
    EXPECT_FALSE(base.isAbstract());
    EXPECT_EQ(base.qualifier("description")->value, mof::Literal({"one and\ttwo \"q\" A\u00e9\u20acé"}));
    EXPECT_TRUE(base.qualifier("Description")->translatable);

    struct Expected {
        std::string name;
        std::string type;
        bool array;
        mof::Literal value;
    };
    const std::vector<Expected> expected = {{"Name", "string", false, {{"x"}}},
                                            {"Codes", "uint16", true, {{"1", "0x1F", "017", "101b", "+5"}}},
                                            {"Fixed", "sint8", true, {{"-128", "127"}}},
                                            {"Real", "real32", false, {{"-1.5e-3"}}},
                                            {"Flag", "boolean", false, {{"true"}}},
                                            {"Letter", "char16", false, {{"'"}}},
                                            {"When", "datetime", false, {}},
                                            {"None", "uint64", false, {}}};
    ASSERT_EQ(base.properties.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const mof::Property& property = base.properties[i];
        EXPECT_EQ(property.name, expected[i].name);
        EXPECT_EQ(mof::typeName(property.type), expected[i].type) << property.name;
        EXPECT_EQ(property.array, expected[i].array) << property.name;
        EXPECT_EQ(property.defaultValue, expected[i].value) << property.name;
        EXPECT_EQ(property.classOrigin, "T_Base");
        EXPECT_FALSE(property.propagated);
        EXPECT_EQ(property.isKey(), property.name == "Name");
    }
    const mof::Property& name = *base.property("NAME");
    ASSERT_EQ(name.qualifiers.size(), 3U);
    EXPECT_EQ(name.qualifiers[0].name, "Key");
    EXPECT_FALSE(name.qualifiers[0].overridable);
    EXPECT_EQ(name.qualifier("MaxLen")->value, mof::Literal({"0x40"}));
    EXPECT_EQ(name.qualifier("Description")->value, std::nullopt);
    EXPECT_EQ(name.qualifier("ValueMap"), nullptr);
    EXPECT_EQ(base.property("Codes")->arraySize, std::nullopt);
    EXPECT_EQ(base.property("Fixed")->arraySize, 3U);
    const mof::Qualifier& map = *base.property("Fixed")->qualifier("ValueMap");
    EXPECT_EQ(map.value, mof::Literal({"1", "2"}));
    EXPECT_TRUE(map.array);
    EXPECT_EQ(map.type, mof::Type::string);
    EXPECT_FALSE(map.overridable);
    EXPECT_FALSE(map.toSubclass);

    const mof::Class& link = schema.classes()[1];
    EXPECT_TRUE(link.isAssociation());
    EXPECT_EQ(link.properties[0].type, mof::Type::reference);
    EXPECT_EQ(link.properties[0].referenceClass, "T_Base");
    EXPECT_EQ(link.properties[1].referenceClass, "T_Link");
    EXPECT_EQ(link.properties[1].defaultValue, std::nullopt);
}

TEST(MofReader, PassesPropertiesAndQualifiersOnByTheirFlavor) {
    const mof::Schema schema = read(R"(
[Abstract, Description ("base")] class T_Base {
    [Key, Description ("key"), MaxLen (8) : Restricted] string K;
};
class T_Plain : T_BASE { uint8 N; };
[Description ("own") : DisableOverride] class T_Own : T_Base { };
[Description ("own")] class T_Same : T_Own { };
)");
    const mof::Class& plain = *schema.find("t_plain");
    EXPECT_EQ(plain.superclass, "T_Base");
    EXPECT_FALSE(plain.isAbstract());
    ASSERT_EQ(plain.qualifiers.size(), 1U);
    EXPECT_EQ(plain.qualifiers[0].value, mof::Literal({"base"}));
    EXPECT_TRUE(plain.qualifiers[0].propagated);

    ASSERT_EQ(plain.properties.size(), 2U);
    const mof::Property& key = plain.properties[0];
    EXPECT_EQ(key.name, "K");
    EXPECT_EQ(key.classOrigin, "T_Base");
    EXPECT_TRUE(key.propagated);
    EXPECT_TRUE(key.isKey());
    EXPECT_TRUE(key.qualifier("Key")->propagated);
    EXPECT_NE(key.qualifier("Description"), nullptr);
    EXPECT_EQ(key.qualifier("MaxLen"), nullptr);
    EXPECT_EQ(plain.properties[1].classOrigin, "T_Plain");
    EXPECT_FALSE(plain.properties[1].propagated);

    const mof::Class& own = *schema.find("T_Own");
    ASSERT_EQ(own.qualifiers.size(), 1U);
    EXPECT_EQ(own.qualifiers[0].value, mof::Literal({"own"}));
    EXPECT_FALSE(own.qualifiers[0].propagated);
    EXPECT_FALSE(own.qualifiers[0].overridable);
    EXPECT_FALSE(schema.find("T_Same")->qualifiers[0].propagated);
}

TEST(MofReader, KeepsTheDeclarationsOfQualifiers) {
    using mof::Element;
    const mof::Schema schema = read("Qualifier Q : uint16[] = {1, 2}, Scope(method, class), Flavor(Restricted);");
    EXPECT_EQ(schema.qualifiers().size(), 8U);
    const mof::QualifierDeclaration* declared = schema.findQualifier("q");
    ASSERT_NE(declared, nullptr);
    EXPECT_EQ(declared, &schema.qualifiers().back());
    EXPECT_EQ(declared->name, "Q");
    EXPECT_EQ(declared->scope, (std::set<Element>{Element::classElement, Element::method}));
    EXPECT_EQ(declared->defaults.value, mof::Literal({"1", "2"}));
    EXPECT_TRUE(declared->defaults.array);
    EXPECT_FALSE(declared->defaults.toSubclass);
    EXPECT_EQ(schema.findQualifier("Description")->scope.size(), 7U);  // all that there are
    EXPECT_EQ(schema.findQualifier("ValueMap")->scope,
              (std::set<Element>{Element::property, Element::method, Element::parameter}));
    EXPECT_EQ(schema.findQualifier("NoSuch"), nullptr);
}

TEST(MofReader, KnowsWhichClassDerivesFromWhich) {
    const mof::Schema schema = read(R"(
class T_A { [Key] string K; };  class T_B : T_A { };  class T_C : T_B { };
class T_D { [Key] string K; };  class T_E : t_a { };)");
    EXPECT_TRUE(schema.isA("t_c", "T_a"));
    EXPECT_TRUE(schema.isA("T_A", "T_A"));
    EXPECT_FALSE(schema.isA("T_A", "T_C"));
    EXPECT_FALSE(schema.isA("T_None", "T_None"));
    EXPECT_EQ(schema.find("T_None"), nullptr);
    using Names = std::vector<std::string>;
    EXPECT_EQ(namesOf(schema.subclasses("", false)), (Names{"T_A", "T_D"}));
    EXPECT_EQ(namesOf(schema.subclasses("", true)), (Names{"T_A", "T_B", "T_C", "T_D", "T_E"}));
    EXPECT_EQ(namesOf(schema.subclasses("T_A", false)), (Names{"T_B", "T_E"}));
    EXPECT_EQ(namesOf(schema.subclasses("T_A", true)), (Names{"T_B", "T_C", "T_E"}));
    EXPECT_EQ(namesOf(schema.subclasses("T_C", true)), Names{});
}

TEST(MofReader, HoldsValuesAgainstTheirTypes) {
    struct Case {
        std::string type;
        std::vector<std::string> good;
        std::vector<std::string> bad;
    };
    const std::vector<Case> cases = {
        {"boolean", {"true", "FALSE"}, {"1", "\"true\""}},
        {"uint8", {"0", "255", "0xFF", "0377", "11111111b", "+1", "-0"}, {"256", "-1", "1.0", "'a'", "\"1\"", "true"}},
        {"sint8", {"127", "-128"}, {"128", "-129"}},
        {"uint16", {"65535"}, {"65536"}},
        {"sint16", {"-32768"}, {"-32769", "32768"}},
        {"uint32", {"4294967295"}, {"0x100000000"}},
        {"sint32", {"-2147483648"}, {"2147483648"}},
        {"uint64", {"18446744073709551615"}, {"18446744073709551616", "-1"}},
        {"sint64", {"-9223372036854775808"}, {"9223372036854775808", "-9223372036854775809"}},
        {"real32", {"1.0", "+.5", "-1.5E+3", "7"}, {"1e39.0", "1.0e39", "0x1", "\"1.0\""}},
        {"real64", {"1.0e39"}, {"1.0e999", "true"}},
        {"char16", {"'a'", "'\\n'", "'\\x20AC'"}, {"\"a\"", "97"}},
        {"string", {"\"\"", "\"a\" \"b\""}, {"'a'", "1", "true"}},
        {"datetime",
         {"\"20240131235959.000000+060\"", "\"00000001000000.000000:000\"", "\"**************.******-000\""},
         {"\"2024\"", "\"20240131235959.000000 060\"", "1"}}};
    for (const Case& one : cases) {
        for (const std::string& value : one.good) {
            EXPECT_EQ(errorOf(classWith(one.type + " P = " + value + ";")), "") << one.type << " " << value;
            EXPECT_EQ(errorOf(classWith(one.type + " P[] = {" + value + "};")), "") << value;
        }
        for (const std::string& value : one.bad) {
            EXPECT_EQ(errorOf(classWith(one.type + " P = " + value + ";")).substr(0, 8), "t.mof:2:") << value;
        }
    }
}

TEST(MofReader, RefusesWhatIsNoMofAndTellsTheLine) {
    expectErrors({
        {"\n\nclass", "3: expected a class name, found the end of the text"},
        {"class T_A {\n", "2: expected a type or a class name, found the end of the text"},
        {"\n/* one\n two", "2: the comment that begins here has no end"},
        {"/* a\n */ /* b\n */\n?", "4: a character that has no meaning here (code 63)"},
        {"\n\xC3(", "2: the text is no UTF-8"},
        {std::string("\n\0", 2), "2: a character that has no meaning here (code 0)"},
        {"class T_A { [Key] string K; }\nclass", "2: expected ';', found class"},
        {"class T_A : { };", "1: expected a class name, found {"},
        {"class T_A { [Key string K; };", "1: expected ']', found string"},
        {"class T_A { [] string K; };", "1: expected a qualifier's name, found ]"},
        {"class T_A { [Key] string 1; };", "1: expected a property's name, found 1"},
        {"class T_A { [Key] string Class; };", "1: Class is a keyword and cannot be a property's name"},
        {"class T_A { [Key] string UINT8; };", "1: UINT8 is a keyword and cannot be a property's name"},
        {"class T_A { [Key] T_A K; };", "1: expected ref, found K"},
        {"[Description (\"x\")]\ninstance of T_A { };", "2: instances are not supported, only classes and qualifiers"},
        {"instance of T_A { };", "1: instances are not supported, only classes and qualifiers"},
        {"#pragma include (\"x.mof\")", "1: #pragma include is not supported"},
        {"#pragma\nlocale (en)", "2: expected a string, found en"},
        {"\nclass T_" + std::string(254, 'x'), "2: a name of more than 255 characters"},
        {"#include \"x\"", "1: unknown directive #include"},
        {"\"text\"", "1: expected a class or a qualifier declaration, found a string"},
        {classWith("uint8 M();"), "2: methods are not supported"},
        {classWith("uint8 P[0];"), "2: expected the size of an array, found 0"},
        {classWith("uint8 P[-1];"), "2: expected the size of an array, found -1"},
        {classWith("uint8 P[99999999999999999999];"), "2: expected the size of an array, found 99999999999999999999"},
        {classWith("uint8 P[2] = {1,\n2, 3};"), "2: the value of P has more elements than the array"},
        {classWith("uint8 P[] = {};"), "2: expected a value, found }"},
        {classWith("uint8 P[] = {1, NULL};"), "2: NULL as an element is not supported"},
        {classWith("uint8 P[] = 1;"), "2: P is an array, its value is not"},
        {classWith("uint8 P = {1};"), "2: P is no array, its value is one"},
        {classWith("uint8 P = 'x';"), "2: P is of type uint8, which cannot be a character"},
        {classWith("uint8 P = 300;"), "2: P is of type uint8, which cannot be 300"},
        {classWith("uint8 P = 09;"), "2: 09 is no number"},
        {classWith("uint8 P = 0x;"), "2: 0x is no number"},
        {classWith("uint8 P = 1.;"), "2: 1. is no number"},
        {classWith("uint8 P = 2b;"), "2: 2b is no number"},
        {classWith("uint8 P = " + std::string(81, '1') + ";"), "2: a number of more than 80 characters"},
        {classWith("string P = \"a\n\";"), "2: the literal does not end on its line"},
        {classWith("string P = \"a"), "2: the literal does not end on its line"},
        {classWith("string P = \"\x01\";"), "2: a control character in a literal"},
        {classWith("string P = \"\\q\";"), "2: an unknown escape in a literal"},
        {classWith("string P = \"\\"), "2: an unknown escape in a literal"},
        {classWith("string P = \"\\xg\";"), "2: an escape \\x without a character's code"},
        {classWith("string P = \"\\x0\";"), "2: an escape \\x without a character's code"},
        {classWith("string P = \"\\xD800\";"), "2: an escape \\x without a character's code"},
        {classWith("char16 P = '';"), "2: a character literal holds one character of 16 bits"},
        {classWith("char16 P = 'ab';"), "2: a character literal holds one character of 16 bits"},
        {classWith("char16 P = '\xF0\x9F\x98\x80';"), "2: a character literal holds one character of 16 bits"},
        {"Qualifier Q : uint8 = 300, Scope(any);", "1: Q is of type uint8, which cannot be 300"},
        {"Qualifier Q : uint8 Scope(any);", "1: expected ',', found Scope"},
        {"Qualifier Q : nothing, Scope(any);", "1: expected a type, found nothing"},
        {"Qualifier Q : uint8, Scope(thing);", "1: expected a kind of element, found thing"},
        {"Qualifier Q : uint8, Scope(any), Flavor(Sweet);", "1: expected a flavor, found Sweet"},
        {"Qualifier Q : uint8, Scope(any), Flavor(ToSubclass, Restricted);",
         "1: the flavor Restricted contradicts another"},
        {"Qualifier Key : boolean, Scope(any);", "1: the qualifier Key is declared twice"},
    });
}

TEST(MofReader, RefusesClassesThatDoNotHoldTogether) {
    const std::string base = "class T_A { [Key] string K; };\n";
    expectErrors({
        {"class TA { [Key] string K; };", "1: the class name TA does not begin with a schema's name and '_'"},
        {"class _TA { [Key] string K; };", "1: the class name _TA does not begin with a schema's name and '_'"},
        {base + "class t_a { [Key] string K; };", "2: the class t_a is declared twice"},
        {"class T_A : T_B { };\nclass T_B { [Key] string K; };", "1: the superclass T_B is not declared"},
        {"class T_A { string K; };", "1: T_A has no key"},
        {"class T_A { [Key] string K[]; };", "1: the key K is an array"},
        {classWith("uint8 k;"), "2: the property k is declared twice"},
        {base + "class T_B : T_A {\n uint8 k; };", "3: k is inherited; overriding is not supported"},
        {base + "[Abstract] class T_B : T_A { };", "2: T_B is abstract, its superclass is not"},
        {classWith("[Sweet] uint8 P;"), "2: the qualifier Sweet is not declared"},
        {classWith("[Association] uint8 P;"), "2: the qualifier Association does not apply to a property"},
        {"[\nKey] class T_A { [Key] string K; };", "2: the qualifier Key does not apply to a class"},
        {classWith("[MaxLen (8), maxlen (9)] uint8 P;"), "2: the qualifier maxlen stands here twice"},
        {classWith("[MaxLen (\"8\")] string P;"), "2: MaxLen is of type uint32, which cannot be a string"},
        {classWith("[MaxLen {8}] string P;"), "2: MaxLen is no array, its value is one"},
        {classWith("[ValueMap (\"8\")] string P;"), "2: ValueMap is an array, its value is not"},
        {"[Description (\"a\") : DisableOverride] class T_A { [Key] string K; };\n"
         "[Description (\"b\")] class T_B : T_A { };",
         "2: the qualifier Description of the superclass cannot be overridden"},
        {base + "class T_B { [Key] T_A REF R; };", "2: T_B has references but is no association"},
        {base + "[Association] class T_B {\n [Key] T_A REF R; };",
         "2: the association T_B has fewer than two references"},
        {base + "[Association] class T_B { [Key] T_A REF R; [Key] T_C REF S; };",
         "2: the class T_C that is referred to is not declared"},
        {base + "[Association] class T_B { [Key] T_A REF R; [Key] T_A REF S[]; };", "2: the reference S is an array"},
        {base + "[Association] class T_B { [Key] T_A REF R; [MaxLen (1)] T_A REF S; };",
         "2: the qualifier MaxLen does not apply to a reference"},
        {base + "[Association] class T_B { [Key] T_A REF R; [Key] T_A REF S = \"T_A.K=1\"; };",
         "2: S is of type reference, which cannot be a string"},
        {base + "[Description (\"d\"), Association] class T_B { [Key] T_A REF R; [Key] T_A REF S; };",
         "2: Association is not the first qualifier of T_B"},
        {base + "[Association] class T_B : T_A { T_A REF R; T_A REF S; };",
         "2: the association T_B derives from a class that is none"},
        {base + "[Association, ValueMap {\"1\"}] class T_B { [Key] T_A REF R; [Key] T_A REF S; };",
         "2: the qualifier ValueMap does not apply to an association"},
        {"[Indication, Key] class T_A { };", "1: the qualifier Key does not apply to an indication"},
    });
}

TEST(MofReader, KeepsItsBounds) {
    const auto repeated = [](const std::string& before, const std::string& after, int count) {
        std::string text;
        for (int i = 0; i < count; ++i) text.append(before).append(std::to_string(i)).append(after);
        return text;
    };
    const std::string base = "class T_A { [Key] string K;\n";
    const auto properties = [&](int count) { return base + repeated("uint8 P", ";", count) + " };"; };
    EXPECT_EQ(errorOf(properties(1023)), "");
    EXPECT_EQ(errorOf(properties(1024)), "t.mof:2: more than 1024 properties");
    const auto classes = [&](int count) { return base + "};" + repeated("class T_B", " : T_A { };", count); };
    EXPECT_EQ(errorOf(classes(255)), "");
    EXPECT_EQ(errorOf(classes(256)), "t.mof:2: more than 256 classes");
    EXPECT_EQ(errorOf(repeated("Qualifier Q", " : uint8, Scope(any);", 600)), "t.mof:1: more than 512 qualifiers");
    EXPECT_EQ(errorOf(std::string(std::size_t{1} << 20, ' ')), "t.mof:1: more than 1 MiB of text");
}

TEST(MofReader, AnswersAnyDamagedTextWithAnErrorOrASchema) {
    const mof::Source& whole = schema::classes();
    std::mt19937 random(1);  // the same damage every time
    const auto below = [&](std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
    };
    int refused = 0;
    for (int i = 0; i < 150; ++i) {
        std::string text = whole.text;
        if (i % 2 == 0) {
            text.resize(below(text.size()));
        } else {
            text[below(text.size())] = "\"'{}[]();:,=#/*\\\n\xFF"[below(18)];
        }
        try {
            mof::Schema::read({schema::qualifiers(), {whole.name, text}});
        } catch (const mof::Error& error) {
            EXPECT_EQ(std::string(error.what()).rfind(whole.name + ":", 0), 0U) << error.what();
            ++refused;
        }
    }
    EXPECT_GT(refused, 75);
}
