#ifndef PCIINFO_CIMHOST_COMMAND_H
#define PCIINFO_CIMHOST_COMMAND_H

#include <string>

#include "cimhost/formats.h"
#include "cimhost/question.h"
#include "cimhost/session.h"
#include "cimhost/terminal.h"

namespace cimhost {

/** How the program ends. */
enum ExitCode {
    kSuccess = 0,
    kErrorStatus = 1,  // the provider answered with an error status or broke down, or the output was not taken
    kCannotAsk = 2,    // wrong usage, no such library, no such host
};

struct Settings {
    Surroundings surroundings;
    Format format = Format::table;
    TableOptions table;
    Color color = Color::automatic;
    bool trace = false;  // what the provider does appears on standard error as it happens
};

/** Writes what went wrong to standard error. */
void complain(const std::string& message);

/**
 * Writes an answer to standard output. Whoever reads it may have seen enough of it (a closed pipe); anything else that
 * stops it is complained about, and false returned.
 */
bool print(const std::string& text);

/** Writes lines to standard error, if a trace is wanted. */
Tracer makeTracer(bool wanted);

/** Puts the question, writes the answer to standard output and what went wrong to standard error. */
ExitCode run(const Settings& settings, const Question& question);

/** Writes which functions are on the board and which in which slot, in the same way. There is no tree in MOF. */
ExitCode runTree(const Settings& settings);

/** Writes the sample machines to standard output, in any format but MOF. */
ExitCode listSamples(const Settings& settings);

}  // namespace cimhost

#endif
