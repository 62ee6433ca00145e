#ifndef PCIINFO_CIMHOST_OVERVIEW_H
#define PCIINFO_CIMHOST_OVERVIEW_H

#include <functional>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "cimhost/texttable.h"

namespace cimhost {

/** One column of a class's overview: what of an instance stands in it. */
struct OverviewColumn {
    Heading heading;
    std::function<std::string(const broker::Instance&)> cell;
};

/**
 * The columns that sum up an instance of the class in one line, the dispensable ones ranked; none for a class that has
 * no overview.
 */
std::vector<OverviewColumn> overviewColumns(const std::string& className);

/** "PCI Bus 0, device 31, function 3" as "00:1f.3"; a text of another form as it is. */
std::string shortLocation(const std::string& deviceId);

}  // namespace cimhost

#endif
