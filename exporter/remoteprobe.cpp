// Object managers asked with the WBEM client. Tests: tests/exporter/program_test.py, tests/e2e/prometheus.py.
#include "exporter/remoteprobe.h"

#include <stdexcept>

#include "client/failure.h"
#include "client/remotemanager.h"

namespace exporter {

namespace {

client::Access accessOf(const Module& module) {
    client::Access access;
    access.netrcFile = module.netrcFile.empty() ? "/dev/null" : module.netrcFile;  // never the user's own
    access.caFile = module.caFile;
    access.insecure = module.insecure;
    access.connectTimeout = module.connectTimeout;
    access.answerTimeout = module.timeout;
    return access;
}

}  // namespace

Outcome probeRemote(const std::string& target, const Module& module) {
    try {
        client::RemoteManager manager(client::parseServer(module.scheme + "://" + target), accessOf(module));
        return takeInventory([&](const cimhost::Question& question) { return question.ask(manager); });
    } catch (const client::Failure& failure) {
        return Failure{client::wordOf(failure.trouble()), failure.what()};
    } catch (const std::invalid_argument& error) {
        return Failure{"name", error.what()};
    }
}

}  // namespace exporter
