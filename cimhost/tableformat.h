#ifndef PCIINFO_CIMHOST_TABLEFORMAT_H
#define PCIINFO_CIMHOST_TABLEFORMAT_H

#include <string>

#include "cimhost/formatter.h"

namespace cimhost {

/**
 * Tables for people. Instances: one table for each class in the answer, a line for each instance, cut to the width;
 * in full, and for a class that has no overview, a table for each instance with name, type, key position and value of
 * every property. Names: a table of the keys in their order; in full, the paths as they are written. The status is the
 * last line.
 */
class TableFormatter : public Formatter {
 public:
    explicit TableFormatter(const TableOptions& options) : options_(options) {}
    std::string text(const Answer& answer) const override;

 private:
    std::string objects(const Instances& instances) const;
    std::string objects(const Names& names) const;
    std::string classOverview(const Instances& instances) const;
    std::string listing(const broker::Instance& instance) const;
    std::string keyTable(const Names& names) const;

    TableOptions options_;
};

}  // namespace cimhost

#endif
