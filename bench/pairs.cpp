// A request and a peer in one process, in turn: CPU nanoseconds of each.
extern "C" {
#include <pci/pci.h>
}
#include <unistd.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "bench/floor.h"
#include "bench/options.h"
#include "bench/transfer.h"
#include "pci/pcidevinfo.h"

namespace {

using Work = std::function<void()>;

/** libpci's access, which says nothing to the terminal. */
class Access {
 public:
    Access() : access_(pci_alloc()) {
        access_->method = static_cast<unsigned>(PCI_ACCESS_PROC_BUS_PCI);
        pci_init(access_);
        pci_scan_bus(access_);
    }
    ~Access() { pci_cleanup(access_); }
    Access(const Access&) = delete;
    Access& operator=(const Access&) = delete;

    pci_dev* first() const { return access_->devices; }

    template <typename... Ids>
    void lookUp(int what, Ids... ids) {
        pci_lookup_name(access_, name_.data(), static_cast<int>(name_.size()), what, ids...);
    }

 private:
    pci_access* access_;
    std::array<char, 1024> name_{};
};

/** What `lspci -vmm` does but for writing it: 64 bytes of each function's configuration space, and its names. */
void libpciScan() {
    Access access;
    for (pci_dev* device = access.first(); device != nullptr; device = device->next) {
        pci_fill_info(device, PCI_FILL_IDENT | PCI_FILL_CLASS | PCI_FILL_IRQ | PCI_FILL_BASES | PCI_FILL_SIZES);
        std::array<u8, 64> config{};
        pci_read_block(device, 0, config.data(), static_cast<int>(config.size()));
        access.lookUp(PCI_LOOKUP_CLASS, device->device_class);
        access.lookUp(PCI_LOOKUP_VENDOR, device->vendor_id, device->device_id);
        access.lookUp(PCI_LOOKUP_DEVICE, device->vendor_id, device->device_id);
        const int vendor = config[PCI_SUBSYSTEM_VENDOR_ID] | config[PCI_SUBSYSTEM_VENDOR_ID + 1] << 8;
        const int subsystem = config[PCI_SUBSYSTEM_ID] | config[PCI_SUBSYSTEM_ID + 1] << 8;
        if (vendor == 0) continue;
        access.lookUp(PCI_LOOKUP_SUBSYSTEM | PCI_LOOKUP_VENDOR, vendor);
        access.lookUp(PCI_LOOKUP_SUBSYSTEM | PCI_LOOKUP_DEVICE, device->vendor_id, device->device_id, vendor,
                      subsystem);
    }
}

long nanosecondsOf(const Work& work) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return time.tv_sec * 1'000'000'000L + time.tv_nsec;
    };
    const long start = now();
    work();
    return now() - start;
}

void print(const char* name, const std::vector<long>& times) {
    std::printf("\"%s\": [", name);
    for (std::size_t i = 0; i < times.size(); ++i) std::printf("%s%ld", i == 0 ? "" : ", ", times[i]);
    std::printf("], ");
}

void print(const char* name, const bench::Counts& counts) {
    std::printf("\"%s\": {\"exchanges\": %zu, \"lines\": %zu, \"searches\": %zu}, ", name, counts.exchanges,
                counts.lines, counts.searches);
}

Work peerOf(const bench::Options& options, const std::vector<bench::LogCall>& calls) {
    if (options.against == "libpci") return libpciScan;
    if (options.against == "lines") return [&] { bench::repeat(calls); };
    if (options.against == "transfer") return bench::bareTransfer;
    if (options.against != "floor") throw std::runtime_error("no peer: " + options.against);
    return [&] {
        bench::floorScan();
        bench::repeat(calls);
    };
}

int measure(const bench::Options& options) {
    bench::loadTable(options.table);
    const bench::ThinBroker broker(options.library);
    Work request = [&] { broker.ask(options.question); };

    bench::setLog(bench::Log::recorded);
    bench::startCounting(false);
    request();
    const bench::Counts our = bench::counts();
    const std::vector<bench::LogCall> calls = bench::takeRecorded();
    bench::setLog(options.log);
    if (options.operation == "scan") request = [] { const tPCIInfo::TPciDevInfo scan("QELTA_PCIDevice"); };
    if (options.operation == "floor") {
        request = [&] {
            bench::floorScan();
            bench::repeat(calls);
        };
    }
    const Work peer = peerOf(options, calls);
    bench::startCounting(false);
    peer();
    const bench::Counts peers = bench::counts();

    std::vector<long> ourTimes;
    std::vector<long> peersTimes;
    for (long i = 0; i < options.times; ++i) {
        ourTimes.push_back(nanosecondsOf(request));
        peersTimes.push_back(nanosecondsOf(peer));
    }
    std::fflush(stdout);
    std::printf("\n{");
    print("ours", ourTimes);
    print("peers", peersTimes);
    print("counts", our);
    print("peersCounts", peers);
    std::printf("\"rounds\": %ld}\n", options.times);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, measure);
}
