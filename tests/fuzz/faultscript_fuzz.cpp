// Fault scripts: read or refused with the file's name, and then obeyed by the model of the BMC, which without its
// faults answers as one that never had any.
#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "emulator/faultscript.h"
#include "input.h"

namespace {

using emulator::Bmc;
using emulator::Bytes;
using fuzz::require;

/** The one file of the process, in memory, with that content. */
const std::string& fileWith(const std::uint8_t* bytes, std::size_t size) {
    static const int descriptor = memfd_create("faults.json", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    require(ftruncate(descriptor, 0) == 0 && pwrite(descriptor, bytes, size, 0) == static_cast<ssize_t>(size),
            "a file in memory can be written");
    return path;
}

Bytes request(unsigned operation, std::size_t size) {
    Bytes bytes(size, 0);
    const Bytes head = {0xD9, 0x7E, 0x00, static_cast<std::uint8_t>(operation)};
    std::copy(head.begin(), head.end(), bytes.begin());
    return bytes;
}

/** An open, reads, a size, a close; the answers in a row. */
Bytes transfer(Bmc& bmc) {
    Bytes all;
    std::uint32_t handle = 0;
    const auto exchange = [&](Bytes data) {
        for (unsigned i = 0; i < 4 && data[3] != 1 && data[3] != 6; ++i)
            data[4 + i] = static_cast<std::uint8_t>(handle >> 8 * i);
        const emulator::Answer answer = bmc.answer({Bmc::kNetfn, Bmc::kCommand, data});
        require(answer.data.size() <= 0x10000, "an answer has a length that a driver could carry");
        if (data[3] == 1 && answer.data.size() == 8)
            handle = static_cast<std::uint32_t>(answer.data[4] | answer.data[5] << 8 | answer.data[6] << 16);
        if (data[3] != 1) all.insert(all.end(), answer.data.begin(), answer.data.end());
    };
    bmc.deviceMissing();
    Bytes open = request(1, 44);
    open[4] = 1;
    open[12] = 'f';
    exchange(open);
    Bytes read = request(2, 14);
    read[12] = 200;
    for (const unsigned offset : {0U, 200U, 400U, 65400U, 65536U}) {
        read[8] = static_cast<std::uint8_t>(offset);
        read[9] = static_cast<std::uint8_t>(offset >> 8);
        read[10] = static_cast<std::uint8_t>(offset >> 16);
        exchange(read);
    }
    Bytes size = request(6, 35);
    size[4] = 'f';
    exchange(size);
    exchange(request(5, 8));
    bmc.deviceClosed();
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string& file = fileWith(bytes, size);
    emulator::FaultScript script;
    try {
        script = emulator::readFaultScript(file);
    } catch (const std::runtime_error& error) {
        require(std::string(error.what()).rfind(file, 0) == 0, "an error names the file");
        return 0;
    }
    Bmc bmc;
    bmc.putFile("f", Bytes(300, 'x'));
    const Bytes whole = transfer(bmc);
    bmc.setReadLimit(script.readLimit);
    bmc.setEndOfFile(script.endOfFile);
    for (const emulator::Fault& fault : script.faults) {
        if (fault.length && *fault.length > 0xFFFF) return 0;
        bmc.addFault(fault);
    }
    for (int i = 0; i < 3; ++i) transfer(bmc);
    bmc.clearFaults();
    bmc.setReadLimit(0);
    bmc.setEndOfFile(false);
    require(transfer(bmc) == whole, "a BMC without its faults is as it was");
    return 0;
}
