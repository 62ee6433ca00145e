#ifndef PCIINFO_EMULATOR_CLOCK_H
#define PCIINFO_EMULATOR_CLOCK_H

#include <chrono>

/** The emulated CLOCK_MONOTONIC: the machine's, put forward by the waits that nobody slept through. */
namespace emulator::clock {

using Duration = std::chrono::nanoseconds;

/** How far the emulated clock is ahead. */
Duration offset();
/** The emulated time. */
Duration now();
void advance(Duration by);
/** Back to the machine's time. */
void reset();
/** Sleeps in earnest. */
void sleep(Duration duration);

}  // namespace emulator::clock

#endif
