// Hostile numbers through every export: NaN, both infinities, the largest
// doubles, denormals, negative zero, and empty and one-element arrays. Every
// call runs under a watchdog, so a solver or scan that never stops aborts the
// run naming the call instead of hanging it, and must keep the frame's
// contract (a known status, a short terminated message). Where the interface
// documents the outcome for such input (a NaN Ct, a refusal, a value passed
// through), that outcome is checked as well.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "CorvelAlg.h"
#include "core/messages.h"
#include "robust_support.h"

namespace corvel::robust {
namespace {

const double kHostile[] = {kNaN, kInf, -kInf, 1e308, -1e308, 4.9e-324, 2.2e-308, -0.0};
constexpr double kGuard = -123.0;

std::string label(const char* call, double h, const char* where = "") {
  char text[160];
  std::snprintf(text, sizeof text, "%s with %.17g %s", call, h, where);
  return text;
}

// The ways a hostile value enters an array: as every element, as the first,
// as one in the middle and as the last.
std::vector<Values> variants(const Values& base, double h) {
  std::vector<Values> v(4, base);
  for (double& x : v[0]) x = h;
  v[1].front() = h;
  v[2][base.size() / 2] = h;
  v[3].back() = h;
  return v;
}

bool allNaN(const Values& v) {
  for (double x : v) {
    if (!std::isnan(x)) return false;
  }
  return true;
}

bool hasNonFinite(const Values& v) {
  for (double x : v) {
    if (!std::isfinite(x)) return true;
  }
  return false;
}

// Reads a handed-out array and releases it.
Values take(double*& values, std::size_t count) {
  Values v(values, values + count);
  alg_darray_release(&values);
  return v;
}

bool sameValues(const Values& a, const Values& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!same(a[i], b[i])) return false;
  }
  return true;
}

// Status 10 with the given message.
bool refused(int status, const char* message) {
  return status == ALG_STATUS_INVALID_ARGUMENT && std::string(get_last_error()) == message;
}

bool bitsEqual(const Values& a, const Values& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

TEST(HostileNumbers, SmoothingKeepsItsPromises) {
  const Values base(plate(1, 40));
  for (double h : kHostile) {
    std::vector<Values> inputs = variants(base, h);
    inputs.push_back({h});
    inputs.push_back({h, 1, 2, 3, 4});
    for (const Values& in : inputs) {
      Values d = in;
      ASSERT_EQ(
          watched(label("alg_run_smooth", h), [&] { return alg_run_smooth(d.data(), d.size()); }),
          ALG_STATUS_OK);
      EXPECT_TRUE(sameBits(d.back(), in.back())) << "the last value changed";
      if (in.size() <= 5) {
        EXPECT_TRUE(bitsEqual(d, in)) << "a short curve changed";
      }

      // Half-widths: none, ordinary, across the whole curve, and three read
      // as negative (no value in any window: every mean is NaN).
      for (std::uint32_t halfWidth : {0u, 3u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
        d = in;
        ASSERT_EQ(watched(label("alg_super_smooth", h),
                          [&] { return alg_super_smooth(d.data(), d.size(), halfWidth); }),
                  ALG_STATUS_OK);
        if (halfWidth == 0) {  // -0.0 may come back as 0.0
          EXPECT_TRUE(sameValues(d, in));
        }
        if (halfWidth >= 0x80000000u) {
          EXPECT_TRUE(allNaN(d)) << halfWidth;
        }
        if (halfWidth == 0x7fffffffu) {
          double total = 0.0;
          for (double x : in) total += x;
          for (double x : d) EXPECT_TRUE(same(x, total / double(in.size()))) << label("mean", h);
        }
      }
    }
  }
  // Empty curves, given as NULL, are left alone.
  EXPECT_EQ(watched("alg_run_smooth empty", [] { return alg_run_smooth(nullptr, 0); }), 0);
  EXPECT_EQ(watched("alg_super_smooth empty", [] { return alg_super_smooth(nullptr, 0, 9); }), 0);
}

TEST(HostileNumbers, SplineGridsAndProgressions) {
  const Values knotsX = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  const Values knotsY = {0, 0.8, 0.9, 0.1, -0.7, -0.9, -0.3, 0.6, 1.0, 0.4};
  for (double h : kHostile) {
    // Hostile knots are not checked (they give non-finite pieces); a
    // hostile query is evaluated, a NaN query giving NaN.
    for (int which = 0; which < 3; ++which) {
      Values x = knotsX, y = knotsY;
      Values xq = {0.5, 4.25, 9, -1, 12};
      (which == 0 ? x[4] : which == 1 ? y[4] : xq[1]) = h;
      Values yq(xq.size(), kGuard);
      ASSERT_EQ(watched(label("alg_cubic_interpolation", h),
                        [&] {
                          return alg_cubic_interpolation(x.data(), y.data(), x.size(), xq.data(),
                                                         yq.data(), yq.size());
                        }),
                ALG_STATUS_OK);
      if (which == 2 && std::isnan(h)) {
        EXPECT_TRUE(std::isnan(yq[1]));
      }
    }
    Values yq = {kGuard};
    const double two[2] = {h, h};
    EXPECT_EQ(watched(label("alg_cubic_interpolation n=2", h),
                      [&] { return alg_cubic_interpolation(two, two, 2, two, yq.data(), 1); }),
              ALG_STATUS_INVALID_ARGUMENT);
    EXPECT_STREQ(get_last_error(), msg::kTooFewKnots);
    EXPECT_EQ(yq[0], kGuard);

    // A grid over a hostile span: first and last values are exactly the
    // ends, each value between is the previous one plus the step.
    for (const Values& x : {Values{h, 21, 22}, Values{20, 21, h}, Values{h, 0, h}}) {
      const std::size_t factor = 4, last = (x.size() - 1) * factor;
      Values out(last + 1, kGuard);
      ASSERT_EQ(
          watched(label("alg_interpolation_x", h),
                  [&] { return alg_interpolation_x(x.data(), x.size(), factor, out.data()); }),
          ALG_STATUS_OK);
      // (A last value equal to x[2] is kept, so -0.0 may end as 0.0.)
      EXPECT_TRUE(sameBits(out[0], x[0]) && same(out[last], x[2])) << label("grid ends", h);
      const double step = (x[2] - x[0]) / double(last);
      for (std::size_t i = 1; i < last; ++i) EXPECT_TRUE(same(out[i], out[i - 1] + step)) << i;
    }
    // A hostile start or step: a running sum from the start.
    for (const std::pair<double, double>& args : {std::pair<double, double>{h, 0.5}, {1.0, h}}) {
      const double start = args.first, step = args.second;
      Values out(6, kGuard);
      ASSERT_EQ(watched(label("alg_increasing", h),
                        [&] { return alg_increasing(start, step, out.size(), out.data()); }),
                ALG_STATUS_OK);
      EXPECT_TRUE(sameBits(out[0], start));
      for (std::size_t i = 1; i < out.size(); ++i) EXPECT_TRUE(same(out[i], out[i - 1] + step));
    }
  }
  // Factors no grid can have: refused as unrepresentable, nothing written.
  const double x[3] = {20, 21, 22};
  for (std::int64_t factor : {std::int64_t{-1}, INT64_MIN, INT64_MAX}) {
    Values out(3, kGuard);
    EXPECT_EQ(watched("alg_interpolation_x factor " + std::to_string(factor),
                      [&] { return alg_interpolation_x(x, 3, factor, out.data()); }),
              ALG_STATUS_FAILURE);
    EXPECT_STREQ(get_last_error(), msg::kBadArrayNewLength);
    EXPECT_EQ(out, Values(3, kGuard));
  }
  double single = kGuard;  // factor 0: the last abscissa alone
  EXPECT_EQ(alg_interpolation_x(x, 3, 0, &single), ALG_STATUS_OK);
  EXPECT_EQ(single, 22.0);
  EXPECT_EQ(watched("alg_increasing count 0", [] { return alg_increasing(1, 1, 0, nullptr); }),
            ALG_STATUS_INVALID_ARGUMENT);
}

// One automatic-threshold run on a plate; records zeroed first.
struct ThresholdRun {
  int status;
  double threshold = kGuard;
  std::vector<WellCurveInfo> infos;
};
ThresholdRun thresholdOf(const Values& data, std::size_t wells, std::size_t cycles,
                         const std::string& what) {
  ThresholdRun r{0, kGuard, std::vector<WellCurveInfo>(wells, zeroRecord())};
  r.status = watched(what, [&] {
    return alg_calc_threshold(r.infos.data(), wells, data.data(), wells, cycles, &r.threshold);
  });
  return r;
}

TEST(HostileNumbers, ThresholdSetsNonFiniteWellsAside) {
  const std::size_t cycles = 40;
  const Values clean = plate(4, cycles);
  // The plate without well 1: a non-finite well must count for nothing.
  Values without(clean.begin(), clean.begin() + cycles);
  without.insert(without.end(), clean.begin() + 2 * cycles, clean.end());
  const ThresholdRun reference = thresholdOf(without, 3, cycles, "alg_calc_threshold");
  ASSERT_EQ(reference.status, ALG_STATUS_OK);

  for (double h : kHostile) {
    for (std::size_t at : {std::size_t{0}, std::size_t{20}, cycles - 1}) {
      Values d = clean;
      d[cycles + at] = h;
      const ThresholdRun r = thresholdOf(d, 4, cycles, label("alg_calc_threshold", h));
      ASSERT_EQ(r.status, ALG_STATUS_OK) << get_last_error();
      EXPECT_GE(r.threshold, 100.0) << label("threshold", h);
      if (std::isfinite(h)) continue;
      const WellCurveInfo& broken = r.infos[1];
      EXPECT_TRUE(std::isnan(broken.sigmoidTop) && std::isnan(broken.sigmoidMid) &&
                  std::isnan(broken.sigmoidRate));
      EXPECT_TRUE(sameBits(r.threshold, reference.threshold)) << label("threshold", h);
      for (std::size_t w : {0, 2, 3}) {
        EXPECT_EQ(std::memcmp(&r.infos[w], &reference.infos[w - (w > 1)], sizeof broken), 0) << w;
      }
    }
    // A whole plate of one hostile value; one well of one cycle.
    const ThresholdRun flat = thresholdOf(Values(4 * cycles, h), 4, cycles, label("plate", h));
    EXPECT_EQ(flat.status, ALG_STATUS_OK) << get_last_error();
    EXPECT_GE(flat.threshold, 100.0) << label("flat threshold", h);
    if (!std::isfinite(h)) {  // no well takes part
      EXPECT_EQ(flat.threshold, 100.0);
    }
    EXPECT_EQ(thresholdOf({h}, 1, 1, label("one value", h)).status, ALG_STATUS_OUT_OF_RANGE);
  }
  // An empty plate: the lowest threshold.
  double threshold = kGuard;
  EXPECT_EQ(watched("alg_calc_threshold empty",
                    [&] { return alg_calc_threshold(nullptr, 0, nullptr, 0, 40, &threshold); }),
            ALG_STATUS_OK);
  EXPECT_EQ(threshold, 100.0);
}

TEST(HostileNumbers, LinearBatchCtKeepsWellsIndependent) {
  const std::size_t wells = 4, cycles = 40, ctCount = 6;
  const Values clean = plate(wells, cycles);
  const auto run = [&](const Values& data, double threshold, Values& cts, const std::string& what) {
    std::vector<WellCurveInfo> infos(wells, zeroRecord());
    Values curves(wells * cycles, kGuard);
    cts.assign(ctCount, kGuard);
    return watched(what, [&] {
      return alg_linear_batch_calc_ct(infos.data(), ctCount, threshold, data.data(), wells, cycles,
                                      curves.data(), cts.data());
    });
  };
  Values reference;
  ASSERT_EQ(run(clean, 400.0, reference, "alg_linear_batch_calc_ct"), ALG_STATUS_OK);

  for (double h : kHostile) {
    // A hostile value in well 1 leaves the other wells' Cts as they were.
    Values d = clean, cts;
    d[cycles + 20] = h;
    const int status = run(d, 400.0, cts, label("alg_linear_batch_calc_ct", h, "in well 1"));
    if (status == ALG_STATUS_OK) {
      for (std::size_t w : {0, 2, 3}) EXPECT_TRUE(sameBits(cts[w], reference[w])) << w;
      EXPECT_TRUE(cts[4] == 0.0 && cts[5] == 0.0);
    } else {
      EXPECT_EQ(cts, Values(ctCount, kGuard));
    }
    // A hostile threshold: a Ct, or NaN where no curve can reach it.
    ASSERT_EQ(run(clean, h, cts, label("alg_linear_batch_calc_ct threshold", h)), ALG_STATUS_OK);
    if (std::isnan(h) || h > 1e300) {
      EXPECT_TRUE(allNaN(Values(cts.begin(), cts.begin() + 4)));
    }
    EXPECT_TRUE(cts[4] == 0.0 && cts[5] == 0.0);
  }
  // No wells: ctCount zeros; NULL records, data and curves.
  Values cts(3, kGuard);
  EXPECT_EQ(alg_linear_batch_calc_ct(nullptr, 3, 100, nullptr, 0, 40, nullptr, cts.data()), 0);
  EXPECT_EQ(cts, Values(3, 0.0));
}

TEST(HostileNumbers, SigmoidModelAndItsCt) {
  const double bend = std::log(2.0 + std::sqrt(3.0));
  for (double h : kHostile) {
    const double params[3][3] = {{h, 20, 1}, {100, h, 1}, {100, 20, h}};
    for (const auto& p : params) {
      Values x = {h, 0, 19, 20, 21, 1e3};
      const Values in = x;
      ASSERT_EQ(
          watched(label("alg_sigmoid", h), [&] { return alg_sigmoid(p, x.data(), x.size()); }),
          ALG_STATUS_OK);
      for (std::size_t i = 0; i < x.size(); ++i) {
        EXPECT_TRUE(same(x[i], p[0] / (1.0 + std::exp(-(in[i] - p[1]) * p[2])))) << i;
      }
    }
    // Ct from hostile logistic fields: NaN exactly when the plateau is
    // below 10 or the steepness below 0.01, else the documented formula.
    std::vector<WellCurveInfo> records(3, zeroRecord());
    const double fields[3][3] = {{h, 25, 0.5}, {1000, h, 0.5}, {1000, 25, h}};
    for (int i = 0; i < 3; ++i) {
      records[i].sigmoidTop = fields[i][0];
      records[i].sigmoidMid = fields[i][1];
      records[i].sigmoidRate = fields[i][2];
    }
    Values cts(3, kGuard);
    ASSERT_EQ(
        watched(label("alg_sigmoid_batch_calc_ct", h),
                [&] { return alg_sigmoid_batch_calc_ct(records.data(), 3, ~0ull, cts.data()); }),
        ALG_STATUS_OK);
    for (int i = 0; i < 3; ++i) {
      const double top = fields[i][0], mid = fields[i][1], rate = fields[i][2];
      const double want = top < 10 || rate < 0.01 ? kNaN : mid - bend / rate - 1.5;
      EXPECT_TRUE(same(cts[i], want)) << label("Ct", h) << i << ": " << cts[i];
    }
  }
  EXPECT_EQ(alg_sigmoid(nullptr, nullptr, 0), ALG_STATUS_OK);  // nothing to evaluate
  EXPECT_EQ(alg_sigmoid_batch_calc_ct(nullptr, 0, 0, nullptr), ALG_STATUS_OK);
}

TEST(HostileNumbers, SampleFittingAndLayoutSelfTest) {
  const Values base(plate(1, 11));
  for (double h : kHostile) {
    for (const Values& samples : variants(base, h)) {
      double result = kGuard;
      const int status = watched(label("alg_sample_data_fitting", h), [&] {
        return alg_sample_data_fitting(samples.data(), samples.size(), &result);
      });
      if (status != ALG_STATUS_OK) {
        EXPECT_EQ(result, kGuard);
      }
    }
    // Fewer than three samples determine no parabola.
    for (std::size_t n = 0; n < 3; ++n) {
      const Values samples(n, h);
      double result = kGuard;
      EXPECT_EQ(watched(label("alg_sample_data_fitting short", h),
                        [&] {
                          return alg_sample_data_fitting(n ? samples.data() : nullptr, n, &result);
                        }),
                ALG_STATUS_INVALID_ARGUMENT);
      EXPECT_EQ(result, kGuard);
    }
    // The self-test refuses a record whose first field is wrong, changes
    // nothing and leaves the last-error buffer alone.
    ASSERT_EQ(alg_increasing(0, 0, 0, nullptr), ALG_STATUS_INVALID_ARGUMENT);
    const std::string message = get_last_error();
    WellCurveInfo record = zeroRecord(), before;
    record.steepestIndex = h;
    before = record;
    EXPECT_EQ(test_fitting_result(&record), ALG_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0);
    EXPECT_EQ(get_last_error(), message);
  }
}

TEST(HostileNumbers, QuantificationPassesValuesThrough) {
  const Values x = {1, 2, 3, 4, 5}, y = {31.2, 27.9, 24.6, 21.3, 18.0};
  for (double h : kHostile) {
    // Degenerate data is no error: the fields are what the arithmetic gives.
    for (int which = 0; which < 2; ++which) {
      for (const Values& v : variants(which ? y : x, h)) {
        LinearFit fit{kGuard, kGuard, kGuard, kGuard};
        EXPECT_EQ(watched(label("alg_calc_standard", h),
                          [&] {
                            return which ? alg_calc_standard(x.data(), 5, v.data(), 5, &fit)
                                         : alg_calc_standard(v.data(), 5, y.data(), 5, &fit);
                          }),
                  ALG_STATUS_OK);
      }
    }
    LinearFit fit{kGuard, kGuard, kGuard, kGuard};
    const double one[1] = {h};
    EXPECT_EQ(alg_calc_standard(one, 1, one, 1, &fit), ALG_STATUS_OK);
    EXPECT_EQ(alg_calc_standard(x.data(), 5, one, 1, &fit), ALG_STATUS_INVALID_ARGUMENT);

    // Relative quantity: values pass through; a hostile replicate count is
    // outside 4..97 for the Student t bar (20), the early fields written.
    for (int field = 0; field < 5; ++field) {
      double summary[4] = {3.0, 0.5, 0.2, 12};
      double calibrator = 1.0;
      (field < 4 ? summary[field] : calibrator) = h;
      for (std::int32_t bar : {1, 2}) {
        const RqOptions options{1, 1, bar, 0, 2};
        RqResult r{kGuard, kGuard, kGuard, kGuard, kGuard, kGuard, kGuard};
        const int status = watched(label("alg_calc_rq", h), [&] {
          return alg_calc_rq(&options, summary, 4, calibrator, &r);
        });
        EXPECT_EQ(status, bar == 1 && field == 3 ? ALG_STATUS_OUT_OF_RANGE : ALG_STATUS_OK);
        EXPECT_TRUE(sameBits(r.value, summary[0]) && sameBits(r.sd, summary[1]) &&
                    sameBits(r.se, summary[2]));
        EXPECT_TRUE(same(r.ddct, summary[0] - calibrator));
        if (status != ALG_STATUS_OK) {
          EXPECT_TRUE(r.lower == kGuard && r.upper == kGuard);
        }
      }
    }

    // Replicate statistics: a hostile target count points past the array
    // (read as 0, it turns the next values into counts that do); a hostile
    // gene count is 0 or too large to size the result; hostile replicate
    // values pass into the statistics.
    const std::int32_t mode = 1;
    const Values layout = {3, 20, 21, 22, 2, 3, 15, 15.5, 16, 2, 17, 17.2};
    const bool zero = std::fabs(h) < 1.0;  // a count truncated to 0
    struct Case {
      std::size_t at;
      int status;
      const char* message;
    };
    for (const Case& c : {Case{0, ALG_STATUS_INVALID_ARGUMENT, msg::kInputParameterError},
                          Case{4, zero ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_FAILURE,
                               zero ? msg::kReplicateGroupEmpty : msg::kBadArrayNewLength},
                          Case{2, ALG_STATUS_OK, ""}, Case{7, ALG_STATUS_OK, ""}}) {
      Values data = layout;
      data[c.at] = h;
      double* result = nullptr;
      std::size_t count = 0;
      EXPECT_EQ(
          watched(label("alg_calc_sd", h),
                  [&] { return alg_calc_sd(&mode, data.data(), data.size(), &result, &count); }),
          c.status)
          << label("alg_calc_sd", h) << " at " << c.at;
      EXPECT_STREQ(get_last_error(), c.message);
      if (c.status == ALG_STATUS_OK) {
        const Values out = take(result, count);
        EXPECT_TRUE(count == 16 && (std::isfinite(h) || !std::isfinite(out[0])));
      }
    }
  }
}

// One alg_melting call: its status and the grid it handed out (both
// outputs released). A failure writes no output and leaves its message.
struct Melt {
  int status;
  Values grid;
};
Melt melt(const Values& t, const Values& f, const std::string& what) {
  std::size_t count = 777;
  double *grid = nullptr, *derivative = nullptr;
  Melt m{watched(what,
                 [&] {
                   return alg_melting(t.size(), t.empty() ? nullptr : t.data(),
                                      f.empty() ? nullptr : f.data(), &count, &grid, &derivative);
                 }),
         {}};
  EXPECT_EQ(m.status == ALG_STATUS_OK, count != 777 && grid != nullptr && derivative != nullptr);
  if (m.status == ALG_STATUS_OK) {  // (a release would empty the message)
    m.grid = take(grid, count);
    EXPECT_EQ(take(derivative, count).size(), 10 * (t.size() - 1) + 1);
  }
  return m;
}

TEST(HostileNumbers, MeltingCurves) {
  const MeltCurve m = meltCurve(41);
  for (double h : kHostile) {
    // Hostile temperatures: refused for a step that leaves no 5-degree
    // start, otherwise a grid of 10 (n - 1) + 1 points ending on the last.
    for (std::size_t at : {std::size_t{0}, std::size_t{2}, std::size_t{3}, m.t.size() - 1}) {
      Values t = m.t;
      t[at] = h;
      const Melt r = melt(t, m.f, label("alg_melting", h, "temperature"));
      if (r.status != ALG_STATUS_OK) {
        EXPECT_TRUE(refused(r.status, msg::kMeltTooShort)) << label("alg_melting", h);
      } else {
        EXPECT_TRUE(same(r.grid.back(), t.back()));
      }
      // A NaN step leaves no 5-degree start; a step beyond 50 degrees,
      // either way, an empty one.
      if (at == 3) {
        EXPECT_EQ(r.status, std::isnan(h) ? 10 : 0);
      }
    }
    // Hostile fluorescence changes the derivative, not the grid.
    for (const Values& f : variants(m.f, h)) {
      const Melt r = melt(m.t, f, label("alg_melting", h, "fluorescence"));
      ASSERT_EQ(r.status, ALG_STATUS_OK);
      EXPECT_EQ(r.grid.back(), m.t.back());
    }
    // Normalization: a non-finite value makes the floor NaN, so negative
    // values become 0 and all others stay as they are.
    for (const Values& in : variants(peakCurve().y, h)) {
      Values d = in;
      d[1] = -3.0;
      const Values before = d;
      ASSERT_EQ(watched(label("alg_melting_normalization", h),
                        [&] { return alg_melting_normalization(d.data(), d.size()); }),
                ALG_STATUS_OK);
      if (!hasNonFinite(before)) continue;
      for (std::size_t i = 0; i < d.size(); ++i) {
        EXPECT_TRUE(before[i] < 0 ? d[i] == 0.0 : sameBits(d[i], before[i])) << i;
      }
    }
    Values one = {h};
    EXPECT_EQ(alg_melting_normalization(one.data(), 1), ALG_STATUS_OK);
  }
  // Zero and decreasing steps shorter than 50 degrees; no samples at all.
  Values t = m.t;
  t[3] = t[2];
  EXPECT_TRUE(refused(melt(t, m.f, "alg_melting zero step").status, msg::kMeltTooShort));
  t[3] = t[2] - 0.5;
  EXPECT_TRUE(refused(melt(t, m.f, "alg_melting decreasing step").status, msg::kMeltTooShort));
  EXPECT_TRUE(refused(melt({}, {}, "alg_melting empty").status, msg::kTooFewTemperatures));
  EXPECT_EQ(alg_melting_normalization(nullptr, 0), ALG_STATUS_OK);
}

TEST(HostileNumbers, CoefficientSetsModelsAndFilter) {
  const PeakCurve c = peakCurve(41);
  for (double h : kHostile) {
    // Sets store and return hostile values bit for bit.
    const Set s({h, 1}, {2, h}, {h});
    const std::vector<Values> read = s.read();
    EXPECT_TRUE(bitsEqual(read[0], {h, 1}) && bitsEqual(read[1], {2, h}) &&
                bitsEqual(read[2], {h}));

    // Evaluating a hostile peak, or on a hostile model, is no error.
    const Values good = {800, 78, 0.8};
    for (int field = 0; field < 3; ++field) {
      Values p = good;
      p[field] = h;
      const Set peak({p[0]}, {p[1]}, {p[2]});
      for (const Values& y : {c.y, variants(c.y, h)[2]}) {
        const Model model(c.x, y);
        double* values = nullptr;
        std::size_t count = 0;
        ASSERT_EQ(watched(label("alg_mgf_multi_gauss", h),
                          [&] { return alg_mgf_multi_gauss(model.h, peak.h, &values, &count); }),
                  ALG_STATUS_OK);
        const Values v = take(values, count);
        ASSERT_EQ(v.size(), y.size());
        if (field == 2 && h == 0.0) {
          // A width of 0: zero away from the centre, NaN on it.
          for (std::size_t k = 0; k < v.size(); ++k) {
            EXPECT_TRUE(c.x[k] == 78 ? std::isnan(v[k]) : v[k] == 0.0) << k;
          }
        }
      }
    }
    // The filter never keeps a NaN peak; NaN limits keep nothing.
    const Set mixed({h, 500, 300}, {75, 80, h}, {1, h, 1});
    for (const FilterLimits& limits :
         {FilterLimits{10, 10, 0.5}, FilterLimits{h, h, h}, FilterLimits{-kInf, kInf, -kInf}}) {
      GaussCoeff* kept = nullptr;
      ASSERT_EQ(watched(label("alg_mgf_coeff_filter", h),
                        [&] { return alg_mgf_coeff_filter(&limits, mixed.h, &kept); }),
                ALG_STATUS_OK);
      const std::vector<Values> r = takeSet(kept);
      ASSERT_TRUE(r[0].size() == r[1].size() && r[1].size() == r[2].size());
      for (std::size_t i = 0; i < r[0].size(); ++i) {
        const double fwhm = r[2][i] * 2.3548;
        EXPECT_TRUE(r[0][i] > limits.minAmplitude && fwhm >= limits.minFwhm &&
                    fwhm <= limits.maxFwhm);
      }
      if (std::isnan(limits.minAmplitude)) {
        EXPECT_TRUE(r[0].empty());
      }
    }
  }
}

TEST(HostileNumbers, SolverAndPeakDetectionAlwaysReturn) {
  const PeakCurve c = peakCurve(41);
  const Values start[3] = {{850, 380}, {78.2, 83.8}, {0.9, 1.0}};
  for (double h : kHostile) {
    // Hostile model values or start peaks: the fit ends (a NaN in the
    // values in the singular-system failure) and a failure changes nothing.
    for (int k = 0; k < 7; ++k) {
      Values y = c.y, p[3] = {start[0], start[1], start[2]};
      (k == 6 ? y[20] : p[k % 3][k / 3]) = h;
      const Model model(c.x, y);
      Set s(p[0], p[1], p[2]);
      const int status =
          watched(label("alg_mgf_solve", h), [&] { return alg_mgf_solve(model.h, s.h); });
      if (k == 6 && std::isnan(h)) {
        EXPECT_EQ(status, ALG_STATUS_INVALID_ARGUMENT);
        EXPECT_STREQ(get_last_error(), msg::kMatrixVectorShape);
      }
      if (status != ALG_STATUS_OK) {
        const std::vector<Values> r = s.read();
        EXPECT_TRUE(bitsEqual(r[0], p[0]) && bitsEqual(r[1], p[1]) && bitsEqual(r[2], p[2]));
      }
    }
    // Peak widths that leave no usable half-window are refused; a tiny
    // one gives a half-window of 0 and widths of 0 / 0.
    const Model widthModel(c.x, c.y, h);
    GaussCoeff* found = nullptr;
    const int status = watched(label("alg_mgf_local_max_value_id peakWidth", h),
                               [&] { return alg_mgf_local_max_value_id(widthModel.h, &found); });
    if (std::fabs(h) < 1e-300) {
      ASSERT_EQ(status, ALG_STATUS_OK);
      const std::vector<Values> r = takeSet(found);
      EXPECT_TRUE(!r[2].empty() && allNaN(r[2]));
    } else {
      EXPECT_EQ(status, ALG_STATUS_INVALID_ARGUMENT);
      EXPECT_STREQ(get_last_error(), msg::kPeakWindowTooWide);
    }
    // Hostile curve values or abscissae: every result is a valid set.
    for (const Values& v : variants(c.y, h)) {
      for (int which = 0; which < 2; ++which) {
        const Values& x = which ? v : c.x;
        const Values& y = which ? c.y : v;
        const Model model(x, y);
        GaussCoeff* peaks[2] = {nullptr, nullptr};
        watched(label("alg_mgf_local_max_value_id", h),
                [&] { return alg_mgf_local_max_value_id(model.h, &peaks[0]); });
        EXPECT_EQ(watched(label("alg_mgf_local_max_value_id_origin", h),
                          [&] {
                            return alg_mgf_local_max_value_id_origin(x.data(), x.size(), y.data(),
                                                                     y.size(), &peaks[1]);
                          }),
                  ALG_STATUS_OK);
        for (GaussCoeff*& found : peaks) {
          if (found == nullptr) continue;
          const std::vector<Values> r = takeSet(found);
          EXPECT_TRUE(r[0].size() == r[1].size() && r[1].size() == r[2].size());
        }
      }
    }
  }
  // Start peaks on every ripple of a noisy curve, which hardly move it: the
  // fit still ends within its step limit, and a failure changes nothing.
  PeakCurve noisy = peakCurve();
  for (std::size_t i = 0; i < noisy.y.size(); ++i) noisy.y[i] += 4.0 * ripple(i, 3);
  GaussCoeff* ripples = nullptr;
  ASSERT_EQ(alg_mgf_local_max_value_id_origin(noisy.x.data(), noisy.x.size(), noisy.y.data(),
                                              noisy.y.size(), &ripples),
            ALG_STATUS_OK);
  const std::vector<Values> before = readSet(ripples);
  EXPECT_GE(before[0].size(), 10u);
  const Model model(noisy.x, noisy.y);
  if (watched("alg_mgf_solve on ripples", [&] { return alg_mgf_solve(model.h, ripples); }) != 0) {
    EXPECT_EQ(readSet(ripples), before);
  }
  alg_gausscoeff_release(&ripples);
}

TEST(HostileNumbers, SynthesisWithHostilePeaksAndBackgrounds) {
  const PeakCurve c = peakCurve(41);
  for (double h : kHostile) {
    for (int k = 0; k < 10; ++k) {  // each peak field, a curve value, each background field
      Values p[3] = {{800, 300}, {78, 84}, {0.8, 1.1}};
      Values y = c.y;
      MeltBackground given{300, 80, 3};
      double* background[3] = {&given.level, &given.midTemperature, &given.steepness};
      (k < 6 ? p[k % 3][k / 3] : k == 6 ? y[5] : *background[k - 7]) = h;
      const Model model(c.x, y);
      const Set s(p[0], p[1], p[2]);
      MeltBackground estimate{kGuard, kGuard, kGuard};
      double* values = nullptr;
      std::size_t count = 0;
      ASSERT_EQ(
          watched(
              label("alg_mgf_melting_stimulate", h),
              [&] { return alg_mgf_melting_stimulate(model.h, s.h, &estimate, &values, &count); }),
          ALG_STATUS_OK);
      EXPECT_EQ(take(values, count).size(), y.size());
      EXPECT_EQ(estimate.steepness, 3.0);
      ASSERT_EQ(
          watched(label("alg_mgf_melting_stim_peak", h),
                  [&] { return alg_mgf_melting_stim_peak(model.h, s.h, &given, &values, &count); }),
          ALG_STATUS_OK);
      EXPECT_EQ(take(values, count).size(), 2u);
    }
  }
}

}  // namespace
}  // namespace corvel::robust
