#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "emulator/emulatedhost.h"
#include "tests/samples/reference.h"
#include "tests/samples/sample.h"
#include "tests/support/machine.h"

using broker::Broker;
using broker::Filters;
using broker::ObjectPath;
using reference::ListedFunction;
using testing::ElementsAreArray;
using testsupport::Paths;

namespace {

/** Where the functions of a machine are, told from its files alone. */
class Placement {
 public:
    Placement(const std::string& procBusPci, const std::string& smbiosTable)
        : functions_(reference::listedFunctions(procBusPci)), slots_(reference::slotNumbers(smbiosTable)) {
        // Devices are published before bridges.
        std::stable_partition(functions_.begin(), functions_.end(),
                              [](const ListedFunction& function) { return !function.bridge; });
        for (const unsigned number : slots_) highestSlot_ = std::max(highestSlot_, number);
    }

    const std::vector<unsigned>& slots() const { return slots_; }

    Paths functionsInSlot(unsigned number) const {
        return paths([number](const ListedFunction& function) { return function.dev == number; });
    }
    /** Slot by slot, in the order of the SMBIOS table. */
    Paths functionsInSlots() const {
        std::vector<Paths> lists;
        for (const unsigned number : slots_) lists.push_back(functionsInSlot(number));
        return testsupport::allPaths(lists);
    }
    /** One for every device number that is no slot's; it is the number alone that decides. */
    Paths oneOfEachNumberWithoutSlot() const {
        std::set<unsigned> seen;
        return paths(
            [&](const ListedFunction& function) { return !isInSlot(function) && seen.insert(function.dev).second; });
    }
    Paths functionsOnBoard() const {
        return paths([this](const ListedFunction& function) { return isOnBoard(function); });
    }
    /** Those whose device number is below the highest slot number, but that of no slot. */
    Paths functionsInNeitherPlace() const {
        return paths([this](const ListedFunction& function) { return !isInSlot(function) && !isOnBoard(function); });
    }

    Paths associationsOfSlot(unsigned number) const {
        return mapped(functionsInSlot(number),
                      [number](const ObjectPath& function) { return testsupport::inSlotPath(number, function); });
    }
    Paths associationsOfSlots() const {
        std::vector<Paths> lists;
        for (const unsigned number : slots_)
            if (number != 0) lists.push_back(associationsOfSlot(number));
        return testsupport::allPaths(lists);
    }
    Paths associationsOfBoard() const { return mapped(functionsOnBoard(), testsupport::onBoardPath); }

 private:
    bool isInSlot(const ListedFunction& function) const {
        return function.dev != 0 && std::find(slots_.begin(), slots_.end(), function.dev) != slots_.end();
    }
    bool isOnBoard(const ListedFunction& function) const { return function.dev == 0 || function.dev > highestSlot_; }

    template <class Chosen>
    Paths paths(Chosen chosen) const {
        Paths found;
        for (const ListedFunction& function : functions_) {
            const char* className = function.bridge ? "QELTA_PCIBridge" : "QELTA_PCIDevice";
            if (chosen(function))
                found.push_back(testsupport::functionPath(className, function.bus, function.dev, function.func));
        }
        return found;
    }

    template <class Map>
    static Paths mapped(const Paths& from, Map map) {
        Paths to;
        std::transform(from.begin(), from.end(), std::back_inserter(to), map);
        return to;
    }

    std::vector<ListedFunction> functions_;
    std::vector<unsigned> slots_;
    unsigned highestSlot_ = 0;
};

Filters byAssociation(const std::string& className) {
    Filters filters;
    filters.assocClass = className;
    return filters;
}

Filters byResult(const std::string& className) {
    Filters filters;
    filters.resultClass = className;
    return filters;
}

Filters byResultRole(const std::string& role) {
    Filters filters;
    filters.resultRole = role;
    return filters;
}

/** One sample machine under the provider's library. */
class SampleAssociations : public samples::SampleTest {
 protected:
    SampleAssociations() : placement_(procBusPci(), smbiosTable()), host_(directory()) {
        host_.setHostName(testsupport::kMachineName);  // a key of every path, and the one that expected paths have
        manager_.load(PCIINFO_LIBRARY);
    }

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

    const Placement placement_;

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
};

}  // namespace

TEST_P(SampleAssociations, JoinEverySlotWithTheFunctionsThatHaveItsNumberAsDeviceNumber) {
    expectAssociations("QELTA_DeviceInSlot", placement_.associationsOfSlots());
}

TEST_P(SampleAssociations, JoinTheBoardWithTheFunctionsOfDeviceNumber0AndAboveTheHighestSlot) {
    expectAssociations("QELTA_OnBoardDevice", placement_.associationsOfBoard());
}

TEST_P(SampleAssociations, ShowTheirFunctionsAsTheControllersInSlotsAndOnTheBoard) {
    expectEnumerated("QELTA_SSPCIController", placement_.functionsInSlots());
    expectEnumerated("QELTA_OBDPCIController", placement_.functionsOnBoard());
}

TEST_P(SampleAssociations, LeadFromEverySlotToItsFunctions) {
    for (const unsigned number : placement_.slots()) {
        const ObjectPath slot = testsupport::slotPath(number);
        expectReferences(slot, {}, placement_.associationsOfSlot(number));
        for (const Filters& filters : {Filters{}, byAssociation("QELTA_DeviceInSlot"),
                                       byResult("QELTA_SSPCIController"), byResultRole("Dependent")})
            expectAssociated(slot, filters, placement_.functionsInSlot(number));
        for (const Filters& filters : {byResult("QELTA_OBDPCIController"), byResultRole("Antecedent")})
            expectAssociated(slot, filters, {});
    }
}

TEST_P(SampleAssociations, LeadFromTheBoardToItsFunctions) {
    const ObjectPath board = testsupport::boardPath();
    expectReferences(board, {}, placement_.associationsOfBoard());
    for (const Filters& filters : {Filters{}, byAssociation("QELTA_OnBoardDevice"), byResult("QELTA_OBDPCIController"),
                                   byResultRole("Dependent")})
        expectAssociated(board, filters, placement_.functionsOnBoard());
    for (const Filters& filters : {byResult("QELTA_SSPCIController"), byResultRole("Antecedent")})
        expectAssociated(board, filters, {});
}

TEST_P(SampleAssociations, LeadFromEveryFunctionInASlotToThatSlot) {
    for (const unsigned number : placement_.slots()) {
        for (const ObjectPath& function : placement_.functionsInSlot(number)) {
            const Paths slot = {testsupport::slotPath(number)};
            expectReferences(function, byResult("QELTA_DeviceInSlot"), {testsupport::inSlotPath(number, function)});
            expectAssociated(function, byAssociation("QELTA_DeviceInSlot"), slot);
            expectAssociated(function, byResult("QELTA_SystemSlot"), slot);
            expectAssociated(testsupport::renamed(function, "QELTA_SSPCIController"), {}, slot);
        }
    }
}

TEST_P(SampleAssociations, LeadFromFunctionsOutsideSlotsToNoSlot) {
    for (const ObjectPath& function : placement_.oneOfEachNumberWithoutSlot()) {
        expectReferences(function, byResult("QELTA_DeviceInSlot"), {});
        expectAssociated(function, byAssociation("QELTA_DeviceInSlot"), {});
    }
}

TEST_P(SampleAssociations, LeadFromFunctionsToTheBoardWhereverTheyAre) {
    const Paths board = {testsupport::boardPath()};
    const Paths functions =
        testsupport::allPaths({placement_.functionsInSlots(), placement_.oneOfEachNumberWithoutSlot()});
    for (const ObjectPath& function : functions) {
        expectReferences(function, {}, {testsupport::onBoardPath(function)});
        expectAssociated(function, {}, board);
    }
}

TEST_P(SampleAssociations, LeadFromFunctionsInSlotsToTheBoardWhereTheBoardIsAskedFor) {
    const Paths board = {testsupport::boardPath()};
    for (const ObjectPath& function : placement_.functionsInSlots()) {
        expectReferences(function, byResult("QELTA_OnBoardDevice"), {testsupport::onBoardPath(function)});
        expectAssociated(function, byAssociation("QELTA_OnBoardDevice"), board);
        expectAssociated(function, byResult("QELTA_SystemBoard"), board);
    }
}

INSTANTIATE_TEST_SUITE_P(Machines, SampleAssociations, ::testing::ValuesIn(samples::names()), samples::caseName);

TEST(Samples, HaveFunctionsInSlotsOnTheBoardAndInNeitherPlace) {
    std::size_t inSlots = 0, onBoard = 0, inNeitherPlace = 0;
    for (const std::string& name : samples::names()) {
        const std::string directory = PCIINFO_SAMPLES "/" + name;
        const Placement placement(directory + "/proc/bus/pci", directory + "/bmc/smbios-table");
        inSlots += placement.functionsInSlots().size();
        onBoard += placement.functionsOnBoard().size();
        inNeitherPlace += placement.functionsInNeitherPlace().size();
    }
    EXPECT_GT(inSlots, 0U);
    EXPECT_GT(onBoard, 0U);
    EXPECT_GT(inNeitherPlace, 0U);
}
