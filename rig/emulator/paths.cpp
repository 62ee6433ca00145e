// The functions of the C library that take a path, see interpose.cpp. Held by tests/emulator/host_test.cpp and, with
// the machine's own commands, preload_test.cpp.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <string>

#include "emulator/host.h"
#include "emulator/nomemory.h"
#include "emulator/real.h"

namespace {

using emulator::Host;
namespace real = emulator::real;

/** Asks the machine about a path, as it has to be asked. An absolute one stays absolute: ...at() functions take it. */
template <typename Ask>
int askAbout(const char* path, Ask ask) {
    return emulator::unlessOutOfMemory(-1, [&] {
        if (const auto host = Host::ofFile(path)) return ask(host->realPath(path).c_str());
        if (const auto host = Host::ofDevice(path)) return ask(host->devicePlace(path).c_str());
        return ask(path);
    });
}

int openAt(int directory, const char* path, int flags, unsigned mode = 0) {
    if (const auto host = Host::ofDevice(path))
        return emulator::unlessOutOfMemory(-1, [&] { return host->openDevice(path, flags); });
    if (const auto host = Host::ofFile(path))
        return emulator::unlessOutOfMemory(-1, [&] { return host->open(path, flags, mode); });
    return real::openat(directory, path, flags, mode);
}

}  // namespace

extern "C" {

int stat(const char* path, struct stat* result) noexcept {
    return askAbout(path, [&](const char* asked) { return real::stat(asked, result); });
}

int stat64(const char* path, struct stat64* result) noexcept {
    return askAbout(path, [&](const char* asked) { return real::stat64(asked, result); });
}

int lstat(const char* path, struct stat* result) noexcept {
    return askAbout(path, [&](const char* asked) { return real::lstat(asked, result); });
}

int lstat64(const char* path, struct stat64* result) noexcept {
    return askAbout(path, [&](const char* asked) { return real::lstat64(asked, result); });
}

int fstatat(int directory, const char* path, struct stat* result, int flags) noexcept {
    return askAbout(path, [&](const char* asked) { return real::fstatat(directory, asked, result, flags); });
}

int fstatat64(int directory, const char* path, struct stat64* result, int flags) noexcept {
    return askAbout(path, [&](const char* asked) { return real::fstatat64(directory, asked, result, flags); });
}

int statx(int directory, const char* path, int flags, unsigned mask, struct statx* result) noexcept {
    return askAbout(path, [&](const char* asked) { return real::statx(directory, asked, flags, mask, result); });
}

int access(const char* path, int mode) noexcept {
    return askAbout(path, [&](const char* asked) { return real::access(asked, mode); });
}

int faccessat(int directory, const char* path, int mode, int flags) noexcept {
    return askAbout(path, [&](const char* asked) { return real::faccessat(directory, asked, mode, flags); });
}

int chdir(const char* path) noexcept {
    return askAbout(path, [&](const char* asked) { return real::chdir(asked); });
}

DIR* opendir(const char* path) {
    const auto host = Host::ofFile(path);
    if (!host) return real::opendir(path);
    return emulator::unlessOutOfMemory<DIR*>(nullptr, [&] { return host->opendir(path); });
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
