#ifndef PCIINFO_CIMHOST_TERMINAL_H
#define PCIINFO_CIMHOST_TERMINAL_H

#include <cstddef>
#include <string>

#include "cimhost/formatter.h"

namespace cimhost {

/** When output has colours; `automatic`: on a terminal that can show them, unless NO_COLOR forbids it. */
enum class Color { automatic, always, never };

/**
 * Columns of the terminal that standard output leads to: the variable COLUMNS where that is a positive number, else
 * what the terminal says, else 80. 0 where standard output is no terminal.
 */
std::size_t terminalWidth();

/** What the process's locale can show; main() has to have called setlocale. */
Charset localeCharset();

/** The options, completed by what standard output is and by the locale. A width of 0 is one that nobody gave. */
TableOptions fitted(TableOptions options, Color color);

bool stderrIsTerminal();

/** Writes and flushes. False when the text could not be written whole, with errno set. */
bool writeOut(const std::string& text);

}  // namespace cimhost

#endif
