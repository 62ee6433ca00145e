#include "cimhost/command.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <optional>
#include <system_error>

#include "cimhost/inventory.h"
#include "cimhost/terminal.h"
#include "cimhost/text.h"
#include "cimhost/tree.h"

namespace cimhost {

void complain(const std::string& message) {
    std::fputs(fmt::format("cimhost: {}\n", printable(message, localeCharset())).c_str(), stderr);
}

Tracer makeTracer(bool wanted) {
    if (!wanted) return {};
    return [](const std::string& line) { std::fputs((printable(line, localeCharset()) + '\n').c_str(), stderr); };
}

namespace {

/** Whoever reads our output may have seen enough of it (a closed pipe); anything else that stops it is an error. */
bool print(const std::string& text) {
    if (writeOut(text) || errno == EPIPE) return true;
    complain("cannot write the answer: " + std::generic_category().message(errno));
    return false;
}

/** What `work` brings; nothing, and a complaint, when the provider throws. */
template <class Work>
auto attempt(const std::string& subject, Work work) -> std::optional<decltype(work())> {
    try {
        return work();
    } catch (const std::exception& error) {
        complain(fmt::format("{}: the provider threw an exception: {}", subject, error.what()));
    } catch (...) {
        complain(fmt::format("{}: the provider threw an exception", subject));
    }
    return std::nullopt;
}

/** Writes what was answered about the subject, in the form of `text`. */
ExitCode report(const std::string& text, CMPIrc status, const std::string& subject) {
    if (!print(text)) return kErrorStatus;
    if (status == CMPI_RC_OK) return kSuccess;
    complain(explanation({status, {}}, subject));
    return kErrorStatus;
}

/** Runs `work` in a session of these settings. */
template <class Work>
ExitCode inSession(const Settings& settings, Work work) {
    std::optional<Session> session;
    try {
        session.emplace(settings.surroundings, makeTracer(settings.trace));
    } catch (const std::exception& error) {
        complain(error.what());
        return kCannotAsk;
    }
    return work(*session);
}

}  // namespace

ExitCode run(const Settings& settings, const Question& question) {
    return inSession(settings, [&](Session& session) {
        const auto answer = attempt(question.subject, [&] { return session.ask(question); });
        if (!answer) return kErrorStatus;
        TableOptions table = settings.table;
        table.inFull = table.inFull || question.inFull;
        return report(makeFormatter(settings.format, table)->text(*answer), answer->status, question.subject);
    });
}

ExitCode runTree(const Settings& settings) {
    return inSession(settings, [&](Session& session) {
        const Ask ask = [&](const Question& question) { return session.ask(question); };
        const auto inventory = attempt("tree", [&] { return takeInventory(ask); });
        if (!inventory) return kErrorStatus;
        return report(treeIn(settings.format, *inventory, settings.table), inventory->status, inventory->subject);
    });
}

}  // namespace cimhost
