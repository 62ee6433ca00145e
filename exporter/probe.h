#ifndef PCIINFO_EXPORTER_PROBE_H
#define PCIINFO_EXPORTER_PROBE_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "cimhost/tree.h"
#include "exporter/config.h"

namespace exporter {

using Seconds = std::chrono::duration<double>;

/** What one request of a probe took: an enumeration of the class. */
struct RequestTime {
    std::string className;
    Seconds time;
};

/** What an object manager told of its host, and what that took. */
struct Probed {
    cimhost::Inventory inventory;
    std::vector<RequestTime> requests;  // in the order in which they were made
};

/** Why there is no answer: `reason` is one of a few words, for a label; the message is for people. */
struct Failure {
    std::string reason;
    std::string message;
};

using Outcome = std::variant<Probed, Failure>;

/** Asks the object manager at "host:port" as the module says. Called from several threads at once. */
using Probe = std::function<Outcome(const std::string& target, const Module& module)>;

// What is told of one host at most. One with more is a failure ("too-large"): its answer is not a real machine's.
constexpr std::size_t kMostFunctions = 4096;
constexpr std::size_t kMostSlots = 1024;

/**
 * Asks for what sits where, and takes the time of each request. An answer with an error status is a Failure
 * ("cim-status"), even where others brought something: what is missing in it would look as if it were gone. So is one
 * whose parts disagree ("inconsistent").
 */
Outcome takeInventory(const cimhost::Ask& ask);

}  // namespace exporter

#endif
