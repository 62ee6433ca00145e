// The C library's functions that give memory, in front of its own ones, or of the address sanitizer's.
#include "tests/support/allocations.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#ifdef PCIINFO_ADDRESS_SANITIZER
#define PCIINFO_REAL(name) __interceptor_##name
#else
#define PCIINFO_REAL(name) __libc_##name
#endif

extern "C" {
void* PCIINFO_REAL(malloc)(std::size_t size);
void* PCIINFO_REAL(calloc)(std::size_t count, std::size_t size);
void* PCIINFO_REAL(realloc)(void* memory, std::size_t size);
}

namespace {

std::atomic<bool> watching{false};
std::atomic<std::size_t> countSoFar{0};
std::atomic<std::size_t> bytesSoFar{0};
std::atomic<std::size_t> failedSoFar{0};
std::size_t first = 0;
bool lasting = false;
bool ofOthers = false;
thread_local bool watcher = false;

/** Takes note of an allocation; false: it is to fail. */
bool mayHave(std::size_t size) {
    if (!watching.load() || watcher == ofOthers) return true;
    const std::size_t number = ++countSoFar;
    bytesSoFar += size;
    if (first == 0 || number < first || (number > first && !lasting)) return true;
    ++failedSoFar;
    errno = ENOMEM;
    return false;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
    return mayHave(size) ? PCIINFO_REAL(malloc)(size) : nullptr;
}

void* calloc(std::size_t number, std::size_t size) {
    return mayHave(number * size) ? PCIINFO_REAL(calloc)(number, size) : nullptr;
}

void* realloc(void* memory, std::size_t size) {
    return mayHave(size) ? PCIINFO_REAL(realloc)(memory, size) : nullptr;
}

}  // extern "C"

#ifdef PCIINFO_ADDRESS_SANITIZER
// The sanitizer's own take no memory from malloc.

void* operator new(std::size_t size) {
    for (;;) {
        if (void* memory = malloc(size == 0 ? 1 : size)) return memory;
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) throw std::bad_alloc();
        handler();
    }
}

void* operator new[](std::size_t size) {
    return operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, nothrow);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
#endif

namespace testsupport {

Allocations::Allocations(std::size_t failing, Failing how, Of whose) {
    countSoFar = 0;
    bytesSoFar = 0;
    failedSoFar = 0;
    first = failing;
    lasting = how == Failing::allFromThere;
    ofOthers = whose == Of::otherThreads;
    watcher = true;
    watching = true;
}

Allocations::~Allocations() {
    watching = false;
    watcher = false;
}

std::size_t Allocations::count() const {
    return countSoFar;
}

std::size_t Allocations::bytes() const {
    return bytesSoFar;
}

std::size_t Allocations::failed() const {
    return failedSoFar;
}

}  // namespace testsupport
