#ifndef PCIINFO_TESTS_CIMHOST_TERMINALRUN_H
#define PCIINFO_TESTS_CIMHOST_TERMINALRUN_H

#include <string>
#include <vector>

#include "program.h"

/** The terminal that a run finds. */
struct Terminal {
    unsigned short columns = 80;
    std::vector<std::string> environment;  // "NAME=value", in place of what the tests run with
};

/**
 * Runs the built cimhost with standard output on a pseudo-terminal of that width; `out` is what the terminal got, with
 * mere line feeds. COLUMNS and NO_COLOR are unset, TERM is xterm and the locale C.UTF-8 where `environment` has nothing
 * else. Throws std::system_error when that cannot be set up.
 */
Outcome runCimhostOnTerminal(const std::vector<std::string>& arguments, const Terminal& terminal);

#endif
