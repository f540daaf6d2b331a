// Multi-Gaussian peak fitting through the C interface (the solver's damping
// also through its core). Every handle is released by its owner, so
// LeakSanitizer sees any block the library loses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "CorvelAlg.h"
#include "core/allocator.h"
#include "core/messages.h"
#include "core/vector.h"
#include "mgf/lm_solver.h"

namespace corvel {
namespace {

using Values = std::vector<double>;
const double kNaN = std::numeric_limits<double>::quiet_NaN();
double guardCell = -123.0;  // what an out-parameter points to before a call

class Mgf : public ::testing::Test {
 protected:
  void TearDown() override { testing::failAllocation(0); }
};

struct Set {
  GaussCoeff* h = nullptr;
  explicit Set(const Values& a = {}, const Values& b = {}, const Values& s = {}) {
    EXPECT_EQ(alg_create_gausscoeff(&h), 0);
    EXPECT_EQ(
        alg_set_gausscoeff_data(h, a.size(), a.data(), b.size(), b.data(), s.size(), s.data()), 0);
  }
  ~Set() { alg_gausscoeff_release(&h); }
};

// A set as read back; an array pointer must be null exactly for count 0.
struct Read {
  std::size_t n[3] = {7, 7, 7};
  Values v[3];
  bool operator==(const Read& o) const {
    return std::equal(n, n + 3, o.n) && std::equal(v, v + 3, o.v);
  }
};

Read read(const GaussCoeff* h) {
  Read r;
  double* a[3] = {&guardCell, &guardCell, &guardCell};
  EXPECT_EQ(alg_get_gausscoeff_data(h, &r.n[0], &a[0], &r.n[1], &a[1], &r.n[2], &a[2]), 0);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(a[i] == nullptr, r.n[i] == 0);
    if (a[i] != nullptr) r.v[i].assign(a[i], a[i] + r.n[i]);
    alg_darray_release(&a[i]);
  }
  return r;
}

struct Model {
  MgfModel* h = nullptr;
  Model(const Values& x, const Values& y, double peakWidth = 1.0) {
    const MgfOptions options{0, 0, peakWidth, 0, 0.0};
    EXPECT_EQ(alg_mgf_create(x.data(), x.size(), y.data(), y.size(), &options, &h), 0);
  }
  ~Model() { alg_mgf_release(&h); }
};

// What a call returned and what it handed out, read back.
template <typename T>
struct Outcome {
  int status;
  std::string message;
  T r;
};
using Curve = Outcome<Values>;
using Produced = Outcome<Read>;

// A refusal: the status (10 unless given) and the stored message.
template <typename T>
bool refused(const Outcome<T>& o, const char* message, int status = ALG_STATUS_INVALID_ARGUMENT) {
  return o.status == status && o.message == message;
}
bool refused(int status, const char* message) {
  return status == ALG_STATUS_INVALID_ARGUMENT && get_last_error() == std::string(message);
}

// A call handing out a result array; a failure leaves its out-parameters.
template <typename Call>
Curve curveOf(Call&& call) {
  double* out = &guardCell;
  std::size_t count = 777;
  Curve c{call(&out, &count), get_last_error(), {}};
  if (c.status != ALG_STATUS_OK) {
    EXPECT_TRUE(out == &guardCell && count == 777u);
  } else {
    EXPECT_NE(out, nullptr);  // also for a count of 0
    c.r.assign(out, out + count);
    alg_darray_release(&out);
  }
  return c;
}

// A call creating a set; a failure leaves the caller's handle variable.
template <typename Call>
Produced produced(Call&& call) {
  GaussCoeff* const guard = reinterpret_cast<GaussCoeff*>(&guardCell);
  GaussCoeff* out = guard;
  Produced p{call(&out), get_last_error(), {}};
  if (p.status != ALG_STATUS_OK) {
    EXPECT_EQ(out, guard);
  } else {
    p.r = read(out);
    alg_gausscoeff_release(&out);
  }
  return p;
}

Curve multiGauss(const Model& m, const GaussCoeff* h) {
  return curveOf([&](double** out, std::size_t* n) { return alg_mgf_multi_gauss(m.h, h, out, n); });
}

// The Gaussian in the documented order of operations.
double gauss(double a, double b, double sigma, double x) {
  const double f = 1.0 / ((sigma + sigma) * sigma);
  double t = x - b;
  t = t * t;
  t = -t;
  t = t * f;
  return std::exp(t) * a;
}

Values grid(double from, double step, std::size_t n) {
  Values x(n);
  for (std::size_t i = 0; i < n; ++i) x[i] = from + step * static_cast<double>(i);
  return x;
}

// Fails the 1st, 2nd, ... allocation of call() until it succeeds; each
// failure must be a clean status 100. Returns the number of failures.
template <typename Call, typename Check>
std::uint64_t failInTurn(Call&& call, Check&& untouched) {
  std::uint64_t k = 1;
  for (; k < 100000; ++k) {
    testing::failAllocation(k);
    const int status = call();
    testing::failAllocation(0);
    if (status == ALG_STATUS_OK) break;
    EXPECT_TRUE(status == ALG_STATUS_FAILURE &&
                get_last_error() == std::string(msg::kBadAllocation));
    EXPECT_TRUE(untouched()) << k;
  }
  return k - 1;
}

TEST_F(Mgf, GaussCoeffSetLifecycle) {
  Set s;
  EXPECT_EQ(read(s.h), (Read{{0, 0, 0}, {}}));
  // Counts need not agree while filling; a pair of count 0 frees its array.
  const double a[] = {1, 2, 3}, b[] = {4, 5};
  ASSERT_EQ(alg_set_gausscoeff_data(s.h, 3, a, 3, a, 3, a), ALG_STATUS_OK);
  ASSERT_EQ(alg_set_gausscoeff_data(s.h, 3, a, 2, b, 0, nullptr), ALG_STATUS_OK);
  const Read r = read(s.h);
  EXPECT_EQ(r, (Read{{3, 2, 0}, {{1, 2, 3}, {4, 5}, {}}}));
  const Model m(grid(0, 1, 5), Values(5, 0.0));
  EXPECT_EQ(multiGauss(m, s.h).message, msg::kGaussCoeffInvalid);
  std::size_t n[3];
  double* out[3];  // handed-out arrays are copies in both directions
  ASSERT_EQ(alg_get_gausscoeff_data(s.h, &n[0], &out[0], &n[1], &out[1], &n[2], &out[2]), 0);
  out[0][0] = 99;
  alg_darray_release(&out[1]);
  EXPECT_EQ(read(s.h), r);
  ASSERT_EQ(alg_set_gausscoeff_data(s.h, 1, b, 1, b, 1, b), ALG_STATUS_OK);
  EXPECT_TRUE(out[0][0] == 99 && out[0][1] == 2 && out[0][2] == 3);
  alg_darray_release(&out[0]);
  // Release accepts NULL and a NULL handle, nulls the handle, clears the error.
  GaussCoeff* none = nullptr;
  EXPECT_TRUE(alg_gausscoeff_release(nullptr) == 0 && alg_gausscoeff_release(&none) == 0);
  EXPECT_TRUE(alg_gausscoeff_release(&s.h) == 0 && s.h == nullptr);
  ASSERT_EQ(alg_create_gausscoeff(nullptr), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(alg_gausscoeff_release(&s.h), ALG_STATUS_OK);
  EXPECT_STREQ(get_last_error(), "");
}

// The k-th allocation of a set fails: the pairs before the failing one hold
// their new values, the failing one and the later ones their old values.
TEST_F(Mgf, GaussCoeffAllocationFailures) {
  const Values oldV[3] = {{1, 2}, {3, 4}, {5, 6}};
  const Values newSets[][3] = {{{7, 8, 9}, {10}, {11, 12}}, {{7, 8, 9}, {}, {11, 12}}};
  const std::vector<int> allocatingPairs[] = {{0, 1, 2}, {0, 2}};  // in allocation order
  for (int c = 0; c < 2; ++c) {
    const auto& newV = newSets[c];
    const std::vector<int>& allocating = allocatingPairs[c];
    for (std::size_t k = 1; k <= allocating.size() + 1; ++k) {
      Set s(oldV[0], oldV[1], oldV[2]);
      testing::failAllocation(k);
      const int status =
          alg_set_gausscoeff_data(s.h, newV[0].size(), newV[0].data(), newV[1].size(),
                                  newV[1].data(), newV[2].size(), newV[2].data());
      testing::failAllocation(0);
      const int failing = k <= allocating.size() ? allocating[k - 1] : 3;
      EXPECT_EQ(status, failing == 3 ? ALG_STATUS_OK : ALG_STATUS_FAILURE) << k;
      const Read r = read(s.h);
      for (int i = 0; i < 3; ++i) {
        const Values& want = i < failing ? newV[i] : oldV[i];
        EXPECT_TRUE(r.v[i] == want && r.n[i] == want.size()) << k << ' ' << i;
      }
    }
  }
  // A failed read-back keeps the counts and hands out no array.
  const Set s({1, 2, 3}, {}, {4, 5});
  std::size_t n[3];
  double* out[3];
  const auto get = [&] {
    out[0] = out[1] = out[2] = &guardCell;
    return alg_get_gausscoeff_data(s.h, &n[0], &out[0], &n[1], &out[1], &n[2], &out[2]);
  };
  EXPECT_EQ(failInTurn(get, [&] { return n[0] == 3 && n[2] == 2 && !out[0] && !out[2]; }), 2u);
  EXPECT_TRUE(out[0][2] == 3 && out[1] == nullptr && out[2][1] == 5);
  alg_darray_release(&out[0]);
  alg_darray_release(&out[2]);
  const MgfOptions options{};
  MgfModel* model = nullptr;
  EXPECT_EQ(
      failInTurn([&] { return alg_mgf_create(nullptr, 0, oldV[0].data(), 2, &options, &model); },
                 [&] { return !model; }),
      2u);
  EXPECT_TRUE(alg_mgf_release(&model) == 0 && model == nullptr && alg_mgf_release(nullptr) == 0);
}

TEST_F(Mgf, MgfMultiGaussEvaluation) {
  Values x = {0, 1, 2, 3, 4};
  const Model m(x, Values(5, 0.0));
  x[2] = 1e9;  // the model holds its own copy
  const Set one({2}, {2}, {1}), twice({2, 2}, {2, 2}, {1, 1}),
      p({2, -0.4, 0.7}, {2, 3.3, 0.9}, {1, 2.35, 0.45});
  const Values g = multiGauss(m, one.h).r, g2 = multiGauss(m, twice.h).r,
               sum = multiGauss(m, p.h).r;
  ASSERT_TRUE(g.size() == 5 && g2.size() == 5 && sum.size() == 5);
  for (std::size_t k = 0; k < 5; ++k) {
    const double xk = static_cast<double>(k);
    EXPECT_DOUBLE_EQ(g[k], 2 * std::exp(-(xk - 2) * (xk - 2) / 2)) << k;
    EXPECT_EQ(g[k], gauss(2, 2, 1, xk)) << k;  // bit for bit, in peak order
    EXPECT_EQ(g2[k], 2 * g[k]) << k;
    EXPECT_EQ(sum[k], ((0.0 + g[k]) + gauss(-0.4, 3.3, 2.35, xk)) + gauss(0.7, 0.9, 0.45, xk));
  }
  // No peaks: ny zeros whatever nx. Counts differing; nx != ny; width 0.
  const Set empty, peak({1}, {2}, {1}), badCounts({1, 2}, {1, 2}, {1}), flat({3}, {2}, {0});
  const Model shortX(grid(0, 1, 3), Values(5, 1.0)), noY(grid(0, 1, 3), {});
  Curve c = multiGauss(shortX, empty.h);
  EXPECT_TRUE(c.status == ALG_STATUS_OK && c.r == Values(5, 0.0));
  c = multiGauss(noY, empty.h);  // still a block to release
  EXPECT_TRUE(c.status == ALG_STATUS_OK && c.r.empty());
  EXPECT_TRUE(refused(multiGauss(shortX, peak.h), msg::kVectorAddLength));
  EXPECT_TRUE(refused(multiGauss(shortX, badCounts.h), msg::kGaussCoeffInvalid));
  c = multiGauss(m, flat.h);
  ASSERT_EQ(c.r.size(), 5u);
  EXPECT_TRUE(c.r[0] == 0 && c.r[1] == 0 && std::isnan(c.r[2]) && c.r[4] == 0);
}

Produced filter(FilterLimits limits, const Set& s) {
  return produced([&](GaussCoeff** out) { return alg_mgf_coeff_filter(&limits, s.h, out); });
}

TEST_F(Mgf, CoeffFilterLimitsAndOrder) {
  const Set ampl({0, 5}, {1, 2}, {1, 1});  // the amplitude test is strict
  EXPECT_EQ(filter({0, 10, 1}, ampl).r, (Read{{1, 1, 1}, {{5}, {2}, {1}}}));
  // FWHM limits are inclusive: sigma 1 and 2 give exactly 2.3548 and 4.7096.
  ASSERT_TRUE(1.0 * 2.3548 == 2.3548 && 2.0 * 2.3548 == 4.7096);
  const Set widths({1, 1, 1, 1}, {10, 20, 30, 40}, {0.999, 1, 2, 2.001});
  EXPECT_EQ(filter({0, 4.7096, 2.3548}, widths).r.v[1], (Values{20, 30}));
  Produced f = filter({0, 2.3548, 4.7096}, widths);  // maximum below minimum
  EXPECT_TRUE(f.status == ALG_STATUS_OK && f.r.n[0] == 0);
  // Order kept; NaN amplitudes and widths never pass; the input stays.
  const Set mixed({3, 0.5, 2, kNaN, 4}, {1, 2, 3, 4, 5}, {1, 1, 1, 1, kNaN});
  EXPECT_EQ(filter({1, 100, 0}, mixed).r, (Read{{2, 2, 2}, {{3, 2}, {1, 3}, {1, 1}}}));
  EXPECT_TRUE(read(mixed.h).v[1] == (Values{1, 2, 3, 4, 5}) && read(mixed.h).v[0][2] == 2);
  const Set empty, unequal({1, 2}, {1, 2}, {1, 2, 3});
  EXPECT_EQ(filter({1, 100, 0}, empty).r, (Read{{0, 0, 0}, {}}));
  EXPECT_TRUE(refused(filter({0, 100, 0}, unequal), msg::kGaussCoeffInvalid));
}

// NULL handles, out-parameters or non-empty arrays: refused, nothing written.
TEST_F(Mgf, NullArgumentsAreRefused) {
  const Set s({1}, {2}, {3});
  const Model m({0, 1, 2, 3}, {0, 1, 0, 0});
  const double v[] = {9};
  const FilterLimits limits{0, 100, 0};
  double* out = &guardCell;
  std::size_t n = 777;
  GaussCoeff* set = nullptr;
  const auto nullRefused = [](int status) { return refused(status, msg::kNullData); };
  EXPECT_TRUE(nullRefused(alg_set_gausscoeff_data(s.h, 1, v, 1, v, 1, nullptr)));
  EXPECT_TRUE(nullRefused(alg_get_gausscoeff_data(nullptr, &n, &out, &n, &out, &n, &out)));
  EXPECT_TRUE(nullRefused(alg_mgf_create(nullptr, 2, v, 1, nullptr, nullptr)));
  EXPECT_TRUE(nullRefused(alg_mgf_multi_gauss(nullptr, s.h, &out, &n)));
  EXPECT_TRUE(nullRefused(alg_mgf_solve(nullptr, s.h)) && nullRefused(alg_mgf_solve(m.h, nullptr)));
  EXPECT_TRUE(nullRefused(alg_mgf_local_max_value_id(nullptr, &set)));
  EXPECT_TRUE(nullRefused(alg_mgf_local_max_value_id_origin(nullptr, 2, nullptr, 0, &set)));
  EXPECT_TRUE(nullRefused(alg_mgf_melting_stim_peak(m.h, s.h, nullptr, &out, &n)));
  EXPECT_TRUE(nullRefused(alg_mgf_coeff_filter(&limits, s.h, nullptr)));
  EXPECT_TRUE(out == &guardCell && n == 777u && set == nullptr);
  EXPECT_EQ(read(s.h), (Read{{1, 1, 1}, {{1}, {2}, {3}}}));
}

// Two peaks (a0, b0, s0, a1, b1, s1) on the grid x.
Values twoPeaks(const Values& x, const double* p) {
  const Model m(x, x);
  const Set s({p[0], p[3]}, {p[1], p[4]}, {p[2], p[5]});
  return multiGauss(m, s.h).r;
}

double residualNorm(const Model& m, const Values& y, const GaussCoeff* h) {
  const Values v = multiGauss(m, h).r;
  double sum = 0;
  for (std::size_t k = 0; k < v.size(); ++k) sum += (v[k] - y[k]) * (v[k] - y[k]);
  return std::sqrt(sum);
}

const double kTruth[] = {3, 48, 2, 1.5, 55, 1.5};

TEST_F(Mgf, MgfSolveTrivialAndRefusedCalls) {
  const Values x = grid(40, 0.5, 41);
  const Model m(x, twoPeaks(x, kTruth)), mismatched(x, Values(7, 1.0));
  Set empty, exact({3, 1.5}, {48, 55}, {2, 1.5}), bad({3, 1.5}, {48, 55}, {2, 1.5, 1}),
      off({2.5, 1}, {47, 56}, {2.5, 1});
  EXPECT_TRUE(alg_mgf_solve(m.h, empty.h) == 0 && alg_mgf_solve(mismatched.h, empty.h) == 0);
  EXPECT_EQ(read(empty.h), (Read{{0, 0, 0}, {}}));
  // Zero residual and gradient at the start: the set comes back bit for bit.
  const Read exactStart = read(exact.h), badStart = read(bad.h), offStart = read(off.h);
  EXPECT_TRUE(alg_mgf_solve(m.h, exact.h) == 0 && read(exact.h) == exactStart);
  EXPECT_TRUE(refused(alg_mgf_solve(m.h, bad.h), msg::kGaussCoeffInvalid));
  EXPECT_TRUE(refused(alg_mgf_solve(mismatched.h, off.h), msg::kVectorAddLength));
  EXPECT_TRUE(read(bad.h) == badStart && read(off.h) == offStart);
  // Memory running out anywhere in a real fit leaves the start values.
  EXPECT_GT(failInTurn([&] { return alg_mgf_solve(m.h, off.h); },
                       [&] { return read(off.h) == offStart; }),
            100u);
  EXPECT_NEAR(read(off.h).v[1][1], 55, 1e-6);
}

// Clean two-peak curves from moderately wrong starts: only steps that lower
// the residual are taken, and the fit lands on the truth.
TEST_F(Mgf, MgfSolveConvergesWithoutEverIncreasingTheResidual) {
  std::uint64_t state = 12345;
  const auto in = [&state](double lo, double hi) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return lo + (hi - lo) * static_cast<double>(state >> 11) * 0x1p-53;
  };
  const Values x = grid(40, 0.5, 81);
  for (int n = 0; n < 40; ++n) {
    const double t[] = {in(0.5, 3), in(48, 54), in(1, 2.5), in(0.5, 3), in(64, 70), in(1, 2.5)};
    const Values y = twoPeaks(x, t);
    const Model m(x, y);
    Set s({t[0] * in(0.7, 1.3), t[3] * in(0.7, 1.3)}, {t[1] + in(-1.5, 1.5), t[4] + in(-1.5, 1.5)},
          {t[2] * in(0.7, 1.3), t[5] * in(0.7, 1.3)});
    const double before = residualNorm(m, y, s.h);
    ASSERT_EQ(alg_mgf_solve(m.h, s.h), ALG_STATUS_OK) << n;
    EXPECT_LT(residualNorm(m, y, s.h), 1e-3 * before) << n;
    const Read r = read(s.h);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(r.v[i % 3][i / 3], t[i], 1e-3) << n << ' ' << i;
  }
}

// A one-parameter residual f(p) that counts its calls.
struct Counted {
  double (*f)(double);
  std::uint64_t calls = 0;
  static void residual(void* context, const AlgVector& p, AlgVector& out) {
    auto& c = *static_cast<Counted*>(context);
    ++c.calls;
    out = AlgVector(1, c.f(p[0]));
  }
  double solve(double start) {
    AlgVector p(1, start);
    levenbergMarquardt(residual, this, p);
    EXPECT_LE(calls, 100u * (3 + 3) + 4);  // 100 steps, each a Jacobian and three residuals
    return p[0];
  }
};

TEST_F(Mgf, MgfSolveDampingAndTermination) {
  // From 3 the undamped step overshoots atan's root: rejected steps must be
  // damped more strongly until one is accepted.
  Counted atanFit{[](double p) { return std::atan(p); }};
  EXPECT_LT(std::fabs(atanFit.solve(3.0)), 1e-6);
  // The first step from 1 passes a kink where the residual falls faster than
  // predicted (gain ratio > 1, damping 0); the undamped step from 0.5098 hits
  // the cliff below 0.5095. The damping must restart, not repeat that step.
  Counted kinked{[](double q) {
    if (q >= 0.6) return 2 * (q - 0.5);
    return q >= 0.5095 ? 0.2 + 2.2 * (q - 0.6) : 1.0;
  }};
  EXPECT_NEAR(kinked.solve(1.0), 0.5096, 1e-4);  // the first step gives 0.5098
  Counted nanFit{[](double) { return kNaN; }};   // every step rejected
  EXPECT_TRUE(nanFit.solve(1.0) == 1.0 && nanFit.calls > 100);
  // Hostile inputs: status 0, or the singular-system failure with the set kept.
  const Values x = grid(40, 0.5, 41);
  Values y = twoPeaks(x, kTruth);
  const Model clean(x, y);
  y[7] = kNaN;
  const Model withNaN(x, y);
  const double starts[][6] = {
      {2.5, 1, 47, 56, 2.5, 1}, {2.5, 1, 48, 56, 0, 1}, {0, 1, 47, 56, 2, 1}, {2, 2, 47, 47, 2, 2}};
  for (const Model* m : {&withNaN, &clean}) {
    for (const auto& st : starts) {
      Set s({st[0], st[1]}, {st[2], st[3]}, {st[4], st[5]});
      const Read before = read(s.h);
      const int status = alg_mgf_solve(m->h, s.h);
      if (status == ALG_STATUS_OK) continue;
      EXPECT_TRUE(refused(status, msg::kMatrixVectorShape));
      EXPECT_EQ(read(s.h), before);
    }
  }
}

Produced origin(const Values& x, const Values& y) {
  return produced([&](GaussCoeff** out) {
    return alg_mgf_local_max_value_id_origin(x.data(), x.size(), y.data(), y.size(), out);
  });
}

Produced detect(const Values& x, const Values& y, double peakWidth) {
  const Model m(x, y, peakWidth);
  return produced([&](GaussCoeff** out) { return alg_mgf_local_max_value_id(m.h, out); });
}

// The documented width estimate from the peak a, the flank value v and dx.
double flankWidth(double a, double v, double dx) {
  if (v < 1e-8) v = 0.6;
  if (v > a) v = a * 0.8;
  return dx / std::sqrt(std::fabs(-2.0 * std::log(std::fabs(v / a))));
}

TEST_F(Mgf, PeakDetectionLocalMaxima) {
  EXPECT_EQ(origin(grid(10, 1, 5), {0, 1, 0, 2, 0}).r,
            (Read{{2, 2, 2}, {{1, 2}, {11, 13}, {1.7, 1.7}}}));
  for (const Values& y : {Values{0, 1, 1, 0}, Values{1, 2, 3, 4}, Values{3, 1, 3}, Values{0, 1},
                          Values{5}, Values{}, Values{0, kNaN, 1, 0}})
    EXPECT_EQ(origin(grid(0, 1, y.size()), y).r, (Read{{0, 0, 0}, {}})) << y.size();
  EXPECT_EQ(origin(grid(0, 1, 9), {0, 5, 0, 1, 0, 3, 0}).r.v[0], (Values{5, 1, 3}));
  EXPECT_EQ(origin(grid(0, 1, 4), {-1, 0, -1, -2}).r,  // no amplitude check here
            (Read{{1, 1, 1}, {{0}, {1}, {1.7}}}));
  EXPECT_TRUE(refused(origin(grid(0, 1, 3), {0, 1, 0, 2}), msg::kKnotLengthsDiffer));
}

TEST_F(Mgf, PeakDetectionWidthEstimate) {
  // Half-window trunc(1 * 1.3 / 1) = 1: the first peak has only a right
  // flank, the second both; flank values of 0 count as 0.6.
  Produced d = detect(grid(0, 1, 5), {0, 1, 0, 2, 0}, 1);
  EXPECT_EQ(d.r.v[2], (Values{flankWidth(1, 0, 1), flankWidth(2, 0, 1)}));
  const Values half = grid(0, 0.5, 21);  // half-window trunc(1 * 1.3 / 0.5) = 2, dx = 1
  Values y(21);
  for (std::size_t i = 0; i < y.size(); ++i) y[i] = 10 - std::fabs(half[i] - 5.0);
  EXPECT_EQ(detect(half, y, 1).r.v[2], (Values{flankWidth(10, 9, 1)}));
  // A flank above the peak is capped; both flanks are averaged.
  d = detect(grid(0, 1, 6), {0, 1, 0.5, 3, 0, 0}, 1.6);
  EXPECT_EQ(d.r.v[2], (Values{flankWidth(1, 3, 2), flankWidth(3, 0.5, 2)}));
  // dx = 0 (a repeated abscissa) gives 1.6; a half-window of 0 gives 0 / 0.
  EXPECT_EQ(detect({0, 1, 2, 3, 3, 5}, {0, 0, 0, 1, 2, 0}, 1).r.v[2], (Values{1.6}));
  d = detect(grid(0, 1, 5), {0, 1, 0, 2, 0}, 0.5);
  EXPECT_TRUE(d.status == ALG_STATUS_OK && std::isnan(d.r.v[2][0]) && std::isnan(d.r.v[2][1]));
  // Sampled Gaussians give back their width, also with one flank cut off.
  for (const double centre : {0.5, 5.0, 9.5}) {
    for (std::size_t k = 0; k < y.size(); ++k) y[k] = gauss(2, centre, 1.2, half[k]);
    d = detect(half, y, 1);
    ASSERT_TRUE(d.r.n[2] == 1 && d.r.v[0][0] == 2 && d.r.v[1][0] == centre) << centre;
    EXPECT_NEAR(d.r.v[2][0], 1.2, 1e-12) << centre;
  }
}

TEST_F(Mgf, PeakDetectionRefusals) {
  EXPECT_TRUE(refused(detect({0, 1, 2, 3}, {-1, 0, -1, -2}, 1), msg::kPeakBelowZero, 100));
  EXPECT_TRUE(refused(detect({0, 1, 2}, {0, 1, 0}, 1), msg::kTooFewTemperatures));
  EXPECT_TRUE(refused(detect({0, 1, 2, 3}, {0, 1, 0, 1, 0}, 1), msg::kKnotLengthsDiffer));
  // Half-window 3 reaches the first point (right flank only); 4 reaches past
  // both ends. Negative, NaN and unrepresentable windows are refused too.
  const Values x = grid(0, 1, 7), y = {0.5, 1, 2, 3, 2, 1, 0};
  EXPECT_EQ(detect(x, y, 2.5).r.v[2], (Values{flankWidth(3, 0, 3)}));
  for (const double peakWidth : {3.2, -1.0, kNaN, 1e300})
    EXPECT_TRUE(refused(detect(x, y, peakWidth), msg::kPeakWindowTooWide)) << peakWidth;
  const Model m(x, y, 1);
  GaussCoeff* out = nullptr;
  EXPECT_GT(failInTurn([&] { return alg_mgf_local_max_value_id(m.h, &out); }, [&] { return !out; }),
            5u);
  EXPECT_EQ(read(out).v[1], Values{3});
  alg_gausscoeff_release(&out);
}

// A peak sum plus the background and oscillation, in the documented order.
double withBackground(double acc, double x, const MeltBackground& b) {
  acc = acc + b.level;
  acc = acc - b.level / (std::exp((x - b.midTemperature) * (-b.steepness)) + 1.0);
  return acc + (std::exp(x * (-0.0451)) * b.level) * std::sin(x * 0.5);
}

// The curve at the centres with the caller's background, or (estimate) on
// the model's grid with the background estimated into b.
Curve synth(const Model& m, const Set& s, MeltBackground& b, bool estimate = false) {
  return curveOf([&](double** out, std::size_t* n) {
    return estimate ? alg_mgf_melting_stimulate(m.h, s.h, &b, out, n)
                    : alg_mgf_melting_stim_peak(m.h, s.h, &b, out, n);
  });
}

TEST_F(Mgf, SynthesisWorkedCasesAndRefusals) {
  const Values x = grid(50, 1, 21);
  const Model m(x, grid(0, 1, 21)), ten(grid(50, 1, 10), grid(0, 1, 10));
  MeltBackground b{2, 58, 0.7}, none{0, 58, 0.7};
  const Set empty, one({3.5}, {61}, {2}), fewA({1}, {61, 63}, {2, 2}), fewW({1, 1}, {61, 63}, {2});
  EXPECT_EQ(synth(m, empty, b).r, (Values{withBackground(0.0, x[10], b)}));  // default peak
  EXPECT_EQ(synth(m, one, none).r, Values{3.5});
  EXPECT_TRUE(refused(synth(m, fewA, b), msg::kGaussCoeffInvalid));
  EXPECT_TRUE(refused(synth(m, fewW, b), msg::kGaussCoeffInvalid));
  EXPECT_TRUE(refused(synth(ten, empty, b), msg::kModelTooShort));
  EXPECT_EQ(synth(ten, one, b).status, ALG_STATUS_OK);  // x_10 is not needed
  // Estimated background: mean of y before the first peak, step before the last.
  MeltBackground est{};
  const Set peak({2}, {60}, {3});
  Curve c = synth(m, peak, est, true);
  EXPECT_TRUE(est.level == 4 && est.midTemperature == 59 && est.steepness == 3);
  ASSERT_EQ(c.r.size(), 21u);
  for (std::size_t k = 0; k < 21; ++k) {  // widths halved
    EXPECT_EQ(c.r[k], withBackground(0.0 + gauss(2, 60, 1.5, x[k]), x[k], est)) << k;
  }
  c = synth(m, empty, est, true);  // the default peak sits at x_10 = 60 as well
  EXPECT_TRUE(est.level == 4 && est.midTemperature == 59 && c.r[3] == withBackground(0, 53, est));
  // (first centre, last centre) -> level, mid-temperature, on y = 3 + j.
  const Model shifted(x, grid(3, 1, 21));
  const double cases[][4] = {{49, 65, 12.5, 64}, {50, 66, 12.5, 65},   {50.5, 66, 3, 65},
                             {55, 70, 4.5, 69},  {45, 50.7, 12.5, 51}, {53, 75, 3.5, 70}};
  for (const auto& cs : cases) {
    const Set s({1, 1}, {cs[0], cs[1]}, {1, 1});
    ASSERT_EQ(synth(shifted, s, est, true).status, ALG_STATUS_OK) << cs[0];
    EXPECT_TRUE(est.level == cs[2] && est.midTemperature == cs[3]) << cs[0] << ' ' << cs[1];
  }
  // Refusals leave the background record alone.
  const Model mismatched(x, grid(0, 1, 20)), single({50}, {1});
  est = MeltBackground{-1, -2, -3};
  EXPECT_TRUE(refused(synth(mismatched, peak, est, true), msg::kVectorAddLength));
  EXPECT_TRUE(refused(synth(single, peak, est, true), msg::kModelTooShort));
  EXPECT_TRUE(refused(synth(ten, empty, est, true), msg::kModelTooShort));
  EXPECT_TRUE(est.level == -1 && est.midTemperature == -2 && est.steepness == -3);
}

}  // namespace
}  // namespace corvel
