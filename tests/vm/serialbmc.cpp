// The BMC of a virtual machine. Tests: serialbmc_test.cpp.
#include "tests/vm/serialbmc.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace vm {

namespace {

namespace fs = std::filesystem;

constexpr std::uint8_t kApplication = 0x06;
constexpr std::uint8_t kConductor = 0x30;

constexpr std::uint8_t kInvalidCommand = 0xC1;
constexpr std::uint8_t kNoSuchProfile = 0xCB;  // "requested data not present"

// Control commands to the machine.
constexpr std::uint8_t kEnableInterrupt = 0x05;
constexpr std::uint8_t kDisableInterrupt = 0x06;

bool playable(const emulator::Fault& fault) {
    return fault.on != emulator::Occasion::deviceOpen && !fault.receiveType && !fault.receiveFailures &&
           !fault.receiveErrno && !fault.pollErrno;
}

std::string text(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

/** The frame of an answer to the request. */
Bytes framedAnswer(const Message& request, const Bytes& data) {
    return frameMessage(
        {request.sequence, static_cast<std::uint8_t>(request.netfn | 1), request.lun, request.command, data});
}

Reaction answered(const Message& request, Bytes data) {
    Reaction reaction;
    reaction.output = framedAnswer(request, data);
    reaction.answer = std::move(data);
    return reaction;
}

/** Interrupts on or off, as the receive-message and event-buffer interrupts among the enables say. */
Bytes interruptControl(std::uint8_t enables) {
    return frameControl({(enables & 3) != 0 ? kEnableInterrupt : kDisableInterrupt});
}

/** The commands by which the Linux driver gets to know a BMC; `enables` is the BMC's state. */
Reaction introduce(const Message& request, std::uint8_t& enables) {
    switch (request.command) {
        case 0x01:  // get device ID: IPMI 2.0, manufacturer 32473
            return answered(request, {0, 0x20, 0x01, 0x01, 0x00, 0x02, 0x00, 0xD9, 0x7E, 0x00, 0x01, 0x00});
        case 0x2E: {  // set global enables
            enables = request.data.empty() ? 0 : request.data[0];
            Reaction reaction = answered(request, {0});
            const Bytes control = interruptControl(enables);
            reaction.output.insert(reaction.output.end(), control.begin(), control.end());
            return reaction;
        }
        case 0x2F:  // get global enables
            return answered(request, {0, enables});
        case 0x30:  // clear message flags
            return answered(request, {0});
        case 0x31:  // get message flags
            return answered(request, {0, 0});
        case 0x42:  // get channel info: the system interface
            return answered(request, {0, 0x0F, 0x0C, 0x05, 0x00, 0xF2, 0x1B, 0x00, 0x00, 0x00});
        default:
            return answered(request, {kInvalidCommand});
    }
}

}  // namespace

Profiles readProfiles(const std::string& folder) {
    Profiles profiles;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() != ".json") continue;
        const emulator::FaultScript script = emulator::readFaultScript(entry.path().string());
        for (const emulator::Fault& fault : script.faults)
            if (!playable(fault)) throw std::runtime_error(entry.path().string() + ": has a fault that no BMC plays");
        profiles[entry.path().stem().string()] = script;
    }
    return profiles;
}

Reaction SerialBmc::take(const Message& request) {
    switch (request.netfn) {
        case kApplication:
            return introduce(request, enables_);
        case kConductor:
            return conduct(request);
        default:
            return serve(request);
    }
}

Reaction SerialBmc::conduct(const Message& request) {
    Bytes result = {0};
    if (request.command == 1)
        result = selectProfile(text(request.data));
    else if (request.command == 2 && !request.data.empty())
        untilDesynchronised_ = request.data[0];
    else if (request.command != 3)
        result = {kInvalidCommand};
    return answered(request, result);
}

Bytes SerialBmc::selectProfile(const std::string& name) {
    const auto found = profiles_.find(name);
    if (found == profiles_.end() && !name.empty()) return {kNoSuchProfile};
    const emulator::FaultScript script = name.empty() ? emulator::FaultScript() : found->second;
    bmc_.clearFaults();
    bmc_.setReadLimit(script.readLimit);
    bmc_.setEndOfFile(script.endOfFile);
    for (const emulator::Fault& fault : script.faults) bmc_.addFault(fault);
    return {0};
}

Reaction SerialBmc::serve(const Message& request) {
    const emulator::Answer answer = bmc_.answer({request.netfn, request.command, request.data});
    Reaction reaction;
    reaction.answer = answer.data;
    reaction.delayMs = answer.delayMs;
    if (answer.silent) {
        reaction.what = "silent";
        return reaction;
    }
    Message message{request.sequence, answer.netfn, request.lun, answer.command, answer.data};
    if (answer.vanish) {
        reaction.what = "cut-off";
        reaction.output = frameMessage(message);
        reaction.output.resize(reaction.output.size() / 2);
        reaction.disconnect = true;
        return reaction;
    }
    if (untilDesynchronised_ != 0 && --untilDesynchronised_ == 0) {
        reaction.what = "desynchronised";
        ++message.sequence;
    }
    reaction.output = frameMessage(message);
    return reaction;
}

}  // namespace vm
