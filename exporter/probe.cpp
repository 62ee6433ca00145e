// One host's inventory with the times of its requests. Tests: tests/exporter/metrics_test.cpp.
#include "exporter/probe.h"

#include <fmt/format.h>

#include <utility>

namespace exporter {

Outcome takeInventory(const cimhost::Ask& ask) {
    using Clock = std::chrono::steady_clock;
    std::vector<RequestTime> requests;
    cimhost::Inventory inventory = cimhost::takeInventory([&](const cimhost::Question& question) {
        const auto began = Clock::now();
        cimhost::Answer answer = ask(question);
        requests.push_back({question.subject, Clock::now() - began});
        return answer;
    });
    if (inventory.status != CMPI_RC_OK)
        return Failure{"cim-status", fmt::format("{}: {}", inventory.subject, broker::statusName(inventory.status))};
    if (!inventory.consistent) return Failure{"inconsistent", inventory.refusal};
    if (inventory.functionCount > kMostFunctions || inventory.slots.size() > kMostSlots)
        return Failure{"too-large",
                       fmt::format("{} functions and {} slots", inventory.functionCount, inventory.slots.size())};
    return Probed{std::move(inventory), std::move(requests)};
}

}  // namespace exporter
