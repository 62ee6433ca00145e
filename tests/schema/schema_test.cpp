// The shipped MOF and registration files: whether they hold together, and tell what the provider delivers.
#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cim/names.h"
#include "cim/utf8.h"
#include "emulator/emulatedhost.h"
#include "mof/embedded.h"
#include "tests/samples/reference.h"
#include "tests/samples/sample.h"
#include "tests/support/hostbuilder.h"
#include "tests/support/machine.h"
#include "utils/providerutils.h"

namespace {

using reference::readFile;
using Names = std::set<std::string>;

/** The classes that the provider dispatches requests to. */
const Names kServed = {tPCIInfo::kPciDeviceClass,      tPCIInfo::kPciBridgeClass,      tPCIInfo::kDeviceInSlotClass,
                       tPCIInfo::kSystemSlotClass,     tPCIInfo::kSystemBoardClass,    tPCIInfo::kOnBoardDeviceClass,
                       tPCIInfo::kSlotControllerClass, tPCIInfo::kBoardControllerClass};
/** Those of them that have no instances of their own: their answers are devices and bridges. */
const Names kViews = {tPCIInfo::kSlotControllerClass, tPCIInfo::kBoardControllerClass};

const mof::Schema& declared() {
    return schema::declared();
}

/** A type as broker::typeName writes it. */
std::string typeOf(const mof::Property& property) {
    return broker::typeName(property.type) + (property.array ? "[]" : "");
}

const mof::Property& declaredProperty(const std::string& className, const std::string& name) {
    const mof::Class* found = declared().find(className);
    const mof::Property* property = found != nullptr ? found->property(name) : nullptr;
    if (property == nullptr) throw std::runtime_error(className + "." + name + " is not declared");
    return *property;
}

std::vector<std::string> valuesOf(const mof::Property& property, const char* qualifier) {
    const mof::Qualifier* found = property.qualifier(qualifier);
    return found != nullptr && found->value ? *found->value : std::vector<std::string>{};
}

/** The names of a property's codes. */
std::map<unsigned, std::string> codesOf(const std::string& className, const std::string& name) {
    const mof::Property& property = declaredProperty(className, name);
    const std::vector<std::string> codes = valuesOf(property, "ValueMap");
    const std::vector<std::string> names = valuesOf(property, "Values");
    if (codes.size() != names.size()) throw std::runtime_error(name + ": ValueMap and Values differ in length");
    std::map<unsigned, std::string> named;
    for (std::size_t i = 0; i < codes.size(); ++i) named[static_cast<unsigned>(std::stoul(codes[i]))] = names[i];
    return named;
}

/** Holds what the provider delivers against the declarations, and remembers what it has seen. */
class Inspection {
 public:
    void inspect(const broker::Instance& instance) {
        inspect(instance.path);
        for (const broker::Property& property : instance.properties) {
            inspect(instance.path.className, property);
            seen_.insert(instance.path.className + "." + property.name);
        }
    }

    void inspect(const broker::ObjectPath& path) {
        const mof::Class* one = declared().find(path.className);
        ASSERT_NE(one, nullptr) << path.className << " is not declared";
        EXPECT_EQ(path.className, one->name);
        EXPECT_EQ(path.nameSpace, "root/kavix");
        EXPECT_FALSE(one->isAbstract()) << one->name;
        std::vector<std::string> keys;
        for (const mof::Property& property : one->properties)
            if (property.isKey()) keys.push_back(property.name);
        std::vector<std::string> delivered;
        for (const broker::Property& key : path.keys) {
            delivered.push_back(key.name);
            inspect(path.className, key);
        }
        EXPECT_EQ(delivered, keys) << path.className;
    }

    /** "Class.Property" of everything that instances have had. */
    const Names& seen() const { return seen_; }

 private:
    void inspect(const std::string& className, const broker::Property& delivered) {
        const mof::Property& property = declaredProperty(className, delivered.name);
        SCOPED_TRACE(className + "." + property.name);
        EXPECT_EQ(delivered.name, property.name);
        ASSERT_FALSE(delivered.value.null);
        EXPECT_EQ(broker::typeName(delivered.value.type), typeOf(property));
        if (const auto* elements = std::get_if<std::vector<broker::Value>>(&delivered.value.data)) {
            for (const broker::Value& element : *elements) inspectCode(property, element);
        } else if (property.type == CMPI_ref) {
            const auto& path = *std::get<std::shared_ptr<broker::ObjectPath>>(delivered.value.data);
            EXPECT_TRUE(declared().isA(path.className, property.referenceClass)) << path.className;
            inspect(path);
        } else {
            inspectCode(property, delivered.value);
        }
    }

    /** A single value is of the type without "[]", and has a name where the property's values have names. */
    static void inspectCode(const mof::Property& property, const broker::Value& value) {
        EXPECT_EQ(value.type, property.type);
        const std::vector<std::string> codes = valuesOf(property, "ValueMap");
        if (codes.empty()) return;
        EXPECT_EQ(std::count(codes.begin(), codes.end(), broker::toString(value)), 1) << broker::toString(value);
    }

    Names seen_;
};

/** Slots of these, numbered from 1, as dmidecode names their parts; those after the end of the table left out. */
std::vector<reference::Slot> dmidecoded(const std::vector<testsupport::Slot>& slots) {
    testsupport::SmbiosBuilder table;
    for (const testsupport::Slot& slot : slots) table.addSlot(slot);
    testsupport::HostBuilder host;
    host.setSmbiosTable(table.bytes());
    return reference::dmidecodeSlots(host.path("bmc/smbios-table").string());
}

/** What dmidecode writes for every code of a byte of the slot record. */
std::vector<std::string> wordsForCodes(std::uint8_t testsupport::Slot::*code, std::string reference::Slot::*word) {
    std::vector<testsupport::Slot> slots(256);
    for (std::size_t i = 0; i < slots.size(); ++i) {
        slots[i].width = 2;  // unknown: dmidecode leaves it out
        slots[i].*code = static_cast<std::uint8_t>(i);
    }
    std::vector<std::string> words;
    for (const reference::Slot& slot : dmidecoded(slots)) words.push_back(slot.*word);
    return words;
}

/** `words` is indexed by the code; dmidecode's words for codes that DSP0134 does not define are in angle brackets. */
void expectSameWords(const std::map<unsigned, std::string>& codes, const std::vector<std::string>& words,
                     const std::map<std::string, std::string>& spelledOtherwise = {}) {
    ASSERT_EQ(words.size(), 256U);
    for (unsigned code = 0; code < words.size(); ++code) {
        const auto ours = codes.find(code);
        if (ours == codes.end()) {
            EXPECT_EQ(words[code].substr(0, 1), "<") << "code " << code << ": " << words[code];
            continue;
        }
        const auto other = spelledOtherwise.find(words[code]);
        const std::string expected = other != spelledOtherwise.end() ? other->second : words[code];
        EXPECT_EQ(ours->second, expected) << "code " << code;
    }
}

/** "Name = value;" of every instance that a registration declares, with its class under "". */
std::vector<std::map<std::string, std::string>> instancesOf(const std::string& mofText) {
    static const std::regex kStart(R"(instance of (\w+) \{)");
    static const std::regex kValue(R"(    (\w+) = (.*);(  //.*)?)");
    std::vector<std::map<std::string, std::string>> instances;
    std::istringstream lines(mofText);
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        if (std::regex_match(line, match, kStart)) {
            instances.push_back({{"", match[1]}});
        } else if (std::regex_match(line, match, kValue)) {
            instances.back().emplace(match[1], match[2]);
        } else if (line != "};" && !line.empty() && line.rfind("//", 0) != 0) {
            throw std::runtime_error("not understood: " + line);
        }
    }
    return instances;
}

void write(std::ostream& text, const mof::Qualifier& qualifier) {
    text << "qualifier " << qualifier.name << ' ' << broker::typeName(qualifier.type) << ' ' << qualifier.array
         << qualifier.overridable << qualifier.toSubclass << qualifier.translatable << qualifier.propagated << '\n';
    for (const std::string& element : qualifier.value.value()) text << element.size() << ':' << element << '\n';
}

/** All that a class declares, inherited properties included, but its version. */
std::string contents(const mof::Class& one) {
    std::ostringstream text;
    text << one.name << ": " << one.superclass << '\n';
    for (const mof::Qualifier& qualifier : one.qualifiers)
        if (qualifier.name != "Version") write(text, qualifier);
    for (const mof::Property& property : one.properties) {
        text << "property " << property.name << ' ' << typeOf(property) << ' ' << property.referenceClass << ' ' << "0 "
             << property.classOrigin << ' ' << property.propagated << "\nNULL\n";  // no size, no default value
        for (const mof::Qualifier& qualifier : property.qualifiers) write(text, qualifier);
    }
    return text.str();
}

/** FNV-1a with 64 bits, in hexadecimal. */
std::string digest(const std::string& text) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char character : text) {
        hash ^= static_cast<unsigned char>(character);
        hash *= 0x100000001b3U;
    }
    std::ostringstream written;
    written << std::hex << std::setw(16) << std::setfill('0') << hash;
    return written.str();
}

/** The three numbers of "1.2.3". */
std::vector<int> numbersOf(const std::string& version) {
    static const std::regex kVersion(R"((\d+)\.(\d+)\.(\d+))");
    std::smatch match;
    if (!std::regex_match(version, match, kVersion)) throw std::runtime_error(version + " is no version");
    return {std::stoi(match[1]), std::stoi(match[2]), std::stoi(match[3])};
}

/** Per class what class-versions has of it: version and digest, in the order of the lines. */
std::map<std::string, std::vector<std::pair<std::string, std::string>>> publishedVersions() {
    std::map<std::string, std::vector<std::pair<std::string, std::string>>> published;
    std::istringstream lines(readFile(PCIINFO_CLASS_VERSIONS));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string name, version, written, rest;
        if (line.empty() || line[0] == '#') continue;
        if (!(fields >> name >> version >> written) || fields >> rest)
            throw std::runtime_error("not understood: " + line);
        published[name].emplace_back(version, written);
    }
    return published;
}

std::vector<const mof::Class*> servedClasses() {
    std::vector<const mof::Class*> served;
    for (const mof::Class& one : declared().classes())
        if (!one.isAbstract()) served.push_back(&one);
    return served;
}

}  // namespace

TEST(Schema, IsTheOneInTheFiles) {
    EXPECT_EQ(schema::classes().text, readFile(PCIINFO_SCHEMA "/PCIInfoProvider.mof"));
    EXPECT_EQ(schema::qualifiers().text, readFile(PCIINFO_SCHEMA "/qualifiers.mof"));
}

TEST(Schema, DeclaresTheClassesThatTheProviderServesAndTheirAbstractBase) {
    Names concrete;
    for (const mof::Class* one : servedClasses()) concrete.insert(one->name);
    EXPECT_EQ(concrete, kServed);

    testsupport::HostBuilder builder;
    const emulator::EmulatedHost host(builder.directory());
    broker::Broker manager;
    manager.load(PCIINFO_LIBRARY);
    for (const mof::Class& one : declared().classes()) {
        const CMPIrc expected = one.isAbstract() ? CMPI_RC_ERR_INVALID_CLASS : CMPI_RC_OK;
        EXPECT_EQ(manager.enumerateInstanceNames(testsupport::classPath(one.name)).status, expected) << one.name;
    }
}

TEST(Schema, FitsEverythingThatTheProviderDeliversOfTheSampleMachines) {
    Inspection inspection;
    Names classes;
    for (const std::string& machine : samples::names()) {
        SCOPED_TRACE(machine);
        const std::string directory = PCIINFO_SAMPLES "/" + machine;
        for (const std::string& asked : kServed) {
            for (const broker::ObjectPath& path : samples::instanceNames(directory, asked)) inspection.inspect(path);
            for (const broker::Instance& instance : samples::instances(directory, asked)) {
                inspection.inspect(instance);
                const std::string& delivered = instance.path.className;
                classes.insert(delivered);
                EXPECT_TRUE(declared().isA(delivered, kViews.count(asked) != 0 ? "QELTA_Controller" : asked))
                    << delivered << " for " << asked;
            }
        }
    }
    Names unseen;
    for (const mof::Class* one : servedClasses()) {
        EXPECT_EQ(classes.count(one->name), 1U - kViews.count(one->name)) << one->name;
        for (const mof::Property& property : one->properties) {
            const std::string name = one->name + "." + property.name;
            if (kViews.count(one->name) == 0 && inspection.seen().count(name) == 0) unseen.insert(name);
        }
    }
    EXPECT_EQ(unseen, (Names{"QELTA_PCIDevice.IOLength", "QELTA_PCIDevice.MEMLength"}));
}

/** What compilers of MOF refuse: words that mean something else, names that stand for two things. */
TEST(Schema, HasNamesOfItsOwn) {
    std::istringstream keywords(
        "any as association class disableoverride enableoverride false flavor indication instance method null of "
        "parameter pragma property qualifier ref reference restricted schema scope tosubclass translatable true void");
    Names taken{std::istream_iterator<std::string>(keywords), {}};
    for (const mof::Class& one : declared().classes()) {
        EXPECT_TRUE(taken.insert(cim::foldedName(one.name)).second) << one.name;
        const std::size_t underscore = one.name.find('_');
        EXPECT_TRUE(underscore > 0 && underscore < one.name.size() - 1) << one.name << ": no schema's name before '_'";
        for (const mof::Property& property : one.properties) {
            EXPECT_EQ(taken.count(cim::foldedName(property.name)), 0U) << property.name;
            EXPECT_EQ(mof::typeNamed(cim::foldedName(property.name)), std::nullopt) << property.name;
        }
    }
    Names qualifiers;
    for (const mof::QualifierDeclaration& one : declared().qualifiers())
        EXPECT_TRUE(qualifiers.insert(cim::foldedName(one.name)).second) << one.name;
    for (const mof::Source& source : {schema::qualifiers(), schema::classes()})
        for (std::string_view rest = source.text; !rest.empty(); rest.remove_prefix(cim::firstPiece(rest).length))
            ASSERT_TRUE(cim::firstPiece(rest).valid) << source.name << " is no UTF-8: " << rest.substr(0, 40);
}

TEST(Schema, HasKeysAndReferencesWhereTheyBelong) {
    for (const mof::Class& one : declared().classes()) {
        SCOPED_TRACE(one.name);
        const auto count = [&](const auto& which) {
            return std::count_if(one.properties.begin(), one.properties.end(), which);
        };
        const auto references = count([](const mof::Property& each) { return each.type == CMPI_ref; });
        EXPECT_TRUE(one.isAbstract() || count([](const mof::Property& each) { return each.isKey(); }) > 0) << "no key";
        EXPECT_EQ(count([](const mof::Property& each) { return each.isKey() && each.array; }), 0);
        EXPECT_EQ(count([](const mof::Property& each) { return each.type == CMPI_ref && each.array; }), 0);
        EXPECT_TRUE(one.isAssociation() ? references >= 2 : references == 0) << references << " references";
        const mof::Class* base = declared().find(one.superclass);
        if (one.isAssociation() && base == nullptr) {
            EXPECT_EQ(one.qualifiers.front().name, "Association");
        }
        if (base == nullptr) continue;
        EXPECT_TRUE(base->isAbstract() || !one.isAbstract()) << "abstract, its superclass is not";
        EXPECT_EQ(one.isAssociation(), base->isAssociation());
    }
}

/** Where they may stand, once, and with the values that a superclass does not let them change. */
TEST(Schema, UsesQualifiersAsTheyAreDeclared) {
    const auto expectAllowed = [](const std::vector<mof::Qualifier>& qualifiers, const std::string& element) {
        Names names;
        for (const mof::Qualifier& each : qualifiers) {
            EXPECT_TRUE(names.insert(each.name).second) << each.name << " stands here twice";
            EXPECT_EQ(declared().findQualifier(each.name)->scope.count(element), 1U) << each.name << " of " << element;
        }
    };
    for (const mof::Class& one : declared().classes()) {
        SCOPED_TRACE(one.name);
        expectAllowed(one.qualifiers, one.isAssociation() ? "ASSOCIATION" : "CLASS");
        for (const mof::Property& property : one.properties)
            expectAllowed(property.qualifiers, property.type == CMPI_ref ? "REFERENCE" : "PROPERTY");
        const mof::Class* base = declared().find(one.superclass);
        if (base == nullptr) continue;
        for (const mof::Qualifier& each : base->qualifiers)
            EXPECT_TRUE(!each.toSubclass || each.overridable || one.qualifier(each.name)->value == each.value);
    }
}

TEST(Schema, DescribesEveryClassAndPropertyAndNamesCodesInOrder) {
    for (const mof::Class& one : declared().classes()) {
        EXPECT_NE(one.qualifier("Version"), nullptr) << one.name;
        ASSERT_NE(one.qualifier("Description"), nullptr) << one.name;
        EXPECT_FALSE(one.qualifier("Description")->propagated) << one.name;
        for (const mof::Property& property : one.properties) {
            SCOPED_TRACE(one.name + "." + property.name);
            const std::vector<std::string> description = valuesOf(property, "Description");
            ASSERT_EQ(description.size(), 1U);
            EXPECT_EQ(description[0].back(), '.');
            EXPECT_EQ(property.qualifier("Read") != nullptr, property.type != CMPI_ref);
            EXPECT_EQ(property.qualifier("ArrayType") != nullptr, property.array);
            EXPECT_EQ(property.qualifier("ValueMap") != nullptr, property.qualifier("Values") != nullptr);
            const std::vector<std::string> codes = valuesOf(property, "ValueMap");
            ASSERT_EQ(codes.size(), valuesOf(property, "Values").size());
            for (std::size_t i = 1; i < codes.size(); ++i) EXPECT_LT(std::stoul(codes[i - 1]), std::stoul(codes[i]));
        }
    }
}

// A manager that has a class already takes the changed one for its higher version only.
TEST(Schema, RaisesTheVersionOfAClassThatChanges) {
    const auto published = publishedVersions();
    for (const mof::Class& one : declared().classes()) {
        const mof::Qualifier* qualifier = one.qualifier("Version");
        ASSERT_NE(qualifier, nullptr) << one.name;
        const std::string version = qualifier->value.value().at(0);
        const std::string now = digest(contents(one));
        std::vector<int> highest = {0, 0, 0};
        std::string then;
        const auto found = published.find(one.name);
        if (found != published.end()) {
            for (const auto& [number, written] : found->second) {
                EXPECT_LT(highest, numbersOf(number)) << one.name << ": no later line has a lower version";
                highest = numbersOf(number);
                if (number == version) then = written;
            }
        }
        if (then.empty()) {
            EXPECT_LT(highest, numbersOf(version)) << one.name << " has had a higher version";
            ADD_FAILURE() << "version " << version << " of " << one.name << " is new. When it is ready for others:\n"
                          << "echo '" << one.name << ' ' << version << ' ' << now << "' >>" PCIINFO_CLASS_VERSIONS;
        } else {
            EXPECT_EQ(now, then) << one.name << " or its superclass has changed, its version " << version
                                 << " has not: raise the second or third number in " PCIINFO_SCHEMA
                                 << "/PCIInfoProvider.mof (object managers refuse a higher first one)";
            EXPECT_EQ(numbersOf(version), highest) << one.name << " has had a higher version";
        }
    }
}

// Older clients know the one qualifier, newer ones the other.
TEST(Schema, TellsUnitsInBothForms) {
    std::map<std::string, std::string> units;
    for (const mof::Class& one : declared().classes())
        for (const mof::Property& property : one.properties) {
            const std::vector<std::string> words = valuesOf(property, "Units");
            const std::vector<std::string> program = valuesOf(property, "PUnit");
            ASSERT_EQ(words.size(), program.size()) << one.name << '.' << property.name;
            if (!words.empty()) units[property.name] = words[0] + " is " + program[0];
        }
    const std::map<std::string, std::string> expected{
        {"MEMAddress", "256 Bytes is byte * 2^8"}, {"MEMLength", "Bytes is byte"}, {"IOLength", "Bytes is byte"}};
    EXPECT_EQ(units, expected);
}

TEST(Schema, NamesTheCodesOfSlotsAsDmidecodeDoes) {
    using Slot = testsupport::Slot;
    const std::string slot = tPCIInfo::kSystemSlotClass;
    expectSameWords(codesOf(slot, "ConnectorType"), wordsForCodes(&Slot::type, &reference::Slot::type),
                    {{"VLB", "VL-VESA"},
                     {"MXM Type III", "MXM Type III (standard connector)"},
                     {"MXM Type III-HE", "MXM Type III (HE connector)"},
                     {"CXL FLexbus 1.0", "CXL Flexbus 1.0"}});
    expectSameWords(codesOf(slot, "CurrentUsage"), wordsForCodes(&Slot::usage, &reference::Slot::usage));
    expectSameWords(codesOf(slot, "SlotLength"), wordsForCodes(&Slot::length, &reference::Slot::length));

    // Widths stand in front of the type, "8-bit PCI"; there is none for the codes 1 and 2.
    std::vector<std::string> widths = wordsForCodes(&Slot::width, &reference::Slot::type);
    for (std::string& width : widths) width = width == "PCI" ? "" : width.substr(0, width.rfind(" PCI"));
    std::map<unsigned, std::string> codes = codesOf(slot, "MaxDataWidth");
    EXPECT_EQ(codes[1], "Other");
    EXPECT_EQ(codes[2], "Unknown");
    codes[1] = codes[2] = "";
    for (auto& [code, name] : codes) std::replace(name.begin(), name.end(), ' ', '-');
    expectSameWords(codes, widths);
}

TEST(Schema, KnowsNoPciClassThatThePciIdListDoesNotKnow) {
    const std::string ids = readFile(PCIINFO_PCI_IDS);
    const std::map<unsigned, std::string> codes = codesOf("QELTA_Controller", "ClassCode");
    ASSERT_FALSE(codes.empty());
    for (const auto& [code, name] : codes) {
        char start[] = "\nC xx  ";
        constexpr char kDigits[] = "0123456789abcdef";
        start[3] = kDigits[code >> 4];
        start[4] = kDigits[code & 15];
        EXPECT_NE(ids.find(start), std::string::npos) << name;
    }
}

TEST(Registrations, NameEveryServedClassWithItsProviderTypes) {
    std::string sections;
    std::string lines;
    for (const mof::Class* one : servedClasses()) {
        const std::string types = one->isAssociation() ? "instance association" : "instance";
        sections += "[" + one->name +
                    "]\n   provider: PCIInfoProvider\n   location: PCIInfoProvider\n   type: " + types +
                    "\n   namespace: root/kavix\n#\n";
        lines += one->name + " root/kavix PCIInfoProvider PCIInfoProvider " + types + "\n";
    }
    EXPECT_EQ(readFile(PCIINFO_SCHEMA "/PCIInfoProvider.reg"), sections);
    EXPECT_EQ(readFile(PCIINFO_SCHEMA "/PCIInfoProvider.registration"), lines);

    using Fields = std::map<std::string, std::string>;
    auto instances = instancesOf(readFile(PCIINFO_SCHEMA "/PCIInfoProviderRegistration.mof"));
    ASSERT_EQ(instances.size(), 2 + servedClasses().size());
    EXPECT_EQ(instances[0], (Fields{{"", "PG_ProviderModule"},
                                    {"Name", "\"PCIInfoProviderModule\""},
                                    {"Vendor", "\"The PCI information provider authors\""},
                                    {"Version", "\"" PCIINFO_VERSION "\""},
                                    {"InterfaceType", "\"CMPI\""},
                                    {"InterfaceVersion", "\"2.0.0\""},
                                    {"Location", "\"PCIInfoProvider\""}}));
    EXPECT_EQ(instances[1], (Fields{{"", "PG_Provider"},
                                    {"ProviderModuleName", "\"PCIInfoProviderModule\""},
                                    {"Name", "\"PCIInfoProvider\""}}));
    Names capabilities;
    for (std::size_t i = 0; i < servedClasses().size(); ++i) {
        Fields& fields = instances[i + 2];
        const mof::Class& one = *servedClasses()[i];
        EXPECT_TRUE(capabilities.insert(fields["CapabilityID"]).second) << fields["CapabilityID"];
        fields.erase("CapabilityID");
        EXPECT_EQ(fields, (Fields{{"", "PG_ProviderCapabilities"},
                                  {"ProviderModuleName", "\"PCIInfoProviderModule\""},
                                  {"ProviderName", "\"PCIInfoProvider\""},
                                  {"ClassName", "\"" + one.name + "\""},
                                  {"Namespaces", "{\"root/kavix\"}"},
                                  {"ProviderType", one.isAssociation() ? "{2, 3}" : "{2}"},
                                  {"SupportedProperties", "NULL"},
                                  {"SupportedMethods", "NULL"}}));
    }
}
