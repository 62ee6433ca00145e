#ifndef PCIINFO_CIMHOST_OPTIONS_H
#define PCIINFO_CIMHOST_OPTIONS_H

#include <CLI/CLI.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cimhost/command.h"

namespace cimhost {

// Type names of options and arguments, which the help shows and by which the completion knows what to offer; one of
// several fixed words has them all, with | between them.
constexpr const char* kClassType = "CLASS";
constexpr const char* kObjectType = "OBJECT";
constexpr const char* kHostType = "HOST";
constexpr const char* kFileType = "FILE";

/** Adds an option that takes one of the words. */
CLI::Option* addChoice(CLI::App& app, const std::string& name, const std::vector<std::string>& words,
                       const std::function<void(const std::string&)>& take, const std::string& description);

/** Takes whole decimal numbers of that range; of any other value it says that it is no `what`. */
CLI::Validator numberIn(std::uint64_t least, std::uint64_t most, const std::string& what);

/** Whether it is a value of --color. */
bool isColor(const std::string& name);

/** Adds the options that every command takes; parsing writes to `settings`, which has to live until then. */
void addGeneralOptions(CLI::App& app, Settings& settings);

}  // namespace cimhost

#endif
