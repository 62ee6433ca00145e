#ifndef PCIINFO_EXPORTER_PAGES_H
#define PCIINFO_EXPORTER_PAGES_H

#include <prometheus/counter.h>
#include <prometheus/family.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "exporter/config.h"
#include "exporter/keeper.h"
#include "wbem/responder.h"

namespace exporter {

/**
 * The exporter behind its HTTP server: GET /probe?target=HOST:PORT&module=NAME, /metrics about itself, and / for
 * people. Configurations may change while it is asked. May be used from any number of threads at once.
 */
class Exporter {
 public:
    using Log = std::function<void(const std::string& line)>;

    Exporter(const Config& config, Probe probe, Log log, const std::string& version);

    wbem::HttpResponse answer(const wbem::HttpRequest& request);

    /** Reads the file anew. Where it is wrong the configuration stays as it was, which is logged and counted. */
    void reload(const std::string& file);

    /** Answers scrapes that wait with what there is; no probe begins any more. True: none is under way. */
    bool stop();

 private:
    wbem::HttpResponse probe(const wbem::HttpRequest& request);
    wbem::HttpResponse metrics();
    void take(const Keeper::Ended& ended);
    std::shared_ptr<const Config> config() const;

    const Log log_;
    prometheus::Registry registry_;
    prometheus::Family<prometheus::Counter>& scrapes_;
    prometheus::Family<prometheus::Counter>& probes_;
    prometheus::Histogram& durations_;
    prometheus::Gauge& reloaded_;
    prometheus::Gauge& reloadTime_;
    mutable std::mutex mutex_;
    std::shared_ptr<const Config> config_;
    Keeper keeper_;  // last: its threads call take()
};

/** How long a scrape may wait for its answer, by Prometheus' header: somewhat less than Prometheus waits. */
Milliseconds patienceOf(const wbem::HttpRequest& request);

}  // namespace exporter

#endif
