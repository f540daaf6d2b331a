// The result tables as CSV files, one per kind.
#ifndef CORVEL_TOOL_CSV_WRITER_H
#define CORVEL_TOOL_CSV_WRITER_H

#include <filesystem>
#include <ostream>

#include "results.h"

namespace corvel::tool {

// One row per well (reaction): identity, Cts, curve features, flags.
void writeWellsCsv(const PlateResult& plate, std::ostream& out);
// One row per standard curve.
void writeStandardCurvesCsv(const PlateResult& plate, std::ostream& out);
// One row per relative quantity.
void writeQuantitiesCsv(const PlateResult& plate, std::ostream& out);
// One row per fitted melting peak (and one per melting well without one).
void writeMeltingPeaksCsv(const PlateResult& plate, std::ostream& out);

// Writes wells.csv, standard_curves.csv, quantities.csv and
// melting_peaks.csv into dir (which must exist). Throws std::runtime_error
// naming the file when one cannot be written.
void writeCsvTables(const PlateResult& plate, const std::filesystem::path& dir);

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_CSV_WRITER_H
