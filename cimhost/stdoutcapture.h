#ifndef PCIINFO_CIMHOST_STDOUTCAPTURE_H
#define PCIINFO_CIMHOST_STDOUTCAPTURE_H

#include <string>

namespace cimhost {

/**
 * Keeps what code of others writes to standard output away from ours: while an object lives, file descriptor 1 leads to
 * a file in memory. What stood in the stream buffers before goes where it was meant to go. Objects may be nested.
 */
class StdoutCapture {
 public:
    /** Throws std::system_error when the system gives no descriptor. */
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    /** Standard output leads again to where it led before. Returns all that was written meanwhile. */
    std::string finish();

 private:
    void restore();

    int original_ = -1;
    int memory_ = -1;
};

}  // namespace cimhost

#endif
