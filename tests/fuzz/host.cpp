// The host in memory: the product's calls of the C library, answered without a system call.
#include "host.h"

#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <memory>
#include <utility>

#include "ipmi/IpmiDataStore.h"

// The linker gives these names to the functions that `--wrap` is given for.
extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);
int __real_ioctl(int descriptor, unsigned long request, ...);
int __real_poll(pollfd* items, nfds_t count, int timeout);
int __real_clock_gettime(clockid_t which, timespec* time);
int __real_stat(const char* path, struct stat* result);
FILE* __real_fopen(const char* path, const char* mode);
}

namespace fuzz {

namespace {

constexpr int kDevice = 0x4000;  // no descriptor of the process
constexpr std::uint64_t kLongestExchangeMs = 10000;
constexpr std::uint64_t kReceiveMs = 5000;
// A chunk that brings one byte, after sixteen that bring none, would be more; no input is so long.
constexpr std::size_t kMostExchanges = 100000;
constexpr std::size_t kLargestRequest = IPMI_MAX_MSG_LENGTH - 2;
constexpr std::size_t kArea = tPCIInfo::kFileArea;

/** The open device: its messages, and the exchange under way. */
struct Device {
    std::optional<Answer> arrived;
    bool gone = false;
    int pollErrno = 0;
    std::uint64_t sentAtMs = 0;
    std::uint64_t readyAtMs = 0;
    std::uint64_t receivingSinceMs = 0;
    bool receiving = false;
};

Device device;
constexpr std::uint64_t kStartMs = 1000;
std::uint64_t nowMs = kStartMs;

void pass(std::uint64_t milliseconds) {
    nowMs += milliseconds;
    Host::get().waitedMs += milliseconds;
}

void expectInTime(unsigned stepMs) {
    require(nowMs - device.sentAtMs <= kLongestExchangeMs + stepMs, "an exchange ends within 10 s");
}

int failed(int error) {
    errno = error;
    return -1;
}

unsigned little(const std::uint8_t* bytes, unsigned count) {
    unsigned number = 0;
    for (unsigned i = 0; i < count; ++i) number |= static_cast<unsigned>(bytes[i]) << (8 * i);
    return number;
}

/** A read of `count` bytes at `offset`: bytes, then zeros to the area's end, or nothing. */
void read(Answer& answer, std::size_t offset, std::size_t count) {
    const std::string& content = Host::get().smbiosTable;
    const std::size_t end = Host::get().endsEmpty ? content.size() : kArea;
    if (offset >= kArea) {
        answer.data[0] = 0xA0;
        return;
    }
    count = offset < end ? std::min(count, end - offset) : 0;
    answer.put({static_cast<unsigned>(count), 0});
    const std::size_t there = offset < content.size() ? std::min(count, content.size() - offset) : 0;
    std::memcpy(answer.data + answer.length, content.data() + (there != 0 ? offset : 0), there);
    answer.length += count;
}

void write(Answer& answer, std::size_t offset, const std::uint8_t* bytes, std::size_t count) {
    std::string& file = Host::get().written;
    file.resize(std::max(file.size(), offset + count));
    std::memcpy(file.data() + offset, bytes, count);
    answer.data[3] = static_cast<std::uint8_t>(count);
    answer.put({0});
}

/** A data store without faults that has every file. */
Answer answerTo(const ipmi_msg& message) {
    using Store = tPCIInfo::IpmiDataStore;
    const std::uint8_t* request = message.data;
    const std::size_t size = message.data_len;
    Answer answer;
    answer.netfn = message.netfn | 1;
    answer.command = message.cmd;
    if (message.netfn != Store::kDataStoreNetfn || message.cmd != Store::kDataStoreCode || size < 4 ||
        !std::equal(std::begin(Store::kIANA), std::end(Store::kIANA), request)) {
        answer.put({0xC1});
        return answer;
    }
    answer.put({0, Store::kIANA[0], Store::kIANA[1], Store::kIANA[2]});
    switch (request[3]) {
        case Store::kDataStoreOpenOp:
            require(size == 44, "an open request has 44 bytes");
            answer.put({1, 0xDE, 0xC0, 0});
            break;
        case Store::kDataStoreReadOp:
            require(size == 14, "a read request has 14 bytes");
            read(answer, little(request + 8, 4), request[12]);
            break;
        case Store::kDataStoreWriteOp:
            require(size > 12, "a write request carries bytes");
            write(answer, little(request + 8, 4), request + 12, size - 12);
            break;
        case Store::kDataStoreQuerySizeOp:
            require(size == 35, "a size request has 35 bytes");
            answer.put({0, 0, 1, 0});
            break;
        default:
            answer.put({0, 0, 0, 0});
    }
    return answer;
}

int send(const ipmi_req& request) {
    const ipmi_msg& message = request.msg;
    require(request.addr != nullptr && request.addr_len == sizeof(ipmi_system_interface_addr), "the address is whole");
    ipmi_system_interface_addr address{};
    std::memcpy(&address, request.addr, sizeof(address));
    require(address.addr_type == IPMI_SYSTEM_INTERFACE_ADDR_TYPE && address.channel == IPMI_BMC_CHANNEL,
            "the address is the BMC's");
    require((message.netfn & 1) == 0, "a request's network function is even");
    require(message.data_len <= kLargestRequest, "a request fits into a message");

    Host& host = Host::get();
    require(++host.exchanges <= kMostExchanges, "transfers end");
    host.trace.add(std::string_view(reinterpret_cast<const char*>(message.data), message.data_len));
    device = {};
    device.sentAtMs = nowMs;
    Answer answer = answerTo(message);
    host.lastOperation = message.data_len > 3 ? message.data[3] : std::uint8_t{0};
    if (host.answering) host.answering(answer);
    device.gone = answer.vanish;
    device.pollErrno = answer.pollErrno;
    device.readyAtMs = nowMs + answer.delayMs;
    if (!answer.silent && !answer.vanish) device.arrived = answer;
    return 0;
}

int receive(ipmi_recv& record) {
    if (!device.receiving) device.receivingSinceMs = nowMs;
    device.receiving = true;
    const unsigned stepMs = device.arrived ? device.arrived->receiveStepMs : 250;
    require(nowMs - device.receivingSinceMs < kReceiveMs + stepMs, "receive calls are repeated for 5 s");
    expectInTime(stepMs);
    if (device.gone || !device.arrived || device.readyAtMs > nowMs || device.arrived->receiveFailures != 0) {
        const int error = device.gone ? ENODEV : device.arrived ? device.arrived->receiveErrno : EAGAIN;
        if (device.arrived && device.arrived->receiveFailures != 0) --device.arrived->receiveFailures;
        pass(stepMs);
        return failed(error);
    }
    const Answer& answer = *device.arrived;
    require(record.addr != nullptr && record.addr_len >= sizeof(ipmi_system_interface_addr),
            "there is room for the sender");
    std::memset(record.addr, 0, sizeof(ipmi_system_interface_addr));
    record.addr_len = sizeof(ipmi_system_interface_addr);
    record.recv_type = answer.receiveType;
    record.msg.netfn = answer.netfn;
    record.msg.cmd = answer.command;
    const std::size_t length = std::min<std::size_t>(answer.length, record.msg.data_len);
    const bool truncated = length < answer.length;
    std::memcpy(record.msg.data, answer.data, length);
    record.msg.data_len = static_cast<unsigned short>(length);
    device.arrived.reset();
    device.receiving = false;
    return truncated ? failed(EMSGSIZE) : 0;
}

int waitFor(pollfd& item, int timeoutMs) {
    require(timeoutMs > 0 && timeoutMs <= 5000, "a wait is of 5 s at most");
    item.revents = 0;
    if (item.fd != kDevice) {  // none is open
        pass(static_cast<std::uint64_t>(timeoutMs));
        return 0;
    }
    expectInTime(0);
    if (device.gone) {
        item.revents = POLLERR | POLLHUP;
        return 1;
    }
    if (device.pollErrno != 0) return failed(std::exchange(device.pollErrno, 0));
    const std::uint64_t until = device.arrived ? std::max(device.readyAtMs, nowMs) - nowMs : kLongestExchangeMs;
    if (until > static_cast<std::uint64_t>(timeoutMs)) {
        pass(static_cast<std::uint64_t>(timeoutMs));
        return 0;
    }
    pass(until);
    item.revents = POLLIN;
    return 1;
}

bool isOurs(const char* path) {
    return std::strncmp(path, "/proc/bus/pci", 13) == 0 || std::strncmp(path, "/etc/vmware", 11) == 0;
}

/** A file that a stream reads. */
struct Stream {
    File file;
    std::size_t place = 0;
};

ssize_t readStream(void* cookie, char* to, std::size_t size) {
    Stream& stream = *static_cast<Stream*>(cookie);
    const std::string& content = stream.file.content;
    std::size_t end = content.size();
    if (stream.file.readErrorAt) {
        if (stream.place >= *stream.file.readErrorAt) return failed(EIO);
        end = std::min(end, *stream.file.readErrorAt);
    }
    const std::size_t count = std::min(size, end - std::min(end, stream.place));
    std::memcpy(to, content.data() + (count != 0 ? stream.place : 0), count);
    stream.place += count;
    return static_cast<ssize_t>(count);
}

int seekStream(void* cookie, off64_t* offset, int whence) {
    Stream& stream = *static_cast<Stream*>(cookie);
    if (!stream.file.seekable) return failed(ESPIPE);
    const std::size_t base = whence == SEEK_END ? stream.file.content.size() : whence == SEEK_CUR ? stream.place : 0;
    stream.place = base + static_cast<std::size_t>(*offset);
    *offset = static_cast<off64_t>(stream.place);
    return 0;
}

int closeStream(void* cookie) {
    delete static_cast<Stream*>(cookie);
    --Host::get().openStreams;
    return 0;
}

FILE* openStream(const char* path, const char* mode) {
    Host& host = Host::get();
    std::optional<File> file;
    if (host.openFile) file = host.openFile(path);
    if (!file) {
        errno = ENOENT;
        return nullptr;
    }
    ++host.openStreams;
    const cookie_io_functions_t calls = {readStream, nullptr, seekStream, closeStream};
    return fopencookie(std::make_unique<Stream>(Stream{std::move(*file)}).release(), mode, calls);
}

}  // namespace

Host& Host::get() {
    static Host& host = *[] {
        require(std::freopen("/dev/null", "w", stdout) != nullptr,
                "standard output goes nowhere");  // the product greets there
        return new Host;
    }();
    return host;
}

void Host::reset() {
    tPCIInfo::disconnect_kcs();
    require(openStreams == 0 && openDevices == 0, "what was opened is closed");
    *this = Host();
    device = {};
    nowMs = kStartMs;
    tPCIInfo::MAX_KCS_BUFF_SIZE = 200;
}

void Host::expectNothingOpen() const {
    require(openStreams == 0, "every stream is closed");
    require(openDevices == (tPCIInfo::kcs_fd >= 0 ? 1 : 0), "no descriptor is lost");
    require(openDevices == 0 || lastOperation != tPCIInfo::IpmiDataStore::kDataStoreCloseOp,
            "the device is closed after a transfer");
}

}  // namespace fuzz

using fuzz::Host;
using fuzz::require;

extern "C" {

int __wrap_open(const char* path, int flags, ...) {
    if (std::strncmp(path, "/dev/ipmi", 9) == 0) {
        Host& host = Host::get();
        const int error = host.openingDevice ? host.openingDevice(path) : 0;
        if (error != 0) return fuzz::failed(error);
        require(host.openDevices == 0, "the device is opened once at a time");
        ++host.openDevices;
        fuzz::device = {};
        return fuzz::kDevice;
    }
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return __real_open(path, flags, mode);
}

int __wrap_close(int descriptor) {
    if (descriptor != fuzz::kDevice) return __real_close(descriptor);
    require(Host::get().openDevices == 1, "what is closed is open");
    --Host::get().openDevices;
    return 0;
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (descriptor == -1 && request == IPMICTL_SEND_COMMAND) ++Host::get().exchanges;  // without a device, in vain
    if (descriptor == -1) return fuzz::failed(EBADF);
    if (descriptor != fuzz::kDevice) return __real_ioctl(descriptor, request, argument);
    require(Host::get().openDevices == 1, "what is used is open");
    if (request == IPMICTL_SEND_COMMAND) return fuzz::send(*static_cast<const ipmi_req*>(argument));
    require(request == IPMICTL_RECEIVE_MSG_TRUNC, "the driver is asked to send and to receive");
    return fuzz::receive(*static_cast<ipmi_recv*>(argument));
}

int __wrap_poll(pollfd* items, nfds_t count, int timeout) {
    if (count != 1 || (items->fd != fuzz::kDevice && items->fd != -1)) return __real_poll(items, count, timeout);
    return fuzz::waitFor(*items, timeout);
}

/** libFuzzer and the runtimes read it as well: theirs goes with the machine's. */
int __wrap_clock_gettime(clockid_t which, timespec* time) {
    if (which != CLOCK_MONOTONIC) return __real_clock_gettime(which, time);
    *time = {static_cast<time_t>(fuzz::nowMs / 1000), static_cast<long>(fuzz::nowMs % 1000 * 1000000)};
    return 0;
}

int __wrap_stat(const char* path, struct stat* result) {
    if (!fuzz::isOurs(path)) return __real_stat(path, result);
    Host& host = Host::get();
    if (host.catalogueType == 0 || !host.openFile || !host.openFile(path)) return fuzz::failed(ENOENT);
    *result = {};
    result->st_mode = static_cast<mode_t>(host.catalogueType) | 0644;
    return 0;
}

FILE* __wrap_fopen(const char* path, const char* mode) {
    return fuzz::isOurs(path) ? fuzz::openStream(path, mode) : __real_fopen(path, mode);
}

int __wrap_gethostname(char* name, size_t size) {
    const std::string& own = Host::get().name;
    if (own.empty()) return fuzz::failed(EINVAL);
    std::memcpy(name, own.c_str(), std::min(size, own.size() + 1));
    return own.size() < size ? 0 : fuzz::failed(ENAMETOOLONG);
}

void __wrap_syslog(int priority, const char* format, ...) {
    require(priority == LOG_ERR, "the log's priority is 3");
    std::array<char, 1024> line{};
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    require(length >= 0, "a log line can be written");
    Host::get().trace.add(
        std::string_view(line.data(), std::min<std::size_t>(static_cast<std::size_t>(length), line.size() - 1)));
}

}  // extern "C"
