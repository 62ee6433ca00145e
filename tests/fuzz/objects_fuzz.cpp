// Setters and readers of properties and keys: any of them in any order, on objects that may be missing, with a call of
// the object manager that may fail. Without a fault an object holds what was set.
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "provider.h"
#include "utils/providerutils.h"

namespace {

using broker::Value;
using fuzz::Input;
using fuzz::require;
using tPCIInfo::CMPICIMInst;

constexpr const char* kNames[] = {"Number", "Tag", "A", ""};

/** What an object holds; nothing where that is not known. */
using Contents = std::map<std::string, std::optional<Value>>;

struct Objects {
    const CMPIBroker* broker = nullptr;
    CMPIObjectPath* path = nullptr;
    CMPIInstance* instance = nullptr;
    CMPIObjectPath* reference = nullptr;
};

const broker::ObjectPath& referred() {
    static const broker::ObjectPath& path =
        *new broker::ObjectPath{"root/kavix", "QELTA_SystemSlot", {{"Tag", Value::string("System Slot 5")}}};
    return path;
}

unsigned long long number(Input& input) {
    unsigned long long value = 0;
    for (unsigned i = input.byte() % 9; i != 0; --i) value = value << 8 | input.byte();
    return value;
}

std::string untilZero(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

template <typename Number>
std::vector<Number> numbers(Input& input) {
    std::vector<Number> values(input.byte() % 5);
    for (Number& value : values) value = static_cast<Number>(number(input));
    return values;
}

template <typename Number>
std::optional<Value> arrayOf(CMPIType type, const std::vector<Number>& values) {
    std::vector<Value> elements;
    for (const Number value : values) elements.push_back(Value::uint(type, value));
    return Value::array(type, elements);
}

/** Sets something, in the object and in what is known of it. */
class Step {
 public:
    Step(const Objects& objects, Contents& properties, Contents& keys, Input& input)
        : objects_(objects), properties_(properties), keys_(keys), input_(input), name_(kNames[input.below(4)]) {}

    void perform(unsigned kind) {
        if (kind < 10) {
            setProperty(kind);
        } else if (kind < 16) {
            setKey(kind);
        } else {
            read(kind);
        }
    }

 private:
    void setProperty(unsigned kind) {
        const unsigned long long value = number(input_);
        CMPIInstance* const instance = objects_.instance;
        switch (kind) {
            case 0:
                cim_.setBoolProperty(instance, name_, value % 2 != 0);
                return holds(Value::boolean(value % 2 != 0));
            case 1:
                cim_.setProperty(instance, name_, static_cast<unsigned char>(value));
                return holds(Value::uint(CMPI_uint8, value & 0xFF));
            case 2:
                cim_.setProperty(instance, name_, static_cast<unsigned short>(value));
                return holds(Value::uint(CMPI_uint16, value & 0xFFFF));
            case 3:
                cim_.setProperty(instance, name_, static_cast<unsigned int>(value));
                return holds(Value::uint(CMPI_uint32, value & 0xFFFFFFFF));
            case 4:
                cim_.setProperty(instance, name_, value);
                return holds(Value::uint(CMPI_uint64, value));
            case 5:
                cim_.setProperty(instance, name_, objects_.reference);
                if (objects_.reference != nullptr) holds(Value::reference(referred()));
                return;
            case 6: {
                const std::string text = input_.take(static_cast<std::size_t>(value % 40));
                cim_.setProperty(instance, name_, text);
                if (!text.empty()) holds(Value::string(untilZero(text)));
                return;
            }
            case 7:
                return setArray(CMPI_uint8, numbers<unsigned char>(input_));
            case 8:
                return setArray(CMPI_uint16, numbers<unsigned short>(input_));
            default:
                if (value % 2 == 0) return setArray(CMPI_uint32, numbers<unsigned int>(input_));
                // Refused by object managers that mind the type of elements: it is made for numbers.
                cim_.setProperty(objects_.broker, instance, name_, std::vector<std::string>(value % 3, "text"));
                if (value % 3 != 0 && objects_.broker != nullptr) holds(std::nullopt);
        }
    }

    template <typename Number>
    void setArray(CMPIType type, const std::vector<Number>& values) {
        cim_.setProperty(objects_.broker, objects_.instance, name_, values);
        if (!values.empty() && objects_.broker != nullptr) holds(arrayOf(type, values));
    }

    void setKey(unsigned kind) {
        const unsigned long long value = number(input_);
        CMPIObjectPath* const path = objects_.path;
        switch (kind) {
            case 10:
                cim_.setKeyProperty(path, name_, value);
                return hasKey(Value::uint(CMPI_uint32, value & 0xFFFFFFFF));
            case 11:
                cim_.setKeyProperty(path, name_, static_cast<unsigned int>(value));
                return hasKey(Value::uint(CMPI_uint32, value & 0xFFFFFFFF));
            case 12:
                cim_.setKeyProperty(path, name_, static_cast<unsigned short>(value));
                return hasKey(Value::uint(CMPI_uint16, value & 0xFFFF));
            case 13:
                cim_.setKeyProperty(path, name_, static_cast<unsigned char>(value));
                return hasKey(Value::uint(CMPI_uint8, value & 0xFF));
            case 14: {
                const std::string text = input_.take(static_cast<std::size_t>(value % 40));
                cim_.setKeyProperty(path, name_, text);
                return hasKey(Value::string(untilZero(text)));
            }
            default:
                cim_.setKeyProperty(path, name_, objects_.reference);
                if (objects_.reference != nullptr) hasKey(Value::reference(referred()));
        }
    }

    /** What is read is what was set, cut to the width that is asked for. */
    void read(unsigned kind) {
        const auto known = properties_.find(name_);
        const Value* value = known != properties_.end() && known->second ? &*known->second : nullptr;
        const auto* whole = value != nullptr ? std::get_if<std::uint64_t>(&value->data) : nullptr;
        const auto* words = value != nullptr ? std::get_if<std::string>(&value->data) : nullptr;
        unsigned short wide = 7;
        unsigned char narrow = 7;
        std::string text = "7";
        if (kind == 16) cim_.getPropertyVal(objects_.instance, name_, wide);
        if (kind == 17) cim_.getPropertyVal(objects_.instance, name_, narrow);
        if (kind == 18) cim_.getPropertyVal(objects_.instance, name_, text);
        if (kind == 19 && objects_.path != nullptr) tPCIInfo::keyText(objects_.path, name_);
        if (!checked) return;
        if (kind == 16 && whole != nullptr) require(wide == (*whole & 0xFFFF), "numbers read back in 16 bits");
        if (kind == 17 && whole != nullptr) require(narrow == (*whole & 0xFF), "numbers read back in 8 bits");
        if (kind == 18 && words != nullptr) require(text == *words, "texts read back");
        if (kind == 18 && whole != nullptr) require(text == "7", "a number is no text");
        if (kind == 16 && words != nullptr) require(wide == 7, "a text is no number");
    }

    void holds(const std::optional<Value>& value) {
        if (objects_.instance != nullptr && !name_.empty()) properties_[name_] = value;
    }
    void hasKey(const std::optional<Value>& value) {
        if (objects_.path != nullptr && !name_.empty()) keys_[name_] = value;
    }

    const Objects& objects_;
    Contents& properties_;
    Contents& keys_;
    Input& input_;
    const std::string name_;
    CMPICIMInst cim_;

 public:
    bool checked = true;
};

void expectContents(const Contents& known, const std::vector<broker::Property>& held) {
    require(held.size() == known.size(), "an object holds what was set and nothing else");
    for (const broker::Property& property : held) {
        const auto found = known.find(property.name);
        require(found != known.end() && (!found->second || *found->second == property.value),
                "an object holds the values that were set");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Input input(bytes, size);
    fuzz::Host::get().reset();
    fuzz::renewManager();
    broker::Broker& manager = fuzz::manager();
    const unsigned options = input.byte();
    const unsigned effect = input.byte() % 4;
    const auto& functions = broker::CallLog::functions();
    const std::size_t function = input.byte();
    const unsigned nth = 1 + input.byte() % 32;

    {
        broker::Broker::Scope scope(manager);
        Objects objects;
        if ((options & 1) == 0) objects.broker = manager.handle();
        if ((options & 2) == 0) objects.path = scope.make(broker::ObjectPath{"root/kavix", "QELTA_SystemSlot", {}});
        if ((options & 4) == 0)
            objects.instance = scope.make(broker::Instance{{"root/kavix", "QELTA_SystemSlot", {}}, {}});
        if ((options & 8) == 0) objects.reference = scope.make(referred());
        const std::string name = function < functions.size() ? functions[function] : "*";
        if (effect == 1) manager.failAt(name, nth);
        if (effect > 1) manager.throwAt(name, nth, effect == 2);

        Contents properties;
        Contents keys;
        for (unsigned steps = 0; steps < 64 && !input.empty(); ++steps) {
            const unsigned kind = input.byte() % 20;
            Step step(objects, properties, keys, input);
            step.checked = effect == 0;
            try {
                step.perform(kind);
            } catch (const std::exception&) {
                require(effect == 2, "no exception comes of itself");
                require(kind != 5 && kind != 17, "setters of references and readers of bytes let no exception out");
            } catch (int) {
                require(effect == 3, "no exception comes of itself");
                require(kind != 5 && kind != 17, "setters of references and readers of bytes let no exception out");
            }
        }
        if (effect == 0 && objects.instance != nullptr)
            expectContents(properties, scope.read(objects.instance).properties);
        if (effect == 0 && objects.path != nullptr) expectContents(keys, scope.read(objects.path).keys);
    }
    require(manager.objectsMade() == manager.objectsFreed(), "every object is freed");
    return 0;
}
