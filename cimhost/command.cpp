#include "cimhost/command.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <optional>
#include <system_error>

#include "cimhost/terminal.h"
#include "cimhost/text.h"

namespace cimhost {

namespace {

void complain(const std::string& message) {
    std::fputs(fmt::format("cimhost: {}\n", printable(message)).c_str(), stderr);
}

Tracer makeTracer(bool wanted) {
    if (!wanted) return {};
    return [](const std::string& line) { std::fputs((line + '\n').c_str(), stderr); };
}

/** Whoever reads our output may have seen enough of it (a closed pipe); anything else that stops it is an error. */
bool print(const std::string& text) {
    if (writeOut(text) || errno == EPIPE) return true;
    complain("cannot write the answer: " + std::generic_category().message(errno));
    return false;
}

std::optional<Answer> answerTo(const Question& question, Session& session) {
    try {
        return session.ask(question);
    } catch (const std::exception& error) {
        complain(fmt::format("{}: the provider threw an exception: {}", question.subject, error.what()));
    } catch (...) {
        complain(fmt::format("{}: the provider threw an exception", question.subject));
    }
    return std::nullopt;
}

ExitCode report(const Settings& settings, const Question& question, const Answer& answer) {
    TableOptions table = settings.table;
    table.inFull = table.inFull || question.inFull;
    if (!print(makeFormatter(settings.format, table)->text(answer))) return kErrorStatus;
    if (answer.status == CMPI_RC_OK) return kSuccess;
    complain(explanation(answer, question.subject));
    return kErrorStatus;
}

}  // namespace

ExitCode run(const Settings& settings, const Question& question) {
    std::optional<Session> session;
    try {
        session.emplace(settings.surroundings, makeTracer(settings.trace));
    } catch (const std::exception& error) {
        complain(error.what());
        return kCannotAsk;
    }
    const std::optional<Answer> answer = answerTo(question, *session);
    return answer ? report(settings, question, *answer) : kErrorStatus;
}

}  // namespace cimhost
