#ifndef PCIINFO_CIMHOST_GROUPS_H
#define PCIINFO_CIMHOST_GROUPS_H

#include <string>
#include <vector>

#include "cimhost/tree.h"

namespace cimhost {

/** Functions that are shown together: those of one device, or of devices that follow each other and read the same. */
struct Group {
    Functions functions;      // one at least
    std::string description;  // "KINDS: NAMES", each told once; of functions that read the same, what they read

    /** "00:1f.0", "00:1f.0,2,4-6" for functions of one device, "16:08.0..0a.1" for devices. */
    std::string location() const;
};

/** In the order of the functions; in full, each has a group of its own. */
std::vector<Group> groupsOf(const Functions& functions, bool inFull);

}  // namespace cimhost

#endif
