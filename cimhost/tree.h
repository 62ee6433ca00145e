#ifndef PCIINFO_CIMHOST_TREE_H
#define PCIINFO_CIMHOST_TREE_H

#include <string>

#include "cimhost/formatter.h"
#include "cimhost/inventory.h"

namespace cimhost {

/**
 * The host, below it the board and each slot, below these their functions; the status is the last line. Lines are cut
 * to the width.
 *
 * The functions of one device share a line, "00:1f.0,2,4": the kinds that they are of, then their names, each told
 * once. Devices of one bus that follow each other and read the same share a line too, "16:08.0..0a.1". "3×" tells how
 * many functions a line stands for. In full, every function has a line of its own.
 */
std::string treeText(const Inventory& inventory, const TableOptions& options);

/**
 * One JSON object: "status", "statusCode", "host", "board" with its "functions", "slots", an array of {number (null
 * when not known), designation, usage, width, functions}, and "elsewhere" with "functions" that have no place. A
 * function has "location", "class", "ids" (vendor and device), "classCode", "description" and "path".
 */
std::string treeJson(const Inventory& inventory);

}  // namespace cimhost

#endif
