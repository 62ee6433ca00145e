#ifndef PCIINFO_CIMHOST_OPTIONS_H
#define PCIINFO_CIMHOST_OPTIONS_H

#include <CLI/CLI.hpp>

#include "cimhost/command.h"

namespace cimhost {

/** Adds the options that every command takes; parsing writes to `settings`, which has to live until then. */
/** Whether it is a value of --color. */
bool isColor(const std::string& name);

void addGeneralOptions(CLI::App& app, Settings& settings);

}  // namespace cimhost

#endif
