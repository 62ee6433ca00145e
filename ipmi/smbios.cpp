// The walk over SMBIOS structures and their string sets. Tests: tests/unit/smbios_test.cpp.
#include "ipmi/smbios.h"

#include <cstddef>

namespace tPCIInfo {

namespace {

/** A walk over one structure's string set, a byte at a time, counting the strings begun. */
class StringWalk {
 public:
    StringWalk(const std::uint8_t* structure, const std::uint8_t* end) : place_(structure), end_(end) {
        if (left() < 2 || left() < structure[1] + 2) {
            place_ = end_;
        } else {
            place_ += structure[1];
        }
    }

    bool inside() const { return left() >= 2; }
    bool atEndOfSet() const { return place_[0] == 0 && place_[1] == 0; }
    bool runs() const { return inside() && !atEndOfSet(); }
    void step() { number_ += *place_++ == 0 ? 1 : 0; }

    const std::uint8_t* place() const { return place_; }
    int number() const { return number_; }

 private:
    std::ptrdiff_t left() const { return end_ - place_; }

    const std::uint8_t* place_;
    const std::uint8_t* end_;
    int number_ = 1;
};

}  // namespace

const std::uint8_t* get_next_struct_address(const std::uint8_t* structure, const std::uint8_t* end) {
    StringWalk walk(structure, end);
    while (walk.runs()) walk.step();
    return walk.inside() ? walk.place() + 2 : nullptr;
}

int get_string_number(const std::uint8_t* structure, const std::uint8_t* end) {
    StringWalk walk(structure, end);
    if (!walk.runs()) return 0;
    while (walk.runs()) walk.step();
    return walk.number();
}

const char* find_string(const std::uint8_t* structure, std::uint8_t number, const std::uint8_t* end) {
    StringWalk walk(structure, end);
    while (walk.runs() && walk.number() != number) walk.step();
    return walk.runs() ? reinterpret_cast<const char*>(walk.place()) : nullptr;
}

}  // namespace tPCIInfo
