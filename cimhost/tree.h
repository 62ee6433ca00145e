#ifndef PCIINFO_CIMHOST_TREE_H
#define PCIINFO_CIMHOST_TREE_H

#include <string>
#include <vector>

#include "cimhost/formats.h"
#include "cimhost/inventory.h"

namespace cimhost {

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
