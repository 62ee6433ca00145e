// Values between a provider's variables and plain data. Tests: tests/broker/instances_test.cpp, objectpaths_test.cpp.
#include "broker/convert.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

#include "broker/objects.h"

namespace broker {

namespace {

// Providers pass the address of a variable of the type, which need not be aligned as the whole union is.
template <typename Data>
Data read(const CMPIValue* value) {
    Data data;
    std::memcpy(&data, static_cast<const void*>(value), sizeof data);
    return data;
}

Taken taken(Value value) {
    return {CMPI_RC_OK, std::move(value)};
}

/** The living object behind the pointer at `value`, as a Value by `copy`. */
template <typename T, typename Copy>
Taken takeObject(const Broker& broker, const CMPIValue* value, CMPIType type, Copy copy) {
    const auto* handle = read<const void*>(value);
    if (handle == nullptr) return taken(Value::nothing(type));
    const auto* object = dynamic_cast<const T*>(broker.find(handle));
    if (object == nullptr) return {CMPI_RC_ERR_TYPE_MISMATCH, {}};
    return taken(copy(object->data));
}

CMPIType elementTypeOf(CMPIType arrayType) {
    return static_cast<CMPIType>(arrayType & ~CMPI_ARRAY);
}

Taken takeArray(const Broker& broker, const CMPIValue* value, CMPIType type) {
    const CMPIType elementType = elementTypeOf(type);
    if (!isElementType(elementType)) return {CMPI_RC_ERR_INVALID_DATA_TYPE, {}};
    // The elements stay as they are: object managers do not compare their type with the one given here.
    return takeObject<ArrayObject>(broker, value, type,
                                   [&](const ArrayData& array) { return Value::array(elementType, array.elements); });
}

/** Calls `use` with a zero of the C type in which numbers of a CMPI type are passed. */
template <typename Use>
auto withNumber(CMPIType type, Use use) {
    switch (type) {
        case CMPI_uint8:
            return use(CMPIUint8{});
        case CMPI_char16:
        case CMPI_uint16:
            return use(CMPIUint16{});
        case CMPI_uint32:
            return use(CMPIUint32{});
        case CMPI_sint8:
            return use(CMPISint8{});
        case CMPI_sint16:
            return use(CMPISint16{});
        case CMPI_sint32:
            return use(CMPISint32{});
        case CMPI_sint64:
            return use(CMPISint64{});
        case CMPI_real32:
            return use(CMPIReal32{});
        case CMPI_real64:
            return use(CMPIReal64{});
        default:
            return use(CMPIUint64{});
    }
}

Value numberAt(const CMPIValue* value, CMPIType type) {
    return withNumber(type, [&](auto zero) {
        using Number = decltype(zero);
        if constexpr (std::is_floating_point_v<Number>) {
            return Value::real(type, static_cast<double>(read<Number>(value)));
        } else if constexpr (std::is_signed_v<Number>) {
            return Value::sint(type, read<Number>(value));
        } else {
            return Value::uint(type, read<Number>(value));
        }
    });
}

/** Members of the union all begin where it begins. */
template <typename Data>
CMPIValue holding(const Data& data) {
    CMPIValue result{};
    std::memcpy(&result, &data, sizeof data);
    return result;
}

/** A value as a provider gets it; objects are made for it. */
struct Giver {
    Broker& broker;
    const Value& value;

    CMPIValue operator()(std::monostate) const { return {}; }
    CMPIValue operator()(bool truth) const { return holding<CMPIBoolean>(truth ? 1 : 0); }
    template <typename Number>
    CMPIValue operator()(Number number) const {
        return withNumber(value.type, [&](auto zero) { return holding(static_cast<decltype(zero)>(number)); });
    }
    CMPIValue operator()(const std::string& text) const {
        return holding<void*>(broker.make<StringObject>(text).handle());
    }
    CMPIValue operator()(const std::shared_ptr<ObjectPath>& path) const {
        return holding<void*>(broker.make<PathObject>(*path).handle());
    }
    CMPIValue operator()(const std::shared_ptr<Instance>& instance) const {
        return holding<void*>(broker.make<InstanceObject>(*instance).handle());
    }
    CMPIValue operator()(const std::vector<Value>& elements) const {
        const CMPIType type = elements.empty() ? elementTypeOf(value.type) : elements.front().type;
        return holding<void*>(broker.make<ArrayObject>(ArrayData{type, false, elements}).handle());
    }
};

}  // namespace

bool isElementType(CMPIType type) {
    static constexpr std::array<CMPIType, 16> types{
        CMPI_boolean, CMPI_char16, CMPI_real32, CMPI_real64, CMPI_uint8,    CMPI_uint16, CMPI_uint32, CMPI_uint64,
        CMPI_sint8,   CMPI_sint16, CMPI_sint32, CMPI_sint64, CMPI_instance, CMPI_ref,    CMPI_string, CMPI_chars};
    return std::find(types.begin(), types.end(), type) != types.end();
}

CMPIType keptType(CMPIType type) {
    return Value::nothing(type).type;
}

Taken take(const Broker& broker, const CMPIValue* value, CMPIType type) {
    const bool isArray = (type & CMPI_ARRAY) != 0;
    if (!isArray && !isElementType(type)) return {CMPI_RC_ERR_INVALID_DATA_TYPE, {}};
    if (value == nullptr) return taken(Value::nothing(type));
    if (isArray) return takeArray(broker, value, type);
    switch (type) {
        case CMPI_boolean:
            return taken(Value::boolean(read<CMPIBoolean>(value) != 0));
        case CMPI_chars:
            return taken(Value::string(static_cast<const char*>(static_cast<const void*>(value))));
        case CMPI_string:
            return takeObject<StringObject>(broker, value, type, Value::string);
        case CMPI_ref:
            return takeObject<PathObject>(broker, value, type, Value::reference);
        case CMPI_instance:
            return takeObject<InstanceObject>(broker, value, type, Value::instance);
        default:
            return taken(numberAt(value, type));
    }
}

CMPIData give(Broker& broker, const Value& value, CMPIValueState state) {
    CMPIData data{};
    data.type = value.type;
    data.state = static_cast<CMPIValueState>(state | (value.null ? CMPI_nullValue : CMPI_goodValue));
    if (!value.null) data.value = std::visit(Giver{broker, value}, value.data);
    return data;
}

}  // namespace broker
