#ifndef PCIINFO_EMULATOR_PROCSTREAM_H
#define PCIINFO_EMULATOR_PROCSTREAM_H

#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include "emulator/host.h"

namespace emulator {

/** What stands behind the stream of a file below /proc/bus/pci. Belongs to the stream and ends with its fclose. */
class ProcFile {
 public:
    struct Opened {
        FILE* stream = nullptr;
        ProcFile* file = nullptr;
    };

    /**
     * fopen, with a stream whose every read request is recorded with the host as it would reach the kernel. `path` is
     * the path that was asked for, `realPath` where the file is. On failure both pointers are null and errno is set.
     */
    static Opened open(const std::shared_ptr<Host>& host, const std::string& path, const std::string& realPath,
                       const char* mode);

    ~ProcFile();
    ProcFile(const ProcFile&) = delete;
    ProcFile& operator=(const ProcFile&) = delete;

    /**
     * fread on this file's stream, without its lock. glibc reads into the caller's area directly where the request
     * has at least the length of the buffer, but not so for streams made by fopencookie: they would read an
     * unbuffered request byte by byte.
     */
    std::size_t fread(void* to, std::size_t size, std::size_t count, FILE* stream);

 private:
    ProcFile(std::shared_ptr<Host> host, std::string path, int descriptor);
    ssize_t read(char* to, std::size_t size) const;

    static ssize_t readCookie(void* cookie, char* to, std::size_t size);
    static ssize_t writeCookie(void* cookie, const char* from, std::size_t size);
    static int seekCookie(void* cookie, off64_t* offset, int whence);
    static int closeCookie(void* cookie);

    const std::shared_ptr<Host> host_;
    const std::string path_;
    const int descriptor_;
    // st_blksize of the files of procfs: what stdio asks for at a time where nobody chose another buffer.
    std::array<char, 1024> buffer_{};
};

}  // namespace emulator

#endif
