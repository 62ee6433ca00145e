#ifndef PCIINFO_CIMHOST_BMCWATCH_H
#define PCIINFO_CIMHOST_BMCWATCH_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

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

}  // namespace cimhost

#endif
