#ifndef PCIINFO_CIMHOST_TREE_H
#define PCIINFO_CIMHOST_TREE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cimhost/formats.h"
#include "cimhost/question.h"

namespace cimhost {

// --- what sits where: inventory.cpp ---

/** Names of properties and their values as they are shown, codes with their texts. */
using PropertyTexts = std::vector<std::pair<std::string, std::string>>;

/** One PCI function, its properties as they are shown. Functions of different PCI domains may have one location. */
struct Function {
    std::string location;  // "00:1f.3"
    std::string className;
    std::string vendorDevice;  // "8086:a1c1"
    std::string classCode;     // base class and subclass, "06:01"
    std::string description;
    broker::ObjectPath path;
    PropertyTexts properties = {};  // all but the keys that each object of the host has
};

using Functions = std::vector<Function>;

struct Slot {
    std::optional<std::uint64_t> number;
    std::string designation;
    std::string usage;
    std::string width;
    Functions functions;
    std::string type = {};
    PropertyTexts properties = {};  // as a function's
};

/** What sits where. Functions are in the order of their locations, slots in that of the provider. */
struct Inventory {
    std::string host;
    PropertyTexts board = {};  // its properties, as a function's
    Functions onBoard;
    std::vector<Slot> slots;
    Functions elsewhere;            // those whose device number no slot has, though not above all of them
    std::size_t functionCount = 0;  // those of slots with the same number count once
    unsigned readings = 0;          // how often the provider had to read the SMBIOS table
    // The first answer that had an error status, and what was asked for; what the others brought is here all the same.
    CMPIrc status = CMPI_RC_OK;
    std::string subject;
    // False: the BMC gave the table for some of the requests and not for others, so places are wrong.
    bool consistent = true;
    std::string refusal = {};  // as in Answer; where it is not consistent, a sentence that says so
};

constexpr unsigned kReadingsOfInventory = 3;  // of the SMBIOS table: for devices, for bridges and for slots

/**
 * Asks for the board, the functions and the slots. Where a function is, is taken from its UINumber and Number as the
 * provider's association classes do, whose instances would cost four more readings of the SMBIOS table. Slots that have
 * one number have the same functions. A class whose answer had no table although another's had one is asked once more.
 */
Inventory takeInventory(const Ask& ask);

// --- how it is written: treejson.cpp, tree.cpp ---

/** What stands in place of the slots where there are none: a BMC that keeps silent is no error to the provider. */
std::string reasonForNoSlots(CMPIrc status);

/** The tree in that format, as the functions below have it; there is none in MOF. */
std::string formatted(const Inventory& inventory, Format format, const TableOptions& options);

/**
 * The host, below it the board and each slot, below these their functions; the status is the last line, with how often
 * the SMBIOS table was read. Lines longer than the width are cut on a terminal and go on below elsewhere.
 *
 * The functions of one device share a line, "00:1f.0,2,4": the kinds that they are of, then their names, each told
 * once. Devices of one bus that follow each other and read the same share a line too, "16:08.0..0a.1". "3×" tells how
 * many functions a line stands for; where PCI domains have functions at the same location the line says so, and
 * at which unless at all of them. In full, every function has a line of its own. On a narrow terminal the slots' width
 * and usage are left out, which is told above the status.
 */
std::string treeText(const Inventory& inventory, const TableOptions& options);

/**
 * One JSON object: "status", "statusCode", "host", "readings", "board" with its "functions", "slots", an array of
 * {number (null when not known), designation, usage, width, functions}, and "elsewhere" with "functions" that have no
 * place. A function has "location", "class", "ids" (vendor and device), "classCode", "description" and "path".
 * docs/cimhost.schema.json describes it.
 */
Json treeDocument(const Inventory& inventory);

/** A record for each function, and for each slot without one, with what is known of its place. */
std::vector<Json> treeRecords(const Inventory& inventory);

}  // namespace cimhost

#endif
