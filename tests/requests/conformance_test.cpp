// Every operation on every class, in every letter case, and every filter with every other, against the rules.
#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <optional>

#include "tests/requests/rack.h"

namespace {

using broker::Filters;
using broker::Instance;
using broker::ObjectPath;
using broker::Response;
using testing::IsEmpty;
using testing::ValuesIn;
using namespace testsupport;

using Text = std::optional<std::string>;

std::string shown(const Text& text) {
    return text ? '"' + *text + '"' : "null";
}

const std::vector<const char*> kUnknownClasses = {"QELTA_",        "QELTA_PCIDevic",   "QELTA_PCI_Device", "CIM_Slot",
                                                  "QELTA_ASSETID", "QELTA_Controller", "PCIBridge ",       ""};

class Conformance : public RackTest, public testing::WithParamInterface<ServedClass> {
 protected:
    /** The class's object under another spelling of its class name. */
    static ObjectPath object(const std::string& className) { return renamed(GetParam().object, className); }

    void forget() {
        host->clearEvents();
        manager.clearCalls();
    }
};

INSTANTIATE_TEST_SUITE_P(OfEveryClass, Conformance, ValuesIn(kServedClasses), CaseName{});

class UnknownClass : public RackTest {};

// --- instance operations ---

TEST_P(Conformance, InstanceNamesAreDeliveredAndTheResultIsLeftOpen) {
    for (const std::string& className : spellings(GetParam().what)) {
        forget();
        const Response response = manager.enumerateInstanceNames(object(className));
        EXPECT_EQ(response.status, CMPI_RC_OK) << className;
        EXPECT_FALSE(response.hasMessage);
        expectDelivered(response, GetParam().objects(), true);
        EXPECT_EQ(response.doneCalls, 0U) << className;
    }
}

TEST_P(Conformance, InstancesAreDeliveredWhetherEnumeratedOrGot) {
    for (const auto ask : {&broker::Broker::enumerateInstances, &broker::Broker::getInstance}) {
        const Paths all = GetParam().objects();
        const Paths taken = ask == &broker::Broker::getInstance ? takenOfGet(all) : all;
        for (const std::string& className : spellings(GetParam().what)) {
            forget();
            const Response response = (manager.*ask)(object(className));
            EXPECT_EQ(response.status, CMPI_RC_OK) << className;
            EXPECT_FALSE(response.hasMessage);
            expectDelivered(response, taken, false);
            EXPECT_EQ(response.doneCalls, GetParam().closesResult ? 1U : 0U) << className;
            EXPECT_EQ(response.deliveredAfterDone, 0U) << className;
            EXPECT_EQ(manager.calls().back().function == "result.returnDone", GetParam().closesResult) << className;
        }
    }
}

/** The operations that change something or query. */
const std::vector<std::function<Response(broker::Broker&, const ObjectPath&)>> kRefusedOperations = {
    [](broker::Broker& manager, const ObjectPath& path) {
        return manager.createInstance(path, Instance{path, {}});
    },
    [](broker::Broker& manager, const ObjectPath& path) {
        return manager.modifyInstance(path, Instance{path, {}});
    },
    [](broker::Broker& manager, const ObjectPath& path) { return manager.deleteInstance(path); },
    [](broker::Broker& manager, const ObjectPath& path) {
        return manager.execQuery(path, "SELECT * FROM " + path.className, "WQL");
    },
};

void expectRefused(broker::Broker& manager, const Response& response) {
    EXPECT_EQ(response.status, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_FALSE(response.hasMessage);
    EXPECT_EQ(response.doneCalls, 0U);
    EXPECT_THAT(delivered(response), IsEmpty());
    EXPECT_TRUE(manager.calls().empty());
}

TEST_P(Conformance, ChangesAndQueriesAreNotSupported) {
    for (const auto& refused : kRefusedOperations) {
        for (const std::string& className : spellings(GetParam().what)) {
            forget();
            expectRefused(manager, refused(manager, object(className)));
        }
    }
}

TEST_F(UnknownClass, IsRefusedByEveryInstanceOperationAndTheResultIsLeftOpen) {
    for (const auto ask :
         {&broker::Broker::enumerateInstanceNames, &broker::Broker::enumerateInstances, &broker::Broker::getInstance}) {
        std::vector<std::string> names(kUnknownClasses.begin(), kUnknownClasses.end());
        names.insert(names.end(), {"QELTA_PCIDevice ", "QELTA_PCIDevices", "My_QELTA_SystemSlot"});  // whole names only
        for (const std::string& name : names) {
            const Response response = (manager.*ask)(classPath(name));
            EXPECT_EQ(response.status, CMPI_RC_ERR_INVALID_CLASS) << name;
            EXPECT_FALSE(response.hasMessage);
            EXPECT_EQ(response.doneCalls, 0U) << name;
            EXPECT_THAT(delivered(response), IsEmpty()) << name;
        }
    }
}

TEST_F(UnknownClass, IsNotLookedAtByChangesAndQueries) {
    for (const auto& refused : kRefusedOperations) {
        manager.clearCalls();
        expectRefused(manager, refused(manager, classPath("CIM_Unknown")));
    }
}

TEST_F(UnknownClass, IsRefusedByEveryAssociationOperationAfterReturnDone) {
    for (const AssociationOperation& operation : {kAssociators, kAssociatorNames, kReferences, kReferenceNames}) {
        for (const char* name : kUnknownClasses) {
            for (const FilterTexts& texts :
                 {FilterTexts{}, FilterTexts{"QELTA_DeviceInSlot", "QELTA_SystemSlot", "", "Antecedent"},
                  FilterTexts{"", "", "", ""}}) {
                SCOPED_TRACE(fmt::format("{} of [{}]", operation.what, name));
                const Response response = ask(operation, classPath(name), texts);
                expectClosed(manager, response, CMPI_RC_ERR_INVALID_CLASS);
                expectDelivered(response, {}, operation.namesOnly);
            }
        }
    }
}

// --- association operations: every filter with every other ---

using Condition = std::function<bool(const Text&)>;

Condition any() {
    return [](const Text&) { return true; };
}
Condition null() {
    return [](const Text& text) { return !text; };
}
Condition containing(const std::string& part) {
    return [part = inCase(part, std::tolower)](const Text& text) {
        return text && inCase(*text, std::tolower).find(part) != std::string::npos;
    };
}
Condition equal(const std::string& whole) {
    return [whole = inCase(whole, std::tolower)](const Text& text) {
        return text && inCase(*text, std::tolower) == whole;
    };
}
Condition nullOr(const Condition& condition) {
    return [condition](const Text& text) { return !text || condition(text); };
}
Condition nullOrNot(const Condition& condition) {
    return [condition](const Text& text) { return !text || !condition(text); };
}

/** A source class with the filters under which it delivers something; under all others it delivers nothing. */
struct Rule {
    std::vector<std::string> sources;
    Condition resultClass;
    Condition assocClass;
    Condition resultRole;
    Paths (*objects)(const ObjectPath& source);
};

const std::vector<std::string> kFunctionClasses = {"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SSPCIController",
                                                   "QELTA_OBDPCIController"};

/** The rack's slots carry the device numbers of the functions that are asked about. */
unsigned slotOf(const ObjectPath& source) {
    return source.keys.back().value == bridgePath(5, 5, 0).keys.back().value ? 5 : 3;
}

ObjectPath canonical(const ObjectPath& source) {
    return slotOf(source) == 5 ? bridgePath(5, 5, 0) : devicePath(3, 3, 0);
}

Paths toBoard(const ObjectPath&) {
    return board();
}
Paths toSlot(const ObjectPath& source) {
    return {slotPath(slotOf(source))};
}
Paths toFunctionsInSlot(const ObjectPath&) {
    return rack::functionsInSlot(3);
}
Paths toFunctionsOnBoard(const ObjectPath&) {
    return rack::functionsOnBoard();
}
Paths toSlotReference(const ObjectPath& source) {
    return {inSlotPath(slotOf(source), canonical(source))};
}
Paths toBoardReference(const ObjectPath& source) {
    return {onBoardPath(canonical(source))};
}
Paths toReferencesOfSlot(const ObjectPath&) {
    return rack::associationsOfSlot(3);
}
Paths toReferencesOfBoard(const ObjectPath&) {
    return rack::associationsOfBoard();
}

const Condition kAntecedent = nullOr(containing("antecedent"));

const std::vector<Rule> kAssociatorRules = {
    {{"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_OBDPCIController"}, null(), null(), kAntecedent, toBoard},
    {{"QELTA_SSPCIController"}, null(), null(), kAntecedent, toSlot},
    {kFunctionClasses, null(), containing("QELTA_DeviceInSlot"), kAntecedent, toSlot},
    {kFunctionClasses, null(), containing("QELTA_OnBoardDevice"), kAntecedent, toBoard},
    {kFunctionClasses, containing("QELTA_SystemSlot"), any(), kAntecedent, toSlot},
    {kFunctionClasses, containing("QELTA_SystemBoard"), any(), kAntecedent, toBoard},
    {{"QELTA_SystemSlot"},
     nullOr(equal("QELTA_SSPCIController")),
     any(),
     nullOrNot(equal("antecedent")),
     toFunctionsInSlot},
    {{"QELTA_SystemBoard"},
     nullOr(equal("QELTA_OBDPCIController")),
     any(),
     nullOr(equal("dependent")),
     toFunctionsOnBoard},
};

const std::vector<Rule> kReferenceRules = {
    {kFunctionClasses, equal("QELTA_DeviceInSlot"), any(), any(), toSlotReference},
    {kFunctionClasses, equal("QELTA_OnBoardDevice"), any(), any(), toBoardReference},
    {{"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_OBDPCIController"}, null(), any(), any(), toBoardReference},
    {{"QELTA_SSPCIController"}, null(), any(), any(), toSlotReference},
    {{"QELTA_SystemSlot"}, any(), any(), any(), toReferencesOfSlot},
    {{"QELTA_SystemBoard"}, any(), any(), any(), toReferencesOfBoard},
};

Paths expected(const std::vector<Rule>& rules, const std::string& sourceClass, const ObjectPath& source,
               const Filters& given) {
    for (const Rule& rule : rules) {
        if (std::count(rule.sources.begin(), rule.sources.end(), sourceClass) != 0 &&
            rule.resultClass(given.resultClass) && rule.assocClass(given.assocClass) &&
            rule.resultRole(given.resultRole)) {
            return rule.objects(source);
        }
    }
    return {};
}

const std::vector<Text> kAssociationFilters = {std::nullopt,       "QELTA_DeviceInSlot", "qelta_onboarddevice",
                                               "QELTA_SystemSlot", "CIM_Unknown",        ""};
const std::vector<Text> kClassFilters = {
    std::nullopt,      "QELTA_SystemSlot",       "qelta_systemboard", "qelta_SSPCIController",
    "QELTA_PCIDevice", "QELTA_OBDPCICONTROLLER", "CIM_Unknown",       ""};
const std::vector<Text> kReferenceFilters = {
    std::nullopt,       "QELTA_DeviceInSlot", "qelta_deviceinslot", "QELTA_ONBOARDDEVICE",
    "QELTA_SystemSlot", "QELTA_PCIDevice",    "CIM_Unknown",        ""};
const std::vector<Text> kRoleFilters = {std::nullopt, "Antecedent", "dEPENDENT", "CIM_Unknown", ""};

class AssociationConformance : public Conformance {
 protected:
    static bool isSource() {
        const std::string name = GetParam().what;
        return name != "QELTA_DeviceInSlot" && name != "QELTA_OnBoardDevice";  // associations have no associators
    }

    void check(const AssociationOperation& operation, const std::vector<Rule>& rules, const std::string& className,
               const Filters& given) {
        SCOPED_TRACE(fmt::format("{} of {}: association class {}, result class {}, role {}, result role {}",
                                 operation.what, className, shown(given.assocClass), shown(given.resultClass),
                                 shown(given.role), shown(given.resultRole)));
        const ObjectPath source = object(className);
        forget();
        const Response response = (manager.*operation.ask)(source, given);
        expectClosed(manager, response, isSource() ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_CLASS);
        expectDelivered(response, expected(rules, GetParam().what, source, given), operation.namesOnly);
    }
};

INSTANTIATE_TEST_SUITE_P(OfEveryClass, AssociationConformance, ValuesIn(kServedClasses), CaseName{});

TEST_P(AssociationConformance, AssociatorsFollowEveryCombinationOfFilters) {
    for (const Text& assocClass : kAssociationFilters) {
        for (const Text& resultClass : kClassFilters) {
            for (const Text& resultRole : kRoleFilters) {
                const Filters given = {assocClass, resultClass, std::nullopt, resultRole};
                for (const std::string& className : spellings(GetParam().what)) {
                    check(kAssociatorNames, kAssociatorRules, className, given);
                }
                check(kAssociators, kAssociatorRules, GetParam().what, given);
            }
        }
    }
}

TEST_P(AssociationConformance, ReferencesFollowEveryResultClass) {
    for (const Text& resultClass : kReferenceFilters) {
        for (const Text& role : kRoleFilters) {
            const Filters given = {std::nullopt, resultClass, role, std::nullopt};
            for (const std::string& className : spellings(GetParam().what)) {
                check(kReferenceNames, kReferenceRules, className, given);
            }
            check(kReferences, kReferenceRules, GetParam().what, given);
        }
    }
}

}  // namespace
