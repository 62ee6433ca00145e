#ifndef PCIINFO_TESTS_VM_SERIALBMC_H
#define PCIINFO_TESTS_VM_SERIALBMC_H

#include <cstdint>
#include <map>
#include <string>

#include "emulator/bmc.h"
#include "emulator/faultscript.h"
#include "tests/vm/framing.h"

namespace vm {

using Profiles = std::map<std::string, emulator::FaultScript>;

/**
 * The fault scripts NAME.json of a folder. Throws std::runtime_error for one that is wrong or asks for what only the
 * client's own machine could do: failing system calls, other types of message, a device that is not there.
 */
Profiles readProfiles(const std::string& folder);

/** What comes of one message. */
struct Reaction {
    const char* what = "answered";  // for the log
    Bytes answer;                   // completion code first
    Bytes output;                   // what goes out, frames
    std::uint32_t delayMs = 0;      // before that
    bool disconnect = false;        // after that
};

/**
 * The BMC behind a virtual machine's KCS interface. The commands by which Linux gets to know a BMC (network function
 * 06h) it answers itself, the model answers everything else. A fault's `vanish` cuts the connection in the middle of
 * the answer.
 *
 * The machine behind the interface conducts it by three commands of network function 30h, answered with 00h:
 * 01h, behaves as the profile of that name from now on, or well for an empty one (CBh: there is none of that name);
 * 02h, the n-th data-store message from now on, n being the one data byte, gets an answer with a wrong sequence number;
 * 03h, a text for the log and no more.
 */
class SerialBmc {
 public:
    SerialBmc(emulator::Bmc& bmc, Profiles profiles) : bmc_(bmc), profiles_(std::move(profiles)) {}

    Reaction take(const Message& request);
    /** A BMC that comes back has forgotten its open files. */
    void disconnected() { bmc_.deviceClosed(); }

 private:
    Reaction conduct(const Message& request);
    Reaction serve(const Message& request);
    Bytes selectProfile(const std::string& name);

    emulator::Bmc& bmc_;
    const Profiles profiles_;
    std::uint8_t enables_ = 0;
    unsigned untilDesynchronised_ = 0;  // 0: never
};

}  // namespace vm

#endif
