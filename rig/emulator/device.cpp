// The emulated IPMI device, and the machine's own one. Held by tests/emulator/device_test.cpp.
#include "emulator/device.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "emulator/real.h"

namespace emulator {

namespace {

using std::chrono::milliseconds;

// The largest request that the KCS interface of the Linux driver takes: IPMI_MAX_MSG_LENGTH less two header bytes.
constexpr std::size_t kMaxRequestData = IPMI_MAX_MSG_LENGTH - 2;
constexpr milliseconds kFailedReceive{1};

bool validAddress(const ipmi_req& request) {
    if (request.addr_len < sizeof(ipmi_system_interface_addr) || request.addr_len > sizeof(ipmi_addr)) return false;
    ipmi_system_interface_addr address{};
    std::memcpy(&address, request.addr, sizeof address);
    return address.addr_type == IPMI_SYSTEM_INTERFACE_ADDR_TYPE && address.channel == IPMI_BMC_CHANNEL &&
           address.lun <= 3;
}

/** The errno value with which the driver refuses a request, or 0. */
int refusal(const ipmi_req& request) {
    const ipmi_msg& message = request.msg;
    if (request.addr == nullptr || (message.data == nullptr && message.data_len != 0)) return EFAULT;
    if (!validAddress(request) || (message.netfn & 1) != 0) return EINVAL;
    return message.data_len > kMaxRequestData ? EMSGSIZE : 0;
}

Request toRequest(const ipmi_msg& message) {
    Request request;
    request.netfn = message.netfn & 0x3F;  // what is left of it beside the two bits of the lun
    request.command = message.cmd;
    if (message.data != nullptr) request.data.assign(message.data, message.data + message.data_len);
    return request;
}

int failed(int error) {
    errno = error;
    return -1;
}

/** Puts a message into the record as far as it has room. */
void fill(ipmi_recv& record, const Answer& answer, long msgid) {
    ipmi_system_interface_addr address{};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    std::memcpy(record.addr, &address, sizeof address);
    record.addr_len = sizeof address;
    record.recv_type = answer.receiveType;
    record.msgid = msgid;
    record.msg.netfn = answer.netfn;
    record.msg.cmd = answer.command;
    const std::size_t length = std::min<std::size_t>(answer.data.size(), record.msg.data_len);
    if (length != 0) std::memcpy(record.msg.data, answer.data.data(), length);
    record.msg.data_len = static_cast<unsigned short>(length);
}

}  // namespace

int MachineSession::send(const ipmi_req& request) {
    return real::ioctl(descriptor_, IPMICTL_SEND_COMMAND, &request) == 0 ? 0 : errno;
}

int MachineSession::receive(ipmi_recv& record, bool truncate, std::optional<Answer>& message) {
    const unsigned long operation = truncate ? IPMICTL_RECEIVE_MSG_TRUNC : IPMICTL_RECEIVE_MSG;
    const int error = real::ioctl(descriptor_, operation, &record) != 0 ? errno : 0;
    if (error != 0 && !(truncate && error == EMSGSIZE)) return error;

    message.emplace();
    message->receiveType = record.recv_type;
    message->netfn = record.msg.netfn;
    message->command = record.msg.cmd;
    message->data.assign(record.msg.data, record.msg.data + record.msg.data_len);
    return error;
}

int MachineSession::poll(pollfd& item, int timeoutMs) {
    return real::poll(&item, nfds_t{1}, timeoutMs);
}

class EmulatedDevice::Session : public DeviceSession {
 public:
    explicit Session(std::shared_ptr<EmulatedDevice> device)
        : device_(std::move(device)), generation_(device_->generation_) {}
    ~Session() override;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    int send(const ipmi_req& request) override;
    int receive(ipmi_recv& record, bool truncate, std::optional<Answer>& message) override;
    int poll(pollfd& item, int timeoutMs) override;

 private:
    bool gone() const { return generation_ != device_->generation_; }
    /** What keeps a receive call from bringing a message: an errno value, or 0. */
    int obstacle(const ipmi_recv& record, bool truncate);

    const std::shared_ptr<EmulatedDevice> device_;
    const unsigned generation_;
    std::deque<Message> arrived_;
    int pollErrno_ = 0;
};

EmulatedDevice::Session::~Session() {
    const std::lock_guard<Mutex> lock(device_->mutex_);
    device_->bmc_.deviceClosed();
    device_->exchanging_ = {};
}

int EmulatedDevice::Session::send(const ipmi_req& request) {
    const std::lock_guard<Mutex> lock(device_->mutex_);
    device_->noteExchange();
    if (gone()) return ENODEV;
    if (const int error = refusal(request); error != 0) return error;

    device_->exchanging_ = std::this_thread::get_id();
    Message message{device_->bmc_.answer(toRequest(request.msg)), request.msgid, {}};
    message.readyAt = clock::now() + milliseconds(message.answer.delayMs);
    pollErrno_ = message.answer.pollErrno;
    if (message.answer.vanish)
        ++device_->generation_;
    else if (!message.answer.silent)
        arrived_.push_back(std::move(message));
    return 0;
}

int EmulatedDevice::Session::receive(ipmi_recv& record, bool truncate, std::optional<Answer>& message) {
    const std::lock_guard<Mutex> lock(device_->mutex_);
    device_->noteExchange();
    if (const int error = obstacle(record, truncate); error != 0) {
        if (!device_->realWaits_) clock::advance(kFailedReceive);
        return error;
    }
    const bool cut = arrived_.front().answer.data.size() > record.msg.data_len;
    fill(record, arrived_.front().answer, arrived_.front().msgid);
    message = std::move(arrived_.front().answer);
    arrived_.pop_front();
    device_->exchanging_ = {};
    return cut ? EMSGSIZE : 0;
}

int EmulatedDevice::Session::obstacle(const ipmi_recv& record, bool truncate) {
    if (gone()) return ENODEV;
    if (arrived_.empty() || arrived_.front().readyAt > clock::now()) return EAGAIN;
    Answer& answer = arrived_.front().answer;
    if (answer.receiveFailures != 0) {
        --answer.receiveFailures;
        return answer.receiveErrno;
    }
    if (record.addr_len < sizeof(ipmi_system_interface_addr)) return EINVAL;
    if (record.addr == nullptr || (record.msg.data == nullptr && record.msg.data_len != 0)) return EFAULT;
    return answer.data.size() > record.msg.data_len && !truncate ? EMSGSIZE : 0;
}

int EmulatedDevice::Session::poll(pollfd& item, int timeoutMs) {
    using clock::kNever;
    std::unique_lock<Mutex> lock(device_->mutex_);
    item.revents = gone() ? POLLERR | POLLHUP : 0;
    if (gone()) return 1;
    if (pollErrno_ != 0) return failed(std::exchange(pollErrno_, 0));

    const clock::Duration now = clock::now();
    const bool coming = (item.events & POLLIN) != 0 && !arrived_.empty();
    const clock::Duration ready = coming ? std::max(arrived_.front().readyAt, now) : kNever;
    const clock::Duration deadline = timeoutMs < 0 ? kNever : now + milliseconds(timeoutMs);
    if (coming && ready <= deadline) {
        device_->passTime(ready - now, lock);
        item.revents = POLLIN;
        return 1;
    }
    if (deadline == kNever) return failed(EINTR);  // a wait without end, for nothing: better an error than to hang
    device_->exchanging_ = {};
    device_->passTime(deadline - now, lock);
    return 0;
}

void EmulatedDevice::remove(bool removed) {
    const std::lock_guard<Mutex> lock(mutex_);
    removed_ = removed;
    if (removed) ++generation_;
}

bool EmulatedDevice::removed() const {
    const std::lock_guard<Mutex> lock(mutex_);
    return removed_;
}

std::shared_ptr<DeviceSession> EmulatedDevice::open() {
    const std::lock_guard<Mutex> lock(mutex_);
    if (removed_ || bmc_.deviceMissing()) return nullptr;
    return std::make_shared<Session>(shared_from_this());
}

unsigned EmulatedDevice::interleavedExchanges() const {
    const std::lock_guard<Mutex> lock(mutex_);
    return interleaved_;
}

void EmulatedDevice::noteExchange() {
    if (exchanging_ != std::thread::id() && exchanging_ != std::this_thread::get_id()) ++interleaved_;
}

/** Lets a wait take its time with the device unlocked, on the emulated clock or really. */
void EmulatedDevice::passTime(clock::Duration duration, std::unique_lock<Mutex>& lock) const {
    lock.unlock();
    if (realWaits_)
        clock::sleep(duration);
    else
        clock::wait(duration);
}

}  // namespace emulator
