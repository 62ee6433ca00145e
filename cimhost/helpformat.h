#ifndef PCIINFO_CIMHOST_HELPFORMAT_H
#define PCIINFO_CIMHOST_HELPFORMAT_H

#include <CLI/CLI.hpp>

#include <string>

namespace cimhost {

/** The group of the options that every command takes; the help of each command shows it as well. */
constexpr const char* kGeneralOptions = "General options";

/** Whether an option makes a difference to a command that takes it; sample machines are listed without a provider. */
bool isOfUse(const CLI::Option& option, const CLI::App& command);

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

}  // namespace cimhost

#endif
