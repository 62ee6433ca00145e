#include <CLI/CLI.hpp>

#include <clocale>
#include <csignal>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "cimhost/commands.h"
#include "cimhost/options.h"
#include "cimhost/terminal.h"
#include "cimhost/text.h"

namespace {

std::string failureMessage(const CLI::App* app, const CLI::Error& error) {
    // An unknown command is left over, and the lack of a known one is what is complained about.
    const std::vector<std::string> rest = app->remaining();
    const bool unknownCommand = app->get_subcommands().empty() && !rest.empty();
    const std::string message = unknownCommand ? rest.front() + " is no command" : error.what();
    return "cimhost: " + cimhost::printable(message, cimhost::localeCharset()) +
           "\nRun cimhost --help for more information.\n";
}

/**
 * The arguments as CLI::App::parse takes them, the last one first. For "--option=" it would take the next argument as
 * the value; as "--option" and an empty argument it is understood. "--color" alone means "--color always".
 */
std::vector<std::string> argumentsBackwards(int argc, char** argv) {
    std::vector<std::string> arguments;
    for (int i = argc - 1; i > 0; --i) {
        std::string argument = argv[i];
        if (argument == "--color" && (arguments.empty() || !cimhost::isColor(arguments.back())))
            arguments.emplace_back("always");
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
    cimhost::Request request;
    cimhost::addGeneralOptions(app, request.settings);
    cimhost::addCommands(app, request);
    try {
        app.parse(argumentsBackwards(argc, argv));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? cimhost::kSuccess : cimhost::kCannotAsk;
    }
    request.settings.table = cimhost::fitted(request.settings.table, request.settings.color);
    return request.question ? cimhost::run(request.settings, *request.question) : request.run(request.settings);
}

}  // namespace

int main(int argc, char** argv) {
    // A reader that goes away shows as a failed write, which ends the output quietly.
    std::signal(SIGPIPE, SIG_IGN);
    std::setlocale(LC_CTYPE, "");  // numbers stay as they are
    try {
        return runCommand(argc, argv);
    } catch (const std::exception& error) {
        cimhost::complain(error.what());
        return cimhost::kErrorStatus;
    }
}
