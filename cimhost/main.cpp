#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cimhost/command.h"
#include "cimhost/question.h"
#include "cimhost/terminal.h"

namespace {

using cimhost::Question;

/** The settings and the question that the arguments stand for. */
struct Request {
    cimhost::Settings settings;
    std::optional<Question> question;
};

const std::map<std::string, cimhost::Format> kFormats = {
    {"table", cimhost::Format::table}, {"mof", cimhost::Format::mof}, {"json", cimhost::Format::json}};

void addGeneralOptions(CLI::App& app, cimhost::Settings& settings) {
    app.add_option("--host", settings.surroundings.hostDirectory,
                   "Directory of an emulated host; without it the provider sees this machine")
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory.description(""));
    app.add_option("--library", settings.surroundings.library,
                   "The provider's library; without it the one of the build tree, else the installed one")
        ->type_name("FILE");
    app.add_option_function<std::string>(
           "--format", [&settings](const std::string& name) { settings.format = kFormats.at(name); },
           "How the answer is written: table (default), mof or json")
        ->type_name("FORMAT")
        ->check(CLI::IsMember(kFormats).description(""));
    app.add_option("--width", settings.table.width, "Columns that a line of a table may take; 0: those of the terminal")
        ->type_name("COLUMNS")
        ->envname("COLUMNS");
    app.add_flag("-a,--all", settings.table.inFull, "Tables show every property, and whole paths");
    app.add_flag("--trace", settings.trace, "Show syslog lines, files and IPMI exchanges on standard error");
}

/** A command that puts one question about what its one argument names; an argument that is no good throws. */
struct Command {
    const char* name;
    const char* description;
    const char* argument;
    const char* argumentDescription;
    Question (*makeQuestion)(const std::string&);
};

constexpr Command kCommands[] = {
    {"enumerate", "The instances of a class", "CLASS", "e.g. QELTA_PCIDevice", cimhost::enumerateInstances},
    {"names", "The object paths of a class's instances", "CLASS", "e.g. QELTA_SystemSlot", cimhost::enumerateNames},
    {"get", "All about the instances that have the keys of an object path", "PATH",
     "e.g. 'QELTA_SystemSlot.Tag=\"System Slot 3\"'; not every key need be there", cimhost::getInstance},
};

void addCommand(CLI::App& app, Request& request, const Command& command) {
    const auto ask = [&request, &command](const std::string& text) {
        try {
            request.question = command.makeQuestion(text);
        } catch (const std::invalid_argument& error) {
            throw CLI::ValidationError(command.argument, error.what());
        }
    };
    app.add_subcommand(command.name, command.description)
        ->add_option_function<std::string>(command.argument, ask, command.argumentDescription)
        ->type_name("")
        ->required();
}

std::string failureMessage(const CLI::App* app, const CLI::Error& error) {
    // An unknown command is left over, and the lack of a known one is what is complained about.
    const std::vector<std::string> rest = app->remaining();
    const bool unknownCommand = app->get_subcommands().empty() && !rest.empty();
    const std::string message = unknownCommand ? rest.front() + " is no command" : error.what();
    return "cimhost: " + message + "\nRun cimhost --help for more information.\n";
}

int runCommand(int argc, char** argv) {
    CLI::App app("Asks the PCI information provider as an object manager would, and shows what it answers.", "cimhost");
    app.require_subcommand(1)->fallthrough()->failure_message(failureMessage);
    Request request;
    request.settings.table.width = 0;
    addGeneralOptions(app, request.settings);
    for (const Command& command : kCommands) addCommand(app, request, command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? cimhost::kSuccess : cimhost::kCannotAsk;
    }
    if (request.settings.table.width == 0) request.settings.table.width = cimhost::terminalWidth();
    return cimhost::run(request.settings, *request.question);
}

}  // namespace

int main(int argc, char** argv) {
    // A reader that goes away shows as a failed write, which ends the output quietly.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return runCommand(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "cimhost: %s\n", error.what());
        return cimhost::kErrorStatus;
    }
}
