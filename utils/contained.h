#ifndef PCIINFO_UTILS_CONTAINED_H
#define PCIINFO_UTILS_CONTAINED_H

#include <syslog.h>

#include <exception>

namespace tPCIInfo {

/** Runs a part of a request. An exception of any type ends the part and goes no further; `log` tells of it, if any. */
template <typename Part>
void contained(Part part, const char* log = nullptr) {
    try {
        part();
    } catch (...) {
        if (log != nullptr) syslog(LOG_ERR, "%s", log);
    }
}

/** The same for standard exceptions, without a word; any other passes. */
template <typename Part>
void containedStandard(Part part) {
    try {
        part();
    } catch (const std::exception&) {
        return;
    }
}

}  // namespace tPCIInfo

#endif
