// Places and time for the connections of a server.
// Tests: tests/wbem/httpserver_test.cpp, serve_test.cpp.
#include "wbem/connections.h"

#include <sys/socket.h>

#include <algorithm>

namespace wbem {

namespace {

bool isArriving(Connections::Stage stage) {
    return stage == Connections::Stage::head || stage == Connections::Stage::body;
}

}  // namespace

bool Connections::admit(int socket, const std::string& address) {
    const std::lock_guard lock(mutex_);
    const Choice any = [](const Connection&) { return true; };
    const Choice same = [&](const Connection& each) { return each.address == address; };
    if (count(same) >= limits_.perAddress && !endLongestIdle(same)) return false;
    if (count(any) >= limits_.connections && !endLongestIdle(any)) return false;
    // Those that were ended have still to be closed. A flood that outruns this is held up.
    if (connections_.size() >= 2 * std::size_t{limits_.connections}) return false;
    connections_[socket] = Connection{address};
    return true;
}

void Connections::forget(int socket) {
    const std::lock_guard lock(mutex_);
    connections_.erase(socket);
    changed_.notify_all();
}

bool Connections::enter(int socket, Stage stage) {
    const std::lock_guard lock(mutex_);
    const auto found = connections_.find(socket);
    if (found == connections_.end()) return false;
    Connection& connection = found->second;
    if (stage == Stage::handling && (refusing_ || connection.ended)) return false;
    connection.stage = stage;
    connection.since = Clock::now();
    if (stage == Stage::handling) connection.lastRequest = connection.since;
    changed_.notify_all();
    return true;
}

bool Connections::endOverdue() {
    const std::lock_guard lock(mutex_);
    for (auto& [socket, connection] : connections_) {
        if (connection.ended || !isOverdue(connection)) continue;
        connection.ended = true;
        shutdown(socket, SHUT_RDWR);
    }
    return !connections_.empty();
}

void Connections::endLongestIdle() {
    const std::lock_guard lock(mutex_);
    endLongestIdle([](const Connection&) { return true; });
}

void Connections::refuseRequests() {
    const std::lock_guard lock(mutex_);
    refusing_ = true;
}

bool Connections::waitForAnswers(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    const auto anyAt = [this](Stage stage) {
        return std::any_of(connections_.begin(), connections_.end(),
                           [stage](const auto& each) { return each.second.stage == stage; });
    };
    changed_.wait_for(lock, patience, [&] { return !anyAt(Stage::handling) && !anyAt(Stage::sending); });
    return !anyAt(Stage::handling);
}

std::size_t Connections::count(const Choice& choice) const {
    return static_cast<std::size_t>(std::count_if(connections_.begin(), connections_.end(), [&](const auto& each) {
        return !each.second.ended && choice(each.second);
    }));
}

/** Whether the client is waited for: for its request, or to take an answer, which it should have begun to long ago. */
bool Connections::isClientsTurn(const Connection& connection) const {
    const bool takesNothing = connection.stage == Stage::sending && Clock::now() - connection.since > limits_.headTime;
    return isArriving(connection.stage) || takesNothing;
}

/** False: among those chosen is none whose client is waited for. */
bool Connections::endLongestIdle(const Choice& choice) {
    auto longest = connections_.end();
    for (auto each = connections_.begin(); each != connections_.end(); ++each) {
        const Connection& connection = each->second;
        if (connection.ended || !isClientsTurn(connection) || !choice(connection)) continue;
        if (longest == connections_.end() || connection.lastRequest < longest->second.lastRequest) longest = each;
    }
    if (longest == connections_.end()) return false;
    longest->second.ended = true;
    shutdown(longest->first, SHUT_RDWR);
    return true;
}

bool Connections::isOverdue(const Connection& connection) const {
    const auto taken = Clock::now() - connection.since;
    switch (connection.stage) {
        case Stage::head:
            return taken > limits_.headTime;
        case Stage::body:
            return taken > limits_.bodyTime;
        case Stage::handling:
            return false;  // the client is waiting for us, not we for it
        case Stage::sending:
            return taken > limits_.answerTime;
    }
    return false;
}

}  // namespace wbem
