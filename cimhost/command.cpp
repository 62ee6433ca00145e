// What the commands do, from a session to the exit status. Tests: tests/cimhost/session_test.cpp, commandline_test.cpp,
// usage_test.cpp.

#include "cimhost/command.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <optional>
#include <system_error>

#include "cimhost/tree.h"

namespace cimhost {

void complain(const std::string& message) {
    std::fputs(fmt::format("cimhost: {}\n", printable(message, localeCharset())).c_str(), stderr);
}

bool print(const std::string& text) {
    if (writeOut(text) || errno == EPIPE) return true;
    complain("cannot write the answer: " + std::generic_category().message(errno));
    return false;
}

Tracer makeTracer(bool wanted) {
    if (!wanted) return {};
    return [](const std::string& line) { std::fputs((printable(line, localeCharset()) + '\n').c_str(), stderr); };
}

namespace {

/** What is to be written of an answer, what remains to be explained, and whether functions are named in it. */
struct Report {
    std::string text;
    std::string explanation;
    bool hasFunctions = false;
};

/** Whether functions are named, for want of catalogues, by words that stand for no name. */
bool lacksNames(const Surroundings& surroundings) {
    if (!surroundings.catalogue.empty()) return false;
    const std::string directory = surroundings.hostDirectory + "/etc/vmware/";
    const auto isThere = [&](const char* file) { return access((directory + file).c_str(), R_OK) == 0; };
    return !isThere("pci.xml") || !isThere("pci.classlist");
}

bool hasFunction(const Answer& answer) {
    const auto isFunction = [](const broker::Instance& each) { return each.property("PciDeviceID") != nullptr; };
    const auto* instances = std::get_if<Instances>(&answer.objects);
    return instances && std::any_of(instances->begin(), instances->end(), isFunction);
}

/** Writes what `ask` reports of a session of these settings; the answer takes at most so many readings. */
template <typename Ask>
ExitCode inSession(const Settings& settings, const std::string& subject, unsigned readings, Ask ask) {
    std::optional<Session> session;
    try {
        session.emplace(settings.surroundings, makeTracer(settings.trace));
    } catch (const std::exception& error) {
        complain(error.what());
        return kCannotAsk;
    }
    Patience patience(session->bmc(), readings);
    Report report;
    try {
        report = ask(*session);
    } catch (const ProviderException& error) {
        const std::string message = error.what();
        patience.end();
        complain(fmt::format("{}: the provider threw an exception{}", subject, message.empty() ? "" : ": " + message));
        return kErrorStatus;
    }
    patience.end();
    const bool written = print(report.text);
    if (written && !report.explanation.empty()) complain(report.explanation);
    if (report.hasFunctions && lacksNames(settings.surroundings))
        complain(
            "names are missing: the catalogues /etc/vmware/pci.xml and pci.classlist, from which the provider takes "
            "them, cannot be read; --catalogue shows those of the PCI ID list instead");
    return written && report.explanation.empty() ? kSuccess : kErrorStatus;
}

}  // namespace

ExitCode run(const Settings& settings, const Question& question) {
    return inSession(settings, question.subject, question.readings, [&](Session& session) -> Report {
        for (const std::string& doubt : doubts(question)) complain(doubt);
        const Answer answer = session.ask(question);
        TableOptions table = settings.table;
        table.inFull = table.inFull || question.inFull;
        return {formatted(answer, settings.format, table), explanation(answer, question), hasFunction(answer)};
    });
}

ExitCode runTree(const Settings& settings) {
    return inSession(settings, "tree", kReadingsOfInventory, [&](Session& session) -> Report {
        const Inventory inventory = takeInventory([&](const Question& question) { return session.ask(question); });
        return {formatted(inventory, settings.format, settings.table),
                explanation({inventory.status, {}}, inventory.subject), !inventory.onBoard.empty()};
    });
}

}  // namespace cimhost
