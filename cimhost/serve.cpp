#include "cimhost/serve.h"

#include <fcntl.h>
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

#include "cimhost/session.h"
#include "cimhost/terminal.h"
#include "cimhost/text.h"
#include "schema/embedded.h"
#include "wbem/operations.h"
#include "wbem/responder.h"

namespace cimhost {

namespace {

constexpr std::chrono::seconds kPatience{10};  // with requests under way, once the server is to end

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

bool isLoopback(const std::string& address) {
    return address.rfind("127.", 0) == 0 || address == "::1";
}

void announce(const wbem::HttpServer& server) {
    if (!writeOut("Listening on http://" + server.place() + "\n"))
        throw std::system_error(errno, std::generic_category(), "cannot write to standard output");
}

/** From here on standard output is the provider's. */
void divertStdout(bool traced) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (traced) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        return;
    }
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0) return;
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}

wbem::HttpServer::Handler answerBy(const wbem::Responder& responder, const Tracer& tracer) {
    return [&responder, tracer](const wbem::HttpRequest& request) {
        wbem::HttpResponse response = responder.answer(request);
        if (tracer) tracer(printable("answered " + response.summary));
        return response;
    };
}

void serveUntilSignal(broker::Broker& manager, const Settings& settings, const wbem::HttpOptions& options) {
    const EndSignals signals;
    const wbem::Operations operations(manager, schema::declared(), "root/kavix");
    const wbem::Responder responder(operations, options.address);
    wbem::HttpServer server(options, answerBy(responder, makeTracer(settings.trace)));
    announce(server);
    divertStdout(settings.trace);
    signals.wait();
    if (server.finish(kPatience)) return;
    complain(fmt::format("requests are still under way after {} s", kPatience.count()));
    std::_Exit(kErrorStatus);  // their threads cannot be ended
}

}  // namespace

ExitCode serve(const Settings& settings, const wbem::HttpOptions& options) {
    if (!isLoopback(options.address))
        complain(fmt::format("{} is no loopback address: everybody who reaches it may ask", options.address));
    Surroundings surroundings = settings.surroundings;
    surroundings.realWaits = true;
    try {
        Session session(surroundings, makeTracer(settings.trace));
        session.manager().recordCalls(false);
        serveUntilSignal(session.manager(), settings, options);
        session.manager().cleanup(true);
    } catch (const std::exception& error) {
        complain(error.what());
        return kCannotAsk;
    }
    return kSuccess;
}

}  // namespace cimhost
