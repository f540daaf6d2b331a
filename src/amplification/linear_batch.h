// Ct of every well of a plate by the linear method.
#ifndef CORVEL_AMPLIFICATION_LINEAR_BATCH_H
#define CORVEL_AMPLIFICATION_LINEAR_BATCH_H

#include <cstddef>

#include "CorvelAlg.h"
#include "core/matrix.h"
#include "core/vector.h"

namespace corvel {

// Runs analyzeWellLinear on every well of data (wellCount curves of
// cycleCount values, well-major) with record infos[w]. Returns ctCount
// values: the Ct of each well (NaN when it never crosses the threshold),
// then zeros. curves becomes cycleCount x wellCount, column w the processed
// curve of well w, so its row-major values are cycle-major.
//
// Throws std::invalid_argument when data does not hold cycleCount x
// wellCount values and, before anything is read, when ctCount < wellCount.
// A failing well ends the call with curves unchanged; records written
// before the failure keep their values.
AlgVector linearBatchCt(WellCurveInfo* infos, std::size_t ctCount, double threshold,
                        const AlgVector& data, std::size_t wellCount, std::size_t cycleCount,
                        AlgMatrix& curves);

}  // namespace corvel

#endif  // CORVEL_AMPLIFICATION_LINEAR_BATCH_H
