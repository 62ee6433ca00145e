// What a run over several servers has done so far. Tests: tests/e2e/servers.py.

#include "cimhost/surveystate.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

namespace cimhost {

namespace {

constexpr const char* kFormat = "cimhost-servers 1";

std::vector<std::string> fieldsOf(const std::string& line) {
    std::vector<std::string> fields(1);
    for (const char letter : line) {
        if (letter == '\t')
            fields.emplace_back();
        else
            fields.back() += letter;
    }
    return fields;
}

/** What tells a regular file from others; "-" for anything else. */
std::string identityOf(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return "-";
    return fmt::format("{}:{}", status.st_dev, status.st_ino);
}

/** Where the next byte will go in a regular file. */
std::uint64_t placeIn(int descriptor) {
    const bool appends = (fcntl(descriptor, F_GETFL) & O_APPEND) != 0;
    const off_t place = lseek(descriptor, 0, appends ? SEEK_END : SEEK_CUR);
    return place < 0 ? 0 : static_cast<std::uint64_t>(place);
}

std::uint64_t sizeOf(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

/** What stands there, that many bytes at most. */
std::string contentsOf(int descriptor, std::uint64_t offset = 0, std::uint64_t most = UINT64_MAX) {
    std::string text;
    std::array<char, 65536> piece{};
    while (text.size() < most) {
        const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), most - text.size()));
        const ssize_t got = pread(descriptor, piece.data(), wanted, static_cast<off_t>(offset + text.size()));
        if (got <= 0) break;
        text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return text;
}

/** A sum of each whole line, eight digits (FNV-1a), one after the other. */
std::string sumsOf(std::string_view text) {
    std::string sums;
    std::uint32_t sum = 2166136261U;
    for (const char letter : text) {
        sum = (sum ^ static_cast<unsigned char>(letter)) * 16777619U;
        if (letter != '\n') continue;
        sums += fmt::format("{:08x}", sum);
        sum = 2166136261U;
    }
    return sums;
}

}  // namespace

/** What was announced last, and where everything ends that was announced for this output. */
struct SurveyState::Pending {
    bool open = false;
    std::string name;
    std::string output = "-";
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    std::string sums;
};

SurveyState::Descriptor::~Descriptor() {
    if (isOpen()) close(number);
}

SurveyState::SurveyState(const std::string& file, const std::string& question, int output)
    : name_(file), output_(output) {
    shareOutput();
    if (name_.empty()) return;
    file_.number = open(name_.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (!file_.isOpen()) fail(std::generic_category().message(errno));
    if (flock(file_.number, LOCK_EX | LOCK_NB) != 0) fail("another process works with it");
    Pending pending;
    read(question, pending);
    settle(pending);
    append("output\t" + identityOf(output_));
}

/**
 * With a state a regular file is this process's alone, as what it has written is found again by its place. The lock is
 * on a file opened for it: several processes may have inherited one and the same standard output.
 */
void SurveyState::shareOutput() {
    if (identityOf(output_) == "-") return;
    const std::string place = fmt::format("/proc/self/fd/{}", output_);
    const bool isAlone = !name_.empty();
    written_.number = open(place.c_str(), (isAlone ? O_RDWR : O_RDONLY) | O_CLOEXEC);
    if (!written_.isOpen() && isAlone)
        fail("standard output cannot be read again: " + std::generic_category().message(errno));
    if (!written_.isOpen() || flock(written_.number, (isAlone ? LOCK_EX : LOCK_SH) | LOCK_NB) == 0) return;
    if (errno != EWOULDBLOCK) return;  // it knows no locks
    if (isAlone) fail("another process writes to standard output's file, which has to be its alone");
    throw std::runtime_error("standard output's file is another process's alone, which has a state for it (--state)");
}

void SurveyState::read(const std::string& question, Pending& pending) {
    struct stat status {};
    if (fstat(file_.number, &status) != 0 || !S_ISREG(status.st_mode)) fail("it is no regular file");
    std::string text = contentsOf(file_.number);
    const std::size_t whole = text.rfind('\n') + 1;  // 0 where there is no line
    if (whole < text.size() && whole > 0 && ftruncate(file_.number, static_cast<off_t>(whole)) != 0)
        fail(std::generic_category().message(errno));
    const std::string head = fmt::format("{}\t{}\n", kFormat, question);
    if (whole == 0) {
        // Nothing but the beginning of a head: a run that was killed at once.
        if (head.compare(0, text.size(), text) != 0) fail("it is none of this program's");
        if (ftruncate(file_.number, 0) != 0) fail(std::generic_category().message(errno));
        return append(head.substr(0, head.size() - 1));
    }
    text.resize(whole);
    if (text.rfind(kFormat, 0) != 0) fail("it is none of this program's");
    if (text.rfind(head, 0) != 0) fail("it is of another question: " + text.substr(0, text.find('\n')));
    std::string output = "-";
    for (std::size_t begin = head.size(); begin < text.size();) {
        const std::size_t end = text.find('\n', begin);
        const std::vector<std::string> fields = fieldsOf(text.substr(begin, end - begin));
        begin = end + 1;
        if (fields.front() == "output" && fields.size() == 2) {
            output = fields[1];
        } else if (fields.front() == "begin" && fields.size() == 5) {
            pending = {true,
                       fields[4],
                       output,
                       std::strtoull(fields[1].c_str(), nullptr, 10),
                       std::strtoull(fields[2].c_str(), nullptr, 10),
                       fields[3]};
        } else if (fields.front() == "done" && fields.size() == 2) {
            done_.insert(fields[1]);
            pending.open = false;
        } else {
            fail("it has a line that is none of this program's");
        }
    }
}

void SurveyState::settle(const Pending& pending) {
    if (pending.output == "-" || pending.output != identityOf(output_)) return;
    const std::uint64_t size = sizeOf(output_);
    const std::uint64_t whole = pending.offset + pending.length;
    if (size < (pending.open ? pending.offset : whole))
        fail("standard output has less than was written to it; append to it (>>), or begin with another state");
    if (!pending.open) return;
    const std::string there = contentsOf(written_.number, pending.offset, pending.length);
    const std::string sums = sumsOf(there);
    if (there.size() == pending.length && sums == pending.sums) {
        done_.insert(pending.name);
        return end(pending.name);
    }
    // Anything else than a beginning of it, the end of the last line missing, is not this run's to cut off.
    if (size >= whole || pending.sums.compare(0, sums.size(), sums) != 0) return;
    if (ftruncate(output_, static_cast<off_t>(pending.offset)) != 0) fail(std::generic_category().message(errno));
    lseek(output_, 0, SEEK_END);
}

void SurveyState::begin(const std::string& name, const std::string& records) {
    if (!file_.isOpen()) return;
    append(fmt::format("begin\t{}\t{}\t{}\t{}", placeIn(output_), records.size(), sumsOf(records), name));
}

void SurveyState::end(const std::string& name) {
    if (!file_.isOpen()) return;
    append("done\t" + name);
}

/** In one call: a process that ends leaves a line whole, or without its end. */
void SurveyState::append(const std::string& line) const {
    const std::string text = line + '\n';
    const ssize_t written = write(file_.number, text.data(), text.size());
    if (written != static_cast<ssize_t>(text.size()))
        fail(std::generic_category().message(written < 0 ? errno : ENOSPC));
}

void SurveyState::fail(const std::string& what) const {
    throw std::runtime_error(fmt::format("{}: the state cannot be kept there: {}", name_, what));
}

}  // namespace cimhost
