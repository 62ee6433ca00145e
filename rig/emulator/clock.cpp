// The emulated clock, and the waits that move it on. Held by tests/emulator/device_test.cpp.
#include "emulator/clock.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "emulator/mutex.h"
#include "emulator/real.h"

namespace emulator::clock {

namespace {

namespace fs = std::filesystem;

constexpr const char* kThreads = "/proc/self/task";
constexpr Duration kPause = std::chrono::milliseconds(1);  // between looks at threads that could go on

std::atomic<std::int64_t> aheadNs{0};
std::atomic<unsigned> resets{0};

/** Guards the list of waits. Neither is local: the thread sanitizer does not see a local one's guard in our poll(). */
Mutex waitsMutex;

/** Locks the list without ever sleeping for it: a thread that is about to wait must not look like one at rest. */
std::unique_lock<Mutex> lockWaits() {
    std::unique_lock<Mutex> lock(waitsMutex, std::try_to_lock);
    while (!lock.owns_lock()) {
        std::this_thread::yield();
        lock.try_lock();
    }
    return lock;
}

class Waiting;

/** Every wait from its beginning to its end. Never destroyed: waits come until the very end of the process. */
std::map<pid_t, const Waiting*>& waits = *new std::map<pid_t, const Waiting*>;

/** A thread's wait, on the list of all. */
class Waiting {
 public:
    explicit Waiting(Duration duration) : end_(now() + duration) {
        const auto lock = lockWaits();
        waits[gettid()] = this;
    }
    ~Waiting() {
        const auto lock = lockWaits();
        waits.erase(gettid());
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

    Duration end() const { return end_; }
    bool over() const { return now() >= end_ || resets != resets_; }

 private:
    const Duration end_;
    const unsigned resets_ = resets;
};

/** Every thread of the process but the calling one; none where the kernel does not tell. */
std::vector<pid_t> otherThreads() {
    std::vector<pid_t> threads;
    std::error_code error;
    for (fs::directory_iterator entry(kThreads, error), end; !error && entry != end; entry.increment(error)) {
        const auto thread = static_cast<pid_t>(std::strtol(entry->path().filename().c_str(), nullptr, 10));
        if (thread != gettid()) threads.push_back(thread);
    }
    return threads;
}

/** What the kernel has on record of a thread; nothing when the thread is gone. */
std::string statusOf(pid_t thread) {
    const std::string path = std::string(kThreads) + "/" + std::to_string(thread) + "/status";
    std::string text(4096, '\0');
    const int file = real::openat(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return "";
    const ssize_t length = read(file, text.data(), text.size());
    real::close(file);
    text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return text;
}

/** How often a thread that is asleep, or gone, has run; nothing for one that runs, may run, or waits for a disk. */
std::optional<std::string> timesRun(pid_t thread) {
    const std::string status = statusOf(thread);
    if (status.empty()) return "";
    constexpr const char* kStates[] = {"State:\tS", "State:\tI", "State:\tZ", "State:\tX"};
    const std::size_t runs = status.find("voluntary_ctxt_switches");  // and the involuntary ones, at the end
    const bool rests = std::any_of(std::begin(kStates), std::end(kStates),
                                   [&](const char* state) { return status.find(state) != std::string::npos; });
    return rests && runs != std::string::npos ? std::optional(status.substr(runs)) : std::nullopt;
}

/**
 * The end of the wait that ends first, as long as no thread could go on: one whose wait is over can, though it may not
 * have noticed yet. `others` becomes how often each of those that are not waiting has run.
 */
std::optional<Duration> firstEnd(Duration own, std::map<pid_t, std::string>& others) {
    others.clear();
    Duration first = own;
    for (const pid_t thread : otherThreads()) {
        if (const auto wait = waits.find(thread); wait != waits.end()) {
            if (wait->second->over()) return std::nullopt;
            first = std::min(first, wait->second->end());
        } else if (const auto times = timesRun(thread)) {
            others[thread] = *times;
        } else {
            return std::nullopt;
        }
    }
    return first;
}

/** Puts the clock forward to the end of the wait that ends first, if no thread could go on now. */
bool putForward(Duration own) {
    const std::unique_lock<Mutex> lock(waitsMutex, std::try_to_lock);
    if (!lock.owns_lock()) return false;
    // Threads are looked at one after the other, and may wake one another meanwhile. Those that sleep at both looks,
    // and have not run in between, were all asleep at the same time.
    std::map<pid_t, std::string> before;
    std::map<pid_t, std::string> after;
    if (!firstEnd(own, before)) return false;
    const std::optional<Duration> first = firstEnd(own, after);
    if (!first || before != after) return false;
    advance(std::max(*first - now(), Duration::zero()));
    return true;
}

}  // namespace

timespec toTimespec(Duration duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((duration - seconds).count())};
}

Duration offset() {
    return Duration(aheadNs.load(std::memory_order_relaxed));
}

Duration now() {
    timespec time{};
    real::clock_gettime(CLOCK_MONOTONIC, &time);
    return std::chrono::seconds(time.tv_sec) + Duration(time.tv_nsec) + offset();
}

void advance(Duration by) {
    aheadNs.fetch_add(by.count(), std::memory_order_relaxed);
}

void wait(Duration duration) {
    if (duration <= Duration::zero()) return;
    const Waiting waiting(duration);
    while (!waiting.over()) {
        if (!putForward(waiting.end())) sleep(kPause);
    }
}

void reset() {
    aheadNs.store(0, std::memory_order_relaxed);
    ++resets;
}

void sleep(Duration duration) {
    if (duration <= Duration::zero()) return;
    timespec left = toTimespec(duration);
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace emulator::clock
