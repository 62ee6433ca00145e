#include "emulator/procstream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "emulator/real.h"

namespace emulator {

namespace {

/** The open() flags of an fopen mode, or -1. */
int openFlags(const char* mode) {
    int flags = 0;
    switch (*mode) {
        case 'r':
            break;
        case 'w':
            flags = O_CREAT | O_TRUNC;
            break;
        case 'a':
            flags = O_CREAT | O_APPEND;
            break;
        default:
            return -1;
    }
    const bool both = std::strchr(mode, '+') != nullptr;
    flags |= both ? O_RDWR : *mode == 'r' ? O_RDONLY : O_WRONLY;
    if (std::strchr(mode, 'e') != nullptr) flags |= O_CLOEXEC;
    if (std::strchr(mode, 'x') != nullptr) flags |= O_EXCL;
    return flags;
}

std::size_t buffered(const FILE* stream) {
    return static_cast<std::size_t>(stream->_IO_read_end - stream->_IO_read_ptr);
}

std::size_t bufferSize(const FILE* stream) {
    return static_cast<std::size_t>(stream->_IO_buf_end - stream->_IO_buf_base);
}

/** How much of a request that is no shorter than the buffer is read directly: all, or whole buffers of it. */
std::size_t directPart(std::size_t wanted, std::size_t buffer) {
    constexpr std::size_t kWorthwhile = 128;
    return buffer >= kWorthwhile ? wanted - wanted % buffer : wanted;
}

}  // namespace

ProcFile::Opened ProcFile::open(const std::shared_ptr<Host>& host, const std::string& path, const std::string& realPath,
                                const char* mode) {
    constexpr unsigned kPermissions = 0666;
    const int flags = openFlags(mode);
    if (flags < 0) {
        errno = EINVAL;
        return {};
    }
    const int descriptor = real::open(realPath.c_str(), flags, kPermissions);
    if (descriptor < 0) return {};
    std::unique_ptr<ProcFile> file(new ProcFile(host, path, descriptor));
    FILE* stream = fopencookie(file.get(), mode, {readCookie, writeCookie, seekCookie, closeCookie});
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

std::size_t ProcFile::fread(void* to, std::size_t size, std::size_t count, FILE* stream) {
    const std::size_t wanted = size * count;
    if (wanted == 0) return 0;
    char* next = static_cast<char*>(to);
    char* const end = next + wanted;
    while (next != end) {
        const auto left = static_cast<std::size_t>(end - next);
        if (const std::size_t have = std::min(buffered(stream), left); have != 0) {
            next += real::fread_unlocked(next, std::size_t{1}, have, stream);
        } else if (left < bufferSize(stream)) {
            const int first = getc_unlocked(stream);  // fills the buffer; NOLINT(concurrency-mt-unsafe)
            if (first == EOF) break;
            *next++ = static_cast<char>(first);
        } else {
            const ssize_t got = read(next, directPart(left, bufferSize(stream)));
            if (got <= 0) {
                stream->_flags |= got == 0 ? _IO_EOF_SEEN : _IO_ERR_SEEN;
                break;
            }
            next += got;
        }
    }
    const auto got = static_cast<std::size_t>(next - static_cast<char*>(to));
    return got == wanted ? count : got / size;
}

ssize_t ProcFile::read(char* to, std::size_t size) const {
    const ssize_t got = ::read(descriptor_, to, size);
    host_->record(FileRead{path_, size, got < 0 ? 0 : static_cast<std::size_t>(got)});
    return got;
}

ssize_t ProcFile::readCookie(void* cookie, char* to, std::size_t size) {
    return static_cast<ProcFile*>(cookie)->read(to, size);
}

ssize_t ProcFile::writeCookie(void* cookie, const char* from, std::size_t size) {
    const ssize_t put = ::write(static_cast<ProcFile*>(cookie)->descriptor_, from, size);
    return put < 0 ? 0 : put;  // fopencookie's way to tell an error
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
