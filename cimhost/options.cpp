// The options that every command takes. Tests: tests/cimhost/usage_test.cpp, commandline_test.cpp.

#include "cimhost/arguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>
#include <utility>

#include "cimhost/places.h"

namespace cimhost {

namespace {

const Words<Format> kFormats = {{"csv", Format::csv}, {"json", Format::json},   {"jsonl", Format::jsonl},
                                {"mof", Format::mof}, {"table", Format::table}, {"tsv", Format::tsv}};

const Words<Color> kColors = {{"always", Color::always}, {"auto", Color::automatic}, {"never", Color::never}};

Words<broker::Manners> mannersWords() {
    Words<broker::Manners> words;
    for (const broker::Manners each : broker::allManners()) words.emplace_back(broker::nameOf(each), each);
    return words;
}

constexpr std::uint64_t kWidest = std::numeric_limits<std::size_t>::max();

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
    return std::any_of(kColors.begin(), kColors.end(), [&](const auto& word) { return word.first == name; });
}

bool isOfUse(const CLI::Option& option, const CLI::App& command) {
    const std::string& name = command.get_name();
    if (option.get_group() == kRemoteOptions) return name != "samples" && name != "serve";
    if (option.get_group() != kGeneralOptions) return true;
    if (name == "samples") return option.check_lname("format") || option.check_lname("width");
    const bool isOfTexts = option.check_lname("format") || option.check_lname("width") || option.check_lname("color");
    return name != "draw" || !isOfTexts;
}

void addGeneralOptions(CLI::App& app, Settings& settings) {
    app.option_defaults()->group(kGeneralOptions);
    app.add_option_function<std::string>(
           "--host",
           checked("--host",
                   [&settings](const std::string& named) {
                       const auto directory = hostDirectory(named, findSamples(dataDirectories()));
                       settings.surroundings.hostDirectory = directory.string();
                   }),
           "Emulated host: a directory, or a sample machine by its name, see cimhost samples; without it the "
           "provider sees this machine")
        ->type_name(kHostType);
    app.add_flag_function("--catalogue",
                          checked("--catalogue",
                                  [&settings](std::int64_t) {
                                      settings.surroundings.catalogue = findCatalogue(dataDirectories()).string();
                                  }),
                          "Names from the PCI ID list, in place of the machine's own catalogues in /etc/vmware");
    app.add_option("--library", settings.surroundings.library,
                   "The provider's library; without it the one of the build tree, else the installed one")
        ->type_name(kFileType);
    addChoice(app, "--manners", mannersWords(), settings.surroundings.manners,
              "The object manager that asks; default standard, as DSP0200 has it");
    addChoice(app, "--format", kFormats, settings.format, "How the answer is written; default table");
    app.add_option("--width", settings.table.width,
                   "Columns that a line of a table may take; default: those of the terminal, else as many as it needs")
        ->type_name("COLUMNS")
        ->check(numberIn(1, kWidest, "positive number"));
    addChoice(app, "--color", kColors, settings.color, "Colours; default auto: on a terminal, unless NO_COLOR is set");
    app.add_flag("-a,--all", settings.table.inFull, "Tables show every property, and whole paths");
    app.add_flag("--trace", settings.trace, "Show syslog lines, files and IPMI exchanges on standard error");
    app.option_defaults()->group("Options");
}

}  // namespace cimhost
