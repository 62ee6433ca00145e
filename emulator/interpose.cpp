/**
 * The functions of the C library that this library stands in front of. Each asks whether the call is the emulated
 * host's business and passes it on to the function behind it otherwise. Those of the ..._chk and __open_2 kind are what
 * code compiled with _FORTIFY_SOURCE calls.
 */
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "emulator/clock.h"
#include "emulator/host.h"
#include "emulator/procstream.h"
#include "emulator/real.h"

namespace {

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

/** Calls a function of the kind f(path, argument) with the path where the file really is. */
template <class NextFunction, class Argument>
int atRealPath(NextFunction& next, const char* path, Argument argument) {
    if (Host::covers(path))
        if (const auto host = Host::active()) return next(host->realPath(path).c_str(), argument);
    return next(path, argument);
}

template <class NextFunction>
int openDescriptor(NextFunction& next, const char* path, int flags, unsigned mode) {
    if (Host::isDevicePath(path))
        if (const auto host = Host::active()) return host->openDevice(path, flags);
    if (Host::covers(path))
        if (const auto host = Host::active()) return host->open(path, flags, mode);
    return next(path, flags, mode);
}

/** The mode argument of an open() call, which is there only where a file may be made. */
unsigned modeOf(int flags, va_list arguments) {
    const bool given = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): started by the caller
    return given ? va_arg(arguments, unsigned) : 0;
}

/** The device session behind a descriptor, kept alive for a call together with its host. */
struct Target {
    std::shared_ptr<Host> host;
    std::shared_ptr<emulator::DeviceSession> session;

    explicit Target(int descriptor) {
        if (!Host::mayBeSession(descriptor)) return;
        host = Host::active();
        if (host) session = host->session(descriptor);
    }
};

/** Not inlined: <poll.h> declares that poll() only writes to its items, so that gcc 12 takes their reading there for a
 *  reading of nothing. */
[[gnu::noinline]] int pollDescriptors(pollfd* items, nfds_t count, int timeout) {
    if (count == 1) {
        if (const Target target(items->fd); target.session)
            return target.host->poll(target.session.get(), *items, timeout);
        if (items->fd == -1 && timeout > 0 && Host::waitsForNothing())
            if (const auto host = Host::active()) return host->poll(nullptr, *items, timeout);
    }
    return real::poll(items, count, timeout);
}

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
    return real::fclose(stream);
}

int stat(const char* path, struct stat* result) noexcept {
    return atRealPath(real::stat, path, result);
}

int stat64(const char* path, struct stat64* result) noexcept {
    return atRealPath(real::stat64, path, result);
}

int lstat(const char* path, struct stat* result) noexcept {
    return atRealPath(real::lstat, path, result);
}

int lstat64(const char* path, struct stat64* result) noexcept {
    return atRealPath(real::lstat64, path, result);
}

int access(const char* path, int mode) noexcept {
    return atRealPath(real::access, path, mode);
}

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openDescriptor(real::open, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openDescriptor(real::open64, path, flags, mode);
}

int __open_2(const char* path, int flags) {
    return openDescriptor(real::open, path, flags, 0);
}

int __open64_2(const char* path, int flags) {
    return openDescriptor(real::open64, path, flags, 0);
}

int close(int descriptor) {
    if (const Target target(descriptor); target.session) target.host->closeSession(descriptor);
    return real::close(descriptor);
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (const Target target(descriptor); target.session) return target.host->ioctl(*target.session, request, argument);
    return real::ioctl(descriptor, request, argument);
}

int poll(pollfd* items, nfds_t count, int timeout) {
    return pollDescriptors(items, count, timeout);
}

int __poll_chk(pollfd* items, nfds_t count, int timeout, size_t) {
    return pollDescriptors(items, count, timeout);
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
