// What the help looks like, and what is said of wrong arguments. Tests: tests/cimhost/usage_test.cpp.

#include "cimhost/arguments.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <sstream>
#include <vector>

#include "cimhost/suggestion.h"

namespace cimhost {

namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kLeft = 28;  // columns of the names

constexpr const char* kClasses = R"(
Classes (QELTA_ may be left out, letter case does not matter; slots, devices,
bridges and board stand for theirs):
  QELTA_PCIDevice           PCI functions but bridges
  QELTA_PCIBridge           PCI bridges
  QELTA_SystemSlot          system slots
  QELTA_SystemBoard         the system board
  QELTA_DeviceInSlot        association of a slot with a function in it
  QELTA_OnBoardDevice       association of the board with a function on it
  QELTA_SSPCIController     PCI functions in slots
  QELTA_OBDPCIController    PCI functions on the board
)";

/** The text in lines of at most so many columns. */
std::string wrapped(const std::string& text, std::size_t columns = kWidth - kLeft) {
    std::string joined;
    for (const std::string& line : wrap(text, columns))
        joined += (joined.empty() ? "" : "\n") + line.substr(0, line.find_last_not_of(' ') + 1);
    return joined;
}

/** What every command takes, as far as it is of use there; the command's own help option is enough. */
std::string optionsOfAll(const HelpFormatter& formatter, const CLI::App& command) {
    std::string text;
    for (const char* group : {kGeneralOptions, kRemoteOptions}) {
        const auto options = command.get_parent()->get_options(
            [&](const CLI::Option* option) { return option->get_group() == group && isOfUse(*option, command); });
        if (!options.empty()) text += fmt::format("\n{}:\n", group);
        for (const CLI::Option* option : options) text += formatter.make_option(option, false);
    }
    return text;
}

std::vector<std::string> optionNames(const CLI::App* app) {
    std::vector<std::string> names;
    for (; app; app = app->get_parent())
        for (const CLI::Option* option : app->get_options())
            for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    return names;
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    return names;
}

/** What to say about arguments that nothing was made of, "" where there are none. */
std::string complaintAbout(const std::vector<std::string>& rest, const CLI::App& app) {
    if (rest.empty()) return "";
    const auto commands = app.get_subcommands();
    const auto isOption = [](const std::string& argument) { return argument.size() > 1 && argument.front() == '-'; };
    const auto option = std::find_if(rest.begin(), rest.end(), isOption);
    if (option != rest.end() && (option == rest.begin() || !commands.empty())) {
        const std::string name = option->substr(0, option->find('='));
        const CLI::App* asked = commands.empty() ? &app : commands.front();
        const std::string of = commands.empty() ? "" : " of " + asked->get_name();
        return fmt::format("{} is no option{}{}", name, of, didYouMean(name, optionNames(asked)));
    }
    if (commands.empty())
        return fmt::format("{} is no command{}", rest.front(), didYouMean(rest.front(), commandNames(app)));
    return fmt::format("more arguments than {} takes: {}", commands.front()->get_name(), fmt::join(rest, " "));
}

}  // namespace

HelpFormatter::HelpFormatter() {
    column_width(kLeft);
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const {
    std::ostringstream out;
    out << wrapped(app->get_description(), kWidth) << '\n'
        << make_usage(app, name) << make_positionals(app) << make_groups(app, mode);
    if (app->get_parent()) out << optionsOfAll(*this, *app);
    out << make_subcommands(app, mode) << kClasses;
    for (const std::string& line : lines("\n" + app->get_footer()))
        out << (!line.empty() && line.front() == ' ' ? line : wrapped(line, kWidth)) << '\n';
    return CLI::detail::find_and_replace(out.str(), "\n\n\n", "\n\n");
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
    std::ostringstream out;
    CLI::detail::format_help(out, command->get_name(), wrapped(command->get_description()), kLeft);
    return out.str();
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
    return wrapped(option->get_description());
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
    const std::string type = option->get_type_name();
    return type.empty() ? "" : " " + type;
}

namespace {

/** CLI11's words, but where they are of little help. */
std::string reasonOf(const CLI::Error& error, bool hasCommand) {
    const std::string message = error.what();
    const std::size_t override = message.find(" was given a disallowed flag override");
    if (override != std::string::npos) return fmt::format("--{} takes no value", message.substr(0, override));
    const bool isMissing = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    return isMissing && !hasCommand ? "no command given" : message;
}

}  // namespace

std::string failureMessage(const CLI::App* app, const CLI::Error& error) {
    const auto commands = app->get_subcommands();
    std::string message = complaintAbout(app->remaining(true), *app);
    if (message.empty()) message = reasonOf(error, !commands.empty());
    return fmt::format("cimhost: {}\nRun cimhost{} --help for more information.\n", printable(message, localeCharset()),
                       commands.empty() ? "" : " " + commands.front()->get_name());
}

}  // namespace cimhost
