// What lspci, dmidecode and the PCI ID list say of a sample machine.
#include "tests/samples/reference.h"

#include <fmt/format.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "tests/support/hostbuilder.h"

namespace reference {
namespace {

std::string quoted(const std::string& word) {
    std::string text = "'";
    for (const char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

std::string mustRun(const std::vector<std::string>& command) {
    const Ran ran = run(command);
    if (ran.exitStatus != 0) throw std::runtime_error(command.front() + " failed: " + ran.output);
    return ran.output;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> found;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) found.push_back(line);
    return found;
}

unsigned hexadecimal(const std::string& digits) {
    return static_cast<unsigned>(std::stoul(digits, nullptr, 16));
}

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

/** Ids of `digits` hexadecimal digits, two blanks, name; nullopt for anything else. */
std::optional<std::pair<unsigned, std::string>> entry(const std::string& line, std::size_t start, std::size_t digits) {
    const std::string number = line.substr(std::min(start, line.size()), digits);
    if (number.size() != digits || number.find_first_not_of("0123456789abcdef") != std::string::npos) return {};
    if (line.compare(start + digits, 2, "  ") != 0) return {};
    return std::make_pair(hexadecimal(number), line.substr(start + digits + 2));
}

unsigned char checksum(const std::string& bytes, std::size_t first, std::size_t last) {
    unsigned sum = 0;
    for (std::size_t i = first; i < last; ++i) sum += static_cast<unsigned char>(bytes[i]);
    return static_cast<unsigned char>(-sum);
}

/** A file "smbios-table" as dmidecode reads dumps: the table at 20h, as the entry point says, checksums right. */
std::string dumpOf(const std::string& smbiosTable) {
    constexpr std::size_t kEntryPoint = 31;
    constexpr std::size_t kTable = 32;
    if (smbiosTable.size() < kEntryPoint) throw std::runtime_error("no entry point");
    std::string dump = smbiosTable.substr(0, kEntryPoint);
    dump.replace(24, 4, std::string("\x20\0\0\0", 4));
    dump[21] = 0;
    dump[21] = static_cast<char>(checksum(dump, 16, kEntryPoint));
    dump[4] = 0;
    dump[4] = static_cast<char>(checksum(dump, 0, kEntryPoint));
    dump.resize(kTable);
    return dump + smbiosTable.substr(kEntryPoint);
}

/** The structures of a dmidecode listing: their lines, "Handle ..." first. */
std::vector<std::vector<std::string>> dmidecodeBlocks(const std::string& listing) {
    std::vector<std::vector<std::string>> blocks;
    for (const std::string& line : lines(listing)) {
        if (startsWith(line, "Handle ")) blocks.emplace_back();
        if (!blocks.empty()) blocks.back().push_back(line);
    }
    return blocks;
}

/** What follows "<TAB>Label: ". */
std::optional<std::string> findLabelled(const std::vector<std::string>& block, const std::string& label) {
    const std::string start = "\t" + label + ": ";
    for (const std::string& line : block)
        if (startsWith(line, start)) return line.substr(start.size());
    return std::nullopt;
}

std::string labelled(const std::vector<std::string>& block, const std::string& label) {
    const std::optional<std::string> text = findLabelled(block, label);
    if (!text) throw std::runtime_error("dmidecode shows no " + label + " under " + block.front());
    return *text;
}

Slot slotOf(const std::vector<std::string>& block) {
    Slot slot;
    slot.designation = labelled(block, "Designation");
    slot.type = labelled(block, "Type");
    slot.usage = labelled(block, "Current Usage");
    slot.length = labelled(block, "Length");
    const std::string id = findLabelled(block, "ID").value_or("");
    const bool number = !id.empty() && id.find_first_not_of("0123456789") == std::string::npos;
    if (number) slot.id = static_cast<unsigned>(std::stoul(id));
    for (const std::string& line : block) {
        if (startsWith(line, "\t\t")) slot.characteristics.push_back(line.substr(2));
        if (line == "\tCharacteristics: Unknown") slot.characteristicsUnknown = true;
    }
    return slot;
}

}  // namespace

Ran run(const std::vector<std::string>& command) {
    std::string line = "PATH=\"$PATH:/usr/sbin\" ";  // dmidecode is there, which is not on every user's path
    for (const std::string& word : command) line += quoted(word) + " ";
    FILE* const stream = popen((line + "2>&1").c_str(), "r");
    if (stream == nullptr) throw std::runtime_error("cannot run " + line);
    Ran ran;
    std::array<char, 4096> buffer{};
    while (const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), stream))
        ran.output.append(buffer.data(), got);
    const int status = pclose(stream);
    ran.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return ran;
}

std::string readFile(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + file);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<Function> lspci(const std::string& procBusPci) {
    std::vector<Function> functions;
    // 00:1f.2 0580: 8086:a1a1 (rev 09)
    for (const std::string& line :
         lines(mustRun({"lspci", "-n", "-A", "linux-proc", "-O", "proc.path=" + procBusPci}))) {
        static const std::regex kLine(R"((..):(..)\.(.) (..)(..): (....):(....)(?: \(rev (..)\))?)");
        std::smatch match;
        if (!std::regex_match(line, match, kLine)) throw std::runtime_error("lspci printed: " + line);
        const auto number = [&match](std::size_t group) {
            return match[group].matched ? hexadecimal(match[group].str()) : 0;
        };
        functions.push_back({number(1), number(2), number(3), number(4), number(5), number(6), number(7), number(8)});
    }
    return functions;
}

RawFunction rawFunction(const std::string& procBusPci, const Function& function) {
    RawFunction raw;
    const std::string address = fmt::format("{:02x}{:02x}", function.bus, function.dev << 3 | function.func);
    for (const std::string& line : lines(readFile(procBusPci + "/devices"))) {
        std::istringstream fields(line);
        std::string found, ids;
        if (!(fields >> found >> ids) || found != address) continue;
        if (!(fields >> std::hex >> raw.irq)) throw std::runtime_error("short line for " + address);
        const std::string config =
            readFile(fmt::format("{}/{:02x}/{:02x}.{:x}", procBusPci, function.bus, function.dev, function.func));
        if (config.size() < raw.config.size()) throw std::runtime_error("short configuration space of " + address);
        std::copy_n(config.begin(), raw.config.size(), raw.config.begin());
        return raw;
    }
    throw std::runtime_error("no line for " + address);
}

PciIds::PciIds(const std::string& file) {
    bool inClasses = false;
    for (const std::string& line : lines(readFile(file))) {
        if (startsWith(line, "C ")) inClasses = true;
        const bool twoTabs = startsWith(line, "\t\t");
        if (line.empty() || line.front() == '#' || twoTabs) continue;
        if (inClasses) {
            classes_ += line + "\n";
        } else if (const auto device = entry(line, 1, 4); device && line.front() == '\t') {
            devices_.insert(*device);
        } else if (const auto vendor = entry(line, 0, 4)) {
            vendors_.insert(*vendor);
        }
    }
    if (vendors_.empty() || devices_.empty() || classes_.empty()) throw std::runtime_error(file + " is no PCI ID list");
}

std::optional<std::string> PciIds::vendor(unsigned vendor) const {
    const auto found = vendors_.find(vendor);
    return found == vendors_.end() ? std::nullopt : std::make_optional(found->second);
}

std::optional<std::string> PciIds::firstDevice(unsigned device) const {
    const auto found = devices_.find(device);
    return found == devices_.end() ? std::nullopt : std::make_optional(found->second);
}

std::optional<std::string> PciIds::classText(unsigned classCode, unsigned subclass) const {
    const std::string classDigits = fmt::format("C {:02x}", classCode);
    const std::size_t classAt = classes_.find(classDigits);
    if (classAt == std::string::npos) return {};
    const std::size_t digitsAt = classes_.find(fmt::format("{:02x}", subclass), classAt + classDigits.size());
    if (digitsAt == std::string::npos) return {};
    const std::size_t nameAt = digitsAt + 4;
    return classes_.substr(nameAt, classes_.find('\n', digitsAt) - nameAt);
}

bool Slot::has(const std::string& characteristic) const {
    return std::find(characteristics.begin(), characteristics.end(), characteristic) != characteristics.end();
}

std::vector<Slot> dmidecodeSlots(const std::string& smbiosTable) {
    const testsupport::TemporaryDirectory directory;
    const std::string dump = (directory.path() / "dump").string();
    std::ofstream(dump, std::ios::binary) << dumpOf(readFile(smbiosTable));
    std::vector<std::vector<std::string>> blocks = dmidecodeBlocks(mustRun({"dmidecode", "--from-dump", dump}));
    if (blocks.empty()) throw std::runtime_error("dmidecode found no structure in " + smbiosTable);
    blocks.pop_back();
    std::vector<Slot> slots;
    for (const auto& block : blocks)
        if (block.front().find("DMI type 9,") != std::string::npos) slots.push_back(slotOf(block));
    return slots;
}

}  // namespace reference
