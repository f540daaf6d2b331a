// Everything the analysis of a plate produced, as one JSON document.
#ifndef CORVEL_TOOL_JSON_WRITER_H
#define CORVEL_TOOL_JSON_WRITER_H

#include <nlohmann/json.hpp>
#include <ostream>

#include "results.h"

namespace corvel::tool {

// The plate's results; NaN and infinities become null.
nlohmann::json plateJson(const PlateResult& plate);

// plateJson() written out, indented.
void writeJson(const PlateResult& plate, std::ostream& out);

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_JSON_WRITER_H
