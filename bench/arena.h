#ifndef PCIINFO_BENCH_ARENA_H
#define PCIINFO_BENCH_ARENA_H

#include <sys/mman.h>

#include <cstddef>
#include <cstring>
#include <new>

namespace bench {

/** Memory of one thread's requests: address space that is taken once, its pages as they are first used. */
class Arena {
 public:
    void* take(std::size_t size) {
        if (begin_ == nullptr) reserve();
        char* place = next_;
        next_ += (size + 15) & ~std::size_t{15};
        if (next_ > begin_ + kSize) throw std::bad_alloc();
        return place;
    }
    char* copy(const char* text) {
        const std::size_t size = std::strlen(text) + 1;
        return static_cast<char*>(std::memcpy(take(size), text, size));
    }
    char* mark() const { return next_; }
    void backTo(char* mark) { next_ = mark; }

    ~Arena() {
        if (begin_ != nullptr) munmap(begin_, kSize);
    }

 private:
    static constexpr std::size_t kSize = std::size_t{1} << 32U;

    void reserve() {
        void* memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED) throw std::bad_alloc();
        begin_ = next_ = static_cast<char*>(memory);
    }

    char* begin_ = nullptr;
    char* next_ = nullptr;
};

}  // namespace bench

#endif
