#include "cimhost/stdoutcapture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <system_error>

namespace cimhost {

namespace {

/** A provider may write with stdio or with iostreams; either may still hold text back. */
void flushStreams() {
    std::cout.flush();
    std::fflush(stdout);
}

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string contents(int descriptor) {
    std::string text;
    std::array<char, 4096> piece{};
    ssize_t got = 0;
    while ((got = pread(descriptor, piece.data(), piece.size(), static_cast<off_t>(text.size()))) > 0)
        text.append(piece.data(), static_cast<std::size_t>(got));
    return text;
}

}  // namespace

StdoutCapture::StdoutCapture() {
    flushStreams();
    original_ = dup(STDOUT_FILENO);
    if (original_ < 0) fail("standard output");
    memory_ = memfd_create("stdout", MFD_CLOEXEC);
    if (memory_ < 0 || dup2(memory_, STDOUT_FILENO) < 0) {
        const int error = errno;
        if (memory_ >= 0) close(memory_);
        close(original_);
        throw std::system_error(error, std::generic_category(), "diverting standard output");
    }
}

StdoutCapture::~StdoutCapture() {
    restore();
    close(memory_);
}

std::string StdoutCapture::finish() {
    restore();
    return contents(memory_);
}

void StdoutCapture::restore() {
    if (original_ < 0) return;
    flushStreams();
    dup2(original_, STDOUT_FILENO);
    close(original_);
    original_ = -1;
}

}  // namespace cimhost
