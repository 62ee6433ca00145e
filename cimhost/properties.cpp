// What is shown of an instance's properties, and the texts of their codes. Tests: tests/cimhost/format_test.cpp.

#include "cimhost/properties.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "broker/matching.h"
#include "mof/embedded.h"

namespace cimhost {

namespace {

const broker::Value* valueOf(const broker::Instance& instance, const std::string& name) {
    const broker::Value* value = instance.property(name);
    return value && !value->null ? value : nullptr;
}

/** The two lists of a coded property, which belong together one by one. */
struct Codes {
    const std::vector<std::string>& codes;
    const std::vector<std::string>& texts;
};

std::optional<Codes> codesOf(const std::string& className, const std::string& property) {
    const mof::Class* declared = schema::declared().find(className);
    const mof::Property* coded = declared ? declared->property(property) : nullptr;
    const mof::Qualifier* codes = coded ? coded->qualifier("ValueMap") : nullptr;
    const mof::Qualifier* texts = coded ? coded->qualifier("Values") : nullptr;
    if (!codes || !texts || !codes->value || !texts->value) return std::nullopt;
    return Codes{*codes->value, *texts->value};
}

broker::Value meaningOf(const broker::Value& code, const Codes& known) {
    const auto found = std::find(known.codes.begin(), known.codes.end(), broker::toString(code));
    const auto place = static_cast<std::size_t>(found - known.codes.begin());
    if (code.null || place >= known.texts.size()) return broker::Value::nothing(CMPI_string);
    return broker::Value::string(known.texts[place]);
}

// clang-format off
/** What is written in short for the schema's words about slots, one replacement after the other. */
constexpr std::pair<const char*, const char*> kInShort[] = {
    {"Other", "other"}, {"Unknown", "unknown"}, {"Available", "available"}, {"In Use", "in use"},
    {"Unavailable", "unavailable"}, {"Short", "short"}, {"Long", "long"}, {"\" drive form factor", "in"},
    {"Processor Card", "CPU"}, {"Proprietary Memory Card", "memory"}, {"Proprietary", "proprietary"},
    {" (PCMCIA)", ""}, {"Riser Card", "riser"}, {"PCI-66", "PCI66"},
    {"AGP 2x", "AGP 2X"}, {"AGP 4x", "AGP 4X"}, {"AGP 8x", "AGP 8X"},
    {" Socket", ""}, {" Type", ""}, {" (standard connector)", ""}, {" (HE connector)", " HE"},
    {"PCI Express Mini", "PCIe mini"}, {"PCI Express x", "PCIe x"}, {"PCI Express ", "PCIe"}, {"PCI Express", "PCIe"},
    {"SFF-8639 (U.2)", "U.2"}, {"-pin", ""}, {" bottom-side", ""}, {" without keep-outs", ""},
    {"with keep-outs", "keep-out"},
    {"OCP NIC", "OCP"}, {"Prior to ", "<"}, {"Small Form Factor (SFF)", "SFF"}, {"Large Form Factor (LFF)", "LFF"},
    {"CXL Flexbus", "CXL"}, {"Local Bus", "local"}, {"/Card", "/card"}};
// clang-format on

std::string abbreviated(std::string text) {
    for (const auto& [words, instead] : kInShort)
        if (const std::size_t place = text.find(words); place != std::string::npos)
            text.replace(place, std::string(words).size(), instead);
    return text;
}

}  // namespace

std::string cellText(const broker::Value& value) {
    const broker::ObjectPath* path = broker::referenceOf(value);
    if (!path || path->keys.empty()) return broker::toString(value);
    return fmt::format("{} \"{}\"", path->className, cellText(path->keys.back().value));
}

std::optional<broker::Value> codeText(const std::string& className, const broker::Property& property) {
    const auto known = codesOf(className, property.name);
    if (!known) return std::nullopt;
    const auto* codes = std::get_if<std::vector<broker::Value>>(&property.value.data);
    if (!codes || property.value.null) return meaningOf(property.value, *known);
    std::vector<broker::Value> texts;
    for (const broker::Value& code : *codes) texts.push_back(meaningOf(code, *known));
    return broker::Value::array(CMPI_string, texts);
}

std::string explainedText(const broker::Instance& instance, const broker::Property& property) {
    const auto text = codeText(instance.path.className, property);
    const std::string value = broker::toString(property.value);
    return text && !text->null ? fmt::format("{} ({})", value, broker::toString(*text)) : value;
}

std::optional<std::uint64_t> numberOf(const broker::Instance& instance, const std::string& name) {
    const broker::Value* value = valueOf(instance, name);
    if (!value) return std::nullopt;
    if (const auto* elements = std::get_if<std::vector<broker::Value>>(&value->data))
        value = elements->empty() ? value : &elements->front();
    const auto* number = std::get_if<std::uint64_t>(&value->data);
    return number ? std::optional<std::uint64_t>(*number) : std::nullopt;
}

std::string textOf(const broker::Instance& instance, const std::string& name) {
    const broker::Value* value = valueOf(instance, name);
    return value ? cellText(*value) : kNothing;
}

std::string hexOf(const broker::Instance& instance, const std::string& name, int digits) {
    const auto number = numberOf(instance, name);
    return number ? fmt::format("{:0{}x}", *number, digits) : kNothing;
}

std::string hexPairOf(const broker::Instance& instance, const std::string& first, const std::string& second,
                      int digits) {
    return hexOf(instance, first, digits) + ":" + hexOf(instance, second, digits);
}

std::string slotWordOf(const broker::Instance& slot, const std::string& name) {
    const auto code = numberOf(slot, name);
    if (!code) return kNothing;
    const auto text = codeText("QELTA_SystemSlot", {name, broker::Value::uint(CMPI_uint64, *code)});
    return text && !text->null ? abbreviated(broker::toString(*text)) : fmt::format("0x{:02x}", *code);
}

}  // namespace cimhost
