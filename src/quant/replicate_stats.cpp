#include "quant/replicate_stats.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "core/allocator.h"
#include "core/messages.h"
#include "core/statistics.h"

namespace corvel {

namespace {

constexpr std::size_t kMinimumInput = 5;
constexpr std::size_t kSummarySize = 4;
constexpr std::size_t kStatsSize = 3;
constexpr std::size_t kHeadSize = kSummarySize + 2 * kStatsSize;  // summary, target, pooled

// A count stored as a double, truncated toward zero. A negative count
// wraps as a signed 64-bit integer converted to unsigned does; NaN and
// counts beyond the 64-bit range become the largest count.
std::uint64_t toCount(double value) {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  constexpr double kTwoTo64 = 18446744073709551616.0;
  if (std::isnan(value) || value >= kTwoTo64 || value <= -kTwoTo63) {
    return std::numeric_limits<std::uint64_t>::max();
  }
  if (value < 0.0) return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
  return static_cast<std::uint64_t>(value);
}

// 3 values per gene after the head, saturating: a count whose result
// cannot be sized fails to allocate.
std::size_t resultSize(std::uint64_t genes) {
  const std::size_t stats = saturatingProduct(static_cast<std::size_t>(genes), kStatsSize);
  return stats > kUnrepresentableSize - kHeadSize ? kUnrepresentableSize : stats + kHeadSize;
}

void store(AlgVector& result, std::size_t at, const ReplicateStats& stats) {
  result[at] = stats.center;
  result[at + 1] = stats.spread;
  result[at + 2] = stats.error;
}

}  // namespace

ReplicateStats replicateStats(const AlgVector& values, StatsMode mode) {
  AlgVector w = values;
  if (mode == StatsMode::kQuantity) {
    for (double& v : w) v = std::log10(v);
  }
  const double count = static_cast<double>(static_cast<std::uint64_t>(w.size()));
  const double deviations = sumSquaredDeviations(w);
  ReplicateStats stats;
  stats.center = mean(w);
  stats.spread = w.size() > 1 ? std::sqrt(deviations / static_cast<double>(w.size() - 1))
                              : std::sqrt(deviations);
  stats.error = stats.spread / std::sqrt(count);
  if (mode == StatsMode::kQuantity) stats.center = std::pow(10.0, stats.center);
  return stats;
}

AlgVector calcSd(StatsMode mode, const AlgVector& data) {
  const std::size_t n = data.size();
  if (n < kMinimumInput) throw std::invalid_argument(msg::kInputParameterError);

  // Layout: the target block, the gene count, then the gene blocks. Every
  // count is checked against what is left of the data before it is used.
  const std::uint64_t targetCount = toCount(data[0]);
  if (targetCount > n - 2) throw std::invalid_argument(msg::kInputParameterError);
  const std::size_t genesAt = static_cast<std::size_t>(targetCount) + 1;
  const std::uint64_t geneCount = toCount(data[genesAt]);

  // Room for the result, sized by the gene count: an absurd count fails
  // here as an allocation that cannot be made.
  AlgVector result(resultSize(geneCount));

  // First pass: where each block the data reaches lies, and the number of
  // values read.
  std::uint64_t reached = 0;
  std::uint64_t valuesRead = targetCount;
  for (std::size_t p = genesAt + 1; reached < geneCount && p < n; ++reached) {
    const std::uint64_t q = toCount(data[p]);
    if (q > n - p - 1) throw std::invalid_argument(msg::kInputParameterError);
    valuesRead += q;
    p += static_cast<std::size_t>(q) + 1;
  }
  if (targetCount == 0 || geneCount == 0) {
    throw std::invalid_argument(msg::kReplicateGroupEmpty);
  }

  // Second pass: the statistics of the target, of each gene and of the
  // pooled reference. Genes the data does not reach have no values.
  const ReplicateStats target =
      replicateStats(data.slice(1, static_cast<std::size_t>(targetCount) + 1), mode);
  const ReplicateStats empty = replicateStats(AlgVector(), mode);
  double centers = 0.0;
  double spreads = 0.0;
  double errors = 0.0;
  std::size_t p = genesAt + 1;
  for (std::uint64_t k = 0; k < geneCount; ++k) {
    ReplicateStats gene = empty;
    if (k < reached) {
      const auto q = static_cast<std::size_t>(toCount(data[p]));
      gene = replicateStats(data.slice(p + 1, p + 1 + q), mode);
      p += q + 1;
    }
    store(result, kHeadSize + kStatsSize * static_cast<std::size_t>(k), gene);
    centers += gene.center;
    spreads += gene.spread * gene.spread;
    errors += gene.error * gene.error;
  }
  const double genes = static_cast<double>(geneCount);
  ReplicateStats pooled;
  pooled.center = centers / genes;
  pooled.spread = std::sqrt(spreads / genes);
  pooled.error = std::sqrt(errors / genes);

  const double spread2 = pooled.spread * pooled.spread;
  const double targetSpread2 = target.spread * target.spread;
  const double error2 = pooled.error * pooled.error;
  const double targetError2 = target.error * target.error;
  if (mode == StatsMode::kCt) {
    result[0] = target.center - pooled.center;
    result[1] = std::sqrt(spread2 + targetSpread2);
    result[2] = std::sqrt(error2 + targetError2);
  } else {
    result[0] = target.center / pooled.center;
    result[1] = std::pow(10.0, std::sqrt(targetSpread2 + spread2)) - 1.0;
    result[2] = std::pow(10.0, std::sqrt(targetError2 + error2));
  }
  result[3] = static_cast<double>(valuesRead);
  store(result, kSummarySize, target);
  store(result, kSummarySize + kStatsSize, pooled);
  return result;
}

}  // namespace corvel
