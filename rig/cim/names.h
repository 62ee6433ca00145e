#ifndef PCIINFO_CIM_NAMES_H
#define PCIINFO_CIM_NAMES_H

#include <string>
#include <string_view>

namespace cim {

/** CIM names are equal without regard to the case of ASCII letters. */
bool sameName(std::string_view left, std::string_view right);

/** The spelling under which names that are the same sort together. */
std::string foldedName(std::string_view name);

/** The first element whose member `name` is that name; null where there is none. */
template <typename Elements>
auto findNamed(Elements& elements, std::string_view name) -> decltype(&*elements.begin()) {
    for (auto& each : elements)
        if (sameName(each.name, name)) return &each;
    return nullptr;
}

}  // namespace cim

#endif
