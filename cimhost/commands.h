#ifndef PCIINFO_CIMHOST_COMMANDS_H
#define PCIINFO_CIMHOST_COMMANDS_H

#include <CLI/CLI.hpp>

#include <functional>
#include <optional>
#include <string>

#include "broker/broker.h"
#include "cimhost/command.h"
#include "cimhost/question.h"
#include "cimhost/selection.h"

namespace cimhost {

/** What the arguments stand for: after parsing either a question or something to run. */
struct Request {
    Settings settings;
    std::string argument;  // of the command
    broker::Filters filters;
    Selection selection;
    std::optional<Question> question;
    std::function<ExitCode(const Settings&)> run;  // of commands that put no question
};

/** Adds every command with its options; parsing writes to `request`, which has to live until then. */
void addCommands(CLI::App& app, Request& request);

}  // namespace cimhost

#endif
