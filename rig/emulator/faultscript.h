#ifndef PCIINFO_EMULATOR_FAULTSCRIPT_H
#define PCIINFO_EMULATOR_FAULTSCRIPT_H

#include <cstddef>
#include <string>
#include <vector>

#include "emulator/bmc.h"

namespace emulator {

/**
 * A BMC's behaviour as a JSON file tells it:
 *
 *     { "readLimit": 58, "endOfFile": true,
 *       "faults": [ { "on": "read", "from": 2, "times": 1, "completionCode": "0xC3" } ] }
 *
 * The keys of a fault are the members of Fault, the values of "on" the names of Occasion. Numbers may also be written
 * as hexadecimal text, "data" is an array of bytes.
 */
struct FaultScript {
    std::size_t readLimit = 0;
    bool endOfFile = false;
    std::vector<Fault> faults;
};

/**
 * Throws std::runtime_error that names the file, and the key where something is unknown or of a wrong type or range. A
 * script is of 1 MiB at most.
 */
FaultScript readFaultScript(const std::string& file);

/**
 * Fills the data store from a folder: every file of it under its own name, the files of its sub-folder `defaults` as
 * what "write defaults" puts back, and the fault script `faults.json`. A folder that does not exist is an empty one; of
 * a file that is longer than Bmc::kFileArea the rest is not read. Throws std::runtime_error that names the file where
 * one cannot be read, or is neither regular nor a folder.
 */
void loadDataStore(Bmc& bmc, const std::string& folder);

}  // namespace emulator

#endif
