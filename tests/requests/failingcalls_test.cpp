// Instance requests of which one call fails or throws, each call in turn, and object managers without some slots.
#include <algorithm>
#include <functional>
#include <stdexcept>
#include <tuple>

#include "tests/requests/leftof.h"
#include "tests/requests/rack.h"

namespace {

using broker::Instance;
using broker::Response;
using testing::IsEmpty;
using namespace testsupport;

// --- a small machine, so that every call's turn comes soon ---

void buildSmallMachine(HostBuilder& host) {
    host.setHostName(kMachineName);
    host.setSmbiosTable(slotTable({3, 4}));
    // No function has device number 0: a slot whose number cannot be read counts as number 0, and is empty so.
    PciFunction device = deviceAt(0, 3, 1);
    device.bars = {0xFEBF0008, 0x0000E001};
    host.addFunction(bridgeAt(0, 3, 0)).addFunction(device);
    host.addFunction(deviceAt(0, 31, 0));
}

class FailingCallsTest : public MachineTest {
 protected:
    FailingCallsTest() {
        buildSmallMachine(files);
        start();
        manager.recordCalls(false);
    }

    /** All that a request can deliver, whichever of its calls fails. */
    Response fullestAnswer(const Operation& operation, const std::string& className) {
        // A function whose "UINumber" is lost counts as one on the board; without slots all of them do.
        const bool withoutSlots = className == "QELTA_OnBoardDevice";
        host->removeDevice(withoutSlots);
        // The first instance of a get may be another one, when what comes before it is lost.
        Response response = ask(operation.isGet() ? kInstanceOperations[1] : operation, className);
        host->removeDevice(false);
        return response;
    }
};

/** How a call goes wrong. */
struct Fault {
    const char* name;
    void (*set)(broker::Broker&, unsigned nth);
};

void PrintTo(const Fault& fault, std::ostream* out) {
    *out << fault.name;
}

constexpr Fault kFaults[] = {
    {"Fails", [](broker::Broker& broker, unsigned nth) { broker.failAt("*", nth); }},
    {"ThrowsStandard", [](broker::Broker& broker, unsigned nth) { broker.throwAt("*", nth); }},
    {"ThrowsOther", [](broker::Broker& broker, unsigned nth) { broker.throwAt("*", nth, false); }},
};

using Turn = std::tuple<ServedClass, Operation, Fault>;

class EveryCallInTurnTest : public FailingCallsTest, public testing::WithParamInterface<Turn> {
 protected:
    /** The class name is read by the first calls of a request, its handle and then its characters. */
    static constexpr unsigned kClassNameCalls = 2;

    const char* className() const { return std::get<0>(GetParam()).what; }
    const Operation& operation() const { return std::get<Operation>(GetParam()); }
    bool is(const char* faultName) const { return std::string(std::get<Fault>(GetParam()).name) == faultName; }

    /** Asks with the nth call going wrong; false when the request makes fewer calls. */
    bool askWithFault(unsigned nth, const Response& full) {
        manager.clearFaults();
        std::get<Fault>(GetParam()).set(manager, nth);
        try {
            expectPartOf(full, ask(operation(), className()), nth);
        } catch (const std::runtime_error&) {
            EXPECT_TRUE(is("ThrowsStandard") && nth <= kClassNameCalls);
        } catch (int) {
            EXPECT_TRUE(is("ThrowsOther"));
        }
        expectNothingLeft();
        return manager.faultStruck();
    }

 private:
    void expectPartOf(const Response& full, const Response& response, unsigned nth) {
        EXPECT_FALSE(response.hasMessage);
        if (is("Fails") && nth <= kClassNameCalls) {
            EXPECT_EQ(response.status, CMPI_RC_ERR_INVALID_CLASS);
            EXPECT_THAT(delivered(response), IsEmpty());
            return;
        }
        EXPECT_EQ(response.status, CMPI_RC_OK);
        EXPECT_TRUE(areAmong(response.instances, full.instances));
        EXPECT_TRUE(areAmong(response.paths, full.paths));
        EXPECT_EQ(response.deliveredAfterDone, 0U);
    }
};

std::string nameOf(const testing::TestParamInfo<Turn>& info) {
    return std::get<0>(info.param).shortName() + "_" + std::get<Operation>(info.param).name + "_" +
           std::get<Fault>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(Instances, EveryCallInTurnTest,
                         testing::Combine(testing::ValuesIn(kServedClasses), testing::ValuesIn(kInstanceOperations),
                                          testing::ValuesIn(kFaults)),
                         nameOf);

TEST_P(EveryCallInTurnTest, CostsPartOfTheAnswerAtMostAndLeaksNothing) {
    const Response unfailed = ask(operation(), className());
    const Response full = fullestAnswer(operation(), className());
    EXPECT_FALSE(delivered(unfailed).empty());
    unsigned nth = 1;
    while (askWithFault(nth, full)) {
        if (HasFailure()) FAIL() << "call " << nth << " going wrong";
        ++nth;
    }
    EXPECT_GT(nth, kClassNameCalls);
    manager.clearFaults();
    const Response after = ask(operation(), className());
    EXPECT_EQ(after.instances, unfailed.instances);
    EXPECT_EQ(after.paths, unfailed.paths);
}

// --- slots that an object manager may leave null ---

class NullSlotsTest : public FailingCallsTest, public testing::WithParamInterface<ServedClass> {
 protected:
    static bool answeredByUpcalls() { return GetParam().upcalls != 0; }

    /** The answers stay the same, or are all empty. */
    void expectAnswersAfter(const std::function<void()>& takeAway, bool empty) {
        std::vector<Response> before;
        for (const Operation& operation : kInstanceOperations) before.push_back(ask(operation, GetParam().what));
        takeAway();
        auto whole = before.begin();
        for (const Operation& operation : kInstanceOperations) {
            SCOPED_TRACE(operation.name);
            const Response response = ask(operation, GetParam().what);
            EXPECT_EQ(response.status, CMPI_RC_OK);
            EXPECT_EQ(response.doneCalls, whole->doneCalls);
            EXPECT_EQ(response.instances, empty ? std::vector<Instance>() : whole->instances);
            EXPECT_EQ(response.paths, empty ? Paths() : whole->paths);
            expectNothingLeft();
            ++whole;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Instances, NullSlotsTest, testing::ValuesIn(kServedClasses),
                         [](const auto& row) { return row.param.shortName(); });

TEST_P(NullSlotsTest, WithoutTheEnumerationOfInstancesNothingIsReadFromIt) {
    expectAnswersAfter([this] { manager.brokerTable().enumerateInstances = nullptr; }, answeredByUpcalls());
}

TEST_P(NullSlotsTest, WithoutATableOfServicesNothingIsReadFromIt) {
    expectAnswersAfter([this] { manager.brokerRecord().bft = nullptr; }, answeredByUpcalls());
}

/** Makes all other members null. */
template <typename Table, typename... Members>
void keepOnly(Table& table, Members Table::*... kept) {
    const Table whole = table;
    table = {};
    ((table.*kept = whole.*kept), ...);
}

TEST_P(NullSlotsTest, SlotsThatTheProviderHasNoUseForMayAllBeNull) {
    const auto takeAway = [this] {
        manager.brokerRecord().xft = nullptr;
        keepOnly(manager.brokerTable(), &CMPIBrokerFT::enumerateInstances);
        keepOnly(manager.encapsulationTable(), &CMPIBrokerEncFT::newInstance, &CMPIBrokerEncFT::newObjectPath,
                 &CMPIBrokerEncFT::newString, &CMPIBrokerEncFT::newArray);
        keepOnly(manager.resultTable(), &CMPIResultFT::returnInstance, &CMPIResultFT::returnObjectPath,
                 &CMPIResultFT::returnDone);
        keepOnly(manager.objectPathTable(), &CMPIObjectPathFT::getClassName, &CMPIObjectPathFT::addKey,
                 &CMPIObjectPathFT::getKey);
        keepOnly(manager.instanceTable(), &CMPIInstanceFT::getProperty, &CMPIInstanceFT::setProperty,
                 &CMPIInstanceFT::getObjectPath);
        keepOnly(manager.arrayTable(), &CMPIArrayFT::setElementAt);
        keepOnly(manager.enumerationTable(), &CMPIEnumerationFT::hasNext, &CMPIEnumerationFT::getNext);
        keepOnly(manager.stringTable(), &CMPIStringFT::getCharPtr);
        manager.contextTable() = {};
    };
    expectAnswersAfter(takeAway, false);
}

}  // namespace
