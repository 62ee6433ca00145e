// The reader of MOF texts, with texts of its own. That it reads ours right is told by schema_test.cpp.
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "broker/broker.h"
#include "mof/schema.h"

namespace {

using Texts = std::vector<std::string>;

const char kQualifiers[] = R"(
Qualifier Abstract : boolean = false, Scope(class, association), Flavor(Restricted);
Qualifier Association : boolean = false, Scope(association), Flavor(DisableOverride);
Qualifier Key : boolean = false, Scope(property, reference), Flavor(DisableOverride, ToSubclass);
Qualifier Description : string, Scope(any), Flavor(EnableOverride, Translatable);
Qualifier ValueMap : string[], Scope(property, method, parameter), Flavor(ToSubclass);
Qualifier MaxLen : uint32, Scope(property), Flavor(Restricted);
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

Texts namesOf(const std::vector<const mof::Class*>& classes) {
    Texts names;
    for (const mof::Class* one : classes) names.push_back(one->name);
    return names;
}

}  // namespace

TEST(MofReader, ReadsAClassWithEverythingThatItCanDeclare) {
    const mof::Schema schema = read(R"(
#pragma locale ("en_US")
// a comment to the end of the line, with "quotes"
[Description ("one" // joined
   " and \"q\" \\ é")]
CLASS T_Base
{
    [kEY, MaxLen (64)] string Name;
    [ValueMap {"1", "2"}] uint16 Codes[];
    real32 Real;  boolean Flag; datetime When;
};
[Association] class T_Link { [Key] T_Base REF Left; [Key] t_base REF Right; };
)");
    ASSERT_EQ(schema.classes().size(), 2U);
    const mof::Class& base = schema.classes()[0];
    EXPECT_EQ(base.name, "T_Base");
    EXPECT_EQ(base.superclass, "");
    EXPECT_FALSE(base.isAssociation());
    EXPECT_FALSE(base.isAbstract());
    EXPECT_EQ(base.qualifier("description")->value, Texts{"one and \"q\" \\ é"});
    EXPECT_TRUE(base.qualifier("Description")->translatable);

    Texts properties;
    for (const mof::Property& property : base.properties) {
        properties.push_back(broker::typeName(property.type) + (property.array ? "[] " : " ") + property.name);
        EXPECT_EQ(property.classOrigin, "T_Base");
        EXPECT_FALSE(property.propagated);
        EXPECT_EQ(property.isKey(), property.name == "Name");
    }
    EXPECT_EQ(properties, (Texts{"string Name", "uint16[] Codes", "real32 Real", "boolean Flag", "datetime When"}));
    const mof::Property& name = *base.property("NAME");
    ASSERT_EQ(name.qualifiers.size(), 2U);
    EXPECT_EQ(name.qualifiers[0].name, "Key");
    EXPECT_EQ(name.qualifiers[0].value, Texts{"true"});
    EXPECT_FALSE(name.qualifiers[0].overridable);
    EXPECT_EQ(name.qualifier("MaxLen")->value, Texts{"64"});
    EXPECT_EQ(name.qualifier("ValueMap"), nullptr);
    const mof::Qualifier& map = *base.property("Codes")->qualifier("ValueMap");
    EXPECT_EQ(map.value, (Texts{"1", "2"}));
    EXPECT_TRUE(map.array);
    EXPECT_EQ(map.type, CMPI_string);
    EXPECT_TRUE(map.overridable);
    EXPECT_TRUE(map.toSubclass);

    const mof::Class& link = schema.classes()[1];
    EXPECT_TRUE(link.isAssociation());
    for (const mof::Property& reference : link.properties) {
        EXPECT_EQ(reference.type, CMPI_ref);
        EXPECT_EQ(reference.referenceClass, "T_Base");
    }
}

TEST(MofReader, PassesPropertiesAndQualifiersOnByTheirFlavor) {
    const mof::Schema schema = read(R"(
[Abstract, Description ("base")] class T_Base { [Key, Description ("key"), MaxLen (8)] string K; };
class T_Plain : T_BASE { uint8 N; };
[Description ("own")] class T_Own : T_Base { };
)");
    const mof::Class& plain = *schema.find("t_plain");
    EXPECT_EQ(plain.superclass, "T_Base");
    EXPECT_FALSE(plain.isAbstract());
    ASSERT_EQ(plain.qualifiers.size(), 1U);
    EXPECT_EQ(plain.qualifiers[0].value, Texts{"base"});
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
    EXPECT_EQ(own.qualifiers[0].value, Texts{"own"});
    EXPECT_FALSE(own.qualifiers[0].propagated);
}

TEST(MofReader, KeepsTheDeclarationsOfQualifiers) {
    const mof::Schema schema = read("Qualifier Q : uint16 = 2, Scope(method, class), Flavor(Restricted);");
    EXPECT_EQ(schema.qualifiers().size(), 7U);
    const mof::QualifierDeclaration* declared = schema.findQualifier("q");
    ASSERT_NE(declared, nullptr);
    EXPECT_EQ(declared, &schema.qualifiers().back());
    EXPECT_EQ(declared->name, "Q");
    EXPECT_EQ(declared->scope, (std::set<std::string>{"CLASS", "METHOD"}));
    EXPECT_EQ(declared->defaults.value, Texts{"2"});
    EXPECT_FALSE(declared->defaults.array);
    EXPECT_FALSE(declared->defaults.toSubclass);
    EXPECT_EQ(schema.findQualifier("Description")->scope.size(), 7U);  // all that there are
    EXPECT_EQ(schema.findQualifier("ValueMap")->scope, (std::set<std::string>{"PROPERTY", "METHOD", "PARAMETER"}));
    EXPECT_EQ(schema.findQualifier("ValueMap")->defaults.value, std::nullopt);
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
    EXPECT_EQ(namesOf(schema.subclasses("", false)), (Texts{"T_A", "T_D"}));
    EXPECT_EQ(namesOf(schema.subclasses("", true)), (Texts{"T_A", "T_B", "T_C", "T_D", "T_E"}));
    EXPECT_EQ(namesOf(schema.subclasses("T_A", false)), (Texts{"T_B", "T_E"}));
    EXPECT_EQ(namesOf(schema.subclasses("T_A", true)), (Texts{"T_B", "T_C", "T_E"}));
    EXPECT_EQ(namesOf(schema.subclasses("T_C", true)), Texts{});
}

TEST(MofReader, RefusesWhatItDoesNotKnowAndTellsTheLine) {
    const struct {
        const char* text;
        const char* error;  // after the file's name
    } rows[] = {
        {"\n\nclass", "3: expected a class name, found the end of the text"},
        {"class T_A {\n", "2: expected a type or a class that is declared before, found the end of the text"},
        {"class T_A { [Key] string K; }\nclass", "2: expected ;, found class"},
        {"class T_A { [Key string K; };", "1: expected ], found string"},
        {"class T_A { string 1; };", "1: expected a property's name, found 1"},
        {"class T_A { string K[3]; };", "1: expected ], found 3"},
        {"class T_A { uint8 M(); };", "1: expected ;, found ("},
        {"class T_A { uint8 P = 1; };", "1: expected ;, found ="},
        {"class T_A {\n string K; uint8 k; };", "2: k is declared already"},
        {"class T_A { string K; };\nclass T_B : T_A { uint8 K; };", "2: K is declared already"},
        {"class T_A : T_B { };", "1: expected a class that is declared before, found T_B"},
        {"class T_A { T_B REF R; };", "1: expected a type or a class that is declared before, found T_B"},
        {"class T_A { [Sweet] string K; };", "1: expected a qualifier that is declared before, found Sweet"},
        {"[Description] class T_A { };", "1: expected (, found ]"},
        {"[Description (1)] class T_A { };", "1: expected a string, found 1"},
        {"[Description {\"x\"}] class T_A { };", "1: expected (, found {"},
        {"[Description (\"x\") : Restricted] class T_A { };", "1: expected ], found :"},
        {"[MaxLen (\"8\")] class T_A { };", "1: expected a number, found a string"},
        {"[Description (\"a\n\")] class T_A { };", "1: the string does not end on its line"},
        {"[Description (\"a", "1: the string does not end on its line"},
        {"[Description (\"\\n\")] class T_A { };", "1: an unknown escape in a string"},
        {"instance of T_A { };", "1: expected class, found instance"},
        {"\n/* one */", "2: expected class, found /"},
        {"#pragma include (\"x.mof\")", "1: expected locale, found include"},
        {"Qualifier Q : nothing, Scope(any), Flavor(Restricted);", "1: expected a type, found nothing"},
        {"Qualifier Q : uint8, Scope(thing), Flavor(Restricted);", "1: expected a kind of element, found thing"},
        {"Qualifier Q : uint8, Scope(any), Flavor(Sweet);", "1: expected a flavor, found Sweet"},
        {"Qualifier Q : boolean = 1, Scope(any), Flavor(Restricted);", "1: expected false, found 1"},
    };
    for (const auto& row : rows) EXPECT_EQ(errorOf(row.text), std::string("t.mof:") + row.error) << row.text;
}
