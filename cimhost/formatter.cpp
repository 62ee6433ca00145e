#include "cimhost/formatter.h"

#include "cimhost/jsonformat.h"
#include "cimhost/mofformat.h"
#include "cimhost/separatedformat.h"
#include "cimhost/tableformat.h"

namespace cimhost {

std::unique_ptr<Formatter> makeFormatter(Format format, const TableOptions& options) {
    switch (format) {
        case Format::mof:
            return std::make_unique<MofFormatter>(options.charset);
        case Format::json:
            return std::make_unique<JsonFormatter>(options.charset);
        case Format::jsonl:
            return std::make_unique<JsonLinesFormatter>(options.charset);
        case Format::csv:
            return std::make_unique<SeparatedFormatter>(Separator::comma, options.ofRecords());
        case Format::tsv:
            return std::make_unique<SeparatedFormatter>(Separator::tab, options.ofRecords());
        case Format::table:
            break;
    }
    return std::make_unique<TableFormatter>(options);
}

}  // namespace cimhost
