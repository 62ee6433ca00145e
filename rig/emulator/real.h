#ifndef PCIINFO_EMULATOR_REAL_H
#define PCIINFO_EMULATOR_REAL_H

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <ctime>

/** The functions that ours stand in front of: those of the C library, as a rule. */
namespace emulator::real {

/**
 * One such function, looked up at its first call. Constant-initialised: it works before any constructor of this
 * library ran, since the runtimes of the sanitizers and other libraries' constructors call early.
 */
template <typename Function>
class Next {
 public:
    constexpr explicit Next(const char* name) : name_(name) {}

    template <typename... Arguments>
    auto operator()(Arguments... arguments) {
        return function()(arguments...);
    }

 private:
    Function* function() {
        void* found = found_.load(std::memory_order_acquire);
        if (found == nullptr) {
            found = dlsym(RTLD_NEXT, name_);
            found_.store(found, std::memory_order_release);
        }
        return reinterpret_cast<Function*>(found);
    }

    const char* name_;
    std::atomic<void*> found_{nullptr};
};

inline Next<FILE*(const char*, const char*)> fopen{"fopen"};
inline Next<FILE*(const char*, const char*)> fopen64{"fopen64"};
inline Next<size_t(void*, size_t, size_t, FILE*)> fread{"fread"};
inline Next<size_t(void*, size_t, size_t, FILE*)> fread_unlocked{"fread_unlocked"};
inline Next<size_t(void*, size_t, size_t, size_t, FILE*)> fread_chk{"__fread_chk"};
inline Next<size_t(void*, size_t, size_t, size_t, FILE*)> fread_unlocked_chk{"__fread_unlocked_chk"};
inline Next<int(FILE*)> fclose{"fclose"};
inline Next<int(const char*, struct stat*)> stat{"stat"};
inline Next<int(const char*, struct stat64*)> stat64{"stat64"};
inline Next<int(const char*, struct stat*)> lstat{"lstat"};
inline Next<int(const char*, struct stat64*)> lstat64{"lstat64"};
inline Next<int(int, const char*, struct stat*, int)> fstatat{"fstatat"};
inline Next<int(int, const char*, struct stat64*, int)> fstatat64{"fstatat64"};
inline Next<int(int, const char*, int, unsigned, struct statx*)> statx{"statx"};
inline Next<int(const char*, int)> access{"access"};
inline Next<int(int, const char*, int, int)> faccessat{"faccessat"};
inline Next<int(const char*)> chdir{"chdir"};
inline Next<DIR*(const char*)> opendir{"opendir"};
inline Next<int(int, const char*, int, ...)> openat{"openat"};
inline Next<int(int)> close{"close"};
inline Next<int(int)> dup{"dup"};
inline Next<int(int, int)> dup2{"dup2"};
inline Next<int(int, int, int)> dup3{"dup3"};
inline Next<int(int, int, ...)> fcntl{"fcntl"};
inline Next<int(int, int, ...)> fcntl64{"fcntl64"};
inline Next<int(int, unsigned long, ...)> ioctl{"ioctl"};
inline Next<int(struct pollfd*, nfds_t, int)> poll{"poll"};
inline Next<int(struct pollfd*, nfds_t, const timespec*, const sigset_t*)> ppoll{"ppoll"};
inline Next<int(int, fd_set*, fd_set*, fd_set*, timeval*)> select{"select"};
inline Next<int(int, fd_set*, fd_set*, fd_set*, const timespec*, const sigset_t*)> pselect{"pselect"};
inline Next<int(int, int, int, epoll_event*)> epoll_ctl{"epoll_ctl"};
inline Next<int(char*, size_t)> gethostname{"gethostname"};
inline Next<void(int, const char*, va_list)> vsyslog{"vsyslog"};
inline Next<int(clockid_t, struct timespec*)> clock_gettime{"clock_gettime"};

}  // namespace emulator::real

#endif
