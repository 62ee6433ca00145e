#ifndef PCIINFO_EMULATOR_EMULATEDHOST_H
#define PCIINFO_EMULATOR_EMULATEDHOST_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "emulator/bmc.h"

namespace emulator {

class Host;

/** One syslog call: priority as given (3 is LOG_ERR), text as formatted, without a line end. */
struct LogLine {
    int priority = 0;
    std::string text;
};

/** A file below one of the redirected paths was opened, or could not be. `path` is the path that was asked for. */
struct FileOpened {
    std::string path;
    std::string mode;
    bool ok = false;
    int error = 0;  // why it failed (an errno value)
};

/** One read request on a redirected file below /proc/bus/pci, as it would reach the kernel. */
struct FileRead {
    std::string path;
    std::size_t asked = 0;
    std::size_t got = 0;
};

/** open() of one of the two IPMI device paths. */
struct DeviceOpened {
    std::string path;
    int flags = 0;
    bool ok = false;
    int error = 0;  // why it failed (an errno value)
};

struct DeviceClosed {};

/** One IPMI request that was sent, with everything the driver was given. */
struct Sent {
    Request request;
    long msgid = 0;
    int addrType = 0;
    int channel = 0;
    int lun = 0;
    unsigned addrLen = 0;
    int error = 0;  // what the driver refused it with (an errno value)
};

/**
 * One message that was received, whole, even where the room offered was too small for it: then a ReceiveFailed with
 * EMSGSIZE follows.
 */
struct Received {
    Answer answer;
    std::size_t bufferLen = 0;  // the room that the receiving side offered
    std::size_t addrLen = 0;
};

/**
 * Receive calls that failed with `error` (an errno value), `count` of them in a row with no other event between. The
 * listener hears of the first one only.
 */
struct ReceiveFailed {
    int error = 0;
    unsigned count = 1;
};

/**
 * A poll() on the device, or on descriptor -1 after the thread's attempt to open it failed. ready: 1 something to
 * receive, 0 time-out, -1 error.
 */
struct Waited {
    int timeoutMs = 0;
    short events = 0;
    int ready = 0;
};

using Event =
    std::variant<LogLine, FileOpened, FileRead, DeviceOpened, DeviceClosed, Sent, Received, ReceiveFailed, Waited>;

/** Whether a call failed because memory or descriptors ran out. */
bool isShortage(const Event& event);

/** One line of text for an event, as the traces show it; bytes in hexadecimal. */
std::string describe(const Event& event);

/**
 * An emulated host under code that knows nothing of it. While an object of this class lives, the calls of the process
 * (fopen, stat, open, opendir, ioctl, poll, close, gethostname, syslog, clock_gettime and their kin) are answered as on
 * that host:
 *
 *  - /proc/bus/pci/... and /etc/vmware/..., files and directories, are looked up below the host's directory;
 *  - /dev/ipmi0 (and /dev/ipmidev/0, see useSecondDevice) is an IPMI device that a Bmc answers for. Its data store
 *    holds every file of the directory's bmc/ folder; the fault script is bmc/faults.json;
 *  - gethostname answers the first line of the file `hostname`, else the directory's own name;
 *  - syslog lines are recorded and go nowhere else.
 *
 * Everything else reaches the machine. Waits are virtual unless setRealWaits says otherwise: they are recorded and move
 * the emulated CLOCK_MONOTONIC on, no thread sleeps through them. Waits of several threads at the same time overlap as
 * real ones do (emulator/clock.h says how). Every receive call that fails moves it on by 1 ms, so that code which
 * repeats such calls for a certain time gets to its end at once. The clock goes back to the machine's with the object;
 * waits of the kernel for a point in time (condition variables, futures) know only the machine's clock.
 * At most one object lives at a time (std::logic_error). All members may be called from any thread.
 *
 * A descriptor of the device can be polled by itself, no more: poll of several, ppoll, select, epoll, O_ASYNC, dup and
 * their kin fail for it with ENOTSUP and a line on the standard error. It knows of close() alone, not of close_range()
 * or a stream's fclose(). Paths are known by their beginning only: those that go through `..`, through a symbolic link
 * or from an ordinary directory's descriptor reach the machine, as do scandir() and system calls made without the C
 * library.
 *
 * A device that vanished, or was removed, is gone for the descriptors that are open on it: poll reports POLLERR and
 * POLLHUP, send and receive fail with ENODEV. Closing and opening again finds it back unless it is still removed.
 *
 * Preloaded into a foreign process, the library makes such an object by itself from the environment, as
 * docs/host-directory.md says. It keeps no events, so that the process can live as long as it likes.
 */
class EmulatedHost {
 public:
    /** Throws std::runtime_error when the directory does not exist or its fault script is wrong. */
    explicit EmulatedHost(const std::string& directory);
    /**
     * This machine as it is: nothing is redirected, waits are real and syslog lines reach the log, but events are
     * recorded. With setRealWaits(false), waits for a device that could not be opened become virtual.
     */
    EmulatedHost();
    ~EmulatedHost();
    EmulatedHost(const EmulatedHost&) = delete;
    EmulatedHost& operator=(const EmulatedHost&) = delete;

    /** The model that answers for the device. The caller sees to it that no request runs meanwhile. */
    Bmc& bmc();

    void setHostName(const std::string& name);
    void failHostName(bool fails);
    /** The device answers at /dev/ipmidev/0 instead of /dev/ipmi0. */
    void useSecondDevice(bool second);
    /** No device at either path. */
    void removeDevice(bool removed);
    void setRealWaits(bool real);
    /** The files of this directory stand in for those of /etc/vmware. */
    void setCatalogue(const std::string& directory);
    /**
     * Called for every event as it happens, from the thread that causes it. What it calls itself reaches the machine.
     * The thread sanitizer does not see the locks that it takes for a Waited event, since its poll() is under way then.
     */
    void onEvent(std::function<void(const Event&)> listener);
    /**
     * Called at each fopen of a redirected path before it is looked up; may change the directory, or throw: the
     * exception passes out of fopen. (Not under clang's sanitizers, whose own fopen ends the process then.)
     */
    void onFileOpen(std::function<void(const std::string& path)> hook);

    /** All of them since the start or the last clearEvents(), or the last one only, see keepEvents. */
    std::vector<Event> events() const;
    void clearEvents();
    /** false: only the last event is kept, for a host that lives long and is not asked for its events. */
    void keepEvents(bool keep);

    /** The events of one kind, in order. */
    template <typename Kind>
    std::vector<Kind> eventsOf() const {
        std::vector<Kind> chosen;
        for (const Event& event : events())
            if (const Kind* kind = std::get_if<Kind>(&event)) chosen.push_back(*kind);
        return chosen;
    }
    /** The texts of the syslog lines, in order. */
    std::vector<std::string> logTexts() const;

    /** Sends (or receives) that began while another exchange of the device was under way. */
    unsigned interleavedExchanges() const;
    /** Redirected files and device descriptors that are open now. */
    std::size_t openFiles() const;

 private:
    const std::shared_ptr<Host> host_;
};

}  // namespace emulator

#endif
