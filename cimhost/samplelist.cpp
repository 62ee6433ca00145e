#include "cimhost/samplelist.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <set>
#include <string>

#include "cimhost/json.h"
#include "cimhost/samples.h"
#include "cimhost/separatedformat.h"
#include "cimhost/tableformat.h"
#include "cimhost/terminal.h"
#include "cimhost/texttable.h"

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

std::vector<Json> objectsOf(const std::vector<Sample>& samples) {
    std::vector<Json> objects;
    objects.reserve(samples.size());
    for (const Sample& sample : samples)
        objects.push_back(
            {{"name", sample.name}, {"description", sample.description}, {"directory", sample.directory.string()}});
    return objects;
}

std::string asJsonLines(const std::vector<Sample>& samples, Charset charset) {
    std::string text;
    for (const Json& object : objectsOf(samples)) text += line(object, charset);
    return text;
}

std::string asRecords(const std::vector<Sample>& samples, Separator separator, Charset charset) {
    std::string text = separatedLine({"Name", "Description", "Directory"}, separator, charset);
    for (const Sample& sample : samples)
        text += separatedLine({sample.name, sample.description, sample.directory.string()}, separator, charset);
    return text;
}

std::string listed(const std::vector<Sample>& samples, Format format, const TableOptions& options) {
    switch (format) {
        case Format::json:
            return document(objectsOf(samples), options.charset);
        case Format::jsonl:
            return asJsonLines(samples, options.charset);
        case Format::csv:
            return asRecords(samples, Separator::comma, options.ofRecords());
        case Format::tsv:
            return asRecords(samples, Separator::tab, options.ofRecords());
        case Format::table:
        case Format::mof:
            break;
    }
    return asTable(samples, options);
}

}  // namespace

ExitCode listSamples(const Settings& settings) {
    const std::vector<Sample> samples = findSamples(dataDirectories());
    if (samples.empty()) {
        complain("no sample machines are installed");
        return kCannotAsk;
    }
    return print(listed(samples, settings.format, settings.table)) ? kSuccess : kErrorStatus;
}

}  // namespace cimhost
