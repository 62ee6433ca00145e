#include "cimhost/command.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <optional>
#include <system_error>

#include "cimhost/inventory.h"
#include "cimhost/patience.h"
#include "cimhost/terminal.h"
#include "cimhost/text.h"
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

/** What `work` brings; nothing, and a complaint, when the provider throws. */
template <class Work>
auto attempt(const std::string& subject, Work work) -> std::optional<decltype(work())> {
    try {
        return work();
    } catch (const ProviderException& error) {
        const std::string message = error.what();
        complain(fmt::format("{}: the provider threw an exception{}", subject, message.empty() ? "" : ": " + message));
    }
    return std::nullopt;
}

/** Writes what was answered, and what remains to be explained. */
ExitCode report(const std::string& text, const std::string& explained) {
    if (!print(text)) return kErrorStatus;
    if (explained.empty()) return kSuccess;
    complain(explained);
    return kErrorStatus;
}

/** Whether functions are named in the answer, for want of catalogues, by words that stand for no name. */
bool lacksNames(const Surroundings& surroundings) {
    if (!surroundings.catalogue.empty()) return false;
    const std::string directory = surroundings.hostDirectory + "/etc/vmware/";
    const auto isThere = [&](const char* file) { return access((directory + file).c_str(), R_OK) == 0; };
    return !isThere("pci.xml") || !isThere("pci.classlist");
}

bool isFunction(const broker::Instance& instance) {
    return instance.property("PciDeviceID") != nullptr;
}

bool hasFunction(const Answer& answer) {
    const auto* instances = std::get_if<Instances>(&answer.objects);
    return instances && std::any_of(instances->begin(), instances->end(), isFunction);
}

void explainNames(const Surroundings& surroundings) {
    if (lacksNames(surroundings))
        complain(
            "names are missing: the catalogues /etc/vmware/pci.xml and pci.classlist, from which the provider takes "
            "them, "
            "cannot be read; --catalogue shows those of the PCI ID list instead");
}

/** Runs `work` in a session of these settings. */
template <class Work>
ExitCode inSession(const Settings& settings, Work work) {
    std::optional<Session> session;
    Surroundings surroundings = settings.surroundings;
    surroundings.watched = stderrIsTerminal();
    try {
        session.emplace(surroundings, makeTracer(settings.trace));
    } catch (const std::exception& error) {
        complain(error.what());
        return kCannotAsk;
    }
    return work(*session);
}

}  // namespace

ExitCode run(const Settings& settings, const Question& question) {
    return inSession(settings, [&](Session& session) {
        for (const std::string& doubt : doubts(question)) complain(doubt);
        Patience patience(session.bmc(), question.readings);
        const auto answer = attempt(question.subject, [&] { return session.ask(question); });
        patience.end();
        if (!answer) return kErrorStatus;
        TableOptions table = settings.table;
        table.inFull = table.inFull || question.inFull;
        const std::string text = makeFormatter(settings.format, table)->text(*answer);
        const ExitCode code = report(text, explanation(*answer, question));
        if (hasFunction(*answer)) explainNames(settings.surroundings);
        return code;
    });
}

ExitCode runTree(const Settings& settings) {
    return inSession(settings, [&](Session& session) {
        Patience patience(session.bmc(), kReadingsOfInventory);
        const Ask ask = [&](const Question& question) { return session.ask(question); };
        const auto inventory = attempt("tree", [&] { return takeInventory(ask); });
        patience.end();
        if (!inventory) return kErrorStatus;
        const std::string text = treeIn(settings.format, *inventory, settings.table);
        const ExitCode code = report(text, explanation({inventory->status, {}}, inventory->subject));
        if (!inventory->onBoard.empty()) explainNames(settings.surroundings);
        return code;
    });
}

}  // namespace cimhost
