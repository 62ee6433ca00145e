#include "terminalrun.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <system_error>

#include "tests/support/hostbuilder.h"

namespace {

std::string readAll(int descriptor) {
    std::string text;
    std::array<char, 4096> buffer{};
    for (;;) {
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;  // EIO: nobody has the terminal open any more
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return text;
}

std::string withoutCarriageReturns(std::string text) {
    std::size_t end = 0;
    while ((end = text.find("\r\n", end)) != std::string::npos) text.erase(end, 1);
    return text;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

}  // namespace

Outcome runCimhostOnTerminal(const std::vector<std::string>& arguments, const Terminal& terminal) {
    // Of two assignments to one name the last one counts.
    std::vector<std::string> command = {"/usr/bin/env", "-u",         "COLUMNS",       "-u",
                                        "NO_COLOR",     "TERM=xterm", "LC_ALL=C.UTF-8"};
    command.insert(command.end(), terminal.environment.begin(), terminal.environment.end());
    command.emplace_back(CIMHOST_PROGRAM);
    command.insert(command.end(), arguments.begin(), arguments.end());
    const std::vector<char*> words = pointers(command);
    const testsupport::TemporaryDirectory directory;
    const std::string err = (directory.path() / "err").string();

    winsize size{};
    size.ws_row = 24;
    size.ws_col = terminal.columns;
    int master = -1;
    const pid_t pid = forkpty(&master, nullptr, nullptr, &size);
    if (pid < 0) throw std::system_error(errno, std::generic_category(), "forkpty");
    if (pid == 0) {
        const int file = open(err.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (file < 0 || dup2(file, STDERR_FILENO) < 0) _exit(127);
        execv(words[0], words.data());
        _exit(127);
    }
    const std::string out = readAll(master);
    close(master);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    std::ifstream errors(err, std::ios::binary);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            withoutCarriageReturns(out),
            {std::istreambuf_iterator<char>(errors), {}}};
}
