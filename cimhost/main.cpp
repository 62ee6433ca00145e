// The program: from the arguments to the exit status. Tests: tests/cimhost/commandline_test.cpp, usage_test.cpp.

#include <fcntl.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cim/shortage.h"
#include "cimhost/arguments.h"

namespace {

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

/** Ends the parsing: help and version go to standard output, complaints to standard error. */
cimhost::ExitCode endParsing(const CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream out;
    const bool asked = app.exit(error, out, std::cerr) == 0;
    if (!asked) return cimhost::kCannotAsk;
    return cimhost::print(out.str()) ? cimhost::kSuccess : cimhost::kErrorStatus;
}

int runCommand(int argc, char** argv) {
    CLI::App app("Asks the PCI information provider as an object manager would, and shows what it answers.", "cimhost");
    app.require_subcommand(1)->fallthrough()->failure_message(cimhost::failureMessage);
    app.formatter(std::make_shared<cimhost::HelpFormatter>());
    app.option_defaults()->disable_flag_override();  // --all=no is a mistake, not a way to say what is so anyway
    app.set_version_flag("-V,--version", "cimhost " CIMHOST_VERSION, "Print the version and exit");
    cimhost::Request request;
    cimhost::addGeneralOptions(app, request.settings);
#ifdef CIMHOST_SERVE
    cimhost::addRemoteOptions(app, request.remote);
#endif
    cimhost::addCommands(app, request);
    if (argc > 1 && std::string(argv[1]) == cimhost::kCompletionCommand)
        return cimhost::printCompletions(app, {argv + 2, argv + argc}) ? cimhost::kSuccess : cimhost::kErrorStatus;
    try {
        app.parse(argumentsBackwards(argc, argv));
#ifdef CIMHOST_SERVE
        cimhost::settleRemote(app, request);
#endif
    } catch (const CLI::ParseError& error) {
        return endParsing(app, error);
    }
    request.settings.table = cimhost::fitted(request.settings.table, request.settings.color);
    return request.question ? cimhost::run(request.settings, *request.question) : request.run(request.settings);
}

/**
 * A standard descriptor that is closed would go to the next file opened. It is given to one that fails as a closed one
 * does: reading, or writing, is refused.
 */
void openStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);  // the lowest that is free
}

/** Says what ended the program, as far as there is memory for that. */
cimhost::ExitCode endBy(const std::exception& error) {
    try {
        cimhost::complain(error.what());
    } catch (const std::bad_alloc&) {
        std::fputs("cimhost: there is no memory\n", stderr);
    }
    return cimhost::kErrorStatus;
}

}  // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    // A reader that goes away shows as a failed write, which ends the output quietly.
    std::signal(SIGPIPE, SIG_IGN);
    std::setlocale(LC_CTYPE, "");  // NOLINT(concurrency-mt-unsafe): one thread so far; numbers stay as they are
    try {
        cim::noteMemoryShortages();
        return cim::whole([&] { return runCommand(argc, argv); });
    } catch (const std::exception& error) {
        return endBy(error);
    }
}
