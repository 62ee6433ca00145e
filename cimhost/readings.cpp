// The inventory that a server keeps, and its thread. Tests: tests/wbem/page_test.cpp.

#include "cimhost/readings.h"

#include <exception>
#include <new>
#include <utility>

namespace cimhost {

namespace {

/** Throws nothing: it is for a thread, whose exceptions would end the program. */
std::string messageOf(const std::exception& error) noexcept {
    try {
        return *error.what() != '\0' ? error.what() : "an exception without a message";
    } catch (const std::bad_alloc&) {
        return "no memory";  // so short that it takes none
    }
}

}  // namespace

Readings::~Readings() {
    finish(std::chrono::milliseconds(0));
    if (thread_.joinable()) thread_.join();
}

Readings::State Readings::state() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    State state{last_, failure_, std::nullopt};
    if (begun_) state.underWay = Clock::now() - *begun_;
    return state;
}

void Readings::again(std::chrono::milliseconds patience) {
    std::unique_lock<std::mutex> lock(mutex_);
    begin();
    ended_.wait_for(lock, patience, [this] { return !begun_; });
}

void Readings::once(std::chrono::milliseconds patience) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!last_ && failure_.empty()) begin();
    ended_.wait_for(lock, patience, [this] { return !begun_; });
}

bool Readings::finish(std::chrono::milliseconds patience) {
    std::unique_lock<std::mutex> lock(mutex_);
    finishing_ = true;
    return ended_.wait_for(lock, patience, [this] { return !begun_; });
}

void Readings::begin() {
    if (begun_ || finishing_) return;
    if (thread_.joinable()) thread_.join();  // it has let go of the lock for good
    thread_ = std::thread([this] { run(); });
    begun_ = Clock::now();
}

void Readings::run() {
    const Clock::time_point begun = Clock::now();
    std::shared_ptr<Reading> reading;
    std::string failure;
    try {
        const auto unwanted = [this] {
            const std::lock_guard<std::mutex> lock(mutex_);
            return finishing_;
        };
        reading = std::make_shared<Reading>(take_(unwanted));
        reading->time = std::chrono::system_clock::now();
        reading->end = Clock::now();
        reading->took = reading->end - begun;
    } catch (const std::exception& error) {
        failure = messageOf(error);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (failure.empty()) last_ = std::move(reading);
    failure_ = std::move(failure);
    begun_.reset();
    ended_.notify_all();
}

}  // namespace cimhost
