#include "cimhost/options.h"

#include <map>
#include <string>

namespace cimhost {

namespace {

const std::map<std::string, Format> kFormats = {{"table", Format::table}, {"mof", Format::mof}, {"json", Format::json},
                                                {"jsonl", Format::jsonl}, {"csv", Format::csv}, {"tsv", Format::tsv}};

const std::map<std::string, Color> kColors = {
    {"auto", Color::automatic}, {"always", Color::always}, {"never", Color::never}};

std::vector<std::string> mannersNames() {
    std::vector<std::string> names;
    for (const broker::Manners each : broker::allManners()) names.push_back(broker::nameOf(each));
    return names;
}

}  // namespace

bool isColor(const std::string& name) {
    return kColors.count(name) > 0;
}

void addGeneralOptions(CLI::App& app, Settings& settings) {
    app.add_option("--host", settings.surroundings.hostDirectory,
                   "Directory of an emulated host; without it the provider sees this machine")
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory.description(""));
    app.add_option("--library", settings.surroundings.library,
                   "The provider's library; without it the one of the build tree, else the installed one")
        ->type_name("FILE");
    app.add_option_function<std::string>(
           "--manners",
           [&settings](const std::string& name) { settings.surroundings.manners = broker::mannersNamed(name); },
           "The object manager that asks: sfcb, pegasus, strict; default standard, as DSP0200 has it")
        ->type_name("NAME")
        ->check(CLI::IsMember(mannersNames()).description(""));
    app.add_option_function<std::string>(
           "--format", [&settings](const std::string& name) { settings.format = kFormats.at(name); },
           "How the answer is written: table (default), json, jsonl, csv, tsv or mof")
        ->type_name("FORMAT")
        ->check(CLI::IsMember(kFormats).description(""));
    app.add_option("--width", settings.table.width,
                   "Columns that a line of a table may take; default: those of the terminal, else as many as it needs")
        ->type_name("COLUMNS")
        ->check(CLI::PositiveNumber.description(""));
    app.add_option_function<std::string>(
           "--color", [&settings](const std::string& name) { settings.color = kColors.at(name); },
           "Colours: auto (default; on a terminal, unless NO_COLOR is set), always or never")
        ->type_name("WHEN")
        ->check(CLI::IsMember(kColors).description(""));
    app.add_flag("-a,--all", settings.table.inFull, "Tables show every property, and whole paths");
    app.add_flag("--trace", settings.trace, "Show syslog lines, files and IPMI exchanges on standard error");
}

}  // namespace cimhost
