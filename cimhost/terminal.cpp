#include "cimhost/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

namespace cimhost {

namespace {

constexpr std::size_t kDefaultWidth = 120;

}  // namespace

std::size_t terminalWidth() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kDefaultWidth;
    return size.ws_col;
}

bool writeOut(const std::string& text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

}  // namespace cimhost
