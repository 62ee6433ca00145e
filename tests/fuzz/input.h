#ifndef PCIINFO_TESTS_FUZZ_INPUT_H
#define PCIINFO_TESTS_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace fuzz {

/** Ends the process where a property does not hold; libFuzzer shows the stack and keeps the input. */
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "PROPERTY BROKEN: %s\n", what);
    std::abort();
}

/** The bytes of one input, from the front on. Where there are none left, every byte is 0. */
class Input {
 public:
    Input(const std::uint8_t* bytes, std::size_t size) : place_(bytes), end_(bytes + size) {}

    bool empty() const { return place_ == end_; }
    std::uint8_t byte() { return empty() ? std::uint8_t{0} : *place_++; }
    unsigned word() {
        const unsigned low = byte();
        return low | static_cast<unsigned>(byte()) << 8;
    }
    /** A number below `count`. */
    std::size_t below(std::size_t count) { return byte() % count; }
    /** At most so many bytes. */
    std::string take(std::size_t count) {
        const std::string taken(reinterpret_cast<const char*>(place_), std::min(count, left()));
        place_ += taken.size();
        return taken;
    }
    /** The bytes up to a delimiter, which goes with them, or the end. */
    std::string upTo(std::uint8_t delimiter) {
        const std::uint8_t* found = std::find(place_, end_, delimiter);
        const std::string taken(reinterpret_cast<const char*>(place_), static_cast<std::size_t>(found - place_));
        place_ = found == end_ ? end_ : found + 1;
        return taken;
    }
    std::string rest() { return take(left()); }

 private:
    std::size_t left() const { return static_cast<std::size_t>(end_ - place_); }

    const std::uint8_t* place_;
    const std::uint8_t* end_;
};

/** A number for everything that was added, to compare two runs by. */
class Digest {
 public:
    void add(std::string_view text) {
        for (const char c : text) mix(static_cast<unsigned char>(c));
        mix(0x100);
    }
    void add(std::uint64_t number) { mix(number); }
    std::uint64_t value() const { return value_; }

 private:
    void mix(std::uint64_t number) { value_ = (value_ ^ number) * 1099511628211U; }

    std::uint64_t value_ = 14695981039346656037U;
};

}  // namespace fuzz

#endif
