#ifndef PCIINFO_TESTS_CIMHOST_PROGRAM_H
#define PCIINFO_TESTS_CIMHOST_PROGRAM_H

#include <optional>
#include <string>
#include <vector>

#include "tests/support/hostbuilder.h"

/** How a run of the program ended: the exit code, -1 for a signal. */
struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
};

/** Where standard output goes; `out` is empty unless it is `kept` or a terminal. */
enum class Output { kept, closed, full, closedPipe };

/** What a run finds besides its arguments. */
struct Surrounding {
    std::optional<unsigned short> terminal;     // standard output is a pseudo-terminal of so many columns
    std::vector<std::string> environment = {};  // "NAME=value", in place of what the tests run with
    Output output = Output::kept;
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

/**
 * Runs the built cimhost with these arguments. COLUMNS and NO_COLOR are unset, TERM is xterm and the locale C.UTF-8
 * where `environment` has nothing else. Throws std::system_error when it cannot be started.
 */
Outcome runCimhost(const std::vector<std::string>& arguments, const Surrounding& surrounding = {});

#endif
