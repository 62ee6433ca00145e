#include "cimhost/samples.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "cimhost/library.h"
#include "cimhost/suggestion.h"

namespace cimhost {

namespace fs = std::filesystem;

namespace {

/** The subdirectories; none where the directory cannot be read. */
std::vector<fs::path> directoriesIn(const fs::path& directory) {
    std::vector<fs::path> found;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory, error))
        if (entry.is_directory(error)) found.push_back(entry.path());
    return found;
}

/** What the first line of the file SOURCE says behind the machine's name. */
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

std::string message(int error) {
    return std::generic_category().message(error);
}

}  // namespace

std::vector<fs::path> dataDirectories() {
    return {programDirectory().parent_path(), (programDirectory() / CIMHOST_SHARE_FROM_BIN).lexically_normal()};
}

std::vector<Sample> findSamples(const std::vector<fs::path>& dataDirectories) {
    std::vector<Sample> samples;
    for (const fs::path& data : dataDirectories) {
        for (const fs::path& directory : directoriesIn(data / "samples")) {
            const std::string name = directory.filename().string();
            const std::vector<std::string> known = namesOf(samples);
            const bool isNew = std::find(known.begin(), known.end(), name) == known.end();
            if (isNew && fs::exists(directory / "SOURCE"))
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
    if (error != ENOENT) throw std::runtime_error(fmt::format("{} cannot be entered: {}", named, message(error)));
    throw std::runtime_error(
        fmt::format("{} is neither a directory nor a sample machine{}", named, didYouMean(named, namesOf(samples))));
}

fs::path findCatalogue(const std::vector<fs::path>& dataDirectories) {
    std::string places;
    for (const fs::path& data : dataDirectories) {
        fs::path directory = data / "catalogue";
        std::error_code ignored;
        if (fs::exists(directory / "pci.xml", ignored)) return directory;
        places += (places.empty() ? "" : ", ") + directory.string();
    }
    throw std::runtime_error(fmt::format("no catalogues found (looked for {})", places));
}

}  // namespace cimhost
