// Replicate statistics of a target gene and its housekeeping genes.
#ifndef CORVEL_QUANT_REPLICATE_STATS_H
#define CORVEL_QUANT_REPLICATE_STATS_H

#include "core/vector.h"

namespace corvel {

// How a group of replicate values is summarised.
enum class StatsMode {
  kCt,        // the values themselves
  kQuantity,  // their base-10 logarithms
};

// Centre, sample standard deviation and standard error of one group.
struct ReplicateStats {
  double center;
  double spread;
  double error;
};

// Ct mode: mean, sample SD (divisor m - 1) and SD / sqrt(m) of the values.
// Quantity mode: the same of their log10, with the centre given back as
// 10^mean (the geometric mean). One value has spread 0; no values give a
// NaN centre, spread 0 and a NaN error.
ReplicateStats replicateStats(const AlgVector& values, StatsMode mode);

// The summary of one sample from the flat layout
//   N0, N0 target values, M, then M blocks of (q, q values):
// 3M + 10 values, namely the sample's value, sd, se and count; the target's
// statistics; those of the reference pooled from the M housekeeping genes;
// and those of each gene in input order.
//
// Counts are read as doubles truncated toward zero; a negative count wraps
// to a huge one. Throws std::invalid_argument ("input parameter error")
// for fewer than 5 values and for counts that point past the data,
// AllocationSizeFailure when room for M genes cannot even be sized, and
// std::invalid_argument (empty target or housekeeping group) when N0 or M
// is 0. Genes the data does not reach are empty.
AlgVector calcSd(StatsMode mode, const AlgVector& data);

}  // namespace corvel

#endif  // CORVEL_QUANT_REPLICATE_STATS_H
