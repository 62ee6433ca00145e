// Requests without an answer, in words. Tests: tests/e2e/remote.py.
#include "client/failure.h"

#include <fmt/format.h>

namespace client {

const char* wordOf(Trouble trouble) {
    switch (trouble) {
        case Trouble::name:
            return "name";
        case Trouble::unreachable:
            return "unreachable";
        case Trouble::connectTimeout:
            return "connect-timeout";
        case Trouble::answerTimeout:
            return "answer-timeout";
        case Trouble::tls:
            return "tls";
        case Trouble::credentials:
            return "credentials";
        case Trouble::httpStatus:
            return "http-status";
        case Trouble::ended:
            return "ended";
        case Trouble::malformed:
            return "malformed";
        case Trouble::tooLarge:
            return "too-large";
        default:
            return "other";
    }
}

Failure::Failure(Trouble trouble, const std::string& server, const std::string& asked, const std::string& came)
    : std::runtime_error(fmt::format("{}: {}: {}", server, asked, came)),
      trouble_(trouble),
      asked_(asked),
      came_(came) {}

}  // namespace client
