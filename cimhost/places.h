#ifndef PCIINFO_CIMHOST_PLACES_H
#define PCIINFO_CIMHOST_PLACES_H

#include <filesystem>
#include <string>
#include <vector>

namespace cimhost {

/** Leads to the running program, where /proc is mounted. */
constexpr const char* kProgramLink = "/proc/self/exe";

/**
 * Where the provider's library is looked for, in this order: the build tree of the running program, where an
 * installation puts it beside the running program, where object managers customarily have it. Throws
 * std::runtime_error where the link does not tell the program: what else there is to go by is not to be trusted.
 */
std::vector<std::filesystem::path> libraryPlaces(const std::filesystem::path& programLink = kProgramLink);

/** The first of the places that exists. Throws std::runtime_error naming all of them when none does. */
std::filesystem::path findLibrary(const std::vector<std::filesystem::path>& places);

/** A sample machine: a host directory that comes with the program. */
struct Sample {
    std::string name;
    std::filesystem::path directory;
    std::string description;  // one line
};

/**
 * Where the program's own data is looked for, in this order: the build tree of the running program, where an
 * installation puts it beside the running program; nowhere where the link does not tell the program.
 */
std::vector<std::filesystem::path> dataDirectories(const std::filesystem::path& programLink = kProgramLink);

/** The machines below `samples` of these directories, by name; of one name the first. */
std::vector<Sample> findSamples(const std::vector<std::filesystem::path>& dataDirectories);

/**
 * The host directory that a user names: a directory, else a sample machine. Throws std::runtime_error, with what is
 * wrong with it, when it is neither or may not be entered.
 */
std::filesystem::path hostDirectory(const std::string& named, const std::vector<Sample>& samples);

/**
 * The directory of the catalogues that were made from the PCI ID list. Throws std::runtime_error naming the places
 * when there is none.
 */
std::filesystem::path findCatalogue(const std::vector<std::filesystem::path>& dataDirectories);

}  // namespace cimhost

#endif
