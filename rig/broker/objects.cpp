#include "broker/objects.h"

#include <algorithm>

#include "broker/convert.h"
#include "cim/names.h"

namespace broker {

ContextObject::ContextObject(Core& owner)
    : ContextObject(owner, {{CMPIInvocationFlags, Value::uint(CMPI_uint32, 0)},
                            {CMPIPrincipal, Value::string("root")},
                            {CMPIInitNameSpace, Value::string("root/kavix")}}) {}

namespace {

template <class Properties>
auto findIn(Properties& properties, const std::string& name) {
    return std::find_if(properties.begin(), properties.end(),
                        [&](const Property& property) { return cim::sameName(property.name, name); });
}

}  // namespace

void setNamed(std::vector<Property>& properties, const std::string& name, Value value) {
    const auto found = findIn(properties, name);
    if (found == properties.end()) {
        properties.push_back({name, std::move(value)});
    } else {
        found->value = std::move(value);
    }
}

const Value* findNamed(const std::vector<Property>& properties, const std::string& name) {
    const auto found = findIn(properties, name);
    return found == properties.end() ? nullptr : &found->value;
}

CMPIData dataAt(Core& core, const std::vector<Property>& properties, CMPICount index, CMPIValueState state,
                CMPIString** name, CMPIStatus* rc) {
    const Property& property = properties.at(index);
    if (name != nullptr) *name = core.make<StringObject>(property.name).handle();
    setStatus(rc, CMPI_RC_OK);
    return give(core, property.value, state);
}

}  // namespace broker
