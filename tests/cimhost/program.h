#ifndef PCIINFO_TESTS_CIMHOST_PROGRAM_H
#define PCIINFO_TESTS_CIMHOST_PROGRAM_H

#include <string>
#include <vector>

#include "tests/support/hostbuilder.h"

/** How a run of the program ended: the exit code, -1 for a signal. */
struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
};

/** What a run finds besides its arguments. */
struct Surrounding {
    std::string columns;    // the variable COLUMNS; empty: unset
    std::string outputTo;   // a file that standard output goes to, `out` stays empty then
    bool noOutput = false;  // standard output is closed
};

/** The built cimhost while it runs. It is killed with the object, if it has not ended. */
class RunningCimhost {
 public:
    /** Throws std::system_error when it cannot be started. */
    explicit RunningCimhost(const std::vector<std::string>& arguments);
    ~RunningCimhost();
    RunningCimhost(const RunningCimhost&) = delete;
    RunningCimhost& operator=(const RunningCimhost&) = delete;

    /** The first line that it writes to standard output; "" if none comes. */
    std::string firstLine() const;
    /** Waits until it has written that to standard error; false if it does not. */
    bool wroteToStderr(const std::string& text) const;
    void signal(int number) const;
    int processId() const { return pid_; }
    /** Its end, which has to come within seconds; the exit code is -1 where it does not. */
    Outcome end();

 private:
    testsupport::TemporaryDirectory directory_;
    int pid_ = 0;  // 0: it has ended
};

/** Runs the built cimhost with these arguments. Throws std::system_error when it cannot be started. */
Outcome runCimhost(const std::vector<std::string>& arguments, const Surrounding& surrounding = {});

/** The same with nobody reading what it writes to standard output, SIGPIPE at its default. `out` stays empty. */
Outcome runCimhostIntoClosedPipe(const std::vector<std::string>& arguments);

#endif
