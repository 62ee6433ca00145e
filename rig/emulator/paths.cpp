// The functions of the C library that take a path, see interpose.cpp. Held by tests/emulator/host_test.cpp and, with
// the machine's own commands, preload_test.cpp.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <string>

#include "emulator/host.h"
#include "emulator/real.h"

namespace {

using emulator::Host;
namespace real = emulator::real;

/**
 * A path as the machine has to be asked for it; `own` holds one that differs until the call is over. An absolute path
 * stays absolute: ...at() functions take it too.
 */
const char* asked(const char* path, std::string&& own = {}) {
    if (const auto host = Host::ofFile(path))
        own = host->realPath(path);
    else if (const auto hostOfDevice = Host::ofDevice(path))
        own = hostOfDevice->devicePlace(path);
    else
        return path;
    return own.c_str();
}

int openAt(int directory, const char* path, int flags, unsigned mode = 0) {
    if (const auto host = Host::ofDevice(path)) return host->openDevice(path, flags);
    if (const auto host = Host::ofFile(path)) return host->open(path, flags, mode);
    return real::openat(directory, path, flags, mode);
}

}  // namespace

extern "C" {

int stat(const char* path, struct stat* result) noexcept {
    return real::stat(asked(path), result);
}

int stat64(const char* path, struct stat64* result) noexcept {
    return real::stat64(asked(path), result);
}

int lstat(const char* path, struct stat* result) noexcept {
    return real::lstat(asked(path), result);
}

int lstat64(const char* path, struct stat64* result) noexcept {
    return real::lstat64(asked(path), result);
}

int fstatat(int directory, const char* path, struct stat* result, int flags) noexcept {
    return real::fstatat(directory, asked(path), result, flags);
}

int fstatat64(int directory, const char* path, struct stat64* result, int flags) noexcept {
    return real::fstatat64(directory, asked(path), result, flags);
}

int statx(int directory, const char* path, int flags, unsigned mask, struct statx* result) noexcept {
    return real::statx(directory, asked(path), flags, mask, result);
}

int access(const char* path, int mode) noexcept {
    return real::access(asked(path), mode);
}

int faccessat(int directory, const char* path, int mode, int flags) noexcept {
    return real::faccessat(directory, asked(path), mode, flags);
}

int chdir(const char* path) noexcept {
    return real::chdir(asked(path));
}

DIR* opendir(const char* path) {
    const auto host = Host::ofFile(path);
    return host ? host->opendir(path) : real::opendir(path);
}

// The mode is there only where a file may be made; what stands in its place otherwise is not looked at.
int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return openAt(AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return openAt(AT_FDCWD, path, flags | O_LARGEFILE, mode);
}

int __open_2(const char* path, int flags) {
    return openAt(AT_FDCWD, path, flags);
}

int __open64_2(const char* path, int flags) {
    return openAt(AT_FDCWD, path, flags | O_LARGEFILE);
}

int openat(int directory, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return openAt(directory, path, flags, mode);
}

int openat64(int directory, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return openAt(directory, path, flags | O_LARGEFILE, mode);
}

int __openat_2(int directory, const char* path, int flags) {
    return openAt(directory, path, flags);
}

int __openat64_2(int directory, const char* path, int flags) {
    return openAt(directory, path, flags | O_LARGEFILE);
}

}  // extern "C"
