// Runs the built cimhost, in pipes and on terminals.

#include "program.h"

#include <fcntl.h>
#include <pty.h>
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

    void toDescriptor(int descriptor, int target) { posix_spawn_file_actions_adddup2(&actions, target, descriptor); }

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

int start(const SpawnSettings& settings, const std::vector<std::string>& arguments,
          const std::vector<std::string>& variables = {}) {
    // Of two assignments to one name the last one counts.
    std::vector<std::string> command = {"/usr/bin/env", "-u",         "COLUMNS",       "-u",
                                        "NO_COLOR",     "TERM=xterm", "LC_ALL=C.UTF-8"};
    command.insert(command.end(), variables.begin(), variables.end());
    command.emplace_back(CIMHOST_PROGRAM);
    command.insert(command.end(), arguments.begin(), arguments.end());
    pid_t pid = 0;
    const int error = posix_spawn(&pid, command[0].c_str(), &settings.actions, &settings.attributes,
                                  pointers(command).data(), environ);
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

/** A raw pseudo-terminal of so many columns, or a pipe, for the standard output of another program. */
struct OutputEnds {
    explicit OutputEnds(std::optional<unsigned short> columns) {
        winsize size{};
        size.ws_row = 24;
        size.ws_col = columns.value_or(0);
        termios raw{};
        cfmakeraw(&raw);
        std::array<int, 2> ends{};
        if ((columns ? openpty(&ends[0], &ends[1], nullptr, &raw, &size) : pipe(ends.data())) != 0)
            throw std::system_error(errno, std::generic_category(), "terminal or pipe");
        ours = ends[0];
        theirs = ends[1];
        for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    int ours = -1;
    int theirs = -1;
};

/** All that comes until nobody has the other end open. */
std::string readToEnd(int descriptor) {
    std::string text;
    std::array<char, 4096> piece{};
    for (ssize_t got = 0; (got = read(descriptor, piece.data(), piece.size())) > 0;)
        text.append(piece.data(), static_cast<std::size_t>(got));
    return text;
}

/** Asks every few milliseconds for ten seconds whether something has happened. */
template <typename Happened>
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
    pid_ = start(settings, arguments);
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
    settings.toFile(STDERR_FILENO, err.string());
    settings.toFile(STDOUT_FILENO, surrounding.output == Output::full ? "/dev/full" : out.string());
    if (surrounding.output == Output::closed) posix_spawn_file_actions_addclose(&settings.actions, STDOUT_FILENO);
    if (!surrounding.terminal && surrounding.output != Output::closedPipe) {
        const int exitCode = exitCodeOf(start(settings, arguments, surrounding.environment));
        return {exitCode, contents(out), contents(err)};
    }
    const OutputEnds ends(surrounding.terminal);
    settings.toDescriptor(STDOUT_FILENO, ends.theirs);
    if (surrounding.output == Output::closedPipe) close(ends.ours);
    const pid_t pid = start(settings, arguments, surrounding.environment);
    close(ends.theirs);
    const std::string shown = surrounding.terminal ? readToEnd(ends.ours) : "";
    if (surrounding.terminal) close(ends.ours);
    return {exitCodeOf(pid), shown, contents(err)};
}
