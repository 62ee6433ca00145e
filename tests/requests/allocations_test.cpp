// Requests that run out of memory: every allocation of a request fails in turn, and all from one on. The process lives,
// nothing is left behind, what was delivered before stays, and the next request is answered whole.
#include <algorithm>
#include <cstddef>
#include <functional>
#include <iostream>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "tests/requests/rack.h"
#include "tests/support/allocations.h"

namespace {

using broker::Broker;
using broker::Response;
using namespace testsupport;

/** A request of one kind. */
struct Kind {
    std::string what;
    std::function<Response(Broker&)> ask;
};

std::vector<Kind> kinds() {
    std::vector<Kind> all;
    for (const Operation& operation : kInstanceOperations)
        for (const ServedClass& served : kServedClasses)
            if (const std::string name = served.what;
                !operation.isGet() || name == "QELTA_SystemSlot" || name == "QELTA_DeviceInSlot")
                all.push_back({std::string(operation.name) + "Of" + name,
                               [=](Broker& manager) { return (manager.*operation.ask)(classPath(name)); }});
    const struct {
        const char* what;
        broker::ObjectPath path;
        FilterTexts texts;
    } sources[] = {{"OfSlot", slotPath(3), {}},
                   {"OfDevice", devicePath(3, 3, 0), {}},
                   {"OfDeviceInSlot", devicePath(3, 3, 0), {"QELTA_DeviceInSlot", nullptr}},
                   {"OfBoard", boardPath(), {}}};
    for (const AssociationOperation& operation : {kAssociators, kAssociatorNames, kReferences, kReferenceNames})
        for (const auto& source : sources)
            all.push_back({operation.what + std::string(source.what), [=](Broker& manager) {
                               return (manager.*operation.ask)(source.path, filters(source.texts));
                           }});
    const broker::ObjectPath slot = slotPath(3);
    all.push_back({"Create", [=](Broker& manager) { return manager.createInstance(slot, {slot, slot.keys}); }});
    all.push_back({"Modify", [=](Broker& manager) { return manager.modifyInstance(slot, {slot, slot.keys}); }});
    all.push_back({"Delete", [=](Broker& manager) { return manager.deleteInstance(slot); }});
    all.push_back({"Query", [=](Broker& manager) { return manager.execQuery(slot, "select * from X", "WQL"); }});
    return all;
}

// What the slots of results below know of: the allocations of a request, and what it delivered before one failed.
const Allocations* allocations = nullptr;
std::size_t deliveredBefore = 0;
bool inUpcall = false;  // what is delivered then goes to the provider
CMPIResultFT served;
CMPIBrokerFT upcalls;

CMPIStatus noted(CMPIStatus status) {
    if (allocations != nullptr && allocations->failed() == 0 && !inUpcall) ++deliveredBefore;
    return status;
}

CMPIEnumeration* enumerateInstances(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path,
                                    const char** properties, CMPIStatus* status) {
    struct Upcall {
        Upcall() { inUpcall = true; }
        ~Upcall() { inUpcall = false; }
    } upcall;
    return upcalls.enumerateInstances(broker, context, path, properties, status);
}

CMPIStatus returnInstance(const CMPIResult* result, const CMPIInstance* instance) {
    return noted(served.returnInstance(result, instance));
}

CMPIStatus returnObjectPath(const CMPIResult* result, const CMPIObjectPath* path) {
    return noted(served.returnObjectPath(result, path));
}

class RequestAllocations : public testing::TestWithParam<Kind> {
 protected:
    RequestAllocations() {
        files.setHostName(kMachineName);
        files.setSmbiosTable(slotTable({3, 9}));
        files.addFunction(bridgeAt(0, 31, 0));
        files.addFunction(deviceAt(3, 3, 0));
        files.addFunction(bridgeAt(3, 3, 1));
        files.addFunction(deviceAt(0, 31, 2));
        host.emplace(files.directory());
        host->bmc().setEndOfFile(true);  // the same exchange need not fail in all places of an empty file
        host->keepEvents(false);
        manager.recordCalls(false);
        manager.load(PROVIDER_LIBRARY);
        upcalls = manager.brokerTable();
        manager.brokerTable().enumerateInstances = enumerateInstances;
        served = manager.resultTable();
        manager.resultTable().returnInstance = returnInstance;
        manager.resultTable().returnObjectPath = returnObjectPath;
    }

    /** Lets the allocations of the request fail in turn, each `step`th of them. */
    std::size_t failInTurn(Allocations::Failing how, std::size_t step, const Response& whole) {
        std::size_t all = 0;
        for (std::size_t number = 1;; number += step) {
            std::optional<Response> response;
            const std::size_t failed = failAt(number, how, response);
            all += failed;
            if (response) expectKept(*response, whole, number);
            EXPECT_EQ(manager.objectsMade(), manager.objectsFreed()) << number;
            EXPECT_LE(host->openFiles(), 1U) << "the device, which the next transfer opens anew";
            if (failed == 0 || HasFailure()) return all;
        }
    }

    /** No response where the exception was thrown to the object manager's own caller. */
    std::size_t failAt(std::size_t number, Allocations::Failing how, std::optional<Response>& response) {
        deliveredBefore = 0;
        const Allocations failing(number, how);
        allocations = &failing;
        try {
            response = GetParam().ask(manager);
        } catch (const std::bad_alloc&) {
        }
        allocations = nullptr;
        return failing.failed();
    }

    static void expectKept(const Response& response, const Response& whole, std::size_t number) {
        const auto kept = [](const auto& objects, const auto& all) {
            return objects.size() >= deliveredBefore && all.size() >= deliveredBefore &&
                   std::equal(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(deliveredBefore), objects.begin());
        };
        EXPECT_TRUE(kept(response.instances, whole.instances) || kept(response.paths, whole.paths))
            << "allocation " << number << ", " << deliveredBefore << " delivered";
    }

    HostBuilder files;
    std::optional<emulator::EmulatedHost> host;
    Broker manager;
};

TEST_P(RequestAllocations, FailAndWhatWasDeliveredStays) {
    const Response whole = GetParam().ask(manager);
    const std::size_t failed =
        failInTurn(Allocations::Failing::one, 1, whole) + failInTurn(Allocations::Failing::allFromThere, 13, whole);
    const Response after = GetParam().ask(manager);
    EXPECT_EQ(after.status, whole.status);
    EXPECT_EQ(after.instances, whole.instances);
    EXPECT_EQ(after.paths, whole.paths);
    EXPECT_EQ(host->openFiles(), 0U);
    EXPECT_GT(failed, 5U);
    std::cout << failed << " allocations failed\n";
}

/** A variant that is left without a value is destroyed as if it had one, or ends whoever looks at it. */
TEST(Values, AreCopiedWholeOrNotAtAll) {
    using broker::Value;
    const std::string text(100, 'x');
    for (const Value& value :
         {Value::string(text), Value::array(CMPI_string, {Value::string(text), Value::string(text)}),
          Value::reference(slotPath(3)), Value::uint(CMPI_uint8, 1)}) {
        for (std::size_t number = 1, failed = 1; failed != 0; ++number) {
            std::optional<std::vector<Value>> copies;
            Value assigned = Value::boolean(true);
            {
                const Allocations failing(number);
                try {
                    copies.emplace(3, value);
                    assigned = value;
                } catch (const std::bad_alloc&) {
                }
                failed = failing.failed();
            }
            EXPECT_TRUE(!copies || copies->back() == value);
            EXPECT_TRUE(assigned == value || assigned == Value::boolean(true));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, RequestAllocations, testing::ValuesIn(kinds()), CaseName());

}  // namespace
