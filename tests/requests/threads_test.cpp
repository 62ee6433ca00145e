// Requests of several threads at once.
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <thread>

#include "tests/requests/rack.h"
#include "tests/support/emulatedtime.h"

namespace {

using broker::Broker;
using broker::ObjectPath;
using broker::Response;
using namespace testsupport;

// The bookkeeping of an arena that the last thread to come has for itself would count as left over.
[[maybe_unused]] const int oneArena = mallopt(M_ARENA_MAX, 1);

constexpr unsigned kThreads = 8;
constexpr unsigned kRequests = 16;
constexpr std::chrono::seconds kWait{5};
constexpr unsigned kRounds = 1;  // of all questions; every thread asks each of them so often

using Question = std::function<Response(Broker&)>;

/** Every operation on every class. */
std::vector<Question> questions() {
    std::vector<Question> all;
    for (const char* className :
         {"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_DeviceInSlot", "QELTA_SystemSlot", "QELTA_SystemBoard",
          "QELTA_OnBoardDevice", "QELTA_SSPCIController", "QELTA_OBDPCIController", "QELTA_Unknown"}) {
        const ObjectPath path = classPath(className);
        all.emplace_back([path](Broker& manager) { return manager.enumerateInstanceNames(path); });
        all.emplace_back([path](Broker& manager) { return manager.enumerateInstances(path); });
        all.emplace_back([path](Broker& manager) { return manager.getInstance(path); });
        all.emplace_back([path](Broker& manager) { return manager.deleteInstance(path); });
    }
    for (const ObjectPath& source :
         {devicePath(3, 3, 0), bridgePath(5, 5, 0), functionPath("QELTA_SSPCIController", 3, 3, 0), slotPath(3),
          slotPath(5), boardPath(), classPath("QELTA_Unknown")}) {
        for (const AssociationOperation& operation : {kAssociators, kAssociatorNames, kReferences, kReferenceNames}) {
            for (const FilterTexts& texts : {FilterTexts{}, FilterTexts{"QELTA_DeviceInSlot", "QELTA_DeviceInSlot"},
                                             FilterTexts{"QELTA_DeviceInSlot"}}) {
                all.emplace_back([=](Broker& manager) { return (manager.*operation.ask)(source, filters(texts)); });
            }
        }
    }
    return all;
}

/** Runs a function on so many threads at once, with the thread's number. */
void onThreads(unsigned count, const std::function<void(unsigned)>& work) {
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < count; ++number) threads.emplace_back(work, number);
    for (std::thread& thread : threads) thread.join();
}

class Threads : public RackTest {
 protected:
    /** Asks for the slots' names on sixteen threads at once; how much virtual time each request took. */
    std::vector<std::chrono::milliseconds> askForSlotsAtOnce() {
        std::vector<std::chrono::milliseconds> took(kRequests);
        onThreads(kRequests, [&](unsigned number) {
            const auto began = ahead();
            const Response response = manager.enumerateInstanceNames(classPath("QELTA_SystemSlot"));
            took[number] = ahead() - began;
            EXPECT_EQ(response.status, CMPI_RC_OK);
            EXPECT_EQ(response.paths.size(), 0U);
        });
        return took;
    }
};

/** What a process holds that requests might leave behind. */
struct Footprint {
    std::size_t descriptors = entriesOf("/proc/self/fd");
    std::size_t threads = entriesOf("/proc/self/task");
    std::size_t heap = heapInUse();

    static std::size_t entriesOf(const char* directory) {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory), {}));
    }
    static std::size_t heapInUse() {
        const struct mallinfo2 info = mallinfo2();
        return info.uordblks + info.hblkhd;
    }
};

/** All questions on eight threads, again and again: first, every answer is as the first one was. */
class Endurance : public Threads {
 protected:
    Endurance() {
        manager.recordCalls(false);
        host->keepEvents(false);
        for (const Question& question : all) expected.push_back(question(manager));
    }

    /** Every thread asks that many questions. Each begins elsewhere, so that different requests run side by side. */
    template <typename Judge>
    void askOnThreads(std::size_t count, Judge judge) {
        onThreads(kThreads, [&](unsigned number) {
            for (std::size_t i = 0; i < count; ++i) judge((number * all.size() / kThreads + i) % all.size());
        });
        asked += kThreads * count;
    }
    void askForTheSame() {
        askOnThreads(all.size(), [this](std::size_t chosen) {
            if (!same(all[chosen](manager), expected[chosen])) ++differences;
        });
    }
    /** With some of what can go wrong, another part of it each time; no answer is expected but that the work ends. */
    void askUnderFaults(unsigned round) {
        using emulator::Fault;
        using emulator::Occasion;
        const auto fault = [](Occasion on, unsigned from, unsigned times, auto set) {
            Fault made;
            made.on = on;
            made.from = from;
            made.times = times;
            set(made);
            return made;
        };
        const Fault faults[] = {
            fault(Occasion::any, 1, 3, [](Fault& made) { made.timeout = true; }),
            fault(Occasion::read, 100, 5, [](Fault& made) { made.vanish = true; }),
            fault(Occasion::open, 2, 10, [](Fault& made) { made.completionCode = 0x0C; }),
            fault(Occasion::close, 1, 2, [](Fault& made) { made.timeout = true; }),
            fault(Occasion::read, 1, 700, [](Fault& made) { made.countField = 150; }),
            fault(Occasion::any, 50, 2, [](Fault& made) { made.receiveFailures = 100000; }),
            fault(Occasion::querySize, 1, 4, [](Fault& made) { made.netfn = 7; }),
            fault(Occasion::deviceOpen, 3, 20, [](Fault& made) { made.missing = true; }),
        };
        host->bmc().addFault(faults[round % std::size(faults)]);
        host->bmc().addFault(faults[(round / 3 + 1) % std::size(faults)]);
        for (const unsigned nth : {1U, 50U, 500U, 5000U}) {
            manager.failAt("*", nth + round);
            manager.throwAt("*", 2 * nth + round, round % 2 == 0);
        }
        askOnThreads(all.size() / 8, [this](std::size_t chosen) {
            try {
                const Response response = all[chosen](manager);
                delivering += delivered(response).empty() ? 0 : 1;
            } catch (const std::runtime_error&) {
                ++thrown;
            } catch (int) {
                ++thrown;
            }
        });
        host->bmc().clearFaults();
        manager.clearFaults();
    }

    const std::vector<Question> all = questions();
    std::vector<Response> expected;
    std::size_t asked = 0;
    std::atomic<unsigned> differences{0};
    std::atomic<unsigned> delivering{0};
    std::atomic<unsigned> thrown{0};
};

/** PCIINFO_ENDURANCE_REQUESTS in the environment says how many requests are made. */
TEST_F(Endurance, OfAllOperationsWithFaultsBetweenLeavesNothingAndGivesTheFirstAnswers) {
    const char* setting = std::getenv("PCIINFO_ENDURANCE_REQUESTS");
    const std::size_t requests = setting == nullptr ? 2000 : std::strtoul(setting, nullptr, 10);
    constexpr unsigned kWarmUp = 1;  // rounds, until what is made once is there
    std::optional<Footprint> before;
    for (unsigned round = 0; round <= kWarmUp || asked < requests; ++round) {
        askForTheSame();
        if (round == kWarmUp) before.emplace();
        askUnderFaults(round);
    }
    askForTheSame();
    const Footprint after;
    EXPECT_EQ(differences, 0U);
    EXPECT_EQ(after.descriptors, before->descriptors);
    EXPECT_EQ(after.threads, before->threads);
    constexpr std::size_t kOneObject = 4096;  // what a request leaves would come to more with the requests
    EXPECT_LE(after.heap, before->heap + kOneObject);
    EXPECT_GT(delivering, 0U);
    EXPECT_GT(thrown, 0U);
    EXPECT_EQ(host->bmc().interleavedTransfers(), 0U);
    EXPECT_EQ(host->interleavedExchanges(), 0U);
    EXPECT_EQ(host->bmc().openFiles(), 0U);
    std::fprintf(stderr, "%zu requests on %u threads, %u with exceptions; heap %zu, then %zu bytes\n", asked, kThreads,
                 thrown.load(), before->heap, after.heap);
}

TEST_F(Threads, AskingTheSameQuestionWithUpcallsDoNotWaitForOneAnother) {
    const Response expected = manager.references(slotPath(3), {});
    std::atomic<unsigned> differences{0};
    onThreads(kThreads, [&](unsigned) {
        for (unsigned round = 0; round < 6 * kRounds; ++round) {
            if (!same(manager.references(slotPath(3), {}), expected)) ++differences;
            host->clearEvents();
        }
    });
    EXPECT_EQ(differences, 0U);
    EXPECT_EQ(host->bmc().interleavedTransfers(), 0U);
    EXPECT_EQ(host->interleavedExchanges(), 0U);
}

TEST_F(Threads, WithoutADeviceWaitSideBySide) {
    host->removeDevice(true);
    const auto took = askForSlotsAtOnce();
    EXPECT_LE(*std::max_element(took.begin(), took.end()), kWait);
    const auto waits = host->eventsOf<emulator::Waited>();
    EXPECT_EQ(waits.size(), kRequests);
    for (const emulator::Waited& waited : waits) EXPECT_EQ(waited.timeoutMs, 5000);
}

TEST_F(Threads, WithASilentBmcWaitOneBehindTheOther) {
    emulator::Fault silence;
    silence.timeout = true;
    silence.times = 0;
    host->bmc().addFault(silence);
    const auto began = std::chrono::steady_clock::now();
    askForSlotsAtOnce();
    EXPECT_GE(std::chrono::steady_clock::now() - began, kRequests * kWait);
    EXPECT_EQ(host->eventsOf<emulator::Waited>().size(), kRequests);
    EXPECT_EQ(host->interleavedExchanges(), 0U);

    host->bmc().clearFaults();
    EXPECT_NE(manager.enumerateInstanceNames(classPath("QELTA_SystemSlot")).paths.size(), 0U);
}

}  // namespace
