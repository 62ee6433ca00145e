// The start from the environment: how a foreign process, into which this library is preloaded, gets its host. Held by
// tests/emulator/preload_test.cpp.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include "emulator/emulatedhost.h"

namespace emulator {

namespace {

constexpr int kExitStatus = 125;  // as wrappers of commands tell that they themselves failed

const char* setting(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): before main, there is one thread
    return value != nullptr && *value != '\0' ? value : nullptr;
}

/** Appends a line in one piece: several processes may share the file. */
void appendLine(int descriptor, const std::string& text) {
    const std::string line = text + "\n";
    if (write(descriptor, line.data(), line.size()) < 0) std::perror("EMULATED_HOST_TRACE");
}

void traceTo(EmulatedHost& host, const char* file) {
    constexpr mode_t kPermissions = 0666;
    const int descriptor = ::open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kPermissions);
    if (descriptor < 0) throw std::runtime_error(std::string("cannot write the trace file '") + file + "'");
    host.onEvent([descriptor](const Event& event) { appendLine(descriptor, describe(event)); });
}

bool areReal(const std::string& waits) {
    if (waits != "real" && waits != "virtual")
        throw std::runtime_error("EMULATED_HOST_WAITS is 'real' or 'virtual', not '" + waits + "'");
    return waits == "real";
}

__attribute__((constructor)) void startFromEnvironment() {
    const char* directory = setting("EMULATED_HOST");
    if (directory == nullptr) return;
    try {
        static auto* host = new EmulatedHost(directory);  // lives to the last call that an exit handler makes
        host->keepEvents(false);
        if (const char* waits = setting("EMULATED_HOST_WAITS"); waits != nullptr) host->setRealWaits(areReal(waits));
        if (const char* trace = setting("EMULATED_HOST_TRACE"); trace != nullptr) traceTo(*host, trace);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "emulated host: %s\n", error.what());
        _exit(kExitStatus);
    }
}

}  // namespace

}  // namespace emulator
