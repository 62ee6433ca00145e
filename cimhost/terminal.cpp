// What standard output and standard error lead to. Tests: tests/cimhost/terminal_test.cpp.

#include "cimhost/terminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <system_error>

namespace cimhost {

namespace {

constexpr std::size_t kUsualWidth = 80;

/** A variable's value; empty where it is unset. */
std::string_view variable(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody changes it
    return value != nullptr ? value : "";
}

std::optional<std::size_t> positiveNumber(std::string_view text) {
    std::size_t number = 0;
    const char* end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end || number == 0) return std::nullopt;
    return number;
}

bool isTerminal() {
    return isatty(STDOUT_FILENO) == 1;
}

/**
 * Columns of the terminal that standard output leads to: the variable COLUMNS where that is a positive number, else
 * what the terminal says, else 80. 0 where standard output is not a terminal.
 */
std::size_t terminalWidth() {
    if (!isTerminal()) return 0;
    if (const auto columns = positiveNumber(variable("COLUMNS"))) return *columns;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualWidth;
    return size.ws_col;
}

bool wantsColor(Color color) {
    if (color != Color::automatic) return color == Color::always;
    return isTerminal() && variable("NO_COLOR").empty() && !variable("TERM").empty() && variable("TERM") != "dumb";
}

}  // namespace

Charset localeCharset() {
    const char* name = nl_langinfo(CODESET);  // NOLINT(concurrency-mt-unsafe): main() sets the locale once
    return std::string_view(name) == "UTF-8" ? Charset::utf8 : Charset::ascii;
}

TableOptions fitted(TableOptions options, Color color) {
    if (options.width == 0) options.width = terminalWidth();
    options.toTerminal = isTerminal();
    options.charset = localeCharset();
    options.color = wantsColor(color);
    return options;
}

bool stderrIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

bool writeOut(const std::string& text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

}  // namespace cimhost
