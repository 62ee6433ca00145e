// The host that answers the calls of this process. tests/emulator/host_test.cpp (files, names, log) and device_test.cpp
// (the device) hold it.
#include "emulator/host.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "emulator/faultscript.h"
#include "emulator/filereader.h"
#include "emulator/procstream.h"
#include "emulator/real.h"

namespace emulator {

namespace {

namespace fs = std::filesystem;

constexpr const char* kProcPci = "/proc/bus/pci";
constexpr const char* kCatalogues = "/etc/vmware";
constexpr const char* kFirstDevice = "/dev/ipmi0";
constexpr const char* kSecondDevice = "/dev/ipmidev/0";

// Everything that a call meets before it is known to be ours is constant-initialised.
std::atomic<unsigned> activeSerial{0};               // 0: no host answers; otherwise different for every host
std::array<std::atomic<bool>, 4096> sessionMarks{};  // by descriptor; runtimes close theirs at the oddest moments
std::atomic<int> streamCount{0};
thread_local bool insideListener = false;
thread_local unsigned failedOpenSerial = 0;

void markSession(int descriptor, bool isSession) {
    const auto number = static_cast<std::size_t>(descriptor);
    if (number < sessionMarks.size()) sessionMarks[number].store(isSession);
}

struct Registry {
    Mutex mutex;
    std::shared_ptr<Host> host;
    unsigned lastSerial = 0;
};

/** Never destroyed: calls come until the very end of the process. */
Registry& registry() {
    static auto* instance = new Registry;
    return *instance;
}

/** Puts a variable back, at the end of a scope, to what it was at its beginning. */
template <typename Value>
class Restored {
 public:
    explicit Restored(Value& variable) : variable_(variable), kept_(variable) {}
    ~Restored() { variable_ = kept_; }
    Restored(const Restored&) = delete;
    Restored& operator=(const Restored&) = delete;

 private:
    Value& variable_;
    const Value kept_;
};

bool isBelow(const char* path, const char* directory) {
    const std::size_t length = std::strlen(directory);
    return std::strncmp(path, directory, length) == 0 && (path[length] == '/' || path[length] == '\0');
}

/** `directory` in its one canonical form. */
std::string existingDirectory(const std::string& directory) {
    std::error_code error;
    const fs::path path = fs::canonical(directory, error);
    if (error || !fs::is_directory(path)) throw std::runtime_error("no host directory at '" + directory + "'");
    return path.string();
}

/** The first line of the file `hostname`, else the directory's own name. */
std::string hostNameOf(const fs::path& directory) {
    constexpr std::size_t kLongestName = 4096;
    const fs::path file = directory / "hostname";
    if (!fs::exists(file)) return directory.filename().string();
    const Bytes text = readFile(file.string(), kLongestName + 1);
    const std::string name(text.begin(), std::find(text.begin(), text.end(), '\n'));
    if (name.size() > kLongestName) throw std::runtime_error(file.string() + ": its first line is too long");
    return name.empty() ? directory.filename().string() : name;
}

Sent describeRequest(const ipmi_req& request, int error) {
    Sent sent;
    sent.request.netfn = request.msg.netfn;
    sent.request.command = request.msg.cmd;
    if (request.msg.data != nullptr)
        sent.request.data.assign(request.msg.data, request.msg.data + request.msg.data_len);
    sent.msgid = request.msgid;
    sent.addrLen = request.addr_len;
    sent.error = error;
    ipmi_system_interface_addr address{};
    if (request.addr != nullptr)
        std::memcpy(&address, request.addr, std::min<std::size_t>(sizeof address, request.addr_len));
    sent.addrType = address.addr_type;
    sent.channel = address.channel;
    sent.lun = address.lun;
    return sent;
}

/** A driver call's result in the form of the C library. */
int toResult(int error) {
    if (error == 0) return 0;
    errno = error;
    return -1;
}

/** A log line as it is read, without its line end. */
std::string formatted(const char* format, va_list arguments) {
    char* made = nullptr;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): started by the caller
    if (vasprintf(&made, format, arguments) < 0) return format;
    const std::unique_ptr<char, decltype(&std::free)> owner(made, std::free);
    std::string text = made;
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

}  // namespace

Host::Host() : device_(std::make_shared<EmulatedDevice>()) {
    device_->setRealWaits(true);
}

Host::Host(const std::string& directory)
    : directory_(existingDirectory(directory)),
      device_(std::make_shared<EmulatedDevice>()),
      hostName_(hostNameOf(directory_)) {
    loadDataStore(device_->bmc(), directory_ + "/bmc");
}

void Host::activate(const std::shared_ptr<Host>& host) {
    Registry& all = registry();
    const std::lock_guard<Mutex> lock(all.mutex);
    if (all.host) throw std::logic_error("another emulated host is alive in this process");
    all.host = host;
    activeSerial.store(++all.lastSerial);
}

void Host::deactivate() {
    Registry& all = registry();
    std::shared_ptr<Host> last;  // goes away after the lock
    const std::lock_guard<Mutex> lock(all.mutex);
    activeSerial.store(0);
    for (std::atomic<bool>& mark : sessionMarks) mark.store(false);
    streamCount.store(0);
    clock::reset();
    last = std::exchange(all.host, nullptr);
}

std::shared_ptr<Host> Host::active() {
    if (activeSerial.load() == 0 || insideListener) return nullptr;
    Registry& all = registry();
    const std::lock_guard<Mutex> lock(all.mutex);
    return all.host;
}

std::shared_ptr<Host> Host::ofFile(const char* path) {
    return path != nullptr && (isBelow(path, kProcPci) || isBelow(path, kCatalogues)) ? active() : nullptr;
}

std::shared_ptr<Host> Host::ofDevice(const char* path) {
    const bool known =
        path != nullptr && (std::strcmp(path, kFirstDevice) == 0 || std::strcmp(path, kSecondDevice) == 0);
    return known ? active() : nullptr;
}

std::shared_ptr<Host> Host::ofDescriptor(int descriptor) {
    const auto number = static_cast<std::size_t>(descriptor);
    const bool possible = descriptor >= 0 && (number >= sessionMarks.size() || sessionMarks[number].load());
    return possible ? active() : nullptr;
}

std::shared_ptr<Host> Host::ofStream() {
    return streamCount.load() != 0 ? active() : nullptr;
}

std::shared_ptr<Host> Host::ofFailedOpen() {
    return failedOpenSerial == activeSerial.load() ? active() : nullptr;
}

std::string Host::realPath(const char* path) const {
    if (isBelow(path, kCatalogues)) {
        const std::lock_guard<Mutex> lock(mutex_);
        if (!catalogue_.empty()) return catalogue_ + (path + std::strlen(kCatalogues));
    }
    return directory_ + path;
}

std::string Host::devicePlace(const char* path) const {
    return !isMachine() && isDevice(path) && !device_->removed() ? "/dev/null" : realPath(path);
}

FILE* Host::fopen(const char* path, const char* mode) {
    std::shared_ptr<const Hook> hook;
    {
        const std::lock_guard<Mutex> lock(mutex_);
        hook = hook_;
    }
    if (*hook) (*hook)(path);

    const std::string place = realPath(path);
    ProcFile* file = nullptr;
    FILE* stream = isBelow(path, kProcPci) ? ProcFile::open(shared_from_this(), path, place, mode, file)
                                           : real::fopen(place.c_str(), mode);
    record([&] { return FileOpened{path, mode, stream != nullptr, stream != nullptr ? 0 : errno}; });
    if (stream != nullptr) rememberStream(stream, file);
    return stream;
}

void Host::rememberStream(FILE* stream, ProcFile* file) try {
    const std::lock_guard<Mutex> lock(mutex_);
    if (streams_.emplace(stream, file).second) ++streamCount;
} catch (const std::bad_alloc&) {
    real::fclose(stream);
    throw;
}

ProcFile* Host::procFile(FILE* stream) const {
    const std::lock_guard<Mutex> lock(mutex_);
    const auto found = streams_.find(stream);
    return found == streams_.end() ? nullptr : found->second;
}

void Host::forgetStream(FILE* stream) {
    const std::lock_guard<Mutex> lock(mutex_);
    if (streams_.erase(stream) != 0) --streamCount;
}

DIR* Host::opendir(const char* path) {
    DIR* stream = real::opendir(realPath(path).c_str());
    record([&] { return FileOpened{path, "directory", stream != nullptr, stream != nullptr ? 0 : errno}; });
    return stream;
}

int Host::open(const char* path, int flags, unsigned permissions) {
    const int descriptor = real::openat(AT_FDCWD, realPath(path).c_str(), flags, permissions);
    const int access = flags & O_ACCMODE;
    const char* mode = access == O_RDONLY ? "O_RDONLY" : access == O_WRONLY ? "O_WRONLY" : "O_RDWR";
    record([&] { return FileOpened{path, mode, descriptor >= 0, descriptor >= 0 ? 0 : errno}; });
    return descriptor;
}

int Host::openDevice(const char* path, int flags) {
    std::shared_ptr<DeviceSession> session;
    const int descriptor = openSession(path, flags, session);
    const int error = descriptor < 0 ? errno : 0;
    failedOpenSerial = descriptor < 0 ? activeSerial.load() : 0;
    record([&] { return DeviceOpened{path, flags, descriptor >= 0, error}; });
    if (descriptor >= 0) rememberSession(descriptor, std::move(session));
    return descriptor;
}

void Host::rememberSession(int descriptor, std::shared_ptr<DeviceSession> session) try {
    const std::lock_guard<Mutex> lock(mutex_);
    sessions_[descriptor] = std::move(session);
    markSession(descriptor, true);
} catch (const std::bad_alloc&) {
    real::close(descriptor);
    throw;
}

int Host::openSession(const char* path, int flags, std::shared_ptr<DeviceSession>& session) {
    if (isMachine()) {
        const int descriptor = real::openat(AT_FDCWD, path, flags);
        if (descriptor >= 0) session = std::make_shared<MachineSession>(descriptor);
        return descriptor;
    }
    if (isDevice(path)) session = device_->open();
    if (!session) return toResult(ENOENT);
    // Only the number counts: no other descriptor has it until it is closed, and the C library's close() gives it back.
    // Like the device, an epoll descriptor refuses to be read and written with EINVAL.
    return epoll_create1((flags & O_CLOEXEC) != 0 ? EPOLL_CLOEXEC : 0);
}

bool Host::isDevice(const char* path) const {
    const std::lock_guard<Mutex> lock(mutex_);
    return std::strcmp(path, secondDevice_ ? kSecondDevice : kFirstDevice) == 0;
}

std::shared_ptr<DeviceSession> Host::session(int descriptor) const {
    const std::lock_guard<Mutex> lock(mutex_);
    const auto found = sessions_.find(descriptor);
    return found == sessions_.end() ? nullptr : found->second;
}

void Host::closeSession(int descriptor) {
    decltype(sessions_)::node_type ended;  // goes away after the lock
    {
        const std::lock_guard<Mutex> lock(mutex_);
        ended = sessions_.extract(descriptor);
        markSession(descriptor, false);
    }
    if (!ended.empty()) record([] { return DeviceClosed{}; });
}

int Host::ioctl(int descriptor, DeviceSession& session, unsigned long request, void* argument) {
    switch (request) {
        case IPMICTL_SEND_COMMAND:
            return send(session, *static_cast<const ipmi_req*>(argument));
        case IPMICTL_RECEIVE_MSG:
            return receive(session, *static_cast<ipmi_recv*>(argument), false);
        case IPMICTL_RECEIVE_MSG_TRUNC:
            return receive(session, *static_cast<ipmi_recv*>(argument), true);
        default:
            return isMachine() ? real::ioctl(descriptor, request, argument) : toResult(ENOTTY);
    }
}

int Host::send(DeviceSession& session, const ipmi_req& request) {
    const int error = session.send(request);
    record([&] { return describeRequest(request, error); });
    return toResult(error);
}

int Host::receive(DeviceSession& session, ipmi_recv& into, bool truncate) {
    const std::size_t bufferLen = into.msg.data_len;
    const std::size_t addrLen = into.addr_len;
    std::optional<Answer> message;
    const int error = session.receive(into, truncate, message);
    if (message) record([&] { return Received{*message, bufferLen, addrLen}; });
    if (error != 0) record([&] { return ReceiveFailed{error}; });
    return toResult(error);
}

int Host::poll(DeviceSession* session, pollfd& item, int timeoutMs) {
    const int ready = session != nullptr ? session->poll(item, timeoutMs) : waitForNothing(item, timeoutMs);
    record([&] { return Waited{timeoutMs, item.events, ready}; });
    return ready;
}

/** Only a time-out ends a wait on descriptor -1. */
int Host::waitForNothing(pollfd& item, int timeoutMs) const {
    if (device_->realWaits()) return real::poll(&item, nfds_t{1}, timeoutMs);
    clock::wait(std::chrono::milliseconds(timeoutMs));
    item.revents = 0;
    return 0;
}

int Host::gethostname(char* name, std::size_t size) {
    const std::lock_guard<Mutex> lock(mutex_);
    if (hostNameFails_) return toResult(EINVAL);
    if (!hostName_) return real::gethostname(name, size);
    const std::string& own = *hostName_;
    std::memcpy(name, own.c_str(), std::min(size, own.size() + 1));
    return toResult(size > own.size() ? 0 : ENAMETOOLONG);
}

void Host::vsyslog(int priority, const char* format, va_list arguments) {
    const Restored keeper(errno);  // %m prints the caller's
    va_list again;
    va_copy(again, arguments);
    record([&] { return LogLine{priority, formatted(format, again)}; });
    va_end(again);
    if (isMachine()) real::vsyslog(priority, format, arguments);
}

void Host::note(const Event& event) {
    std::shared_ptr<const Listener> listener;
    {
        const std::lock_guard<Mutex> lock(mutex_);
        const auto* failure = std::get_if<ReceiveFailed>(&event);
        auto* last = events_.empty() ? nullptr : std::get_if<ReceiveFailed>(&events_.back());
        if (failure != nullptr && last != nullptr && last->error == failure->error) {
            ++last->count;
            return;
        }
        if (!keepEvents_) events_.clear();
        events_.push_back(event);
        listener = listener_;
    }
    if (!*listener) return;
    const Restored scope(insideListener);
    insideListener = true;  // what a listener does itself is not the emulated host's business
    (*listener)(event);
}

}  // namespace emulator
