// Streams of files below /proc/bus/pci. Held by tests/emulator/host_test.cpp.
#include "emulator/procstream.h"

#include <stdio_ext.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "emulator/real.h"

namespace emulator {

FILE* ProcFile::open(const std::shared_ptr<Host>& host, const std::string& path, const std::string& realPath,
                     const char* mode, ProcFile*& opened) {
    if (*mode != 'r' || std::strchr(mode, '+') != nullptr) {
        errno = EACCES;
        return nullptr;
    }
    struct stat status {};
    if (real::stat(realPath.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        errno = EINVAL;  // a FIFO would be waited for, and devices may have no end
        return nullptr;
    }
    constexpr off_t kLongest = 16 << 20;  // 65536 functions have 10 MB
    if (S_ISREG(status.st_mode) && status.st_size > kLongest) {
        errno = EFBIG;
        return nullptr;
    }
    const int descriptor = real::openat(AT_FDCWD, realPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return nullptr;
    std::unique_ptr<ProcFile> file(new ProcFile(host, path, descriptor));
    cookie_io_functions_t calls{};
    calls.read = [](void* cookie, char* to, std::size_t size) {
        return static_cast<ProcFile*>(cookie)->read(to, size);
    };
    calls.seek = [](void* cookie, off64_t* offset, int whence) {
        *offset = lseek64(static_cast<ProcFile*>(cookie)->descriptor_, *offset, whence);
        return *offset < 0 ? -1 : 0;
    };
    calls.close = [](void* cookie) {
        delete static_cast<ProcFile*>(cookie);
        return 0;
    };
    FILE* stream = fopencookie(file.get(), mode, calls);
    if (stream == nullptr) return nullptr;
    opened = file.release();  // the stream's, until it is closed
    std::setvbuf(stream, opened->buffer_.data(), _IOFBF, opened->buffer_.size());
    return stream;
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
    host_->record([&] { return FileRead{path_, size, got < 0 ? 0 : static_cast<std::size_t>(got)}; });
    return got;
}

}  // namespace emulator
