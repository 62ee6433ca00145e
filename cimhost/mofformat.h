#ifndef PCIINFO_CIMHOST_MOFFORMAT_H
#define PCIINFO_CIMHOST_MOFFORMAT_H

#include <string>

#include "cimhost/formatter.h"

namespace cimhost {

/**
 * Instances as MOF instance declarations, the type of each property and whether it is a key in a comment; names as one
 * object path to a line. The status is a comment at the end.
 */
class MofFormatter : public Formatter {
 public:
    std::string text(const Answer& answer) const override;
};

}  // namespace cimhost

#endif
