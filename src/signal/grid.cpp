#include "signal/grid.h"

#include <stdexcept>

#include "core/allocator.h"
#include "core/messages.h"

namespace corvel {

std::uint64_t refinedIntervals(std::size_t inputIntervals, std::int64_t factor) {
  if (factor < 0) throw AllocationSizeFailure();
  const std::uint64_t perInterval = static_cast<std::uint64_t>(factor);
  const std::uint64_t n = static_cast<std::uint64_t>(inputIntervals);
  if (perInterval != 0 && n > (UINT64_MAX - 1) / perInterval) throw AllocationSizeFailure();
  return n * perInterval;
}

AlgVector uniformGrid(double first, double last, std::uint64_t intervals) {
  AlgVector grid(static_cast<std::size_t>(intervals) + 1);
  const double step = (last - first) / static_cast<double>(intervals);
  grid[0] = first;
  for (std::size_t i = 1; i <= intervals; ++i) grid[i] = grid[i - 1] + step;
  // Written only on a miss, so a final -0.0 that equals a last of 0.0 stays.
  if (grid[intervals] != last) grid[intervals] = last;
  return grid;
}

AlgVector interpolationGrid(const AlgVector& x, std::int64_t factor) {
  if (x.size() < 3) throw std::invalid_argument(msg::kTooFewGridValues);
  const std::uint64_t intervals = refinedIntervals(x.size() - 1, factor);
  return uniformGrid(x[0], x[x.size() - 1], intervals);
}

}  // namespace corvel
