// Where the provider's library, the sample machines and the catalogues are. Tests: tests/cimhost/places_test.cpp.

#include "cimhost/places.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "cimhost/suggestion.h"

namespace cimhost {

namespace fs = std::filesystem;

namespace {

/** The directory of the running program, which `link` leads to; throws std::system_error where that does not. */
fs::path programDirectory(const fs::path& link) {
    std::error_code error;
    const fs::path program = fs::read_symlink(link, error);
    if (error) throw std::system_error(error, "cannot tell where cimhost is, " + link.string());
    return program.parent_path();
}

/** The first of the places where the file is, or that exists if no file is named; throws `complaint` when none does. */
fs::path firstOf(const std::vector<fs::path>& places, const char* file, const char* complaint) {
    std::vector<std::string> names;
    for (const fs::path& place : places) {
        std::error_code ignored;
        if (fs::exists(file ? place / file : place, ignored)) return place;
        names.push_back(place.string());
    }
    throw std::runtime_error(fmt::format(complaint, fmt::join(names, ", ")));
}

/** The subdirectories; none where the directory cannot be read. */
std::vector<fs::path> directoriesIn(const fs::path& directory) {
    std::vector<fs::path> found;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory, error))
        if (entry.is_directory(error)) found.push_back(entry.path());
    return found;
}

/** What the first line of the file SOURCE says after the machine's name. */
std::string descriptionOf(const fs::path& directory) {
    std::ifstream source(directory / "SOURCE");
    std::string line;
    std::getline(source, line);
    const std::size_t colon = line.find(": ");
    return colon == std::string::npos ? line : line.substr(colon + 2);
}

std::vector<std::string> namesOf(const std::vector<Sample>& samples) {
    std::vector<std::string> names(samples.size());
    std::transform(samples.begin(), samples.end(), names.begin(), [](const Sample& sample) { return sample.name; });
    return names;
}

}  // namespace

std::vector<fs::path> libraryPlaces(const fs::path& programLink) try {
    const fs::path program = programDirectory(programLink);
    std::vector<fs::path> places = {program.parent_path() / "lib",
                                    (program / CIMHOST_PROVIDER_FROM_BIN).lexically_normal(), "/usr/lib/cmpi",
                                    fs::path("/usr/lib") / CIMHOST_MULTIARCH / "cmpi"};
    for (fs::path& place : places) place /= "libPCIInfoProvider.so";
    return places;
} catch (const std::system_error& error) {
    throw std::runtime_error(fmt::format("{}; name the provider library with --library", error.what()));
}

fs::path findLibrary(const std::vector<fs::path>& places) {
    return firstOf(places, nullptr, "no provider library found (looked for {}); name it with --library");
}

std::vector<fs::path> dataDirectories(const fs::path& programLink) try {
    const fs::path program = programDirectory(programLink);
    return {program.parent_path(), (program / CIMHOST_SHARE_FROM_BIN).lexically_normal()};
} catch (const std::system_error&) {
    return {};
}

std::vector<Sample> findSamples(const std::vector<fs::path>& dataDirectories) {
    std::vector<Sample> samples;
    for (const fs::path& data : dataDirectories) {
        for (const fs::path& directory : directoriesIn(data / "samples")) {
            const std::string name = directory.filename().string();
            const std::vector<std::string> known = namesOf(samples);
            const bool isNew = std::find(known.begin(), known.end(), name) == known.end();
            if (isNew && fs::is_regular_file(directory / "SOURCE"))
                samples.push_back({name, directory, descriptionOf(directory)});
        }
    }
    std::sort(samples.begin(), samples.end(), [](const Sample& a, const Sample& b) { return a.name < b.name; });
    return samples;
}

fs::path hostDirectory(const std::string& named, const std::vector<Sample>& samples) {
    if (access(named.c_str(), X_OK) == 0) {
        if (fs::is_directory(named)) return named;
        throw std::runtime_error(fmt::format("{} is no directory", named));
    }
    const int error = errno;
    const auto isMeant = [&](const Sample& sample) { return sample.name == named; };
    const auto found = std::find_if(samples.begin(), samples.end(), isMeant);
    if (found != samples.end()) return found->directory;
    std::error_code ignored;
    if (fs::is_regular_file(named, ignored)) throw std::runtime_error(fmt::format("{} is no directory", named));
    if (error != ENOENT)
        throw std::runtime_error(
            fmt::format("{} cannot be entered: {}", named, std::generic_category().message(error)));
    throw std::runtime_error(
        fmt::format("{} is neither a directory nor a sample machine{}", named, didYouMean(named, namesOf(samples))));
}

fs::path findCatalogue(const std::vector<fs::path>& dataDirectories) {
    std::vector<fs::path> places = dataDirectories;
    for (fs::path& place : places) place /= "catalogue";
    return firstOf(places, "pci.xml", "no catalogues found (looked for {})");
}

}  // namespace cimhost
