#ifndef PCIINFO_CIMHOST_ARGUMENTS_H
#define PCIINFO_CIMHOST_ARGUMENTS_H

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "broker/broker.h"
#include "cimhost/command.h"
#include "cimhost/question.h"
#include "cimhost/selection.h"
#include "cimhost/suggestion.h"
#ifdef CIMHOST_SERVE
#include "cimhost/remote.h"
#include "cimhost/survey.h"
#endif

// The command line as CLI11 reads it: options of every command, the commands, their help, their completion.
namespace cimhost {

// --- options.cpp ---

/** The group of the options that every command takes; the help of each command shows it as well. */
constexpr const char* kGeneralOptions = "General options";
/** Likewise of those by which object managers elsewhere are asked. */
constexpr const char* kRemoteOptions = "Object managers elsewhere";

// Type names of options and arguments, which the help shows and by which the completion knows what to offer; one of
// several fixed words has them all, with | between them.
constexpr const char* kClassType = "CLASS";
constexpr const char* kObjectType = "OBJECT";
constexpr const char* kHostType = "HOST";
constexpr const char* kFileType = "FILE";

/** Adds the options that every command takes; parsing writes to `settings`, which has to live until then. */
void addGeneralOptions(CLI::App& app, Settings& settings);

/**
 * Whether an option makes a difference to a command that takes it; sample machines are listed without a provider, and
 * served is the one in this process.
 */
bool isOfUse(const CLI::Option& option, const CLI::App& command);

/** A function that calls `work`; what that says is wrong with the argument becomes an error of that name. */
template <typename Work>
auto checked(const std::string& name, Work work) {
    return [name, work](const auto& argument) {
        try {
            work(argument);
        } catch (const CLI::Error&) {
            throw;
        } catch (const std::exception& error) {
            throw CLI::ValidationError(name, error.what());
        }
    };
}

/** Takes whole decimal numbers of that range; any other value is an error that says "is no" `what`. */
CLI::Validator numberIn(std::uint64_t least, std::uint64_t most, const std::string& what);

/** Words and what they stand for. */
template <typename Meaning>
using Words = std::vector<std::pair<std::string, Meaning>>;

/** Adds an option that takes one of the words and sets `target` to what it stands for. */
template <typename Meaning>
void addChoice(CLI::App& app, const std::string& name, const Words<Meaning>& words, Meaning& target,
               const std::string& description) {
    std::vector<std::string> names;
    for (const auto& [word, meaning] : words) names.push_back(word);
    const auto problem = [names](const std::string& value) -> std::string {
        if (std::find(names.begin(), names.end(), value) != names.end()) return "";
        return fmt::format("{} is none of {}{}", value, fmt::join(names, ", "), didYouMean(value, names));
    };
    const auto take = [&target, words](const std::string& value) {
        for (const auto& [word, meaning] : words)
            if (word == value) target = meaning;
    };
    app.add_option_function<std::string>(name, take, description)
        ->type_name(fmt::format("{}", fmt::join(names, "|")))
        ->check(CLI::Validator(problem, ""));
}

/** Whether it is a value of --color. */
bool isColor(const std::string& name);

// --- commands.cpp ---

/** What the arguments stand for: after parsing either a question or something to run. */
struct Request {
    Settings settings;
    std::string argument;  // of the command
    broker::Filters filters;
    Selection selection;
    std::optional<Question> question;
    std::function<ExitCode(const Settings&)> run;  // of commands that put no question
#ifdef CIMHOST_SERVE
    RemoteOptions remote;
    std::map<std::string, std::function<Survey(const Settings&)>> surveys;  // of commands with `run`, by their names
#endif
};

/** Adds every command with its options; parsing writes to `request`, which has to live until then. */
void addCommands(CLI::App& app, Request& request);

// --- remoteoptions.cpp ---

#ifdef CIMHOST_SERVE
/** Adds the options by which object managers elsewhere are asked. */
void addRemoteOptions(CLI::App& app, RemoteOptions& options);

/** After parsing: has the request asked elsewhere, if that is wanted. Throws CLI::ValidationError. */
void settleRemote(const CLI::App& app, Request& request);
#endif

// --- helpformat.cpp ---

/** Help in lines of at most 80 columns; that of a command has what every command takes as well, and the classes. */
class HelpFormatter : public CLI::Formatter {
 public:
    HelpFormatter();

    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_subcommand(const CLI::App* command) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
    std::string make_option_opts(const CLI::Option* option) const override;
};

/** What went wrong with the arguments, what may have been meant, and where help is: the text for standard error. */
std::string failureMessage(const CLI::App* app, const CLI::Error& error);

// --- completion.cpp ---

/** The command by which a shell asks for completions; it is not for people. */
constexpr const char* kCompletionCommand = "complete";

/**
 * Writes to standard output what the last of the words, which may be empty, can be completed to, those before it being
 * the arguments so far: one a line, in the spelling of the program, with a description after a tab where there is one.
 * A line "<files>" or "<directories>" stands for those that the shell knows. False when it cannot be written.
 */
bool printCompletions(const CLI::App& app, const std::vector<std::string>& words);

}  // namespace cimhost

#endif
