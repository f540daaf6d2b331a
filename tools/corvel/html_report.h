// The self-contained HTML report of a plate: one file with its data, styles
// and scripts inline, which opens offline and makes no network request.
#ifndef CORVEL_TOOL_HTML_REPORT_H
#define CORVEL_TOOL_HTML_REPORT_H

#include <ostream>

#include "results.h"

namespace corvel::tool {

void writeHtmlReport(const PlateResult& plate, std::ostream& out);

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_HTML_REPORT_H
