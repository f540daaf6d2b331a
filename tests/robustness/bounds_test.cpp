// Reads and writes past the caller's arrays. Every input, output and record
// below is allocated on the heap with exactly the number of elements the
// call is told (Exact<T>; a count of 0 passes NULL), so that under
// AddressSanitizer any access beyond them fails the test. Each test names
// the accesses its counts could otherwise lead past an array; the library's
// own copies (models, sets, working vectors) are exact blocks as well.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "CorvelAlg.h"
#include "core/messages.h"
#include "robust_support.h"

namespace corvel::robust {
namespace {

constexpr double kGuard = -123.0;

bool unchanged(const Exact<double>& a, double guard = kGuard) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!sameBits(a[i], guard)) return false;
  }
  return true;
}

template <typename T>
bool sameBytes(const Exact<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() &&
         (a.size() == 0 || std::memcmp(a.data(), b.data(), sizeof(T) * a.size()) == 0);
}

// A refusal with its message.
::testing::AssertionResult refused(int status, int expected, const char* message) {
  if (status == expected && std::string(get_last_error()) == message) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << "status " << status << ", message \"" << get_last_error() << '"';
}

// A call handing out one array: its status, and the array read back.
template <typename Call>
int handedOut(Call&& call, Values* values = nullptr) {
  double* out = nullptr;
  std::size_t count = 777;
  const int status = call(&out, &count);
  if (status != ALG_STATUS_OK) {
    EXPECT_TRUE(out == nullptr && count == 777) << "out-parameters written on failure";
    return status;
  }
  if (values != nullptr) values->assign(out, out + count);
  alg_darray_release(&out);
  return status;
}

// A call creating a set: its status, and the set's arrays read back.
template <typename Call>
int newSet(Call&& call, std::vector<Values>* arrays = nullptr) {
  GaussCoeff* h = nullptr;
  const int status = call(&h);
  EXPECT_EQ(status == ALG_STATUS_OK, h != nullptr);
  if (h != nullptr) {  // (a release would empty the message of a failure)
    const std::vector<Values> got = takeSet(h);
    if (arrays != nullptr) *arrays = got;
  }
  return status;
}

Values range(double from, double step, std::size_t n) {
  Values v(n);
  for (std::size_t i = 0; i < n; ++i) v[i] = from + step * static_cast<double>(i);
  return v;
}

// alg_calc_sd reads each count from the data and then that many values:
// a target count, gene count or gene block reaching past the array would
// read after its end. Such layouts are refused before anything is read.
TEST(Bounds, ReplicateLayoutsPointingPastTheData) {
  struct Case {
    Values data;
    int status;
    const char* message;
    double valuesRead;
  };
  const char* const kPast = msg::kInputParameterError;
  const Case cases[] = {
      {{3, 20, 21, 22}, 10, kPast, 0},                   // fewer than 5 values
      {{5, 1, 2, 3, 4}, 10, kPast, 0},                   // target block past the end
      {{4, 20, 21, 22, 23}, 10, kPast, 0},               // gene count past the end
      {{2, 20, 21, 1, 5, 15, 16}, 10, kPast, 0},         // gene block too long
      {{2, 20, 21, 2, 1, 15, 3, 16, 17}, 10, kPast, 0},  // the second one too long
      {{-1, 20, 21, 1, 15}, 10, kPast, 0},               // a negative count wraps
      {{2, 20, 21, -1, 2, 15, 16}, 100, msg::kBadArrayNewLength, 0},
      {{3, 20, 21, 22, 1}, 0, "", 3},             // no room for the gene's block: an empty gene
      {{2, 20, 21, 1, 2, 15, 16}, 0, "", 4},      // the blocks end exactly at the end
      {{2, 20, 21, 1, 2, 15, 16, 99}, 0, "", 4},  // values after the last block are not read
  };
  for (const Case& c : cases) {
    const Exact<double> data(c.data);
    const Exact<std::int32_t> mode(1, 1);
    Values out;
    const int status = handedOut(
        [&](double** r, std::size_t* n) {
          return alg_calc_sd(mode.data(), data.data(), data.size(), r, n);
        },
        &out);
    EXPECT_TRUE(refused(status, c.status, c.message)) << ::testing::PrintToString(c.data);
    if (status != ALG_STATUS_OK) continue;
    ASSERT_EQ(out.size(), 13u);
    EXPECT_EQ(out[3], c.valuesRead);
    if (c.valuesRead == 3) {  // the empty gene: (NaN, 0, NaN) and a NaN pooled centre
      EXPECT_TRUE(std::isnan(out[10]) && out[11] == 0 && std::isnan(out[12]) && std::isnan(out[0]));
    }
  }
}

// alg_calc_rq reads the value, sd, se and count of the summary: fewer than
// four values would be read past.
TEST(Bounds, RelativeQuantityNeedsFourSummaryValues) {
  const Exact<RqOptions> options(1, RqOptions{1, 1, 1, 0, 1});
  const Values full = {2.0, 0.5, 0.2, 12};
  for (std::size_t n = 0; n <= 4; ++n) {
    const Exact<double> summary(Values(full.begin(), full.begin() + n));
    Exact<RqResult> result(1, RqResult{kGuard, kGuard, kGuard, kGuard, kGuard, kGuard, kGuard});
    const RqResult before = result[0];
    const int status = alg_calc_rq(options.data(), summary.data(), n, 1.0, result.data());
    if (n < 4) {
      EXPECT_TRUE(refused(status, 10, msg::kInputParameterError)) << n;
      EXPECT_EQ(std::memcmp(result.data(), &before, sizeof before), 0) << n;
    } else {
      EXPECT_EQ(status, ALG_STATUS_OK);
      EXPECT_EQ(result[0].rq, 0.5);
    }
  }
}

// alg_calc_threshold analyses records 0..wellCount-1 and reads the step
// rises of records 0..recCount-1; either count larger than the records
// supplied, or a plate shorter than wellCount * cycleCount, would reach
// past the caller's arrays. Records beyond wellCount are read, not written.
TEST(Bounds, ThresholdRecordsAndPlateAtTheirStatedSizes) {
  const std::size_t cycles = 40;
  for (const auto& [recCount, wellCount] :
       {std::pair<std::size_t, std::size_t>{5, 3}, {1, 3}, {0, 3}, {3, 3}, {2, 0}}) {
    Exact<WellCurveInfo> infos(recCount > wellCount ? recCount : wellCount, zeroRecord());
    for (std::size_t i = wellCount; i < infos.size(); ++i) infos[i].stepRise = 150.0 + double(i);
    const std::vector<WellCurveInfo> before = infos.values();
    const Exact<double> data(plate(wellCount, cycles));
    Exact<double> threshold(1, kGuard);
    ASSERT_EQ(alg_calc_threshold(infos.data(), recCount, data.data(), wellCount, cycles,
                                 threshold.data()),
              ALG_STATUS_OK)
        << recCount << ' ' << wellCount << ' ' << get_last_error();
    EXPECT_GE(threshold[0], 100.0);
    for (std::size_t i = wellCount; i < infos.size(); ++i) {
      EXPECT_EQ(std::memcmp(&infos[i], &before[i], sizeof before[i]), 0) << i;
    }
  }
  // The index after the baseline end lies past a 9-cycle curve; a
  // caller-given window ending on, or starting past, the last cycle.
  for (const auto& [cycles9, start, end] :
       {std::tuple<std::size_t, int, int>{9, 0, 0}, {12, 3, 11}, {12, 13, 14}, {8, 0, 0}}) {
    Exact<WellCurveInfo> infos(2, zeroRecord());
    infos[1].baselineStart = static_cast<std::int16_t>(start);
    infos[1].baselineEnd = static_cast<std::int16_t>(end);
    const Exact<double> data(plate(2, cycles9));
    Exact<double> threshold(1, kGuard);
    EXPECT_EQ(alg_calc_threshold(infos.data(), 2, data.data(), 2, cycles9, threshold.data()),
              ALG_STATUS_OUT_OF_RANGE)
        << cycles9 << ' ' << start << ' ' << end;
    EXPECT_TRUE(unchanged(threshold));
  }
}

// A caller-given baseline window chooses the values the baseline is fitted
// to and the index the exponential baseline is anchored at: a window
// reaching before the first or past the last cycle would read or write
// outside the curve. Any window ends in a result or in status 20.
TEST(Bounds, CallerGivenBaselineWindowsAnywhere) {
  const std::size_t cycles = 12;
  const std::int16_t ends[] = {INT16_MIN, -2, -1, 0, 1, 2, 3, 10, 11, 12, 13, INT16_MAX};
  Values dipping = plate(1, cycles);  // a late minimum moves the baseline end
  dipping[cycles - 1] = 10.0;
  for (const Exact<double>& data : {Exact<double>(plate(1, cycles)), Exact<double>(dipping)}) {
    for (std::int16_t start : ends) {
      for (std::int16_t end : ends) {
        Exact<WellCurveInfo> info(1, zeroRecord());
        info[0].baselineStart = start;
        info[0].baselineEnd = end;
        Exact<WellCurveInfo> again(1, info[0]);
        Exact<double> threshold(1, kGuard), curves(cycles, kGuard), cts(1, kGuard);
        const int a = alg_calc_threshold(info.data(), 1, data.data(), 1, cycles, threshold.data());
        const std::string message = get_last_error();
        const int b = alg_linear_batch_calc_ct(again.data(), 1, 400, data.data(), 1, cycles,
                                               curves.data(), cts.data());
        EXPECT_TRUE(a == b && (a == 0 || a == ALG_STATUS_OUT_OF_RANGE)) << start << ' ' << end;
        if (a == ALG_STATUS_OUT_OF_RANGE) {
          EXPECT_TRUE(message == msg::kSliceEndOutOfRange || message == msg::kSliceBeginAfterEnd);
          EXPECT_TRUE(unchanged(threshold) && unchanged(curves) && unchanged(cts));
        }
      }
    }
  }
}

// alg_linear_batch_calc_ct writes wellCount Cts and ctCount - wellCount
// zeros into ctOut and wellCount * cycleCount values into curvesOut: a
// ctCount below wellCount would write past ctOut, so it is refused first.
TEST(Bounds, LinearBatchOutputsAtTheirStatedSizes) {
  const std::size_t cycles = 40;
  for (const auto& [ctCount, wellCount] :
       {std::pair<std::size_t, std::size_t>{2, 3}, {0, 1}, {3, 3}, {5, 3}, {2, 0}}) {
    Exact<WellCurveInfo> infos(wellCount, zeroRecord());
    const std::vector<WellCurveInfo> before = infos.values();
    const Exact<double> data(plate(wellCount, cycles));
    Exact<double> curves(wellCount * cycles, kGuard), cts(ctCount, kGuard);
    const int status = alg_linear_batch_calc_ct(infos.data(), ctCount, 400.0, data.data(),
                                                wellCount, cycles, curves.data(), cts.data());
    if (ctCount < wellCount) {
      EXPECT_TRUE(refused(status, 10, msg::kCtCountTooSmall));
      EXPECT_TRUE(unchanged(curves) && unchanged(cts) && sameBytes(infos, before));
      continue;
    }
    ASSERT_EQ(status, ALG_STATUS_OK) << get_last_error();
    for (std::size_t i = wellCount; i < ctCount; ++i) EXPECT_EQ(cts[i], 0.0) << i;
    for (std::size_t i = 0; i < curves.size(); ++i) EXPECT_NE(curves[i], kGuard) << i;
  }
  // A 9-cycle curve: the index after the automatic baseline end is past it.
  Exact<WellCurveInfo> infos(1, zeroRecord());
  const Exact<double> data(plate(1, 9));
  Exact<double> curves(9, kGuard), cts(1, kGuard);
  EXPECT_EQ(
      alg_linear_batch_calc_ct(infos.data(), 1, 400, data.data(), 1, 9, curves.data(), cts.data()),
      ALG_STATUS_OUT_OF_RANGE);
  EXPECT_TRUE(unchanged(curves) && unchanged(cts));
}

// Peak detection reads x[2] and x[3] for the grid step and, around each
// peak, the flank points p - w and p + w: a short model, an x shorter than
// y, or a half-window reaching past one or both ends of the curve would
// read past the model's arrays.
TEST(Bounds, PeakWindowsNearTheCurveEnds) {
  const Values x = range(70, 0.5, 12);
  // Peaks at index 1 (left flank outside), 10 (right flank outside), and
  // both: a half-window of trunc(1.2 * 1.3 / 0.5) = 3 points.
  const Values early = {1, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0.5, 0.2};
  const Values late = {0.2, 0.5, 1, 2, 3, 4, 5, 6, 7, 8, 9, 1};
  for (const Values& y : {early, late}) {
    const Model m(x, y, 1.2);
    std::vector<Values> peaks;
    ASSERT_EQ(
        newSet([&](GaussCoeff** out) { return alg_mgf_local_max_value_id(m.h, out); }, &peaks),
        ALG_STATUS_OK)
        << get_last_error();
    ASSERT_EQ(peaks[2].size(), 1u);
    EXPECT_TRUE(std::isfinite(peaks[2][0]) && peaks[2][0] > 0);
  }
  const Model wide(x, early, 5.0);  // 13 points each way: past both ends
  EXPECT_TRUE(
      refused(newSet([&](GaussCoeff** out) { return alg_mgf_local_max_value_id(wide.h, out); }), 10,
              msg::kPeakWindowTooWide));

  // Too few abscissae for the step; fewer abscissae than values.
  const Model three(range(70, 1, 3), {0, 1, 0}), shortX(range(70, 1, 5), {0, 1, 0, 1, 0, 1});
  EXPECT_EQ(newSet([&](GaussCoeff** out) { return alg_mgf_local_max_value_id(three.h, out); }), 10);
  EXPECT_EQ(newSet([&](GaussCoeff** out) { return alg_mgf_local_max_value_id(shortX.h, out); }),
            10);
  // More abscissae than values, and curves too short to hold a peak.
  const Model longX(range(70, 1, 8), {0, 2, 0, 1, 0});
  std::vector<Values> peaks;
  EXPECT_EQ(
      newSet([&](GaussCoeff** out) { return alg_mgf_local_max_value_id(longX.h, out); }, &peaks),
      ALG_STATUS_OK);
  EXPECT_EQ(peaks[0], (Values{2, 1}));
  for (std::size_t n = 0; n < 3; ++n) {
    const Model tiny(range(70, 1, 4), Values(n, 1.0));
    EXPECT_EQ(
        newSet([&](GaussCoeff** out) { return alg_mgf_local_max_value_id(tiny.h, out); }, &peaks),
        ALG_STATUS_OK);
    EXPECT_TRUE(peaks[0].empty());
    const Exact<double> ex(range(70, 1, n)), ey(Values(n, 1.0));
    EXPECT_EQ(newSet([&](GaussCoeff** out) {
                return alg_mgf_local_max_value_id_origin(ex.data(), n, ey.data(), n, out);
              }),
              ALG_STATUS_OK);
  }
  const Exact<double> ex(range(70, 1, 4)), ey(Values{0, 1, 0, 1, 0});
  EXPECT_TRUE(refused(newSet([&](GaussCoeff** out) {
                        return alg_mgf_local_max_value_id_origin(ex.data(), 4, ey.data(), 5, out);
                      }),
                      10, msg::kKnotLengthsDiffer));
}

// A model's x and y counts may differ; every evaluation on the x grid into
// a curve of yCount values would then read past one of the two.
TEST(Bounds, ModelsWhoseAbscissaeAndValuesDiffer) {
  const Values x = range(70, 0.5, 24), y = Values(24, 1.0);
  for (const auto& [nx, ny] :
       {std::pair<std::size_t, std::size_t>{24, 20}, {20, 24}, {0, 24}, {24, 0}}) {
    const Model m(Values(x.begin(), x.begin() + nx), Values(y.begin(), y.begin() + ny));
    const Set peak({1}, {75}, {1}), none({}, {}, {});
    EXPECT_TRUE(refused(handedOut([&](double** v, std::size_t* n) {
                          return alg_mgf_multi_gauss(m.h, peak.h, v, n);
                        }),
                        10, msg::kVectorAddLength));
    Values zeros;
    EXPECT_EQ(handedOut([&](double** v,
                            std::size_t* n) { return alg_mgf_multi_gauss(m.h, none.h, v, n); },
                        &zeros),
              ALG_STATUS_OK);
    EXPECT_EQ(zeros, Values(ny, 0.0));
    EXPECT_EQ(alg_mgf_solve(m.h, peak.h), ALG_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(peak.read()[1], Values{75});
    Exact<MeltBackground> background(1, MeltBackground{kGuard, kGuard, kGuard});
    EXPECT_EQ(handedOut([&](double** v, std::size_t* n) {
                return alg_mgf_melting_stimulate(m.h, peak.h, background.data(), v, n);
              }),
              ALG_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(background[0].level, kGuard);
    // At the peak centres the model's grid plays no part.
    const Exact<MeltBackground> given(1, MeltBackground{1, 75, 3});
    EXPECT_EQ(handedOut([&](double** v, std::size_t* n) {
                return alg_mgf_melting_stim_peak(m.h, peak.h, given.data(), v, n);
              }),
              ALG_STATUS_OK);
  }
  // The default peak of an empty set sits at x[10]; the background scan
  // starts at x[1].
  const Set none({}, {}, {}), early({1}, {69}, {1});
  const Exact<MeltBackground> given(1, MeltBackground{1, 75, 3});
  for (std::size_t n : {0, 1, 10, 11}) {
    const Model m(Values(x.begin(), x.begin() + n), Values(y.begin(), y.begin() + n));
    Exact<MeltBackground> background(1);
    const int stimulate = handedOut([&](double** v, std::size_t* c) {
      return alg_mgf_melting_stimulate(m.h, none.h, background.data(), v, c);
    });
    EXPECT_TRUE(refused(stimulate, n < 11 ? 10 : 0, n < 11 ? msg::kModelTooShort : "")) << n;
    const int stimPeak = handedOut([&](double** v, std::size_t* c) {
      return alg_mgf_melting_stim_peak(m.h, none.h, given.data(), v, c);
    });
    EXPECT_TRUE(refused(stimPeak, n < 11 ? 10 : 0, n < 11 ? msg::kModelTooShort : "")) << n;
    const int oneX = handedOut([&](double** v, std::size_t* c) {
      return alg_mgf_melting_stimulate(m.h, early.h, background.data(), v, c);
    });
    EXPECT_TRUE(refused(oneX, n < 2 ? 10 : 0, n < 2 ? msg::kModelTooShort : "")) << n;
  }
}

// The evaluations read element i of all three arrays of a set for every
// peak i: a set whose counts differ would be read past its shorter arrays.
TEST(Bounds, CoefficientSetsWhoseCountsDiffer) {
  const Model m(range(70, 0.5, 24), Values(24, 1.0));
  const Exact<FilterLimits> limits(1, FilterLimits{0, 100, 0});
  const Exact<MeltBackground> given(1, MeltBackground{1, 75, 3});
  const Values two = {1, 2}, three = {72, 75, 78};
  for (const auto& counts : {std::vector<Values>{two, three, three},
                             {three, two, three},
                             {three, three, two},
                             {three, two, two},
                             {Values{}, three, three}}) {
    const Set s(counts[0], counts[1], counts[2]);
    EXPECT_TRUE(refused(
        handedOut([&](double** v, std::size_t* n) { return alg_mgf_multi_gauss(m.h, s.h, v, n); }),
        10, msg::kGaussCoeffInvalid));
    EXPECT_TRUE(refused(alg_mgf_solve(m.h, s.h), 10, msg::kGaussCoeffInvalid));
    EXPECT_TRUE(refused(
        newSet([&](GaussCoeff** out) { return alg_mgf_coeff_filter(limits.data(), s.h, out); }), 10,
        msg::kGaussCoeffInvalid));
    // The synthesis needs an amplitude and a width for every centre.
    const bool enough =
        counts[0].size() >= counts[1].size() && counts[2].size() >= counts[1].size();
    Exact<MeltBackground> background(1);
    Values curve;
    EXPECT_EQ(handedOut([&](double** v, std::size_t* n) {
                return alg_mgf_melting_stimulate(m.h, s.h, background.data(), v, n);
              }),
              enough ? 0 : 10);
    EXPECT_EQ(handedOut(
                  [&](double** v, std::size_t* n) {
                    return alg_mgf_melting_stim_peak(m.h, s.h, given.data(), v, n);
                  },
                  &curve),
              enough ? 0 : 10);
    if (enough) {
      EXPECT_EQ(curve.size(), counts[1].size());
    }
  }
}

// The first smoothing of a melting curve pads three points at each end
// from means over the samples next to them; for 4 or 5 samples the right
// pad's range would begin before the curve. The start correction reads
// k = 50 / step points of the derivative.
TEST(Bounds, ShortMeltingCurves) {
  for (const auto& [n, step, status] : {std::tuple<std::size_t, double, int>{4, 2.0, 0},
                                        {5, 2.0, 0},
                                        {4, 1.0, 10},
                                        {6, 1.0, 0},
                                        {3, 2.0, 10}}) {
    const MeltCurve m = meltCurve(n, step);
    const Exact<double> t(m.t), f(m.f);
    std::size_t count = 777;
    double *grid = nullptr, *derivative = nullptr;
    EXPECT_EQ(alg_melting(n, t.data(), f.data(), &count, &grid, &derivative), status) << n;
    if (status != ALG_STATUS_OK) continue;
    ASSERT_EQ(count, 10 * (n - 1) + 1);
    for (std::size_t i = 0; i < count; ++i)
      EXPECT_TRUE(std::isfinite(derivative[i])) << n << ' ' << i;
    alg_darray_release(&grid);
    alg_darray_release(&derivative);
  }
}

// The spline needs three knots and the grid three abscissae; the grid
// writes exactly (n - 1) * factor + 1 values.
TEST(Bounds, SplineAndGridMinimumSizes) {
  for (std::size_t n = 0; n <= 3; ++n) {
    const Exact<double> x(range(0, 1, n)), y(range(5, -1, n)), xq(Values{0.5, 2});
    Exact<double> yq(2, kGuard);
    const int spline = alg_cubic_interpolation(x.data(), y.data(), n, xq.data(), yq.data(), 2);
    EXPECT_TRUE(refused(spline, n < 3 ? 10 : 0, n < 3 ? msg::kTooFewKnots : "")) << n;
    EXPECT_EQ(unchanged(yq), n < 3);
    for (std::int64_t factor : {0, 1, 3}) {
      Exact<double> out(n < 3 ? 1 : (n - 1) * factor + 1, kGuard);
      const int grid = alg_interpolation_x(x.data(), n, factor, out.data());
      EXPECT_TRUE(refused(grid, n < 3 ? 10 : 0, n < 3 ? msg::kTooFewGridValues : "")) << n;
      EXPECT_EQ(out[out.size() - 1], n < 3 ? kGuard : 2.0);
    }
  }
  const Exact<double> x(Values{0, 1, 2});
  EXPECT_EQ(alg_cubic_interpolation(x.data(), x.data(), 3, nullptr, nullptr, 0), ALG_STATUS_OK);
}

// Every other export at the exact sizes it is told: arrays of 0 elements
// passed as NULL, a one-window curve, records and parameter blocks on the
// heap at their own size, and NULL arrays with a count refused unread.
TEST(Bounds, EveryOtherExportAtExactSizes) {
  Exact<LinearFit> fit(1, LinearFit{kGuard, kGuard, kGuard, kGuard});
  EXPECT_EQ(alg_run_smooth(nullptr, 0), 0);
  EXPECT_EQ(alg_super_smooth(nullptr, 0, 3), 0);
  EXPECT_EQ(alg_sigmoid(nullptr, nullptr, 0), 0);
  EXPECT_EQ(alg_sigmoid_batch_calc_ct(nullptr, 0, 0, nullptr), 0);
  EXPECT_EQ(alg_melting_normalization(nullptr, 0), 0);
  EXPECT_EQ(alg_calc_standard(nullptr, 0, nullptr, 0, fit.data()), 0);
  EXPECT_TRUE(std::isnan(fit[0].slope));
  Exact<double> result(1, kGuard);
  EXPECT_EQ(alg_sample_data_fitting(nullptr, 0, result.data()), 10);
  EXPECT_TRUE(unchanged(result));
  EXPECT_EQ(alg_increasing(0, 1, 0, nullptr), 10);
  Set s({}, {}, {});
  EXPECT_EQ(alg_set_gausscoeff_data(s.h, 0, nullptr, 0, nullptr, 0, nullptr), 0);
  EXPECT_EQ(newSet([](GaussCoeff** out) {
              return alg_mgf_local_max_value_id_origin(nullptr, 0, nullptr, 0, out);
            }),
            0);

  // One five-point window; a half-width beyond the curve; three samples.
  Exact<double> six(range(1, 1, 6)), one(Values{7});
  EXPECT_EQ(alg_run_smooth(six.data(), 6), 0);
  EXPECT_EQ(six[5], 6.0);
  EXPECT_EQ(alg_super_smooth(six.data(), 6, 100), 0);
  EXPECT_EQ(alg_super_smooth(one.data(), 1, 1), 0);
  EXPECT_EQ(one[0], 7.0);
  EXPECT_EQ(alg_sample_data_fitting(six.data(), 3, result.data()), 0);
  const Exact<double> params(Values{100, 20, 1});
  Exact<double> xs(Values{19, 20, 21});
  EXPECT_EQ(alg_sigmoid(params.data(), xs.data(), 3), 0);
  EXPECT_EQ(xs[1], 50.0);
  Exact<WellCurveInfo> records(2, zeroRecord());
  records[1].sigmoidTop = 1000, records[1].sigmoidMid = 25, records[1].sigmoidRate = 0.5;
  Exact<double> cts(2, kGuard);
  EXPECT_EQ(alg_sigmoid_batch_calc_ct(records.data(), 2, 0, cts.data()), 0);
  EXPECT_TRUE(std::isnan(cts[0]) && std::isfinite(cts[1]));
  Exact<WellCurveInfo> record(1, zeroRecord());
  EXPECT_EQ(test_fitting_result(record.data()), 10);

  // A NULL array with a count is refused before anything is written.
  Exact<double> out(3, kGuard);
  EXPECT_TRUE(refused(alg_run_smooth(nullptr, 3), 10, msg::kNullData));
  EXPECT_TRUE(refused(alg_cubic_interpolation(nullptr, out.data(), 3, out.data(), out.data(), 1),
                      10, msg::kNullData));
  EXPECT_TRUE(refused(alg_interpolation_x(nullptr, 3, 1, out.data()), 10, msg::kNullData));
  EXPECT_TRUE(
      refused(alg_calc_standard(out.data(), 3, nullptr, 3, fit.data()), 10, msg::kNullData));
  EXPECT_TRUE(refused(alg_set_gausscoeff_data(s.h, 0, nullptr, 2, nullptr, 0, nullptr), 10,
                      msg::kNullData));
  EXPECT_TRUE(unchanged(out));
}

}  // namespace
}  // namespace corvel::robust
