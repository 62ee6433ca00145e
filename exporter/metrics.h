#ifndef PCIINFO_EXPORTER_METRICS_H
#define PCIINFO_EXPORTER_METRICS_H

#include <prometheus/metric_family.h>

#include <string>
#include <vector>

#include "exporter/probe.h"

namespace exporter {

using Families = std::vector<prometheus::MetricFamily>;

/** How long the provider waits for a BMC that does not answer: an answer without slots that took less was not that. */
constexpr Seconds kSilence{5};

/** A probe's outcome, for Prometheus: pciinfo-exporter(8) has the metrics. No two series have the same labels. */
Families familiesOf(const Outcome& outcome, Seconds took);

/** What changes from scrape to scrape. age: of the outcome that is served; negative: there is none. */
Families scrapeFamilies(Seconds age, bool pending);

/** The exposition format, version 0.0.4. */
std::string expositionOf(const Families& families);

/**
 * How sure it is that slots are missing because the BMC did not answer: of the requests that read the SMBIOS table, the
 * part that took kSilence or more. 0 where there are slots.
 */
double silenceOf(const Probed& probed);

}  // namespace exporter

#endif
