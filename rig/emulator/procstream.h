#ifndef PCIINFO_EMULATOR_PROCSTREAM_H
#define PCIINFO_EMULATOR_PROCSTREAM_H

#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include "emulator/host.h"

namespace emulator {

/** A file below /proc/bus/pci that a stream reads. Belongs to the stream and ends with its fclose. */
class ProcFile {
 public:
    /**
     * fopen for reading, with a stream whose every read request is recorded with the host as it would reach the
     * kernel, and with `opened` for it. `path` is the path that was asked for, `realPath` where the file is. Null, with
     * errno, on failure; for another mode it is EACCES.
     */
    static FILE* open(const std::shared_ptr<Host>& host, const std::string& path, const std::string& realPath,
                      const char* mode, ProcFile*& opened);

    ~ProcFile();
    ProcFile(const ProcFile&) = delete;
    ProcFile& operator=(const ProcFile&) = delete;

    // The stream is locked for both.
    /** A stream without a buffer, and without a character that was pushed back. */
    static bool readsDirectly(FILE* stream);
    /**
     * fread on such a stream of this file: straight into the caller's area, as glibc does for ordinary files. Those
     * made by fopencookie it reads byte by byte.
     */
    std::size_t fread(void* to, std::size_t size, std::size_t count, FILE* stream) const;

 private:
    ProcFile(std::shared_ptr<Host> host, std::string path, int descriptor);
    ssize_t read(char* to, std::size_t size) const;

    const std::shared_ptr<Host> host_;
    const std::string path_;
    const int descriptor_;
    // st_blksize of the files of procfs: what stdio asks for at a time unless another buffer is set.
    std::array<char, 1024> buffer_{};
};

}  // namespace emulator

#endif
