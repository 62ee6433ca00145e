// Requests of several threads at once.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "tests/requests/rack.h"
#include "tests/support/emulatedtime.h"

namespace {

using broker::Broker;
using broker::ObjectPath;
using broker::Response;
using namespace testsupport;

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

TEST_F(Threads, MixingAllOperationsGetTheAnswersThatOneThreadGets) {
    const std::vector<Question> all = questions();
    std::vector<Response> expected;
    std::size_t objects = 0;
    for (const Question& question : all) {
        expected.push_back(question(manager));
        objects += delivered(expected.back()).size();
    }
    EXPECT_GT(objects, 100U);

    std::atomic<unsigned> differences{0};
    onThreads(kThreads, [&](unsigned number) {
        // Each thread begins elsewhere, so that different requests run side by side.
        const std::size_t start = number * all.size() / kThreads;
        for (std::size_t i = 0; i < kRounds * all.size(); ++i) {
            const std::size_t chosen = (start + i) % all.size();
            if (!same(all[chosen](manager), expected[chosen])) ++differences;
            host->clearEvents();
            manager.clearCalls();
        }
    });
    EXPECT_EQ(differences, 0U);
    EXPECT_EQ(host->bmc().interleavedTransfers(), 0U);
    EXPECT_EQ(host->interleavedExchanges(), 0U);
    EXPECT_EQ(host->bmc().openFiles(), 0U);
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
