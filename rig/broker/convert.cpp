#include "broker/convert.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace broker {

namespace {

// Providers pass the address of a variable of the type, which need not be aligned as the whole union is.
template <class Data>
Data read(const CMPIValue* value) {
    Data data;
    std::memcpy(&data, static_cast<const void*>(value), sizeof data);
    return data;
}

Taken taken(Value value) {
    return {CMPI_RC_OK, std::move(value)};
}

/** The living object behind the pointer at `value`, as a Value by `copy`. */
template <class T, class Copy>
Taken takeObject(const Core& core, const CMPIValue* value, CMPIType type, Copy copy) {
    const auto* handle = read<const void*>(value);
    if (handle == nullptr) return taken(Value::nothing(type));
    const auto* object = dynamic_cast<const T*>(core.find(handle));
    if (object == nullptr) return {CMPI_RC_ERR_TYPE_MISMATCH, {}};
    return taken(copy(object->data));
}

Taken takeArray(const Core& core, const CMPIValue* value, CMPIType type) {
    const auto elementType = static_cast<CMPIType>(type & ~CMPI_ARRAY);
    if (!isElementType(elementType)) return {CMPI_RC_ERR_INVALID_DATA_TYPE, {}};
    // The elements stay as they are: object managers do not compare their type with the one given here.
    return takeObject<ArrayObject>(core, value, type,
                                   [&](const ArrayData& array) { return Value::array(elementType, array.elements); });
}

CMPIValue elementsOf(Core& core, const Value& value) {
    ArrayData array;
    array.elements = std::get<std::vector<Value>>(value.data);
    array.elementType =
        array.elements.empty() ? static_cast<CMPIType>(value.type & ~CMPI_ARRAY) : array.elements.front().type;
    CMPIValue result{};
    result.array = core.make<ArrayObject>(std::move(array)).handle();
    return result;
}

CMPIValue unsignedValue(CMPIType type, std::uint64_t number) {
    CMPIValue result{};
    switch (type) {
        case CMPI_uint8:
            result.uint8 = static_cast<CMPIUint8>(number);
            break;
        case CMPI_uint16:
            result.uint16 = static_cast<CMPIUint16>(number);
            break;
        case CMPI_uint32:
            result.uint32 = static_cast<CMPIUint32>(number);
            break;
        case CMPI_char16:
            result.char16 = static_cast<CMPIChar16>(number);
            break;
        default:
            result.uint64 = number;
    }
    return result;
}

CMPIValue signedValue(CMPIType type, std::int64_t number) {
    CMPIValue result{};
    switch (type) {
        case CMPI_sint8:
            result.sint8 = static_cast<CMPISint8>(number);
            break;
        case CMPI_sint16:
            result.sint16 = static_cast<CMPISint16>(number);
            break;
        case CMPI_sint32:
            result.sint32 = static_cast<CMPISint32>(number);
            break;
        default:
            result.sint64 = number;
    }
    return result;
}

struct Giver {
    Core& core;
    const Value& value;

    CMPIValue operator()(std::monostate) const { return {}; }
    CMPIValue operator()(bool truth) const {
        CMPIValue result{};
        result.boolean = truth ? 1 : 0;
        return result;
    }
    CMPIValue operator()(std::uint64_t number) const { return unsignedValue(value.type, number); }
    CMPIValue operator()(std::int64_t number) const { return signedValue(value.type, number); }
    CMPIValue operator()(double number) const {
        CMPIValue result{};
        if (value.type == CMPI_real32) {
            result.real32 = static_cast<CMPIReal32>(number);
        } else {
            result.real64 = number;
        }
        return result;
    }
    CMPIValue operator()(const std::string& text) const {
        CMPIValue result{};
        result.string = core.make<StringObject>(text).handle();
        return result;
    }
    CMPIValue operator()(const std::shared_ptr<ObjectPath>& path) const {
        CMPIValue result{};
        result.ref = core.make<PathObject>(*path).handle();
        return result;
    }
    CMPIValue operator()(const std::shared_ptr<Instance>& instance) const {
        CMPIValue result{};
        result.inst = core.make<InstanceObject>(*instance).handle();
        return result;
    }
    CMPIValue operator()(const std::vector<Value>&) const { return elementsOf(core, value); }
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

Taken take(const Core& core, const CMPIValue* value, CMPIType type) {
    const bool isArray = (type & CMPI_ARRAY) != 0;
    if (!isArray && !isElementType(type)) return {CMPI_RC_ERR_INVALID_DATA_TYPE, {}};
    if (value == nullptr) return taken(Value::nothing(type));
    if (isArray) return takeArray(core, value, type);
    switch (type) {
        case CMPI_boolean:
            return taken(Value::boolean(read<CMPIBoolean>(value) != 0));
        case CMPI_char16:
            return taken(Value::uint(type, read<CMPIChar16>(value)));
        case CMPI_uint8:
            return taken(Value::uint(type, read<CMPIUint8>(value)));
        case CMPI_uint16:
            return taken(Value::uint(type, read<CMPIUint16>(value)));
        case CMPI_uint32:
            return taken(Value::uint(type, read<CMPIUint32>(value)));
        case CMPI_uint64:
            return taken(Value::uint(type, read<CMPIUint64>(value)));
        case CMPI_sint8:
            return taken(Value::sint(type, read<CMPISint8>(value)));
        case CMPI_sint16:
            return taken(Value::sint(type, read<CMPISint16>(value)));
        case CMPI_sint32:
            return taken(Value::sint(type, read<CMPISint32>(value)));
        case CMPI_sint64:
            return taken(Value::sint(type, read<CMPISint64>(value)));
        case CMPI_real32:
            return taken(Value::real(type, static_cast<double>(read<CMPIReal32>(value))));
        case CMPI_real64:
            return taken(Value::real(type, read<CMPIReal64>(value)));
        case CMPI_chars:
            return taken(Value::string(static_cast<const char*>(static_cast<const void*>(value))));
        case CMPI_string:
            return takeObject<StringObject>(core, value, type, Value::string);
        case CMPI_ref:
            return takeObject<PathObject>(core, value, type,
                                          [](const PathData& data) { return Value::reference(data.path); });
        default:
            return takeObject<InstanceObject>(core, value, type,
                                              [](const InstanceData& data) { return Value::instance(data.instance); });
    }
}

CMPIData give(Core& core, const Value& value, CMPIValueState state) {
    CMPIData data{};
    data.type = value.type;
    data.state = static_cast<CMPIValueState>(state | (value.null ? CMPI_nullValue : CMPI_goodValue));
    if (!value.null) data.value = std::visit(Giver{core, value}, value.data);
    return data;
}

}  // namespace broker
