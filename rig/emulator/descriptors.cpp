// The functions of the C library that take descriptors, see interpose.cpp. Held by tests/emulator/descriptors_test.cpp
// and device_test.cpp.
#ifndef __clang__  // <poll.h> declares that poll() only writes to its items, so that gcc takes ours for a mistake
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <initializer_list>

#include "emulator/host.h"
#include "emulator/nomemory.h"
#include "emulator/real.h"

namespace {

using emulator::Host;
using emulator::SessionTarget;
namespace real = emulator::real;

/** What the device's descriptors cannot do is refused with a line that is hard to overlook. */
int refuse(const char* what) {
    std::fprintf(stderr, "emulated host: %s is not emulated for the IPMI device\n", what);
    errno = ENOTSUP;
    return -1;
}

bool isSession(int descriptor) {
    return SessionTarget(descriptor).session != nullptr;
}

/** A descriptor that took another one's place, which was closed by that. */
int replaced(int place) {
    if (const SessionTarget before(place); before.session) before.host->closeSession(place);
    return place;
}

template <typename NextFunction>
int control(NextFunction& next, int descriptor, int command, void* argument) {
    const auto number = static_cast<int>(reinterpret_cast<long>(argument));
    if (command == F_SETFL && (number & O_ASYNC) != 0 && isSession(descriptor)) return refuse("O_ASYNC");
    if ((command == F_DUPFD || command == F_DUPFD_CLOEXEC) && isSession(descriptor)) return refuse("F_DUPFD");
    return next(descriptor, command, argument);
}

bool anySession(int count, std::initializer_list<const fd_set*> sets) {
    for (int descriptor = 0; descriptor < count; ++descriptor)
        for (const fd_set* set : sets)
            if (set != nullptr && FD_ISSET(descriptor, set) && isSession(descriptor)) return true;
    return false;
}

bool anySession(const pollfd* items, nfds_t count) {
    return std::any_of(items, items + count, [](const pollfd& item) { return isSession(item.fd); });
}

}  // namespace

extern "C" {

int close(int descriptor) {
    if (const SessionTarget target(descriptor); target.session) target.host->closeSession(descriptor);
    return real::close(descriptor);
}

int dup(int descriptor) noexcept {
    return isSession(descriptor) ? refuse("dup") : real::dup(descriptor);
}

int dup2(int descriptor, int place) noexcept {
    return isSession(descriptor) ? refuse("dup2") : replaced(real::dup2(descriptor, place));
}

int dup3(int descriptor, int place, int flags) noexcept {
    return isSession(descriptor) ? refuse("dup3") : replaced(real::dup3(descriptor, place, flags));
}

int fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return control(real::fcntl, descriptor, command, argument);
}

int fcntl64(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return control(real::fcntl64, descriptor, command, argument);
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (const SessionTarget target(descriptor); target.session)
        return emulator::unlessOutOfMemory(
            -1, [&] { return target.host->ioctl(descriptor, *target.session, request, argument); });
    return real::ioctl(descriptor, request, argument);
}

int poll(pollfd* items, nfds_t count, int timeout) {
    if (count == 1) {
        if (const SessionTarget target(items->fd); target.session)
            return emulator::unlessOutOfMemory(
                -1, [&] { return target.host->poll(target.session.get(), *items, timeout); });
        if (items->fd == -1 && timeout > 0)
            if (const auto host = Host::ofFailedOpen())
                return emulator::unlessOutOfMemory(-1, [&] { return host->poll(nullptr, *items, timeout); });
    }
    return anySession(items, count) ? refuse("poll of several descriptors") : real::poll(items, count, timeout);
}

int __poll_chk(pollfd* items, nfds_t count, int timeout, size_t) {
    return poll(items, count, timeout);
}

int ppoll(pollfd* items, nfds_t count, const timespec* timeout, const sigset_t* mask) {
    return anySession(items, count) ? refuse("ppoll") : real::ppoll(items, count, timeout, mask);
}

int __ppoll_chk(pollfd* items, nfds_t count, const timespec* timeout, const sigset_t* mask, size_t) {
    return ppoll(items, count, timeout, mask);
}

int select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* timeout) {
    if (anySession(count, {read, write, except})) return refuse("select");
    return real::select(count, read, write, except, timeout);
}

int pselect(int count, fd_set* read, fd_set* write, fd_set* except, const timespec* timeout, const sigset_t* mask) {
    if (anySession(count, {read, write, except})) return refuse("pselect");
    return real::pselect(count, read, write, except, timeout, mask);
}

int epoll_ctl(int set, int operation, int descriptor, epoll_event* event) noexcept {
    if (operation == EPOLL_CTL_ADD && isSession(descriptor)) return refuse("epoll");
    return real::epoll_ctl(set, operation, descriptor, event);
}

}  // extern "C"
