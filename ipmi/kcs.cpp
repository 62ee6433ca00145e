// Transport: one request to the BMC and its response over the Linux IPMI driver.
// Tests: tests/unit/transport_test.cpp.
#include "ipmi/kcs.h"

#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace tPCIInfo {

std::int32_t kcs_fd = -1;

// A 32-bit build has these request numbers; the macros follow the records' sizes elsewhere.
static_assert(sizeof(void*) != 4 || IPMICTL_SEND_COMMAND == 0x8014690DUL, "send request of linux/ipmi.h");
static_assert(sizeof(void*) != 4 || IPMICTL_RECEIVE_MSG_TRUNC == 0xC018690BUL, "receive request of linux/ipmi.h");

namespace {

constexpr long kMessageId = 22444;
constexpr int kResponseWaitMs = 5000;
constexpr long kReceiveRetrySeconds = 5;
constexpr std::size_t kSenderAddressSize = 40;

/** Seconds of the monotonic clock. */
double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/** A send that fails shows itself as a missing response, so its result is not looked at. */
void sendRequest(std::int32_t device, std::uint8_t cmd, std::uint8_t* data, std::uint16_t dataLen, std::uint8_t netfn) {
    ipmi_system_interface_addr address{};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    address.lun = 0;

    ipmi_req request{};
    request.addr = reinterpret_cast<unsigned char*>(&address);
    request.addr_len = sizeof(address);
    request.msgid = kMessageId;
    request.msg.netfn = netfn;
    request.msg.cmd = cmd;
    request.msg.data_len = dataLen;
    request.msg.data = data;
    ioctl(device, IPMICTL_SEND_COMMAND, &request);
}

bool responseArrives(std::int32_t device) {
    pollfd wanted{};
    wanted.fd = device;
    wanted.events = POLLIN;
    return poll(&wanted, 1, kResponseWaitMs) > 0;
}

/** Receives one message into `buffer`; a failing receive call is repeated for 5 s, whatever its reason. */
bool receiveMessage(std::int32_t device, std::array<std::uint8_t, kMaxResponse>& buffer, ipmi_recv& received) {
    std::array<unsigned char, kSenderAddressSize> sender{};
    const double start = now();
    do {
        received = {};
        received.addr = sender.data();
        received.addr_len = static_cast<unsigned int>(sender.size());
        received.msg.data = buffer.data();
        received.msg.data_len = static_cast<unsigned short>(buffer.size());
        if (ioctl(device, IPMICTL_RECEIVE_MSG_TRUNC, &received) != -1) return true;
    } while (now() - start < kReceiveRetrySeconds);
    return false;
}

bool isResponseTo(const ipmi_recv& received, std::uint8_t cmd, std::uint8_t netfn) {
    return received.recv_type == IPMI_RESPONSE_RECV_TYPE && received.msg.netfn == (netfn | 1) &&
           received.msg.cmd == cmd;
}

}  // namespace

std::recursive_mutex& deviceMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

std::uint32_t exchangeOn(std::int32_t device, std::uint8_t cmd, std::uint8_t* data, std::uint16_t dataLen,
                         std::uint8_t* response, std::uint16_t& responseLen, std::uint8_t netfn) {
    std::array<std::uint8_t, kMaxResponse> buffer{};
    sendRequest(device, cmd, data, dataLen, netfn);
    if (!responseArrives(device)) return 1;
    ipmi_recv received{};
    if (!receiveMessage(device, buffer, received) || !isResponseTo(received, cmd, netfn)) return 1;
    const std::size_t length = std::min<std::size_t>(received.msg.data_len, buffer.size());
    std::copy_n(buffer.begin(), length, response);
    responseLen = static_cast<std::uint16_t>(length);
    return 0;
}

int connect_kcs() {
    const DeviceLock lock(deviceMutex());
    disconnect_kcs();
    for (const char* device : {"/dev/ipmi0", "/dev/ipmidev/0"}) {
        kcs_fd = open(device, O_RDWR);
        if (kcs_fd >= 0) return 0;
    }
    return 1;
}

void disconnect_kcs() {
    const DeviceLock lock(deviceMutex());
    if (kcs_fd < 0) return;
    close(kcs_fd);
    kcs_fd = kNoDevice;
}

std::uint32_t sendIPMICMD(std::uint8_t cmd, std::uint8_t* data, std::uint16_t dataLen, std::uint8_t* response,
                          std::uint16_t& responseLen, std::uint8_t netfn) {
    DeviceLock lock(deviceMutex());
    const std::int32_t device = kcs_fd;
    if (device < 0) lock.unlock();  // there is nothing to guard, and others need not queue behind this one's wait
    return exchangeOn(device, cmd, data, dataLen, response, responseLen, netfn);
}

std::uint32_t sendIPMI(std::uint8_t cmd, std::uint8_t* data, std::uint16_t dataLen, std::uint8_t* response,
                       std::uint16_t& responseLen, std::uint8_t& completionCode, std::uint8_t netfn) {
    const std::uint32_t result = sendIPMICMD(cmd, data, dataLen, response, responseLen, netfn);
    completionCode = response[0];
    return result;
}

}  // namespace tPCIInfo
