#ifndef PCIINFO_WBEM_SPLIT_H
#define PCIINFO_WBEM_SPLIT_H

#include <algorithm>
#include <string>
#include <vector>

namespace wbem {

/** The parts of a text between separators; nothing behind a separator at the end is no part. */
inline std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

}  // namespace wbem

#endif
