// The functions of the C library that this library stands in front of: streams, log, host name and clock here, paths
// and descriptors in files of their own. Each asks whether the call is the emulated host's business, and otherwise
// passes it on to the function that it hides. Code compiled with _FORTIFY_SOURCE calls those of the ..._chk and
// __open_2 kind. Held by tests/emulator/host_test.cpp and preload_test.cpp.
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <memory>

#include "emulator/clock.h"
#include "emulator/host.h"
#include "emulator/nomemory.h"
#include "emulator/procstream.h"
#include "emulator/real.h"

namespace {

using emulator::Host;
using emulator::ProcFile;
namespace real = emulator::real;

template <typename NextFunction>
FILE* openStream(NextFunction& next, const char* path, const char* mode) {
    const auto host = Host::ofFile(path);
    if (!host) return next(path, mode);
    return emulator::unlessOutOfMemory<FILE*>(nullptr, [&] { return host->fopen(path, mode); });
}

/** `next` reads from streams that are not the host's business. */
template <typename NextFunction>
size_t readStream(void* to, size_t size, size_t count, FILE* stream, const NextFunction& next) {
    if (const auto host = Host::ofStream())
        if (const ProcFile* file = host->procFile(stream); file != nullptr) {
            flockfile(stream);  // as all but the ..._unlocked do; nothing is lost where these wait for it
            const std::unique_ptr<FILE, decltype(&funlockfile)> lock(stream, funlockfile);
            if (ProcFile::readsDirectly(stream)) return file->fread(to, size, count, stream);
        }
    return next();
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
    return readStream(to, size, count, stream, [=] { return real::fread(to, size, count, stream); });
}

size_t fread_unlocked(void* to, size_t size, size_t count, FILE* stream) {
    return readStream(to, size, count, stream, [=] { return real::fread_unlocked(to, size, count, stream); });
}

size_t __fread_chk(void* to, size_t room, size_t size, size_t count, FILE* stream) {
    const auto next = [=] { return real::fread_chk(to, room, size, count, stream); };
    return count * size > room ? next() : readStream(to, size, count, stream, next);
}

size_t __fread_unlocked_chk(void* to, size_t room, size_t size, size_t count, FILE* stream) {
    const auto next = [=] { return real::fread_unlocked_chk(to, room, size, count, stream); };
    return count * size > room ? next() : readStream(to, size, count, stream, next);
}

int fclose(FILE* stream) {
    if (const auto host = Host::ofStream()) host->forgetStream(stream);
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
    namespace clock = emulator::clock;
    if (which != CLOCK_MONOTONIC || clock::offset() == clock::Duration::zero()) return real::clock_gettime(which, time);
    *time = clock::toTimespec(clock::now());
    return 0;
}

}  // extern "C"
