#ifndef PCIINFO_TESTS_CIMHOST_PROGRAM_H
#define PCIINFO_TESTS_CIMHOST_PROGRAM_H

#include <string>
#include <vector>

/** How a run of the program ended: the exit code, -1 for a signal. */
struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
};

/** What a run finds besides its arguments. */
struct Surrounding {
    std::string columns;   // the variable COLUMNS; empty: unset
    std::string outputTo;  // a file that standard output goes to, `out` stays empty then
};

/** Runs the built cimhost with these arguments. Throws std::system_error when it cannot be started. */
Outcome runCimhost(const std::vector<std::string>& arguments, const Surrounding& surrounding = {});

/** The same with nobody reading what it writes to standard output, SIGPIPE at its default. `out` stays empty. */
Outcome runCimhostIntoClosedPipe(const std::vector<std::string>& arguments);

#endif
