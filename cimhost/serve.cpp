// The command serve: the provider as a WBEM server. Tests: tests/wbem/serve_test.cpp.

#include "cimhost/serve.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

#include "cimhost/page.h"
#include "cimhost/readings.h"
#include "cimhost/shortforms.h"
#include "mof/embedded.h"
#include "wbem/address.h"
#include "wbem/operations.h"
#include "wbem/responder.h"

namespace cimhost {

namespace {

// With requests under way, once the server is to end: until they are abandoned, and until it ends all the same.
constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::seconds kRest{2};

/**
 * The signals that end the server. From then on they interrupt neither this thread nor those that it starts, and a
 * second one has no effect: timeout(1), for one, signals its command and then the command's process group.
 */
class EndSignals {
 public:
    EndSignals() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGINT);
        sigaddset(&signals_, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    }

    /** Returns when one has come. */
    void wait() const {
        int signal = 0;
        while (sigwait(&signals_, &signal) != 0) {
        }
    }

 private:
    sigset_t signals_{};
};

/** A command that can be pasted into a shell; those with brackets in the address expand nothing only when quoted. */
std::string exampleCommand(const std::string& url) {
    const std::string object = fmt::format("{}/{}:QELTA_SystemSlot", url, kNamespace);
    const char* const quote = url.find('[') != std::string::npos ? "'" : "";
    return fmt::format("wbemcli ein {}{}{}", quote, object, quote);
}

void announce(const wbem::HttpServer& server) {
    const std::string url = "http://" + server.place();
    const std::string text = fmt::format(
        "Listening on {0}\nSee the machine in a browser: {0}/\nAsk it, for example: {1}\n"
        "It ends with Ctrl-C, or with: kill {2}\n",
        url, exampleCommand(url), getpid());
    if (!writeOut(text)) throw std::system_error(errno, std::generic_category(), "cannot write to standard output");
}

/** From here on standard output is the provider's. */
void divertStdout(bool traced) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const int target = traced ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (target < 0) return;
    dup2(target, STDOUT_FILENO);
    close(target);
}

constexpr std::size_t kLogColumns = 400;  // clients choose the names that are logged

std::string logLine(const wbem::HttpRequest& request, const std::string& summary,
                    std::chrono::steady_clock::duration time) {
    const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
    return fmt::format("{:%Y-%m-%dT%H:%M:%S%z} {} {}, {} ms", fmt::localtime(now), request.client,
                       cut(printable(summary), kLogColumns), milliseconds);
}

wbem::HttpServer::Handler answerBy(const wbem::Responder& responder, Readings& readings, Session& session,
                                   const Tracer& log) {
    return [&responder, &readings, &session, log](const wbem::HttpRequest& request) {
        const auto began = std::chrono::steady_clock::now();
        wbem::HttpResponse response = concernsPage(request) ? answerPage(request, readings) : responder.answer(request);
        session.traceRefusals();
        if (log) log(logLine(request, response.summary, std::chrono::steady_clock::now() - began));
        return response;
    };
}

/** What the page shows. Throws where the provider does, or where the server ends meanwhile. */
Reading takeReading(Session& session, const Readings::Unwanted& unwanted) {
    Reading reading;
    reading.inventory = takeInventory([&](const Question& question) {
        if (unwanted()) throw std::runtime_error("the server ends");
        return session.askBeside(question);
    });
    reading.trouble = session.bmc().failure().value_or("");
    return reading;
}

void serveUntilSignal(Session& session, const Settings& settings, const ServeOptions& options) {
    const EndSignals signals;
    const wbem::Operations operations(session.manager(), schema::declared(), kNamespace);
    const wbem::Responder responder(operations, options.http.address, "a page for browsers at /");
    Readings readings([&session](const Readings::Unwanted& unwanted) { return takeReading(session, unwanted); });
    wbem::HttpServer server(options.http,
                            answerBy(responder, readings, session, makeTracer(options.log || settings.trace)));
    announce(server);
    divertStdout(settings.trace);
    signals.wait();
    readings.finish(std::chrono::seconds(0));  // which is told first, as a reading has several requests
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    const auto left = [&] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    };
    if (server.finish(kPatience) && readings.finish(left())) return;
    server.abandon();
    if (server.finish(kRest) && readings.finish(left() + kRest)) return;
    complain(fmt::format("requests are still under way after {} s", (kPatience + kRest).count()));
    std::_Exit(kErrorStatus);  // their threads cannot be ended
}

}  // namespace

ExitCode serve(const Settings& settings, const ServeOptions& options) {
    Surroundings surroundings = settings.surroundings;
    surroundings.realWaits = true;
    ServeOptions resolved = options;
    try {
        resolved.http.address = wbem::numericAddress(options.http.address);
        resolved.http.hosts.push_back(options.http.address);
        if (!wbem::isLoopback(resolved.http.address)) {
            complain(fmt::format("{} is no loopback address: everybody who reaches it may ask", resolved.http.address));
            for (const std::string& name : wbem::ownNames()) resolved.http.hosts.push_back(name);
        }
        Session session(surroundings, makeTracer(settings.trace));
        serveUntilSignal(session, settings, resolved);
        session.manager().cleanup(true);
    } catch (const std::exception& error) {
        complain(error.what());
        return kCannotAsk;
    }
    return kSuccess;
}

}  // namespace cimhost
