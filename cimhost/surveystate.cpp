// What a run over several servers has done so far. Tests: tests/e2e/servers.py.

#include "cimhost/surveystate.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
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

std::string contentsOf(int descriptor) {
    std::string text;
    std::array<char, 65536> piece{};
    ssize_t got = 0;
    while ((got = pread(descriptor, piece.data(), piece.size(), static_cast<off_t>(text.size()))) > 0)
        text.append(piece.data(), static_cast<std::size_t>(got));
    return text;
}

}  // namespace

/** What was announced last, and where everything ends that was announced for this output. */
struct SurveyState::Pending {
    bool open = false;
    std::string name;
    std::string output = "-";
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

SurveyState::SurveyState(const std::string& file, const std::string& question, int output)
    : name_(file), output_(output) {
    if (name_.empty()) return;
    file_ = open(name_.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (file_ < 0) fail(std::generic_category().message(errno));
    if (flock(file_, LOCK_EX | LOCK_NB) != 0) {
        close(file_);
        fail("another process works with it");
    }
    try {
        Pending pending;
        read(question, pending);
        settle(pending);
        append("output\t" + identityOf(output_));
    } catch (...) {
        close(file_);
        throw;
    }
}

SurveyState::~SurveyState() {
    if (file_ >= 0) close(file_);
}

void SurveyState::read(const std::string& question, Pending& pending) {
    struct stat status {};
    if (fstat(file_, &status) != 0 || !S_ISREG(status.st_mode)) fail("it is no regular file");
    std::string text = contentsOf(file_);
    const std::size_t whole = text.rfind('\n') + 1;  // 0 where there is no line
    if (whole < text.size() && whole > 0 && ftruncate(file_, static_cast<off_t>(whole)) != 0)
        fail(std::generic_category().message(errno));
    const std::string head = fmt::format("{}\t{}\n", kFormat, question);
    if (whole == 0) {
        // Nothing but the beginning of a head: a run that was killed at once.
        if (head.compare(0, text.size(), text) != 0) fail("it is none of this program's");
        if (ftruncate(file_, 0) != 0) fail(std::generic_category().message(errno));
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
        } else if (fields.front() == "begin" && fields.size() == 4) {
            pending = {true, fields[3], output, std::strtoull(fields[1].c_str(), nullptr, 10),
                       std::strtoull(fields[2].c_str(), nullptr, 10)};
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
    const std::uint64_t end = pending.offset + pending.length;
    if (size < (pending.open ? pending.offset : end))
        fail("standard output has less than was written to it; append to it (>>), or begin with another state");
    if (!pending.open) return;
    if (size >= end) return this->end(pending.name);
    if (ftruncate(output_, static_cast<off_t>(pending.offset)) != 0) fail(std::generic_category().message(errno));
    lseek(output_, 0, SEEK_END);
}

void SurveyState::begin(const std::string& name, std::size_t length) {
    if (file_ >= 0) append(fmt::format("begin\t{}\t{}\t{}", placeIn(output_), length, name));
}

void SurveyState::end(const std::string& name) {
    if (file_ < 0) return;
    append("done\t" + name);
    done_.insert(name);
}

/** In one call: a process that ends leaves a line whole, or without its end. */
void SurveyState::append(const std::string& line) const {
    const std::string text = line + '\n';
    const ssize_t written = write(file_, text.data(), text.size());
    if (written != static_cast<ssize_t>(text.size()))
        fail(std::generic_category().message(written < 0 ? errno : ENOSPC));
}

void SurveyState::fail(const std::string& what) const {
    throw std::runtime_error(fmt::format("{}: the state cannot be kept there: {}", name_, what));
}

}  // namespace cimhost
