// The list of sample machines. Tests: tests/cimhost/usage_test.cpp.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <nlohmann/json.hpp>

#include <set>

#include "cimhost/command.h"
#include "cimhost/places.h"

namespace cimhost {

namespace {

std::string asTable(const std::vector<Sample>& samples, const TableOptions& options) {
    TextTable table({{"Name"}, {"Machine", Align::left, true}}, options.charset);
    std::set<std::string> places;
    for (const Sample& sample : samples) {
        table.add({sample.name, sample.description});
        places.insert(sample.directory.parent_path().string());
    }
    std::string text;
    for (const TextTable::Lines& row : table.rows(options.width, Overflow::wrap))
        for (const std::string& line : row) text += line + '\n';
    const std::string origin =
        fmt::format("In {}; the file SOURCE of each says where it comes from.", fmt::join(places, ", "));
    return text + '\n' + secondary(origin, options);
}

/** Members have capitals in the head line of records. */
std::vector<Json> objectsOf(const std::vector<Sample>& samples, Format format) {
    const bool capitals = format == Format::csv || format == Format::tsv;
    std::vector<Json> objects;
    objects.reserve(samples.size());
    for (const Sample& sample : samples)
        objects.push_back({{capitals ? "Name" : "name", sample.name},
                           {capitals ? "Description" : "description", sample.description},
                           {capitals ? "Directory" : "directory", sample.directory.string()}});
    return objects;
}

}  // namespace

ExitCode listSamples(const Settings& settings) {
    const std::vector<Sample> samples = findSamples(dataDirectories());
    if (samples.empty()) {
        complain("no sample machines are installed");
        return kCannotAsk;
    }
    const std::vector<Json> objects = objectsOf(samples, settings.format);
    const std::string text = settings.format == Format::table
                                 ? asTable(samples, settings.table)
                                 : structured(settings.format, objects, objects, settings.table);
    return print(text) ? kSuccess : kErrorStatus;
}

}  // namespace cimhost
