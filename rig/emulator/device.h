#ifndef PCIINFO_EMULATOR_DEVICE_H
#define PCIINFO_EMULATOR_DEVICE_H

#include <linux/ipmi.h>
#include <poll.h>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "emulator/bmc.h"
#include "emulator/clock.h"
#include "emulator/mutex.h"

namespace emulator {

/** One open descriptor of an IPMI device, as the driver serves it. Results are errno values, 0 is success. */
class DeviceSession {
 public:
    DeviceSession() = default;
    virtual ~DeviceSession() = default;
    DeviceSession(const DeviceSession&) = delete;
    DeviceSession& operator=(const DeviceSession&) = delete;

    virtual int send(const ipmi_req& request) = 0;
    /**
     * truncate: IPMICTL_RECEIVE_MSG_TRUNC instead of IPMICTL_RECEIVE_MSG. `message` becomes what was received, whole,
     * also where the record has too little room and the result is EMSGSIZE.
     */
    virtual int receive(ipmi_recv& record, bool truncate, std::optional<Answer>& message) = 0;
    /** As poll() on the descriptor alone. */
    virtual int poll(pollfd& item, int timeoutMs) = 0;
};

/** A descriptor of the machine's own device: everything is passed on. */
class MachineSession : public DeviceSession {
 public:
    explicit MachineSession(int descriptor) : descriptor_(descriptor) {}

    int send(const ipmi_req& request) override;
    int receive(ipmi_recv& record, bool truncate, std::optional<Answer>& message) override;
    int poll(pollfd& item, int timeoutMs) override;

 private:
    int descriptor_;
};

/**
 * The emulated IPMI device: serves its descriptors as the Linux driver does and lets a Bmc answer. Sessions may be used
 * from any thread, several at a time.
 */
class EmulatedDevice : public std::enable_shared_from_this<EmulatedDevice> {
 public:
    Bmc& bmc() { return bmc_; }
    void setRealWaits(bool real) { realWaits_ = real; }
    bool realWaits() const { return realWaits_; }
    /** A removed device is gone for the sessions that are open, too. */
    void remove(bool removed);
    bool removed() const;

    /** A new session, or null when the device is not there. */
    std::shared_ptr<DeviceSession> open();

    /** Sends and receives that began while an exchange of another thread was under way. */
    unsigned interleavedExchanges() const;

 private:
    class Session;

    struct Message {
        Answer answer;
        long msgid = 0;
        clock::Duration readyAt{};
    };

    void noteExchange();
    void passTime(clock::Duration duration, std::unique_lock<Mutex>& lock) const;

    mutable Mutex mutex_;
    Bmc bmc_;
    std::atomic<bool> realWaits_{false};
    bool removed_ = false;
    unsigned generation_ = 0;  // sessions of an earlier generation belong to a device that is gone
    unsigned interleaved_ = 0;
    std::thread::id exchanging_;  // the thread whose request is still without its answer
};

}  // namespace emulator

#endif
