#ifndef PCIINFO_TESTS_SAMPLES_REFERENCE_H
#define PCIINFO_TESTS_SAMPLES_REFERENCE_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// What other programs and other readings of the same input say, to hold the provider's answers against. Everything here
// throws std::runtime_error where its input is not as expected.

namespace reference {

/** Runs a program; `output` is what it wrote to standard output and standard error. */
struct Ran {
    int exitStatus = 0;
    std::string output;
};
Ran run(const std::vector<std::string>& command);

/** All bytes of a file. */
std::string readFile(const std::string& file);

/** One PCI function as `lspci -n` prints it. */
struct Function {
    unsigned bus = 0;
    unsigned dev = 0;
    unsigned func = 0;
    unsigned classCode = 0;
    unsigned subclass = 0;
    unsigned vendor = 0;
    unsigned device = 0;
    unsigned revision = 0;
};
/** Every function of a tree laid out as /proc/bus/pci, in the order of bus, device and function. */
std::vector<Function> lspci(const std::string& procBusPci);

/** What a function's line of the tree's list and its configuration space say, undecoded. */
struct RawFunction {
    std::uint32_t irq = 0;
    std::array<std::uint8_t, 64> config{};
};
RawFunction rawFunction(const std::string& procBusPci, const Function& function);

/** The PCI ID list. */
class PciIds {
 public:
    explicit PciIds(const std::string& file);

    std::optional<std::string> vendor(unsigned vendor) const;
    /** The first device with that number in the list, whichever vendor it is of. */
    std::optional<std::string> firstDevice(unsigned device) const;
    /** What follows the first occurrence of the sub-class's two digits after the class, in the class section. */
    std::optional<std::string> classText(unsigned classCode, unsigned subclass) const;

 private:
    std::map<unsigned, std::string> vendors_;
    std::map<unsigned, std::string> devices_;
    std::string classes_;
};

/** One system slot as dmidecode prints it. */
struct Slot {
    std::string designation;
    std::string type;   // bus width in front, e.g. "x8 PCI Express 3"
    std::string usage;  // "Available", "In Use"...
    std::string length;
    std::optional<unsigned> id;  // none where dmidecode shows no number for the slot's type
    bool characteristicsUnknown = false;
    std::vector<std::string> characteristics;

    bool has(const std::string& characteristic) const;
};
/** The slots of a file "smbios-table" (31 bytes of entry point, then the structures), its last structure left out. */
std::vector<Slot> dmidecodeSlots(const std::string& smbiosTable);

}  // namespace reference

#endif
