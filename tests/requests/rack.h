#ifndef PCIINFO_TESTS_REQUESTS_RACK_H
#define PCIINFO_TESTS_REQUESTS_RACK_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "emulator/emulatedhost.h"
#include "tests/requests/manners.h"
#include "tests/support/casename.h"
#include "tests/support/loglines.h"
#include "tests/support/machine.h"
#include "tests/support/records.h"

namespace testsupport {

/** The filters of an association request by name; what is left out is null. */
struct FilterTexts {
    const char* assocClass = nullptr;
    const char* resultClass = nullptr;
    const char* role = nullptr;
    const char* resultRole = nullptr;
};

inline broker::Filters filters(const FilterTexts& texts) {
    const auto text = [](const char* filter) {
        return filter != nullptr ? std::optional<std::string>(filter) : std::nullopt;
    };
    return {text(texts.assocClass), text(texts.resultClass), text(texts.role), text(texts.resultRole)};
}

/** An association operation of the broker. */
struct AssociationOperation {
    const char* what;
    broker::Response (broker::Broker::*ask)(const broker::ObjectPath&, const broker::Filters&);
    bool namesOnly;
};

constexpr AssociationOperation kAssociators = {"Associators", &broker::Broker::associators, false};
constexpr AssociationOperation kAssociatorNames = {"AssociatorNames", &broker::Broker::associatorNames, true};
constexpr AssociationOperation kReferences = {"References", &broker::Broker::references, false};
constexpr AssociationOperation kReferenceNames = {"ReferenceNames", &broker::Broker::referenceNames, true};
inline const std::vector<AssociationOperation> kAllAssociators = {kAssociators, kAssociatorNames};
inline const std::vector<AssociationOperation> kAllReferences = {kReferences, kReferenceNames};

/** One of the three instance operations. */
struct Operation {
    const char* name;
    broker::Response (broker::Broker::*ask)(const broker::ObjectPath&);
    bool namesOnly;

    bool isGet() const { return ask == &broker::Broker::getInstance; }
};

inline void PrintTo(const Operation& operation, std::ostream* out) {
    *out << operation.name;
}

constexpr Operation kInstanceOperations[] = {
    {"EnumerateNames", &broker::Broker::enumerateInstanceNames, true},
    {"Enumerate", &broker::Broker::enumerateInstances, false},
    {"Get", &broker::Broker::getInstance, false},
};

/** The board alone. */
inline Paths board() {
    return {boardPath()};
}

/** A class served, an object of it to ask about, and what a request for it comes to on the rack. */
struct ServedClass {
    const char* what;
    broker::ObjectPath object;
    Paths (*objects)();
    bool closesResult;       // once its instances are delivered
    unsigned upcalls;        // enumerations asked for on the way ...
    unsigned upcallObjects;  // ... and the instances that they deliver

    /** For names of cases: without "QELTA_". */
    std::string shortName() const { return what + 6; }
};

inline void PrintTo(const ServedClass& served, std::ostream* out) {
    *out << served.what;
}

inline const std::vector<ServedClass> kServedClasses = {
    {"QELTA_PCIDevice", devicePath(3, 3, 0), rack::devices, true, 0, 0},
    {"QELTA_PCIBridge", bridgePath(5, 5, 0), rack::bridges, true, 0, 0},
    {"QELTA_DeviceInSlot", inSlotPath(3, devicePath(3, 3, 0)), rack::associationsOfSlots, true, 1, 3},
    {"QELTA_SystemSlot", slotPath(3), rack::slots, true, 0, 0},
    {"QELTA_SystemBoard", boardPath(), board, true, 0, 0},
    {"QELTA_OnBoardDevice", onBoardPath(devicePath(0, 31, 2)), rack::associationsOfBoard, true, 2, 9},
    {"QELTA_SSPCIController", functionPath("QELTA_SSPCIController", 3, 3, 0), rack::functionsInSlots, false, 1, 3},
    {"QELTA_OBDPCIController", functionPath("QELTA_OBDPCIController", 3, 3, 0), rack::functionsOnBoard, false, 0, 0},
};

inline std::string inCase(std::string text, int (*change)(int)) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [&](unsigned char character) { return static_cast<char>(change(character)); });
    return text;
}

/** A class name as clients may spell it. */
inline std::vector<std::string> spellings(const std::string& name) {
    std::string mixed = inCase(name, std::tolower);
    for (std::size_t i = 0; i < mixed.size(); i += 2) mixed[i] = static_cast<char>(std::toupper(mixed[i]));
    return {name, inCase(name, std::tolower), inCase(name, std::toupper), mixed};
}

/** What every answered association request has: the status, no message, returnDone once and at the end of the work. */
inline void expectClosed(const broker::Broker& manager, const broker::Response& response, CMPIrc status) {
    EXPECT_EQ(response.status, status) << broker::statusName(response.status);
    EXPECT_FALSE(response.hasMessage);
    EXPECT_EQ(response.doneCalls, 1U);
    EXPECT_EQ(response.deliveredAfterDone, 0U);
    const std::vector<broker::Call> calls = manager.calls();
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back().function, "result.returnDone");
}

/** The response has these objects in this order, as paths or as instances. */
inline void expectDelivered(const broker::Response& response, const Paths& expected, bool namesOnly) {
    EXPECT_THAT(delivered(response), testing::ElementsAreArray(expected));
    EXPECT_EQ(namesOnly ? response.instances.size() : response.paths.size(), 0U);
}

/** A machine under the provider's library, which is loaded as object managers load it. Nothing may stay open. */
class MachineTest : public testing::Test {
 protected:
    ~MachineTest() override {
        expectNothingLeft();
        manager.expectNoComplaintBut(kKnownComplaints);
        EXPECT_EQ(host->bmc().interleavedTransfers(), 0U);
    }

    void expectNothingLeft() const {
        EXPECT_EQ(manager.objectsMade(), manager.objectsFreed());
        EXPECT_EQ(host->openFiles(), 0U);
    }

    /** Runs the machine that `files` describes. */
    void start() {
        host = std::make_unique<emulator::EmulatedHost>(files.directory());
        manager.load(PROVIDER_LIBRARY);
    }

    /** Asks an instance operation for a class, by a path without keys. */
    broker::Response ask(const Operation& operation, const std::string& className) {
        host->clearEvents();
        manager.clearCalls();
        return (manager.*operation.ask)(classPath(className));
    }
    broker::Response ask(const AssociationOperation& operation, const broker::ObjectPath& path,
                         const FilterTexts& texts = {}) {
        host->clearEvents();
        manager.clearCalls();
        return (manager.*operation.ask)(path, filters(texts));
    }

    /** Each of the operations answers with these objects. */
    void expectAnswers(const std::vector<AssociationOperation>& operations, const broker::ObjectPath& source,
                       const FilterTexts& texts, const Paths& expected) {
        for (const AssociationOperation& operation : operations) {
            SCOPED_TRACE(operation.what + (" of " + broker::toString(source)));
            const broker::Response response = ask(operation, source, texts);
            expectClosed(manager, response, CMPI_RC_OK);
            expectDelivered(response, expected, operation.namesOnly);
        }
    }

    Lines log() const { return errorLog(*host); }

    HostBuilder files;
    std::unique_ptr<emulator::EmulatedHost> host;
    ManneredBroker manager;
};

/** The rack, see buildRack. */
class RackTest : public MachineTest {
 protected:
    RackTest() {
        buildRack(files);
        start();
    }
};

/** A source, the filters, and what is delivered. */
struct FilterCase {
    const char* what;
    broker::ObjectPath (*source)();
    FilterTexts texts;
    Paths (*expected)();
};

class FilterTest : public RackTest, public testing::WithParamInterface<FilterCase> {
 protected:
    /** The role is never looked at. */
    void expectWhateverTheRole(const std::vector<AssociationOperation>& operations) {
        for (const char* role : {static_cast<const char*>(nullptr), "Antecedent", "Dependent", "nonsense", ""}) {
            SCOPED_TRACE(std::string("role ") + (role != nullptr ? role : "null"));
            FilterTexts texts = GetParam().texts;
            texts.role = role;
            expectAnswers(operations, GetParam().source(), texts, GetParam().expected());
        }
    }
};

/**
 * A machine of one device without readable configuration space, in slot 3, and a second slot. Its scan logs one line,
 * so that requests' whole logs can be told.
 */
class SmallMachineTest : public MachineTest {
 protected:
    SmallMachineTest() {
        files.setHostName(kMachineName);
        files.setSmbiosTable(slotTable({3, 9}));
        PciFunction device = deviceAt(3, 3, 0);
        device.hasConfig = false;
        files.addFunction(device);
        start();
    }

    static Lines scanLines() { return {"SCANPCIDEV - slotnum [3] uinumber [3]"}; }
    /** The upcall that enumerates the slots. */
    static Lines slotUpcallLines() {
        return {"PCI_enuminstances - in the routine with classname [QELTA_SystemSlot]",
                "DumpSlotInfo in the routine",
                "DumpSlotInfo got object path",
                "DumpSlotInfo in the routine",
                "DumpSlotInfo got object path",
                "GetCIMInstances returning"};
    }
};

inline bool same(const broker::Response& left, const broker::Response& right) {
    return left.status == right.status && left.hasMessage == right.hasMessage && left.instances == right.instances &&
           left.paths == right.paths && left.doneCalls == right.doneCalls &&
           left.deliveredAfterDone == right.deliveredAfterDone;
}

}  // namespace testsupport

#endif
