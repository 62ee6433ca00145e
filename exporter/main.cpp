// The program pciinfo-exporter: options, signals, its end. Tests: tests/exporter/program_test.py.

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#
#include "exporter/config.h"
#include "exporter/pages.h"
#include "exporter/remoteprobe.h"
#include "wbem/address.h"
#include "wbem/httpserver.h"

namespace {

constexpr int kCannotServe = 1;
constexpr int kWrongUsage = 2;

constexpr std::chrono::seconds kPatience{5};  // with answers that are being sent, once the exporter is to end

struct Options {
    std::string config = "/etc/pciinfo-exporter/config.yml";
    std::string listen = "127.0.0.1:9989";
    std::vector<std::string> hostNames;
    bool checkConfig = false;
};

void log(const std::string& line) {
    std::fputs((line + '\n').c_str(), stderr);  // one call, so that lines of several threads stay whole
}

/** Those that the program waits for; blocked from then on, in all threads that are started. */
class Signals {
 public:
    explicit Signals(std::initializer_list<int> signals) {
        sigemptyset(&signals_);
        for (const int signal : signals) sigaddset(&signals_, signal);
        pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    }
    int wait() const {
        int signal = 0;
        while (sigwait(&signals_, &signal) != 0) {
        }
        return signal;
    }

 private:
    sigset_t signals_{};
};

wbem::HttpOptions httpOptions(const Options& options) {
    const std::size_t colon = options.listen.rfind(':');
    std::string host = options.listen.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    const std::string port = colon == std::string::npos ? "" : options.listen.substr(colon + 1);
    if (host.empty() || port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos ||
        std::stoul(port) > 65535)
        throw std::runtime_error(options.listen + " is no ADDRESS:PORT");
    wbem::HttpOptions http;
    http.address = wbem::numericAddress(host);
    http.port = static_cast<std::uint16_t>(std::stoul(port));
    http.bodyLimit = 0;
    http.hosts = options.hostNames;
    http.hosts.push_back(host);
    for (const std::string& name : wbem::ownNames()) http.hosts.push_back(name);
    // Prometheus keeps a connection for each scrape that it has under way, from scrape to scrape.
    http.limits.connections = 2048;
    http.limits.perAddress = 2048;
    http.limits.headTime = std::chrono::minutes(5);
    return http;
}

void serve(const Options& options, const exporter::Config& config) {
    const Signals signals({SIGINT, SIGTERM, SIGHUP});
    exporter::Exporter served(config, exporter::probeRemote, log, EXPORTER_VERSION);
    wbem::HttpServer server(httpOptions(options),
                            [&](const wbem::HttpRequest& request) { return served.answer(request); });
    log("Listening on http://" + server.place());
    while (signals.wait() == SIGHUP) served.reload(options.config);
    const bool idle = served.stop();
    if (server.finish(kPatience) && idle) return;
    std::_Exit(EXIT_SUCCESS);  // probes are under way, whose answers nobody waits for
}

}  // namespace

int main(int count, char** arguments) {
    const Signals early({SIGHUP});  // which asks for a reload, not for the end, from the beginning
    try {
        Options options;
        CLI::App app("What sits in which PCI slot of which host, for Prometheus: asks object managers over CIM-XML.",
                     "pciinfo-exporter");
        app.set_version_flag("--version", "pciinfo-exporter " EXPORTER_VERSION);
        app.add_option("--config", options.config, "The configuration; SIGHUP has it read again")
            ->capture_default_str();
        app.add_flag("--check-config", options.checkConfig, "Only say whether the configuration is right");
        app.add_option("--listen", options.listen, "Address and port for HTTP; port 0: any that is free")
            ->capture_default_str();
        app.add_option("--host-name", options.hostNames,
                       "A name under which Prometheus asks, besides the machine's own; may be repeated")
            ->take_all()
            ->allow_extra_args(false);
        try {
            app.parse(count, arguments);
        } catch (const CLI::ParseError& error) {
            return app.exit(error) == 0 ? EXIT_SUCCESS : kWrongUsage;
        }
        const exporter::Warn warn = [](const std::string& line) { log(line); };
        const exporter::Config config =
            exporter::loadConfig(options.config, options.checkConfig ? warn : exporter::Warn());
        if (options.checkConfig)
            log(fmt::format("{}: nothing is wrong, modules: {}", options.config, config.modules.size()));
        else
            serve(options, config);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        log(fmt::format("pciinfo-exporter: {}", error.what()));
        return kCannotServe;
    }
}
