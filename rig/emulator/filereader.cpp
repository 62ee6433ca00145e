// Files of a host directory, whoever wrote it. Held by tests/emulator/faultscript_test.cpp and
// tests/cimhost/commandline_test.cpp.
#include "emulator/filereader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace emulator {

namespace {

/** A descriptor that is closed with its owner. */
class Descriptor {
 public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

 private:
    const int number_;
};

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace

Bytes readFile(const std::string& path, std::size_t limit) {
    const std::filesystem::file_status status = std::filesystem::status(path);
    const bool isOther = std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
    if (isOther) throw std::runtime_error(path + ": not a regular file");
    // Some of the kernel's own files are regular ones and wait for what comes next, unless they are told not to.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_LARGEFILE));
    if (file.number() < 0) fail(path);
    Bytes content;
    while (content.size() < limit) {
        constexpr std::size_t kPiece = 65536;
        const std::size_t filled = content.size();
        content.resize(std::min(limit, filled + kPiece));
        const ssize_t got = read(file.number(), content.data() + filled, content.size() - filled);
        if (got < 0) fail(path);
        content.resize(filled + static_cast<std::size_t>(got));
        if (got == 0) break;
    }
    return content;
}

}  // namespace emulator
