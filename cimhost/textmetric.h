#ifndef PCIINFO_CIMHOST_TEXTMETRIC_H
#define PCIINFO_CIMHOST_TEXTMETRIC_H

#include <cstddef>
#include <string>
#include <vector>

namespace cimhost {

/** How a text is set in pictures. */
struct Font {
    const char* word;  // the class in style sheets
    int size;          // pixels
    bool bold = false;
    bool fixed = false;  // all letters of the same width
};

/**
 * Pixels that a text takes at most, whichever of the usual sans-serif fonts a viewer has: ASCII as wide as in the
 * widest of them, whatever else 1.6 times the size. Some scripts have letters that are wider still; who draws cuts
 * those off.
 */
int widthOf(const std::string& text, const Font& font);

/** The text, or as much of its beginning as fits, with an ellipsis then. Of a width for not even that: nothing. */
std::string fitted(const std::string& text, const Font& font, int width);

/** Lines that fit, divided at blanks; the last of at most `lines` is cut as fitted() does. None of an empty text. */
std::vector<std::string> fittedLines(const std::string& text, const Font& font, int width, std::size_t lines);

}  // namespace cimhost

#endif
