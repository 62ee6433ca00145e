#ifndef PCIINFO_CIMHOST_TABLEFORMAT_H
#define PCIINFO_CIMHOST_TABLEFORMAT_H

#include <string>
#include <vector>

#include "cimhost/formatter.h"
#include "cimhost/paint.h"

namespace cimhost {

/** Lines that matter less than a table: dim, and wrapped at the width. */
std::string secondary(const std::string& text, const TableOptions& options);

/** "left out: Rev, Number (a wider terminal shows them)", empty where nothing was. */
std::string leftOutNote(const std::vector<std::string>& columns, const std::string& remedy = "a wider terminal");

/**
 * Tables for people. Instances: one table for each class in the answer, a line for each instance; in full, and for a
 * class that has no overview, a table for each instance with name, type, key position and value of every property,
 * behind a code what it stands for. Names: a table of the keys in their order, those that are the same in all rows told
 * once above it; in full, the paths as they are written. The status is the last line. On a narrow terminal dispensable
 * columns are left out, which is told above the status; see TextTable for what else becomes of narrow widths.
 */
class TableFormatter : public Formatter {
 public:
    explicit TableFormatter(const TableOptions& options) : options_(options), paint_(options.color) {}
    std::string text(const Answer& answer) const override;

 private:
    using Notes = std::vector<std::string>;  // what the tables leave out, each said once

    std::string objects(const Instances& instances, Notes& notes) const;
    std::string objects(const Names& names, Notes& notes) const;
    std::string classOverview(const Instances& instances, Notes& notes) const;
    std::string listing(const broker::Instance& instance, Notes& notes) const;
    std::string keyTable(const Names& names) const;
    std::string title(const broker::ObjectPath& path) const;
    std::string drawn(const TextTable& table, Overflow overflow) const;

    TableOptions options_;
    Paint paint_;
};

}  // namespace cimhost

#endif
