#include "emulator/clock.h"

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "emulator/real.h"

namespace emulator::clock {

namespace {

std::atomic<std::int64_t> aheadNs{0};

}  // namespace

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

void reset() {
    aheadNs.store(0, std::memory_order_relaxed);
}

void sleep(Duration duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timespec left{static_cast<time_t>(seconds.count()), static_cast<long>((duration - seconds).count())};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace emulator::clock
