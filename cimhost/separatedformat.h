#ifndef PCIINFO_CIMHOST_SEPARATEDFORMAT_H
#define PCIINFO_CIMHOST_SEPARATEDFORMAT_H

#include <string>
#include <vector>

#include "cimhost/formatter.h"

namespace cimhost {

enum class Separator { comma, tab };

/**
 * One record as a line. With commas, quoted as in RFC 4180 (the line end is a mere line feed); with tabs, never quoted,
 * as no field contains a tab or a line end: those are replaced as printable() does.
 */
std::string separatedLine(const std::vector<std::string>& fields, Separator separator, Charset charset);

/**
 * A head line, then a line for each object, without the status; nothing where there are no objects. The columns of
 * instances are "Class", all properties that the schema declares for the classes in the answer, in its order, with the
 * texts of coded ones behind them, properties that it does not declare, and "Path". Those of names are "Class", the
 * keys, and "Path". Elements of arrays stand behind each other with ";" between them, nulls are empty.
 */
class SeparatedFormatter : public Formatter {
 public:
    SeparatedFormatter(Separator separator, Charset charset) : separator_(separator), charset_(charset) {}
    std::string text(const Answer& answer) const override;

 private:
    Separator separator_;
    Charset charset_;
};

}  // namespace cimhost

#endif
