/** The functions of the C library that take descriptors, see interpose.cpp. */
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <linux/close_range.h>
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <optional>
#include <vector>

#include "emulator/clock.h"
#include "emulator/devicetarget.h"
#include "emulator/host.h"
#include "emulator/pollset.h"
#include "emulator/real.h"

namespace {

using emulator::DeviceTarget;
using emulator::Host;
using emulator::PollSet;
using emulator::clock::Duration;
using emulator::clock::kNever;
namespace real = emulator::real;

/** What the device's descriptors cannot do is refused where nobody overlooks it. */
int refuse(const char* what) {
    std::fprintf(stderr, "emulated host: %s is not emulated for the IPMI device\n", what);
    errno = ENOTSUP;
    return -1;
}

// ---------------------------------------------------------------------------------------------------------------
// Descriptors that stand for the same

/** `copy` is what duplicating the descriptor of `source` came to. */
int duplicated(const DeviceTarget& source, int copy) {
    if (copy >= 0 && source.session) source.host->shareSession(source.session, copy);
    return copy;
}

/** The descriptor that took another one's place, which was closed by that. */
int replaced(const DeviceTarget& source, int place) {
    if (place < 0) return place;
    if (const DeviceTarget before(place); before.session) before.host->closeSession(place);
    return duplicated(source, place);
}

template <class NextFunction>
int control(NextFunction& next, int descriptor, int command, void* argument) {
    const DeviceTarget target(descriptor);
    if (!target.session) return next(descriptor, command, argument);
    const auto number = static_cast<int>(reinterpret_cast<long>(argument));
    if (command == F_SETFL && (number & O_ASYNC) != 0) return refuse("O_ASYNC");
    const int result = next(descriptor, command, argument);
    return command == F_DUPFD || command == F_DUPFD_CLOEXEC ? duplicated(target, result) : result;
}

void forgetClosed(unsigned first, unsigned last) {
    if (const auto host = Host::active()) host->closeSessions(first, last);
}

// ---------------------------------------------------------------------------------------------------------------
// Waits

/** None for a time that is no length of time; a null pointer is no limit. */
std::optional<Duration> lengthOf(const timespec* time) {
    constexpr long kSecond = 1'000'000'000;
    if (time == nullptr) return kNever;
    if (time->tv_sec < 0 || time->tv_nsec < 0 || time->tv_nsec >= kSecond) return std::nullopt;
    const std::chrono::seconds seconds(time->tv_sec);
    if (seconds >= std::chrono::duration_cast<std::chrono::seconds>(kNever)) return kNever;
    return seconds + Duration(time->tv_nsec);
}

int invalid() {
    errno = EINVAL;
    return -1;
}

/** Not inlined: <poll.h> declares that poll() only writes to its items, so that gcc 12 takes their reading there for a
 *  reading of nothing. */
[[gnu::noinline]] int pollDescriptors(pollfd* items, nfds_t count, int timeout) {
    if (count == 1) {
        if (const DeviceTarget target(items->fd); target.session)
            return target.host->poll(target.session.get(), *items, timeout);
        if (items->fd == -1 && timeout > 0 && Host::waitsForNothing())
            if (const auto host = Host::active()) return host->poll(nullptr, *items, timeout);
    }
    PollSet set(items, count);
    if (!set.hasSession()) return real::poll(items, count, timeout);
    return set.wait(timeout < 0 ? kNever : Duration(std::chrono::milliseconds(timeout)), nullptr);
}

int pollDescriptors(pollfd* items, nfds_t count, const timespec* timeout, const sigset_t* mask) {
    PollSet set(items, count);
    if (!set.hasSession()) return real::ppoll(items, count, timeout, mask);
    const std::optional<Duration> length = lengthOf(timeout);
    return length ? set.wait(*length, mask) : invalid();
}

/** One of the three sets of a select(): which events of a poll() its descriptors are in it for, and which it tells. */
struct SelectSet {
    fd_set* descriptors;
    short asked;
    short told;

    // Programs with many descriptors pass sets that are longer than the type.
    fd_mask& word(int descriptor) const { return (&descriptors->fds_bits[0])[descriptor / NFDBITS]; }
    static fd_mask bit(int descriptor) { return static_cast<fd_mask>(1UL << (descriptor % NFDBITS)); }
    bool has(int descriptor) const { return descriptors != nullptr && (word(descriptor) & bit(descriptor)) != 0; }
    void remove(int descriptor) const { word(descriptor) &= ~bit(descriptor); }
};

/** A select() as a poll() of the same descriptors. */
class Selection {
 public:
    Selection(int count, fd_set* read, fd_set* write, fd_set* except)
        : sets_{SelectSet{read, POLLIN, POLLIN | POLLHUP | POLLERR}, SelectSet{write, POLLOUT, POLLOUT | POLLERR},
                SelectSet{except, POLLPRI, POLLPRI}} {
        for (int descriptor = 0; descriptor < count; ++descriptor) {
            pollfd item{descriptor, 0, 0};
            for (const SelectSet& set : sets_)
                if (set.has(descriptor)) item.events = static_cast<short>(item.events | set.asked);
            if (item.events != 0) items_.push_back(item);
        }
    }

    static bool anySession(int count, const fd_set* read, const fd_set* write, const fd_set* except) {
        for (int descriptor = 0; descriptor < count; ++descriptor) {
            if (!Host::mayBeSession(descriptor)) continue;
            for (const fd_set* set : {read, write, except})
                if (SelectSet{const_cast<fd_set*>(set), 0, 0}.has(descriptor) && DeviceTarget(descriptor).session)
                    return true;
        }
        return false;
    }

    int wait(Duration timeout, const sigset_t* mask) {
        PollSet set(items_.data(), items_.size());
        const int ready = set.wait(timeout, mask);
        return ready < 0 ? ready : tell();
    }

 private:
    /** Leaves in the sets what is ready; how many that are. */
    int tell() const {
        for (const pollfd& item : items_)
            if ((item.revents & POLLNVAL) != 0) {
                errno = EBADF;
                return -1;
            }
        int ready = 0;
        for (const pollfd& item : items_)
            for (const SelectSet& set : sets_) {
                if (!set.has(item.fd)) continue;
                if ((item.revents & set.told) != 0)
                    ++ready;
                else
                    set.remove(item.fd);
            }
        return ready;
    }

    const SelectSet sets_[3];
    std::vector<pollfd> items_;
};

}  // namespace

extern "C" {

int close(int descriptor) {
    if (const DeviceTarget target(descriptor); target.session) target.host->closeSession(descriptor);
    return real::close(descriptor);
}

int close_range(unsigned first, unsigned last, int flags) noexcept {
    const int result = real::close_range(first, last, flags);
    if (result == 0 && (static_cast<unsigned>(flags) & CLOSE_RANGE_CLOEXEC) == 0) forgetClosed(first, last);
    return result;
}

void closefrom(int first) noexcept {
    real::closefrom(first);
    forgetClosed(static_cast<unsigned>(std::max(first, 0)), ~0U);
}

int dup(int descriptor) noexcept {
    return duplicated(DeviceTarget(descriptor), real::dup(descriptor));
}

int dup2(int descriptor, int place) noexcept {
    if (descriptor == place) return real::dup2(descriptor, place);
    return replaced(DeviceTarget(descriptor), real::dup2(descriptor, place));
}

int dup3(int descriptor, int place, int flags) noexcept {
    return replaced(DeviceTarget(descriptor), real::dup3(descriptor, place, flags));
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
    if (const DeviceTarget target(descriptor); target.session)
        return target.host->ioctl(*target.session, request, argument);
    return real::ioctl(descriptor, request, argument);
}

int poll(pollfd* items, nfds_t count, int timeout) {
    return pollDescriptors(items, count, timeout);
}

int __poll_chk(pollfd* items, nfds_t count, int timeout, size_t) {
    return pollDescriptors(items, count, timeout);
}

int ppoll(pollfd* items, nfds_t count, const timespec* timeout, const sigset_t* mask) {
    return pollDescriptors(items, count, timeout, mask);
}

int __ppoll_chk(pollfd* items, nfds_t count, const timespec* timeout, const sigset_t* mask, size_t) {
    return pollDescriptors(items, count, timeout, mask);
}

int select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* timeout) {
    if (!Selection::anySession(count, read, write, except)) return real::select(count, read, write, except, timeout);
    constexpr long kSecond = 1'000'000;
    Duration length = kNever;
    if (timeout != nullptr) {
        if (timeout->tv_sec < 0 || timeout->tv_usec < 0) return invalid();
        const timespec time{timeout->tv_sec + timeout->tv_usec / kSecond, timeout->tv_usec % kSecond * 1000};
        length = lengthOf(&time).value_or(kNever);
    }
    const Duration start = emulator::clock::now();
    const int result = Selection(count, read, write, except).wait(length, nullptr);
    if (timeout != nullptr && length != kNever) {  // Linux tells the time that was not needed
        const auto left = std::max(length - (emulator::clock::now() - start), Duration::zero());
        timeout->tv_sec = static_cast<time_t>(std::chrono::duration_cast<std::chrono::seconds>(left).count());
        timeout->tv_usec = static_cast<suseconds_t>((left % std::chrono::seconds(1)).count() / 1000);
    }
    return result;
}

int pselect(int count, fd_set* read, fd_set* write, fd_set* except, const timespec* timeout, const sigset_t* mask) {
    if (!Selection::anySession(count, read, write, except))
        return real::pselect(count, read, write, except, timeout, mask);
    const std::optional<Duration> length = lengthOf(timeout);
    return length ? Selection(count, read, write, except).wait(*length, mask) : invalid();
}

int epoll_ctl(int set, int operation, int descriptor, epoll_event* event) noexcept {
    if (operation == EPOLL_CTL_ADD && DeviceTarget(descriptor).session) return refuse("epoll");
    return real::epoll_ctl(set, operation, descriptor, event);
}

}  // extern "C"
