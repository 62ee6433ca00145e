// Questions to an object manager elsewhere. Tests: tests/e2e/remote.py.

#include "cimhost/remote.h"

#include <fmt/format.h>

#include <memory>

#include "client/remotemanager.h"

namespace cimhost {

Ask askOf(const client::Server& server, const client::Access& access) {
    const auto manager = std::make_shared<client::RemoteManager>(server, access);
    return [manager](const Question& question) {
        Answer answer = question.ask(*manager);
        if (const std::string refusal = manager->takeRefusal(); !refusal.empty())
            answer.refusal = fmt::format("{}: {}", manager->server().url(), refusal);
        return answer;
    };
}

}  // namespace cimhost
