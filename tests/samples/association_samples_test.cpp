// Associations between the functions, slots and boards of the sample machines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "emulator/emulatedhost.h"
#include "tests/samples/sample.h"
#include "tests/support/machine.h"

using broker::Broker;
using broker::Filters;
using broker::Instance;
using broker::ObjectPath;
using testing::ElementsAreArray;
using testsupport::Paths;

namespace {

unsigned numberOf(const Instance& instance, const char* property) {
    const broker::Value* value = instance.property(property);
    return value == nullptr || value->null ? 0 : static_cast<unsigned>(std::stoul(broker::toString(*value)));
}

/**
 * Where the functions of a machine are, by the numbers that they and the slots are published with; other tests hold
 * these to what lspci and dmidecode say.
 */
class Placement {
 public:
    explicit Placement(Broker& manager) {
        const auto all = [&](const char* className) {
            return manager.enumerateInstances(testsupport::classPath(className)).instances;
        };
        functions_ = all("QELTA_PCIDevice");  // published before bridges
        for (const Instance& bridge : all("QELTA_PCIBridge")) functions_.push_back(bridge);
        for (const Instance& slot : all("QELTA_SystemSlot")) slots_.push_back(numberOf(slot, "Number"));
    }

    const std::vector<unsigned>& slots() const { return slots_; }

    Paths functionsInSlot(unsigned number) const {
        return paths([number](const Instance& function) { return numberOf(function, "Number") == number; });
    }
    /** Slot by slot, in the order of the SMBIOS table. */
    Paths functionsInSlots() const {
        std::vector<Paths> lists;
        for (const unsigned number : slots_) lists.push_back(functionsInSlot(number));
        return testsupport::allPaths(lists);
    }
    /** One for every device number that no slot has; it is the number alone that decides. */
    Paths oneOfEachNumberWithoutSlot() const {
        std::set<unsigned> seen(slots_.begin(), slots_.end());
        return paths([&](const Instance& function) { return seen.insert(numberOf(function, "Number")).second; });
    }
    Paths functionsOnBoard() const {
        return paths([](const Instance& function) { return numberOf(function, "UINumber") == 0; });
    }
    /** Those whose device number is below the highest slot number, but that of no slot. */
    Paths functionsInNeitherPlace() const {
        return paths([this](const Instance& function) {
            return numberOf(function, "UINumber") != 0 &&
                   std::find(slots_.begin(), slots_.end(), numberOf(function, "Number")) == slots_.end();
        });
    }

    Paths associationsOfSlot(unsigned number) const {
        return mapped(functionsInSlot(number),
                      [number](const ObjectPath& function) { return testsupport::inSlotPath(number, function); });
    }
    Paths associationsOfSlots() const {
        std::vector<Paths> lists;
        for (const unsigned number : slots_) lists.push_back(associationsOfSlot(number));
        return testsupport::allPaths(lists);
    }
    Paths associationsOfBoard() const { return mapped(functionsOnBoard(), testsupport::onBoardPath); }

 private:
    template <typename Chosen>
    Paths paths(Chosen chosen) const {
        Paths found;
        for (const Instance& function : functions_) {
            if (chosen(function)) found.push_back(function.path);
        }
        return found;
    }

    template <typename Map>
    static Paths mapped(const Paths& from, Map map) {
        Paths to;
        std::transform(from.begin(), from.end(), std::back_inserter(to), map);
        return to;
    }

    std::vector<Instance> functions_;
    std::vector<unsigned> slots_;
};

Filters byAssociation(const std::string& className) {
    return {className, {}, {}, {}};
}

Filters byResult(const std::string& className) {
    return {{}, className, {}, {}};
}

/** One sample machine under the provider's library. */
class SampleAssociations : public samples::SampleTest {
 protected:
    SampleAssociations() : host_(directory()) {
        host_.setHostName(testsupport::kMachineName);  // a key of every path, and the one that expected paths have
        manager_.load(PCIINFO_LIBRARY);
        placement_.emplace(manager_);
    }

    const Placement& placement() const { return *placement_; }

    void expectEnumerated(const std::string& className, const Paths& expected) {
        const ObjectPath path = testsupport::classPath(className);
        expectDelivered(manager_.enumerateInstances(path), manager_.enumerateInstanceNames(path), expected);
    }
    void expectAssociations(const std::string& className, const Paths& expected) {
        expectEnumerated(className, expected);
        expectEndsAsInPaths(manager_.enumerateInstances(testsupport::classPath(className)).instances);
    }
    void expectAssociated(const ObjectPath& from, const Filters& filters, const Paths& expected) {
        SCOPED_TRACE(broker::toString(from));
        expectDelivered(manager_.associators(from, filters), manager_.associatorNames(from, filters), expected);
    }
    void expectReferences(const ObjectPath& from, const Filters& filters, const Paths& expected) {
        SCOPED_TRACE(broker::toString(from));
        const broker::Response references = manager_.references(from, filters);
        expectDelivered(references, manager_.referenceNames(from, filters), expected);
        expectEndsAsInPaths(references.instances);
    }

    /** An association's properties name the same two ends as its path. */
    static void expectEndsAsInPaths(const std::vector<broker::Instance>& associations) {
        for (const broker::Instance& association : associations) {
            for (const char* end : {"Antecedent", "Dependent"}) {
                ASSERT_NE(association.path.key(end), nullptr);
                ASSERT_NE(association.property(end), nullptr);
                EXPECT_EQ(*association.property(end), *association.path.key(end));
            }
        }
    }

 private:
    static void expectDelivered(const broker::Response& whole, const broker::Response& names, const Paths& expected) {
        EXPECT_EQ(whole.status, CMPI_RC_OK);
        EXPECT_EQ(names.status, CMPI_RC_OK);
        EXPECT_THAT(testsupport::pathsOf(whole.instances), ElementsAreArray(expected));
        EXPECT_THAT(names.paths, ElementsAreArray(expected));
        EXPECT_TRUE(whole.paths.empty());
        EXPECT_TRUE(names.instances.empty());
    }

    emulator::EmulatedHost host_;
    Broker manager_;
    std::optional<Placement> placement_;
};

}  // namespace

TEST_P(SampleAssociations, JoinEverySlotWithTheFunctionsThatHaveItsNumberAsDeviceNumber) {
    expectAssociations("QELTA_DeviceInSlot", placement().associationsOfSlots());
}

TEST_P(SampleAssociations, JoinTheBoardWithTheFunctionsOfDeviceNumber0AndAboveTheHighestSlot) {
    expectAssociations("QELTA_OnBoardDevice", placement().associationsOfBoard());
}

TEST_P(SampleAssociations, ShowTheirFunctionsAsTheControllersInSlotsAndOnTheBoard) {
    expectEnumerated("QELTA_SSPCIController", placement().functionsInSlots());
    expectEnumerated("QELTA_OBDPCIController", placement().functionsOnBoard());
}

TEST_P(SampleAssociations, LeadFromEverySlotToItsFunctions) {
    for (const unsigned number : placement().slots()) {
        const ObjectPath slot = testsupport::slotPath(number);
        expectReferences(slot, {}, placement().associationsOfSlot(number));
        expectAssociated(slot, {}, placement().functionsInSlot(number));
    }
}

TEST_P(SampleAssociations, LeadFromTheBoardToItsFunctions) {
    expectReferences(testsupport::boardPath(), {}, placement().associationsOfBoard());
    expectAssociated(testsupport::boardPath(), {}, placement().functionsOnBoard());
}

TEST_P(SampleAssociations, LeadFromEveryFunctionInASlotToThatSlot) {
    for (const unsigned number : placement().slots()) {
        for (const ObjectPath& function : placement().functionsInSlot(number)) {
            const Paths slot = {testsupport::slotPath(number)};
            expectReferences(function, byResult("QELTA_DeviceInSlot"), {testsupport::inSlotPath(number, function)});
            expectAssociated(function, byAssociation("QELTA_DeviceInSlot"), slot);
        }
    }
}

TEST_P(SampleAssociations, LeadFromFunctionsOutsideSlotsToNoSlot) {
    for (const ObjectPath& function : placement().oneOfEachNumberWithoutSlot()) {
        expectReferences(function, byResult("QELTA_DeviceInSlot"), {});
        expectAssociated(function, byAssociation("QELTA_DeviceInSlot"), {});
    }
}

TEST_P(SampleAssociations, LeadFromFunctionsToTheBoardWhereverTheyAre) {
    const Paths functions =
        testsupport::allPaths({placement().functionsInSlots(), placement().oneOfEachNumberWithoutSlot()});
    for (const ObjectPath& function : functions) {
        expectReferences(function, {}, {testsupport::onBoardPath(function)});
        expectAssociated(function, {}, {testsupport::boardPath()});
    }
}

INSTANTIATE_TEST_SUITE_P(Machines, SampleAssociations, ::testing::ValuesIn(samples::names()), samples::caseName);

TEST(Samples, HaveFunctionsInSlotsOnTheBoardAndInNeitherPlace) {
    std::size_t inSlots = 0, onBoard = 0, inNeitherPlace = 0;
    for (const std::string& name : samples::names()) {
        const emulator::EmulatedHost host(PCIINFO_SAMPLES "/" + name);
        Broker manager;
        manager.load(PCIINFO_LIBRARY);
        const Placement placement(manager);
        inSlots += placement.functionsInSlots().size();
        onBoard += placement.functionsOnBoard().size();
        inNeitherPlace += placement.functionsInNeitherPlace().size();
    }
    EXPECT_GT(inSlots, 0U);
    EXPECT_GT(onBoard, 0U);
    EXPECT_GT(inNeitherPlace, 0U);
}
