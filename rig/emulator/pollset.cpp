#include "emulator/pollset.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>

#include "emulator/devicetarget.h"
#include "emulator/real.h"

namespace emulator {

namespace {

using clock::Duration;
using clock::kNever;

// Another thread's request can bring a message at any time: a wait in earnest looks for it this often.
constexpr Duration kSlice = std::chrono::milliseconds(10);
constexpr int kPieces = 16;

int pollFor(std::vector<pollfd>& items, Duration duration, const sigset_t* mask) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    const timespec time{static_cast<time_t>(seconds.count()), static_cast<long>((duration - seconds).count())};
    return real::ppoll(items.data(), static_cast<nfds_t>(items.size()), &time, mask);
}

int milliseconds(Duration timeout) {
    if (timeout == kNever) return -1;
    const auto count = std::chrono::ceil<std::chrono::milliseconds>(timeout).count();
    return static_cast<int>(std::min<decltype(count)>(count, INT_MAX));
}

}  // namespace

PollSet::PollSet(pollfd* items, nfds_t count) : items_(items) {
    if (std::none_of(items, items + count, [](const pollfd& item) { return Host::mayBeSession(item.fd); })) return;
    others_.assign(items, items + count);
    for (pollfd& item : others_) {
        DeviceTarget target(item.fd);
        if (target.session) {
            host_ = target.host;
            item.fd = -1;
        }
        hasOthers_ = hasOthers_ || item.fd >= 0;
        sessions_.push_back(std::move(target.session));
    }
}

int PollSet::wait(Duration timeout, const sigset_t* mask) {
    int result = 0;
    if (host_->isMachine()) {
        std::vector<pollfd> all(items_, items_ + sessions_.size());
        result = timeout == kNever ? real::ppoll(all.data(), nfds_t{all.size()}, nullptr, mask)
                                   : pollFor(all, timeout, mask);
        std::copy(all.begin(), all.end(), items_);
    } else {
        result = waitEmulated(timeout, mask);
    }
    record(timeout, result);
    return result;
}

int PollSet::waitEmulated(Duration timeout, const sigset_t* mask) {
    const Duration start = clock::now();
    const Duration deadline = timeout < kNever - start ? start + timeout : kNever;
    int ready = look(mask);
    while (ready == 0 && clock::now() < deadline) ready = pass(deadline, mask) ? look(mask) : -1;
    return ready;
}

/** What poll() with a timeout of 0 finds. */
int PollSet::look(const sigset_t* mask) {
    int ready = pollFor(others_, Duration::zero(), mask);
    if (ready < 0) return ready;
    for (std::size_t i = 0; i < sessions_.size(); ++i) {
        pollfd& item = items_[i];
        item.revents = others_[i].revents;
        if (!sessions_[i]) continue;
        const Wait found = sessions_[i]->wait(item.events, 0);
        item.revents = found.revents;
        if (found.ready < 0) {
            errno = found.error;
            return found.ready;
        }
        ready += found.ready;
    }
    return ready;
}

/** Lets time pass until something may have come, at the latest until `deadline`; false, with errno, for an error. */
bool PollSet::pass(Duration deadline, const sigset_t* mask) {
    const Duration until = std::min(deadline, nextArrival());
    if (until == kNever && !hasOthers_) {
        errno = EINTR;
        return false;
    }
    const Duration now = clock::now();
    if (until != kNever && !host_->device().realWaits()) {
        // In pieces: where other threads go on meanwhile, their messages and the other descriptors count too.
        const Duration left = until - now;
        clock::wait(std::min(left, std::max(left / kPieces, kSlice)));
        return true;
    }
    return pollFor(others_, std::clamp(until - now, Duration::zero(), kSlice), mask) >= 0;
}

Duration PollSet::nextArrival() const {
    Duration next = kNever;
    for (std::size_t i = 0; i < sessions_.size(); ++i)
        if (sessions_[i]) next = std::min(next, sessions_[i]->arrival(items_[i].events));
    return next;
}

void PollSet::record(Duration timeout, int result) const {
    for (std::size_t i = 0; i < sessions_.size(); ++i) {
        if (!sessions_[i]) continue;
        const int ready = result < 0 ? result : (items_[i].revents != 0 ? 1 : 0);
        host_->record(Waited{milliseconds(timeout), items_[i].events, ready});
    }
}

}  // namespace emulator
