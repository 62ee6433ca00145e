#ifndef PCIINFO_TESTS_FUZZ_HOST_H
#define PCIINFO_TESTS_FUZZ_HOST_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "input.h"

/**
 * A host in memory under the product's calls of the C library, which the linker leads here (`--wrap`): no directory, no
 * thread, no lock, no wait, so that a request takes microseconds. It breaks off (`require`) where the product waits
 * longer than it may, sends what the driver does not take, or closes what is not open.
 */
namespace fuzz {

/** What comes back for one request; see emulator::Answer, which says the same with all comforts. */
struct Answer {
    bool silent = false;
    bool vanish = false;
    int receiveType = 1;
    std::uint8_t netfn = 0;
    std::uint8_t command = 0;
    std::uint8_t data[600] = {};  // completion code first
    std::size_t length = 0;
    unsigned receiveFailures = 0;
    int receiveErrno = 11;
    unsigned receiveStepMs = 250;  // how long a receive call takes that fails
    unsigned delayMs = 0;
    int pollErrno = 0;

    void put(std::initializer_list<unsigned> bytes) {
        for (const unsigned byte : bytes) data[length++] = static_cast<std::uint8_t>(byte);
    }
};

/** A file of the host. */
struct File {
    std::string content;
    std::optional<std::size_t> readErrorAt;  // reading this byte, or behind it, fails
    bool seekable = true;
};

struct Host {
    // --- what there is ---
    std::function<std::optional<File>(const std::string& path)> openFile;  // below /proc/bus/pci and /etc/vmware
    std::string name = "rack7";                                            // empty: gethostname fails
    int catalogueType = 0100000;                                           // S_IFREG; what stat() says
    std::string smbiosTable;                                               // content of the data store's one file
    bool endsEmpty = true;  // reads behind the content bring no bytes; else zeros to the area's end
    /** Changes, or replaces, the answer of a BMC without faults. */
    std::function<void(Answer&)> answering;
    /** 0 or the errno with which opening the device fails. */
    std::function<int(const char* path)> openingDevice;

    // --- what happened ---
    std::size_t openStreams = 0;
    std::size_t openDevices = 0;
    std::size_t exchanges = 0;       // requests sent
    std::uint8_t lastOperation = 0;  // of the data store, the latest that was asked for
    std::uint64_t waitedMs = 0;
    Digest trace;         // log lines and requests sent
    std::string written;  // what came by write requests, each at its offset

    /** The host of this process; the product's calls reach it. */
    static Host& get();
    /** A host like a new one; its clock begins anew. */
    void reset();
    /**
     * What has to hold after each request: nothing is open but a device that the product knows of, and that one only
     * where the last transfer did not come to its close.
     */
    void expectNothingOpen() const;
};

}  // namespace fuzz

#endif
