// Host directories and SMBIOS tables that tests write for themselves.
#include "tests/support/hostbuilder.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <numeric>
#include <system_error>

namespace testsupport {

namespace fs = std::filesystem;

namespace {

void put16(Bytes& bytes, std::size_t offset, std::uint16_t value) {
    bytes[offset] = static_cast<std::uint8_t>(value);
    bytes[offset + 1] = static_cast<std::uint8_t>(value >> 8);
}

void put32(Bytes& bytes, std::size_t offset, std::uint32_t value) {
    put16(bytes, offset, static_cast<std::uint16_t>(value));
    put16(bytes, offset + 2, static_cast<std::uint16_t>(value >> 16));
}

std::string configPath(const PciFunction& function) {
    return fmt::format("proc/bus/pci/{:02x}/{:02x}.{:x}", function.bus, function.dev, function.func);
}

/** Makes the `length` bytes from `begin` sum up to 0 by way of the byte at `position`. */
void balanceChecksum(Bytes& bytes, std::size_t begin, std::size_t length, std::size_t position) {
    bytes[position] = 0;
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(begin);
    const unsigned sum = std::accumulate(first, first + static_cast<std::ptrdiff_t>(length), 0U);
    bytes[position] = static_cast<std::uint8_t>(0U - sum);
}

void putText(Bytes& bytes, std::size_t offset, const std::string& text) {
    for (const char c : text) bytes[offset++] = static_cast<std::uint8_t>(c);
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
    std::string name = (fs::temp_directory_path() / "pciinfo-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string devicesLine(const PciFunction& function) {
    std::string line = fmt::format("{:02x}{:02x}\t{:04x}{:04x}\t{:x}", function.bus, function.dev << 3 | function.func,
                                   function.vendor, function.device, function.irq);
    for (const std::uint32_t bar : function.bars) line += fmt::format("\t{:16x}", bar);
    line += fmt::format("\t{:16x}", function.romAddress);
    for (const std::uint64_t size : function.sizes) line += fmt::format("\t{:16x}", size);
    constexpr int kRomSize = 0;
    return line + fmt::format("\t{:16x}\t{}\n", kRomSize, function.driver);
}

Bytes configSpace(const PciFunction& function) {
    Bytes config(64, 0);
    put16(config, 0x00, function.vendor);
    put16(config, 0x02, function.device);
    config[0x08] = function.revision;
    config[0x09] = function.progIf;
    config[0x0A] = function.subclass;
    config[0x0B] = function.classCode;
    config[0x0C] = function.cacheLineSize;
    for (std::size_t i = 0; i < function.bars.size(); ++i) put32(config, 0x10 + 4 * i, function.bars[i]);
    put16(config, 0x2C, function.subsystemVendor);
    put16(config, 0x2E, function.subsystem);
    put32(config, 0x30, function.romAddress);
    config[0x3C] = function.irqLine;
    config.resize(function.configLength, 0xFF);
    return config;
}

HostBuilder::HostBuilder() {
    setFile("proc/bus/pci/devices", std::string());
}

HostBuilder& HostBuilder::addFunction(const PciFunction& function) {
    addRawDevicesLine(devicesLine(function));
    if (function.hasConfig) setFile(configPath(function), configSpace(function));
    return *this;
}

HostBuilder& HostBuilder::addRawDevicesLine(const std::string& line) {
    std::ofstream out(path("proc/bus/pci/devices"), std::ios::binary | std::ios::app);
    out << line;
    if (line.empty() || line.back() != '\n') out << '\n';
    return *this;
}

HostBuilder& HostBuilder::setCatalogue(const std::string& xmlText) {
    return setFile("etc/vmware/pci.xml", xmlText);
}

HostBuilder& HostBuilder::setClassList(const std::string& text) {
    return setFile("etc/vmware/pci.classlist", text);
}

HostBuilder& HostBuilder::setSmbiosTable(const Bytes& bytes) {
    return setBmcFile("smbios-table", bytes);
}

HostBuilder& HostBuilder::setHostName(const std::string& name) {
    return setFile("hostname", name + "\n");
}

HostBuilder& HostBuilder::setFaults(const std::string& json) {
    return setFile("bmc/faults.json", json);
}

HostBuilder& HostBuilder::setBmcFile(const std::string& name, const Bytes& bytes) {
    return setFile("bmc/" + name, bytes);
}

HostBuilder& HostBuilder::setFile(const std::string& relative, const std::string& text) {
    const fs::path file = path(relative);
    fs::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!out.flush()) throw std::system_error(errno, std::generic_category(), file.string());
    return *this;
}

HostBuilder& HostBuilder::setFile(const std::string& relative, const Bytes& bytes) {
    return setFile(relative, std::string(bytes.begin(), bytes.end()));
}

HostBuilder& HostBuilder::makeDirectory(const std::string& relative) {
    fs::create_directories(path(relative));
    return *this;
}

HostBuilder& HostBuilder::makeFifo(const std::string& relative) {
    const fs::path fifo = path(relative);
    fs::create_directories(fifo.parent_path());
    if (mkfifo(fifo.c_str(), 0600) != 0) throw std::system_error(errno, std::generic_category(), fifo.string());
    return *this;
}

HostBuilder& HostBuilder::remove(const std::string& relative) {
    fs::remove_all(path(relative));
    return *this;
}

SmbiosBuilder& SmbiosBuilder::addSlot(const Slot& slot) {
    std::vector<std::string> strings = slot.strings;
    if (slot.designation) strings.insert(strings.begin(), *slot.designation);
    const std::uint8_t number = slot.designationNumber.value_or(slot.designation ? 1 : 0);

    Bytes fields{
        number, slot.type, slot.width, slot.usage, slot.length, 0, 0, slot.characteristics1, slot.characteristics2};
    put16(fields, 5, slot.id);
    addHeader(9, slot.formattedLength);
    structures_.insert(structures_.end(), fields.begin(), fields.end());
    if (slot.formattedLength > 13) structures_.resize(structures_.size() + slot.formattedLength - 13U, 0);
    addStrings(strings);
    return *this;
}

SmbiosBuilder& SmbiosBuilder::addStructure(std::uint8_t type, const Bytes& formatted,
                                           const std::vector<std::string>& strings) {
    addHeader(type, static_cast<std::uint8_t>(4 + formatted.size()));
    structures_.insert(structures_.end(), formatted.begin(), formatted.end());
    addStrings(strings);
    return *this;
}

SmbiosBuilder& SmbiosBuilder::addRaw(const Bytes& bytes) {
    structures_.insert(structures_.end(), bytes.begin(), bytes.end());
    ++count_;
    return *this;
}

SmbiosBuilder& SmbiosBuilder::withoutEndOfTable() {
    endOfTable_ = false;
    return *this;
}

void SmbiosBuilder::addHeader(std::uint8_t type, std::uint8_t length) {
    Bytes header{type, length, 0, 0};
    put16(header, 2, count_);  // handles just count up
    structures_.insert(structures_.end(), header.begin(), header.end());
    ++count_;
}

void SmbiosBuilder::addStrings(const std::vector<std::string>& strings) {
    for (const std::string& text : strings) {
        structures_.insert(structures_.end(), text.begin(), text.end());
        structures_.push_back(0);
    }
    structures_.insert(structures_.end(), strings.empty() ? 2 : 1, 0);
}

Bytes SmbiosBuilder::bytes() const {
    SmbiosBuilder table = *this;
    if (endOfTable_) table.addStructure(127);

    Bytes file(kEntryPointLength, 0);
    putText(file, 0, "_SM_");
    file[5] = static_cast<std::uint8_t>(kEntryPointLength);
    file[6] = 2;  // SMBIOS 2.8
    file[7] = 8;
    putText(file, 16, "_DMI_");
    put16(file, 22, static_cast<std::uint16_t>(table.structures_.size()));
    put32(file, 24, static_cast<std::uint32_t>(kEntryPointLength));  // where the table stands in this very file
    put16(file, kCountOffset, table.count_);
    file[30] = 0x28;
    balanceChecksum(file, 16, 15, 21);
    balanceChecksum(file, 0, kEntryPointLength, 4);
    file.insert(file.end(), table.structures_.begin(), table.structures_.end());
    return file;
}

}  // namespace testsupport
