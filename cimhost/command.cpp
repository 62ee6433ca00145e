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
#include <stdexcept>
#include <system_error>

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

/** Writes a report, and what there is to be said besides. */
ExitCode finish(const Report& report, bool lacksNames) {
    const bool written = print(report.text);
    if (written && !report.explanation.empty()) complain(report.explanation);
    if (report.hasFunctions && lacksNames)
        complain(
            "names are missing: the catalogues /etc/vmware/pci.xml and pci.classlist, from which the provider takes "
            "them, cannot be read; --catalogue shows those of the PCI ID list instead");
    return written && report.explanation.empty() ? kSuccess : kErrorStatus;
}

/** Writes what comes of asking an object manager elsewhere. */
template <typename MakeReport>
ExitCode elsewhere(const Settings& settings, MakeReport makeReport) {
    Report report;
    try {
        report = makeReport(settings.elsewhere);
    } catch (const std::runtime_error& error) {
        complain(error.what());
        return kNoAnswer;
    }
    return finish(report, false);
}

/** Writes the report that is made by asking, of this process's provider at most for so many readings. */
template <typename MakeReport>
ExitCode inSession(const Settings& settings, const std::string& subject, unsigned readings, MakeReport makeReport) {
    if (settings.elsewhere) return elsewhere(settings, makeReport);
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
        report = makeReport([&](const Question& question) { return session->ask(question); });
    } catch (const ProviderException& error) {
        const std::string message = error.what();
        patience.end();
        complain(fmt::format("{}: the provider threw an exception{}", subject, message.empty() ? "" : ": " + message));
        return kErrorStatus;
    }
    patience.end();
    return finish(report, lacksNames(settings.surroundings));
}

}  // namespace

ExitCode run(const Settings& settings, const Question& question) {
    return inSession(settings, question.subject, question.readings, [&](const Ask& ask) -> Report {
        for (const std::string& doubt : doubts(question)) complain(doubt);
        const Answer answer = ask(question);
        TableOptions table = settings.table;
        table.inFull = table.inFull || question.inFull;
        return {formatted(answer, settings.format, table), explanation(answer, question), hasFunction(answer)};
    });
}

ExitCode runInventory(const Settings& settings, const std::string& command,
                      const std::function<std::string(const Inventory&)>& write) {
    return inSession(settings, command, kReadingsOfInventory, [&](const Ask& ask) -> Report {
        const Inventory inventory = takeInventory(ask);
        const Answer whole = {inventory.status, {}, std::nullopt, inventory.refusal};
        return {write(inventory), explanation(whole, inventory.subject), !inventory.onBoard.empty()};
    });
}

ExitCode runTree(const Settings& settings) {
    return runInventory(settings, "tree", [&](const Inventory& inventory) {
        return formatted(inventory, settings.format, settings.table);
    });
}

}  // namespace cimhost
