// Answers that are kept, and when targets are asked. Times here only bound waits; none is asserted.

#include "exporter/keeper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "machine.h"

namespace {

using exporter::Failure;
using exporter::Keeper;
using exporter::Milliseconds;
using exporter::Module;
using exporter::Outcome;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using Kind = Keeper::Kind;

constexpr std::chrono::seconds kLong{20};

/** A probe that counts, and waits where it is told to. */
class Probes {
 public:
    exporter::Probe probe() {
        return [this](const std::string& target, const Module&) -> Outcome {
            std::unique_lock lock(mutex_);
            ++asked_[target];
            most_ = std::max(most_, ++now_);
            mostOfOne_ = std::max(mostOfOne_, ++nowOf_[target]);
            changed_.notify_all();
            changed_.wait_for(lock, kLong, [&] { return !held_; });
            --now_;
            --nowOf_[target];
            if (target == "broken:1") return Failure{"timeout", "too slow"};
            if (target == "odd:1") throw std::runtime_error("odd");
            return machine::probed({});
        };
    }

    void hold() {
        const std::lock_guard lock(mutex_);
        held_ = true;
    }
    void release() {
        const std::lock_guard lock(mutex_);
        held_ = false;
        changed_.notify_all();
    }
    bool waitForRunning(unsigned count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kLong, [&] { return now_ >= count; });
    }
    unsigned asked(const std::string& target) {
        const std::lock_guard lock(mutex_);
        return asked_[target];
    }
    unsigned most() const { return most_; }
    unsigned mostOfOne() const { return mostOfOne_; }

 private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool held_ = false;
    unsigned now_ = 0;
    unsigned most_ = 0;
    unsigned mostOfOne_ = 0;
    std::map<std::string, unsigned> asked_;
    std::map<std::string, unsigned> nowOf_;
};

class Kept : public testing::Test {
 protected:
    void TearDown() override { probes.release(); }

    void start(Keeper::Limits limits = {100, 1U << 30U, 4}) {
        keeper = std::make_unique<Keeper>(probes.probe(), limits, [this](const Keeper::Ended& end) {
            const std::lock_guard lock(mutex);
            ends.push_back(end.target + " " + end.result + (end.news ? ", news" : ""));
        });
    }

    static std::shared_ptr<Module> module(Milliseconds maxAge, Milliseconds failureMaxAge = Milliseconds(0)) {
        auto made = std::make_shared<Module>();
        made->maxAge = maxAge;
        made->failureMaxAge = failureMaxAge;
        return made;
    }

    Keeper::Answer get(const std::string& target, std::chrono::milliseconds patience = kLong,
                       const std::shared_ptr<Module>& by = module(std::chrono::hours(1)),
                       const std::string& name = "m") {
        return keeper->get(name, by, target, Keeper::Clock::now() + patience);
    }

    /** Waits for probes that nobody waits for. */
    bool settled() {
        for (int i = 0; i < 2000; ++i) {
            const auto counts = keeper->counts();
            if (counts.running == 0 && counts.waiting == 0) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    Probes probes;
    std::mutex mutex;
    std::vector<std::string> ends;
    std::unique_ptr<Keeper> keeper;  // first to end
};

TEST_F(Kept, IsAnsweredWithoutAskingAgain) {
    start();
    const auto first = get("a:1");
    const auto second = get("a:1");
    EXPECT_EQ(first.kind, Kind::fresh);
    EXPECT_EQ(second.kind, Kind::kept);
    EXPECT_EQ(first.text, second.text);
    EXPECT_GE(second.age, first.age);
    EXPECT_EQ(probes.asked("a:1"), 1U);
}

TEST_F(Kept, IsAskedAnewWhenItIsTooOld) {
    start();
    get("a:1", kLong, module(Milliseconds(0)));
    EXPECT_EQ(get("a:1", kLong, module(Milliseconds(0))).kind, Kind::fresh);
    EXPECT_EQ(probes.asked("a:1"), 2U);
}

TEST_F(Kept, FailuresHaveAnAgeOfTheirOwn) {
    start();
    const auto by = module(std::chrono::hours(1), Milliseconds(0));
    EXPECT_THAT(*get("broken:1", kLong, by).text, HasSubstr("pciinfo_up 0"));
    EXPECT_EQ(get("broken:1", kLong, by).kind, Kind::fresh);
    EXPECT_EQ(get("broken:1", kLong, module(Milliseconds(0), std::chrono::hours(1))).kind, Kind::kept);
    keeper->forgetFailures();
    EXPECT_EQ(get("broken:1", kLong, module(Milliseconds(0), std::chrono::hours(1))).kind, Kind::fresh);
    EXPECT_THAT(*get("odd:1").text, HasSubstr("reason=\"internal\""));
}

TEST_F(Kept, ModuleThatChangesHasAskedAnewOnlyWhatItWouldAskInAnotherWay) {
    start();
    const Module before = *module(std::chrono::hours(1));
    const struct {
        std::function<void(Module&)> change;
        Kind kind;
    } cases[] = {
        {[](Module& now) { now.targets = {"*"}; }, Kind::kept},
        {[](Module& now) { now.maxAge = std::chrono::hours(2); }, Kind::kept},
        {[](Module& now) { now.timeout = now.connectTimeout = Milliseconds(1); }, Kind::kept},
        {[](Module& now) { now.maxAge = Milliseconds(0); }, Kind::fresh},
        {[](Module& now) { now.scheme = "http"; }, Kind::fresh},
        {[](Module& now) { now.netrcFile = "/n"; }, Kind::fresh},
        {[](Module& now) { now.caFile = "/c"; }, Kind::fresh},
        {[](Module& now) { now.insecure = true; }, Kind::fresh},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const std::string target = "h" + std::to_string(i) + ":1";
        Module after = before;
        cases[i].change(after);
        get(target, kLong, std::make_shared<Module>(before));
        EXPECT_EQ(get(target, kLong, std::make_shared<Module>(after)).kind, cases[i].kind) << i;
    }
}

TEST_F(Kept, ProbeThatTakesLongerServesTheNextScrape) {
    start();
    probes.hold();
    const auto first = get("a:1", Milliseconds(1));
    EXPECT_EQ(first.kind, Kind::pending);
    EXPECT_TRUE(first.probing);
    EXPECT_EQ(first.text, nullptr);
    probes.release();
    ASSERT_TRUE(settled());
    EXPECT_EQ(get("a:1").kind, Kind::kept);
    EXPECT_EQ(probes.asked("a:1"), 1U);
}

TEST_F(Kept, OldAnswerIsGivenWhileTheNextIsNotThere) {
    start();
    const auto by = module(Milliseconds(0));
    const auto first = get("a:1", kLong, by);
    probes.hold();
    const auto second = get("a:1", Milliseconds(1), by);
    EXPECT_EQ(second.kind, Kind::stale);
    EXPECT_EQ(second.text, first.text);
    EXPECT_TRUE(second.probing);
}

TEST_F(Kept, ScrapesOfATargetWaitForOneProbe) {
    start();
    probes.hold();
    std::vector<std::future<Keeper::Answer>> scrapes;
    for (int i = 0; i < 8; ++i) scrapes.push_back(std::async(std::launch::async, [this] { return get("a:1"); }));
    ASSERT_TRUE(probes.waitForRunning(1));
    probes.release();
    for (auto& scrape : scrapes) EXPECT_THAT(*scrape.get().text, HasSubstr("pciinfo_up 1"));
    EXPECT_EQ(probes.asked("a:1"), 1U);
}

TEST_F(Kept, TargetIsAskedByOneModuleAtATime) {
    start();
    probes.hold();
    const auto by = module(std::chrono::hours(1));
    for (const char* name : {"m", "n", "o"}) get("a:1", Milliseconds(0), by, name);
    get("b:1", Milliseconds(0));
    ASSERT_TRUE(probes.waitForRunning(2));
    probes.release();
    ASSERT_TRUE(settled());
    EXPECT_EQ(probes.asked("a:1"), 3U);
    EXPECT_EQ(probes.mostOfOne(), 1U);
}

TEST_F(Kept, ProbesAreSoManyAtATime) {
    start({100, 1U << 30U, 3});
    probes.hold();
    for (int i = 0; i < 20; ++i) get("h" + std::to_string(i) + ":1", Milliseconds(0));
    ASSERT_TRUE(probes.waitForRunning(3));
    probes.release();
    ASSERT_TRUE(settled());
    EXPECT_EQ(probes.most(), 3U);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(probes.asked("h" + std::to_string(i) + ":1"), 1U);
}

TEST_F(Kept, LimitOfProbesMayBeLowered) {
    start({100, 1U << 30U, 4});
    probes.hold();
    for (const char* target : {"a:1", "b:1", "c:1", "d:1"}) get(target, Milliseconds(0));
    ASSERT_TRUE(probes.waitForRunning(4));
    probes.release();
    ASSERT_TRUE(settled());
    keeper->setLimits({100, 1U << 30U, 1});
    probes.hold();
    for (const char* target : {"e:1", "f:1", "g:1", "h:1"}) get(target, Milliseconds(10));  // time for a second one
    ASSERT_TRUE(probes.waitForRunning(1));
    EXPECT_EQ(keeper->counts().running, 1U);
    EXPECT_EQ(keeper->counts().waiting, 3U);
}

TEST_F(Kept, ScrapeDoesNotWaitBehindMoreProbesThanThereArePlaces) {
    start({100, 1U << 30U, 2});
    probes.hold();
    for (const char* target : {"a:1", "b:1", "c:1", "d:1"}) get(target, Milliseconds(0));
    ASSERT_TRUE(probes.waitForRunning(2));
    EXPECT_EQ(get("e:1", std::chrono::hours(1)).kind, Kind::pending);
    probes.release();
    ASSERT_TRUE(settled());
    EXPECT_EQ(get("e:1").kind, Kind::kept);
}

TEST_F(Kept, LeastScrapedTargetOfAnOldAnswerIsDroppedForANewOne) {
    start({2, 1U << 30U, 2});
    for (const char* target : {"a:1", "b:1", "a:1", "c:1"}) get(target, kLong, module(Milliseconds(0)));
    EXPECT_EQ(keeper->counts().targets, 2U);
    EXPECT_EQ(keeper->counts().evictions, 1U);
    EXPECT_EQ(get("a:1").kind, Kind::kept);
    EXPECT_EQ(get("b:1").kind, Kind::fresh);
    EXPECT_EQ(get("a:1").kind, Kind::kept);
}

TEST_F(Kept, TargetsThatAreScrapedInTurnsAreAskedOnceEachAlthoughThereIsOneTooMany) {
    start({5, 1U << 30U, 2});
    std::size_t refused = 0;
    for (int turn = 0; turn < 4; ++turn)
        for (int i = 0; i < 6; ++i)
            if (get("h" + std::to_string(i) + ":1").kind == Kind::refused) ++refused;
    EXPECT_EQ(refused, 4U);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(probes.asked("h" + std::to_string(i) + ":1"), 1U) << i;
    EXPECT_EQ(probes.asked("h5:1"), 0U);
    EXPECT_EQ(keeper->counts().evictions, 0U);
}

TEST_F(Kept, AnswerThatThereIsNoRoomForLeavesTheOthersWhereTheyAre) {
    start();
    const std::size_t size = get("h0:1").text->size();
    keeper->setLimits({100, size * 3 + size / 2, 4});
    for (int turn = 0; turn < 3; ++turn)
        for (int i = 0; i < 4; ++i) EXPECT_NE(get("h" + std::to_string(i) + ":1").text, nullptr);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(probes.asked("h" + std::to_string(i) + ":1"), 1U) << i;
    EXPECT_EQ(keeper->counts().targets, 3U);
}

TEST_F(Kept, NewTargetIsRefusedWhereAllAreBeingProbed) {
    start({2, 1U << 30U, 1});
    probes.hold();
    for (const char* target : {"a:1", "b:1"}) get(target, Milliseconds(0));
    EXPECT_EQ(get("c:1", Milliseconds(0)).kind, Kind::refused);
    EXPECT_EQ(keeper->counts().targets, 2U);
}

TEST_F(Kept, BytesAreLimited) {
    start();
    const std::size_t size = get("a:1").text->size();
    keeper->setLimits({100, size * 2 + size / 2, 4});
    for (int i = 0; i < 10; ++i) get("h" + std::to_string(i) + ":1");
    EXPECT_LE(keeper->counts().bytes, size * 3);
    EXPECT_EQ(keeper->counts().targets, 2U);
    keeper->setLimits({1, size * 10, 4});
    EXPECT_EQ(keeper->counts().targets, 1U);
}

TEST_F(Kept, EndsOfProbesAreNewsWhereTheyDiffer) {
    start();
    const auto by = module(Milliseconds(0));
    for (const char* target : {"a:1", "a:1", "broken:1", "broken:1"}) get(target, kLong, by);
    keeper.reset();
    EXPECT_THAT(ends, ElementsAre("a:1 success, news", "a:1 success", "broken:1 timeout, news", "broken:1 timeout"));
}

TEST_F(Kept, WaitsEndWithIt) {
    start();
    probes.hold();
    auto scrape = std::async(std::launch::async, [this] { return get("a:1"); });
    ASSERT_TRUE(probes.waitForRunning(1));
    keeper->stop();
    EXPECT_EQ(scrape.get().kind, Kind::refused);
    probes.release();
    EXPECT_EQ(get("b:1").kind, Kind::refused);
}

TEST_F(Kept, ManyScrapersOfFewPlacesAllGetAnAnswer) {
    start({10, 1U << 30U, 8});
    std::vector<std::thread> scrapers;
    std::atomic<unsigned> odd{0};
    for (int i = 0; i < 8; ++i)
        scrapers.emplace_back([&, i] {
            for (int j = 0; j < 200; ++j) {
                const auto answer = get("h" + std::to_string((i * 7 + j) % 30) + ":1", kLong, module(Milliseconds(0)));
                if (!answer.text || keeper->counts().targets > 10) ++odd;
            }
        });
    for (std::thread& each : scrapers) each.join();
    EXPECT_EQ(odd, 0U);
    EXPECT_EQ(probes.mostOfOne(), 1U);
}

}  // namespace
