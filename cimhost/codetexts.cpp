#include "cimhost/codetexts.h"

#include <algorithm>
#include <vector>

#include "mof/embedded.h"

namespace cimhost {

namespace {

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

broker::Value textOf(const broker::Value& code, const Codes& known) {
    const auto found = std::find(known.codes.begin(), known.codes.end(), broker::toString(code));
    const auto place = static_cast<std::size_t>(found - known.codes.begin());
    if (code.null || place >= known.texts.size()) return broker::Value::nothing(CMPI_string);
    return broker::Value::string(known.texts[place]);
}

}  // namespace

bool isCoded(const std::string& className, const std::string& property) {
    return codesOf(className, property).has_value();
}

std::optional<broker::Value> codeText(const std::string& className, const broker::Property& property) {
    const auto known = codesOf(className, property.name);
    if (!known) return std::nullopt;
    if (property.value.null) return broker::Value::nothing(CMPI_string);
    const auto* codes = std::get_if<std::vector<broker::Value>>(&property.value.data);
    if (!codes) return textOf(property.value, *known);
    std::vector<broker::Value> texts;
    for (const broker::Value& code : *codes) texts.push_back(textOf(code, *known));
    return broker::Value::array(CMPI_string, texts);
}

}  // namespace cimhost
