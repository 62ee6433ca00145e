// What the exporter answers to whom. Tests: tests/exporter/pages_test.cpp.
#include "exporter/pages.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <map>

#include "cim/names.h"
#include "cimhost/printable.h"
#include "exporter/metrics.h"

namespace exporter {

namespace {

constexpr const char* kExposition = "text/plain; version=0.0.4; charset=utf-8";
constexpr std::size_t kShownColumns = 80;  // of what a client sent

constexpr Milliseconds kUsualPatience{9500};  // of a scrape that does not say: Prometheus' is 10 s
constexpr Milliseconds kMargin{500};          // for the answer's way
constexpr Milliseconds kMostPatience{600000};

constexpr const char* kPage = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>pciinfo-exporter</title></head><body>
<h1>pciinfo-exporter</h1>
<p>What sits in which PCI slot, for Prometheus.</p>
<ul><li>/probe?target=HOST:PORT&amp;module=NAME asks that object manager</li>
<li><a href="/metrics">/metrics</a> of the exporter itself</li></ul>
</body></html>
)";

wbem::HttpResponse page(unsigned status, const std::string& type, const std::string& body) {
    return {status,
            {{"Content-Type", type},
             {"X-Content-Type-Options", "nosniff"},
             {"Content-Security-Policy", "default-src 'none'"}},
            body,
            ""};
}

wbem::HttpResponse refusal(unsigned status, const std::string& text) {
    return page(status, "text/plain; charset=utf-8", text + "\n");
}

std::string shown(const std::string& text) {
    return cimhost::cut(cimhost::printable(text), kShownColumns);
}

/** The one argument of that name; empty where there is none, or several. */
std::string argument(const wbem::HttpRequest& request, const std::string& name) {
    std::string value;
    unsigned count = 0;
    for (const auto& [given, text] : request.arguments)
        if (given == name && ++count == 1) value = text;
    return count == 1 ? value : "";
}

bool isGiven(const wbem::HttpRequest& request, const std::string& name) {
    return std::any_of(request.arguments.begin(), request.arguments.end(),
                       [&](const auto& each) { return each.first == name; });
}

const char* nameOf(Keeper::Kind kind) {
    switch (kind) {
        case Keeper::Kind::kept:
            return "kept";
        case Keeper::Kind::fresh:
            return "fresh";
        case Keeper::Kind::stale:
            return "stale";
        case Keeper::Kind::pending:
            return "pending";
        case Keeper::Kind::refused:
            break;
    }
    return "refused";
}

Keeper::Limits limitsOf(const Config& config) {
    return {config.maxTargets, config.maxBytes, config.maxProbes};
}

prometheus::MetricFamily plain(const char* name, const char* help, prometheus::MetricType type, std::size_t value) {
    prometheus::MetricFamily family{name, help, type, {{}}};
    family.metric[0].gauge.value = static_cast<double>(value);
    family.metric[0].counter.value = static_cast<double>(value);
    return family;
}

}  // namespace

Exporter::Exporter(const Config& config, Probe probe, Log log, const std::string& version)
    : log_(std::move(log)),
      scrapes_(prometheus::BuildCounter()
                   .Name("pciinfo_exporter_scrapes_total")
                   .Help("Scrapes of targets, by what they were answered with.")
                   .Register(registry_)),
      probes_(prometheus::BuildCounter()
                  .Name("pciinfo_exporter_probes_total")
                  .Help("Probes that have ended, by their result.")
                  .Register(registry_)),
      durations_(prometheus::BuildHistogram()
                     .Name("pciinfo_exporter_probe_duration_seconds")
                     .Help("What probes took.")
                     .Register(registry_)
                     .Add({}, prometheus::Histogram::BucketBoundaries{0.1, 0.5, 1, 2, 5, 10, 20, 60, 120, 300})),
      reloaded_(prometheus::BuildGauge()
                    .Name("pciinfo_exporter_config_last_reload_successful")
                    .Help("Whether the last attempt to read the configuration succeeded.")
                    .Register(registry_)
                    .Add({})),
      reloadTime_(prometheus::BuildGauge()
                      .Name("pciinfo_exporter_config_last_reload_success_timestamp_seconds")
                      .Help("When the configuration was read.")
                      .Register(registry_)
                      .Add({})),
      config_(std::make_shared<const Config>(config)),
      keeper_(std::move(probe), limitsOf(config), [this](const Keeper::Ended& ended) { take(ended); }) {
    prometheus::BuildGauge()
        .Name("pciinfo_exporter_build_info")
        .Help("The exporter's version.")
        .Register(registry_)
        .Add({{"version", version}})
        .Set(1);
    for (const char* answer : {"kept", "fresh", "stale", "pending", "refused"}) scrapes_.Add({{"answer", answer}});
    probes_.Add({{"result", "success"}});
    reloaded_.Set(1);
    reloadTime_.SetToCurrentTime();
}

wbem::HttpResponse Exporter::answer(const wbem::HttpRequest& request) {
    if (request.refusal) return refusal(request.refusal->status(), request.refusal->what());
    if (request.method != "GET") {
        wbem::HttpResponse response = refusal(405, "only GET");
        response.headers.emplace_back("Allow", "GET");
        return response;
    }
    if (request.target == "/probe") return probe(request);
    if (request.target == "/metrics") return metrics();
    if (request.target == "/") return page(200, "text/html; charset=utf-8", kPage);
    return refusal(404, "there are /probe, /metrics and /");
}

wbem::HttpResponse Exporter::probe(const wbem::HttpRequest& request) {
    const auto deadline = Keeper::Clock::now() + patienceOf(request);
    const std::string name = isGiven(request, "module") ? argument(request, "module") : kDefaultModule;
    const auto current = config();
    const auto module = current->modules.find(name);
    if (module == current->modules.end()) return refusal(400, "there is no module \"" + shown(name) + '"');
    const std::string text = argument(request, "target");
    if (text.empty()) return refusal(400, "one target=HOST:PORT is needed");
    const std::string target = targetOf(text, *module->second);
    if (target.empty())
        return refusal(400, fmt::format("\"{}\" is no target of module \"{}\"", shown(text), shown(name)));

    const Keeper::Answer answer = keeper_.get(name, module->second, target, deadline);
    scrapes_.Add({{"answer", nameOf(answer.kind)}}).Increment();
    if (answer.kind == Keeper::Kind::refused)
        return refusal(503,
                       fmt::format("there is no room for another target: max_targets is {}, and the answers of all "
                                   "that are known are young or under way",
                                   current->maxTargets));
    const std::string now = expositionOf(scrapeFamilies(answer.age, answer.probing));
    return page(200, kExposition, answer.text ? *answer.text + now : now);
}

wbem::HttpResponse Exporter::metrics() {
    using prometheus::MetricType;
    const Keeper::Counts counts = keeper_.counts();
    Families families = registry_.Collect();
    families.push_back(
        plain("pciinfo_exporter_kept_targets", "Targets that are known.", MetricType::Gauge, counts.targets));
    families.push_back(
        plain("pciinfo_exporter_kept_bytes", "Size of the answers that are kept.", MetricType::Gauge, counts.bytes));
    families.push_back(
        plain("pciinfo_exporter_probes_waiting", "Probes that wait for a place.", MetricType::Gauge, counts.waiting));
    families.push_back(
        plain("pciinfo_exporter_probes_running", "Probes that are under way.", MetricType::Gauge, counts.running));
    families.push_back(plain("pciinfo_exporter_evictions_total", "Targets dropped to make room.", MetricType::Counter,
                             counts.evictions));
    return page(200, kExposition, expositionOf(families));
}

void Exporter::take(const Keeper::Ended& ended) {
    probes_.Add({{"result", ended.result}}).Increment();
    durations_.Observe(ended.took.count());
    if (!ended.news) return;
    log_(ended.message.empty() ? fmt::format("{}: {} after {:.1f} s", ended.target, ended.result, ended.took.count())
                               : fmt::format("{}: {} after {:.1f} s: {}", ended.target, ended.result,
                                             ended.took.count(), cimhost::cut(cimhost::printable(ended.message), 400)));
}

void Exporter::reload(const std::string& file) {
    try {
        const auto read = std::make_shared<const Config>(loadConfig(file));
        {
            const std::lock_guard lock(mutex_);
            config_ = read;
        }
        keeper_.setLimits(limitsOf(*read));
        keeper_.forgetFailures();
        reloaded_.Set(1);
        reloadTime_.SetToCurrentTime();
        log_(fmt::format("{} read, modules: {}", file, read->modules.size()));
    } catch (const ConfigError& error) {
        reloaded_.Set(0);
        log_(fmt::format("{}; the configuration stays as it was", error.what()));
    }
}

bool Exporter::stop() {
    keeper_.stop();
    return keeper_.counts().running == 0;
}

std::shared_ptr<const Config> Exporter::config() const {
    const std::lock_guard lock(mutex_);
    return config_;
}

Milliseconds patienceOf(const wbem::HttpRequest& request) {
    for (const auto& [name, value] : request.headers) {
        if (!cim::sameName(name, "X-Prometheus-Scrape-Timeout-Seconds")) continue;
        double seconds = 0;
        const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
        if (error != std::errc() || end != value.data() + value.size() || !(seconds > 0)) return kUsualPatience;
        const Milliseconds whole(
            static_cast<long>(std::min(seconds * 1000, static_cast<double>(kMostPatience.count()))));
        return std::max(whole - kMargin, whole / 2);
    }
    return kUsualPatience;
}

}  // namespace exporter
