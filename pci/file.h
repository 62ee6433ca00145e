#ifndef PCIINFO_PCI_FILE_H
#define PCIINFO_PCI_FILE_H

#include <cstdio>
#include <memory>

namespace tPCIInfo {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/** A stream that is closed with its owner. */
using File = std::unique_ptr<std::FILE, FileCloser>;

/** Opens a file for reading; null when it cannot be opened. */
inline File openFile(const char* path) {
    return File(std::fopen(path, "r"));
}

}  // namespace tPCIInfo

#endif
