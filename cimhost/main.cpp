#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cimhost/command.h"
#include "cimhost/question.h"
#include "cimhost/terminal.h"
#ifdef CIMHOST_SERVE
#include "cimhost/serve.h"
#endif

namespace {

using cimhost::Question;

/** What the arguments stand for. */
struct Request {
    cimhost::Settings settings;
    std::string argument;  // of the command
    broker::Filters filters;
    std::optional<Question> question;
    std::function<cimhost::ExitCode(const cimhost::Settings&)> run;  // of commands that put no question
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

/** Which filters a command takes. */
enum class FilterOptions { none, ofReferences, ofAssociators };

/** A command that puts one question about what its one argument names; an argument that is no good throws. */
struct Command {
    const char* name;
    const char* description;
    const char* argument;
    const char* argumentDescription;
    FilterOptions filters;
    Question (*makeQuestion)(const std::string&, const broker::Filters&);
};

template <Question (*make)(const std::string&)>
Question unfiltered(const std::string& argument, const broker::Filters&) {
    return make(argument);
}

constexpr const char* kSourceDescription = "e.g. 'QELTA_SystemSlot.Tag=\"System Slot 3\"'";

constexpr Command kCommands[] = {
    {"enumerate", "The instances of a class", "CLASS", "e.g. QELTA_PCIDevice", FilterOptions::none,
     unfiltered<cimhost::enumerateInstances>},
    {"names", "The object paths of a class's instances", "CLASS", "e.g. QELTA_SystemSlot", FilterOptions::none,
     unfiltered<cimhost::enumerateNames>},
    {"get", "All about the instances that have the keys of an object path", "PATH",
     "e.g. 'QELTA_SystemSlot.Tag=\"System Slot 3\"'; not every key need be there", FilterOptions::none,
     unfiltered<cimhost::getInstance>},
    {"associators", "The objects that are associated with one", "PATH", kSourceDescription,
     FilterOptions::ofAssociators, cimhost::associators},
    {"associator-names", "The object paths of these", "PATH", kSourceDescription, FilterOptions::ofAssociators,
     cimhost::associatorNames},
    {"references", "The associations that refer to an object", "PATH", kSourceDescription, FilterOptions::ofReferences,
     cimhost::references},
    {"reference-names", "The object paths of these", "PATH", kSourceDescription, FilterOptions::ofReferences,
     cimhost::referenceNames},
};

/** A filter that is not given is null to the provider, one that is given as an empty text is an empty text. */
void addFilter(CLI::App& command, const char* option, std::optional<std::string>& filter, const char* description) {
    command
        .add_option_function<std::string>(
            option, [&filter](const std::string& text) { filter = text; }, description)
        ->type_name("TEXT");
}

void addFilters(CLI::App& command, broker::Filters& filters, FilterOptions wanted) {
    if (wanted == FilterOptions::none) return;
    addFilter(command, "--result-class", filters.resultClass, "The class of what is asked for");
    addFilter(command, "--role", filters.role, "The role of the object in the association");
    if (wanted == FilterOptions::ofReferences) return;
    addFilter(command, "--assoc-class", filters.assocClass, "The class of the association");
    addFilter(command, "--result-role", filters.resultRole, "The role of what is asked for");
}

void addCommand(CLI::App& app, Request& request, const Command& command) {
    const auto ask = [&request, &command] {
        try {
            request.question = command.makeQuestion(request.argument, request.filters);
        } catch (const std::invalid_argument& error) {
            throw CLI::ValidationError(command.argument, error.what());
        }
    };
    CLI::App* added = app.add_subcommand(command.name, command.description);
    added->add_option(command.argument, request.argument, command.argumentDescription)->type_name("")->required();
    addFilters(*added, request.filters, command.filters);
    added->callback(ask);
}

void addTree(CLI::App& app, Request& request) {
    app.add_subcommand("tree", "What sits in which slot: the board and every slot, and the functions there")
        ->callback([&request] {
            if (request.settings.format == cimhost::Format::mof)
                throw CLI::ValidationError("--format", "a tree is written as table or json, there is none in mof");
            request.run = cimhost::runTree;
        })
        ->footer(
            "The functions of one device share a line (00:1f.0,2,4-6), with the kinds that they are of and their\n"
            "names; devices of one bus that follow each other and read the same share one too (16:08.0..0a.1).\n"
            "3× tells how many functions a line stands for. With --all every function has a line of its own.\n"
            "A tree is written as table or as json.");
}

#ifdef CIMHOST_SERVE
void addServe(CLI::App& app, Request& request) {
    const auto options = std::make_shared<wbem::HttpOptions>();
    CLI::App* command =
        app.add_subcommand("serve", "Answers WBEM clients (CIM operations over HTTP) until it is ended");
    command->add_option("--address", options->address, "Numeric address to listen at; default 127.0.0.1")
        ->type_name("ADDRESS");
    command->add_option("--port", options->port, "Port to listen at; default 5988, 0: any that is free")
        ->type_name("PORT");
    command->callback([&request, options] {
        request.run = [options](const cimhost::Settings& settings) { return cimhost::serve(settings, *options); };
    });
}
#endif

std::string failureMessage(const CLI::App* app, const CLI::Error& error) {
    // An unknown command is left over, and the lack of a known one is what is complained about.
    const std::vector<std::string> rest = app->remaining();
    const bool unknownCommand = app->get_subcommands().empty() && !rest.empty();
    const std::string message = unknownCommand ? rest.front() + " is no command" : error.what();
    return "cimhost: " + message + "\nRun cimhost --help for more information.\n";
}

/**
 * The arguments as CLI::App::parse takes them, the last one first. For "--option=" it would take the next argument as
 * the value; as "--option" and an empty argument it is understood.
 */
std::vector<std::string> argumentsBackwards(int argc, char** argv) {
    std::vector<std::string> arguments;
    for (int i = argc - 1; i > 0; --i) {
        std::string argument = argv[i];
        if (argument.size() > 3 && argument.rfind("--", 0) == 0 && argument.find('=') == argument.size() - 1) {
            argument.pop_back();
            arguments.emplace_back();
        }
        arguments.push_back(std::move(argument));
    }
    return arguments;
}

int runCommand(int argc, char** argv) {
    CLI::App app("Asks the PCI information provider as an object manager would, and shows what it answers.", "cimhost");
    app.require_subcommand(1)->fallthrough()->failure_message(failureMessage);
    Request request;
    request.settings.table.width = 0;
    addGeneralOptions(app, request.settings);
    for (const Command& command : kCommands) addCommand(app, request, command);
    addTree(app, request);
#ifdef CIMHOST_SERVE
    addServe(app, request);
#endif
    try {
        app.parse(argumentsBackwards(argc, argv));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? cimhost::kSuccess : cimhost::kCannotAsk;
    }
    if (request.settings.table.width == 0) request.settings.table.width = cimhost::terminalWidth();
    return request.question ? cimhost::run(request.settings, *request.question) : request.run(request.settings);
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
