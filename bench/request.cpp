// Requests to the library as a process of its own, as small as can be: what is compared with other programs' processes,
// run under callgrind and strace, and asked for counts.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>

#include "bench/floor.h"
#include "bench/platform.h"
#include "bench/thinbroker.h"

namespace {

constexpr char kUsage[] =
    "usage: bench_request --library FILE --table FILE [--operation NAME] [--class NAME] [--key NAME=VALUE]\n"
    "                     [--assoc-class NAME] [--result-class NAME] [--log dropped|sent] [--times N] [--memory]\n"
    "NAME of an operation: enumerate (default), enumerate-names, get, associators, associator-names, references,\n"
    "reference-names, and floor, which is a scan without objects. Prints what the last of N requests came to.\n";

struct Options {
    std::string library;
    std::string table;
    std::string operation = "enumerate";
    bench::Question question;
    bench::Log log = bench::Log::dropped;
    long times = 1;
    bool memory = false;
};

bench::Question::Kind kindOf(const std::string& name) {
    using Kind = bench::Question::Kind;
    static const std::map<std::string, Kind> kKinds = {
        {"enumerate", Kind::enumerate},
        {"enumerate-names", Kind::enumerateNames},
        {"get", Kind::get},
        {"associators", Kind::associators},
        {"references", Kind::references},
        {"associator-names", Kind::associatorNames},
        {"floor", Kind::enumerate},
        {"reference-names", Kind::referenceNames},
    };
    const auto found = kKinds.find(name);
    if (found == kKinds.end()) throw std::runtime_error("no operation " + name);
    return found->second;
}

Options read(int argc, char** argv) {
    Options options;
    options.question.className = "QELTA_PCIDevice";
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--memory") {
            options.memory = true;
            continue;
        }
        if (++i == argc) throw std::runtime_error(kUsage);
        const std::string value = argv[i];
        if (name == "--library") {
            options.library = value;
        } else if (name == "--table") {
            options.table = value;
        } else if (name == "--operation") {
            options.operation = value;
            options.question.kind = kindOf(value);
        } else if (name == "--class") {
            options.question.className = value;
        } else if (name == "--key") {
            const std::size_t equals = value.find('=');
            if (equals == std::string::npos) throw std::runtime_error(kUsage);
            options.question.keyName = value.substr(0, equals);
            options.question.keyValue = value.substr(equals + 1);
        } else if (name == "--assoc-class") {
            options.question.assocClass = value;
        } else if (name == "--result-class") {
            options.question.resultClass = value;
        } else if (name == "--log") {
            options.log = value == "sent" ? bench::Log::sent : bench::Log::dropped;
        } else if (name == "--times") {
            options.times = std::strtol(value.c_str(), nullptr, 10);
        } else {
            throw std::runtime_error(kUsage);
        }
    }
    if (options.table.empty()) throw std::runtime_error(kUsage);
    return options;
}

void print(const bench::Delivered& delivered, const bench::Counts& counts) {
    std::printf(
        "{\"status\": %d, \"objects\": %zu, \"calls\": %zu, \"upcalls\": %zu, \"exchanges\": %zu, \"lines\": %zu, "
        "\"searches\": %zu, \"allocations\": %zu, \"peak\": %zu, \"largest\": %zu}\n",
        static_cast<int>(delivered.status), delivered.objects, delivered.calls, delivered.upcalls, counts.exchanges,
        counts.lines, counts.searches, counts.allocations, counts.peakBytes, counts.largest);
}

void runFloor(const Options& options) {
    bench::Delivered scanned;
    for (long i = 0; i < options.times; ++i) {
        bench::startCounting(options.memory);
        scanned.objects = bench::floorScan();
    }
    scanned.status = CMPI_RC_OK;
    print(scanned, bench::counts());
}

void runRequest(const Options& options) {
    const bench::ThinBroker broker(options.library);
    bench::Delivered delivered;
    for (long i = 0; i < options.times; ++i) {
        bench::startCounting(options.memory);
        delivered = broker.ask(options.question);
    }
    print(delivered, bench::counts());
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const Options options = read(argc, argv);
        bench::loadTable(options.table);
        bench::setLog(options.log);
        options.operation == "floor" ? runFloor(options) : runRequest(options);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_request: %s\n", error.what());
        return 1;
    }
}
