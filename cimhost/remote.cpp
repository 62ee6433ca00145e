// Questions to an object manager elsewhere. Tests: tests/e2e/remote.py.

#include "cimhost/remote.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>

#include "cimhost/terminal.h"
#include "client/remotemanager.h"

namespace cimhost {

namespace {

using Clock = std::chrono::steady_clock;

/** Tells once, after a second, what is waited for. */
std::function<void()> notice(const client::RemoteManager& manager, std::chrono::milliseconds most) {
    return [&manager, most, start = Clock::now(), told = false]() mutable noexcept {
        if (told || Clock::now() - start < std::chrono::seconds(1)) return;
        told = true;
        std::fprintf(stderr, "cimhost: waiting for %s, at most %lld s for each answer\n",
                     manager.server().url().c_str(),
                     static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(most).count()));
    };
}

}  // namespace

Ask askOf(const client::Server& server, const client::Access& access) {
    // Made when it is asked, where it is known what becomes of a failure.
    return [server, access, manager = std::shared_ptr<client::RemoteManager>()](const Question& question) mutable {
        if (!manager) {
            manager = std::make_shared<client::RemoteManager>(server, access);
            if (stderrIsTerminal()) manager->whileWaiting(notice(*manager, access.answerTimeout));
        }
        Answer answer = question.ask(*manager);
        if (const std::string refusal = manager->takeRefusal(); !refusal.empty())
            answer.refusal = fmt::format("{}: {}", manager->server().url(), refusal);
        return answer;
    };
}

}  // namespace cimhost
