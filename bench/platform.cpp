// The C library's functions that stand in front of its own ones in a measuring program. bench/counts.py uses what they
// count.
#include "bench/platform.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/ipmi.h>
#include <malloc.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <list>
#include <stdexcept>

namespace bench {

namespace {

constexpr int kDevice = 1 << 20;  // no descriptor of the kernel's
constexpr std::size_t kArea = 65536;
constexpr std::uint8_t kOpen = 1;
constexpr std::uint8_t kRead = 2;

std::array<std::uint8_t, kArea> table{};
std::uint32_t waitMicroseconds = 0;

// Of the exchange under way; the provider has one at a time.
std::array<std::uint8_t, 272> answer{};
std::uint16_t answerLength = 0;
std::uint8_t answerNetfn = 0;
std::uint8_t answerCommand = 0;

// Of the calling thread: what they cost is to be next to nothing.
thread_local std::size_t exchanges = 0;
thread_local std::size_t lines = 0;
thread_local std::size_t searches = 0;
thread_local Counts before;

Log where = Log::dropped;
std::vector<LogCall> recorded;
std::list<std::string> texts;

bool countsMemory = false;
std::atomic<std::size_t> allocations{0};
std::atomic<std::size_t> live{0};
std::atomic<std::size_t> peak{0};
std::atomic<std::size_t> largest{0};

std::uint32_t number(const std::uint8_t* bytes, unsigned count) {
    std::uint32_t all = 0;
    for (unsigned i = 0; i < count; ++i) all |= static_cast<std::uint32_t>(bytes[i]) << (8 * i);
    return all;
}

/** Answers a request: completion code, enterprise number, then what the operation gives. */
void exchange(const ipmi_req& request) {
    const std::uint8_t* data = request.msg.data;
    ++exchanges;
    answer[0] = 0;
    std::memcpy(&answer[1], data, 3);
    answerNetfn = request.msg.netfn | 1;
    answerCommand = request.msg.cmd;
    answerLength = 4;
    if (data[3] == kOpen) {
        std::memset(&answer[4], 0, 4);
        answer[4] = 1;
        answerLength = 8;
    } else if (data[3] == kRead) {
        const std::size_t offset = std::min<std::size_t>(number(data + 8, 4), kArea);
        const std::size_t count = std::min<std::size_t>(data[12], kArea - offset);
        answer[4] = static_cast<std::uint8_t>(count);
        answer[5] = 0;
        std::memcpy(&answer[6], &table[offset], count);
        answerLength = static_cast<std::uint16_t>(6 + count);
    }
}

int receive(ipmi_recv& into) {
    into.recv_type = IPMI_RESPONSE_RECV_TYPE;
    into.msg.netfn = answerNetfn;
    into.msg.cmd = answerCommand;
    into.msg.data_len = std::min(into.msg.data_len, answerLength);
    std::memcpy(into.msg.data, answer.data(), into.msg.data_len);
    return 0;
}

/** The conversions of a format that the provider uses are d, x, lx and s. */
LogCall record(const char* format, va_list arguments) {
    LogCall call{format, {}};
    for (const char* place = std::strchr(format, '%'); place != nullptr; place = std::strchr(place + 1, '%')) {
        ++place;
        if (*place == '%') continue;
        if (*place == 's') {
            texts.emplace_back(va_arg(arguments, const char*));
            call.arguments.push_back(reinterpret_cast<std::uintptr_t>(texts.back().c_str()));
        } else if (*place == 'l') {
            call.arguments.push_back(va_arg(arguments, unsigned long));
        } else if (*place == 'd' || *place == 'x' || *place == 'u') {
            call.arguments.push_back(va_arg(arguments, unsigned int));
        } else {
            std::abort();
        }
    }
    return call;
}

void take(std::size_t size, void* memory) {
    if (!countsMemory || memory == nullptr) return;
    allocations.fetch_add(1, std::memory_order_relaxed);
    const std::size_t now = live.fetch_add(malloc_usable_size(memory)) + malloc_usable_size(memory);
    if (now > peak) peak = now;
    if (size > largest) largest = size;
}

void give(void* memory) {
    if (countsMemory && memory != nullptr) live.fetch_sub(malloc_usable_size(memory));
}

}  // namespace

void loadTable(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (content.empty() || content.size() > kArea) throw std::runtime_error("no SMBIOS table: " + path);
    std::copy(content.begin(), content.end(), table.begin());
}

void setWait(std::uint32_t microseconds) {
    waitMicroseconds = microseconds;
}

void setLog(Log to) {
    where = to;
}

std::vector<LogCall> takeRecorded() {
    std::vector<LogCall> calls;
    calls.swap(recorded);
    return calls;
}

void repeat(const std::vector<LogCall>& calls) {
    for (const LogCall& call : calls) {
        const auto at = [&](std::size_t i) { return i < call.arguments.size() ? call.arguments[i] : 0; };
        syslog(LOG_ERR, call.format, at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7));
    }
}

Counts counts() {
    Counts now;
    now.exchanges = exchanges - before.exchanges;
    now.lines = lines - before.lines;
    now.searches = searches - before.searches;
    now.allocations = allocations;
    now.peakBytes = peak;
    now.largest = largest;
    return now;
}

void startCounting(bool memory) {
    before.exchanges = exchanges;
    before.lines = lines;
    before.searches = searches;
    allocations = live = peak = largest = 0;
    countsMemory = memory;
}

}  // namespace bench

using namespace bench;

extern "C" {

char* countedSearch(const char* text, const char* wanted) asm("strstr");     // C++ has two functions of that name
int pollDevice(pollfd* wanted, nfds_t count, int milliseconds) asm("poll");  // <poll.h> says that it does not read

int open(const char* path, int flags, ...) {
    if (std::strcmp(path, "/dev/ipmi0") == 0) return kDevice;
    va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

int close(int descriptor) {
    return descriptor == kDevice ? 0 : static_cast<int>(syscall(SYS_close, descriptor));
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (descriptor != kDevice) return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
    if (request == IPMICTL_RECEIVE_MSG_TRUNC) return receive(*static_cast<ipmi_recv*>(argument));
    exchange(*static_cast<const ipmi_req*>(argument));
    return 0;
}

int pollDevice(pollfd* wanted, nfds_t count, int milliseconds) {
    if (count != 1 || wanted->fd != kDevice) return static_cast<int>(syscall(SYS_poll, wanted, count, milliseconds));
    if (waitMicroseconds != 0) {
        const timespec time{0, static_cast<long>(waitMicroseconds) * 1000};
        nanosleep(&time, nullptr);
    }
    wanted->revents = POLLIN;
    return 1;
}

void syslog(int priority, const char* format, ...) {
    ++lines;
    if (where == Log::dropped) return;
    va_list arguments;
    va_start(arguments, format);
    if (where == Log::sent) {
        vsyslog(priority, format, arguments);
    } else {
        recorded.push_back(record(format, arguments));
    }
    va_end(arguments);
}

char* countedSearch(const char* text, const char* wanted) {
    using Search = char* (*)(const char*, const char*);
    static const auto real = reinterpret_cast<Search>(dlsym(RTLD_NEXT, "strstr"));
    ++searches;
    return real(text, wanted);
}

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) noexcept {
    void* memory = __libc_malloc(size);
    take(size, memory);
    return memory;
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    void* memory = __libc_calloc(count, size);
    take(count * size, memory);
    return memory;
}

void* realloc(void* old, std::size_t size) noexcept {
    give(old);
    void* memory = __libc_realloc(old, size);
    take(size, memory);
    return memory;
}

void free(void* memory) noexcept {
    give(memory);
    __libc_free(memory);
}

}  // extern "C"
