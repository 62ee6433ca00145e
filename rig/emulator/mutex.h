#ifndef PCIINFO_EMULATOR_MUTEX_H
#define PCIINFO_EMULATOR_MUTEX_H

#include <mutex>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define PCIINFO_EMULATOR_TSAN 1
#endif
#elif defined(__SANITIZE_THREAD__)
#define PCIINFO_EMULATOR_TSAN 1
#endif

#ifdef PCIINFO_EMULATOR_TSAN
#include <sanitizer/tsan_interface.h>
#endif

namespace emulator {

/**
 * A std::mutex that the thread sanitizer sees at all times. Its runtime stands in front of poll() too, and takes no
 * notice of the locks that are taken inside of such a blocking call, that is, in our poll().
 */
class Mutex {
 public:
    void lock() {
        mutex_.lock();
#ifdef PCIINFO_EMULATOR_TSAN
        __tsan_acquire(this);
#endif
    }

    bool try_lock() {
        const bool taken = mutex_.try_lock();
#ifdef PCIINFO_EMULATOR_TSAN
        if (taken) __tsan_acquire(this);
#endif
        return taken;
    }

    void unlock() {
#ifdef PCIINFO_EMULATOR_TSAN
        __tsan_release(this);
#endif
        mutex_.unlock();
    }

 private:
    std::mutex mutex_;
};

}  // namespace emulator

#endif
