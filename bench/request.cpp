// Requests to the library as a process of its own, as small as can be: what is compared with other programs' processes,
// run under callgrind and strace, and asked for counts.
#include <cstdio>

#include "bench/floor.h"
#include "bench/options.h"
#include "bench/transfer.h"

namespace {

struct Outcome {
    bench::Delivered delivered;
    bench::Counts counts;
};

/** Without a broker a scan without objects, or a transfer alone. */
bench::Delivered perform(const bench::ThinBroker* broker, const bench::Options& options) {
    if (broker != nullptr) return broker->ask(options.question);
    bench::Delivered nothing;
    nothing.status = CMPI_RC_OK;
    if (options.operation == "floor") {
        bench::floorScan();
    } else {
        bench::bareTransfer();
    }
    return nothing;
}

}  // namespace

/** The one that counts: callgrind collects between its beginning and its end. */
extern "C" __attribute__((noinline)) void lastRequest(const bench::ThinBroker* broker, const bench::Options& options,
                                                      bench::Delivered& delivered) {
    delivered = perform(broker, options);
}

namespace {

Outcome ask(const bench::ThinBroker* broker, const bench::Options& options) {
    Outcome outcome;
    for (long i = 1; i < options.times; ++i) perform(broker, options);
    bench::startCounting(options.memory);
    lastRequest(broker, options, outcome.delivered);
    outcome.counts = bench::counts();
    return outcome;
}

/** Prints what the last of the requests came to. */
int request(const bench::Options& options) {
    bench::loadTable(options.table);
    bench::setLog(options.log);
    Outcome outcome;
    if (options.operation == "floor" || options.operation == "transfer") {
        outcome = ask(nullptr, options);
    } else {
        const bench::ThinBroker broker(options.library);
        outcome = ask(&broker, options);
    }
    const auto& [delivered, counts] = outcome;
    std::printf(
        "{\"status\": %d, \"objects\": %zu, \"calls\": %zu, \"upcalls\": %zu, \"exchanges\": %zu, \"lines\": %zu, "
        "\"searches\": %zu, \"allocations\": %zu, \"peak\": %zu, \"largest\": %zu}\n",
        static_cast<int>(delivered.status), delivered.objects, delivered.calls, delivered.upcalls, counts.exchanges,
        counts.lines, counts.searches, counts.allocations, counts.peakBytes, counts.largest);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, request);
}
