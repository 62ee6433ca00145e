// The SMBIOS storage: what the BMC keeps as "smbios-table" is the input. Slots have to be those of a walk written anew.
#include <cstring>
#include <string>
#include <vector>

#include "host.h"
#include "ipmi/IpmiDataStore.h"
#include "provider.h"
#include "slots/tslotinfo.h"

namespace {

using fuzz::require;

constexpr std::size_t kCountHigh = 29;  // the high byte of the number of structures

/** The storage as the product has it: the input, then zeros. */
class Storage {
 public:
    explicit Storage(const std::string& content, std::size_t size) : content_(content), size_(size) {}

    std::size_t size() const { return size_; }
    unsigned operator[](std::size_t place) const {
        require(place < size_, "the walk stays in the storage");
        return place < content_.size() ? static_cast<unsigned char>(content_[place]) : 0;
    }

 private:
    const std::string& content_;
    std::size_t size_;
};

struct Structure {
    std::size_t begin = 0;
    std::size_t strings = 0;  // where its string set begins
    std::size_t end = 0;      // behind the two zeros
};

/** The structure that begins there; none where it is not whole. */
bool structureAt(const Storage& storage, std::size_t begin, Structure& found) {
    if (begin + 2 > storage.size()) return false;
    found.begin = begin;
    found.strings = begin + storage[begin + 1];
    for (std::size_t place = found.strings; place + 2 <= storage.size(); ++place) {
        if (storage[place] != 0 || storage[place + 1] != 0) continue;
        found.end = place + 2;
        return true;
    }
    return false;
}

struct Slot {
    unsigned number = 0;
    unsigned usage = 0;
    unsigned characteristics1 = 0;
    unsigned characteristics2 = 0;
    bool designated = false;
    std::string designation;
};

std::vector<Slot> slotsOf(const Storage& storage) {
    std::vector<Slot> slots;
    const unsigned count = storage[28] | storage[29] << 8;
    Structure structure;
    std::size_t begin = 31;
    for (unsigned number = 1; number < count; ++number, begin = structure.end) {
        if (!structureAt(storage, begin, structure)) break;
        if (storage[begin] != 9 || begin + 13 > storage.size()) continue;
        Slot slot;
        slot.number = storage[begin + 9] | storage[begin + 10];
        slot.usage = storage[begin + 7];
        slot.characteristics1 = storage[begin + 11];
        slot.characteristics2 = storage[begin + 12];
        slot.designated = structure.strings + 2 < structure.end;
        if (slot.designated)
            for (std::size_t place = structure.strings; storage[place] != 0; ++place)
                slot.designation += static_cast<char>(storage[place]);
        slots.push_back(slot);
    }
    return slots;
}

std::string tagOf(const Slot& slot) {
    return "System Slot " + std::to_string(slot.number);
}

void expectText(const broker::Instance& instance, const char* name, const std::string& text) {
    const broker::Value* value = instance.property(name);
    require(text.empty() ? value == nullptr : value != nullptr && *value == broker::Value::string(text),
            "a slot's texts are those in the table");
}

void expectNumber(const broker::Instance& instance, const char* name, unsigned number) {
    const broker::Value* value = instance.property(name);
    require(value != nullptr && *value == broker::Value::uint(CMPI_uint16, number),
            "a slot's numbers are those in the table");
}

void expectBoolean(const broker::Instance& instance, const char* name, bool truth) {
    const broker::Value* value = instance.property(name);
    require(value != nullptr && *value == broker::Value::boolean(truth), "a slot's bits are those in the table");
}

void expectSlots(const broker::Response& names, const broker::Response& instances, const std::vector<Slot>& slots) {
    require(names.paths.size() == slots.size() && instances.instances.size() == slots.size(),
            "there are as many slots as the table has");
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const Slot& slot = slots[i];
        const broker::Instance& instance = instances.instances[i];
        require(names.paths[i] == instance.path, "names are those of the instances");
        const broker::Value* tag = names.paths[i].key("Tag");
        require(tag != nullptr && *tag == broker::Value::string(tagOf(slot)), "the tag has the slot's number");
        expectNumber(instance, "Number", slot.number);
        expectNumber(instance, "CurrentUsage", slot.usage);
        // CMPI_chars: a designation is cut at the first zero byte already.
        const std::string designation = slot.designated ? slot.designation : tagOf(slot);
        expectText(instance, "SlotDesignation", designation);
        expectText(instance, "SlotAllInfo", slot.designated ? designation + ", " + tagOf(slot) : tagOf(slot));
        expectBoolean(instance, "PMESignal", (slot.characteristics1 & 1) != 0);
        expectBoolean(instance, "Shared", (slot.characteristics1 & 8) != 0);
        expectBoolean(instance, "SupportsHotPlug", (slot.characteristics2 & 2) != 0);
    }
}

/** The reading of structures, on storage that ends where the input does. */
void readStructures(const std::string& content) {
    const std::vector<std::uint8_t> exact(content.begin(), content.end());
    const Storage storage(content, content.size());
    const std::uint8_t* const begin = exact.data();
    const std::uint8_t* const end = begin + exact.size();
    const std::uint8_t* place = begin;
    for (unsigned walked = 0; place != nullptr && walked < 64; ++walked) {
        const auto offset = static_cast<std::size_t>(place - begin);
        Structure known;
        const bool whole = structureAt(storage, offset, known);
        const int strings = tPCIInfo::get_string_number(place, end);
        require(strings >= 0 && strings <= end - place, "strings are counted within the storage");
        int begun = 0;
        for (int number = 1; number <= std::min(strings + 1, 255); ++number) {
            const char* text = tPCIInfo::find_string(place, static_cast<std::uint8_t>(number), end);
            if (text == nullptr) break;
            require(reinterpret_cast<const std::uint8_t*>(text) + 1 < end, "a string begins within the storage");
            ++begun;
        }
        if (whole) require(begun == std::min(strings, 255), "each string that is counted is found");
        if (end - place >= 2)
            for (const int number : {0, 1, 2, 200}) tPCIInfo::TSlotInfo::GetString(number, place, begin, end);
        place = tPCIInfo::get_next_struct_address(place, end);
        require((place != nullptr) == whole, "a structure that is whole has a next one");
        require(place == nullptr || static_cast<std::size_t>(place - begin) == known.end, "the next one follows");
    }
}

/** Puts the structures so far behind that they reach the end of the area. */
std::string atTheEnd(const std::string& content) {
    constexpr std::size_t kHeader = 31;
    if (content.size() <= kHeader + 8) return content;
    const std::size_t gap = tPCIInfo::kFileArea - content.size() - 6;
    std::string moved = content.substr(0, kHeader);
    moved += std::string("\x01\x04\0\0", 4) + std::string(gap, 'x') + std::string(2, '\0');
    return moved + content.substr(kHeader);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::Input input(bytes, size);
    const unsigned option = input.byte();
    std::string content = input.rest();
    // Walks through thousands of zeros are slow, and seldom new.
    if (option < 0xFE && content.size() > kCountHigh) content[kCountHigh] = 0;
    readStructures(content);

    fuzz::Host& host = fuzz::Host::get();
    host.reset();
    host.endsEmpty = option != 0xFF;
    host.smbiosTable = option == 0xFF ? atTheEnd(content) : content;
    const broker::Response names = fuzz::ask(0, "QELTA_SystemSlot");
    const broker::Response instances = fuzz::ask(1, "QELTA_SystemSlot");
    fuzz::expectKeys(names);
    host.expectNothingOpen();
    require(host.openDevices == 0, "the device is closed after a transfer");
    expectSlots(names, instances, slotsOf(Storage(host.smbiosTable, tPCIInfo::kFileArea)));
    return 0;
}
