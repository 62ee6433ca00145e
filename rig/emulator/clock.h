#ifndef PCIINFO_EMULATOR_CLOCK_H
#define PCIINFO_EMULATOR_CLOCK_H

#include <chrono>
#include <ctime>

/** The emulated CLOCK_MONOTONIC: the machine's, put forward by the waits that no thread slept through. */
namespace emulator::clock {

using Duration = std::chrono::nanoseconds;

/** A point in time that does not come. */
constexpr Duration kNever = Duration::max();

timespec toTimespec(Duration duration);
/** How far the emulated clock is ahead. */
Duration offset();
/** The emulated time. */
Duration now();
void advance(Duration by);
/**
 * Returns when so much emulated time has passed. Threads that wait at the same time wait side by side, as they really
 * would: the clock is put forward, to the end of the wait that ends first, only when no thread of the process could go
 * on without it, each being in such a wait, waiting for a lock, asleep, or reading where there is nothing to read. That
 * is what the kernel says of the threads, so that a loaded machine, where threads are ready to run but do not, changes
 * nothing. Real time counts as well: in a process that never rests, a wait takes as long as a real one.
 */
void wait(Duration duration);
/** Back to the machine's time; ends all waits. */
void reset();
/** A real sleep; returns at once for a duration of 0 or less. */
void sleep(Duration duration);

}  // namespace emulator::clock

#endif
