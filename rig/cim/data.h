#ifndef PCIINFO_CIM_DATA_H
#define PCIINFO_CIM_DATA_H

#include <cmpi/cmpidt.h>

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace cim {

struct ObjectPath;
struct Instance;

/**
 * A CIM value as plain data, copied out of the object manager's objects: `type` is the CMPI type code as the provider
 * stored it (character data reads back as CMPI_string), `null` the null state. Integers of every width are held as
 * uint64 or sint64, reals as double.
 */
struct Value {
    CMPIType type = CMPI_null;
    bool null = true;
    std::variant<std::monostate, bool, std::uint64_t, std::int64_t, double, std::string, std::shared_ptr<ObjectPath>,
                 std::shared_ptr<Instance>, std::vector<Value>>
        data;

    Value() = default;
    // Where there is no memory for the data, the copy constructor of a variant of such types destroys what it did not
    // make (libstdc++ takes them for types that never leave it without a value). Assignment does not.
    // cppcheck-suppress useInitializationList
    Value(const Value& other) : type(other.type), null(other.null) { data = other.data; }
    Value(Value&&) = default;
    Value& operator=(const Value& other) { return *this = Value(other); }  // wholly or not at all
    Value& operator=(Value&&) = default;
    ~Value() = default;

    static Value string(const std::string& text);
    static Value uint(CMPIType type, std::uint64_t number);
    static Value sint(CMPIType type, std::int64_t number);
    static Value real(CMPIType type, double number);
    static Value boolean(bool value);
    static Value reference(const ObjectPath& path);
    static Value instance(const Instance& instance);
    static Value nothing(CMPIType type);  // a null value of that type
    static Value array(CMPIType elementType, std::vector<Value> elements);

    bool operator==(const Value& other) const;
    bool operator!=(const Value& other) const { return !(*this == other); }
};

struct Property {
    std::string name;
    Value value;
    bool operator==(const Property& other) const { return name == other.name && value == other.value; }
};

struct ObjectPath {
    std::string nameSpace;
    std::string className;
    std::vector<Property> keys;  // in the order in which they were added

    const Value* key(const std::string& name) const;  // letter case is ignored; null when absent
    bool operator==(const ObjectPath& other) const;
};

struct Instance {
    ObjectPath path;
    std::vector<Property> properties;  // in the order in which they were first set, keys of the path included

    const Value* property(const std::string& name) const;  // letter case is ignored; null when absent
    bool operator==(const Instance& other) const { return path == other.path && properties == other.properties; }
};

/** "root/kavix:Class.Key=\"text\",Number=3"; references are nested and quoted. */
std::string toString(const ObjectPath& path);
/** The value alone: text without quotes, numbers in decimal, arrays as "1, 2", null as "NULL", paths as above. */
std::string toString(const Value& value);
/** The CIM name of a type: "uint8", "string", "uint16[]", "reference"... */
std::string typeName(CMPIType type);
/** The name of a return code: "CMPI_RC_OK", "CMPI_RC_ERR_INVALID_CLASS"...; "CMPI_RC_(n)" for an unknown one. */
std::string statusName(CMPIrc rc);
/**
 * Reads what toString writes (the namespace may be left out: "root/kavix" then). Throws std::invalid_argument with a
 * message that says what is wrong and where. Integers become uint64, or sint64 below zero; NULL becomes a null string;
 * quoted text is a reference where it is a whole path with namespace and keys.
 */
ObjectPath parseObjectPath(const std::string& text);

/** The value with that name, replaced where it is there already (the first spelling stays), else added. */
void setNamed(std::vector<Property>& properties, const std::string& name, Value value);

}  // namespace cim

#endif
