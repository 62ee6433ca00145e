#ifndef PCIINFO_EMULATOR_FILEREADER_H
#define PCIINFO_EMULATOR_FILEREADER_H

#include <cstddef>
#include <string>

#include "emulator/bmc.h"

namespace emulator {

/**
 * A file of a host directory from its beginning, `limit` bytes of it at most. Throws std::runtime_error that names the
 * file where it cannot be read. What is not a regular file is one of these and is not opened: a FIFO would be waited
 * for, and devices may have no end.
 */
Bytes readFile(const std::string& path, std::size_t limit);

}  // namespace emulator

#endif
