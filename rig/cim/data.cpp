// Values, object paths and instances as plain data. Tests: tests/broker/text_test.cpp.
#include "cim/data.h"

#include "cim/names.h"

namespace cim {

namespace {

CMPIType storedType(CMPIType type) {
    const auto element = static_cast<CMPIType>(type & ~CMPI_ARRAY);
    return element == CMPI_chars ? static_cast<CMPIType>((type & CMPI_ARRAY) | CMPI_string) : type;
}

template <typename Data>
Value made(CMPIType type, Data data) {
    Value value;
    value.type = storedType(type);
    value.null = false;
    value.data = std::move(data);
    return value;
}

const Value* valueOf(const Property* property) {
    return property == nullptr ? nullptr : &property->value;
}

/** Compares the contents of two variants of one alternative: what is pointed to, not the pointers. */
struct SameContents {
    const Value& other;

    template <typename Data>
    bool operator()(const Data& data) const {
        return data == std::get<Data>(other.data);
    }
    template <typename Data>
    bool operator()(const std::shared_ptr<Data>& data) const {
        const auto& others = std::get<std::shared_ptr<Data>>(other.data);
        return data == others || (data && others && *data == *others);
    }
};

}  // namespace

Value Value::string(const std::string& text) {
    return made(CMPI_string, text);
}

Value Value::uint(CMPIType type, std::uint64_t number) {
    return made(type, number);
}

Value Value::sint(CMPIType type, std::int64_t number) {
    return made(type, number);
}

Value Value::real(CMPIType type, double number) {
    return made(type, number);
}

Value Value::boolean(bool value) {
    return made(CMPI_boolean, value);
}

Value Value::reference(const ObjectPath& path) {
    return made(CMPI_ref, std::make_shared<ObjectPath>(path));
}

Value Value::instance(const Instance& instance) {
    return made(CMPI_instance, std::make_shared<Instance>(instance));
}

Value Value::nothing(CMPIType type) {
    Value value;
    value.type = storedType(type);
    return value;
}

Value Value::array(CMPIType elementType, std::vector<Value> elements) {
    return made(static_cast<CMPIType>(elementType | CMPI_ARRAY), std::move(elements));
}

bool Value::operator==(const Value& other) const {
    return type == other.type && null == other.null && data.index() == other.data.index() &&
           std::visit(SameContents{other}, data);
}

const Value* ObjectPath::key(const std::string& name) const {
    return valueOf(findNamed(keys, name));
}

bool ObjectPath::operator==(const ObjectPath& other) const {
    return nameSpace == other.nameSpace && className == other.className && keys == other.keys;
}

const Value* Instance::property(const std::string& name) const {
    return valueOf(findNamed(properties, name));
}

void setNamed(std::vector<Property>& properties, const std::string& name, Value value) {
    if (Property* property = findNamed(properties, name)) {
        property->value = std::move(value);
    } else {
        properties.push_back({name, std::move(value)});
    }
}

}  // namespace cim
