// The BMC model: operations on its files, and what faults make of the answers. Held by tests/emulator/bmc_test.cpp.
#include "emulator/bmc.h"

#include <algorithm>

namespace emulator {

namespace {

// The enterprise number 32473 (reserved for documentation), least significant byte first.
constexpr std::uint8_t kIana[] = {0xD9, 0x7E, 0x00};
constexpr std::size_t kHeader = 4;  // request: enterprise number, operation; answer: completion code, enterprise number

constexpr std::uint8_t kOk = 0x00;
constexpr std::uint8_t kInvalidCommand = 0xC1;
constexpr std::uint8_t kWrongLength = 0xC7;
constexpr std::uint8_t kAccessDenied = 0x0A;
constexpr std::uint8_t kWriteFailed = 0x0B;
constexpr std::uint8_t kReadFailed = 0x0C;
constexpr std::uint8_t kNoSpace = 0x0D;
constexpr std::uint8_t kNoDefaults = 0x0E;

constexpr std::uint8_t kForWriting = 3;  // access type
constexpr std::size_t kNameOffset = 12;  // in an open request

std::uint16_t get16(const Bytes& bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

std::uint32_t get32(const Bytes& bytes, std::size_t offset) {
    return get16(bytes, offset) | static_cast<std::uint32_t>(get16(bytes, offset + 2)) << 16;
}

void append(Bytes& bytes, std::size_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

/** The name at `offset`, up to a zero byte or the end of the request. */
std::string nameAt(const Bytes& request, std::size_t offset) {
    const auto begin = request.begin() + static_cast<std::ptrdiff_t>(offset);
    return std::string(begin, std::find(begin, request.end(), 0));
}

Bytes header(std::uint8_t completionCode) {
    return {completionCode, kIana[0], kIana[1], kIana[2]};
}

Bytes done() {
    Bytes answer = header(kOk);
    append(answer, 0, 4);
    return answer;
}

bool preventsOperation(const Fault* fault) {
    return fault->completionCode.has_value() || fault->timeout || fault->vanish;
}

void changeData(const Fault& fault, Bytes& data) {
    constexpr std::size_t kCountOffset = 4;
    if (fault.completionCode) data = header(*fault.completionCode);
    if (fault.countField) {
        data.resize(std::max(data.size(), kCountOffset + 2), 0);
        data[kCountOffset] = static_cast<std::uint8_t>(*fault.countField);
        data[kCountOffset + 1] = static_cast<std::uint8_t>(*fault.countField >> 8);
    }
    if (fault.data) data = *fault.data;
    if (fault.length) data.resize(*fault.length, 0);
}

void apply(const Fault& fault, Answer& answer) {
    changeData(fault, answer.data);
    answer.netfn = fault.netfn.value_or(answer.netfn);
    answer.command = fault.command.value_or(answer.command);
    answer.receiveType = fault.receiveType.value_or(answer.receiveType);
    answer.receiveFailures = fault.receiveFailures.value_or(answer.receiveFailures);
    answer.receiveErrno = fault.receiveErrno.value_or(answer.receiveErrno);
    answer.delayMs = fault.delayMs.value_or(answer.delayMs);
    answer.pollErrno = fault.pollErrno.value_or(answer.pollErrno);
    answer.silent = answer.silent || fault.timeout;
    answer.vanish = answer.vanish || fault.vanish;
}

}  // namespace

void Bmc::putFile(const std::string& name, Bytes content) {
    content.resize(std::min(content.size(), kFileArea));
    files_[name] = std::move(content);
}

void Bmc::putDefaults(const std::string& name, Bytes content) {
    content.resize(std::min(content.size(), kFileArea));
    defaults_[name] = std::move(content);
}

std::optional<Bytes> Bmc::file(const std::string& name) const {
    const auto found = files_.find(name);
    if (found == files_.end()) return std::nullopt;
    return found->second;
}

const Bmc::Operation* Bmc::parse(const Request& request, Bytes& refusal) {
    // In the order of their codes, from 1 on.
    static constexpr Operation kOperations[] = {
        {Occasion::open, 44, &Bmc::open},    {Occasion::read, 14, &Bmc::read},
        {Occasion::write, 12, &Bmc::write},  {Occasion::writeDefaults, 8, &Bmc::writeDefaults},
        {Occasion::close, 8, &Bmc::close},   {Occasion::querySize, 5, &Bmc::querySize},
        {Occasion::remove, 5, &Bmc::remove},
    };
    const Bytes& data = request.data;
    refusal = {kInvalidCommand};
    if (request.netfn != kNetfn || request.command != kCommand) return nullptr;
    if (data.size() < kHeader) refusal = {kWrongLength};
    if (data.size() < kHeader || !std::equal(std::begin(kIana), std::end(kIana), data.begin())) return nullptr;
    const std::size_t code = data[kHeader - 1];
    refusal = header(kInvalidCommand);
    if (code == 0 || code > std::size(kOperations)) return nullptr;
    const Operation& operation = kOperations[code - 1];
    refusal = header(kWrongLength);
    return data.size() < operation.shortest ? nullptr : &operation;
}

Answer Bmc::answer(const Request& request) {
    Answer answer;
    const Operation* operation = parse(request, answer.data);
    const std::vector<const Fault*> faults =
        operation != nullptr ? faultsDue({Occasion::any, operation->occasion}) : faultsDue({Occasion::any});
    answer.netfn = static_cast<std::uint8_t>(request.netfn | 1);
    answer.command = request.command;
    if (operation != nullptr) {
        const bool prevented = std::any_of(faults.begin(), faults.end(), preventsOperation);
        answer.data = prevented ? Bytes() : (this->*operation->perform)(request.data);
    }
    for (const Fault* fault : faults) apply(*fault, answer);
    return answer;
}

bool Bmc::deviceMissing() {
    const std::vector<const Fault*> faults = faultsDue({Occasion::deviceOpen});
    return std::any_of(faults.begin(), faults.end(), [](const Fault* fault) { return fault->missing; });
}

std::vector<const Fault*> Bmc::faultsDue(std::initializer_list<Occasion> occasions) {
    std::vector<const Fault*> due;
    for (ScriptedFault& scripted : faults_) {
        const Fault& fault = scripted.fault;
        if (std::find(occasions.begin(), occasions.end(), fault.on) == occasions.end()) continue;
        ++scripted.seen;
        const bool over = fault.times != 0 && scripted.seen - fault.from >= fault.times;
        if (scripted.seen >= fault.from && !over) due.push_back(&fault);
    }
    return due;
}

Bytes Bmc::open(const Bytes& request) {
    if (!open_.empty()) ++interleaved_;
    const bool writing = request[4] == kForWriting;
    const bool create = writing && request[10] != 0;
    const std::string name = nameAt(request, kNameOffset);
    if (create && !name.empty())
        files_[name].clear();
    else if (files_.count(name) == 0)
        return header(writing ? kWriteFailed : kReadFailed);

    const std::uint32_t handle = nextHandle_++;
    open_[handle] = {name, writing};
    Bytes answer = header(kOk);
    append(answer, handle, 4);
    return answer;
}

Bytes Bmc::read(const Bytes& request) {
    const OpenFile* opened = openFile(request);
    if (opened == nullptr) return header(kAccessDenied);
    const std::size_t wanted = request[12];
    if (readLimit_ != 0 && wanted > readLimit_) return header(kReadRefused);

    const Bytes& content = files_.at(opened->name);
    const std::size_t offset = get32(request, 8);
    const std::size_t end = endOfFile_ ? content.size() : kFileArea;
    if (offset >= end) return header(kPastEnd);

    const std::size_t count = std::min(wanted, end - offset);
    Bytes answer = header(kOk);
    append(answer, count, 2);
    const auto from = content.begin() + static_cast<std::ptrdiff_t>(std::min(offset, content.size()));
    const auto to = content.begin() + static_cast<std::ptrdiff_t>(std::min(offset + count, content.size()));
    answer.insert(answer.end(), from, to);
    answer.resize(kHeader + 2 + count, 0);
    return answer;
}

Bytes Bmc::write(const Bytes& request) {
    constexpr std::size_t kDataOffset = 12;
    const OpenFile* opened = openFile(request);
    if (opened == nullptr || !opened->writing) return header(kAccessDenied);
    const std::size_t offset = get16(request, 8);
    const std::size_t count = request.size() - kDataOffset;
    if (offset + count > kFileArea) return header(kNoSpace);

    Bytes& content = files_.at(opened->name);
    content.resize(std::max(content.size(), offset + count), 0);
    std::copy(request.begin() + kDataOffset, request.end(), content.begin() + static_cast<std::ptrdiff_t>(offset));
    Bytes answer = header(kOk);
    answer[3] = static_cast<std::uint8_t>(count);
    answer.push_back(0);
    return answer;
}

Bytes Bmc::writeDefaults(const Bytes& request) {
    const OpenFile* opened = openFile(request);
    if (opened == nullptr) return header(kAccessDenied);
    const std::string name = opened->name;
    open_.erase(get32(request, kHeader));
    const auto found = defaults_.find(name);
    if (found == defaults_.end()) return header(kNoDefaults);
    files_[name] = found->second;
    return done();
}

Bytes Bmc::close(const Bytes& request) {
    return open_.erase(get32(request, kHeader)) == 0 ? header(kAccessDenied) : done();
}

Bytes Bmc::querySize(const Bytes& request) {
    const auto found = files_.find(nameAt(request, kHeader));
    if (found == files_.end()) return header(kReadFailed);
    Bytes answer = header(kOk);
    append(answer, found->second.size(), 4);
    return answer;
}

Bytes Bmc::remove(const Bytes& request) {
    return files_.erase(nameAt(request, kHeader)) == 0 ? header(kWriteFailed) : done();
}

const Bmc::OpenFile* Bmc::openFile(const Bytes& request) const {
    const auto found = open_.find(get32(request, kHeader));
    const bool there = found != open_.end() && files_.count(found->second.name) != 0;
    return there ? &found->second : nullptr;
}

}  // namespace emulator
