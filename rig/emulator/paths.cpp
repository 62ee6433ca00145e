/** The functions of the C library that take a path, see interpose.cpp. */
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

/** A path as the machine has to be asked for it. An absolute one stays absolute: ...at() functions take it too. */
class RealPath {
 public:
    explicit RealPath(const char* path) : path_(path) {
        const bool covered = Host::covers(path);
        if (!covered && !Host::isDevicePath(path)) return;
        const auto host = Host::active();
        if (!host) return;
        own_ = covered ? host->realPath(path) : host->devicePlace(path);
        path_ = own_.c_str();
    }
    RealPath(const RealPath&) = delete;
    RealPath& operator=(const RealPath&) = delete;

    const char* get() const { return path_; }

 private:
    std::string own_;
    const char* path_;
};

/** `next` opens what is not the host's business. */
template <class NextFunction>
int openDescriptor(const char* path, int flags, unsigned mode, NextFunction next) {
    if (Host::isDevicePath(path))
        if (const auto host = Host::active()) return host->openDevice(path, flags);
    if (Host::covers(path))
        if (const auto host = Host::active()) return host->open(path, flags, mode);
    return next();
}

template <class Entry>
using Filter = int (*)(const Entry*);
template <class Entry>
using Order = int (*)(const Entry**, const Entry**);

template <class NextFunction, class Entry>
int scanDirectory(NextFunction& next, const char* path, Entry*** list, Filter<Entry> filter, Order<Entry> order) {
    if (Host::covers(path))
        if (const auto host = Host::active()) {
            const int count = next(host->realPath(path).c_str(), list, filter, order);
            host->record(emulator::FileOpened{path, "directory", count >= 0});
            return count;
        }
    return next(path, list, filter, order);
}

/** The mode argument of an open() call, which is there only where a file may be made. */
unsigned modeOf(int flags, va_list arguments) {
    const bool given = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): started by the caller
    return given ? va_arg(arguments, unsigned) : 0;
}

int openPath(const char* path, int flags, unsigned mode) {
    return openDescriptor(path, flags, mode, [&] { return real::open(path, flags, mode); });
}

int openPath64(const char* path, int flags, unsigned mode) {
    return openDescriptor(path, flags, mode, [&] { return real::open64(path, flags, mode); });
}

int openPathAt(int directory, const char* path, int flags, unsigned mode) {
    return openDescriptor(path, flags, mode, [&] { return real::openat(directory, path, flags, mode); });
}

int openPathAt64(int directory, const char* path, int flags, unsigned mode) {
    return openDescriptor(path, flags, mode, [&] { return real::openat64(directory, path, flags, mode); });
}

}  // namespace

extern "C" {

int stat(const char* path, struct stat* result) noexcept {
    return real::stat(RealPath(path).get(), result);
}

int stat64(const char* path, struct stat64* result) noexcept {
    return real::stat64(RealPath(path).get(), result);
}

int lstat(const char* path, struct stat* result) noexcept {
    return real::lstat(RealPath(path).get(), result);
}

int lstat64(const char* path, struct stat64* result) noexcept {
    return real::lstat64(RealPath(path).get(), result);
}

int fstatat(int directory, const char* path, struct stat* result, int flags) noexcept {
    return real::fstatat(directory, RealPath(path).get(), result, flags);
}

int fstatat64(int directory, const char* path, struct stat64* result, int flags) noexcept {
    return real::fstatat64(directory, RealPath(path).get(), result, flags);
}

int statx(int directory, const char* path, int flags, unsigned mask, struct statx* result) noexcept {
    return real::statx(directory, RealPath(path).get(), flags, mask, result);
}

int access(const char* path, int mode) noexcept {
    return real::access(RealPath(path).get(), mode);
}

int faccessat(int directory, const char* path, int mode, int flags) noexcept {
    return real::faccessat(directory, RealPath(path).get(), mode, flags);
}

int chdir(const char* path) noexcept {
    return real::chdir(RealPath(path).get());
}

DIR* opendir(const char* path) {
    if (Host::covers(path))
        if (const auto host = Host::active()) return host->opendir(path);
    return real::opendir(path);
}

int scandir(const char* path, dirent*** list, Filter<dirent> filter, Order<dirent> order) {
    return scanDirectory(real::scandir, path, list, filter, order);
}

int scandir64(const char* path, dirent64*** list, Filter<dirent64> filter, Order<dirent64> order) {
    return scanDirectory(real::scandir64, path, list, filter, order);
}

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openPath(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openPath64(path, flags, mode);
}

int __open_2(const char* path, int flags) {
    return openPath(path, flags, 0);
}

int __open64_2(const char* path, int flags) {
    return openPath64(path, flags, 0);
}

int openat(int directory, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openPathAt(directory, path, flags, mode);
}

int openat64(int directory, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openPathAt64(directory, path, flags, mode);
}

int __openat_2(int directory, const char* path, int flags) {
    return openPathAt(directory, path, flags, 0);
}

int __openat64_2(int directory, const char* path, int flags) {
    return openPathAt64(directory, path, flags, 0);
}

}  // extern "C"
