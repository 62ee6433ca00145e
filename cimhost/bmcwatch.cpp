// What a terminal is told of a provider's dealings with the BMC. Tests: tests/cimhost/bmcwatch_test.cpp,
// terminal_test.py.

#include "cimhost/bmcwatch.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstddef>
#include <system_error>
#include <variant>

#include "cimhost/command.h"

namespace cimhost {

namespace {

constexpr unsigned kExchangesOfReading = 331;
constexpr unsigned kSecondsOfAttempt = 5;  // to open the device

// The data store's requests: network function, command, and where, after the enterprise number, the operation stands.
constexpr std::uint8_t kNetfn = 0x2e;
constexpr std::uint8_t kCommand = 0x90;
constexpr std::size_t kOperation = 3;
constexpr std::uint8_t kOpen = 1;
constexpr std::uint8_t kRead = 2;
constexpr std::uint8_t kPastEnd = 0xa0;  // ends a file that is shorter than its area

std::uint8_t operationOf(const emulator::Request& request) {
    const bool isOurs = request.netfn == kNetfn && request.command == kCommand && request.data.size() > kOperation;
    return isOurs ? request.data[kOperation] : std::uint8_t{0};
}

std::string reason(int error) {
    return std::generic_category().message(error);
}

/** How long readings of the SMBIOS table take that cannot begin; 0: nobody knows how many. */
std::string timeOf(unsigned readings) {
    if (readings == 0) return fmt::format("{} s for each reading of the SMBIOS table", kSecondsOfAttempt);
    if (readings == 1) return fmt::format("{} s for the SMBIOS table", kSecondsOfAttempt);
    return fmt::format("{} s for {} readings of the SMBIOS table", readings * kSecondsOfAttempt, readings);
}

std::string deviceAdvice(int error) {
    switch (error) {
        case ENOENT:
            return "; is the driver loaded (ipmi_si and ipmi_devintf)?";
        case EACCES:
        case EPERM:
            return "; root may";
        default:
            return "";
    }
}

}  // namespace

/** What each kind of event changes. */
struct BmcWatch::See {
    BmcWatch& watch;

    void operator()(const emulator::DeviceOpened& opened) const {
        if (opened.ok) {
            watch.trouble_ = Trouble::none;
            return;
        }
        // Of the two devices, one that exists tells more.
        const bool second = watch.trouble_ == Trouble::noDevice;
        watch.trouble_ = Trouble::noDevice;
        if (second && opened.error == ENOENT) return;
        watch.device_ = opened.path;
        watch.deviceError_ = opened.error;
    }
    void operator()(const emulator::Sent& sent) const {
        watch.operation_ = operationOf(sent.request);
        if (sent.error == 0) return;
        watch.trouble_ = Trouble::notSent;
        watch.deviceError_ = sent.error;
    }
    void operator()(const emulator::ReceiveFailed& failed) const {
        if (watch.trouble_ != Trouble::none) return;
        watch.trouble_ = Trouble::notReceived;
        watch.deviceError_ = failed.error;
    }
    void operator()(const emulator::Waited& waited) const {
        if (waited.ready == 0 && watch.trouble_ == Trouble::none) watch.trouble_ = Trouble::silent;
    }
    void operator()(const emulator::Received& received) const {
        ++watch.exchanges_;
        if (watch.trouble_ == Trouble::notReceived) watch.trouble_ = Trouble::none;  // a further attempt succeeded
        const emulator::Bytes& data = received.answer.data;
        const bool refused = data.empty() || (data[0] != 0 && data[0] != kPastEnd);
        if (watch.operation_ != kOpen && watch.operation_ != kRead) return;
        // A refusal of one piece may be followed by smaller ones that are taken; a silence is what ends a reading.
        if (watch.trouble_ == Trouble::refused || watch.trouble_ == Trouble::none)
            watch.trouble_ = refused ? Trouble::refused : Trouble::none;
        watch.code_ = refused && !data.empty() ? data[0] : 0;
    }
    template <typename Other>
    void operator()(const Other&) const {}
};

void BmcWatch::see(const emulator::Event& event) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::visit(See{*this}, event);
}

std::string BmcWatch::deviceTrouble() const {
    if (deviceError_ == ENOENT) return "there is no /dev/ipmi0";
    return fmt::format("{} cannot be opened: {}", device_, reason(deviceError_));
}

std::string BmcWatch::waitingFor(double seconds, unsigned readings) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    switch (trouble_) {
        case Trouble::noDevice:
            return fmt::format("waiting for the BMC, up to {}: {}", timeOf(readings), deviceTrouble());
        case Trouble::notSent:
        case Trouble::notReceived:
        case Trouble::silent:
            return "waiting for the BMC, which is silent: up to 5 s for each request";
        case Trouble::refused:
        case Trouble::none:
            break;
    }
    if (exchanges_ == 0) return "waiting for the BMC: up to 5 s for each request where it is silent";
    return fmt::format("waiting for the BMC: one reading of the SMBIOS table ({} exchanges) takes about {:.0f} s",
                       kExchangesOfReading, seconds / exchanges_ * kExchangesOfReading);
}

std::optional<std::string> BmcWatch::failure() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const char* const consequence = "the SMBIOS table was not read, so slots are missing";
    switch (trouble_) {
        case Trouble::noDevice:
            return fmt::format("{}: {}{}", consequence, deviceTrouble(), deviceAdvice(deviceError_));
        case Trouble::notSent:
            return fmt::format("{}: the IPMI driver took no request: {}", consequence, reason(deviceError_));
        case Trouble::notReceived:
            return fmt::format("{}: the IPMI driver handed no response over: {}", consequence, reason(deviceError_));
        case Trouble::silent:
            return fmt::format("{}: the BMC is silent, it did not answer within 5 s", consequence);
        case Trouble::refused:
            return fmt::format("{}: the BMC refused the SMBIOS table, completion code {:02X}h", consequence, code_);
        case Trouble::none:
            break;
    }
    return std::nullopt;
}

unsigned BmcWatch::exchanges() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return exchanges_;
}

Patience::Patience(const BmcWatch& bmc, unsigned readings) : bmc_(bmc) {
    if (!stderrIsTerminal()) return;
    thread_ = std::thread([this, readings] {
        constexpr std::chrono::seconds kPatience{1};
        std::unique_lock<std::mutex> lock(mutex_);
        waited_ = !ended_.wait_for(lock, kPatience, [this] { return over_; });
        if (waited_) complain(bmc_.waitingFor(std::chrono::duration<double>(kPatience).count(), readings));
    });
}

void Patience::end() {
    if (!thread_.joinable()) return;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        over_ = true;
    }
    ended_.notify_one();
    thread_.join();
    seconds_ = std::chrono::duration<double>(Clock::now() - start_).count();
}

Patience::~Patience() {
    end();
    if (seconds_ == 0) return;
    if (const auto failure = bmc_.failure())
        complain(*failure);
    else if (waited_)
        complain(fmt::format("the answer took {:.1f} s, with {} BMC exchanges", seconds_, bmc_.exchanges()));
}

}  // namespace cimhost
