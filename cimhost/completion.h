#ifndef PCIINFO_CIMHOST_COMPLETION_H
#define PCIINFO_CIMHOST_COMPLETION_H

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace cimhost {

/** The command by which a shell asks for completions; it is not for people. */
constexpr const char* kCompletionCommand = "complete";

/**
 * What the last of the words, which may be empty, can be completed to, those before it being the arguments so far: one
 * a line, in the spelling of the program, with a description behind a tab where there is one. A line "<files>" or
 * "<directories>" stands for those that the shell knows.
 */
std::vector<std::string> completions(const CLI::App& app, const std::vector<std::string>& words);

/** Writes them to standard output; false when they cannot be written. */
bool printCompletions(const CLI::App& app, const std::vector<std::string>& words);

}  // namespace cimhost

#endif
