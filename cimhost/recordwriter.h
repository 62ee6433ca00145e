#ifndef PCIINFO_CIMHOST_RECORDWRITER_H
#define PCIINFO_CIMHOST_RECORDWRITER_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "cimhost/surveystate.h"

namespace cimhost {

/** Whoever reads standard output has seen enough. */
class ReaderGone : public std::exception {};

/**
 * Writes servers' records to standard output, and to the state what has been written, on a thread of its own: where the
 * reader pauses, servers are not kept waiting, whose time would run out.
 */
class RecordWriter {
 public:
    /** The state, which has to live as long, is the writer's alone but for what is const. */
    explicit RecordWriter(SurveyState& state);
    /** What has not been written is not. */
    ~RecordWriter();
    RecordWriter(const RecordWriter&) = delete;
    RecordWriter& operator=(const RecordWriter&) = delete;

    /** A server's records, whole lines, each of them for one call of write. */
    void put(const std::string& server, std::string records);
    /** Throws what writing has thrown: ReaderGone, std::runtime_error. */
    void check() const;
    /** Whether so much waits that no more should be asked for. */
    bool isBehind() const;
    /** Whether nothing will be written until more is put. */
    bool isIdle() const;
    /** Waits until all is written. Throws as check(). */
    void finish();

 private:
    void run();
    void write(const std::string& server, const std::string& records);

    SurveyState& state_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::pair<std::string, std::string>> waiting_;  // the first one is being written
    std::size_t bytes_ = 0;
    bool stopped_ = false;
    std::exception_ptr error_;
    std::thread thread_;
};

}  // namespace cimhost

#endif
