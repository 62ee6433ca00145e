#ifndef PCIINFO_CIMHOST_TERMINAL_H
#define PCIINFO_CIMHOST_TERMINAL_H

#include <string>

#include "cimhost/formats.h"

namespace cimhost {

/** When output has colours; `automatic`: on a terminal that can show them, unless NO_COLOR forbids it. */
enum class Color { automatic, always, never };

/** What the process's locale can show; main() has to have called setlocale. */
Charset localeCharset();

/**
 * The options, completed by what standard output is and by the locale. A width of 0 is one that nobody gave: on a
 * terminal that of the terminal.
 */
TableOptions fitted(TableOptions options, Color color);

bool stderrIsTerminal();

/** Writes and flushes. False when the text could not be written whole, with errno set. */
bool writeOut(const std::string& text);

}  // namespace cimhost

#endif
