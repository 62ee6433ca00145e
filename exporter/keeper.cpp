// Answers kept, and the threads that ask. Tests: tests/exporter/keeper_test.cpp.
#include "exporter/keeper.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <system_error>

#include "exporter/metrics.h"

namespace exporter {

Keeper::Keeper(Probe probe, const Limits& limits, std::function<void(const Ended&)> onEnd)
    : probe_(std::move(probe)), onEnd_(std::move(onEnd)), limits_(limits) {}

Keeper::~Keeper() {
    stop();
    for (std::thread& worker : workers_) worker.join();
}

Keeper::Answer Keeper::get(const std::string& moduleName, const std::shared_ptr<const Module>& module,
                           const std::string& target, Clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    const EntryPtr entry = stopped_ ? nullptr : entryOf({moduleName, target});
    if (!entry) return {Kind::refused, nullptr};
    const auto answer = [&](Kind kind) {
        const Seconds age = entry->text ? Seconds(Clock::now() - entry->since) : Seconds(-1);
        return Answer{kind, entry->text, age, entry->state != State::idle};
    };
    entry->module = module;
    if (isYoung(*entry, Clock::now())) return answer(Kind::kept);
    const unsigned before = entry->ended;
    enqueue(entry);
    const bool isFarBack = entry->state == State::waiting && waiting_.size() > limits_.probes;
    entry->changed.wait_until(lock, isFarBack ? Clock::now() : deadline,
                              [&] { return stopped_ || entry->ended != before; });
    if (entry->ended != before) return answer(Kind::fresh);
    return answer(entry->text ? Kind::stale : stopped_ ? Kind::refused : Kind::pending);
}

void Keeper::setLimits(const Limits& limits) {
    const std::lock_guard lock(mutex_);
    limits_ = limits;
    while ((entries_.size() > limits_.targets || bytes_ > limits_.bytes) && (dropOld() || dropIdle())) {
    }
    work_.notify_all();
}

void Keeper::forgetFailures() {
    const std::lock_guard lock(mutex_);
    for (const EntryPtr& entry : used_) entry->retried = entry->result != "success";
}

Keeper::Counts Keeper::counts() const {
    const std::lock_guard lock(mutex_);
    return {entries_.size(), bytes_, evictions_, waiting_.size(), busy_.size()};
}

void Keeper::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    work_.notify_all();
    for (const EntryPtr& entry : used_) entry->changed.notify_all();
}

/** That of the key, made where there is room for it; null where there is none. */
Keeper::EntryPtr Keeper::entryOf(const Key& key) {
    if (const auto found = entries_.find(key); found != entries_.end()) {
        used_.splice(used_.begin(), used_, found->second->place);
        return found->second;
    }
    if (entries_.size() >= limits_.targets && !dropOld()) return nullptr;
    auto entry = std::make_shared<Entry>();
    entry->key = key;
    used_.push_front(entry);
    entry->place = used_.begin();
    entries_.emplace(key, entry);
    return entry;
}

/** Drops the entry that was not scraped for the longest of those without a probe whose answers are old. False: none. */
bool Keeper::dropOld() {
    const auto now = Clock::now();
    const auto found = std::find_if(used_.rbegin(), used_.rend(), [&](const EntryPtr& entry) {
        return entry->state == State::idle && !isYoung(*entry, now);
    });
    if (found == used_.rend()) return false;
    drop(*found);
    return true;
}

/** The same, however old the answers are. */
bool Keeper::dropIdle() {
    const auto found =
        std::find_if(used_.rbegin(), used_.rend(), [](const EntryPtr& entry) { return entry->state == State::idle; });
    if (found == used_.rend()) return false;
    drop(*found);
    return true;
}

void Keeper::drop(const EntryPtr& entry) {
    if (entry->text) bytes_ -= entry->text->size();
    ++evictions_;
    entries_.erase(entry->key);
    used_.erase(entry->place);  // last, as `entry` may be the list's
}

/** By the ages of the module that the last scrape had. */
bool Keeper::isYoung(const Entry& entry, Clock::time_point now) {
    const Module& module = *entry.module;
    if (!entry.text || entry.retried || !entry.askedBy->asksAs(module)) return false;
    return now - entry.since < (entry.result == "success" ? module.maxAge : module.failureMaxAge);
}

void Keeper::enqueue(const EntryPtr& entry) {
    if (entry->state != State::idle) return;
    if (waiting_.size() >= idleWorkers_ && workers_.size() < limits_.probes) {
        try {
            workers_.emplace_back([this] { work(); });
        } catch (const std::system_error&) {  // those that there are do it
            if (workers_.empty()) throw;
        }
    }
    entry->state = State::waiting;
    waiting_.push_back(entry);
    work_.notify_one();
}

/** The first that waits whose target is not being probed under another module; null: none, or no probe more may run. */
Keeper::EntryPtr Keeper::takeWaiting() {
    if (busy_.size() >= limits_.probes) return nullptr;
    const auto found = std::find_if(waiting_.begin(), waiting_.end(),
                                    [&](const EntryPtr& entry) { return busy_.count(entry->key.second) == 0; });
    if (found == waiting_.end()) return nullptr;
    EntryPtr entry = *found;
    waiting_.erase(found);
    busy_.insert(entry->key.second);
    entry->state = State::probing;
    return entry;
}

void Keeper::work() {
    std::unique_lock lock(mutex_);
    while (!stopped_) {
        if (const EntryPtr entry = takeWaiting()) {
            run(entry, lock);
            continue;
        }
        ++idleWorkers_;
        work_.wait(lock);
        --idleWorkers_;
    }
}

void Keeper::run(const EntryPtr& entry, std::unique_lock<std::mutex>& lock) {
    const std::shared_ptr<const Module> module = entry->module;
    const std::string& target = entry->key.second;
    const std::string before = entry->result;
    lock.unlock();
    const auto began = Clock::now();
    const auto told = [&](const Outcome& outcome) {
        return std::make_shared<const std::string>(expositionOf(familiesOf(outcome, Clock::now() - began)));
    };
    Outcome outcome;
    std::shared_ptr<const std::string> text;
    try {
        outcome = probe_(target, *module);
        text = told(outcome);
    } catch (const std::exception& error) {
        outcome = Failure{"internal", error.what()};
        text = told(outcome);
    }
    const Seconds took = Clock::now() - began;
    const auto* failure = std::get_if<Failure>(&outcome);
    const std::string result = failure ? failure->reason : "success";
    onEnd_({target, result, failure ? failure->message : "", took, result != before});
    lock.lock();
    if (entry->text) bytes_ -= entry->text->size();
    bytes_ += text->size();
    entry->text = std::move(text);
    entry->askedBy = module;
    entry->result = result;
    entry->since = Clock::now();
    entry->retried = false;
    entry->state = State::idle;
    ++entry->ended;
    entry->changed.notify_all();
    busy_.erase(target);
    while (bytes_ > limits_.bytes && dropOld()) {
    }
    if (bytes_ > limits_.bytes && entries_.count(entry->key) != 0) drop(entry);  // those that wait for it have it
    if (!waiting_.empty()) work_.notify_one();                                   // one that waited for this target
}

}  // namespace exporter
