#include "quant/relative_quantity.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "core/messages.h"
#include "quant/student_t.h"

namespace corvel {

namespace {

constexpr int kCtMode = 1;
constexpr int kQuantityMode = 2;
constexpr int kStudentBar = 1;
constexpr int kSdBar = 2;
// The replicate counts the t table covers: df = count - 2 from 2 to 95.
constexpr std::uint64_t kFewestReplicates = 4;
constexpr std::uint64_t kMostReplicates = 97;

// The count truncated toward zero; a negative or NaN count, and one beyond
// the 64-bit range, becomes a count no table row covers.
std::uint64_t replicateCount(double count) {
  if (!(count >= 0.0) || count >= 18446744073709551616.0) {
    return std::numeric_limits<std::uint64_t>::max();
  }
  return static_cast<std::uint64_t>(count);
}

// lower and upper of a bar symmetric by the factor f around rq.
void factorBar(double rq, double f, double& lower, double& upper) {
  const double down = rq / f;
  const double up = rq * f;
  lower = down < up ? down : up;
  upper = down < up ? up : down;
}

}  // namespace

void calcRq(const RqOptions& options, const AlgVector& summary, double calibrator,
            RqResult& result) {
  if (summary.size() < 4) throw std::invalid_argument(msg::kInputParameterError);
  const double value = summary[0];
  const double sd = summary[1];
  const double se = summary[2];
  result.value = value;
  result.sd = sd;
  result.se = se;

  const bool quantityRatio = options.modeA == kQuantityMode && options.modeB == kQuantityMode;
  const bool ctBars = options.modeA == kCtMode || options.modeB == kCtMode;
  double rq;
  double ddct = 0.0;  // only used by Ct bars, which imply the Ct form
  if (quantityRatio) {
    rq = value / calibrator;
  } else {
    ddct = value - calibrator;
    result.ddct = ddct;
    rq = std::pow(2.0, -ddct);
  }
  result.rq = rq;

  double lower;
  double upper;
  if (options.errorBarType == kStudentBar) {
    const std::uint64_t n = replicateCount(summary[3]);
    if (n < kFewestReplicates || n > kMostReplicates || options.confidenceIndex < 0 ||
        options.confidenceIndex >= static_cast<int>(kStudentTColumns)) {
      throw std::out_of_range(msg::kParameterError);
    }
    const double t = studentTCritical(static_cast<std::size_t>(n - kFewestReplicates),
                                      static_cast<std::size_t>(options.confidenceIndex));
    if (!ctBars) {
      factorBar(rq, std::pow(se, t), lower, upper);
    } else {
      const double s = se * t;
      upper = std::pow(2.0, s - ddct);
      lower = std::pow(2.0, -s - ddct);
    }
  } else if (options.errorBarType == kSdBar) {
    const double k = static_cast<double>(options.sdMultiple);
    if (!ctBars) {
      factorBar(rq, std::pow(sd + 1.0, k), lower, upper);
    } else {
      const double s = k * sd;
      upper = std::pow(2.0, s - ddct);
      lower = std::pow(2.0, -s - ddct);
    }
  } else {
    throw std::invalid_argument(msg::kErrorBarType);
  }
  result.lower = lower;
  result.upper = upper;
}

}  // namespace corvel
