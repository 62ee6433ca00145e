#ifndef PCIINFO_CIMHOST_PAINT_H
#define PCIINFO_CIMHOST_PAINT_H

#include <string>

namespace cimhost {

/** Gives parts of lines their look on a terminal that shows colours; leaves them alone otherwise. */
class Paint {
 public:
    explicit Paint(bool on) : on_(on) {}

    /** Headings. */
    std::string bold(const std::string& text) const { return between("\033[1m", text); }
    /** What matters less than the rest. */
    std::string dim(const std::string& text) const { return between("\033[2m", text); }

 private:
    std::string between(const char* begin, const std::string& text) const {
        return on_ && !text.empty() ? begin + text + "\033[0m" : text;
    }

    bool on_;
};

}  // namespace cimhost

#endif
