#ifndef PCIINFO_TESTS_SUPPORT_EMULATEDTIME_H
#define PCIINFO_TESTS_SUPPORT_EMULATEDTIME_H

#include <chrono>
#include <ctime>

namespace testsupport {

/**
 * How far the emulated clock is ahead of the machine's. What it gains is time that passed in virtual waits alone,
 * however busy the machine is.
 */
inline std::chrono::milliseconds ahead() {
    timespec machine{};
    clock_gettime(CLOCK_BOOTTIME, &machine);  // goes as the monotonic clock does, and is not emulated
    const auto emulated = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(emulated - std::chrono::seconds(machine.tv_sec) -
                                                                 std::chrono::nanoseconds(machine.tv_nsec));
}

}  // namespace testsupport

#endif
