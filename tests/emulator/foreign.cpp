/**
 * A program that knows nothing of the emulated host: it shows on its standard output what its machine looks like to
 * it, or, with a number as its argument, by how many kB so many requests let it grow. It is linked against nothing of
 * this tree and built fortified, as distributions build theirs.
 */
#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

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

/** One exchange with the BMC: the results of its three calls, and the answer. */
struct Exchange {
    int sent = 0;
    int ready = 0;
    int received = 0;
    unsigned char answer[272] = {};
    unsigned short length = 0;
};

Exchange askBmc(int device) {
    unsigned char address[40] = {0x0C, 0, 0, 0, 0x0F};  // struct ipmi_system_interface_addr
    unsigned char data[] = {0xD9, 0x7E, 0x00, 0x06, 'f', 'i', 'l', 'e'};
    ipmi_req request{};
    request.addr = address;
    request.addr_len = sizeof(ipmi_system_interface_addr);
    request.msg.netfn = 0x2E;
    request.msg.cmd = 0x90;
    request.msg.data = data;
    request.msg.data_len = sizeof data;
    Exchange exchange;
    ipmi_recv record{};
    record.addr = address;
    record.addr_len = sizeof address;
    record.msg.data = exchange.answer;
    record.msg.data_len = sizeof exchange.answer;
    pollfd item{device, POLLIN, 0};
    exchange.sent = ioctl(device, IPMICTL_SEND_COMMAND, &request);
    exchange.ready = poll(&item, 1, 5000);
    exchange.received = ioctl(device, IPMICTL_RECEIVE_MSG_TRUNC, &record);
    exchange.length = record.msg.data_len;
    return exchange;
}

void showMachine(int openFlags) {
    char name[64] = "";
    if (gethostname(name, sizeof name) != 0) std::perror("gethostname");
    std::printf("hostname: %s\n", name);
    showFile("/proc/bus/pci/devices");
    showFile("/etc/vmware/pci.xml");
    const int device = open("/dev/ipmi0", openFlags);
    if (device >= 0) {
        const Exchange bmc = askBmc(device);
        std::printf("bmc: %d %d %d, %d bytes, size %d\n", bmc.sent, bmc.ready, bmc.received, bmc.length, bmc.answer[4]);
        close(device);
    }
    syslog(LOG_ERR, "the end of %s", "it");
}

long memoryKb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

void work(int openFlags, long requests) {
    const int device = open("/dev/ipmi0", openFlags);
    for (long i = 0; i < requests; ++i) {
        askBmc(device);
        syslog(LOG_ERR, "request %ld", i);
    }
    close(device);
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
