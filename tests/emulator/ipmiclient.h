#ifndef PCIINFO_TESTS_EMULATOR_IPMICLIENT_H
#define PCIINFO_TESTS_EMULATOR_IPMICLIENT_H

#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "emulator/bmc.h"

/** A client of the Linux IPMI driver, by its plain system calls. Results are errno values, 0 is success. */
class IpmiClient {
 public:
    explicit IpmiClient(const char* path = "/dev/ipmi0", int flags = O_RDWR) : descriptor_(::open(path, flags)) {
        openErrno_ = errno;
    }
    ~IpmiClient() { close(); }
    IpmiClient(const IpmiClient&) = delete;
    IpmiClient& operator=(const IpmiClient&) = delete;

    void close() {
        if (descriptor_ >= 0) ::close(descriptor_);
        descriptor_ = -1;
    }

    bool isOpen() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }
    int openErrno() const { return openErrno_; }

    /** What a send is made of; a test may spoil it first. */
    struct Send {
        ipmi_system_interface_addr address{};
        ipmi_req request{};
        emulator::Bytes data;

        explicit Send(const emulator::Request& message) : data(message.data) {
            address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
            address.channel = IPMI_BMC_CHANNEL;
            request.addr = reinterpret_cast<unsigned char*>(&address);
            request.addr_len = sizeof address;
            request.msgid = 22444;
            request.msg.netfn = message.netfn;
            request.msg.cmd = message.command;
            request.msg.data = data.data();
            request.msg.data_len = static_cast<unsigned short>(data.size());
        }
        Send(const Send&) = delete;
        Send& operator=(const Send&) = delete;
    };

    int send(Send& send) const { return ::ioctl(descriptor_, IPMICTL_SEND_COMMAND, &send.request) == 0 ? 0 : errno; }
    int send(const emulator::Request& message) const {
        Send parts(message);
        return send(parts);
    }

    /** poll's result; the events that came are in revents(). */
    int wait(int timeoutMs = 5000, short events = POLLIN) {
        pollfd item{descriptor_, events, 0};
        const int ready = ::poll(&item, 1, timeoutMs);
        pollErrno_ = errno;
        revents_ = item.revents;
        return ready;
    }
    short revents() const { return revents_; }
    int pollErrno() const { return pollErrno_; }

    int receive(unsigned long operation = IPMICTL_RECEIVE_MSG_TRUNC, std::size_t room = 272, unsigned addrLen = 40) {
        buffer_.fill(0xEE);
        record = {};
        record.addr = address.data();
        record.addr_len = addrLen;
        record.msg.data = buffer_.data();
        record.msg.data_len = static_cast<unsigned short>(room);
        return ::ioctl(descriptor_, operation, &record) == 0 ? 0 : errno;
    }
    /** The data of the message that the last receive brought. */
    emulator::Bytes data() const { return {buffer_.begin(), buffer_.begin() + record.msg.data_len}; }
    /** The first byte past the room of the last receive. */
    std::uint8_t past(std::size_t room) const { return buffer_.at(room); }

    /** One whole exchange; the answer's data, empty when it did not come. */
    emulator::Bytes exchange(const emulator::Request& message) {
        if (send(message) != 0 || wait() != 1 || receive() != 0) return {};
        return data();
    }

    ipmi_recv record{};
    std::array<unsigned char, 40> address{};

 private:
    int descriptor_ = -1;
    int openErrno_ = 0;
    int pollErrno_ = 0;
    short revents_ = 0;
    std::array<std::uint8_t, 512> buffer_{};
};

#endif
