#ifndef PCIINFO_BENCH_FLOOR_H
#define PCIINFO_BENCH_FLOOR_H

#include <cstddef>

namespace bench {

/**
 * What no scan can do without: the exchanges of one reading of the SMBIOS table; both catalogues read; the bus's list
 * and 64 bytes of each function's file read; and the catalogues searched for each name once. No log lines, no objects.
 * Returns the number of functions.
 */
std::size_t floorScan();

}  // namespace bench

#endif
