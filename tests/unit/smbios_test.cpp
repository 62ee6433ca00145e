// The walk over SMBIOS structures and tables, good ones and bad ones, against its rule.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>

#include "ipmi/IpmiDataStore.h"
#include "slots/tslotinfo.h"
#include "tests/emulator/datastore.h"
#include "tests/unit/inventory.h"

namespace {

using datastore::joined;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testsupport::Bytes;
using testsupport::SmbiosBuilder;
using tPCIInfo::find_string;
using tPCIInfo::get_next_struct_address;
using tPCIInfo::get_string_number;

constexpr std::size_t kArea = 65536;
constexpr std::size_t kFirst = 31;  // where the structures begin
constexpr std::uint8_t kSlotType = 9;

/** Bytes in memory of their exact size, so that a checker sees every step beside them. */
class Memory {
 public:
    explicit Memory(const Bytes& bytes) : size_(bytes.size()), bytes_(new std::uint8_t[bytes.size()]) {
        std::copy(bytes.begin(), bytes.end(), bytes_.get());
    }
    const std::uint8_t* begin() const { return bytes_.get(); }
    const std::uint8_t* end() const { return bytes_.get() + size_; }

    std::optional<std::size_t> next() const {
        const std::uint8_t* found = get_next_struct_address(begin(), end());
        if (found == nullptr) return std::nullopt;
        return static_cast<std::size_t>(found - begin());
    }
    int strings() const { return get_string_number(begin(), end()); }
    std::optional<std::size_t> placeOf(std::uint8_t number) const {
        const char* found = find_string(begin(), number, end());
        if (found == nullptr) return std::nullopt;
        return static_cast<std::size_t>(reinterpret_cast<const std::uint8_t*>(found) - begin());
    }
    std::optional<std::string> string(std::uint8_t number) const {
        const char* found = find_string(begin(), number, end());
        if (found == nullptr) return std::nullopt;
        return std::string(found);
    }

 private:
    std::size_t size_;
    std::unique_ptr<std::uint8_t[]> bytes_;
};

/** A structure of type 1: a formatted area of that length, 4 at least, then the text as it stands. */
Bytes structure(std::uint8_t length, const std::string& strings) {
    Bytes formatted(length, 0xEE);
    formatted[0] = 1;
    formatted[1] = length;
    return joined(formatted, Bytes(strings.begin(), strings.end()));
}

std::string text(const char* literal, std::size_t length) {
    return std::string(literal, length);
}

// --- one structure ---

TEST(SmbiosStructure, WithoutStringsIsItsFormattedAreaAndTwoZeroBytes) {
    for (const std::size_t length : {4U, 5U, 13U, 17U, 254U, 255U}) {
        const Memory memory(structure(static_cast<std::uint8_t>(length), text("\0\0\x7F\x01", 4)));
        EXPECT_EQ(memory.next(), length + 2);
        EXPECT_EQ(memory.strings(), 0);
        for (unsigned number = 0; number < 256; ++number) {
            EXPECT_EQ(memory.string(static_cast<std::uint8_t>(number)), std::nullopt);
        }
    }
}

TEST(SmbiosStructure, StringsAreNumberedFromOneAnEmptyFirstOneBeforeOthersIncluded) {
    const std::vector<std::vector<std::string>> sets{{"Slot 1"}, {"A", "B"}, {"", "B"}};
    for (const std::uint8_t length : {std::uint8_t{4}, std::uint8_t{13}}) {
        for (const std::vector<std::string>& set : sets) {
            std::string strings;
            for (const std::string& string : set) strings += string + text("\0", 1);
            const Memory memory(structure(length, strings + text("\0", 1)));
            std::uint8_t number = 0;
            EXPECT_EQ(memory.string(number), std::nullopt);
            for (const std::string& string : set) EXPECT_EQ(memory.string(++number), string);
            EXPECT_EQ(memory.string(++number), std::nullopt);
            EXPECT_EQ(memory.strings(), static_cast<int>(set.size()));
            EXPECT_EQ(memory.next(), length + strings.size() + 1);
        }
    }
}

TEST(SmbiosStructure, MoreThan255StringsAreCounted) {
    std::string strings;
    for (int i = 1; i <= 300; ++i) strings += std::to_string(i) + text("\0", 1);
    const Memory memory(structure(4, strings + text("\0", 1)));
    EXPECT_EQ(memory.strings(), 300);
    for (unsigned number = 1; number < 256; ++number) {
        EXPECT_EQ(memory.string(static_cast<std::uint8_t>(number)), std::to_string(number));
    }
    EXPECT_EQ(memory.string(0), std::nullopt);
}

TEST(SmbiosStructure, ALengthThatIsTooSmallIsTakenAsItIs) {
    // The string set begins inside the header: at byte 0, 1, 2 and 3.
    EXPECT_EQ(Memory({9, 0, 0, 5, 0, 0}).next(), 3U);
    EXPECT_EQ(Memory({9, 0, 0, 5, 0, 0}).strings(), 1);
    EXPECT_EQ(Memory({9, 1, 0, 0, 0}).next(), 4U);
    EXPECT_EQ(Memory({9, 2, 0, 0, 0}).next(), 4U);
    EXPECT_EQ(Memory({9, 3, 7, 0, 0, 0}).next(), 5U);
    EXPECT_EQ(Memory({0, 0, 7}).next(), 2U);
}

TEST(SmbiosStructure, TheLastOneMayEndWhereTheStorageEnds) {
    for (const std::string& strings : {text("\0\0", 2), text("AB\0\0", 4), text("A\0B\0\0", 5)}) {
        const Bytes whole = structure(6, strings);
        EXPECT_EQ(Memory(whole).next(), whole.size());
        const Bytes cut(whole.begin(), whole.end() - 1);
        EXPECT_EQ(Memory(cut).next(), std::nullopt);
    }
}

TEST(SmbiosStructure, WithoutAnEndIsNotReadBeyondTheStorage) {
    const std::vector<Bytes> tails{
        {},
        {9},
        {9, 0},
        {9, 4},
        {9, 255},
        {9, 4, 0},
        {9, 4, 0, 0},
        {0},
        {9, 4, 0, 0, 0},
        {9, 4, 0, 0, 1},
        {9, 1, 1, 0},
        {9, 3, 0, 0},
        Bytes(256, 0xFF),
        joined({9, 255}, Bytes(253)),
        joined({9, 255}, Bytes(254)),
        joined({9, 4, 0, 0}, Bytes(1000, 'x')),
    };
    for (const Bytes& tail : tails) {
        const Memory memory(tail);
        EXPECT_EQ(memory.next(), std::nullopt) << tail.size();
        EXPECT_GE(memory.strings(), 0);
        for (const unsigned number : {0U, 1U, 2U, 255U}) {
            const auto place = memory.placeOf(static_cast<std::uint8_t>(number));
            EXPECT_LT(place.value_or(0), std::max<std::size_t>(tail.size(), 1));
        }
    }
}

// --- the rule once more, over bytes with zeros after them ---

/** Bytes, and so many zeros after them that no step over one structure leaves them. */
struct Guarded {
    explicit Guarded(Bytes content) : size(content.size()), bytes(std::move(content)) { bytes.resize(size + 1024, 0); }

    bool pairAt(std::size_t place) const { return bytes[place] == 0 && bytes[place + 1] == 0; }
    std::size_t setOf(std::size_t place) const { return place + bytes[place + 1]; }
    /** Where the set's two zero bytes stand; there are some after the content at the latest. */
    std::size_t endOfSet(std::size_t place) const {
        std::size_t end = setOf(place);
        while (!pairAt(end)) ++end;
        return end;
    }
    std::optional<std::size_t> next(std::size_t place) const {
        const std::size_t end = endOfSet(place) + 2;
        if (end > size) return std::nullopt;
        return end;
    }
    int strings(std::size_t place) const {
        if (pairAt(setOf(place))) return 0;
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(setOf(place));
        const auto last = bytes.begin() + static_cast<std::ptrdiff_t>(endOfSet(place));
        return 1 + static_cast<int>(std::count(first, last, 0));
    }
    std::optional<std::size_t> placeOf(std::size_t place, unsigned number) const {
        std::size_t found = setOf(place);
        if (number == 0 || number > static_cast<unsigned>(strings(place))) return std::nullopt;
        for (unsigned passed = 1; passed < number; ++passed) {
            while (bytes[found] != 0) ++found;
            ++found;
        }
        return found;
    }

    std::size_t size;
    Bytes bytes;
};

class Random {
 public:
    explicit Random(unsigned seed) : engine_(seed) {}
    unsigned below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }
    std::uint8_t oneOf(const Bytes& choice) { return choice[below(static_cast<unsigned>(choice.size()))]; }
    Bytes bytes(std::size_t count, const Bytes& choice) {
        Bytes drawn(count);
        for (std::uint8_t& byte : drawn) byte = oneOf(choice);
        return drawn;
    }

 private:
    std::mt19937 engine_;
};

TEST(SmbiosStructure, RandomStructuresAreReadByTheRule) {
    Random random(20240607);
    unsigned ended = 0;
    for (int round = 0; round < 20000; ++round) {
        const Bytes bytes = random.bytes(2 + random.below(40), {0, 0, 0, 1, 2, 4, 9, 13, 'A', 0xFF});
        const Memory memory(bytes);
        const Guarded rule(bytes);
        ASSERT_EQ(memory.next(), rule.next(0));
        if (!rule.next(0)) continue;  // such a structure is not walked over; that it is not left is seen elsewhere
        ++ended;
        ASSERT_EQ(memory.strings(), rule.strings(0));
        for (const unsigned number : {0U, 1U, 2U, 3U, 4U, 9U, 255U}) {
            ASSERT_EQ(memory.placeOf(static_cast<std::uint8_t>(number)), rule.placeOf(0, number));
        }
    }
    EXPECT_GT(ended, 1000U);
    EXPECT_LT(ended, 19000U);
}

// --- whole tables ---

/** A slot in words: number, type, width, usage, length, and the text with the designation. */
std::string words(const broker::Instance& slot) {
    std::string all;
    for (const char* name : {"Number", "ConnectorType", "MaxDataWidth", "CurrentUsage", "SlotLength", "SlotAllInfo"}) {
        all += toString(*slot.property(name)) + "|";
    }
    return all;
}

struct ReferenceSlot {
    unsigned number = 0;
    std::string words;
};

/** The slots of a table by the rule: one structure fewer than the count, none that leaves the area. */
std::vector<ReferenceSlot> slotsByTheRule(Bytes table) {
    table.resize(kArea, 0);
    const Guarded rule(table);
    std::vector<ReferenceSlot> slots;
    std::size_t place = kFirst;
    for (unsigned left = table[28] + 256U * table[29]; left > 1; --left) {
        const auto next = rule.next(place);
        if (!next) break;
        if (rule.bytes[place] == kSlotType && place + 13 <= kArea) {
            const std::uint8_t* record = &rule.bytes[place];
            ReferenceSlot slot;
            slot.number = record[9] | record[10];
            for (const int offset : {5, 6, 7, 8}) slot.words += std::to_string(record[offset]) + "|";
            slot.words = std::to_string(slot.number) + "|" + slot.words;
            const auto first = rule.placeOf(place, 1);
            if (first) slot.words += std::string(reinterpret_cast<const char*>(&rule.bytes[*first])) + ", ";
            slot.words += "System Slot " + std::to_string(slot.number) + "|";
            slots.push_back(slot);
        }
        place = *next;
    }
    return slots;
}

/** A table with that count and those bytes from the first structure on. */
Bytes tableOf(unsigned count, const Bytes& structures) {
    Bytes table(kFirst, 0);
    table[28] = static_cast<std::uint8_t>(count);
    table[29] = static_cast<std::uint8_t>(count >> 8);
    return joined(table, structures);
}

Bytes slotRecord(std::uint8_t number, const std::string& strings = text("\0\0", 2)) {
    return joined({kSlotType, 13, 0, 0, 1, 6, 5, 3, 4, number, 0, 0, 0}, Bytes(strings.begin(), strings.end()));
}

/** A structure of that many bytes, one long string in it. */
Bytes filler(std::size_t size) {
    Bytes bytes = joined({1, 4, 0, 0}, Bytes(size - 6, 'x'));
    bytes.resize(size, 0);
    return bytes;
}

class SmbiosTableTest : public testsupport::InventoryTest {
 protected:
    SmbiosTableTest() {
        manager.recordCalls(false);
        start();
    }

    void setTable(const Bytes& table) { host->bmc().putFile("smbios-table", table); }

    std::vector<std::string> slotsOf(const Bytes& table) {
        setTable(table);
        forget();
        tPCIInfo::TSlotInfo().GetSlotInfo(handle(), result(), false);
        std::vector<std::string> slots;
        for (const broker::Instance& instance : scope->response().instances) slots.push_back(words(instance));
        return slots;
    }
    unsigned highestOf(const Bytes& table) {
        setTable(table);
        return tPCIInfo::TSlotInfo().GetMaxSystemSlot();
    }
    std::vector<unsigned> numbersOf(const Bytes& table) {
        std::vector<unsigned> numbers;
        for (const std::string& slot : slotsOf(table)) numbers.push_back(static_cast<unsigned>(std::stoul(slot)));
        return numbers;
    }

    void expectTheRule(const Bytes& table) {
        const std::vector<ReferenceSlot> expected = slotsByTheRule(table);
        std::vector<std::string> slots;
        unsigned highest = 0;
        for (const ReferenceSlot& slot : expected) {
            slots.push_back(slot.words);
            highest = std::max(highest, slot.number);
        }
        EXPECT_EQ(slotsOf(table), slots);
        EXPECT_EQ(highestOf(table), highest);
    }

    /** draw(seed, random) is a table, of each seed from 1 on; together they have enough slots to tell something. */
    template <typename Draw>
    void expectTheRuleOfRandomTables(unsigned seeds, Draw draw) {
        std::size_t slots = 0;
        for (unsigned seed = 1; seed <= seeds; ++seed) {
            SCOPED_TRACE(seed);
            Random random(seed);
            const Bytes table = draw(seed, random);
            slots += slotsByTheRule(table).size();
            expectTheRule(table);
        }
        EXPECT_GT(slots, 1000U);
    }
};

TEST_F(SmbiosTableTest, OneStructureFewerThanTheCountOfSixteenBitsIsVisitedAndTheZerosAfterThemAreNone) {
    Bytes slots;
    std::vector<unsigned> numbers;
    for (unsigned i = 0; i < 300; ++i) {
        numbers.push_back(1 + i % 255);
        slots = joined(slots, slotRecord(static_cast<std::uint8_t>(numbers.back())));
    }
    for (const unsigned count : {0U, 1U, 2U, 5U, 0x0100U, 0x0101U, 301U, 302U, 65535U}) {
        SCOPED_TRACE(count);
        const unsigned visited = std::min(count > 0 ? count - 1 : 0, 300U);
        const std::vector<unsigned> expected(numbers.begin(), numbers.begin() + visited);
        EXPECT_EQ(numbersOf(tableOf(count, slots)), expected);
        EXPECT_EQ(highestOf(tableOf(count, slots)), std::min(visited, 255U));
    }
}

TEST_F(SmbiosTableTest, TheLastStructureIsNeverVisitedEvenIfItIsASlot) {
    const Bytes table = SmbiosBuilder()
                            .addRaw(slotRecord(1))
                            .addStructure(4, {1, 2, 3}, {"cpu"})
                            .addRaw(slotRecord(9))
                            .withoutEndOfTable()
                            .bytes();
    EXPECT_THAT(numbersOf(table), ElementsAre(1));
    EXPECT_EQ(highestOf(table), 1U);
}

TEST_F(SmbiosTableTest, TheEndOfTableStructureIsNotLookedFor) {
    const Bytes table =
        SmbiosBuilder().addRaw(slotRecord(1)).addStructure(127).addRaw(slotRecord(2)).addStructure(0).bytes();
    EXPECT_THAT(numbersOf(table), ElementsAre(1, 2));
}

TEST_F(SmbiosTableTest, OfTheEntryPointOnlyTheCountIsUsed) {
    Bytes table = tableOf(3, joined(slotRecord(1), slotRecord(2)));
    for (std::size_t i = 0; i < kFirst; ++i) {
        if (i != 28 && i != 29) table[i] = 0xFF;
    }
    EXPECT_THAT(numbersOf(table), ElementsAre(1, 2));
}

TEST_F(SmbiosTableTest, AnEmptyFileHasNoSlots) {
    EXPECT_THAT(numbersOf({}), IsEmpty());
    EXPECT_EQ(highestOf({}), 0U);
}

// --- the end of the area ---

TEST_F(SmbiosTableTest, ASlotThatEndsWithTheAreaIsVisited) {
    const Bytes slot = slotRecord(7, text("END\0\0", 5));
    const Bytes table = tableOf(3, joined(filler(kArea - kFirst - slot.size()), slot));
    ASSERT_EQ(table.size(), kArea);
    EXPECT_THAT(slotsOf(table), ElementsAre("7|6|5|3|4|END, System Slot 7|"));
    EXPECT_EQ(highestOf(table), 7U);
}

TEST_F(SmbiosTableTest, ASlotWhoseStringsRunPastTheAreaEndsTheWalk) {
    const Bytes slot = slotRecord(7, text("END\0", 4));
    const Bytes front = joined(slotRecord(1), filler(kArea - kFirst - 15 - slot.size()));
    const Bytes table = tableOf(65535, joined(front, slot));
    ASSERT_EQ(table.size(), kArea);
    EXPECT_THAT(numbersOf(table), ElementsAre(1));
    EXPECT_EQ(highestOf(table), 1U);
}

TEST_F(SmbiosTableTest, ASlotWhoseFormattedAreaRunsPastTheAreaEndsTheWalk) {
    for (const std::size_t room : {13U, 14U, 100U, 256U}) {
        Bytes slot = slotRecord(7);
        slot[1] = 255;
        slot.resize(room, 0);
        const Bytes front = joined(slotRecord(1), filler(kArea - kFirst - 15 - slot.size()));
        EXPECT_THAT(numbersOf(tableOf(65535, joined(front, slot))), ElementsAre(1)) << room;
    }
}

TEST_F(SmbiosTableTest, ASlotRecordNeedsItsThirteenBytesInTheArea) {
    // A short length lets the walk go over the record, wherever its thirteen bytes end.
    const Bytes slot{kSlotType, 4, 0, 0, 0, 0, 5, 3, 4, 6, 1, 0, 0};
    for (std::size_t room = 6; room <= 13; ++room) {
        const Bytes record(slot.begin(), slot.begin() + static_cast<std::ptrdiff_t>(room));
        const Bytes front = joined(slotRecord(1), filler(kArea - kFirst - 15 - room));
        const Bytes table = tableOf(65535, joined(front, record));
        ASSERT_EQ(table.size(), kArea);
        EXPECT_EQ(numbersOf(table), room == 13 ? (std::vector<unsigned>{1, 7}) : std::vector<unsigned>{1}) << room;
        EXPECT_EQ(highestOf(table), room == 13 ? 7U : 1U);
    }
}

// --- tables against the rule ---

TEST_F(SmbiosTableTest, TablesOfOneByteOverAndOver) {
    for (const int byte : {0x00, 0x01, 0x04, 0x09, 0x0D, 0xFF}) {
        SCOPED_TRACE(byte);
        const Bytes table(kArea, static_cast<std::uint8_t>(byte));
        expectTheRule(table);
        EXPECT_THAT(numbersOf(table), IsEmpty());
        Bytes counted = table;
        counted[28] = counted[29] = 0xFF;
        expectTheRule(counted);
        EXPECT_THAT(numbersOf(counted), IsEmpty());
    }
}

TEST_F(SmbiosTableTest, SlotsOfEveryLength) {
    for (unsigned length = 0; length < 256; length += length < 16 ? 1 : 60) {
        SCOPED_TRACE(length);
        Bytes slot = slotRecord(7, text("one\0two\0\0", 9));
        slot[1] = static_cast<std::uint8_t>(length);
        Bytes slots;
        for (int i = 0; i < 5; ++i) slots = joined(slots, slot);
        expectTheRule(tableOf(65535, slots));
        EXPECT_THAT(numbersOf(tableOf(3, slots)), testing::Contains(7U));
    }
}

TEST_F(SmbiosTableTest, AsManySlotsAsTheAreaHolds) {
    Bytes slots;
    while (slots.size() + 15 <= kArea - kFirst) slots = joined(slots, slotRecord(255));
    const Bytes table = tableOf(65535, slots);
    expectTheRule(table);
    EXPECT_THAT(numbersOf(table), SizeIs((kArea - kFirst) / 15));
}

/** A structure that may lack any of what makes a good one. */
Bytes randomStructure(Random& random) {
    const std::uint8_t length = random.oneOf({0, 1, 2, 3, 4, 5, 12, 13, 13, 13, 17, 27, 255});
    Bytes bytes{random.oneOf({0, 1, 9, 9, 9, 127}), length};
    bytes = joined(bytes, random.bytes(random.below(4) == 0 ? random.below(20) : std::max(length, std::uint8_t{2}) - 2U,
                                       {0, 0, 1, 2, 3, 4, 5, 6, 9, 0x7F, 0x80, 0xFF}));
    for (unsigned strings = random.below(4); strings > 0; --strings) {
        bytes = joined(bytes, random.bytes(random.below(8), {'A', 'z', ' ', 1, 9, 0x80, 0xFF}));
        bytes.push_back(0);
    }
    return joined(bytes, Bytes(random.below(8) == 0 ? 0 : 1 + random.below(2)));
}

TEST_F(SmbiosTableTest, RandomTablesFollowTheRule) {
    expectTheRuleOfRandomTables(40, [](unsigned seed, Random& random) {
        Bytes structures;
        const std::size_t size = seed % 4 == 0 ? kArea : 200 + random.below(2000);
        while (structures.size() < size) structures = joined(structures, randomStructure(random));
        Bytes table = tableOf(seed % 3 == 0 ? random.below(40) : 65535, structures);
        table.resize(std::min(table.size(), kArea));
        return table;
    });
}

TEST_F(SmbiosTableTest, RandomBytesFollowTheRule) {
    expectTheRuleOfRandomTables(20, [](unsigned seed, Random& random) {
        const Bytes few{0, 0, 9, 4};
        return tableOf(65535, random.bytes(seed % 5 == 0 ? kArea - kFirst : 1500,
                                           seed % 2 == 0 ? few : Bytes{0, 9, 1, 'A', 13, 0xFF, 0}));
    });
}

}  // namespace
