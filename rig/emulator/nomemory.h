#ifndef PCIINFO_EMULATOR_NOMEMORY_H
#define PCIINFO_EMULATOR_NOMEMORY_H

#include <cerrno>
#include <new>

namespace emulator {

/**
 * Does a part of a call that takes memory. Where there is none the call fails, as one of the C library does: the answer
 * is `failure`, errno ENOMEM. No std::bad_alloc may reach callers, who are C as often as not.
 */
template <typename Result, typename Part>
Result unlessOutOfMemory(Result failure, Part part) {
    try {
        return part();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return failure;
    }
}

}  // namespace emulator

#endif
