#ifndef PCIINFO_EMULATOR_HOST_H
#define PCIINFO_EMULATOR_HOST_H

#include <dirent.h>
#include <poll.h>

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "emulator/device.h"
#include "emulator/emulatedhost.h"
#include "emulator/mutex.h"

namespace emulator {

class ProcFile;

/**
 * The host that answers the calls of this process: what stands behind an EmulatedHost. The members that are named like
 * functions of the C library behave like these, errno included.
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

    // Quick answers for calls that are mostly none of the host's business: no lock, no allocation.
    /** A path below one of the redirected directories. */
    static bool covers(const char* path);
    static bool isDevicePath(const char* path);
    /** False for every descriptor that is no device's, or (of very high ones only) true for some that are not. */
    static bool mayBeSession(int descriptor);
    static bool anyStream();
    /** This thread's last attempt to open the device failed, so a wait on descriptor -1 is a wait for it. */
    static bool waitsForNothing();

    /** Where a covered path really is. */
    std::string realPath(const char* path) const;
    /** What stands in for the device where nothing but its being there and its kind is asked for. */
    std::string devicePlace(const char* path) const;

    FILE* fopen(const char* path, const char* mode);
    /** What stands behind a stream below /proc/bus/pci, or null. */
    ProcFile* procFile(FILE* stream) const;
    void forgetStream(FILE* stream);
    DIR* opendir(const char* path);
    int open(const char* path, int flags, unsigned mode);
    int openDevice(const char* path, int flags);
    /** The session behind a descriptor, or null. */
    std::shared_ptr<DeviceSession> session(int descriptor) const;
    /** `descriptor` is a new one for what another descriptor of that session stands for. */
    void shareSession(const std::shared_ptr<DeviceSession>& session, int descriptor);
    /** A session ends with the last of its descriptors. */
    void closeSession(int descriptor);
    void closeSessions(unsigned first, unsigned last);
    int ioctl(DeviceSession& session, unsigned long request, void* argument);
    /** session: null for a wait on descriptor -1. */
    int poll(DeviceSession* session, pollfd& item, int timeoutMs);
    int gethostname(char* name, std::size_t size);
    void vsyslog(int priority, const char* format, va_list arguments);

    void record(const Event& event);

    bool isMachine() const { return directory_.empty(); }
    Bmc& bmc() { return device_->bmc(); }
    EmulatedDevice& device() { return *device_; }
    void setHostName(const std::string& name);
    void failHostName(bool fails);
    void useSecondDevice(bool second);
    void setCatalogue(const std::string& directory);
    void onEvent(std::function<void(const Event&)> listener);
    void onFileOpen(std::function<void(const std::string&)> hook);
    std::vector<Event> events() const;
    void clearEvents();
    void keepEvents(bool keep);
    std::size_t openFiles() const;

 private:
    using Listener = std::function<void(const Event&)>;
    using Hook = std::function<void(const std::string&)>;

    bool isDevice(const char* path) const;
    int openSession(const char* path, int flags, std::shared_ptr<DeviceSession>& session);
    int send(DeviceSession& session, const ipmi_req& request);
    int receive(DeviceSession& session, ipmi_recv& record, bool truncate);
    Wait waitForNothing(pollfd& item, int timeoutMs) const;
    std::optional<std::string> hostName() const;

    const std::string directory_;  // empty: the machine itself
    const std::shared_ptr<EmulatedDevice> device_;

    mutable Mutex mutex_;
    std::optional<std::string> hostName_;
    bool hostNameFails_ = false;
    bool secondDevice_ = false;
    std::string catalogue_;  // empty: the host directory's own
    std::shared_ptr<const Listener> listener_;
    std::shared_ptr<const Hook> hook_;
    bool keepEvents_ = true;
    std::vector<Event> events_;
    std::map<int, std::shared_ptr<DeviceSession>> sessions_;
    std::map<FILE*, ProcFile*> streams_;  // null: an ordinary file
};

/** Keeps errno as it is over whatever a scope does. */
class ErrnoKeeper {
 public:
    ErrnoKeeper();
    ~ErrnoKeeper();
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

 private:
    int kept_;
};

}  // namespace emulator

#endif
