/**
 * The functions of the C library that this library stands in front of: streams, log, host name and clock here, paths
 * and descriptors in files of their own. Each asks whether the call is the emulated host's business and passes it on to
 * the function behind it otherwise. Those of the ..._chk and __open_2 kind are what code compiled with _FORTIFY_SOURCE
 * calls.
 */
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "emulator/clock.h"
#include "emulator/devicetarget.h"
#include "emulator/host.h"
#include "emulator/procstream.h"
#include "emulator/real.h"

namespace {

using emulator::DeviceTarget;
using emulator::Host;
namespace real = emulator::real;

template <class NextFunction>
FILE* openStream(NextFunction& next, const char* path, const char* mode) {
    if (Host::covers(path))
        if (const auto host = Host::active()) return host->fopen(path, mode);
    return next(path, mode);
}

/** The lock of a stream, which fread takes and fread_unlocked does not. */
class StreamLock {
 public:
    explicit StreamLock(FILE* stream) : stream_(stream) { flockfile(stream_); }
    ~StreamLock() { funlockfile(stream_); }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;

 private:
    FILE* stream_;
};

/** The file below /proc/bus/pci that a stream reads, kept alive together with its host; null for other streams. */
struct StreamTarget {
    std::shared_ptr<Host> host;
    emulator::ProcFile* file = nullptr;

    explicit StreamTarget(FILE* stream) {
        if (!Host::anyStream()) return;
        host = Host::active();
        if (host) file = host->procFile(stream);
    }
};

void writeLog(int priority, const char* format, va_list arguments) {
    if (const auto host = Host::active())
        host->vsyslog(priority, format, arguments);
    else
        real::vsyslog(priority, format, arguments);
}

}  // namespace

extern "C" {

FILE* fopen(const char* path, const char* mode) {
    return openStream(real::fopen, path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
    return openStream(real::fopen64, path, mode);
}

size_t fread(void* to, size_t size, size_t count, FILE* stream) {
    const StreamTarget target(stream);
    if (target.file == nullptr) return real::fread(to, size, count, stream);
    const StreamLock lock(stream);
    return target.file->fread(to, size, count, stream);
}

size_t fread_unlocked(void* to, size_t size, size_t count, FILE* stream) {
    const StreamTarget target(stream);
    if (target.file == nullptr) return real::fread_unlocked(to, size, count, stream);
    return target.file->fread(to, size, count, stream);
}

size_t __fread_chk(void* to, size_t room, size_t size, size_t count, FILE* stream) {
    const StreamTarget target(stream);
    if (target.file == nullptr || count * size > room) return real::fread_chk(to, room, size, count, stream);
    const StreamLock lock(stream);
    return target.file->fread(to, size, count, stream);
}

size_t __fread_unlocked_chk(void* to, size_t room, size_t size, size_t count, FILE* stream) {
    const StreamTarget target(stream);
    if (target.file == nullptr || count * size > room) return real::fread_unlocked_chk(to, room, size, count, stream);
    return target.file->fread(to, size, count, stream);
}

int fclose(FILE* stream) {
    if (Host::anyStream())
        if (const auto host = Host::active()) host->forgetStream(stream);
    // Streams close their descriptors past our close().
    if (const DeviceTarget target(stream->_fileno); target.session) target.host->closeSession(stream->_fileno);
    return real::fclose(stream);
}

int gethostname(char* name, size_t size) noexcept {
    if (const auto host = Host::active()) return host->gethostname(name, size);
    return real::gethostname(name, size);
}

int __gethostname_chk(char* name, size_t size, size_t) noexcept {
    return gethostname(name, size);
}

void vsyslog(int priority, const char* format, va_list arguments) {
    writeLog(priority, format, arguments);
}

void __vsyslog_chk(int priority, int, const char* format, va_list arguments) {
    writeLog(priority, format, arguments);
}

void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeLog(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeLog(priority, format, arguments);
    va_end(arguments);
}

int clock_gettime(clockid_t which, timespec* time) noexcept {
    const int result = real::clock_gettime(which, time);
    if (result != 0 || which != CLOCK_MONOTONIC) return result;
    const auto ahead = emulator::clock::offset();
    if (ahead == emulator::clock::Duration::zero()) return result;
    const auto sum = ahead + emulator::clock::Duration(time->tv_nsec);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(sum);
    time->tv_sec += static_cast<time_t>(seconds.count());
    time->tv_nsec = static_cast<long>((sum - seconds).count());
    return result;
}

}  // extern "C"
