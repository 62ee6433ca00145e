// Typed setters and readers of properties and keys. Tests: tests/unit/cimsetters_test.cpp, cimarrays_test.cpp and
// cimreaders_test.cpp there.
#include <syslog.h>

#include <cstddef>

#include "utils/contained.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

namespace {

constexpr CMPIStatus kFailed = {CMPI_RC_ERR_FAILED, nullptr};

/** A value with every byte of the union defined, whichever member an object manager reads. */
CMPIValue emptyValue() {
    CMPIValue value;
    value.dataPtr.ptr = nullptr;
    value.dataPtr.length = 0;
    value.uint64 = 0;
    return value;
}

template <typename Member, typename Content>
CMPIValue valueOf(Member CMPIValue::*member, Content content) {
    CMPIValue value = emptyValue();
    value.*member = static_cast<Member>(content);
    return value;
}

CMPIValue valueOf(unsigned char number) {
    return valueOf(&CMPIValue::uint8, number);
}
CMPIValue valueOf(unsigned short number) {
    return valueOf(&CMPIValue::uint16, number);
}
CMPIValue valueOf(unsigned int number) {
    return valueOf(&CMPIValue::uint32, number);
}
CMPIValue valueOf(unsigned long long number) {
    return valueOf(&CMPIValue::uint64, number);
}
CMPIValue valueOf(CMPIObjectPath* path) {
    return valueOf(&CMPIValue::ref, path);
}

/** CMPI takes the characters themselves in the place of the value for type chars. */
const CMPIValue* charsArgument(const std::string& text) {
    return reinterpret_cast<const CMPIValue*>(text.c_str());
}

CMPIStatus setScalar(CMPIInstance* instance, const std::string& name, const CMPIValue* value, CMPIType type) {
    if (instance != nullptr && !name.empty()) instance->ft->setProperty(instance, name.c_str(), value, type);
    return kOk;
}

CMPIStatus setScalar(CMPIInstance* instance, const std::string& name, const CMPIValue& value, CMPIType type) {
    return setScalar(instance, name, &value, type);
}

CMPIStatus addKey(CMPIObjectPath* path, const std::string& name, const CMPIValue* value, CMPIType type) {
    if (path != nullptr && !name.empty()) path->ft->addKey(path, name.c_str(), value, type);
    return kOk;
}

CMPIStatus addKey(CMPIObjectPath* path, const std::string& name, const CMPIValue& value, CMPIType type) {
    return addKey(path, name, &value, type);
}

// --- arrays ---

/** How the elements of one array setter are declared, and whether it writes log lines. */
struct ArrayKind {
    CMPIType arrayElement;  // the element type that the array is made with
    CMPIType element;       // the type that each element is set with
    CMPIType property;
    bool logs;
};

void logStep(const ArrayKind& kind, const char* step) {
    if (kind.logs) syslog(LOG_ERR, "%s", step);
}

CMPIArray* createArray(const CMPIBroker* broker, std::size_t size, CMPIType elementType, CMPIStatus& status) {
    CMPIArray* array = broker->eft->newArray(broker, static_cast<CMPICount>(size), elementType, &status);
    if (array == nullptr && status.rc == CMPI_RC_OK) status = kFailed;
    return array;
}

template <typename Number>
CMPIStatus setElement(const CMPIBroker*, CMPIArray* array, CMPICount index, Number element, const ArrayKind& kind) {
    const CMPIValue value = valueOf(element);
    return array->ft->setElementAt(array, index, &value, kind.element);
}

CMPIStatus setElement(const CMPIBroker* broker, CMPIArray* array, CMPICount index, const std::string& element,
                      const ArrayKind& kind) {
    CMPIStatus status = kOk;
    CMPIString* string = broker->eft->newString(broker, element.c_str(), &status);
    if (status.rc != CMPI_RC_OK) return status;
    if (string == nullptr) return kFailed;
    const CMPIValue value = valueOf(&CMPIValue::string, string);
    return array->ft->setElementAt(array, index, &value, kind.element);
}

template <typename Element>
CMPIStatus fillArray(const CMPIBroker* broker, CMPIArray* array, const std::vector<Element>& values,
                     const ArrayKind& kind) {
    CMPIStatus status = kOk;
    CMPICount index = 0;
    for (const Element& element : values) {
        status = setElement(broker, array, index++, element, kind);
        if (status.rc != CMPI_RC_OK) break;
    }
    return status;
}

template <typename Element>
CMPIStatus setArray(const CMPIBroker* broker, CMPIInstance* instance, const std::string& name,
                    const std::vector<Element>& values, const ArrayKind& kind) {
    if (broker == nullptr || instance == nullptr || name.empty() || values.empty()) {
        logStep(kind, "the first condition failed");
        return kOk;
    }
    logStep(kind, "about to process the array");
    CMPIStatus status = kOk;
    CMPIArray* array = createArray(broker, values.size(), kind.arrayElement, status);
    if (status.rc != CMPI_RC_OK) {
        logStep(kind, "could not create array");
        return status;
    }
    logStep(kind, "new array created");
    status = fillArray(broker, array, values, kind);
    const CMPIValue property = valueOf(&CMPIValue::array, array);
    instance->ft->setProperty(instance, name.c_str(), &property, kind.property);
    return status;
}

// --- reading ---

CMPIData getProperty(const CMPIInstance* instance, const std::string& name, CMPIStatus& status) {
    if (instance != nullptr) return instance->ft->getProperty(instance, name.c_str(), &status);
    status.rc = CMPI_RC_ERR_INVALID_HANDLE;
    CMPIData nothing;
    nothing.type = CMPI_null;
    nothing.state = CMPI_nullValue;
    nothing.value = emptyValue();
    return nothing;
}

/**
 * Stores the number that `data` holds, cut to the output's width; false where it holds none. Object managers hand
 * numbers back in other widths than they were set with; data without a type (an unknown property) is read as it is.
 */
template <typename Number>
bool readNumber(const CMPIData& data, Number& number) {
    if ((data.state & CMPI_nullValue) != 0) return false;
    switch (data.type) {
        case CMPI_null:
            number = static_cast<Number>(data.value.uint64);
            return true;
        case CMPI_boolean:
            number = data.value.boolean;
            return true;
        case CMPI_char16:
            number = static_cast<Number>(data.value.char16);
            return true;
        case CMPI_uint8:
        case CMPI_sint8:
            number = data.value.uint8;
            return true;
        case CMPI_uint16:
        case CMPI_sint16:
            number = static_cast<Number>(data.value.uint16);
            return true;
        case CMPI_uint32:
        case CMPI_sint32:
            number = static_cast<Number>(data.value.uint32);
            return true;
        case CMPI_uint64:
        case CMPI_sint64:
            number = static_cast<Number>(data.value.uint64);
            return true;
        default:
            return false;
    }
}

/** Stores the text that `data` holds; leaves the output alone where it holds none. */
void readText(const CMPIData& data, std::string& text) {
    if ((data.state & (CMPI_nullValue | CMPI_notFound | CMPI_badValue)) != 0) return;
    if (data.type == CMPI_string && data.value.string != nullptr) text = textOf(data.value.string);
    if (data.type == CMPI_chars && data.value.chars != nullptr) text = data.value.chars;
}

}  // namespace

std::string keyText(const CMPIObjectPath* path, const std::string& name) {
    std::string text;
    if (path != nullptr) readText(path->ft->getKey(path, name.c_str(), nullptr), text);
    return text;
}

// --- scalar properties ---

CMPIStatus setProperty(CMPIInstance* instance, const std::string& name, bool value) {
    return CMPICIMInst().setBoolProperty(instance, name, value);
}

CMPIStatus CMPICIMInst::setBoolProperty(CMPIInstance* instance, const std::string& name, bool value) {
    return setScalar(instance, name, valueOf(&CMPIValue::boolean, value ? 1 : 0), CMPI_boolean);
}

CMPIStatus CMPICIMInst::setProperty(CMPIInstance* instance, const std::string& name, unsigned char value) {
    return setScalar(instance, name, valueOf(value), CMPI_uint8);
}

CMPIStatus CMPICIMInst::setProperty(CMPIInstance* instance, const std::string& name, unsigned short value) {
    return setScalar(instance, name, valueOf(value), CMPI_uint16);
}

CMPIStatus CMPICIMInst::setProperty(CMPIInstance* instance, const std::string& name, unsigned int value) {
    return setScalar(instance, name, valueOf(value), CMPI_uint32);
}

CMPIStatus CMPICIMInst::setProperty(CMPIInstance* instance, const std::string& name, unsigned long long value) {
    return setScalar(instance, name, valueOf(value), CMPI_uint64);
}

CMPIStatus CMPICIMInst::setProperty(CMPIInstance* instance, const std::string& name, const std::string& value) {
    return value.empty() ? kOk : setScalar(instance, name, charsArgument(value), CMPI_chars);
}

CMPIStatus CMPICIMInst::setProperty(CMPIInstance* instance, const std::string& name, CMPIObjectPath* value) {
    syslog(LOG_ERR, "setProperty for CMPIObjectPath in the routine");
    const auto set = [&] {
        if (instance == nullptr || name.empty() || value == nullptr) return;
        syslog(LOG_ERR, "setProperty for CMPIObjectPath about to set property");
        const CMPIValue property = valueOf(value);
        syslog(LOG_ERR, "setProperty for CMPIObjectPath about to setting property");
        setScalar(instance, name, property, CMPI_ref);
        syslog(LOG_ERR, "setProperty for CMPIObjectPath have set property");
    };
    contained(set, "setProperty for CMPIObjectPath failed to set property");
    syslog(LOG_ERR, "setProperty for CMPIObjectPath leaving the routine");
    return kOk;
}

// --- array properties ---

CMPIStatus CMPICIMInst::setProperty(const CMPIBroker* broker, CMPIInstance* instance, const std::string& name,
                                    const std::vector<unsigned char>& values) {
    return setArray(broker, instance, name, values, {CMPI_uint8, CMPI_uint8, CMPI_uint8A, false});
}

CMPIStatus CMPICIMInst::setProperty(const CMPIBroker* broker, CMPIInstance* instance, const std::string& name,
                                    const std::vector<unsigned short>& values) {
    return setArray(broker, instance, name, values, {CMPI_uint16, CMPI_uint16, CMPI_uint16A, false});
}

CMPIStatus CMPICIMInst::setProperty(const CMPIBroker* broker, CMPIInstance* instance, const std::string& name,
                                    const std::vector<unsigned int>& values) {
    syslog(LOG_ERR, "in setProperty with array size [%d]", static_cast<int>(values.size()));
    return setArray(broker, instance, name, values, {CMPI_uint32, CMPI_uint32, CMPI_uint32A, true});
}

CMPIStatus CMPICIMInst::setProperty(const CMPIBroker* broker, CMPIInstance* instance, const std::string& name,
                                    const std::vector<std::string>& values) {
    return setArray(broker, instance, name, values, {CMPI_uint8, CMPI_string, CMPI_stringA, false});
}

// --- keys ---

CMPIStatus CMPICIMInst::setKeyProperty(CMPIObjectPath* path, const std::string& name, unsigned long long value) {
    return addKey(path, name, valueOf(value), CMPI_uint32);
}

CMPIStatus CMPICIMInst::setKeyProperty(CMPIObjectPath* path, const std::string& name, unsigned int value) {
    return addKey(path, name, valueOf(value), CMPI_uint32);
}

CMPIStatus CMPICIMInst::setKeyProperty(CMPIObjectPath* path, const std::string& name, unsigned short value) {
    return addKey(path, name, valueOf(value), CMPI_uint16);
}

CMPIStatus CMPICIMInst::setKeyProperty(CMPIObjectPath* path, const std::string& name, unsigned char value) {
    return addKey(path, name, valueOf(value), CMPI_uint8);
}

CMPIStatus CMPICIMInst::setKeyProperty(CMPIObjectPath* path, const std::string& name, const std::string& value) {
    return addKey(path, name, charsArgument(value), CMPI_chars);
}

CMPIStatus CMPICIMInst::setKeyProperty(CMPIObjectPath* path, const std::string& name, CMPIObjectPath* value) {
    return value != nullptr ? addKey(path, name, valueOf(value), CMPI_ref) : kOk;
}

// --- property readers ---

CMPIStatus CMPICIMInst::getPropertyVal(const CMPIInstance* instance, const std::string& name, unsigned short& value) {
    syslog(LOG_ERR, "getPropertyVal uint16 getting the property value");
    CMPIStatus status = kOk;
    readNumber(getProperty(instance, name, status), value);
    return status;
}

CMPIStatus CMPICIMInst::getPropertyVal(const CMPIInstance* instance, const std::string& name, unsigned char& value) {
    CMPIStatus status = kOk;
    value = 0;
    const auto read = [&] {
        syslog(LOG_ERR, "getPropertyVal uint8 getting the property value");
        const CMPIData data = getProperty(instance, name, status);
        syslog(LOG_ERR, "getPropertyVal uint8 got property value");
        unsigned char number = 0;
        if (!readNumber(data, number)) return;
        syslog(LOG_ERR, "getPropertyVal uint8 the value is not null");
        value = number;
        syslog(LOG_ERR, "getPropertyVal uint8 the value is not null2");
    };
    contained(read, "getPropertyVal uint8 catch block found");
    syslog(LOG_ERR, "getPropertyVal uint8 returning");
    return status;
}

CMPIStatus CMPICIMInst::getPropertyVal(const CMPIInstance* instance, const std::string& name, std::string& value) {
    CMPIStatus status = kOk;
    const CMPIData data = getProperty(instance, name, status);
    readText(data, value);
    return status;
}

}  // namespace tPCIInfo
