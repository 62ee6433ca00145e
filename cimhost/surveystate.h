#ifndef PCIINFO_CIMHOST_SURVEYSTATE_H
#define PCIINFO_CIMHOST_SURVEYSTATE_H

#include <cstddef>
#include <set>
#include <string>

namespace cimhost {

/**
 * Which of several servers have answered so far, in a file, so that a run that ended early can be taken up. What is
 * written of one server is announced there before and noted after. A run that was killed in between leaves an
 * announcement: where standard output is the same regular file as then, what it has of that server is looked at. Is it
 * all there, the server counts as done; is it there in part, at the end of the file, that part is cut off and the
 * server asked again: nothing is lost and nothing there twice. Where something else stands there, or output is no
 * regular file, or another one, the server is asked again, and what went out of it before comes again.
 *
 * Lines of the file, fields separated by tabs: "cimhost-servers 1" and the question; "output" and what standard output
 * is, once for each run; "begin", offset in the output, length, sums of the lines, name; "done", name. A last line
 * without an end does not count. It is not synchronised with a disk: it endures the end of a process, not of the
 * machine.
 */
class SurveyState {
 public:
    /**
     * Takes up the file, or makes it; an empty name: no state. Throws std::runtime_error where that fails, the file is
     * of another question or is none of these, another process has it, or output has less than was written to it. A
     * regular file as output belongs to the process that has a state, and is shared by those that have none: what of
     * these is not so is an error, too.
     */
    SurveyState(const std::string& file, const std::string& question, int output);
    /** Whether it had been written before this run. */
    bool isDone(const std::string& name) const { return done_.count(name) > 0; }
    /** Before and after a server's records, whole lines, are written. Throw std::runtime_error. */
    void begin(const std::string& name, const std::string& records);
    void end(const std::string& name);

 private:
    struct Pending;
    struct Descriptor {
        Descriptor() = default;
        ~Descriptor();
        Descriptor(const Descriptor&) = delete;
        Descriptor& operator=(const Descriptor&) = delete;
        bool isOpen() const { return number >= 0; }
        int number = -1;
    };

    void shareOutput();
    void read(const std::string& question, Pending& pending);
    void settle(const Pending& pending);
    void append(const std::string& line) const;
    [[noreturn]] void fail(const std::string& what) const;

    const std::string name_;
    const int output_;
    Descriptor file_;
    Descriptor written_;  // the output, to be read and locked
    std::set<std::string> done_;
};

}  // namespace cimhost

#endif
