#ifndef PCIINFO_BENCH_PLATFORM_H
#define PCIINFO_BENCH_PLATFORM_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The calls of the C library between which and the provider a measuring program stands: /dev/ipmi0, answered out of
// memory, the system log, allocations and searches. Everything else goes to the kernel.

namespace bench {

// --- the BMC ---

/** Makes the content of a file the SMBIOS table in the BMC's data store. @throws std::runtime_error */
void loadTable(const std::string& path);
/** Every answer of the BMC keeps the caller waiting so long. */
void setWait(std::uint32_t microseconds);

// --- the system log ---

/** One call of syslog, as it can be made again: texts are copied, numbers stand as they were given. */
struct LogCall {
    static constexpr std::size_t kMost = 8;

    const char* format;
    std::vector<std::uintptr_t> arguments;
};

enum class Log {
    dropped,   // a call is counted and returns
    sent,      // it goes on to syslog(3)
    recorded,  // it is kept and returns
};

void setLog(Log where);
/** What was recorded since the last call of this. */
std::vector<LogCall> takeRecorded();
/** Makes the calls, which setLog decides about. */
void repeat(const std::vector<LogCall>& calls);

// --- counted ---

struct Counts {
    std::size_t exchanges = 0;
    std::size_t lines = 0;
    std::size_t searches = 0;     // calls of strstr
    std::size_t allocations = 0;  // calls of malloc, calloc, realloc and operator new; 0 where they are not counted
    std::size_t peakBytes = 0;    // the most that was allocated at a time, above what was when counting began
    std::size_t largest = 0;      // the largest allocation
};

/** Since the last call of startCounting by this thread; memory of all threads. */
Counts counts();
/** From now on; memory only where it is asked for, since that takes time. */
void startCounting(bool memory);

}  // namespace bench

#endif
