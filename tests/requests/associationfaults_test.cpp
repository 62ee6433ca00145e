// Association requests of which one call into the object manager fails or throws, each call in turn.
#include <algorithm>
#include <stdexcept>

#include "tests/requests/rack.h"

namespace {

using broker::Call;
using broker::ObjectPath;
using broker::Response;
using testing::ElementsAreArray;
using testing::ValuesIn;
using namespace testsupport;

/** An association request that delivers something. */
struct Question {
    const char* what;
    AssociationOperation operation;
    ObjectPath source;
    FilterTexts texts;
};

std::vector<Question> questions() {
    const ObjectPath device = devicePath(3, 3, 0);
    const ObjectPath bridge = bridgePath(4, 3, 0);
    const ObjectPath slotController = renamed(device, "QELTA_SSPCIController");
    const ObjectPath boardController = renamed(device, "QELTA_OBDPCIController");
    return {
        {"SlotsOfADevice", kAssociators, device, {"QELTA_DeviceInSlot"}},
        {"SlotNamesOfADevice", kAssociatorNames, device, {"QELTA_DeviceInSlot"}},
        {"SlotsOfABridge", kAssociators, bridge, {nullptr, "QELTA_SystemSlot"}},
        {"SlotNamesOfASlotController", kAssociatorNames, slotController, {}},
        {"BoardOfADevice", kAssociators, device, {}},
        {"BoardNameOfABridge", kAssociatorNames, bridge, {}},
        {"BoardOfABoardController", kAssociators, boardController, {}},
        {"FunctionsInASlot", kAssociators, slotPath(3), {}},
        {"FunctionNamesInASlot", kAssociatorNames, slotPath(3), {}},
        {"FunctionsOnTheBoard", kAssociators, boardPath(), {}},
        {"FunctionNamesOnTheBoard", kAssociatorNames, boardPath(), {}},
        {"SlotReferencesOfADevice", kReferences, device, {nullptr, "QELTA_DeviceInSlot"}},
        {"SlotReferenceNamesOfABridge", kReferenceNames, bridge, {nullptr, "QELTA_DeviceInSlot"}},
        {"SlotReferencesOfASlotController", kReferences, slotController, {}},
        {"BoardReferencesOfADevice", kReferences, device, {}},
        {"BoardReferenceNamesOfABridge", kReferenceNames, bridge, {}},
        {"BoardReferencesOfABoardController", kReferences, boardController, {}},
        {"ReferencesOfASlot", kReferences, slotPath(3), {}},
        {"ReferenceNamesOfASlot", kReferenceNames, slotPath(3), {}},
        {"ReferencesOfTheBoard", kReferences, boardPath(), {}},
        {"ReferenceNamesOfTheBoard", kReferenceNames, boardPath(), {}},
    };
}

/** Three functions in slot 3, three on the board, none with device number 0; slot 4 is empty. */
class EveryCallOfAnAssociationRequest : public MachineTest, public testing::WithParamInterface<Question> {
 protected:
    EveryCallOfAnAssociationRequest() {
        files.setHostName(kMachineName);
        files.setSmbiosTable(slotTable({4, 3}));
        files.addFunction(bridgeAt(0, 30, 0));
        files.addFunction(deviceAt(0, 31, 0));
        files.addFunction(deviceAt(0, 31, 1));
        files.addFunction(deviceAt(3, 3, 0));
        files.addFunction(deviceAt(3, 3, 1));
        files.addFunction(bridgeAt(4, 3, 0));
        start();
        full = question();
        calls = manager.calls();
    }

    Response question() { return ask(GetParam().operation, GetParam().source, GetParam().texts); }

    void expectDone(const Response& response, CMPIrc status) {
        EXPECT_EQ(response.status, status);
        EXPECT_FALSE(response.hasMessage);
        EXPECT_EQ(manager.calls().back().function, "result.returnDone");
        EXPECT_EQ(response.deliveredAfterDone, 0U);
    }

    /**
     * `askWithFault` lets the call of that index go wrong. Nothing is left over, and the answer to a faultless request
     * is the same as ever.
     */
    template <typename Ask>
    void forEachCall(std::size_t count, Ask askWithFault) {
        for (std::size_t index = 0; index < count && !HasFailure(); ++index) {
            SCOPED_TRACE("call " + std::to_string(index) + ": " + calls[index].function + " " + calls[index].name);
            manager.clearFaults();
            askWithFault(index);
            EXPECT_TRUE(manager.faultStruck());
            expectNothingLeft();
        }
        manager.clearFaults();
        const Response response = question();
        EXPECT_EQ(response.status, full.status);
        EXPECT_THAT(response.instances, ElementsAreArray(full.instances));
        EXPECT_THAT(response.paths, ElementsAreArray(full.paths));
    }

    Response full;
    std::vector<Call> calls;
};

INSTANTIATE_TEST_SUITE_P(Asking, EveryCallOfAnAssociationRequest, ValuesIn(questions()), CaseName{});

/** The source's class name is read by the first two calls: its string, and its characters. */
constexpr std::size_t kClassNameCalls = 2;

bool isOneOf(const std::string& text, std::initializer_list<const char*> texts) {
    return std::any_of(texts.begin(), texts.end(), [&](const char* one) { return text == one; });
}

/**
 * Whether more than one object of the answer rests on a call: those that read the request, that walk over what the
 * object manager enumerates, and that make the one slot or the one board to which every association leads.
 */
bool isShared(const std::vector<Call>& calls, std::size_t index) {
    const std::string& function = calls[index].function;
    if (isOneOf(function, {"objectPath.getClassName", "objectPath.getKey", "string.getCharPtr",
                           "bft.enumerateInstances", "enumeration.hasNext", "enumeration.getNext"})) {
        return true;
    }
    if (index + 1 < calls.size() && calls[index + 1].function == "bft.enumerateInstances") return true;
    for (std::size_t i = index + 1; i-- > 0;) {
        if (calls[i].function == "eft.newObjectPath") {
            return isOneOf(calls[i].name, {"QELTA_SystemSlot", "QELTA_SystemBoard"});
        }
    }
    return true;
}

template <typename Object>
std::ptrdiff_t missing(const std::vector<Object>& full, const std::vector<Object>& left) {
    return std::count_if(full.begin(), full.end(), [&](const Object& object) {
        return std::find(left.begin(), left.end(), object) == left.end();
    });
}

TEST_P(EveryCallOfAnAssociationRequest, DeliversSomethingWithoutFaults) {
    EXPECT_EQ(full.status, CMPI_RC_OK);
    EXPECT_FALSE(delivered(full).empty());
    EXPECT_GT(calls.size(), kClassNameCalls);
}

TEST_P(EveryCallOfAnAssociationRequest, CostsAtMostTheObjectAtHandWhenItFails) {
    forEachCall(calls.size(), [&](std::size_t index) {
        manager.failAt("*", static_cast<unsigned>(index) + 1);
        const Response response = question();
        expectDone(response, index < kClassNameCalls ? CMPI_RC_ERR_INVALID_CLASS : CMPI_RC_OK);
        const std::ptrdiff_t lost = missing(full.instances, response.instances) + missing(full.paths, response.paths);
        if (!isShared(calls, index)) {
            EXPECT_LE(lost, 1);
        }
    });
}

TEST_P(EveryCallOfAnAssociationRequest, EndsTheWorkButNotTheAnswerWhenItThrowsAStandardException) {
    forEachCall(calls.size() - 1, [&](std::size_t index) {  // returnDone is looked at below
        manager.throwAt("*", static_cast<unsigned>(index) + 1);
        Response response;
        EXPECT_NO_THROW(response = question());
        expectDone(response, CMPI_RC_OK);
    });
}

TEST_P(EveryCallOfAnAssociationRequest, LetsOtherExceptionsPassAndLeaksNothing) {
    unsigned passed = 0;
    forEachCall(calls.size(), [&](std::size_t index) {
        manager.throwAt("*", static_cast<unsigned>(index) + 1, false);
        try {
            const Response response = question();
            EXPECT_EQ(response.status, CMPI_RC_OK);  // something below kept it in
        } catch (int) {
            ++passed;
        }
    });
    EXPECT_GT(passed, 0U);
}

// --- the end of the answer ---

class EndOfAnAssociationAnswer : public RackTest {};

TEST_F(EndOfAnAssociationAnswer, LetsNoStandardExceptionOfReturnDoneOut) {
    for (const AssociationOperation& operation : {kAssociators, kAssociatorNames, kReferences, kReferenceNames}) {
        for (const ObjectPath& source : {devicePath(0, 31, 2), classPath("CIM_Unknown")}) {
            SCOPED_TRACE(operation.what + (" of " + source.className));
            const Response full = ask(operation, source);
            manager.throwAt("result.returnDone", 1);
            Response response;
            EXPECT_NO_THROW(response = ask(operation, source));
            EXPECT_TRUE(manager.faultStruck());
            EXPECT_EQ(response.status, full.status);
            EXPECT_EQ(delivered(response), delivered(full));
            manager.clearFaults();
        }
    }
}

}  // namespace
