#ifndef PCIINFO_CIMHOST_PATIENCE_H
#define PCIINFO_CIMHOST_PATIENCE_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "cimhost/bmcwatch.h"

namespace cimhost {

/** Tells once, from a thread of its own, that something takes its time. */
class WaitNotice {
 public:
    /** `tell` is called after `patience`, with the seconds passed, unless the wait has ended by then. */
    WaitNotice(std::chrono::milliseconds patience, std::function<void(double seconds)> tell);
    ~WaitNotice();
    WaitNotice(const WaitNotice&) = delete;
    WaitNotice& operator=(const WaitNotice&) = delete;

    /** Whether `tell` was called; it will not be from here on. */
    bool end();

 private:
    void watch(std::chrono::milliseconds patience);

    const std::function<void(double)> tell_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool over_ = false;
    bool told_ = false;
    std::thread thread_;
};

/**
 * For who sits at a terminal, on standard error; elsewhere it does nothing: a line when the answer takes more than a
 * second, with what is waited for and how long that can take, and with the object's end what went wrong at the BMC or
 * how long it took.
 */
class Patience {
 public:
    /** `bmc` watches while the object lives. The answer takes at most so many readings of the table, 0: not known. */
    Patience(const BmcWatch& bmc, unsigned readings);
    ~Patience();
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;

    /** The answer has come. */
    void end();

 private:
    using Clock = std::chrono::steady_clock;

    const BmcWatch& bmc_;
    const Clock::time_point start_ = Clock::now();
    double seconds_ = 0;
    bool waited_ = false;
    std::optional<WaitNotice> notice_;
};

}  // namespace cimhost

#endif
