// Streams of files below /proc/bus/pci. Held by tests/emulator/host_test.cpp.
#include "emulator/procstream.h"

#include <stdio_ext.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "emulator/real.h"

namespace emulator {

ProcFile::Opened ProcFile::open(const std::shared_ptr<Host>& host, const std::string& path, const std::string& realPath,
                                const char* mode) {
    if (*mode != 'r' || std::strchr(mode, '+') != nullptr) {
        errno = EACCES;
        return {};
    }
    const int descriptor = real::openat(AT_FDCWD, realPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return {};
    std::unique_ptr<ProcFile> file(new ProcFile(host, path, descriptor));
    FILE* stream = fopencookie(file.get(), mode, {readCookie, nullptr, seekCookie, closeCookie});
    if (stream == nullptr) return {};
    ProcFile* owned = file.release();  // by the stream, until closeCookie
    std::setvbuf(stream, owned->buffer_.data(), _IOFBF, owned->buffer_.size());
    return {stream, owned};
}

ProcFile::ProcFile(std::shared_ptr<Host> host, std::string path, int descriptor)
    : host_(std::move(host)), path_(std::move(path)), descriptor_(descriptor) {}

ProcFile::~ProcFile() {
    real::close(descriptor_);
}

bool ProcFile::readsDirectly(FILE* stream) {
    return __fbufsize(stream) <= 1 && stream->_IO_read_ptr == stream->_IO_read_end;
}

std::size_t ProcFile::fread(void* to, std::size_t size, std::size_t count, FILE* stream) const {
    flockfile(stream);
    const std::unique_ptr<FILE, decltype(&funlockfile)> lock(stream, funlockfile);
    const std::size_t wanted = size * count;
    std::size_t filled = 0;
    while (filled < wanted) {
        const ssize_t got = read(static_cast<char*>(to) + filled, wanted - filled);
        if (got <= 0) {
            stream->_flags |= got == 0 ? _IO_EOF_SEEN : _IO_ERR_SEEN;
            break;
        }
        filled += static_cast<std::size_t>(got);
    }
    return wanted == 0 ? 0 : filled / size;
}

ssize_t ProcFile::read(char* to, std::size_t size) const {
    const ssize_t got = ::read(descriptor_, to, size);
    host_->record(FileRead{path_, size, got < 0 ? 0 : static_cast<std::size_t>(got)});
    return got;
}

ssize_t ProcFile::readCookie(void* cookie, char* to, std::size_t size) {
    return static_cast<ProcFile*>(cookie)->read(to, size);
}

int ProcFile::seekCookie(void* cookie, off64_t* offset, int whence) {
    const off64_t position = lseek64(static_cast<ProcFile*>(cookie)->descriptor_, *offset, whence);
    if (position < 0) return -1;
    *offset = position;
    return 0;
}

int ProcFile::closeCookie(void* cookie) {
    delete static_cast<ProcFile*>(cookie);
    return 0;
}

}  // namespace emulator
