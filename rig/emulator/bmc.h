#ifndef PCIINFO_EMULATOR_BMC_H
#define PCIINFO_EMULATOR_BMC_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace emulator {

using Bytes = std::vector<std::uint8_t>;

/** One IPMI request as the system interface hands it over: network function (even), command, data bytes. */
struct Request {
    std::uint8_t netfn = 0;
    std::uint8_t command = 0;
    Bytes data;
};

/**
 * What comes back for one request. A faultless answer is of message type 1 (response), carries the request's network
 * function + 1 and its command, and its first data byte is the completion code.
 */
struct Answer {
    bool silent = false;  // nothing ever arrives: the waiting side runs into its time-out
    bool vanish = false;  // the device disappears instead of answering
    int receiveType = 1;  // IPMI_RESPONSE_RECV_TYPE and its neighbours
    std::uint8_t netfn = 0;
    std::uint8_t command = 0;
    Bytes data;                    // completion code first; may be empty or longer than the driver carries (272)
    unsigned receiveFailures = 0;  // so many receive calls fail first ...
    int receiveErrno = 11;         // ... with this errno (EAGAIN)
    std::uint32_t delayMs = 0;     // time between the request and its answer
    int pollErrno = 0;             // not 0: the first wait for the answer fails with this errno
};

/** What a fault waits for: a data-store operation, any message, or an attempt to open the device. */
enum class Occasion { open, read, write, writeDefaults, close, querySize, remove, any, deviceOpen };

/**
 * One line of the fault script: from the `from`-th occasion on (counted from 1), `times` times (0: for ever), the
 * answer that the model would give is changed by every member that is set: first its data (completionCode, countField,
 * data, length, in this order), then the rest. An operation that is refused, timed out or cut off by the device's
 * vanishing is not carried out; with every other fault it is. Several faults may meet one message; they apply in the
 * order in which they were added, and each counts its own occasions.
 */
struct Fault {
    Occasion on = Occasion::any;
    unsigned from = 1;
    unsigned times = 1;

    std::optional<std::uint8_t> completionCode;  // the operation is refused: this code, nothing after the header
    std::optional<std::uint16_t> length;         // the answer is cut or zero-extended to so many bytes
    std::optional<std::uint8_t> netfn;
    std::optional<std::uint8_t> command;
    std::optional<int> receiveType;
    std::optional<std::uint16_t> countField;  // what a read answer claims to deliver
    std::optional<Bytes> data;                // the whole answer, completion code first
    std::optional<unsigned> receiveFailures;
    std::optional<int> receiveErrno;
    std::optional<std::uint32_t> delayMs;
    std::optional<int> pollErrno;
    bool timeout = false;
    bool vanish = false;   // the device goes away instead of answering; open again to find it back
    bool missing = false;  // for deviceOpen: the device is not there
};

/**
 * A BMC with a data store, as a model: requests in, answers out. It makes no system call, reads no clock and takes no
 * lock; whoever lets it answer for a device or a socket serialises the calls and does the waiting.
 *
 * The data store answers network function 2Eh, command 90h with the enterprise number D9 7E 00: open, read, write,
 * write defaults, close, query size and delete, on any number of named files. Everything else is refused with
 * completion code C1h, a request that is too short for its operation with C7h.
 *
 * A file is a fixed area of 64 KiB of which the content fills the beginning: a read delivers all the bytes that it
 * wants, zeros after the content, up to the end of the area; there and beyond, it is answered with A0h. See
 * setEndOfFile for stores that end where the content ends.
 *
 * An answer starts with the completion code and the enterprise number, a refusal has nothing else. Open goes on with
 * the handle (4 bytes), query size with the content's size (4 bytes), read with the count (2 bytes) and the data;
 * close, write defaults and delete are 8 bytes long. The answer to a write is 5 bytes: its byte 3 carries the count's
 * low byte.
 */
class Bmc {
 public:
    static constexpr std::uint8_t kNetfn = 0x2E;
    static constexpr std::uint8_t kCommand = 0x90;
    static constexpr std::size_t kFileArea = 65536;
    static constexpr std::uint8_t kPastEnd = 0xA0;
    static constexpr std::uint8_t kReadRefused = 0x0D;  // the data store's "limit" code, for reads over the limit

    void putFile(const std::string& name, Bytes content);
    void putDefaults(const std::string& name, Bytes content);  // what "write defaults" puts back
    std::optional<Bytes> file(const std::string& name) const;

    /** Reads that ask for more bytes are refused; 0: no limit. */
    void setReadLimit(std::size_t bytes) { readLimit_ = bytes; }
    /** Files end where their content ends: reads there deliver short counts, and A0h from the end on. */
    void setEndOfFile(bool atContentEnd) { endOfFile_ = atContentEnd; }
    void addFault(const Fault& fault) { faults_.push_back({fault, 0}); }
    void clearFaults() { faults_.clear(); }

    Answer answer(const Request& request);

    /** The fault, if any, that meets an attempt to open the device; counts the attempt. */
    bool deviceMissing();

    /** The client's connection is gone, and with it the handles that it did not close. */
    void deviceClosed() { open_.clear(); }

    std::size_t openFiles() const { return open_.size(); }
    /** How often a file was opened while a transfer of another (from open to close) was still under way. */
    unsigned interleavedTransfers() const { return interleaved_; }

 private:
    struct OpenFile {
        std::string name;
        bool writing = false;
    };
    struct ScriptedFault {
        Fault fault;
        unsigned seen = 0;
    };

    /** One of the data store's operations. */
    struct Operation {
        Occasion occasion;
        std::size_t shortest;  // request, in bytes
        Bytes (Bmc::*perform)(const Bytes& request);
    };

    /** What a request asks for; null, with the answer's data in `refusal`, where it is refused. */
    static const Operation* parse(const Request& request, Bytes& refusal);
    std::vector<const Fault*> faultsDue(std::initializer_list<Occasion> occasions);
    Bytes open(const Bytes& request);
    Bytes read(const Bytes& request);
    Bytes write(const Bytes& request);
    Bytes writeDefaults(const Bytes& request);
    Bytes close(const Bytes& request);
    Bytes querySize(const Bytes& request);
    Bytes remove(const Bytes& request);
    /** The open file that the request's handle stands for; null when there is none, or its file was deleted. */
    const OpenFile* openFile(const Bytes& request) const;

    std::map<std::string, Bytes> files_;
    std::map<std::string, Bytes> defaults_;
    std::map<std::uint32_t, OpenFile> open_;
    std::vector<ScriptedFault> faults_;
    std::uint32_t nextHandle_ = 0x00C0DE01;
    std::size_t readLimit_ = 0;
    bool endOfFile_ = false;
    unsigned interleaved_ = 0;
};

}  // namespace emulator

#endif
