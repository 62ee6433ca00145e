// The BMC's behaviour: bytes decide each opening of the device, each answer and each wait, for whole requests and for
// every operation of the data store. Where the bytes end, so do the faults.
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string>
#include <vector>

#include "host.h"
#include "ipmi/IpmiDataStore.h"
#include "provider.h"

namespace {

using fuzz::Answer;
using fuzz::Host;
using fuzz::Input;
using fuzz::require;
using tPCIInfo::ByteVector;
using tPCIInfo::IpmiDataStore;

constexpr std::size_t kSteps = 4000;  // exchanges that bytes may decide, each by one at least

constexpr int kErrors[] = {EAGAIN, EINTR, ENODEV, EIO, EMSGSIZE, EINVAL, ENOMEM, EBUSY};
constexpr unsigned kDelaysMs[] = {1, 4999, 5000, 5001, 9999, 100000};
constexpr unsigned kStepsMs[] = {100, 250, 1000, 4999};

/** One fault; 0 is none. */
void change(Answer& answer, Input& script) {
    const std::uint8_t control = script.byte();
    if (control < 64) return;
    switch (control % 16) {
        case 0:
            answer.silent = true;
            break;
        case 1:
            answer.vanish = true;
            break;
        case 2:  // refused
            answer.data[0] = script.byte();
            answer.length = 4;
            break;
        case 3:  // the completion code alone is another
            answer.data[0] = script.byte();
            break;
        case 4:
            answer.length = std::min<std::size_t>(script.word(), sizeof(answer.data));
            break;
        case 5:
            answer.length = std::min<std::size_t>(answer.length, script.byte() % 16);
            break;
        case 6:  // the count of a read or the handle
            answer.data[4] = script.byte();
            answer.data[5] = script.byte();
            break;
        case 7:
            answer.netfn = script.byte();
            break;
        case 8:
            answer.command = script.byte();
            break;
        case 9:
            answer.receiveType = static_cast<std::int8_t>(script.byte());
            break;
        case 10:
            answer.receiveFailures = script.byte();
            answer.receiveErrno = kErrors[script.below(std::size(kErrors))];
            answer.receiveStepMs = kStepsMs[script.below(std::size(kStepsMs))];
            break;
        case 11:
            answer.delayMs = kDelaysMs[script.below(std::size(kDelaysMs))];
            break;
        case 12:
            answer.pollErrno = kErrors[script.below(std::size(kErrors))];
            break;
        case 13: {  // other bytes
            answer.length = script.below(std::size(answer.data) / 2);
            for (std::size_t i = 0; i < answer.length && !script.empty(); ++i) answer.data[i] = script.byte();
            break;
        }
        case 14:  // a byte somewhere
            answer.data[script.byte()] = script.byte();
            break;
        default:  // a count without its bytes, or with too few
            answer.data[4] = script.byte();
            answer.data[5] = 0;
            answer.length = std::min<std::size_t>(answer.length, 6 + script.byte());
    }
}

bool sameByte(char a, std::uint8_t b) {
    return static_cast<std::uint8_t>(a) == b;
}

/** The latest answer, changed or not. */
Answer lastAnswer;

/** The result of an operation and its completion code, bounded in exchanges. */
void store(Input& input, Host& host, fuzz::Digest& digest, bool faultless) {
    IpmiDataStore store;
    std::uint8_t completionCode = input.byte();
    const unsigned operation = input.byte() % 8;
    const std::string name(input.byte() % 64, 'n');
    std::vector<std::uint8_t> buffer(1 + input.byte());
    const auto count = static_cast<std::uint8_t>(std::min<std::size_t>(buffer.size(), 255));
    const auto offset = static_cast<std::uint16_t>(input.word());
    ByteVector data;
    std::uint32_t size = 7;
    std::int32_t result = 0;
    if (operation >= 4 && operation != 6) tPCIInfo::connect_kcs();
    const std::size_t before = host.exchanges;
    switch (operation) {
        case 0:
        case 1:
            result = store.ReadFile(completionCode, name, data, false, 16, tPCIInfo::kAccessRead, operation == 1);
            require(data.capacity() == 0 || (data.empty() && data.capacity() >= tPCIInfo::kFileArea),
                    "what was read is in the storage of an empty vector");
            if (faultless && result == 0 && completionCode == 0 && operation == 0)
                require(std::equal(host.smbiosTable.begin(), host.smbiosTable.end(), data.data(), sameByte) &&
                            std::all_of(data.data() + host.smbiosTable.size(), data.data() + tPCIInfo::kFileArea,
                                        [](std::uint8_t byte) { return byte == 0; }),
                        "a file is read as it is");
            if (data.capacity() != 0)
                for (std::size_t i = 0; i < tPCIInfo::kFileArea; i += 4096) digest.add(data.data()[i]);
            break;
        case 2:
        case 3:
            tPCIInfo::connect_kcs();
            for (unsigned i = 0; i < offset % 2048U; ++i) data.push_back(static_cast<std::uint8_t>(i * 7 + count));
            result = store.WriteFile(completionCode, name, data, operation == 3, 16);
            if (faultless && result > 0 && completionCode == 0)
                require(host.written == std::string(data.begin(), data.end()), "a file is written as it is");
            break;
        case 4:
            result = store.Open(completionCode, tPCIInfo::kAccessRead, tPCIInfo::kCharacteristicsNone, 0,
                                tPCIInfo::kCreateNone, 16, name);
            require(store.isFileOpen() == (result == 0 && completionCode == 0), "a file is open when it was opened");
            digest.add(static_cast<std::uint64_t>(store.Read(completionCode, buffer.data(), count, offset)));
            digest.add(static_cast<std::uint64_t>(store.Write(completionCode, buffer.data(), count, offset)));
            result = store.Close(completionCode);
            break;
        case 5:
            result = store.Open(completionCode, tPCIInfo::kAccessWrite, tPCIInfo::kCharacteristicsSet, offset,
                                tPCIInfo::kCreate, 0, name);
            digest.add(static_cast<std::uint64_t>(store.WriteDefaults(completionCode)));
            result = store.QuerySize(completionCode, name, size);
            require(size == 0 || size == 7, "no size is read");
            result += store.DeleteFile(completionCode, name + name + name + name + name);
            break;
        case 6: {  // without a device
            result = store.Open(completionCode, tPCIInfo::kAccessRead, tPCIInfo::kCharacteristicsNone, 0,
                                tPCIInfo::kCreateNone, 16, name);
            break;
        }
        default: {
            std::vector<std::uint8_t> response(tPCIInfo::kMaxResponse);
            std::uint16_t length = 0;
            const std::uint8_t command = input.byte();
            const bool connected = tPCIInfo::kcs_fd >= 0;
            result = static_cast<std::int32_t>(
                tPCIInfo::sendIPMI(command, buffer.data(), count, response.data(), length, completionCode, 0x2C));
            const Answer& last = lastAnswer;
            const bool arrives = connected && !last.silent && !last.vanish && last.pollErrno == 0 &&
                                 last.delayMs <= 5000 && last.receiveFailures * last.receiveStepMs < 5000 &&
                                 last.length <= response.size();
            const bool valid = last.receiveType == 1 && last.netfn == 0x2D && last.command == command;
            // Seconds are counted in doubles: what comes at the very end of the 5 s may be in time or not.
            if (last.receiveFailures * last.receiveStepMs != 5000)
                require((result == 0) == (arrives && valid), "a response is taken when it comes in time and is one");
            if (result == 0)
                require(length == last.length && std::equal(last.data, last.data + length, response.begin()),
                        "a response is taken as it is");
            digest.add(std::string_view(reinterpret_cast<const char*>(response.data()), length));
        }
    }
    if (operation >= 4) require(host.exchanges - before <= 4, "an operation is one exchange");
    if (operation >= 2) tPCIInfo::disconnect_kcs();  // which was the caller's
    digest.add(static_cast<std::uint64_t>(result));
    digest.add(completionCode);
    for (const std::uint8_t byte : buffer) digest.add(byte);
}

constexpr const char* kSources[] = {"QELTA_SystemSlot", "QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SystemBoard",
                                    "QELTA_SSPCIController"};

broker::ObjectPath sourcePath(std::size_t which) {
    broker::ObjectPath path{"root/kavix", kSources[which % std::size(kSources)], {}};
    const bool slot = which % std::size(kSources) == 0;
    path.keys.push_back(
        {slot ? "Tag" : "DeviceID", broker::Value::string(slot ? "System Slot 5" : "PCI Bus 5, device 5, function 1")});
    return path;
}

/** One request; functions and the board are told whatever the BMC does. */
void request(Input& input, Host& host, fuzz::Digest& digest) {
    const std::size_t operation = input.below(fuzz::kOperations);
    const std::size_t which = input.byte();
    if (operation > 2) {
        const broker::Response response = fuzz::ask(operation, sourcePath(which));
        fuzz::expectKeys(response);
        require(response.status == CMPI_RC_OK, "a BMC's faults are no errors");
        fuzz::addTo(digest, response);
        return;
    }
    const std::string className = fuzz::kClasses[which % std::size(fuzz::kClasses)];
    const broker::Response response = fuzz::ask(operation, className);
    require(response.status == CMPI_RC_OK, "a BMC's faults are no errors");
    fuzz::expectKeys(response);
    fuzz::addTo(digest, response);
    const std::size_t found = fuzz::pathsOf(response).size();
    if (className == "QELTA_PCIDevice") require(found == 5, "devices are told whatever the BMC does");
    if (className == "QELTA_PCIBridge") require(found == 4, "bridges are told whatever the BMC does");
    if (className == "QELTA_SystemBoard") require(found == 1, "the board is told whatever the BMC does");
    (void)host;
}

/** One run with the bytes; everything that came of it in one number. */
std::uint64_t run(const std::uint8_t* bytes, std::size_t size) {
    Input input(bytes, size);
    Host& host = Host::get();
    host.reset();
    fuzz::buildRack(host);
    const unsigned options = input.byte();
    host.endsEmpty = options < 0xC0;
    if ((options & 2) != 0) tPCIInfo::MAX_KCS_BUFF_SIZE = 58;
    if ((options & 4) != 0) host.openingDevice = [&](const char*) { return input.byte() < 128 ? 0 : ENOENT; };
    const std::string head = input.take(8);
    Input operation(reinterpret_cast<const std::uint8_t*>(head.data()), head.size());

    const bool faultless = input.empty();
    std::size_t decided = 0;
    host.answering = [&](Answer& answer) {
        lastAnswer = answer;
        if (input.empty()) return;
        require(++decided < kSteps, "transfers end");
        change(answer, input);
        lastAnswer = answer;
    };
    fuzz::Digest digest;
    if (operation.byte() < 128) {
        request(operation, host, digest);
    } else {
        store(operation, host, digest, faultless);
    }
    host.expectNothingOpen();
    // A transfer of chunks of 58 bytes and no faults, or one that ends empty, is the longest that faults leave; a
    // request reads the table three times at most.
    constexpr std::size_t kTransfer = tPCIInfo::kFileArea / 58 + 1 + 17 + 4;
    require(host.exchanges <= size * 2 + 2 * kTransfer, "exchanges are bounded");
    require(host.waitedMs <= host.exchanges * 15000, "waits are bounded");
    digest.add(host.trace.value());
    digest.add(host.exchanges);
    digest.add(host.waitedMs);
    return digest.value();
}

/** What a BMC without faults has the three slots answer. */
void expectComplete() {
    Host& host = Host::get();
    host.answering = nullptr;
    host.openingDevice = nullptr;
    host.endsEmpty = true;
    const broker::Response slots = fuzz::ask(0, "QELTA_SystemSlot");
    require(slots.status == CMPI_RC_OK && slots.paths.size() == 3, "the next request without faults is complete");
    host.expectNothingOpen();
    require(host.openDevices == 0, "the device is closed after a transfer");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size > kSteps / 2) return -1;
    const std::uint64_t first = run(bytes, size);
    expectComplete();
    if (first % 4 == 0) require(run(bytes, size) == first, "two runs give the same");
    return 0;
}
