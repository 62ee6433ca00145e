#include "cimhost/options.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <exception>
#include <limits>
#include <map>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "cimhost/helpformat.h"
#include "cimhost/samples.h"
#include "cimhost/suggestion.h"

namespace cimhost {

namespace {

const std::map<std::string, Format> kFormats = {{"table", Format::table}, {"mof", Format::mof}, {"json", Format::json},
                                                {"jsonl", Format::jsonl}, {"csv", Format::csv}, {"tsv", Format::tsv}};

const std::map<std::string, Color> kColors = {
    {"auto", Color::automatic}, {"always", Color::always}, {"never", Color::never}};

constexpr std::uint64_t kWidest = std::numeric_limits<std::size_t>::max();

std::vector<std::string> mannersNames() {
    std::vector<std::string> names;
    for (const broker::Manners each : broker::allManners()) names.push_back(broker::nameOf(each));
    return names;
}

template <class Map>
std::vector<std::string> wordsOf(const Map& map) {
    std::vector<std::string> words;
    words.reserve(map.size());
    for (const auto& [word, meaning] : map) words.push_back(word);
    return words;
}

/** Puts what `find` makes of the value in its place; the message of its exception is what is wrong with the value. */
CLI::Validator replacedBy(std::function<std::string(const std::string&)> find) {
    return CLI::Validator(
        [find = std::move(find)](std::string& value) -> std::string {
            try {
                value = find(value);
                return "";
            } catch (const std::exception& error) {
                return error.what();
            }
        },
        "");
}

std::string namedCatalogue() {
    try {
        return findCatalogue(dataDirectories()).string();
    } catch (const std::runtime_error& error) {
        throw CLI::ValidationError("--catalogue", error.what());
    }
}

}  // namespace

CLI::Validator numberIn(std::uint64_t least, std::uint64_t most, const std::string& what) {
    return CLI::Validator(
        [=](std::string& value) -> std::string {
            const char* const end = value.data() + value.size();
            std::uint64_t number = 0;
            const auto [rest, error] = std::from_chars(value.data(), end, number);
            if (error == std::errc::result_out_of_range) return fmt::format("{} is too large", value);
            const bool isNumber = !value.empty() && rest == end && error == std::errc();
            if (isNumber && number >= least && number <= most) return "";
            return fmt::format("{} is no {}", value.empty() ? "''" : value, what);
        },
        "");
}

bool isColor(const std::string& name) {
    return kColors.count(name) > 0;
}

CLI::Option* addChoice(CLI::App& app, const std::string& name, const std::vector<std::string>& words,
                       const std::function<void(const std::string&)>& take, const std::string& description) {
    const auto problem = [words](std::string& value) -> std::string {
        if (std::find(words.begin(), words.end(), value) != words.end()) return "";
        return fmt::format("{} is none of {}{}", value, fmt::join(words, ", "), didYouMean(value, words));
    };
    return app.add_option_function<std::string>(name, take, description)
        ->type_name(fmt::format("{}", fmt::join(words, "|")))
        ->check(CLI::Validator(problem, ""));
}

void addGeneralOptions(CLI::App& app, Settings& settings) {
    app.option_defaults()->group(kGeneralOptions);
    app.add_option("--host", settings.surroundings.hostDirectory,
                   "Emulated host: a directory, or a sample machine by its name, see cimhost samples; without it the "
                   "provider sees this machine")
        ->type_name(kHostType)
        ->transform(replacedBy(
            [](const std::string& named) { return hostDirectory(named, findSamples(dataDirectories())).string(); }));
    app.add_flag_callback(
        "--catalogue", [&settings] { settings.surroundings.catalogue = namedCatalogue(); },
        "Names from the PCI ID list, in place of the machine's own catalogues in /etc/vmware");
    app.add_option("--library", settings.surroundings.library,
                   "The provider's library; without it the one of the build tree, else the installed one")
        ->type_name(kFileType);
    addChoice(
        app, "--manners", mannersNames(),
        [&settings](const std::string& name) { settings.surroundings.manners = broker::mannersNamed(name); },
        "The object manager that asks; default standard, as DSP0200 has it");
    addChoice(
        app, "--format", wordsOf(kFormats),
        [&settings](const std::string& name) { settings.format = kFormats.at(name); },
        "How the answer is written; default table");
    app.add_option("--width", settings.table.width,
                   "Columns that a line of a table may take; default: those of the terminal, else as many as it needs")
        ->type_name("COLUMNS")
        ->check(numberIn(1, kWidest, "positive number"));
    addChoice(
        app, "--color", wordsOf(kColors), [&settings](const std::string& name) { settings.color = kColors.at(name); },
        "Colours; default auto: on a terminal, unless NO_COLOR is set");
    app.add_flag("-a,--all", settings.table.inFull, "Tables show every property, and whole paths");
    app.add_flag("--trace", settings.trace, "Show syslog lines, files and IPMI exchanges on standard error");
    app.option_defaults()->group("Options");
}

}  // namespace cimhost
