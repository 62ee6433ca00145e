#ifndef PCIINFO_EXPORTER_REMOTEPROBE_H
#define PCIINFO_EXPORTER_REMOTEPROBE_H

#include "exporter/probe.h"

namespace exporter {

/** Asks an object manager over CIM-XML. */
Outcome probeRemote(const std::string& target, const Module& module);

}  // namespace exporter

#endif
