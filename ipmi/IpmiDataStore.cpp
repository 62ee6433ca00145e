// Files in the BMC's data store: the OEM command's operations, and whole-file transfers made of them.
// Tests: tests/unit/datastore_test.cpp, tests/unit/wholefile_test.cpp, tests/unit/writefile_test.cpp.
#include "ipmi/IpmiDataStore.h"

#include <linux/ipmi_msgdefs.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

#include "utils/littleendian.h"

namespace tPCIInfo {

std::uint16_t MAX_KCS_BUFF_SIZE = 200;

namespace {

constexpr std::uint16_t kChunk = 200;
constexpr std::uint16_t kSmallChunk = 58;  // fallen back to where a larger one goes wrong
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
    std::vector<std::uint8_t> request;
    request.reserve(kOpenRequestSize);
    request.assign(std::begin(IpmiDataStore::kIANA), std::end(IpmiDataStore::kIANA));
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

/** What became of a transfer's latest chunk. */
struct IpmiDataStore::Outcome {
    std::int32_t result = 0;       // the number of bytes, unless it failed
    std::uint8_t& completionCode;  // the caller's
    bool answered = true;          // false where the exchange brought no response: its result 1 counts no byte

    bool failed() const { return !answered || result < 0; }
    bool refused() const { return completionCode != DS_STATUS_OK; }
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
    answered = answer.result == 0;
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
    handle = little32(&answer.bytes[4]);
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
    const unsigned int delivered = mymin(little16(&answer.bytes[4]), count);
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
    // The count's high byte is looked for after the five bytes of the answer, where the area is zero.
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
    const Outcome outcome = readChunks(completionCode, data.data(), stopIfBlank);
    result = outcome.result;

    std::uint8_t closeCode = DS_STATUS_OK;
    const std::int32_t closeResult = Close(closeCode);
    if (!outcome.failed() && !outcome.refused()) {
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
    const Outcome outcome = writeChunks(completionCode, data);
    result = outcome.result;

    std::uint8_t closeCode = DS_STATUS_OK;
    const std::int32_t closeResult = Close(closeCode);
    const bool closeFailed = closeCode != DS_STATUS_OK || closeResult != 0;
    if (outcome.answered && !outcome.refused() && closeFailed) {
        result = low16(closeResult);
        completionCode = closeCode;
    }
    return result;
}

/**
 * Runs `transfer` (bytes wanted -> result) for the next chunk, again with a small one where a large
 * one went wrong.
 */
template <typename Transfer>
void IpmiDataStore::transferChunk(Outcome& outcome, Chunks& chunks, Transfer transfer) {
    answered = true;
    const auto attempt = [&] {
        outcome.result = transfer(chunks.next());
        outcome.answered = answered;
    };
    attempt();
    const bool wentWrong = (outcome.refused() && outcome.completionCode != kPastEnd) || outcome.result < 0;
    if (!kcsBuffAdaptive || !wentWrong || !lowerChunkLimit()) return;
    chunks.size = kSmallChunk;
    attempt();
}

IpmiDataStore::Outcome IpmiDataStore::readChunks(std::uint8_t& completionCode, std::uint8_t* area, bool stopIfBlank) {
    Chunks chunks{kcsBuffAdaptive ? chunkLimit() : kChunk, kFileArea};
    Outcome outcome{0, completionCode};
    unsigned emptyAnswers = 0;
    while (chunks.offset < chunks.total) {
        transferChunk(outcome, chunks, [&](std::uint8_t count) {
            return Read(completionCode, area + chunks.offset, count, static_cast<std::uint16_t>(chunks.offset));
        });
        if (outcome.failed() || outcome.refused()) break;
        if (chunks.offset == 0 && stopIfBlank && isBlank(area, outcome.result)) break;
        emptyAnswers = outcome.result == 0 ? emptyAnswers + 1 : 0;
        if (emptyAnswers > kMaxEmptyAnswers) break;
        chunks.offset += static_cast<std::size_t>(outcome.result);
    }
    return outcome;
}

IpmiDataStore::Outcome IpmiDataStore::writeChunks(std::uint8_t& completionCode, const ByteVector& data) {
    Chunks chunks{kcsBuffAdaptive ? chunkLimit() : kChunk, data.size()};
    Outcome outcome{0, completionCode};
    unsigned stalledWrites = 0;
    while (chunks.offset < chunks.total) {
        transferChunk(outcome, chunks, [&](std::uint8_t count) {
            return Write(completionCode, data.data() + chunks.offset, count, static_cast<std::uint16_t>(chunks.offset));
        });
        if (outcome.failed()) break;
        stalledWrites = outcome.result == 0 ? stalledWrites + 1 : 0;
        if (stalledWrites >= kMaxStalledWrites) break;
        chunks.offset += static_cast<std::size_t>(outcome.result);
    }
    return outcome;
}

}  // namespace tPCIInfo
