#include "cimhost/library.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <system_error>

namespace cimhost {

namespace fs = std::filesystem;

namespace {

constexpr const char* kLibrary = "libPCIInfoProvider.so";

bool exists(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

}  // namespace

fs::path programDirectory() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return error ? fs::current_path() : program.parent_path();
}

std::vector<fs::path> libraryPlaces() {
    const fs::path buildTree = programDirectory().parent_path() / "lib";
    const fs::path installed = (programDirectory() / CIMHOST_PROVIDER_FROM_BIN).lexically_normal();
    const fs::path multiarch = fs::path("/usr/lib") / CIMHOST_MULTIARCH / "cmpi";
    return {buildTree / kLibrary, installed / kLibrary, fs::path("/usr/lib/cmpi") / kLibrary, multiarch / kLibrary};
}

fs::path findLibrary(const std::vector<fs::path>& places) {
    const auto found = std::find_if(places.begin(), places.end(), exists);
    if (found != places.end()) return *found;
    std::string names;
    for (const fs::path& place : places) names += (names.empty() ? "" : ", ") + place.string();
    throw std::runtime_error(fmt::format("no provider library found (looked for {}); name it with --library", names));
}

}  // namespace cimhost
