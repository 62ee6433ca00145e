#include "program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <thread>

namespace {

/** posix_spawn's two records, freed with the object. */
class SpawnSettings {
 public:
    SpawnSettings() {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes, &pipe);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnSettings() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    void toFile(int descriptor, const std::string& file) {
        posix_spawn_file_actions_addopen(&actions, descriptor, file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

/** The tests' own, in a locale that every machine has, so that answers do not depend on who runs them. */
std::vector<std::string> environment(const std::string& columns) {
    std::vector<std::string> variables{"LC_ALL=C.UTF-8"};
    for (char** variable = environ; *variable; ++variable) {
        const std::string text = *variable;
        if (text.rfind("COLUMNS=", 0) != 0 && text.rfind("LC_ALL=", 0) != 0) variables.push_back(text);
    }
    if (!columns.empty()) variables.push_back("COLUMNS=" + columns);
    return variables;
}

int start(const SpawnSettings& settings, const std::vector<std::string>& arguments, const std::string& columns) {
    std::vector<std::string> command = {CIMHOST_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = environment(columns);
    pid_t pid = 0;
    const int error = posix_spawn(&pid, CIMHOST_PROGRAM, &settings.actions, &settings.attributes,
                                  pointers(command).data(), pointers(variables).data());
    if (error != 0) throw std::system_error(error, std::generic_category(), CIMHOST_PROGRAM);
    return pid;
}

int exitCodeOf(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string contents(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/** Asks every few milliseconds for ten seconds whether something has happened. */
template <class Happened>
bool waitUntil(Happened happened) {
    for (int i = 0; i < 2000; ++i) {
        if (happened()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

}  // namespace

RunningCimhost::RunningCimhost(const std::vector<std::string>& arguments) {
    SpawnSettings settings;
    settings.toFile(STDOUT_FILENO, (directory_.path() / "out").string());
    settings.toFile(STDERR_FILENO, (directory_.path() / "err").string());
    pid_ = start(settings, arguments, "");
}

RunningCimhost::~RunningCimhost() {
    if (pid_ == 0) return;
    kill(pid_, SIGKILL);
    exitCodeOf(pid_);
}

std::string RunningCimhost::firstLine() const {
    std::string text;
    std::size_t end = std::string::npos;
    const auto lineIsThere = [&] {
        text = contents(directory_.path() / "out");
        end = text.find('\n');
        return end != std::string::npos;
    };
    return waitUntil(lineIsThere) ? text.substr(0, end + 1) : "";
}

bool RunningCimhost::wroteToStderr(const std::string& text) const {
    return waitUntil([&] { return contents(directory_.path() / "err").find(text) != std::string::npos; });
}

void RunningCimhost::signal(int number) const {
    kill(pid_, number);
}

Outcome RunningCimhost::end() {
    int status = 0;
    Outcome outcome;
    if (waitUntil([&] { return waitpid(pid_, &status, WNOHANG) == pid_; })) {
        pid_ = 0;
        outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    outcome.out = contents(directory_.path() / "out");
    outcome.err = contents(directory_.path() / "err");
    return outcome;
}

Outcome runCimhost(const std::vector<std::string>& arguments, const Surrounding& surrounding) {
    const testsupport::TemporaryDirectory directory;
    const std::filesystem::path out = directory.path() / "out";
    const std::filesystem::path err = directory.path() / "err";
    SpawnSettings settings;
    settings.toFile(STDOUT_FILENO, surrounding.outputTo.empty() ? out.string() : surrounding.outputTo);
    if (surrounding.noOutput) posix_spawn_file_actions_addclose(&settings.actions, STDOUT_FILENO);
    settings.toFile(STDERR_FILENO, err.string());
    const int exitCode = exitCodeOf(start(settings, arguments, surrounding.columns));
    return {exitCode, contents(out), contents(err)};
}

Outcome runCimhostIntoClosedPipe(const std::vector<std::string>& arguments) {
    const testsupport::TemporaryDirectory directory;
    const std::filesystem::path err = directory.path() / "err";
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    close(ends[0]);
    SpawnSettings settings;
    posix_spawn_file_actions_adddup2(&settings.actions, ends[1], STDOUT_FILENO);
    settings.toFile(STDERR_FILENO, err.string());
    const pid_t pid = start(settings, arguments, "");
    close(ends[1]);
    const int exitCode = exitCodeOf(pid);
    return {exitCode, "", contents(err)};
}
