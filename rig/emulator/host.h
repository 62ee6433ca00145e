#ifndef PCIINFO_EMULATOR_HOST_H
#define PCIINFO_EMULATOR_HOST_H

#include <dirent.h>
#include <poll.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "emulator/device.h"
#include "emulator/emulatedhost.h"
#include "emulator/mutex.h"

namespace emulator {

class ProcFile;

/**
 * The host that answers the calls of this process, shared by the EmulatedHost that it belongs to and the calls that are
 * under way. The members that are named like functions of the C library behave like these, errno included.
 */
class Host : public std::enable_shared_from_this<Host> {
 public:
    /** The machine itself. */
    Host();
    explicit Host(const std::string& directory);

    /** Makes a host answer for the process. Throws std::logic_error when there is one already. */
    static void activate(const std::shared_ptr<Host>& host);
    static void deactivate();
    /** The host that answers the calling thread; null when there is none, or inside of a listener. */
    static std::shared_ptr<Host> active();

    // The same, if a call may be the host's business. Most calls are not, and take no lock and no memory here.
    /** For a path below one of the redirected directories. */
    static std::shared_ptr<Host> ofFile(const char* path);
    /** For one of the two paths of the device. */
    static std::shared_ptr<Host> ofDevice(const char* path);
    /** For a descriptor that may be one of the device. */
    static std::shared_ptr<Host> ofDescriptor(int descriptor);
    /** For a stream, if any redirected one is open. */
    static std::shared_ptr<Host> ofStream();
    /** For a wait on descriptor -1, if the thread's last attempt to open the device failed: it is a wait for it. */
    static std::shared_ptr<Host> ofFailedOpen();

    /** Where a covered path really is. */
    std::string realPath(const char* path) const;
    /** What stands in for the device where nothing but its being there and its kind is asked for. */
    std::string devicePlace(const char* path) const;

    FILE* fopen(const char* path, const char* mode);
    /** The file that a stream below /proc/bus/pci reads; null for other streams. */
    ProcFile* procFile(FILE* stream) const;
    void forgetStream(FILE* stream);
    DIR* opendir(const char* path);
    int open(const char* path, int flags, unsigned permissions);
    int openDevice(const char* path, int flags);
    /** The device session of a descriptor, or null. */
    std::shared_ptr<DeviceSession> session(int descriptor) const;
    void closeSession(int descriptor);
    int ioctl(int descriptor, DeviceSession& session, unsigned long request, void* argument);
    /** session: null for a wait on descriptor -1. */
    int poll(DeviceSession* session, pollfd& item, int timeoutMs);
    int gethostname(char* name, std::size_t size);
    void vsyslog(int priority, const char* format, va_list arguments);

    /** Events are for those who watch: one that there is no memory for is lost, and the call goes on. */
    template <typename Make>
    void record(Make make) {
        const int error = errno;
        try {
            note(make());
        } catch (const std::bad_alloc&) {  // lost
        }
        errno = error;
    }

 private:
    friend class EmulatedHost;  // sets and reads the members below

    using Listener = std::function<void(const Event&)>;
    using Hook = std::function<void(const std::string&)>;

    void note(const Event& event);
    bool isMachine() const { return directory_.empty(); }
    bool isDevice(const char* path) const;
    // These close what was opened where there is no memory to remember it, and throw.
    void rememberStream(FILE* stream, ProcFile* file);
    void rememberSession(int descriptor, std::shared_ptr<DeviceSession> session);
    int openSession(const char* path, int flags, std::shared_ptr<DeviceSession>& session);
    int send(DeviceSession& session, const ipmi_req& request);
    int receive(DeviceSession& session, ipmi_recv& record, bool truncate);
    int waitForNothing(pollfd& item, int timeoutMs) const;

    const std::string directory_;  // empty: the machine itself
    const std::shared_ptr<EmulatedDevice> device_;

    mutable Mutex mutex_;
    std::optional<std::string> hostName_;
    bool hostNameFails_ = false;
    bool secondDevice_ = false;
    std::string catalogue_;  // empty: the host directory's own
    std::shared_ptr<const Listener> listener_ = std::make_shared<const Listener>();
    std::shared_ptr<const Hook> hook_ = std::make_shared<const Hook>();
    bool keepEvents_ = true;
    std::vector<Event> events_;
    std::map<int, std::shared_ptr<DeviceSession>> sessions_;
    std::map<FILE*, ProcFile*> streams_;  // null: an ordinary file
};

/** The device session of a descriptor, kept alive for a call together with its host; null for other descriptors. */
struct SessionTarget {
    std::shared_ptr<Host> host;
    std::shared_ptr<DeviceSession> session;

    explicit SessionTarget(int descriptor) : host(Host::ofDescriptor(descriptor)) {
        if (host) session = host->session(descriptor);
    }
};

}  // namespace emulator

#endif
