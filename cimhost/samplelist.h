#ifndef PCIINFO_CIMHOST_SAMPLELIST_H
#define PCIINFO_CIMHOST_SAMPLELIST_H

#include "cimhost/command.h"

namespace cimhost {

/** Writes the sample machines to standard output, in any format but MOF. */
ExitCode listSamples(const Settings& settings);

}  // namespace cimhost

#endif
