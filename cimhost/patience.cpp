#include "cimhost/patience.h"

#include <fmt/format.h>

#include <utility>

#include "cimhost/command.h"
#include "cimhost/terminal.h"

namespace cimhost {

namespace {

constexpr std::chrono::seconds kPatience{1};

}  // namespace

WaitNotice::WaitNotice(std::chrono::milliseconds patience, std::function<void(double seconds)> tell)
    : tell_(std::move(tell)), thread_([this, patience] { watch(patience); }) {}

WaitNotice::~WaitNotice() {
    end();
}

bool WaitNotice::end() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        over_ = true;
    }
    ended_.notify_one();
    if (thread_.joinable()) thread_.join();
    return told_;
}

void WaitNotice::watch(std::chrono::milliseconds patience) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (ended_.wait_for(lock, patience, [this] { return over_; })) return;
    told_ = true;
    tell_(std::chrono::duration<double>(patience).count());
}

Patience::Patience(const BmcWatch& bmc, unsigned readings) : bmc_(bmc) {
    if (!stderrIsTerminal()) return;
    notice_.emplace(kPatience, [&bmc, readings](double seconds) { complain(bmc.waitingFor(seconds, readings)); });
}

void Patience::end() {
    if (!notice_ || seconds_ != 0) return;
    waited_ = notice_->end();
    seconds_ = std::chrono::duration<double>(Clock::now() - start_).count();
}

Patience::~Patience() {
    if (!notice_) return;
    end();
    if (const auto failure = bmc_.failure())
        complain(*failure);
    else if (waited_)
        complain(fmt::format("the answer took {:.1f} s, with {} BMC exchanges", seconds_, bmc_.exchanges()));
}

}  // namespace cimhost
