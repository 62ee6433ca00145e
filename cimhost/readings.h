#ifndef PCIINFO_CIMHOST_READINGS_H
#define PCIINFO_CIMHOST_READINGS_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "cimhost/tree.h"

namespace cimhost {

/** What sat where at a time. */
struct Reading {
    Inventory inventory;
    std::string trouble;  // why the SMBIOS table could not be read; "": nothing is known of that
    std::chrono::system_clock::time_point time = {};
    std::chrono::steady_clock::time_point end = {};
    std::chrono::steady_clock::duration took = {};
};

/**
 * Keeps the last inventory of a machine, and takes a new one when it is told to: one at a time, on a thread of its own,
 * as that may take minutes. May be used from any thread.
 */
class Readings {
 public:
    using Clock = std::chrono::steady_clock;

    /** Tells whether the inventory is not wanted any more. */
    using Unwanted = std::function<bool()>;
    /** Takes an inventory; `time`, `end` and `took` are set by who calls. What it throws counts as a failure. */
    using Take = std::function<Reading(const Unwanted&)>;

    explicit Readings(Take take) : take_(std::move(take)) {}
    /** Waits for an inventory that is being taken. */
    ~Readings();
    Readings(const Readings&) = delete;
    Readings& operator=(const Readings&) = delete;

    struct State {
        std::shared_ptr<const Reading> last;      // null: there is none yet
        std::string failure;                      // of the last attempt, where that had none
        std::optional<Clock::duration> underWay;  // since when one is being taken
    };
    State state() const;

    /** Begins one, unless one is being taken already, and returns at its end or after that time. */
    void again(std::chrono::milliseconds patience);

    /** The same where none was tried so far; else it only waits for one that is being taken. */
    void once(std::chrono::milliseconds patience);

    /** Takes no more. Returns whether none is being taken after that time; it may be called again. */
    bool finish(std::chrono::milliseconds patience);

 private:
    void begin();
    void run();

    const Take take_;
    mutable std::mutex mutex_;
    std::condition_variable ended_;
    std::shared_ptr<const Reading> last_;
    std::string failure_;
    std::optional<Clock::time_point> begun_;  // set while one is being taken
    bool finishing_ = false;
    std::thread thread_;
};

}  // namespace cimhost

#endif
