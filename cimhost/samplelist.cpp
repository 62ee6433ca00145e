#include "cimhost/samplelist.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <nlohmann/json.hpp>

#include <set>
#include <string>

#include "cimhost/samples.h"
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
    return text + fmt::format("\nIn {}; the file SOURCE of each says where it comes from.\n", fmt::join(places, ", "));
}

std::string asJson(const std::vector<Sample>& samples) {
    auto list = nlohmann::ordered_json::array();
    for (const Sample& sample : samples)
        list.push_back(
            {{"name", sample.name}, {"description", sample.description}, {"directory", sample.directory.string()}});
    return list.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace

ExitCode listSamples(const Settings& settings) {
    const std::vector<Sample> samples = findSamples(dataDirectories());
    if (samples.empty()) {
        complain("no sample machines are installed");
        return kCannotAsk;
    }
    const bool json = settings.format == Format::json;
    return print(json ? asJson(samples) : asTable(samples, settings.table)) ? kSuccess : kErrorStatus;
}

}  // namespace cimhost
