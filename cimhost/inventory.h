#ifndef PCIINFO_CIMHOST_INVENTORY_H
#define PCIINFO_CIMHOST_INVENTORY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cimhost/question.h"

namespace cimhost {

/** One PCI function, its properties as they are shown. Functions of different PCI domains may have one location. */
struct Function {
    std::string location;  // "00:1f.3"
    std::string className;
    std::string vendorDevice;  // "8086:a1c1"
    std::string classCode;     // base class and subclass, "06:01"
    std::string description;
    broker::ObjectPath path;
};

using Functions = std::vector<Function>;

struct Slot {
    std::optional<std::uint64_t> number;
    std::string designation;
    std::string usage;
    std::string width;
    Functions functions;
};

/** What sits where. Functions are in the order of their locations, slots in that of the provider. */
struct Inventory {
    std::string host;
    Functions onBoard;
    std::vector<Slot> slots;
    Functions elsewhere;            // those whose device number is no slot's, though not above all of them
    std::size_t functionCount = 0;  // those of slots with the same number count once
    unsigned readings = 0;          // how often the provider had to read the SMBIOS table
    // The first answer that had an error status, and what was asked for; what the others brought is here all the same.
    CMPIrc status = CMPI_RC_OK;
    std::string subject;
};

constexpr unsigned kReadingsOfInventory = 3;  // of the SMBIOS table: for devices, for bridges and for slots

/** Puts a question to a provider. */
using Ask = std::function<Answer(const Question&)>;

/**
 * Asks for the board, the functions and the slots. Where a function is, is taken from its UINumber and Number as the
 * provider's association classes do, whose instances would cost four more readings of the SMBIOS table. Slots that have
 * one number have the same functions.
 */
Inventory takeInventory(const Ask& ask);

}  // namespace cimhost

#endif
