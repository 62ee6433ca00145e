#ifndef PCIINFO_EMULATOR_CLOCK_H
#define PCIINFO_EMULATOR_CLOCK_H

#include <chrono>

/** The emulated CLOCK_MONOTONIC: the machine's, put forward by the waits that nobody slept through. */
namespace emulator::clock {

using Duration = std::chrono::nanoseconds;

/** A point in time that does not come. */
constexpr Duration kNever = Duration::max();

/** How far the emulated clock is ahead. */
Duration offset();
/** The emulated time. */
Duration now();
void advance(Duration by);
/**
 * Returns when so much emulated time has passed. Threads that wait at the same time wait side by side, as they would in
 * earnest: the clock is put forward, to the end of the wait that ends first, only when no thread of the process could
 * go on without it, each being in such a wait, behind a lock, in a sleep or in a read of nothing. That is what the
 * kernel says of the threads, so that a loaded machine, where threads are ready to run but do not, changes nothing.
 * Real time counts as well: in a process that never rests, a wait takes what it would take in earnest.
 */
void wait(Duration duration);
/** Back to the machine's time; ends all waits. */
void reset();
/** Sleeps in earnest; not at all for a duration of nothing. */
void sleep(Duration duration);

}  // namespace emulator::clock

#endif
