#ifndef PCIINFO_CIMHOST_ANSWER_H
#define PCIINFO_CIMHOST_ANSWER_H

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "broker/broker.h"

namespace cimhost {

using Instances = std::vector<broker::Instance>;
using Names = std::vector<broker::ObjectPath>;

/** What one question brought: the objects in the order in which they were delivered, and the status. */
struct Answer {
    CMPIrc status = CMPI_RC_OK;
    std::variant<Instances, Names> objects;
    // Set where the object that the question is about does not exist: those of its class that do.
    std::optional<Names> existing = std::nullopt;
};

/** "CMPI_RC_OK, 18 instances"; names are counted as "names". */
std::string summary(const Answer& answer);

}  // namespace cimhost

#endif
