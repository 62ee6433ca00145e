#ifndef PCIINFO_CIMHOST_BMCWATCH_H
#define PCIINFO_CIMHOST_BMCWATCH_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "emulator/emulatedhost.h"

namespace cimhost {

/**
 * Follows from outside, by what happens on the host, how a provider gets on with the BMC. May be used from any thread.
 */
class BmcWatch {
 public:
    void see(const emulator::Event& event);

    /**
     * What is being waited for and how long that can take, as one line. `seconds` have passed so far; the answer takes
     * at most so many readings of the SMBIOS table, 0: nobody knows.
     */
    std::string waitingFor(double seconds, unsigned readings = 0) const;

    /** Why the SMBIOS table could not be read the last time, as one line; nothing when it could or was not needed. */
    std::optional<std::string> failure() const;

    /** Responses of the BMC so far. */
    unsigned exchanges() const;

 private:
    struct See;
    enum class Trouble { none, noDevice, notSent, notReceived, silent, refused };

    std::string deviceTrouble() const;

    mutable std::mutex mutex_;
    Trouble trouble_ = Trouble::none;
    unsigned exchanges_ = 0;
    std::uint8_t operation_ = 0;  // of the data store request that was sent last, 0: another request
    int deviceError_ = 0;         // why the device could not be opened, or refused to send or receive
    std::string device_;          // that could not be opened
    unsigned code_ = 0;           // of the refusal
};

/**
 * For who sits at a terminal, on standard error; elsewhere it does nothing: a line when the answer takes more than a
 * second, with what is waited for and how long that can take, and with the object's end what went wrong at the BMC or
 * how long it took.
 */
class Patience {
 public:
    /** `bmc` watches while the object lives. The answer takes at most so many readings of the table, 0: not known. */
    Patience(const BmcWatch& bmc, unsigned readings);
    ~Patience();
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;

    /** The answer has come. */
    void end();

 private:
    using Clock = std::chrono::steady_clock;

    const BmcWatch& bmc_;
    const Clock::time_point start_ = Clock::now();
    double seconds_ = 0;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool over_ = false;
    bool waited_ = false;
    std::thread thread_;  // waits for the moment to tell; none where there is no terminal
};

}  // namespace cimhost

#endif
