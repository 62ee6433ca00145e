#ifndef PCIINFO_EMULATOR_POLLSET_H
#define PCIINFO_EMULATOR_POLLSET_H

#include <poll.h>

#include <csignal>
#include <memory>
#include <vector>

#include "emulator/host.h"

namespace emulator {

/**
 * Descriptors that are polled together, the device's among them. While waits are virtual, the other descriptors are
 * looked at and not waited for, unless nothing else can end the wait.
 */
class PollSet {
 public:
    /** `items` stays the caller's and has to outlive the set. */
    PollSet(pollfd* items, nfds_t count);

    bool hasSession() const { return host_ != nullptr; }
    /**
     * poll(), for sets with a session only. `timeout` may be clock::kNever, `mask` (see ppoll) null. A wait that
     * nothing can end fails with EINTR.
     */
    int wait(clock::Duration timeout, const sigset_t* mask);

 private:
    int waitEmulated(clock::Duration timeout, const sigset_t* mask);
    int look(const sigset_t* mask);
    bool pass(clock::Duration until, const sigset_t* mask);
    clock::Duration nextArrival() const;
    void record(clock::Duration timeout, int result) const;

    pollfd* const items_;
    std::vector<pollfd> others_;  // the items without those of sessions, which are -1
    std::vector<std::shared_ptr<DeviceSession>> sessions_;
    bool hasOthers_ = false;
    std::shared_ptr<Host> host_;  // null: no item is a session's
};

}  // namespace emulator

#endif
