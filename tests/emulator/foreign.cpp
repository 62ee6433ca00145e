// A program that knows nothing of the emulated host: it shows on its standard output what its machine looks like to it,
// or, with a number as its argument, by how many kB so many requests let it grow. It is linked against nothing of this
// tree and built fortified, as distributions build theirs.
#include <sys/resource.h>
#include <syslog.h>

#include <cstdio>
#include <cstdlib>

#include "tests/emulator/datastore.h"
#include "tests/emulator/ipmiclient.h"

namespace {

void showFile(const char* path) {
    FILE* file = std::fopen(path, "r");
    char line[256] = "";
    if (file != nullptr) {
        if (std::fgets(line, sizeof line, file) == nullptr) line[0] = '\0';
        std::fclose(file);
    }
    std::printf("%s: %s\n", path, line);
}

emulator::Request query() {
    return datastore::request({0xD9, 0x7E, 0x00, 0x06, 'f', 'i', 'l', 'e'});
}

void showMachine(int openFlags) {
    char name[64] = "";
    if (gethostname(name, sizeof name) != 0) std::perror("gethostname");
    std::printf("hostname: %s\n", name);
    showFile("/proc/bus/pci/devices");
    showFile("/etc/vmware/pci.xml");
    if (IpmiClient bmc("/dev/ipmi0", openFlags); bmc.isOpen()) {
        const int sent = bmc.send(query());
        const int ready = bmc.wait();
        const int received = bmc.receive();
        std::printf("bmc: %d %d %d, %zu bytes, size %d\n", sent, ready, received, bmc.data().size(), bmc.data().at(4));
    }
    syslog(LOG_ERR, "the end of %s", "it");
}

long memoryKb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

void work(int openFlags, long requests) {
    IpmiClient bmc("/dev/ipmi0", openFlags);
    for (long i = 0; i < requests; ++i) {
        bmc.exchange(query());
        syslog(LOG_ERR, "request %ld", i);
    }
}

void showGrowth(int openFlags, long requests) {
    work(openFlags, 100);
    const long before = memoryKb();
    work(openFlags, requests);
    std::printf("%ld\n", memoryKb() - before);
}

}  // namespace

int main(int argc, char** argv) {
    const int flags = argc > 100 ? O_RDONLY : O_RDWR;  // not known when this is compiled
    if (argc > 1)
        showGrowth(flags, std::strtol(argv[1], nullptr, 10));
    else
        showMachine(flags);
    return EXIT_SUCCESS;
}
