// The floor under a scan: system calls and searches, and what is needed to know which. bench/counts.py holds its files
// to the provider's.
#include "bench/floor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <bitset>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "bench/transfer.h"

namespace bench {

namespace {

constexpr std::size_t kBlock = 4096;

/** A file, whole, zero-terminated. */
std::unique_ptr<char[]> text(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0) return nullptr;
    const int file = open(path, O_RDONLY);
    if (file < 0 || fstat(file, &status) != 0) return nullptr;
    const auto size = static_cast<std::size_t>(status.st_size);
    std::unique_ptr<char[]> all(new char[size + 1]);
    std::size_t got = 0;
    while (got < size) {
        const ssize_t count = read(file, all.get() + got, size - got);
        if (count <= 0) break;
        got += static_cast<std::size_t>(count);
    }
    close(file);
    all[got] = '\0';
    return all;
}

char digit(unsigned number) {
    return "0123456789abcdef"[number & 15U];
}

/** What was searched for already. */
using Seen = std::bitset<65536>;

class Names {
 public:
    Names() : vendors_(text("/etc/vmware/pci.xml")), classes_(text("/etc/vmware/pci.classlist")) {}

    void searchId(Seen& seen, const std::string& key, unsigned id) {
        if (seen[id]) return;
        seen.set(id);
        std::array<char, 8> digits{};
        std::snprintf(digits.data(), digits.size(), "\"%04x\"", id);
        const char* entry = find(key, digits.data());
        if (entry == nullptr) return;
        const char* begin = std::strstr(entry, "<name>");
        if (begin != nullptr) found_ = std::strstr(begin, "</name>");
    }
    void searchClass(unsigned baseClass, unsigned subclass) {
        const unsigned both = baseClass << 8U | subclass;
        if (seenClasses_[both]) return;
        seenClasses_.set(both);
        const std::array<char, 5> key = {'C', ' ', digit(baseClass >> 4U), digit(baseClass), '\0'};
        const std::array<char, 3> digits = {digit(subclass >> 4U), digit(subclass), '\0'};
        const char* place = std::strstr(classes_.get(), key.data());
        if (place != nullptr) found_ = std::strstr(place, digits.data());
    }
    void searchVendor(unsigned id) { searchId(seenVendors_, "vendor id=", id); }
    void searchDevice(unsigned id) { searchId(seenDevices_, "device id=", id); }

 private:
    /** By the number, which is rarer than the key in front of it. */
    const char* find(const std::string& key, const char* digits) const {
        const char* place = std::strstr(vendors_.get(), digits);
        for (; place != nullptr; place = std::strstr(place + 1, digits)) {
            const char* begin = place - key.size();
            if (begin >= vendors_.get() && std::memcmp(begin, key.data(), key.size()) == 0) return place;
        }
        return nullptr;
    }

    std::unique_ptr<char[]> vendors_;
    std::unique_ptr<char[]> classes_;
    Seen seenVendors_;
    Seen seenDevices_;
    Seen seenClasses_;
    const char* volatile found_ = nullptr;
};

void takeFunction(Names& names, const char* line) {
    char* end = nullptr;
    const auto address = static_cast<unsigned>(std::strtoul(line, &end, 16));
    const auto ids = static_cast<unsigned>(std::strtoul(end, &end, 16));
    names.searchDevice(ids & 0xFFFFU);
    names.searchVendor(ids >> 16U);
    std::array<char, 24> path{"/proc/bus/pci/BB/DD.F"};
    path[14] = digit(address >> 12U);
    path[15] = digit(address >> 8U);
    path[17] = digit(address >> 7U & 1U);
    path[18] = digit(address >> 3U);
    path[20] = digit(address & 7U);
    const int file = open(path.data(), O_RDONLY);
    if (file < 0) return;
    std::array<std::uint8_t, 64> config{};
    if (read(file, config.data(), config.size()) == static_cast<ssize_t>(config.size()))
        names.searchClass(config[0x0B], config[0x0A]);
    close(file);
}

}  // namespace

std::size_t floorScan() {
    bareTransfer();
    Names names;
    const int list = open("/proc/bus/pci/devices", O_RDONLY);
    if (list < 0) return 0;
    std::array<char, 2 * kBlock> buffer{};
    std::size_t held = 0;
    std::size_t functions = 0;
    for (;;) {
        const ssize_t count = read(list, buffer.data() + held, kBlock);
        if (count <= 0) break;
        held += static_cast<std::size_t>(count);
        char* line = buffer.data();
        char* const end = line + held;
        while (auto* feed = static_cast<char*>(std::memchr(line, '\n', static_cast<std::size_t>(end - line)))) {
            *feed = '\0';
            takeFunction(names, line);
            ++functions;
            line = feed + 1;
        }
        held = static_cast<std::size_t>(end - line);
        std::memmove(buffer.data(), line, held);
    }
    close(list);
    return functions;
}

}  // namespace bench
