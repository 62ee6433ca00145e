// Association requests the way in which object managers bring them to the provider: with the filters of the client, or
// once for every association class that fits the source.

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/requests/rack.h"

namespace {

using broker::ObjectPath;
using broker::Response;
using broker::manners::Row;
using testing::UnorderedElementsAreArray;
using namespace testsupport;

constexpr char kSlotAssociation[] = "QELTA_DeviceInSlot";
constexpr char kBoardAssociation[] = "QELTA_OnBoardDevice";
constexpr char kUnknown[] = "QELTA_Unknown";
constexpr char kSlotClass[] = "QELTA_SystemSlot";
constexpr char kBoardClass[] = "QELTA_SystemBoard";

/** A request and what its client gets under each of the manners. */
struct Case {
    const char* what;
    ObjectPath source;
    FilterTexts texts;
    Row<Paths> expected;
    Row<CMPIrc> status = {};
};

template <typename Expectation>
Row<Expectation> alike(const Expectation& expected) {
    return {expected, expected, expected, expected};
}

/** Where OpenPegasus's clients get something else than all others. */
Row<Paths> butPegasus(const Paths& expected, const Paths& pegasus) {
    return {expected, expected, pegasus, expected};
}

/** An association class that sfcb does not know is an error there; in OpenPegasus it fits no source. */
Row<Paths> ofAnUnknownAssociation(const Paths& expected) {
    return {expected, {}, {}, expected};
}
constexpr Row<CMPIrc> kUnknownToSfcb = {CMPI_RC_OK, CMPI_RC_ERR_NOT_FOUND, CMPI_RC_OK, CMPI_RC_OK};

class Dispatch : public RackTest {
 protected:
    Dispatch() { manager.passOnAsAsked(false); }

    void expect(const std::vector<AssociationOperation>& operations, const std::vector<Case>& cases) {
        for (const Case& each : cases) {
            for (const AssociationOperation& operation : operations) {
                SCOPED_TRACE(std::string(operation.what) + " of " + each.what);
                const Response response = ask(operation, each.source, each.texts);
                EXPECT_EQ(response.status, under(each.status)) << broker::statusName(response.status);
                EXPECT_THAT(withSortedKeys(delivered(response)),
                            UnorderedElementsAreArray(withSortedKeys(under(each.expected))));
            }
        }
    }

 private:
    /** Of a path's keys only the set counts: managers list them in different orders. */
    static ObjectPath withSortedKeys(ObjectPath path) {
        for (broker::Property& key : path.keys) {
            if (const auto* nested = std::get_if<std::shared_ptr<ObjectPath>>(&key.value.data))
                key.value = broker::Value::reference(withSortedKeys(**nested));
        }
        std::sort(path.keys.begin(), path.keys.end(),
                  [](const broker::Property& one, const broker::Property& other) { return one.name < other.name; });
        return path;
    }
    static Paths withSortedKeys(Paths paths) {
        for (ObjectPath& path : paths) path = withSortedKeys(std::move(path));
        return paths;
    }
};

const ObjectPath kDevice = devicePath(3, 3, 0);
const ObjectPath kBridge = bridgePath(5, 5, 0);
const ObjectPath kSlot = slotPath(3);
const ObjectPath kBoard = boardPath();

/** A function in a slot leads to the board unless it is asked for its slot; asked by each association, to both. */
TEST_F(Dispatch, OfFunctionsToTheirSlotAndTheBoard) {
    for (const auto& [function, slot] : {std::pair(kDevice, kSlot), std::pair(kBridge, slotPath(5))}) {
        expect({kAssociators, kAssociatorNames},
               {{"a function", function, {}, butPegasus({kBoard}, {slot, kBoard})},
                {"a function, by the slots' association", function, {kSlotAssociation}, alike<Paths>({slot})},
                {"a function, by the board's association", function, {kBoardAssociation}, alike<Paths>({kBoard})},
                {"a function, to slots", function, {nullptr, kSlotClass}, butPegasus({slot}, {slot, slot})},
                {"a function, to boards", function, {nullptr, kBoardClass}, butPegasus({kBoard}, {kBoard, kBoard})},
                {"a function, to slots by their association",
                 function,
                 {kSlotAssociation, kSlotClass},
                 alike<Paths>({slot})},
                {"a function, by an unknown class", function, {kUnknown}, alike<Paths>({}), kUnknownToSfcb},
                {"a function, by a class that is no association", function, {kSlotClass}, alike<Paths>({})},
                {"a function, to an unknown class", function, {nullptr, kUnknown}, alike<Paths>({})}});
        const ObjectPath inSlot = inSlotPath(slot == kSlot ? 3 : 5, function);
        const ObjectPath onBoard = onBoardPath(function);
        expect(
            {kReferences, kReferenceNames},
            {{"a function", function, {}, butPegasus({onBoard}, {inSlot, onBoard})},
             {"a function, by the slots' association", function, {nullptr, kSlotAssociation}, alike<Paths>({inSlot})},
             {"a function, by the board's association",
              function,
              {nullptr, kBoardAssociation},
              alike<Paths>({onBoard})}});
    }
}

TEST_F(Dispatch, OfSlotsToTheirFunctions) {
    const Paths functions = rack::functionsInSlot(3);
    expect({kAssociators, kAssociatorNames},
           {{"a slot", kSlot, {}, alike(functions)},
            {"a slot, by its association", kSlot, {kSlotAssociation}, alike(functions)},
            {"a slot, by the board's association", kSlot, {kBoardAssociation}, butPegasus(functions, {})},
            {"a slot, by an unknown class", kSlot, {kUnknown}, ofAnUnknownAssociation(functions), kUnknownToSfcb},
            {"a slot, by a class that is no association", kSlot, {kSlotClass}, ofAnUnknownAssociation(functions)},
            {"an empty slot", slotPath(9), {}, alike<Paths>({})}});
    const Paths associations = rack::associationsOfSlot(3);
    expect({kReferences, kReferenceNames},
           {{"a slot", kSlot, {}, alike(associations)},
            {"a slot, by its association", kSlot, {nullptr, kSlotAssociation}, alike(associations)}});
}

TEST_F(Dispatch, OfTheBoardToItsFunctions) {
    const Paths functions = rack::functionsOnBoard();
    expect({kAssociators, kAssociatorNames},
           {{"the board", kBoard, {}, alike(functions)},
            {"the board, by its association", kBoard, {kBoardAssociation}, alike(functions)},
            {"the board, by the slots' association", kBoard, {kSlotAssociation}, butPegasus(functions, {})},
            {"the board, by an unknown class", kBoard, {kUnknown}, ofAnUnknownAssociation(functions), kUnknownToSfcb},
            {"the board, by a class that is no association", kBoard, {kSlotClass}, ofAnUnknownAssociation(functions)}});
    const Paths associations = rack::associationsOfBoard();
    expect({kReferences, kReferenceNames},
           {{"the board", kBoard, {}, alike(associations)},
            {"the board, by its association", kBoard, {nullptr, kBoardAssociation}, alike(associations)},
            {"the board, by an unknown class",
             kBoard,
             {nullptr, kUnknown},
             ofAnUnknownAssociation(associations),
             kUnknownToSfcb}});
}

}  // namespace
