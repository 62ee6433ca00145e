// /proc/bus/pci: the list of functions, and their configuration bytes. What is delivered has to be what a reading
// written anew finds.
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "host.h"
#include "provider.h"

namespace {

using broker::Value;
using fuzz::File;
using fuzz::Host;
using fuzz::require;

constexpr std::size_t kLine = 2047;  // characters that are read as one line at most

/** Configuration spaces out of a pool of bytes, by address. */
struct Pool {
    std::string bytes;

    std::optional<File> file(unsigned bus, unsigned devfn) const {
        if (bytes.empty()) return std::nullopt;
        const std::size_t start = (bus * 31 + devfn) * 64 % bytes.size();
        const auto first = static_cast<unsigned char>(bytes[start]);
        if (first == 0xFF) return std::nullopt;
        File file{bytes.substr(start, 64 + first % 2 * 192), {}, true};
        if (first == 0xFE) file.readErrorAt = 32;
        if (first == 0xFD)
            file.content.resize(file.content.size() > 1 ? static_cast<unsigned char>(file.content[1]) : 0);
        return file;
    }
    /** The 64 bytes that are read, as far as they come. */
    std::string header(unsigned bus, unsigned devfn) const {
        const std::optional<File> known = file(bus, devfn);
        if (!known) return "";
        return known->content.substr(0, known->readErrorAt.value_or(64));
    }
};

struct Function {
    unsigned bus = 0, devfn = 0, vendor = 0, device = 0, irq = 0;
    unsigned baseClass = 0, subclass = 0, revision = 0, subsystemVendor = 0, subsystem = 0;
    std::vector<Value> memory = std::vector<Value>(6, Value::uint(CMPI_uint32, 0));
    std::vector<Value> ports = std::vector<Value>(6, Value::uint(CMPI_uint16, 0));
};

/** The hexadecimal numbers at the beginning of a line. */
std::vector<unsigned long> fields(const std::string& line) {
    std::vector<unsigned long> numbers;
    const char* place = line.c_str();
    while (numbers.size() < 17) {
        while (std::isspace(static_cast<unsigned char>(*place)) != 0) ++place;
        if (std::isxdigit(static_cast<unsigned char>(*place)) == 0) break;
        char* end = nullptr;
        numbers.push_back(std::strtoul(place, &end, 16));
        place = end;
    }
    return numbers;
}

std::string firstLines(const std::string& text, unsigned count) {
    std::size_t end = 0;
    for (unsigned line = 0; line < count && end < text.size(); ++line)
        end = std::min(text.find('\n', end), text.size() - 1) + 1;
    return text.substr(0, end);
}

/** The lines that can be read before an error, if there is one. */
std::vector<std::string> lines(const std::string& text, std::optional<std::size_t> errorAt) {
    std::vector<std::string> found;
    const std::string readable = text.substr(0, errorAt.value_or(text.size()));
    for (std::size_t place = 0; place < readable.size();) {
        const std::size_t feed = readable.find('\n', place);
        const std::size_t end = std::min(feed == std::string::npos ? readable.size() : feed + 1, place + kLine);
        const bool whole = feed != std::string::npos || end - place == kLine || !errorAt;
        if (whole) found.push_back(readable.substr(place, end - place));
        place = end;
    }
    return found;
}

void takeConfiguration(Function& function, const std::string& header) {
    function.baseClass = function.subclass = function.revision = 0;
    function.subsystemVendor = function.subsystem = 0;
    const auto byte = [&](std::size_t at) { return static_cast<unsigned>(static_cast<unsigned char>(header[at])); };
    function.baseClass = byte(11);
    function.subclass = byte(10);
    function.revision = byte(8);
    function.subsystemVendor = byte(0x2C) | byte(0x2D) << 8;
    function.subsystem = byte(0x2E) | byte(0x2F) << 8;
    for (std::size_t bar = 0; bar < 6; ++bar) {
        const std::size_t at = 0x10 + 4 * bar;
        const bool port = byte(at) == 1;
        const bool memory = !port && byte(at) != 0;
        function.ports[bar] = Value::uint(CMPI_uint16, port ? byte(at + 1) << 8 | byte(at + 2) : 0);
        function.memory[bar] =
            Value::uint(CMPI_uint32, memory ? byte(at + 3) << 16 | byte(at + 2) << 8 | byte(at + 1) : 0);
    }
}

/** Devices and bridges, in the order of the list; what a line does not tell is that of the one before. */
void read(const std::vector<std::string>& list, const Pool& pool, std::vector<Function>& devices,
          std::vector<Function>& bridges) {
    Function function;
    for (const std::string& line : list) {
        const std::vector<unsigned long> numbers = fields(line);
        if (!numbers.empty()) function.bus = numbers[0] >> 8 & 0xFF;
        if (!numbers.empty()) function.devfn = numbers[0] & 0xFF;
        if (numbers.size() > 1) function.vendor = numbers[1] >> 16 & 0xFFFF;
        if (numbers.size() > 1) function.device = numbers[1] & 0xFFFF;
        if (numbers.size() > 2) function.irq = numbers[2] & 0xFFFF;
        const std::string header = pool.header(function.bus, function.devfn);
        if (header.size() == 64) {
            takeConfiguration(function, header);
        } else {
            function.baseClass = function.subclass = function.revision = function.subsystem = 0;
            function.subsystemVendor = pool.file(function.bus, function.devfn) ? 2 : 0;
        }
        if (function.vendor == 0 || function.bus == 0xFE) continue;
        (function.baseClass == 6 ? bridges : devices).push_back(function);
    }
}

void expectNumber(const broker::Instance& instance, const char* name, CMPIType type, unsigned number) {
    const Value* value = instance.property(name);
    require(value != nullptr && *value == Value::uint(type, number), "a function's numbers are those on the bus");
}

/** The addresses of a function, without those that are none. */
void expectAddresses(const broker::Instance& instance, const char* name, std::vector<Value> addresses) {
    const CMPIType type = addresses.front().type;
    addresses.erase(std::remove(addresses.begin(), addresses.end(), Value::uint(type, 0)), addresses.end());
    const Value* value = instance.property(name);
    require(addresses.empty() ? value == nullptr : value != nullptr && *value == Value::array(type, addresses),
            "a function's addresses are those on the bus");
}

void expectFunctions(const std::string& className, const std::vector<Function>& functions) {
    const broker::Response names = fuzz::ask(0, className);
    const broker::Response instances = fuzz::ask(1, className);
    fuzz::expectKeys(names);
    require(names.paths.size() == functions.size() && instances.instances.size() == functions.size(),
            "there are as many functions as the list has");
    for (std::size_t i = 0; i < functions.size(); ++i) {
        const Function& function = functions[i];
        const broker::Instance& instance = instances.instances[i];
        require(names.paths[i] == instance.path, "names are those of the instances");
        const std::string id = "PCI Bus " + std::to_string(function.bus) + ", device " +
                               std::to_string(function.devfn >> 3) + ", function " + std::to_string(function.devfn & 7);
        require(*names.paths[i].key("DeviceID") == Value::string(id), "functions come in the order of the list");
        expectNumber(instance, "VendorID", CMPI_uint16, function.vendor);
        expectNumber(instance, "PciDeviceID", CMPI_uint16, function.device);
        expectNumber(instance, "ClassCode", CMPI_uint8, function.baseClass);
        expectNumber(instance, "Subclass", CMPI_uint8, function.subclass);
        expectNumber(instance, "Revision", CMPI_uint8, function.revision);
        if (className == "QELTA_PCIBridge") continue;
        if (function.irq != 0) expectNumber(instance, "IRQ", CMPI_uint16, function.irq);
        expectNumber(instance, "SubsystemVendorID", CMPI_uint16, function.subsystemVendor);
        expectNumber(instance, "SubsystemID", CMPI_uint16, function.subsystem);
        expectAddresses(instance, "MEMAddress", function.memory);
        expectAddresses(instance, "IOAddress", function.ports);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::Input input(bytes, size);
    Host& host = Host::get();
    host.reset();
    fuzz::buildRack(host);
    const unsigned options = input.byte();
    if ((options & 1) == 0) host.openingDevice = [](const char*) { return ENOENT; };
    if ((options & 2) != 0) host.name = std::string(input.byte(), 'h');
    std::optional<std::size_t> errorAt;
    if ((options & 4) != 0) errorAt = input.word();
    const Pool pool{input.take(input.word() % 1024)};
    std::string text = input.rest();
    if ((options & 64) == 0) text = firstLines(text, 16);  // hundreds are slow, and seldom new

    host.openFile = [&](const std::string& path) -> std::optional<File> {
        if (path == "/proc/bus/pci/devices") return File{text, errorAt, true};
        unsigned bus = 0, device = 0, function = 0;
        if (std::sscanf(path.c_str(), "/proc/bus/pci/%2x/%2x.%1x", &bus, &device, &function) != 3) return std::nullopt;
        require(path.size() == 21, "a function's file has its address for a name");
        return pool.file(bus, device << 3 | function);
    };
    std::vector<Function> devices;
    std::vector<Function> bridges;
    if (errorAt && *errorAt > text.size()) errorAt.reset();
    read(lines(text, errorAt), pool, devices, bridges);
    // Signs and prefixes are read by rules of their own.
    const bool plain = text.find_first_of("xX+-") == std::string::npos;
    if (plain && (options & 8) == 0) expectFunctions("QELTA_PCIDevice", devices);
    if (plain && (options & 16) == 0) expectFunctions("QELTA_PCIBridge", bridges);
    if (!plain || (options & 32) != 0) fuzz::expectKeys(fuzz::ask(1, "QELTA_OBDPCIController"));
    host.expectNothingOpen();
    return 0;
}
