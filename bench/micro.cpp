// Parts of a request beside the bare calls that they consist of, and requests from several threads: Google Benchmark.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/platform.h"
#include "bench/thinbroker.h"
#include "bench/transfer.h"
#include "pci/pcidevinfo.h"
#include "slots/tslotinfo.h"

namespace {

using tPCIInfo::TPciDevInfo;

/** The device IDs of the catalogue, at even distances. */
std::vector<int> idsIn(const char* catalogue, std::size_t count) {
    constexpr char kKey[] = "device id=\"";
    std::vector<int> all;
    for (const char* place = std::strstr(catalogue, kKey); place != nullptr; place = std::strstr(place, kKey)) {
        place += std::strlen(kKey);
        all.push_back(static_cast<int>(std::strtol(place, nullptr, 16)));
    }
    std::vector<int> chosen;
    for (std::size_t i = 0; i < count; ++i) chosen.push_back(all.at(i * all.size() / count));
    return chosen;
}

constexpr std::size_t kIds = 64;

/** What scripts/bench says in the environment; Google Benchmark has the arguments. */
std::string setting(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing sets it
    return value != nullptr ? value : "";
}

void catalogueSearch(benchmark::State& state) {
    const TPciDevInfo::CatalogueText text = TPciDevInfo::getVendDeviceDescripts();
    const std::vector<int> ids = idsIn(text.get(), kIds);
    std::string name;
    for ([[maybe_unused]] auto _ : state) {
        for (const int id : ids) TPciDevInfo::assignID(text.get(), "device id", id, "descrip", name);
        benchmark::DoNotOptimize(name);
    }
}

void catalogueStrstr(benchmark::State& state) {
    const TPciDevInfo::CatalogueText text = TPciDevInfo::getVendDeviceDescripts();
    std::vector<std::string> keys;
    for (const int id : idsIn(text.get(), kIds)) {
        char key[24];
        std::snprintf(key, sizeof key, "device id=\"%04x\"", static_cast<unsigned>(id));
        keys.emplace_back(key);
    }
    for ([[maybe_unused]] auto _ : state) {
        for (const std::string& key : keys) {
            const char* name = std::strstr(std::strstr(text.get(), key.c_str()), "<name>");
            benchmark::DoNotOptimize(std::strstr(name, "</name>"));
        }
    }
}

void transfer(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(tPCIInfo::TSlotInfo().GetMaxSystemSlot());
}

void transferBare(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) bench::bareTransfer();
}

/** Requests per second by so many threads; the argument is what the BMC waits before each answer, in microseconds. */
void requests(benchmark::State& state) {
    static const bench::ThinBroker broker(setting("PCIINFO_BENCH_LIBRARY"));
    if (state.thread_index() == 0) bench::setWait(static_cast<std::uint32_t>(state.range(0)));
    bench::Question question;
    question.className = "QELTA_PCIDevice";
    for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(broker.ask(question));
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) bench::setWait(0);
}

BENCHMARK(catalogueSearch)->Unit(benchmark::kMicrosecond);
BENCHMARK(catalogueStrstr)->Unit(benchmark::kMicrosecond);
BENCHMARK(transfer)->Unit(benchmark::kMicrosecond);
BENCHMARK(transferBare)->Unit(benchmark::kMicrosecond);
BENCHMARK(requests)->Arg(0)->ThreadRange(1, 16)->UseRealTime();
BENCHMARK(requests)->Arg(100)->ThreadRange(1, 16)->UseRealTime()->Iterations(2);

}  // namespace

int main(int argc, char** argv) {
    bench::loadTable(setting("PCIINFO_BENCH_TABLE"));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
