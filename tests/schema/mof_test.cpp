// The reader of MOF texts, with texts of its own. That it reads ours right is told by schema_test.cpp.
#include <string>
#include <vector>

#include <gtest/gtest.h>

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

TEST(MofReader, ReadsClassesWithAllThatTheyCanDeclareAndInherit) {
    const mof::Schema schema = read(R"(
#pragma locale ("en_US")
// a comment to the end of the line, with "quotes"
[Abstract, Description ("one" // joined
   " and \"q\" \\ é")]
CLASS T_Base { [kEY, MaxLen (64)] string Name; [ValueMap {"1", "2"}] uint16 Codes[]; };
[Description ("own")] class T_Own : t_BASE { datetime When; };
[Association] class T_Link { [Key] T_Base REF Left; [Key] t_own REF Right; };
)");
    ASSERT_EQ(namesOf(schema.subclasses("", true)), (Texts{"T_Base", "T_Own", "T_Link"}));
    const mof::Class& base = *schema.find("T_Base");
    EXPECT_EQ(base.superclass, "");
    EXPECT_FALSE(base.isAssociation());
    EXPECT_TRUE(base.isAbstract());
    EXPECT_EQ(base.qualifier("description")->value, Texts{"one and \"q\" \\ é"});
    EXPECT_TRUE(base.qualifier("Description")->translatable);
    const mof::Property& codes = *base.property("CODES");
    EXPECT_EQ(codes.type, CMPI_uint16);
    EXPECT_TRUE(codes.array);
    EXPECT_FALSE(codes.isKey());
    EXPECT_EQ(codes.qualifier("ValueMap")->value, (Texts{"1", "2"}));

    const mof::Class& own = *schema.find("t_own");
    EXPECT_EQ(own.superclass, "T_Base");
    EXPECT_FALSE(own.isAbstract());
    ASSERT_EQ(own.qualifiers.size(), 1U);
    EXPECT_EQ(own.qualifiers[0].value, Texts{"own"});
    EXPECT_FALSE(own.qualifiers[0].propagated);
    ASSERT_EQ(own.properties.size(), 3U);
    const mof::Property& key = own.properties[0];
    EXPECT_EQ(key.name, "Name");
    EXPECT_EQ(key.classOrigin, "T_Base");
    EXPECT_TRUE(key.propagated);
    EXPECT_TRUE(key.isKey());
    EXPECT_TRUE(key.qualifier("Key")->propagated);
    EXPECT_FALSE(key.qualifier("Key")->overridable);
    EXPECT_EQ(base.property("Name")->qualifier("MaxLen")->value, Texts{"64"});
    EXPECT_EQ(key.qualifier("MaxLen"), nullptr);  // restricted to the class that has it
    EXPECT_EQ(own.properties[2].classOrigin, "T_Own");
    EXPECT_FALSE(own.properties[2].propagated);

    const mof::Class& link = *schema.find("T_Link");
    EXPECT_TRUE(link.isAssociation());
    EXPECT_EQ(link.properties[0].type, CMPI_ref);
    EXPECT_EQ(link.properties[1].referenceClass, "T_Own");
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
        {"class T_A { uint8 P = 1; };", "1: expected ;, found ="},
        {"class T_A {\n string K; uint8 k; };", "2: k is declared already"},
        {"class T_A { string K; };\nclass T_B : T_A { uint8 K; };", "2: K is declared already"},
        {"class T_A : T_B { };", "1: expected a class that is declared before, found T_B"},
        {"class T_A { T_B REF R; };", "1: expected a type or a class that is declared before, found T_B"},
        {"class T_A { [Sweet] string K; };", "1: expected a qualifier that is declared before, found Sweet"},
        {"[Description] class T_A { };", "1: expected (, found ]"},
        {"[Description (1)] class T_A { };", "1: expected a string, found 1"},
        {"[Description (\"x\") : Restricted] class T_A { };", "1: expected ], found :"},
        {"[MaxLen (\"8\")] class T_A { };", "1: expected a number, found a string"},
        {"[Description (\"a\n\")] class T_A { };", "1: the string does not end on its line"},
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
