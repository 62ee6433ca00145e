#include "cimhost/formatter.h"

#include "cimhost/jsonformat.h"
#include "cimhost/mofformat.h"
#include "cimhost/tableformat.h"

namespace cimhost {

std::unique_ptr<Formatter> makeFormatter(Format format, const TableOptions& options) {
    switch (format) {
        case Format::mof:
            return std::make_unique<MofFormatter>();
        case Format::json:
            return std::make_unique<JsonFormatter>();
        case Format::table:
            break;
    }
    return std::make_unique<TableFormatter>(options);
}

}  // namespace cimhost
