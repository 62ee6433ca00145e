// The options by which object managers elsewhere are asked. Tests: tests/cimhost/usage_test.cpp,
// tests/e2e/remote.py.

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

#include "cimhost/arguments.h"
#include "cimhost/remote.h"
#include "cimhost/survey.h"

namespace cimhost {

namespace {

constexpr std::uint64_t kMostParallel = 1024;
constexpr std::uint64_t kLongest = 1000000;  // seconds

/** Options that are about the provider in this process. */
constexpr const char* kOfThisProcess[] = {"--host", "--catalogue", "--library", "--manners", "--trace"};

void addSeconds(CLI::App& app, const std::string& name, std::chrono::milliseconds& time,
                const std::string& description) {
    app.add_option_function<std::uint64_t>(
           name, [&time](std::uint64_t number) { time = std::chrono::seconds(number); }, description)
        ->type_name("SECONDS")
        ->check(numberIn(1, kLongest, "number of seconds from 1 to 1000000"));
}

/** A file whose contents are wanted later, and which is then looked for by a library that tells nothing. */
CLI::Validator readableFile() {
    return CLI::Validator(
        [](const std::string& name) {
            return access(name.c_str(), R_OK) == 0 ? "" : fmt::format("{} cannot be read", name);
        },
        "");
}

bool isGiven(const CLI::App& app, const std::string& name) {
    return app.get_option(name)->count() > 0;
}

std::string environment(const char* name) {
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): one thread so far
    return value != nullptr ? value : "";
}

void refuseWithout(const CLI::App& app, const std::string& needed, std::initializer_list<const char*> names) {
    for (const char* name : names)
        if (isGiven(app, name)) throw CLI::ValidationError(name, fmt::format("it is of use with {} alone", needed));
}

/** What is asked, without how: a state is of use to the same question alone. */
std::string questionIn(const CLI::App& command, Format format) {
    std::string text = fmt::format("{} {}", command.get_name(), static_cast<int>(format));
    for (const CLI::Option* option : command.get_options())
        for (const std::string& value : option->results())
            text += fmt::format(" {}={}", option->get_name(), printable(value));
    return text;
}

void askSeveral(const CLI::App& command, Request& request) {
    const Format format = request.settings.format;
    if (format == Format::json || format == Format::mof)
        throw CLI::ValidationError("--format", "of several servers there are jsonl, csv, tsv and table, line by line");
    const auto ofCommand = request.surveys.find(command.get_name());
    if (!request.question && ofCommand == request.surveys.end())
        throw CLI::ValidationError("--servers", fmt::format("{} asks one server alone", command.get_name()));
    std::function<Survey(const Settings&)> make;
    if (request.question)
        make = [asked = *request.question](const Settings& settings) { return surveyOf(asked, settings); };
    else
        make = ofCommand->second;
    request.run = [make, remote = request.remote, question = questionIn(command, format)](const Settings& settings) {
        Survey survey = make(settings);
        survey.question = question;
        return runSurvey(settings, remote, survey);
    };
    request.question.reset();
}

}  // namespace

void addRemoteOptions(CLI::App& app, RemoteOptions& options) {
    app.option_defaults()->group(kRemoteOptions);
    app.add_option_function<std::string>(
           "--server",
           checked("--server",
                   [&options](const std::string& text) {
                       client::parseServer(text);
                       options.server = text;
                   }),
           "Ask this object manager, [https://][user@]host[:port]; http:// has to be said, or be port 5988")
        ->type_name("URL");
    app.add_option("--servers", options.servers, "Ask all that this file lists, one a line; - is standard input")
        ->type_name(kFileType);
    app.add_option("--parallel", options.parallel, "With --servers: how many are asked at a time; default 64")
        ->type_name("NUMBER")
        ->check(numberIn(1, kMostParallel, "number from 1 to 1024"));
    app.add_option("--state", options.state,
                   "With --servers: note here who has answered, and do not ask those whom it names")
        ->type_name(kFileType);
    app.add_option("--netrc", options.access.netrcFile, "User names and passwords; default ~/.netrc")
        ->type_name(kFileType)
        ->check(readableFile());
    app.add_option("--cacert", options.access.caFile, "The certificates to trust, PEM; default: the system's")
        ->type_name(kFileType)
        ->check(readableFile());
    app.add_flag("--insecure", options.access.insecure, "Trust any certificate, and send passwords without encryption");
    addSeconds(app, "--connect-timeout", options.access.connectTimeout, "Wait so long for a connection; default 10");
    addSeconds(app, "--timeout", options.access.answerTimeout,
               "Wait so long for an answer, connecting included; default 120");
    app.option_defaults()->group("Options");
}

void settleRemote(const CLI::App& app, Request& request) {
    RemoteOptions& remote = request.remote;
    const bool several = isGiven(app, "--servers");
    if (!several && remote.server.empty()) {
        refuseWithout(app, "--server or --servers",
                      {"--netrc", "--cacert", "--insecure", "--connect-timeout", "--timeout"});
        return refuseWithout(app, "--servers", {"--parallel", "--state"});
    }
    const std::string option = several ? "--servers" : "--server";
    if (several && !remote.server.empty())
        throw CLI::ValidationError("--servers", "it is one server or those of a file, not both");
    if (!several) refuseWithout(app, "--servers", {"--parallel", "--state"});
    const CLI::App* command = app.get_subcommands().front();
    if (!isOfUse(*app.get_option(option), *command))
        throw CLI::ValidationError(option, fmt::format("{} asks nobody else", command->get_name()));
    for (const char* name : kOfThisProcess)
        if (isGiven(app, name))
            throw CLI::ValidationError(
                name, fmt::format("it is about a provider in this process; {} asks one elsewhere", option));
    remote.access.user = environment("CIMHOST_USER");
    remote.access.password = environment("CIMHOST_PASSWORD");
    if (several) return askSeveral(*command, request);
    request.settings.elsewhere = askOf(client::parseServer(remote.server), remote.access);
}

}  // namespace cimhost
