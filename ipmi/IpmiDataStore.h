#ifndef PCIINFO_IPMI_IPMIDATASTORE_H
#define PCIINFO_IPMI_IPMIDATASTORE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tPCIInfo {

// ---------------------------------------------------------------------------------------------------------------
// Transport: one IPMI request and its response through the Linux driver's character device (linux/ipmi.h).
//
// Every function may be called from any thread. While a device is open, a lock covers each call of connect_kcs and
// disconnect_kcs, each exchange and, in IpmiDataStore, each whole transfer; it is held while the BMC is waited for,
// never while the object manager is called. Without a device it is not held while waiting: exchanges and transfers
// that found none run side by side.
//
// The lock does not span calls. Between connect_kcs and an exchange, a WriteFile or a data store's single operations,
// another thread's connect_kcs, disconnect_kcs or ReadFile can close the device or open it anew: what follows then
// fails as without a device, or finds a BMC that has been asked other things since. A caller who needs several calls in
// a row keeps other threads away meanwhile. ReadFile alone opens the device within its one call, and closes it there
// unless the file could not be opened.

/** The open descriptor of the IPMI device, -1 when none is open. The process has one; not to be read beside calls. */
extern std::int32_t kcs_fd;

/** The largest response that the driver carries, completion code included. */
constexpr std::size_t kMaxResponse = 272;

/** Opens /dev/ipmi0, else /dev/ipmidev/0, after closing what was open. 0 when a device is open afterwards, else 1. */
int connect_kcs();

/** Closes the device if one is open. */
void disconnect_kcs();

/**
 * Sends one request to the BMC and waits for its response: at most 5 s for it to arrive and 5 s for a receive call to
 * succeed after that.
 *
 * `response` must have room for kMaxResponse bytes: whatever came is copied, completion code first, and `responseLen`
 * set to its length. Returns 0; or 1, with the response area untouched, when nothing came in time or what came is no
 * response to this network function and command.
 */
std::uint32_t sendIPMICMD(std::uint8_t cmd, std::uint8_t* data, std::uint16_t dataLen, std::uint8_t* response,
                          std::uint16_t& responseLen, std::uint8_t netfn);

/**
 * sendIPMICMD, and the first byte of the response area as completion code: after a failed exchange that is whatever
 * the caller's area held.
 */
std::uint32_t sendIPMI(std::uint8_t cmd, std::uint8_t* data, std::uint16_t dataLen, std::uint8_t* response,
                       std::uint16_t& responseLen, std::uint8_t& completionCode, std::uint8_t netfn);

// ---------------------------------------------------------------------------------------------------------------
// Data store

/** Every file of the data store is read as an area of this size, in bytes. */
constexpr std::size_t kFileArea = 65536;

/**
 * Allocator whose storage consists of bytes that live, zeroed at first, for as long as the storage does; elements of
 * a vector that come assign to them, elements that go leave them as they are. So the storage of such a vector may be
 * read behind the vector's length, up to its capacity.
 */
template <typename Byte>
struct StorageAllocator {
    static_assert(sizeof(Byte) == 1, "storage is made of bytes");
    using value_type = Byte;

    StorageAllocator() = default;
    template <typename Other>
    explicit StorageAllocator(const StorageAllocator<Other>&) {}

    Byte* allocate(std::size_t count) { return new Byte[count](); }
    void deallocate(Byte* storage, std::size_t) { delete[] storage; }

    void construct(Byte* place) { *place = 0; }
    template <typename Content>
    void construct(Byte* place, const Content& content) {
        *place = static_cast<Byte>(content);
    }
    void destroy(Byte*) {}

    friend bool operator==(const StorageAllocator&, const StorageAllocator&) { return true; }
    friend bool operator!=(const StorageAllocator&, const StorageAllocator&) { return false; }
};

/** A vector of bytes whose storage, data() to data() + capacity(), may be read whatever its length is. */
using ByteVector = std::vector<std::uint8_t, StorageAllocator<std::uint8_t>>;

/**
 * Bytes of one read or write; lowered to 58 for the rest of the process by the first BMC that refuses more. Not to be
 * read or set beside transfers of other threads.
 */
extern std::uint16_t MAX_KCS_BUFF_SIZE;

/** Values of the open request's fields. */
enum accessType : std::uint8_t { kAccessRead = 1, kAccessWrite = 3 };
enum createFlag : std::uint8_t { kCreateNone = 0, kCreate = 1 };
enum characteristics : std::uint8_t { kCharacteristicsNone = 0, kCharacteristicsSet = 1 };

/** The smaller of two numbers. */
unsigned int mymin(unsigned int a, unsigned int b);

/** Copies the bytes from `first` up to `last` to `out` and gives the position behind the last one copied. */
std::vector<std::uint8_t>::iterator mycopy(const std::uint8_t* first, const std::uint8_t* last,
                                           std::vector<std::uint8_t>::iterator out);

/**
 * Files in the BMC's data store, by an OEM command (network function 2Eh, command 90h; integers little-endian).
 *
 * Every operation gives 1 when the exchange itself failed and -1 for a request that could not be made or an answer too
 * short; `completionCode` is the BMC's (DS_STATUS_*), 0 after a failed exchange, and untouched when nothing was sent.
 * Callers treat a nonzero result or completion code as failure. An object serves one transfer on one thread.
 */
class IpmiDataStore {
 public:
    /**
     * The enterprise number that every request begins with, least significant byte first: 32473, reserved for
     * documentation (RFC 5612). To be replaced by the BMC maker's.
     */
    static constexpr std::uint8_t kIANA[3] = {0xD9, 0x7E, 0x00};
    static constexpr std::uint8_t kDataStoreNetfn = 0x2E;
    static constexpr std::uint8_t kDataStoreCode = 0x90;

    static constexpr std::uint8_t kDataStoreOpenOp = 1;
    static constexpr std::uint8_t kDataStoreReadOp = 2;
    static constexpr std::uint8_t kDataStoreWriteOp = 3;
    static constexpr std::uint8_t kDataStoreWriteDefaultsOp = 4;
    static constexpr std::uint8_t kDataStoreCloseOp = 5;
    static constexpr std::uint8_t kDataStoreQuerySizeOp = 6;
    static constexpr std::uint8_t kDataStoreDeleteOp = 7;

    static constexpr std::uint8_t DS_STATUS_OK = 0x00;
    static constexpr std::uint8_t DS_STATUS_EACCESS = 0x0A;
    static constexpr std::uint8_t DS_STATUS_EWRITE = 0x0B;
    static constexpr std::uint8_t DS_STATUS_EREAD = 0x0C;
    static constexpr std::uint8_t DS_STATUS_ELIMIT = 0x0D;
    static constexpr std::uint8_t DS_STATUS_EDEFAULT = 0x0E;
    static constexpr std::uint8_t DS_STATUS_ELOCK = 0x0F;
    static constexpr std::uint8_t DS_STATUS_EVOLATILE = 0x10;
    static constexpr std::uint8_t DS_STATUS_ELOGACCESS = 0x14;
    static constexpr std::uint8_t DS_STATUS_ELOGWRITE = 0x15;
    static constexpr std::uint8_t DS_STATUS_ELOGREAD = 0x16;
    static constexpr std::uint8_t DS_STATUS_ELOGSIZE = 0x17;
    static constexpr std::uint8_t DS_STATUS_EOTHER = 0x18;

    IpmiDataStore() = default;
    virtual ~IpmiDataStore() = default;
    IpmiDataStore(const IpmiDataStore&) = default;
    IpmiDataStore& operator=(const IpmiDataStore&) = default;

    virtual bool isFileOpen();

    /** Opens a file; 0 when it is open. A name of 32 or more characters does not fit: -1, nothing is sent. */
    virtual std::int32_t Open(std::uint8_t& completionCode, accessType access, characteristics traits,
                              std::uint16_t fileSize, createFlag create, std::uint8_t openOption,
                              const std::string& name);

    /** Reads at most `count` bytes at `offset`; their number, 0 when the BMC refuses. -1 for a null buffer. */
    virtual std::int32_t Read(std::uint8_t& completionCode, std::uint8_t* buffer, std::uint8_t count,
                              std::uint16_t offset);

    /** Writes `count` bytes at `offset`; the number that the BMC took, 0 when it refuses. -1 for null data. */
    virtual std::int32_t Write(std::uint8_t& completionCode, const std::uint8_t* data, std::uint8_t count,
                               std::uint16_t offset);

    /** Puts the open file's defaults back and closes it. -1 when no file is open. */
    virtual std::int32_t WriteDefaults(std::uint8_t& completionCode);

    /** Closes the open file. -1 when none is. */
    virtual std::int32_t Close(std::uint8_t& completionCode);

    /**
     * Reads a whole file into the storage of `data`, from its first byte; the vector's length is 0 afterwards and its
     * storage at least kFileArea bytes. The result is 0 for a file read to its end, and for one that the completion
     * code A0h ended earlier; the number of bytes read is not told. A file that could not be opened leaves `data`
     * as it was and the device open; the next connect_kcs closes it. Where no device could be opened, the transfer
     * goes without one to its end: it fails with the first exchange.
     */
    virtual std::int32_t ReadFile(std::uint8_t& completionCode, const std::string& name, ByteVector& data,
                                  bool characteristic, std::uint8_t openOption, accessType access, bool stopIfBlank);

    /**
     * Writes a whole file on the device that the caller has open (connect_kcs) and that no other thread closes before
     * this call. The result is that of the last Write, the number of bytes in it, not 0, after success.
     */
    virtual std::int32_t WriteFile(std::uint8_t& completionCode, const std::string& name, const ByteVector& data,
                                   bool characteristic, std::uint8_t openOption);

    /** Asks for a file's size; the answer carries none that is read, so `size` becomes 0. 31 or more characters: -1. */
    virtual std::int32_t QuerySize(std::uint8_t& completionCode, const std::string& name, std::uint32_t& size);

    /** Deletes a file. A name longer than one message carries: -1, nothing is sent. */
    virtual std::int32_t DeleteFile(std::uint8_t& completionCode, const std::string& name);

 protected:
    bool kcsBuffAdaptive = true;  // chunks follow MAX_KCS_BUFF_SIZE and may lower it; else they are of 200 bytes
    bool fileOpen = false;
    std::uint32_t handle = 0;  // the BMC's, from Open

 private:
    struct Answer;
    struct Chunks;
    class TransferScope;

    bool exchangeFailed = false;  // the last exchange brought no response; its result 1 counts no byte
    bool withoutDevice = false;   // for the length of a transfer that found no device

    Answer exchange(std::uint8_t& completionCode, std::vector<std::uint8_t>& request);
    std::int32_t finish(std::uint8_t& completionCode, std::uint8_t operation);
    std::int32_t readChunks(std::uint8_t& completionCode, std::uint8_t* area, bool stopIfBlank);
    std::int32_t writeChunks(std::uint8_t& completionCode, const ByteVector& data);
    template <typename Transfer>
    std::int32_t transferChunk(std::uint8_t& completionCode, Chunks& chunks, Transfer transfer);
};

// ---------------------------------------------------------------------------------------------------------------
// SMBIOS structures (DMTF DSP0134) in memory. `end` is the end of the storage that may be read; a structure is its
// formatted area, whose length stands in byte 1, and the set of zero-terminated strings behind it, which ends with one
// more zero byte (two for an empty set).

/** The structure that follows; null when this one's formatted area or string set runs past the end. */
const std::uint8_t* get_next_struct_address(const std::uint8_t* structure, const std::uint8_t* end);

/** The number of strings in the set, 0 for an empty one; of a set that runs past the end, those that begin before it.
 */
int get_string_number(const std::uint8_t* structure, const std::uint8_t* end);

/** The first character of string `number`, counted from 1; null when there is none. */
const char* find_string(const std::uint8_t* structure, std::uint8_t number, const std::uint8_t* end);

}  // namespace tPCIInfo

#endif
