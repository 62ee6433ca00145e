#ifndef PCIINFO_CIMHOST_COMMAND_H
#define PCIINFO_CIMHOST_COMMAND_H

#include <functional>
#include <string>

#include "cimhost/formats.h"
#include "cimhost/question.h"
#include "cimhost/session.h"
#include "cimhost/terminal.h"
#include "cimhost/tree.h"

namespace cimhost {

/** How the program ends. */
enum ExitCode {
    kSuccess = 0,
    kErrorStatus = 1,  // the provider answered with an error status or broke down, or the output was not taken
    kCannotAsk = 2,    // wrong usage, no such library, no such host
    kNoAnswer = 3,     // an object manager elsewhere gave none, or of several at least one
};

struct Settings {
    Surroundings surroundings;
    Format format = Format::table;
    TableOptions table;
    Color color = Color::automatic;
    bool trace = false;  // what the provider does appears on standard error as it happens
    Ask elsewhere = {};  // asks an object manager elsewhere; empty: the provider is asked in this process
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

/** Writes what `write` makes of what sits where, in the same way; the command's name is in what is complained about. */
ExitCode runInventory(const Settings& settings, const std::string& command,
                      const std::function<std::string(const Inventory&)>& write);

/** Writes which functions are on the board and which in which slot. There is no tree in MOF. */
ExitCode runTree(const Settings& settings);

/** Writes the sample machines to standard output, in any format but MOF. */
ExitCode listSamples(const Settings& settings);

}  // namespace cimhost

#endif
