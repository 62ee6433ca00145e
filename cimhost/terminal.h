#ifndef PCIINFO_CIMHOST_TERMINAL_H
#define PCIINFO_CIMHOST_TERMINAL_H

#include <cstddef>
#include <string>

namespace cimhost {

/** Columns of the terminal that standard output leads to; 120 where it is none. */
std::size_t terminalWidth();

/** Writes and flushes. False when the text could not be written whole, with errno set. */
bool writeOut(const std::string& text);

}  // namespace cimhost

#endif
