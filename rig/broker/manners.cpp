// The names of the manners. Tests: tests/broker/manners_test.cpp.
#include "broker/manners.h"

#include <algorithm>
#include <stdexcept>

namespace broker {

Manners mannersNamed(const std::string& name) {
    std::string names;
    for (const Manners each : allManners()) {
        if (nameOf(each) == name) return each;
        names += (names.empty() ? "" : ", ") + nameOf(each);
    }
    throw std::invalid_argument("\"" + name + "\" are no manners of an object manager; there are " + names);
}

std::string nameOf(Manners manners) {
    return manners::Row<const char*>{"standard", "sfcb", "pegasus", "strict"}.of(manners);
}

const std::vector<Manners>& allManners() {
    static const std::vector<Manners> all{Manners::standard, Manners::sfcb, Manners::pegasus, Manners::strict};
    return all;
}

}  // namespace broker
