#ifndef PCIINFO_CIMHOST_LIBRARY_H
#define PCIINFO_CIMHOST_LIBRARY_H

#include <filesystem>
#include <vector>

namespace cimhost {

/** The directory of the running program. */
std::filesystem::path programDirectory();

/**
 * Where the provider's library is looked for, in this order: the build tree of the running program, where an
 * installation puts it beside the running program, where object managers customarily have it.
 */
std::vector<std::filesystem::path> libraryPlaces();

/** The first of the places that exists. Throws std::runtime_error naming all of them when none does. */
std::filesystem::path findLibrary(const std::vector<std::filesystem::path>& places);

}  // namespace cimhost

#endif
