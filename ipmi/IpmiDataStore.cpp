#include "ipmi/IpmiDataStore.h"

#include <fcntl.h>
#include <linux/ipmi.h>
#include <linux/ipmi_msgdefs.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

namespace tPCIInfo {

std::int32_t kcs_fd = -1;
std::uint16_t MAX_KCS_BUFF_SIZE = 200;

// A 32-bit build has these request numbers; the macros follow the records' sizes elsewhere.
static_assert(sizeof(void*) != 4 || IPMICTL_SEND_COMMAND == 0x8014690DUL, "send request of linux/ipmi.h");
static_assert(sizeof(void*) != 4 || IPMICTL_RECEIVE_MSG_TRUNC == 0xC018690BUL, "receive request of linux/ipmi.h");

namespace {

constexpr std::int32_t kNoDevice = -1;

/** Guards kcs_fd and the device behind it: one transfer, and one exchange, at a time. */
std::recursive_mutex& deviceMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

using DeviceLock = std::unique_lock<std::recursive_mutex>;

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

/** sendIPMICMD on the device that is given; on none it fails after the same calls and the same wait. */
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

}  // namespace

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

// ---------------------------------------------------------------------------------------------------------------
// Data store

namespace {

constexpr std::uint16_t kChunk = 200;
constexpr std::uint16_t kSmallChunk = 58;  // what a BMC with a small message buffer still takes
constexpr std::uint8_t kPastEnd = 0xA0;    // completion code that ends a file without being a refusal of the chunk
constexpr unsigned kMaxEmptyAnswers = 16;
constexpr unsigned kMaxStalledWrites = 16;

constexpr std::size_t kHeaderSize = 4;
constexpr std::size_t kOpenNameOffset = 12;
constexpr std::size_t kOpenRequestSize = 44;
constexpr std::size_t kQuerySizeRequestSize = 35;
// The driver refuses a message longer than this, network function and command included.
constexpr std::size_t kMaxRequest = IPMI_MAX_MSG_LENGTH - 2;

std::vector<std::uint8_t> requestFor(std::uint8_t operation) {
    std::vector<std::uint8_t> request(std::begin(IpmiDataStore::kIANA), std::end(IpmiDataStore::kIANA));
    request.push_back(operation);
    return request;
}

/** Appends the low `bytes` bytes of `number`, least significant first. */
void append(std::vector<std::uint8_t>& request, std::uint32_t number, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i) request.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

/** Puts the name at `offset` of a request that is then `size` bytes long, zeroed where nothing else stands. */
void placeName(std::vector<std::uint8_t>& request, std::size_t offset, std::size_t size, const std::string& name) {
    request.resize(size);
    const auto* text = reinterpret_cast<const std::uint8_t*>(name.data());
    mycopy(text, text + name.size(), request.begin() + static_cast<std::ptrdiff_t>(offset));
}

std::uint16_t number16(const std::uint8_t* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

std::uint32_t number32(const std::uint8_t* bytes) {
    return number16(bytes) | static_cast<std::uint32_t>(number16(bytes + 2)) << 16;
}

std::int32_t low16(std::int32_t number) {
    return static_cast<std::uint16_t>(number);
}

/** Guards MAX_KCS_BUFF_SIZE: transfers without a device run beside one that has it. */
std::mutex& chunkLimitMutex() {
    static std::mutex mutex;
    return mutex;
}

std::uint16_t chunkLimit() {
    const std::lock_guard<std::mutex> lock(chunkLimitMutex());
    return MAX_KCS_BUFF_SIZE;
}

/** Lowers the limit for the rest of the process; false where it is as low already. */
bool lowerChunkLimit() {
    const std::lock_guard<std::mutex> lock(chunkLimitMutex());
    if (MAX_KCS_BUFF_SIZE <= kSmallChunk) return false;
    MAX_KCS_BUFF_SIZE = kSmallChunk;
    return true;
}

bool isBlank(const std::uint8_t* bytes, std::int32_t count) {
    return std::all_of(bytes, bytes + count, [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace

unsigned int mymin(unsigned int a, unsigned int b) {
    return b < a ? b : a;
}

std::vector<std::uint8_t>::iterator mycopy(const std::uint8_t* first, const std::uint8_t* last,
                                           std::vector<std::uint8_t>::iterator out) {
    return std::copy(first, last, out);
}

/** A BMC may answer up to kMaxResponse bytes to anything; what did not come is zero. */
struct IpmiDataStore::Answer {
    std::uint32_t result = 1;
    std::uint16_t length = 0;
    std::array<std::uint8_t, kMaxResponse> bytes{};
};

/** Where a whole-file transfer stands: from `offset` on, `total` bytes in all, `size` bytes at a time. */
struct IpmiDataStore::Chunks {
    std::uint16_t size;
    std::size_t total;
    std::size_t offset = 0;

    std::uint8_t next() const {
        return static_cast<std::uint8_t>(mymin(size, static_cast<unsigned int>(total - offset)));
    }
};

/**
 * One whole-file transfer of a store, begun with the device locked. With a device it keeps the lock to its end. Without
 * one there is nothing to guard: others may run beside it, and it exchanges on no device even when one of them opens
 * one meanwhile. A transfer that it runs within itself, from an overridden operation, leaves that as it was.
 */
class IpmiDataStore::TransferScope {
 public:
    TransferScope(IpmiDataStore& store, DeviceLock lock)
        : store_(store), outerWithoutDevice_(store.withoutDevice), lock_(std::move(lock)) {
        store_.withoutDevice = kcs_fd < 0;
        if (store_.withoutDevice) lock_.unlock();
    }
    ~TransferScope() { store_.withoutDevice = outerWithoutDevice_; }
    TransferScope(const TransferScope&) = delete;
    TransferScope& operator=(const TransferScope&) = delete;

 private:
    IpmiDataStore& store_;
    const bool outerWithoutDevice_;
    DeviceLock lock_;
};

IpmiDataStore::Answer IpmiDataStore::exchange(std::uint8_t& completionCode, std::vector<std::uint8_t>& request) {
    Answer answer;
    const auto length = static_cast<std::uint16_t>(request.size());
    if (withoutDevice) {
        answer.result = exchangeOn(kNoDevice, kDataStoreCode, request.data(), length, answer.bytes.data(),
                                   answer.length, kDataStoreNetfn);
        completionCode = answer.bytes[0];
    } else {
        answer.result = sendIPMI(kDataStoreCode, request.data(), length, answer.bytes.data(), answer.length,
                                 completionCode, kDataStoreNetfn);
    }
    exchangeFailed = answer.result != 0;
    return answer;
}

bool IpmiDataStore::isFileOpen() {
    return fileOpen;
}

std::int32_t IpmiDataStore::Open(std::uint8_t& completionCode, accessType access, characteristics traits,
                                 std::uint16_t fileSize, createFlag create, std::uint8_t openOption,
                                 const std::string& name) {
    fileOpen = false;
    if (name.size() >= kOpenRequestSize - kOpenNameOffset) return -1;
    std::vector<std::uint8_t> request = requestFor(kDataStoreOpenOp);
    append(request, access, 1);
    append(request, traits, 1);
    append(request, fileSize, 4);
    append(request, create, 1);
    append(request, openOption, 1);
    placeName(request, kOpenNameOffset, kOpenRequestSize, name);

    const Answer answer = exchange(completionCode, request);
    if (answer.result != 0 || completionCode != DS_STATUS_OK) return static_cast<std::int32_t>(answer.result);
    if (answer.length <= 6) return -1;
    handle = number32(&answer.bytes[4]);
    fileOpen = true;
    return 0;
}

std::int32_t IpmiDataStore::Read(std::uint8_t& completionCode, std::uint8_t* buffer, std::uint8_t count,
                                 std::uint16_t offset) {
    if (buffer == nullptr) return -1;
    std::vector<std::uint8_t> request = requestFor(kDataStoreReadOp);
    append(request, handle, 4);
    append(request, offset, 4);
    append(request, count, 1);
    append(request, 0, 1);

    const Answer answer = exchange(completionCode, request);
    if (answer.result != 0) return static_cast<std::int32_t>(answer.result);
    if (completionCode != DS_STATUS_OK) return 0;
    if (answer.length <= 5) return -1;
    const unsigned int delivered = mymin(number16(&answer.bytes[4]), count);
    std::copy_n(&answer.bytes[6], delivered, buffer);
    return static_cast<std::int32_t>(delivered);
}

std::int32_t IpmiDataStore::Write(std::uint8_t& completionCode, const std::uint8_t* data, std::uint8_t count,
                                  std::uint16_t offset) {
    if (data == nullptr) return -1;
    if (count == 0) return 0;
    std::vector<std::uint8_t> request = requestFor(kDataStoreWriteOp);
    append(request, handle, 4);
    append(request, offset, 4);
    request.insert(request.end(), data, data + count);

    const Answer answer = exchange(completionCode, request);
    if (answer.result != 0) return static_cast<std::int32_t>(answer.result);
    if (completionCode != DS_STATUS_OK) return 0;
    if (answer.length != 5) return -1;
    // The count's high byte is looked for behind the five bytes of the answer, where the area is zero.
    return answer.bytes[3] + 256 * answer.bytes[5];
}

std::int32_t IpmiDataStore::WriteDefaults(std::uint8_t& completionCode) {
    return finish(completionCode, kDataStoreWriteDefaultsOp);
}

std::int32_t IpmiDataStore::Close(std::uint8_t& completionCode) {
    return finish(completionCode, kDataStoreCloseOp);
}

std::int32_t IpmiDataStore::finish(std::uint8_t& completionCode, std::uint8_t operation) {
    if (!fileOpen) return -1;
    fileOpen = false;
    std::vector<std::uint8_t> request = requestFor(operation);
    append(request, handle, 4);
    return static_cast<std::int32_t>(exchange(completionCode, request).result);
}

std::int32_t IpmiDataStore::QuerySize(std::uint8_t& completionCode, const std::string& name, std::uint32_t& size) {
    if (name.size() >= kQuerySizeRequestSize - kHeaderSize) return -1;
    std::vector<std::uint8_t> request = requestFor(kDataStoreQuerySizeOp);
    placeName(request, kHeaderSize, kQuerySizeRequestSize, name);
    const Answer answer = exchange(completionCode, request);
    if (answer.result == 0 && completionCode == DS_STATUS_OK) size = 0;
    return static_cast<std::int32_t>(answer.result);
}

std::int32_t IpmiDataStore::DeleteFile(std::uint8_t& completionCode, const std::string& name) {
    if (name.size() > kMaxRequest - kHeaderSize) return -1;
    std::vector<std::uint8_t> request = requestFor(kDataStoreDeleteOp);
    placeName(request, kHeaderSize, kHeaderSize + name.size(), name);
    return static_cast<std::int32_t>(exchange(completionCode, request).result);
}

std::int32_t IpmiDataStore::ReadFile(std::uint8_t& completionCode, const std::string& name, ByteVector& data,
                                     bool characteristic, std::uint8_t openOption, accessType access,
                                     bool stopIfBlank) {
    DeviceLock lock(deviceMutex());
    if (connect_kcs() < 0) {
        disconnect_kcs();
        return -1;
    }
    const TransferScope scope(*this, std::move(lock));
    std::int32_t result =
        Open(completionCode, access, static_cast<characteristics>(characteristic), 0, kCreateNone, openOption, name);
    if (completionCode != DS_STATUS_OK || result != 0) return result;
    std::uint32_t size = 0;
    result = QuerySize(completionCode, name, size);
    if (completionCode != DS_STATUS_OK || result != 0) return result;

    data.resize(kFileArea);
    data.clear();
    result = readChunks(completionCode, data.data(), stopIfBlank);
    const bool readToItsEnd = !exchangeFailed && result >= 0 && completionCode == DS_STATUS_OK;

    std::uint8_t closeCode = DS_STATUS_OK;
    const std::int32_t closeResult = Close(closeCode);
    if (readToItsEnd) {
        result = low16(closeResult);
        completionCode = closeCode;
    }
    if (!withoutDevice) disconnect_kcs();  // what is open then is another transfer's
    return result;
}

std::int32_t IpmiDataStore::WriteFile(std::uint8_t& completionCode, const std::string& name, const ByteVector& data,
                                      bool characteristic, std::uint8_t openOption) {
    const TransferScope scope(*this, DeviceLock(deviceMutex()));
    std::int32_t result = Open(completionCode, kAccessWrite, static_cast<characteristics>(characteristic),
                               static_cast<std::uint16_t>(data.size()), kCreate, openOption, name);
    if (completionCode != DS_STATUS_OK || result != 0) return result;
    result = writeChunks(completionCode, data);
    const bool exchangesDone = !exchangeFailed;

    std::uint8_t closeCode = DS_STATUS_OK;
    const std::int32_t closeResult = Close(closeCode);
    if (exchangesDone && completionCode == DS_STATUS_OK && (closeCode != DS_STATUS_OK || closeResult != 0)) {
        result = low16(closeResult);
        completionCode = closeCode;
    }
    return result;
}

/** Runs `transfer` (bytes wanted -> result) for the next chunk, again with a small one where a large one went wrong. */
template <typename Transfer>
std::int32_t IpmiDataStore::transferChunk(std::uint8_t& completionCode, Chunks& chunks, Transfer transfer) {
    exchangeFailed = false;
    const std::int32_t result = transfer(chunks.next());
    const bool wentWrong = (completionCode != DS_STATUS_OK && completionCode != kPastEnd) || result < 0;
    if (!kcsBuffAdaptive || !wentWrong || !lowerChunkLimit()) return result;
    chunks.size = kSmallChunk;
    return transfer(chunks.next());
}

std::int32_t IpmiDataStore::readChunks(std::uint8_t& completionCode, std::uint8_t* area, bool stopIfBlank) {
    Chunks chunks{kcsBuffAdaptive ? chunkLimit() : kChunk, kFileArea};
    unsigned emptyAnswers = 0;
    std::int32_t result = 0;
    while (chunks.offset < chunks.total) {
        result = transferChunk(completionCode, chunks, [&](std::uint8_t count) {
            return Read(completionCode, area + chunks.offset, count, static_cast<std::uint16_t>(chunks.offset));
        });
        if (exchangeFailed || completionCode != DS_STATUS_OK || result < 0) break;
        if (chunks.offset == 0 && stopIfBlank && isBlank(area, result)) break;
        emptyAnswers = result == 0 ? emptyAnswers + 1 : 0;
        if (emptyAnswers > kMaxEmptyAnswers) break;
        chunks.offset += static_cast<std::size_t>(result);
    }
    return result;
}

std::int32_t IpmiDataStore::writeChunks(std::uint8_t& completionCode, const ByteVector& data) {
    Chunks chunks{kcsBuffAdaptive ? chunkLimit() : kChunk, data.size()};
    unsigned stalledWrites = 0;
    std::int32_t result = 0;
    while (chunks.offset < chunks.total) {
        result = transferChunk(completionCode, chunks, [&](std::uint8_t count) {
            return Write(completionCode, data.data() + chunks.offset, count, static_cast<std::uint16_t>(chunks.offset));
        });
        if (exchangeFailed || result < 0) break;
        stalledWrites = result == 0 ? stalledWrites + 1 : 0;
        if (stalledWrites >= kMaxStalledWrites) break;
        chunks.offset += static_cast<std::size_t>(result);
    }
    return result;
}

// ---------------------------------------------------------------------------------------------------------------
// SMBIOS structures

namespace {

/** A walk over one structure's string set, a byte at a time, counting the strings begun. */
class StringWalk {
 public:
    StringWalk(const std::uint8_t* structure, const std::uint8_t* end) : place_(structure), end_(end) {
        if (left() < 2 || left() < structure[1] + 2) {
            place_ = end_;
        } else {
            place_ += structure[1];
        }
    }

    bool inside() const { return left() >= 2; }
    bool atEndOfSet() const { return place_[0] == 0 && place_[1] == 0; }
    bool runs() const { return inside() && !atEndOfSet(); }
    void step() { number_ += *place_++ == 0 ? 1 : 0; }

    const std::uint8_t* place() const { return place_; }
    int number() const { return number_; }

 private:
    std::ptrdiff_t left() const { return end_ - place_; }

    const std::uint8_t* place_;
    const std::uint8_t* end_;
    int number_ = 1;
};

}  // namespace

const std::uint8_t* get_next_struct_address(const std::uint8_t* structure, const std::uint8_t* end) {
    StringWalk walk(structure, end);
    while (walk.runs()) walk.step();
    return walk.inside() ? walk.place() + 2 : nullptr;
}

int get_string_number(const std::uint8_t* structure, const std::uint8_t* end) {
    StringWalk walk(structure, end);
    if (!walk.runs()) return 0;
    while (walk.runs()) walk.step();
    return walk.number();
}

const char* find_string(const std::uint8_t* structure, std::uint8_t number, const std::uint8_t* end) {
    StringWalk walk(structure, end);
    while (walk.runs() && walk.number() != number) walk.step();
    return walk.runs() ? reinterpret_cast<const char*>(walk.place()) : nullptr;
}

}  // namespace tPCIInfo
