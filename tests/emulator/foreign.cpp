/**
 * A program that knows nothing of the emulated host: it shows on its standard output what its machine looks like to
 * it. It is linked against nothing of this tree and built fortified, as distributions build theirs.
 */
#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>
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

void askBmc(int device) {
    unsigned char address[40] = {0x0C, 0, 0, 0, 0x0F};  // struct ipmi_system_interface_addr
    unsigned char data[] = {0xD9, 0x7E, 0x00, 0x06, 'f', 'i', 'l', 'e'};
    ipmi_req request{};
    request.addr = address;
    request.addr_len = sizeof(ipmi_system_interface_addr);
    request.msg.netfn = 0x2E;
    request.msg.cmd = 0x90;
    request.msg.data = data;
    request.msg.data_len = sizeof data;
    unsigned char answer[272] = {};
    ipmi_recv record{};
    record.addr = address;
    record.addr_len = sizeof address;
    record.msg.data = answer;
    record.msg.data_len = sizeof answer;
    pollfd item{device, POLLIN, 0};
    const int sent = ioctl(device, IPMICTL_SEND_COMMAND, &request);
    const int ready = poll(&item, 1, 5000);
    const int received = ioctl(device, IPMICTL_RECEIVE_MSG_TRUNC, &record);
    std::printf("bmc: %d %d %d, %d bytes, size %d\n", sent, ready, received, record.msg.data_len, answer[4]);
}

}  // namespace

int main(int argc, char**) {
    char name[64] = "";
    if (gethostname(name, sizeof name) != 0) return EXIT_FAILURE;
    std::printf("hostname: %s\n", name);
    showFile("/proc/bus/pci/devices");
    showFile("/etc/vmware/pci.xml");
    const int flags = argc > 100 ? O_RDONLY : O_RDWR;  // not known when this is compiled
    const int device = open("/dev/ipmi0", flags);
    if (device >= 0) {
        askBmc(device);
        close(device);
    }
    syslog(LOG_ERR, "the end of %s", "it");
    return EXIT_SUCCESS;
}
