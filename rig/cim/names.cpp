// Names of classes, properties and keys. Tests: tests/broker, tests/wbem.
#include "cim/names.h"

#include <algorithm>

namespace cim {

namespace {

char folded(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

bool sameName(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return folded(a) == folded(b); });
}

std::string foldedName(std::string_view name) {
    std::string result(name);
    std::transform(result.begin(), result.end(), result.begin(), folded);
    return result;
}

}  // namespace cim
