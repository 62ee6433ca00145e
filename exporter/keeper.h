#ifndef PCIINFO_EXPORTER_KEEPER_H
#define PCIINFO_EXPORTER_KEEPER_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "exporter/probe.h"

namespace exporter {

/**
 * Answers of targets, kept, and the probes that bring them. A target is asked by one probe at a time; probes that there
 * is no place for wait, first come, first served. Where there is no room for another target, that which was not scraped
 * for the longest is dropped of those whose answers are too old to be served again. Others are not: where they are
 * scraped in turns each would be asked at each scrape.
 */
class Keeper {
 public:
    using Clock = std::chrono::steady_clock;

    struct Limits {
        std::size_t targets;
        std::size_t bytes;
        unsigned probes;
    };

    /** What a scrape gets: kept is young enough; fresh was waited for; stale is the one before the probe under way. */
    enum class Kind { kept, fresh, stale, pending, refused };

    struct Answer {
        Kind kind;
        std::shared_ptr<const std::string> text;  // metrics of the last probe that ended; null: there is none
        Seconds age{-1};
        bool probing = false;  // a probe waits or is under way
    };

    /** A probe's end. */
    struct Ended {
        std::string target;
        std::string result;   // "success", or the failure's reason
        std::string message;  // of the failure
        Seconds took;
        bool news;  // the result is another than the last time
    };

    struct Counts {
        std::size_t targets = 0;
        std::size_t bytes = 0;
        std::size_t evictions = 0;
        std::size_t waiting = 0;
        std::size_t running = 0;
    };

    /** onEnd is called with each probe's end, on its thread; it does not throw. */
    Keeper(Probe probe, const Limits& limits, std::function<void(const Ended&)> onEnd);
    /** Waits for probes that are under way. */
    ~Keeper();
    Keeper(const Keeper&) = delete;
    Keeper& operator=(const Keeper&) = delete;

    /**
     * The answer of a target, which is asked unless one is kept that is young enough; that is waited for, until the
     * deadline, unless more probes wait than can be under way: there are scrapes of a whole fleet behind that. A probe
     * that takes longer goes on for the next scrape. A failure is an answer, too. Refused: there is no room, as all
     * targets that are kept are being probed or have answers that are young enough, or the keeper has stopped.
     */
    Answer get(const std::string& moduleName, const std::shared_ptr<const Module>& module, const std::string& target,
               Clock::time_point deadline);

    void setLimits(const Limits& limits);
    /** Failures are asked anew by the next scrape, whatever their age. */
    void forgetFailures();
    Counts counts() const;
    /** Ends all waiting. No probe begins any more. */
    void stop();

 private:
    using Key = std::pair<std::string, std::string>;  // of module and target
    enum class State { idle, waiting, probing };
    struct Entry {
        Key key;
        std::shared_ptr<const Module> module;  // as the last scrape has it
        State state = State::idle;
        unsigned ended = 0;  // probes
        std::string result;  // of the last one
        Clock::time_point since;
        std::shared_ptr<const std::string> text;  // null: nothing is kept
        std::shared_ptr<const Module> askedBy;    // what the text was asked by
        bool retried = false;                     // whatever its age, it is asked anew
        std::condition_variable changed;
        std::list<std::shared_ptr<Entry>>::iterator place;  // in used_
    };
    using EntryPtr = std::shared_ptr<Entry>;

    EntryPtr entryOf(const Key& key);
    bool dropOld();
    bool dropIdle();
    void drop(const EntryPtr& entry);
    static bool isYoung(const Entry& entry, Clock::time_point now);
    void enqueue(const EntryPtr& entry);
    EntryPtr takeWaiting();
    void work();
    void run(const EntryPtr& entry, std::unique_lock<std::mutex>& lock);

    const Probe probe_;
    const std::function<void(const Ended&)> onEnd_;
    mutable std::mutex mutex_;
    Limits limits_;
    std::map<Key, EntryPtr> entries_;
    std::list<EntryPtr> used_;  // the one that was scraped last in front
    std::deque<EntryPtr> waiting_;
    std::set<std::string> busy_;  // targets that are being probed
    std::condition_variable work_;
    std::vector<std::thread> workers_;
    std::size_t idleWorkers_ = 0;
    std::size_t bytes_ = 0;
    std::size_t evictions_ = 0;
    bool stopped_ = false;
};

}  // namespace exporter

#endif
