// The three-pass five-point filter and the parabola evaluation it uses.
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "core/matrix.h"
#include "core/messages.h"
#include "core/regression.h"
#include "signal/smoothing.h"

namespace corvel {

namespace {

constexpr std::size_t kWindow = 5;
constexpr int kPasses = 3;

// The least-squares parabola through (1, s[0]) .. (5, s[4]), fitted and
// evaluated at the same abscissae.
//
// The fit is (X^T X)^-1 X^T s, and its 3 x 5 projection depends only on the
// abscissae, so it is built once per call - by quadraticProjection itself,
// with the same arithmetic - instead of once per window. Each coefficient
// is then the projection row times s summed from 0.0 in index order,
// exactly as quadraticFit's matrix-vector product forms it, so the results
// are those of calling quadraticFit on every window.
class WindowParabola {
 public:
  WindowParabola() {
    abscissae_.fillArithmetic(1.0, 1.0, kWindow);
    projection_ = quadraticProjection(abscissae_);
  }

  void refit(double* window) const {
    double coefficient[3];
    for (std::size_t r = 0; r < 3; ++r) {
      double total = 0.0;
      for (std::size_t j = 0; j < kWindow; ++j) total += projection_(r, j) * window[j];
      coefficient[r] = total;
    }
    for (std::size_t i = 0; i < kWindow; ++i) {
      const double t = abscissae_[i];
      window[i] = ((t * t) * coefficient[0] + t * coefficient[1]) + coefficient[2];
    }
  }

 private:
  AlgVector abscissae_;
  AlgMatrix projection_;
};

void copyWindow(const double* from, double* to) noexcept {
  for (std::size_t j = 0; j < kWindow; ++j) to[j] = from[j];
}

// Each inner point that is a strict local minimum or maximum becomes the
// mean of its neighbours. Tests and means read the values before the step.
void despikeValues(double* window) noexcept {
  double s[kWindow];
  copyWindow(window, s);
  for (std::size_t j = 1; j <= 3; ++j) {
    const bool minimum = s[j - 1] > s[j] && s[j + 1] > s[j];
    const bool maximum = s[j] > s[j - 1] && s[j] > s[j + 1];
    if (minimum || maximum) window[j] = (s[j - 1] + s[j + 1]) * 0.5;
  }
}

// Points j+1 (j = 1, 2) become the mean of points j and j+2 when the step
// into the point and the two-step rise after it show a strict kink against
// the step out of it. Tests and means read the values before the step.
void despikeSlopes(double* window) noexcept {
  double s[kWindow];
  copyWindow(window, s);
  for (std::size_t j = 1; j <= 2; ++j) {
    const double d0 = s[j] - s[j - 1];
    const double d1 = s[j + 1] - s[j];
    const double d2 = s[j + 2] - s[j];
    if ((d0 > d1 && d2 > d1) || (d1 > d0 && d1 > d2)) window[j + 1] = (s[j] + s[j + 2]) * 0.5;
  }
}

}  // namespace

void runSmooth(AlgVector& v) {
  // The window count is a signed 32-bit number: n - 5 wrapped to 32 bits.
  const auto windows = static_cast<std::int32_t>(static_cast<std::uint32_t>(v.size() - kWindow));
  if (windows <= 0) return;

  const WindowParabola parabola;
  double* data = v.data();
  for (int pass = 0; pass < kPasses; ++pass) {
    for (std::int32_t i = 0; i < windows; ++i) {
      double* window = data + i;
      despikeValues(window);
      parabola.refit(window);
      despikeSlopes(window);
    }
  }
}

AlgVector evalQuadratic(const AlgVector& coefficients, const AlgVector& t) {
  if (coefficients.size() < 3) throw std::invalid_argument(msg::kVectorMultiplyLength);
  const double a = coefficients[0];
  const double b = coefficients[1];
  const double c = coefficients[2];
  AlgVector values(t.size());
  for (std::size_t i = 0; i < t.size(); ++i) values[i] = ((t[i] * t[i]) * a + t[i] * b) + c;
  return values;
}

}  // namespace corvel
