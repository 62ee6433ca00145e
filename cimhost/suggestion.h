#ifndef PCIINFO_CIMHOST_SUGGESTION_H
#define PCIINFO_CIMHOST_SUGGESTION_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cimhost {

/**
 * How many characters have to be put in, left out, replaced or exchanged with their neighbour to make one word of the
 * other; letter case is ignored.
 */
std::size_t editDistance(std::string_view left, std::string_view right);

/** The word that a misspelt or cut off one was most likely meant to be; "" when none is near. */
std::string nearest(const std::string& word, const std::vector<std::string>& words);

/** ", did you mean WORD?" for the nearest one, "" when none is near: for the end of a message. */
std::string didYouMean(const std::string& word, const std::vector<std::string>& words);

}  // namespace cimhost

#endif
