#ifndef PCIINFO_CIMHOST_MOFFORMAT_H
#define PCIINFO_CIMHOST_MOFFORMAT_H

#include <string>

#include "cimhost/formatter.h"

namespace cimhost {

/**
 * Instances as MOF instance declarations, their paths, the type of each property and whether it is a key in comments;
 * names as one object path to a line. The status is a comment at the end.
 */
class MofFormatter : public Formatter {
 public:
    explicit MofFormatter(Charset charset) : charset_(charset) {}
    std::string text(const Answer& answer) const override;

 private:
    Charset charset_;
};

}  // namespace cimhost

#endif
