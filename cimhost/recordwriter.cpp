// What many servers have, to standard output. Tests: tests/e2e/servers.py.

#include "cimhost/recordwriter.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace cimhost {

namespace {

constexpr std::size_t kMostWaiting = std::size_t{16} << 20;

/** In one call as far as the system takes it. */
void writeLine(const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(STDOUT_FILENO, data, size);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0 && errno == EAGAIN) {  // it was made so by whoever else has it
            pollfd output = {STDOUT_FILENO, POLLOUT, 0};
            poll(&output, 1, -1);
            continue;
        }
        if (written < 0 && errno == EPIPE) throw ReaderGone();
        if (written < 0) throw std::system_error(errno, std::generic_category(), "cannot write the answer");
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

}  // namespace

RecordWriter::RecordWriter(SurveyState& state) : state_(state), thread_([this] { run(); }) {}

RecordWriter::~RecordWriter() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void RecordWriter::put(const std::string& server, std::string records) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        bytes_ += records.size();
        waiting_.emplace_back(server, std::move(records));
    }
    changed_.notify_all();
}

void RecordWriter::check() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (error_) std::rethrow_exception(error_);
}

bool RecordWriter::isBehind() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return bytes_ > kMostWaiting;
}

bool RecordWriter::isIdle() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return waiting_.empty();
}

void RecordWriter::finish() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return waiting_.empty() || error_; });
    if (error_) std::rethrow_exception(error_);
}

void RecordWriter::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!error_) {
        changed_.wait(lock, [this] { return stopped_ || !waiting_.empty(); });
        if (stopped_) return;
        const auto& [server, records] = waiting_.front();  // stays where it is while others are put
        lock.unlock();
        std::exception_ptr error;
        try {
            write(server, records);
        } catch (...) {
            error = std::current_exception();
        }
        lock.lock();
        error_ = error;
        bytes_ -= records.size();
        waiting_.pop_front();
        changed_.notify_all();
    }
}

void RecordWriter::write(const std::string& server, const std::string& records) {
    state_.begin(server, records);
    for (std::size_t begin = 0; begin < records.size();) {
        const std::size_t end = records.find('\n', begin) + 1;
        writeLine(records.data() + begin, end - begin);
        begin = end;
    }
    state_.end(server);
}

}  // namespace cimhost
