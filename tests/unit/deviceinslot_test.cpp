// From slots to the functions in them: associations and functions.
#include <fmt/format.h>

#include "tests/unit/inventory.h"

namespace {

using broker::Instance;
using broker::ObjectPath;
using broker::Value;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Values;
using namespace testsupport;

ObjectPath taggedPath(const Value& tag) {
    ObjectPath path = slotPath(0);
    path.keys.back().value = tag;
    return path;
}

/** Two functions of device 3 on bus 3, a bridge of device 3 on bus 4, and a device and a bridge elsewhere. */
class DeviceInSlot : public InventoryTest {
 protected:
    DeviceInSlot() {
        files.addFunction(deviceAt(0, 0, 0));
        files.addFunction(deviceAt(3, 3, 0));
        files.addFunction(bridgeAt(4, 3, 0));
        files.addFunction(bridgeAt(4, 4, 0));
        files.addFunction(deviceAt(3, 3, 1));
    }

    /** The associations of a slot with number 3. */
    static Paths associationsOf(const ObjectPath& slot) {
        ObjectPath path = inSlotPath(0, devicePath(3, 3, 0));
        Paths paths;
        for (const ObjectPath& function : {devicePath(3, 3, 0), devicePath(3, 3, 1), bridgePath(4, 3, 0)}) {
            path.keys = {{"Antecedent", Value::reference(slot)}, {"Dependent", Value::reference(function)}};
            paths.push_back(path);
        }
        return paths;
    }
    static Paths associations() { return associationsOf(slotPath(3)); }

    Paths create(const ObjectPath* slot, int number, bool namesOnly) {
        const auto info = scan();
        info->CreateDeviceSlotAssociation(handle(), result(), slot != nullptr ? scope->make(*slot) : nullptr, number,
                                          namesOnly);
        return answered();
    }
    Paths makeAll(bool namesOnly) {
        const auto info = scan();
        info->MakeDeviceSlotAssociation(handle(), context(), result(), namesOnly);
        return answered();
    }
    Paths referencesOf(const ObjectPath& slot, bool namesOnly) {
        const auto info = scan();
        info->GetAssocRefFromSlotInstances(handle(), context(), result(), scope->make(slot), namesOnly);
        return answered();
    }
    Paths functionsOf(const ObjectPath& slot, bool namesOnly) {
        const auto info = scan();
        info->GetDeviceFromSlotAssocInstances(handle(), context(), result(), scope->make(slot), namesOnly);
        return answered();
    }
    Paths functionsOfAllSlots(bool namesOnly) {
        const auto info = scan();
        info->GetDeviceFromSlotAssocInstances(handle(), context(), result(), nullptr, namesOnly);
        return answered();
    }
};

// --- the associations of one slot ---

TEST_F(DeviceInSlot, AssociationInstanceCarriesBothReferencesAndNothingElse) {
    const ObjectPath slot = slotPath(3);
    EXPECT_THAT(create(&slot, 3, false), ElementsAreArray(associations()));
    ASSERT_EQ(scope->response().instances.size(), 3U);
    for (const Instance& association : scope->response().instances) {
        EXPECT_EQ(association.properties, association.path.keys);
        EXPECT_EQ(association.properties.size(), 2U);
    }
    EXPECT_THAT(callsOf("instance.setProperty"),
                ElementsAre("Antecedent", "Dependent", "Antecedent", "Dependent", "Antecedent", "Dependent"));
}

TEST_F(DeviceInSlot, SlotNumberIsNotCutToEightBitsForTheComparison) {
    const ObjectPath slot = slotPath(3);
    EXPECT_THAT(create(&slot, 259, true), IsEmpty());
    EXPECT_THAT(log(), Contains("MakeDeviceSlotAssociation found no match checking device slot [3] against slotnumber "
                                "[259]"));
}

TEST_F(DeviceInSlot, MissingSlotPathIsLoggedForEveryMatch) {
    EXPECT_THAT(create(nullptr, 3, true), IsEmpty());
    const Lines nullPaths = allLines({matchLines(3), makeLine("object paths null")});
    EXPECT_THAT(log(),
                ElementsAreArray(allLines({noMatchLines(0, 3), nullPaths, nullPaths, nullPaths, noMatchLines(4, 3)})));
}

TEST_F(DeviceInSlot, FunctionWhosePathOrAssociationsPathCannotBeMadeIsSkippedAlone) {
    const ObjectPath slot = slotPath(3);
    for (const unsigned nth : {1U, 2U}) {
        manager.failAt("eft.newObjectPath", nth);
        EXPECT_THAT(create(&slot, 3, true), ElementsAre(associations()[1], associations()[2])) << nth;
        EXPECT_THAT(log(),
                    ElementsAreArray(allLines({noMatchLines(0, 3), matchLines(3), makeLine("object paths null"),
                                               pathDeliveredLines(3), pathDeliveredLines(3), noMatchLines(4, 3)})));
    }
}

TEST_F(DeviceInSlot, AssociationThatCannotBeMadeIsSkippedAlone) {
    const ObjectPath slot = slotPath(3);
    manager.failAt("eft.newInstance", 2);
    EXPECT_THAT(create(&slot, 3, false), ElementsAre(associations()[0], associations()[2]));
    const Lines failed = allLines({matchLines(3), makeLine("object paths not null"), makeLine("creating instance"),
                                   makeLine("could not creating instance")});
    EXPECT_THAT(log(), ElementsAreArray(allLines({noMatchLines(0, 3), instanceDeliveredLines(3), failed,
                                                  instanceDeliveredLines(3), noMatchLines(4, 3)})));
}

// --- the associations of all slots ---

/** One slot up to its number; the "intance" line stands there twice. */
Lines slotLines(unsigned number, const Lines& readerLines = uint8Lines()) {
    return allLines({nextInstanceLines(), makeLine("got next intance"), makeLine("got next intance"), readerLines,
                     makeLine(fmt::format("got slot number of {}", number))});
}

Lines startLines() {
    return allLines({makeLine("int the routine"), makeLine("got the path"), makeLine("path is not null"),
                     makeLine("getting system slots"), makeLine("got system slots")});
}

Lines walkingLines() {
    return allLines({startLines(), makeLine("was able to get instances of system slot")});
}

TEST_F(DeviceInSlot, EverySlotIsAssociatedInTheOrderOfTheEnumerationTwinsIncluded) {
    const Instance twin = numbered(103, Value::uint(CMPI_uint16, 3));
    answer(kSlotClass, {slotInstance(4), slotInstance(9), slotInstance(3), slotInstance(0), twin});
    const Paths expected = allPaths({{inSlotPath(4, bridgePath(4, 4, 0))}, associations(), associationsOf(twin.path)});
    EXPECT_THAT(makeAll(true), ElementsAreArray(expected));
    EXPECT_THAT(makeAll(false), ElementsAreArray(expected));
    EXPECT_THAT(callsOf("bft.enumerateInstances"), ElementsAre(kSlotClass));
}

TEST_F(DeviceInSlot, LogsEverySlotAndTheIntanceLineTwice) {
    answer(kSlotClass, {slotInstance(3), slotInstance(0)});
    makeAll(true);
    EXPECT_THAT(log(), ElementsAreArray(allLines({walkingLines(), slotLines(3), noMatchLines(0, 3),
                                                  pathDeliveredLines(3), pathDeliveredLines(3), pathDeliveredLines(3),
                                                  noMatchLines(4, 3), slotLines(0), noNextInstanceLines()})));
}

TEST_F(DeviceInSlot, NumberIsReadInEightBitsWhenEverythingIsAssociated) {
    answer(kSlotClass, {numbered(3, Value::uint(CMPI_uint16, 259)), numbered(4, Value::uint(CMPI_uint16, 256))});
    EXPECT_THAT(makeAll(true), ElementsAreArray(associations()));
}

TEST_F(DeviceInSlot, SlotsThatCannotBeEnumeratedAreLogged) {
    answerNoEnumeration(kSlotClass);
    EXPECT_THAT(makeAll(false), IsEmpty());
    EXPECT_THAT(log(),
                ElementsAreArray(allLines({startLines(), makeLine("was not able to get instances of system slot")})));
}

TEST_F(DeviceInSlot, MissingClassPathEndsTheRoutineBehindItsLogLine) {
    manager.failAt("eft.newObjectPath", 1);
    makeAll(false);
    EXPECT_THAT(log(), ElementsAreArray(allLines({makeLine("int the routine"), makeLine("got the path")})));
    EXPECT_THAT(callsOf("bft.enumerateInstances"), IsEmpty());
}

TEST_F(DeviceInSlot, SlotWhoseNumberThrowsCountsAsNumberZero) {
    answer(kSlotClass, {slotInstance(3)});
    for (const bool standard : {true, false}) {
        manager.throwAt("instance.getProperty", 1, standard);
        EXPECT_THAT(makeAll(true), IsEmpty());
        EXPECT_THAT(log(), ElementsAreArray(
                               allLines({walkingLines(), slotLines(0, uint8CaughtLines()), noNextInstanceLines()})));
    }
}

TEST_F(DeviceInSlot, AssociatingAllSlotsEndsWithALogLineAtAnException) {
    const auto first = [](Lines lines, std::size_t count) {
        lines.resize(count);
        return lines;
    };
    // The calls that throw, and the lines up to there.
    const std::vector<std::pair<const char*, Lines>> calls = {
        {"bft.enumerateInstances", first(startLines(), 4)},
        {"enumeration.hasNext", allLines({walkingLines(), first(nextInstanceLines(), 2)})},
        {"enumeration.getNext", allLines({walkingLines(), first(nextInstanceLines(), 3)})},
        {"instance.getObjectPath", allLines({walkingLines(), nextInstanceLines(), makeLine("got next intance")})},
        {"result.returnObjectPath",
         allLines({walkingLines(), slotLines(3), noMatchLines(0, 3), pathDeliveredLines(3)})}};
    answer(kSlotClass, {slotInstance(3)});
    for (const auto& [function, lines] : calls) {
        for (const bool standard : {true, false}) {
            SCOPED_TRACE(function);
            manager.throwAt(function, 1, standard);
            EXPECT_NO_THROW(makeAll(true));
            EXPECT_TRUE(manager.faultStruck());
            EXPECT_THAT(log(), ElementsAreArray(allLines({lines, makeLine("system slots failed")})));
            EXPECT_THAT(answered(), IsEmpty());
            manager.clearFaults();
        }
    }
}

// --- the associations of one slot, asked for by its path ---

Lines referenceStartLines(unsigned number) {
    return allLines({fromSlotLine("in the routine routine"), fromSlotLine("not creating path"),
                     fromSlotLine(fmt::format("not creating path for slotnum [{}]", number))});
}

TEST_F(DeviceInSlot, ReferencesOfTwoSlotsWithOneNumberAreThoseOfEachByThePathThatTheObjectManagerGives) {
    const Instance twin = numbered(103, Value::uint(CMPI_uint16, 3));
    answer(kSlotClass, {slotInstance(3), slotInstance(4), twin});
    for (const bool namesOnly : {true, false}) {
        EXPECT_THAT(referencesOf(slotPath(3), namesOnly),
                    ElementsAreArray(allPaths({associations(), associationsOf(twin.path)})));
    }
}

TEST_F(DeviceInSlot, ReferencesOfNoPathOnlyLogThatTheRoutineRan) {
    const auto info = scan();
    info->GetAssocRefFromSlotInstances(handle(), context(), result(), nullptr, true);
    EXPECT_THAT(log(),
                ElementsAreArray(allLines({fromSlotLine("in the routine routine"), fromSlotLine("leaving routine")})));
    EXPECT_THAT(manager.calls(), IsEmpty());
}

TEST_F(DeviceInSlot, ReferencesOfASlotReadNumbersInSixteenBits) {
    answer(kSlotClass, {numbered(3, Value::uint(CMPI_uint16, 259))});
    EXPECT_THAT(referencesOf(slotPath(3), true), IsEmpty());
    EXPECT_THAT(log(), Contains("GetSlotRefFromDeviceAssocInstances got slot number of 259"));
}

TEST_F(DeviceInSlot, SlotWithoutAReadableNumberCountsAsNumberZero) {
    answer(kSlotClass, {numbered(7, Value::nothing(CMPI_uint16)), numbered(8, Value::string("3"))});
    EXPECT_THAT(referencesOf(slotPath(3), true), IsEmpty());
    EXPECT_THAT(referencesOf(slotPath(0), true),
                ElementsAre(inSlotPath(7, devicePath(0, 0, 0)), inSlotPath(8, devicePath(0, 0, 0))));
}

// --- the functions in slots ---

TEST_F(DeviceInSlot, FunctionsOfAllSlotsComeSlotBySlotTwinsIncludedAndEverySlotIsLogged) {
    answer(kSlotClass, {slotInstance(9), slotInstance(4), slotInstance(4)});
    for (const bool namesOnly : {true, false}) {
        EXPECT_THAT(functionsOfAllSlots(namesOnly), ElementsAre(bridgePath(4, 4, 0), bridgePath(4, 4, 0)));
        EXPECT_THAT(log(), ElementsAreArray(allLines(
                               {fromSlotLine("in the routine routine"), fromSlotLine("creating path"),
                                fromSlotReadLines(9), fromSlotReadLines(4), bridgeInSlotLines(4), fromSlotReadLines(4),
                                bridgeInSlotLines(4), noNextInstanceLines(), fromSlotLine("leaving routine")})));
    }
}

TEST_F(DeviceInSlot, SlotNumberZeroIsAmongAllSlotsAndNumbersAreReadInSixteenBits) {
    answer(kSlotClass,
           {slotInstance(0), numbered(7, Value::nothing(CMPI_uint16)), numbered(3, Value::uint(CMPI_uint16, 259))});
    EXPECT_THAT(functionsOfAllSlots(true), ElementsAre(devicePath(0, 0, 0), devicePath(0, 0, 0)));
}

TEST_F(DeviceInSlot, FunctionsOfAllSlotsAreNoneWithoutAnEnumeration) {
    answerNoEnumeration(kSlotClass);
    EXPECT_THAT(functionsOfAllSlots(true), IsEmpty());
    EXPECT_THAT(log(), ElementsAreArray(allLines({fromSlotLine("in the routine routine"), fromSlotLine("creating path"),
                                                  noEnumerationLines(), fromSlotLine("leaving routine")})));
}

TEST_F(DeviceInSlot, ExceptionsInTheWalkOverSlotsEndItAndAreLoggedWhereAllSlotsAreAskedFor) {
    answer(kSlotClass, {slotInstance(3)});
    for (const char* function :
         {"eft.newObjectPath", "bft.enumerateInstances", "enumeration.hasNext", "enumeration.getNext",
          "instance.getObjectPath", "instance.getProperty", "result.returnObjectPath"}) {
        for (const bool standard : {true, false}) {
            for (const bool all : {true, false}) {
                SCOPED_TRACE(function);
                manager.throwAt(function, 1, standard);
                EXPECT_NO_THROW(all ? functionsOfAllSlots(true) : referencesOf(slotPath(3), true));
                EXPECT_TRUE(manager.faultStruck());
                EXPECT_THAT(log(), Contains("GetDeviceFromSlotAssocInstances system slots failed").Times(all ? 1 : 0));
                EXPECT_EQ(log().back(), "GetDeviceFromSlotAssocInstances leaving routine");
                EXPECT_THAT(answered(), IsEmpty());
                manager.clearFaults();
            }
        }
    }
}

// --- the number in a slot's tag ---

/** A tag, and the number that is read from it; none where it is too short for one. */
struct Tag {
    const char* what;
    Value text;
    std::optional<unsigned> number;
};

class TagTest : public DeviceInSlot, public testing::WithParamInterface<Tag> {};

TEST_P(TagTest, IsReadFromItsTwelfthCharacterOn) {
    const Tag& tag = GetParam();
    Lines expected = allLines({fromSlotLine("in the routine routine"), fromSlotLine("not creating path")});
    if (tag.number) {
        expected = referenceStartLines(*tag.number);
        if (*tag.number == 4) expected = allLines({expected, bridgeInSlotLines(4)});
    }
    functionsOf(taggedPath(tag.text), true);
    EXPECT_THAT(log(), ElementsAreArray(allLines({expected, fromSlotLine("leaving routine")})));
    EXPECT_EQ(answered().size(), tag.number == 4U ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(OfEveryForm, TagTest,
                         Values(Tag{"AsPublished", Value::string("System Slot 4"), 4U},
                                Tag{"TwoDigits", Value::string("System Slot 14"), 14U},
                                Tag{"TwelveCharacters", Value::string("System Slot "), std::nullopt},
                                Tag{"TwelveCharactersOfDigits", Value::string("444444444444"), std::nullopt},
                                Tag{"ThirteenCharactersOfDigits", Value::string("1111111111114"), 4U},
                                Tag{"Short", Value::string("4"), std::nullopt},
                                Tag{"Empty", Value::string(""), std::nullopt},
                                Tag{"OtherTextBeforeTheNumber", Value::string("Another slot4"), 4U},
                                Tag{"OtherTextBehindTheNumber", Value::string("System Slot 4, upper"), 4U},
                                Tag{"AnotherNumberBehind", Value::string("System Slot 4 3"), 4U},
                                Tag{"BlankBeforeTheNumber", Value::string("System Slot  4"), 4U},
                                Tag{"SixteenBitsAreKept", Value::string("System Slot 65540"), 4U},
                                Tag{"Negative", Value::string("System Slot -1"), 65535U},
                                Tag{"LowerCaseWords", Value::string("system slot 4"), 4U},
                                Tag{"Null", Value::nothing(CMPI_string), std::nullopt},
                                Tag{"Integer", Value::uint(CMPI_uint64, 4), std::nullopt}),
                         CaseName{});

TEST_F(DeviceInSlot, TagWithoutADigitNamesSlotNumberZero) {
    EXPECT_THAT(functionsOf(taggedPath(Value::string("System Slot four")), true), ElementsAre(devicePath(0, 0, 0)));
    EXPECT_THAT(log(), ElementsAreArray(
                           allLines({referenceStartLines(0), deviceInSlotLines(0), fromSlotLine("leaving routine")})));
}

TEST_F(DeviceInSlot, ReferencesTooNeedATagOfMoreThanTwelveCharacters) {
    answer(kSlotClass, {slotInstance(3), slotInstance(0)});
    EXPECT_THAT(referencesOf(taggedPath(Value::string("System Slot ")), true), IsEmpty());
    EXPECT_THAT(log(),
                ElementsAreArray(allLines({fromSlotLine("in the routine routine"), fromSlotLine("not creating path"),
                                           fromSlotLine("leaving routine")})));
    EXPECT_THAT(referencesOf(taggedPath(Value::string("XXXXXXXXXXXX3")), true), ElementsAreArray(associations()));
}

}  // namespace
