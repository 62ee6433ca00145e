#ifndef PCIINFO_IPMI_IPMIDATASTORE_H
#define PCIINFO_IPMI_IPMIDATASTORE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Users of the data store read the device's errors and the table's structures as well.
#include "ipmi/kcs.h"
#include "ipmi/smbios.h"

namespace tPCIInfo {

/** Every file of the data store is read as an area of this size, in bytes. */
constexpr std::size_t kFileArea = 65536;

/**
 * Allocator whose storage consists of bytes that live, zeroed at first, for as long as the storage does; elements of
 * a vector that come assign to them, elements that go leave them as they are. So the storage of such a vector may be
 * read past the vector's length, up to its capacity.
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
 * Bytes of one read or write; lowered to 58 for the rest of the process by the first larger chunk that goes wrong. Not
 * to be read or set beside transfers of other threads.
 */
extern std::uint16_t MAX_KCS_BUFF_SIZE;

/** Values of the open request's fields. */
enum accessType : std::uint8_t { kAccessRead = 1, kAccessWrite = 3 };
enum createFlag : std::uint8_t { kCreateNone = 0, kCreate = 1 };
enum characteristics : std::uint8_t { kCharacteristicsNone = 0, kCharacteristicsSet = 1 };

/** The smaller of two numbers. */
unsigned int mymin(unsigned int a, unsigned int b);

/** Copies the bytes from `first` up to `last` to `out` and gives the position after the last one copied. */
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
     * as it was, and one whose size could not be asked for too; the device stays open then, until the next
     * connect_kcs closes it. Where no device could be opened, the transfer
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
    struct Outcome;
    struct Chunks;
    class TransferScope;

    bool answered = true;        // false once an exchange of the chunk under way brought no response
    bool withoutDevice = false;  // for the length of a transfer that found no device

    Answer exchange(std::uint8_t& completionCode, std::vector<std::uint8_t>& request);
    std::int32_t finish(std::uint8_t& completionCode, std::uint8_t operation);
    Outcome readChunks(std::uint8_t& completionCode, std::uint8_t* area, bool stopIfBlank);
    Outcome writeChunks(std::uint8_t& completionCode, const ByteVector& data);
    template <typename Transfer>
    void transferChunk(Outcome& outcome, Chunks& chunks, Transfer transfer);
};

}  // namespace tPCIInfo

#endif
