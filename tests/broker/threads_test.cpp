// Requests from several threads at once.
#include <atomic>
#include <thread>

#include "tests/broker/brokertest.h"

using broker::Response;
using broker::Value;
using tiny::Asked;

namespace {

constexpr unsigned threadCount = 8;

template <typename Work>
void onEightThreads(Work work) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < threadCount; ++i) threads.emplace_back([&work, i] { work(i); });
    for (std::thread& thread : threads) thread.join();
}

// Asks for the class Test_Inner by an upcall, and delivers what that gave.
CMPIStatus forward(const Asked& asked) {
    const CMPIBroker* mb = asked.broker;
    if (asked.className() == "Test_Inner") {
        for (const CMPIUint32 number : {1U, 2U, 3U}) {
            asked.result->ft->returnInstance(asked.result, tiny::makeNumbered(mb, "Test_Inner", number));
        }
        return tiny::ok;
    }
    const CMPIObjectPath* path = mb->eft->newObjectPath(mb, "root/kavix", "Test_Inner", nullptr);
    const CMPIEnumeration* inner = mb->bft->enumerateInstances(mb, asked.context, path, nullptr, nullptr);
    while (inner->ft->hasNext(inner, nullptr) != 0) {
        const CMPIInstance* instance = inner->ft->getNext(inner, nullptr).value.inst;
        asked.result->ft->returnInstance(asked.result, instance);
    }
    asked.result->ft->returnDone(asked.result);
    return tiny::ok;
}

}  // namespace

TEST_F(RequestTest, ServesEightThreadsAtOnceWithTheirUpcalls) {
    tiny::behave(forward);
    std::atomic<unsigned> good{0};
    onEightThreads([&](unsigned) {
        for (int round = 0; round < 50; ++round) {
            const Response response = broker.enumerateInstances(classPath("Test_Outer"));
            const bool right = response.instances.size() == 3 && response.doneCalls == 1 &&
                               *response.instances[2].property("Number") == Value::uint(CMPI_uint32, 3);
            if (right) ++good;
        }
    });
    EXPECT_EQ(good, threadCount * 50);
    EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
    EXPECT_GT(broker.calls().size(), 400U * 10);
}

TEST_F(RequestTest, CountsCallsOfAllThreadsTowardsAFault) {
    tiny::behave(forward);
    broker.failAt("result.returnDone", 101);
    std::atomic<unsigned> notDone{0};
    onEightThreads([&](unsigned) {
        for (int round = 0; round < 25; ++round) {
            if (broker.enumerateInstances(classPath("Test_Outer")).doneCalls == 0) ++notDone;
        }
    });
    EXPECT_EQ(notDone, 1U);
    EXPECT_TRUE(broker.faultStruck());
}

TEST_F(RequestTest, EndsOneThreadsRequestWithoutFreeingAnothers) {
    std::atomic<int> running{0};
    tiny::behave([&](const Asked& asked) {
        CMPIInstance* instance = tiny::makeNumbered(asked.broker, "Test_A", 4);
        ++running;
        while (asked.className() == "Test_Waiting" && running < 2) std::this_thread::yield();
        EXPECT_EQ(instance->ft->getProperty(instance, "Number", nullptr).value.uint32, 4U);
        return tiny::ok;
    });
    std::thread waiting([&] { broker.enumerateInstances(classPath("Test_Waiting")); });
    while (running < 1) std::this_thread::yield();
    broker.enumerateInstances(classPath("Test_Quick"));
    waiting.join();
    EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
}
