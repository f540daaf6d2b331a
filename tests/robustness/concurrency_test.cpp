// Every export called from several threads at once, each thread on its own
// data, with the results compared bit for bit against a single-threaded run
// of the same data; a second test has the threads share read-only inputs and
// handles. Built with ThreadSanitizer (preset tsan), the program also shows
// that concurrent calls share nothing but the last-error buffer.
//
// The last-error buffer is the one documented exception: a single
// process-wide array that every status-returning export empties on entry and
// fills on failure, without a lock. Threads calling at the same time write it
// at the same time; tests/robustness/tsan.supp suppresses exactly those
// writes and nothing else. Reading the buffer while another thread may write
// it would be a race of the reader, so the concurrent phases never call
// get_last_error(): messages are read and checked only in the single-threaded
// runs before and after them.
//
// The workers make no GoogleTest assertions (the framework's own state is not
// theirs to share); each collects what went wrong and the main thread reports
// it after joining them.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "CorvelAlg.h"

namespace corvel {
namespace {

using Values = std::vector<double>;

constexpr std::size_t kThreads = 6;
constexpr double kGuard = -9.87654321e300;  // what an untouched output holds
constexpr std::size_t kGuardCount = 777;
// What an out-pointer points to before a call that must not write it; the
// library never writes through it, only the address matters.
double gGuardCell = kGuard;

// The messages checked word for word in the single-threaded runs, in code
// page 936 as the library stores them.
// "length 长度必需大于0" (the length must be greater than 0)
constexpr char kLengthMessage[] =
    "length \xb3\xa4\xb6\xc8\xb1\xd8\xd0\xe8\xb4\xf3\xd3\xda"
    "0";
// "数组过少无法操作。" (too few values to operate on)
constexpr char kTooFewValuesMessage[] =
    "\xca\xfd\xd7\xe9\xb9\xfd\xc9\xd9\xce\xde\xb7\xa8\xb2\xd9\xd7\xf7\xa1\xa3";
// "数组长度应该大于等于3。" (the array length must be at least 3)
constexpr char kTooFewKnotsMessage[] =
    "\xca\xfd\xd7\xe9\xb3\xa4\xb6\xc8\xd3\xa6\xb8\xc3\xb4\xf3\xd3\xda\xb5\xc8\xd3\xda"
    "3\xa1\xa3";
// "ctCount 不能小于 wellCount。" (ctCount cannot be smaller than wellCount)
constexpr char kCtCountMessage[] = "ctCount \xb2\xbb\xc4\xdc\xd0\xa1\xd3\xda wellCount\xa1\xa3";
// "参数错误。" (parameter error)
constexpr char kParameterMessage[] = "\xb2\xce\xca\xfd\xb4\xed\xce\xf3\xa1\xa3";
// "输入参数错误。" (input parameter error)
constexpr char kInputParameterMessage[] =
    "\xca\xe4\xc8\xeb\xb2\xce\xca\xfd\xb4\xed\xce\xf3\xa1\xa3";
// "温度数据不能小于4个。" (fewer than 4 temperature values)
constexpr char kTooFewTemperaturesMessage[] =
    "\xce\xc2\xb6\xc8\xca\xfd\xbe\xdd\xb2\xbb\xc4\xdc\xd0\xa1\xd3\xda"
    "4\xb8\xf6\xa1\xa3";
// "GaussCoeff 数据无效。" (the GaussCoeff data is invalid)
constexpr char kGaussCoeffMessage[] = "GaussCoeff \xca\xfd\xbe\xdd\xce\xde\xd0\xa7\xa1\xa3";
// "峰值小于零" (the peak value is less than zero)
constexpr char kPeakBelowZeroMessage[] = "\xb7\xe5\xd6\xb5\xd0\xa1\xd3\xda\xc1\xe3";
// "数据不能为空。" (the data must not be empty)
constexpr char kNullDataMessage[] = "\xca\xfd\xbe\xdd\xb2\xbb\xc4\xdc\xce\xaa\xbf\xd5\xa1\xa3";
constexpr char kBadArrayNewLength[] = "bad array new length";

// ---------------------------------------------------------------------------
// What a run produced
// ---------------------------------------------------------------------------

struct Entry {
  const char* what;
  std::vector<unsigned char> bytes;
};

// Everything one run of a workload produced, in call order: statuses,
// records, caller buffers, result arrays and handle contents as raw bytes,
// so that two runs compare bit for bit (NaN payloads and signed zeros
// included). Failed checks are collected as text.
class Trace {
 public:
  explicit Trace(bool readMessages) : readMessages_(readMessages) {}

  bool readsMessages() const { return readMessages_; }

  void bytes(const char* what, const void* data, std::size_t size) {
    const auto* p = static_cast<const unsigned char*>(data);
    entries.push_back({what, std::vector<unsigned char>(p, p + size)});
  }
  template <typename T>
  void value(const char* what, const T& v) {
    bytes(what, &v, sizeof v);
  }
  void doubles(const char* what, const double* values, std::size_t count) {
    bytes(what, values, count * sizeof(double));
  }
  void doubles(const char* what, const Values& values) {
    doubles(what, values.data(), values.size());
  }

  // Records the status of a call, labelled with the export's name, and
  // checks it. A single-threaded run also reads the message the call left:
  // "" after a success; after a failure `message` when given, otherwise any
  // non-empty text. Concurrent runs do not touch the buffer at all.
  int status(const char* exportName, int status, int expected = ALG_STATUS_OK,
             const char* message = nullptr) {
    value(exportName, status);
    if (status != expected) {
      fail(std::string(exportName) + " returned " + std::to_string(status) + ", expected " +
           std::to_string(expected));
    }
    if (readMessages_) {
      const std::string text = get_last_error();
      messages.push_back(text);
      const bool ok = expected == ALG_STATUS_OK ? text.empty()
                      : message != nullptr      ? text == message
                                                : !text.empty() && text.size() < 256;
      if (!ok) fail(std::string(exportName) + " left the message \"" + text + "\"");
    }
    return status;
  }

  void check(bool ok, const char* what) {
    if (!ok) fail(what);
  }
  void fail(const std::string& what) { problems.push_back(what); }

  std::vector<Entry> entries;
  std::vector<std::string> messages;  // single-threaded runs only
  std::vector<std::string> problems;

 private:
  bool readMessages_;
};

// "" when two runs agree bit for bit, otherwise where they first part.
std::string firstDifference(const Trace& got, const Trace& want) {
  const std::size_t n = std::min(got.entries.size(), want.entries.size());
  for (std::size_t i = 0; i < n; ++i) {
    const Entry& a = got.entries[i];
    const Entry& b = want.entries[i];
    if (std::strcmp(a.what, b.what) != 0) {
      return "entry " + std::to_string(i) + " is " + a.what + " instead of " + b.what;
    }
    if (a.bytes.size() != b.bytes.size() ||
        (!a.bytes.empty() && std::memcmp(a.bytes.data(), b.bytes.data(), a.bytes.size()) != 0)) {
      return "entry " + std::to_string(i) + " (" + a.what + ") differs";
    }
  }
  if (got.entries.size() != want.entries.size()) {
    return std::to_string(got.entries.size()) + " entries instead of " +
           std::to_string(want.entries.size());
  }
  return "";
}

// ---------------------------------------------------------------------------
// Reading results back
// ---------------------------------------------------------------------------

// Records a result array handed out by the library and releases it.
void takeArray(Trace& t, const char* what, double*& block, std::size_t count) {
  t.check(block != nullptr, "a result array is null");
  if (block != nullptr) t.doubles(what, block, count);
  t.status("alg_darray_release", alg_darray_release(&block));
  t.check(block == nullptr, "alg_darray_release left the pointer");
}

// Records the three arrays of a set, read back through the library, and
// returns them (amplitudes, centres, widths).
std::vector<Values> readSet(Trace& t, const char* what, const GaussCoeff* set) {
  std::vector<Values> arrays(3);
  std::size_t n[3] = {kGuardCount, kGuardCount, kGuardCount};
  double* a[3] = {nullptr, nullptr, nullptr};
  if (t.status("alg_get_gausscoeff_data",
               alg_get_gausscoeff_data(set, &n[0], &a[0], &n[1], &a[1], &n[2], &a[2])) != 0) {
    return arrays;
  }
  t.value(what, n);
  for (int i = 0; i < 3; ++i) {
    t.check((a[i] == nullptr) == (n[i] == 0), "a set array is null exactly for length 0");
    if (a[i] != nullptr) {
      arrays[i].assign(a[i], a[i] + n[i]);
      takeArray(t, what, a[i], n[i]);
    }
  }
  return arrays;
}

// Checks that a failed call left an output pointer and its count alone.
void expectUntouched(Trace& t, const double* block, std::size_t count, const double* guard) {
  t.check(block == guard && count == kGuardCount, "a failed call wrote its out-parameters");
}

bool allGuards(const Values& v, std::size_t from = 0) {
  return std::all_of(v.begin() + static_cast<std::ptrdiff_t>(from), v.end(),
                     [](double x) { return std::memcmp(&x, &kGuard, sizeof x) == 0; });
}

// Releases a set or model, which must leave the caller's variable null.
template <typename Handle, typename Release>
void release(Trace& t, const char* exportName, Release releaseFn, Handle*& handle) {
  t.status(exportName, releaseFn(&handle));
  t.check(handle == nullptr, "a release left the handle");
}

// ---------------------------------------------------------------------------
// Per-thread data
// ---------------------------------------------------------------------------

// A small deterministic generator: the same seed gives the same data in the
// reference run and in the concurrent one.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  double uniform(double lo, double hi) {
    const double u = static_cast<double>(engine_() >> 11) * 0x1.0p-53;
    return lo + (hi - lo) * u;
  }

 private:
  std::mt19937_64 engine_;
};

// The inputs of one thread: a plate of amplification curves, curves to
// smooth and interpolate, a dilution series and a replicate layout, a
// melting curve and a set of melting peaks, all drawn from the seed.
struct Inputs {
  std::size_t wells = 0;
  std::size_t cycles = 40;
  Values plate;  // wells * cycles, well-major
  Values sigmoidParams, sigmoidX, samples;
  Values noisy;
  std::uint32_t halfWidth = 1;
  Values knotX, knotY, queries;
  Values gridX;
  std::int64_t factor = 1;
  double start = 0, step = 0;
  std::size_t progression = 0;
  Values dilution, standardCt;
  Values replicatesCt, replicatesQuantity, shortReplicates;
  std::int32_t confidenceIndex = 0, sdMultiple = 1;
  double calibrator = 0;
  Values temperatures, fluorescence;
  Values peakX, amplitudes, centers, widths;
  double peakWidth = 0.8;
  FilterLimits limits{};
};

Inputs makeInputs(std::uint64_t seed) {
  Random r(seed * 7919 + 17);
  Inputs in;
  in.wells = 6 + seed % 5;
  for (std::size_t w = 0; w < in.wells; ++w) {
    const double base = r.uniform(700, 1300), slope = r.uniform(-2, 4);
    const bool rises = w % 4 != 3;  // every fourth well stays flat: a NaN Ct
    const double top = rises ? r.uniform(3000, 9000) : 0.0;
    const double mid = r.uniform(17, 30), scale = r.uniform(1.2, 2.0);
    for (std::size_t c = 1; c <= in.cycles; ++c) {
      const double x = static_cast<double>(c);
      in.plate.push_back(base + slope * x + top / (1 + std::exp(-(x - mid) / scale)) +
                         r.uniform(-8, 8));
    }
  }
  in.sigmoidParams = {r.uniform(50, 150), r.uniform(15, 25), r.uniform(0.5, 1.5)};
  for (int i = 0; i < 12; ++i) in.sigmoidX.push_back(10.0 + 1.5 * i + r.uniform(0, 1));
  const double vertex = r.uniform(3, 9), peak = r.uniform(80, 120);
  for (int i = 1; i <= 11; ++i) {
    in.samples.push_back(peak - (i - vertex) * (i - vertex) + r.uniform(-0.5, 0.5));
  }

  for (int i = 0; i < 33; ++i) in.noisy.push_back(std::sin(0.3 * i) * 50 + r.uniform(-10, 10));
  in.halfWidth = static_cast<std::uint32_t>(1 + seed % 4);
  double x = r.uniform(0, 2);
  for (int i = 0; i < 12; ++i) {
    in.knotX.push_back(x);
    in.knotY.push_back(std::cos(x) * 10 + r.uniform(-1, 1));
    x += r.uniform(0.5, 1.5);
  }
  for (int i = 0; i < 40; ++i) in.queries.push_back(r.uniform(-1, x + 1));
  in.gridX = {r.uniform(50, 60), 0, 0, 0, r.uniform(90, 95)};
  in.factor = static_cast<std::int64_t>(5 + seed % 7);
  in.start = r.uniform(-5, 5);
  in.step = r.uniform(0.01, 0.7);
  in.progression = 20 + seed % 9;

  const double efficiencySlope = r.uniform(-3.6, -3.1), intercept = r.uniform(35, 40);
  for (int i = 0; i < 6; ++i) {
    in.dilution.push_back(1.0 + i);
    in.standardCt.push_back(intercept + efficiencySlope * (1.0 + i) + r.uniform(-0.2, 0.2));
  }
  // N0 target values, M genes, then (q, q values) per gene.
  const double target = r.uniform(20, 28);
  in.replicatesCt = {3, target + r.uniform(-0.3, 0.3), target + r.uniform(-0.3, 0.3),
                     target + r.uniform(-0.3, 0.3), 2};
  for (int gene = 0; gene < 2; ++gene) {
    const double centre = r.uniform(15, 19);
    in.replicatesCt.push_back(3);
    for (int k = 0; k < 3; ++k) in.replicatesCt.push_back(centre + r.uniform(-0.3, 0.3));
  }
  in.replicatesQuantity = {2, r.uniform(2, 5), r.uniform(2, 5), 1, 3};
  for (int k = 0; k < 3; ++k) in.replicatesQuantity.push_back(r.uniform(3, 4));
  in.shortReplicates = {1, target, 1, target + 1};
  in.confidenceIndex = static_cast<std::int32_t>(seed % 6);
  in.sdMultiple = static_cast<std::int32_t>(1 + seed % 3);
  in.calibrator = r.uniform(-2, 8);

  const double tm = r.uniform(78, 86), width = r.uniform(0.8, 1.6), drop = r.uniform(600, 1500);
  for (int i = 0; i < 41; ++i) {
    const double t = 70.0 + 0.5 * i;
    in.temperatures.push_back(t);
    in.fluorescence.push_back(200 + drop / (1 + std::exp((t - tm) / width)) + r.uniform(-2, 2));
  }

  for (int i = 0; i <= 150; ++i) in.peakX.push_back(65.0 + 0.1 * i);
  in.amplitudes = {r.uniform(3, 6), r.uniform(2, 4)};
  in.centers = {r.uniform(69, 71), r.uniform(73.5, 75)};
  in.widths = {r.uniform(0.6, 0.9), r.uniform(0.5, 0.7)};
  in.peakWidth = r.uniform(0.7, 0.9);
  in.limits = {0.5, 10.0, 0.2};
  return in;
}

// ---------------------------------------------------------------------------
// The workload: every export, with its documented failures
// ---------------------------------------------------------------------------

void runAmplification(const Inputs& in, Trace& t) {
  const std::size_t w = in.wells, c = in.cycles;
  std::vector<WellCurveInfo> infos(w);
  std::memset(infos.data(), 0, w * sizeof(WellCurveInfo));
  double threshold = kGuard;
  t.status("alg_calc_threshold",
           alg_calc_threshold(infos.data(), w, in.plate.data(), w, c, &threshold));
  t.value("threshold", threshold);
  t.bytes("records", infos.data(), w * sizeof(WellCurveInfo));

  Values curves(w * c + 1, kGuard), cts(w + 3, kGuard);
  t.status("alg_linear_batch_calc_ct",
           alg_linear_batch_calc_ct(infos.data(), w + 2, threshold, in.plate.data(), w, c,
                                    curves.data(), cts.data()));
  t.check(allGuards(curves, w * c) && allGuards(cts, w + 2), "written past the Ct outputs");
  // Rising wells cross the threshold, flat ones never do.
  for (std::size_t i = 0; i < w; ++i) {
    t.check(std::isnan(cts[i]) == (i % 4 == 3), "a Ct is NaN exactly for the flat wells");
  }
  t.doubles("curves", curves);
  t.doubles("cts", cts);
  t.bytes("records", infos.data(), w * sizeof(WellCurveInfo));

  Values sigmoidCts(w + 1, kGuard);
  t.status("alg_sigmoid_batch_calc_ct",
           alg_sigmoid_batch_calc_ct(infos.data(), w, 0, sigmoidCts.data()));
  t.check(allGuards(sigmoidCts, w), "written past the sigmoid Cts");
  for (std::size_t i = 0; i < w; i += 4) {
    t.check(std::fabs(sigmoidCts[i] - cts[i]) < 3, "sigmoid and linear Cts far apart");
  }
  t.doubles("sigmoid cts", sigmoidCts);

  // Caller-given baseline windows on every other well.
  std::vector<WellCurveInfo> given(w);
  std::memset(given.data(), 0, w * sizeof(WellCurveInfo));
  for (std::size_t i = 0; i < w; i += 2) {
    given[i].baselineStart = 3;
    given[i].baselineEnd = 12;
  }
  t.status("alg_calc_threshold",
           alg_calc_threshold(given.data(), w, in.plate.data(), w, c, &threshold));
  t.value("threshold", threshold);
  t.status("alg_linear_batch_calc_ct",
           alg_linear_batch_calc_ct(given.data(), w, threshold, in.plate.data(), w, c,
                                    curves.data(), cts.data()));
  t.doubles("cts", cts);
  t.bytes("records", given.data(), w * sizeof(WellCurveInfo));

  // Refusals: a curve too short, a Ct buffer too small.
  std::vector<WellCurveInfo> fresh(w);
  std::memset(fresh.data(), 0, w * sizeof(WellCurveInfo));
  double untouched = kGuard;
  t.status("alg_calc_threshold",
           alg_calc_threshold(fresh.data(), w, in.plate.data(), w, 8, &untouched),
           ALG_STATUS_OUT_OF_RANGE);
  t.check(std::memcmp(&untouched, &kGuard, sizeof kGuard) == 0, "threshold written on failure");
  t.bytes("records", fresh.data(), w * sizeof(WellCurveInfo));
  Values curves2(w * c, kGuard), cts2(w, kGuard);
  t.status("alg_linear_batch_calc_ct",
           alg_linear_batch_calc_ct(fresh.data(), w - 1, 100.0, in.plate.data(), w, c,
                                    curves2.data(), cts2.data()),
           ALG_STATUS_INVALID_ARGUMENT, kCtCountMessage);
  t.check(allGuards(curves2) && allGuards(cts2), "Ct outputs written on failure");
  t.bytes("records", fresh.data(), w * sizeof(WellCurveInfo));

  Values x = in.sigmoidX;
  t.status("alg_sigmoid", alg_sigmoid(in.sigmoidParams.data(), x.data(), x.size()));
  t.doubles("sigmoid", x);

  double vertex = kGuard;
  t.status("alg_sample_data_fitting",
           alg_sample_data_fitting(in.samples.data(), in.samples.size(), &vertex));
  t.value("vertex", vertex);
  double none = kGuard;
  t.status("alg_sample_data_fitting", alg_sample_data_fitting(in.samples.data(), 2, &none),
           ALG_STATUS_INVALID_ARGUMENT);
  t.check(std::memcmp(&none, &kGuard, sizeof none) == 0, "vertex written on failure");

  // The layout self-test never touches the last-error buffer: the message of
  // the refusal just above must survive it.
  const std::string before = t.readsMessages() ? get_last_error() : "";
  WellCurveInfo record;
  unsigned char* const bytes = reinterpret_cast<unsigned char*>(&record);
  std::memset(bytes, 0xee, sizeof record);
  record.steepestIndex = 1.1;
  record.crossingRatio = 2.2;
  record.reserved1 = 3.3;
  record.stepRise = 4.4;
  const double ramp[8] = {0, 1, 2, 3, 4, 5, 6, 7};
  std::memcpy(bytes + offsetof(WellCurveInfo, maxSlope), ramp, sizeof ramp);
  record.baselineStart = 1;
  record.baselineEnd = 2;
  record.reservedShort = 3;
  record.baselineNoise = 5.5;
  const unsigned char flags[8] = {1, 0, 1, 0, 1, 0, 1, 0};
  std::memcpy(bytes + offsetof(WellCurveInfo, lowSignal), flags, sizeof flags);
  const int first = test_fitting_result(&record);
  const int second = test_fitting_result(&record);  // now doubled: refused
  t.value("test_fitting_result", first);
  t.value("test_fitting_result", second);
  t.check(first == ALG_STATUS_OK && second == ALG_STATUS_INVALID_ARGUMENT,
          "test_fitting_result statuses");
  t.bytes("layout record", &record, sizeof record);
  if (t.readsMessages()) {
    t.check(before == get_last_error() && !before.empty(),
            "test_fitting_result changed the last error");
  }
}

void runSignal(const Inputs& in, Trace& t) {
  Values v = in.noisy;
  t.status("alg_run_smooth", alg_run_smooth(v.data(), v.size()));
  t.doubles("run smooth", v);
  v = in.noisy;
  t.status("alg_super_smooth", alg_super_smooth(v.data(), v.size(), in.halfWidth));
  t.doubles("super smooth", v);

  const std::size_t n = in.knotX.size(), m = in.queries.size();
  Values yq(m + 1, kGuard);
  t.status("alg_cubic_interpolation", alg_cubic_interpolation(in.knotX.data(), in.knotY.data(), n,
                                                              in.queries.data(), yq.data(), m));
  t.check(allGuards(yq, m), "written past the spline values");
  t.doubles("spline", yq);
  Values none(m, kGuard);
  t.status("alg_cubic_interpolation",
           alg_cubic_interpolation(in.knotX.data(), in.knotY.data(), 2, in.queries.data(),
                                   none.data(), m),
           ALG_STATUS_INVALID_ARGUMENT, kTooFewKnotsMessage);
  t.check(allGuards(none), "spline values written on failure");

  const std::size_t points = (in.gridX.size() - 1) * static_cast<std::size_t>(in.factor) + 1;
  Values grid(points + 1, kGuard);
  t.status("alg_interpolation_x",
           alg_interpolation_x(in.gridX.data(), in.gridX.size(), in.factor, grid.data()));
  t.check(allGuards(grid, points), "written past the grid");
  t.doubles("grid", grid);
  Values noGrid(points, kGuard);
  t.status("alg_interpolation_x", alg_interpolation_x(in.gridX.data(), 2, 3, noGrid.data()),
           ALG_STATUS_INVALID_ARGUMENT, kTooFewValuesMessage);
  t.status("alg_interpolation_x",
           alg_interpolation_x(in.gridX.data(), in.gridX.size(), -1, noGrid.data()),
           ALG_STATUS_FAILURE, kBadArrayNewLength);
  t.check(allGuards(noGrid), "grid written on failure");

  Values progression(in.progression + 1, kGuard);
  t.status("alg_increasing", alg_increasing(in.start, in.step, in.progression, progression.data()));
  t.check(allGuards(progression, in.progression), "written past the progression");
  t.doubles("progression", progression);
  t.status("alg_increasing", alg_increasing(in.start, in.step, 0, progression.data()),
           ALG_STATUS_INVALID_ARGUMENT, kLengthMessage);
}

void runQuantification(const Inputs& in, Trace& t) {
  LinearFit fit;
  std::memset(&fit, 0, sizeof fit);
  t.status("alg_calc_standard",
           alg_calc_standard(in.dilution.data(), in.dilution.size(), in.standardCt.data(),
                             in.standardCt.size(), &fit));
  t.value("standard curve", fit);
  LinearFit untouched{kGuard, kGuard, kGuard, kGuard};
  t.status("alg_calc_standard",
           alg_calc_standard(in.dilution.data(), in.dilution.size(), in.standardCt.data(),
                             in.standardCt.size() - 1, &untouched),
           ALG_STATUS_INVALID_ARGUMENT);
  t.check(untouched.slope == kGuard && untouched.rSquared == kGuard, "fit written on failure");

  const std::int32_t ctMode = 1, quantityMode = 2;
  double* summary = nullptr;
  std::size_t summaryCount = 0;
  if (t.status("alg_calc_sd", alg_calc_sd(&ctMode, in.replicatesCt.data(), in.replicatesCt.size(),
                                          &summary, &summaryCount)) != 0) {
    return;
  }
  t.value("summary count", summaryCount);
  t.doubles("summary", summary, summaryCount);

  RqResult rq;
  const RqOptions tBars{1, 1, 1, in.confidenceIndex, 0};
  const RqOptions sdBars{1, 1, 2, 0, in.sdMultiple};
  std::memset(&rq, 0, sizeof rq);
  t.status("alg_calc_rq", alg_calc_rq(&tBars, summary, summaryCount, in.calibrator, &rq));
  t.value("rq", rq);
  std::memset(&rq, 0, sizeof rq);
  t.status("alg_calc_rq", alg_calc_rq(&sdBars, summary, summaryCount, in.calibrator, &rq));
  t.value("rq", rq);
  // Refusals: an unknown error bar, a confidence index out of the table,
  // too few replicates for the t table, a summary too short.
  const RqOptions unknownBars{1, 1, 3, 0, 1};
  const RqOptions badConfidence{1, 1, 1, 6, 0};
  const RqResult guards{kGuard, kGuard, kGuard, kGuard, kGuard, kGuard, kGuard};
  rq = guards;
  t.status("alg_calc_rq", alg_calc_rq(&unknownBars, summary, summaryCount, in.calibrator, &rq),
           ALG_STATUS_INVALID_ARGUMENT);
  t.value("rq", rq);
  rq = guards;
  t.status("alg_calc_rq", alg_calc_rq(&badConfidence, summary, summaryCount, in.calibrator, &rq),
           ALG_STATUS_OUT_OF_RANGE);
  t.value("rq", rq);
  Values few(summary, summary + summaryCount);
  few[3] = 3;
  rq = guards;
  t.status("alg_calc_rq", alg_calc_rq(&tBars, few.data(), few.size(), in.calibrator, &rq),
           ALG_STATUS_OUT_OF_RANGE, kParameterMessage);
  t.check(rq.lower == kGuard && rq.upper == kGuard, "error bar written on failure");
  t.value("rq", rq);
  rq = guards;
  t.status("alg_calc_rq", alg_calc_rq(&tBars, summary, 3, in.calibrator, &rq),
           ALG_STATUS_INVALID_ARGUMENT);
  t.check(std::memcmp(&rq, &guards, sizeof rq) == 0, "short summary: result written");
  takeArray(t, "summary", summary, summaryCount);

  if (t.status("alg_calc_sd", alg_calc_sd(&quantityMode, in.replicatesQuantity.data(),
                                          in.replicatesQuantity.size(), &summary, &summaryCount)) ==
      0) {
    const RqOptions quantityBars{2, 2, 2, 0, in.sdMultiple};
    std::memset(&rq, 0, sizeof rq);
    t.status("alg_calc_rq", alg_calc_rq(&quantityBars, summary, summaryCount, 1.5, &rq));
    t.value("rq", rq);
    takeArray(t, "summary", summary, summaryCount);
  }
  double* const guardBlock = &gGuardCell;
  double* block = guardBlock;
  std::size_t count = kGuardCount;
  t.status(
      "alg_calc_sd",
      alg_calc_sd(&ctMode, in.shortReplicates.data(), in.shortReplicates.size(), &block, &count),
      ALG_STATUS_INVALID_ARGUMENT, kInputParameterMessage);
  expectUntouched(t, block, count, guardBlock);
}

void runMelting(const Inputs& in, Trace& t) {
  std::size_t count = 0;
  double* grid = nullptr;
  double* derivative = nullptr;
  if (t.status("alg_melting", alg_melting(in.temperatures.size(), in.temperatures.data(),
                                          in.fluorescence.data(), &count, &grid, &derivative)) !=
      0) {
    return;
  }
  t.value("melting count", count);
  Values d(derivative, derivative + count);
  takeArray(t, "melting grid", grid, count);
  takeArray(t, "derivative", derivative, count);
  t.status("alg_melting_normalization", alg_melting_normalization(d.data(), d.size()));
  t.doubles("normalized", d);

  double* const guard = &gGuardCell;
  double* g = guard;
  double* dd = guard;
  std::size_t n = kGuardCount;
  t.status("alg_melting",
           alg_melting(3, in.temperatures.data(), in.fluorescence.data(), &n, &g, &dd),
           ALG_STATUS_INVALID_ARGUMENT, kTooFewTemperaturesMessage);
  expectUntouched(t, g, n, guard);
  t.check(dd == guard, "alg_melting wrote the derivative on failure");
}

void runPeaks(const Inputs& in, Trace& t) {
  const std::size_t n = in.peakX.size();
  const MgfOptions options{0, 0, in.peakWidth, 0, 0.0};
  GaussCoeff* truth = nullptr;
  t.status("alg_create_gausscoeff", alg_create_gausscoeff(&truth));
  t.status(
      "alg_set_gausscoeff_data",
      alg_set_gausscoeff_data(truth, in.amplitudes.size(), in.amplitudes.data(), in.centers.size(),
                              in.centers.data(), in.widths.size(), in.widths.data()));
  readSet(t, "truth", truth);

  // The curve of the true peaks, then a model of it.
  const Values zeros(n, 0.0);
  MgfModel* flat = nullptr;
  t.status("alg_mgf_create", alg_mgf_create(in.peakX.data(), n, zeros.data(), n, &options, &flat));
  double* curve = nullptr;
  std::size_t curveCount = 0;
  t.status("alg_mgf_multi_gauss", alg_mgf_multi_gauss(flat, truth, &curve, &curveCount));
  const Values y = curve != nullptr ? Values(curve, curve + curveCount) : Values(n, 0.0);
  takeArray(t, "curve", curve, curveCount);
  MgfModel* model = nullptr;
  t.status("alg_mgf_create", alg_mgf_create(in.peakX.data(), n, y.data(), n, &options, &model));

  // Detect, fit, filter, synthesize.
  GaussCoeff* start = nullptr;
  t.status("alg_mgf_local_max_value_id", alg_mgf_local_max_value_id(model, &start));
  readSet(t, "start peaks", start);
  t.status("alg_mgf_solve", alg_mgf_solve(model, start));
  readSet(t, "fitted peaks", start);
  GaussCoeff* kept = nullptr;
  t.status("alg_mgf_coeff_filter", alg_mgf_coeff_filter(&in.limits, start, &kept));
  // The fit of a noise-free curve finds the true peaks again.
  const std::vector<Values> found = readSet(t, "kept peaks", kept);
  t.check(found[1].size() == 2 && std::fabs(found[1][0] - in.centers[0]) < 0.01 &&
              std::fabs(found[1][1] - in.centers[1]) < 0.01 &&
              std::fabs(found[0][0] - in.amplitudes[0]) < 0.01,
          "the fitted peaks are not the true ones");
  GaussCoeff* fixed = nullptr;
  t.status("alg_mgf_local_max_value_id_origin",
           alg_mgf_local_max_value_id_origin(in.peakX.data(), n, y.data(), n, &fixed));
  readSet(t, "fixed-width peaks", fixed);
  MeltBackground background{kGuard, kGuard, kGuard};
  double* values = nullptr;
  std::size_t valueCount = 0;
  t.status("alg_mgf_melting_stimulate",
           alg_mgf_melting_stimulate(model, kept, &background, &values, &valueCount));
  t.value("background", background);
  takeArray(t, "synthetic curve", values, valueCount);
  t.status("alg_mgf_melting_stim_peak",
           alg_mgf_melting_stim_peak(model, kept, &background, &values, &valueCount));
  takeArray(t, "synthetic peaks", values, valueCount);

  // Refusals: a set whose counts differ (one amplitude for two centres), a
  // model whose counts differ, a curve below zero, too few abscissae,
  // missing handles.
  GaussCoeff* bad = nullptr;
  t.status("alg_create_gausscoeff", alg_create_gausscoeff(&bad));
  t.status("alg_set_gausscoeff_data",
           alg_set_gausscoeff_data(bad, 1, in.amplitudes.data(), 2, in.centers.data(), 2,
                                   in.widths.data()));
  double* const guard = &gGuardCell;
  double* block = guard;
  std::size_t count = kGuardCount;
  t.status("alg_mgf_multi_gauss", alg_mgf_multi_gauss(model, bad, &block, &count),
           ALG_STATUS_INVALID_ARGUMENT, kGaussCoeffMessage);
  expectUntouched(t, block, count, guard);
  t.status("alg_mgf_solve", alg_mgf_solve(model, bad), ALG_STATUS_INVALID_ARGUMENT,
           kGaussCoeffMessage);
  readSet(t, "unchanged set", bad);
  GaussCoeff* const handleGuard = reinterpret_cast<GaussCoeff*>(guard);
  GaussCoeff* out = handleGuard;
  t.status("alg_mgf_coeff_filter", alg_mgf_coeff_filter(&in.limits, bad, &out),
           ALG_STATUS_INVALID_ARGUMENT, kGaussCoeffMessage);
  t.check(out == handleGuard, "alg_mgf_coeff_filter wrote its handle on failure");

  MgfModel* skewed = nullptr;
  t.status("alg_mgf_create",
           alg_mgf_create(in.peakX.data(), n, y.data(), n - 1, &options, &skewed));
  MeltBackground untouched{kGuard, kGuard, kGuard};
  t.status("alg_mgf_melting_stimulate",
           alg_mgf_melting_stimulate(skewed, kept, &untouched, &block, &count),
           ALG_STATUS_INVALID_ARGUMENT);
  expectUntouched(t, block, count, guard);
  t.check(untouched.level == kGuard, "background written on failure");
  // Evaluated at the peak centres, the synthetic peaks need no grid: a
  // skewed model serves, a set short of amplitudes does not.
  t.status("alg_mgf_melting_stim_peak",
           alg_mgf_melting_stim_peak(skewed, kept, &background, &values, &valueCount));
  takeArray(t, "synthetic peaks", values, valueCount);
  t.status("alg_mgf_melting_stim_peak",
           alg_mgf_melting_stim_peak(model, bad, &background, &block, &count),
           ALG_STATUS_INVALID_ARGUMENT);
  expectUntouched(t, block, count, guard);
  t.status("alg_mgf_melting_stimulate",
           alg_mgf_melting_stimulate(model, bad, &untouched, &block, &count),
           ALG_STATUS_INVALID_ARGUMENT);
  expectUntouched(t, block, count, guard);
  t.check(untouched.level == kGuard, "background written on failure");

  Values below(n);
  for (std::size_t i = 0; i < n; ++i) below[i] = -1.0 - (i == n / 2 ? -0.5 : 0.01 * (i % 2));
  MgfModel* negative = nullptr;
  t.status("alg_mgf_create",
           alg_mgf_create(in.peakX.data(), n, below.data(), n, &options, &negative));
  t.status("alg_mgf_local_max_value_id", alg_mgf_local_max_value_id(negative, &out),
           ALG_STATUS_FAILURE, kPeakBelowZeroMessage);
  t.check(out == handleGuard, "alg_mgf_local_max_value_id wrote its handle on failure");
  t.status("alg_mgf_local_max_value_id_origin",
           alg_mgf_local_max_value_id_origin(in.peakX.data(), 10, y.data(), 11, &out),
           ALG_STATUS_INVALID_ARGUMENT);
  t.check(out == handleGuard, "alg_mgf_local_max_value_id_origin wrote its handle on failure");
  t.status("alg_create_gausscoeff", alg_create_gausscoeff(nullptr), ALG_STATUS_INVALID_ARGUMENT,
           kNullDataMessage);
  t.status("alg_set_gausscoeff_data",
           alg_set_gausscoeff_data(nullptr, 1, in.amplitudes.data(), 1, in.centers.data(), 1,
                                   in.widths.data()),
           ALG_STATUS_INVALID_ARGUMENT, kNullDataMessage);

  for (GaussCoeff** set : {&truth, &start, &kept, &fixed, &bad}) {
    release(t, "alg_gausscoeff_release", alg_gausscoeff_release, *set);
  }
  for (MgfModel** m : {&flat, &model, &skewed, &negative}) {
    release(t, "alg_mgf_release", alg_mgf_release, *m);
  }
  t.status("alg_gausscoeff_release", alg_gausscoeff_release(nullptr));
  t.status("alg_mgf_release", alg_mgf_release(nullptr));
  t.status("alg_darray_release", alg_darray_release(nullptr));
}

Trace runWorkload(const Inputs& in, bool readMessages) {
  Trace t(readMessages);
  const char* const v = version();
  t.check(v != nullptr && std::strcmp(v, CORVELALG_VERSION_STRING) == 0, "version");
  t.bytes("version", v, v != nullptr ? std::strlen(v) + 1 : 0);
  runAmplification(in, t);
  runSignal(in, t);
  runQuantification(in, t);
  runMelting(in, t);
  runPeaks(in, t);
  return t;
}

// ---------------------------------------------------------------------------
// Running threads together
// ---------------------------------------------------------------------------

// Starts `threads` workers, holds them at a barrier until all have started,
// so that their calls overlap, and joins them.
template <typename Work>
void runTogether(std::size_t threads, Work&& work) {
  std::atomic<std::size_t> waiting{threads};
  std::vector<std::thread> pool;
  pool.reserve(threads);
  for (std::size_t i = 0; i < threads; ++i) {
    pool.emplace_back([&waiting, &work, i] {
      waiting.fetch_sub(1);
      while (waiting.load() != 0) std::this_thread::yield();
      work(i);
    });
  }
  for (std::thread& thread : pool) thread.join();
}

// What one worker saw: the first difference from the reference and the
// failed checks of each run, at most a few of each.
struct Outcome {
  std::size_t runs = 0;
  std::vector<std::string> problems;
  void take(const Trace& got, const Trace& want) {
    ++runs;
    if (problems.size() > 8) return;
    const std::string difference = firstDifference(got, want);
    if (!difference.empty()) problems.push_back(difference);
    problems.insert(problems.end(), got.problems.begin(), got.problems.end());
  }
};

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += "\n  " + line;
  return text;
}

// The exports the workload must reach, get_last_error() aside (it is read
// in the single-threaded runs only).
const char* const kExports[] = {
    "alg_calc_rq",
    "alg_calc_sd",
    "alg_calc_standard",
    "alg_calc_threshold",
    "alg_create_gausscoeff",
    "alg_cubic_interpolation",
    "alg_darray_release",
    "alg_gausscoeff_release",
    "alg_get_gausscoeff_data",
    "alg_increasing",
    "alg_interpolation_x",
    "alg_linear_batch_calc_ct",
    "alg_melting",
    "alg_melting_normalization",
    "alg_mgf_coeff_filter",
    "alg_mgf_create",
    "alg_mgf_local_max_value_id",
    "alg_mgf_local_max_value_id_origin",
    "alg_mgf_melting_stim_peak",
    "alg_mgf_melting_stimulate",
    "alg_mgf_multi_gauss",
    "alg_mgf_release",
    "alg_mgf_solve",
    "alg_run_smooth",
    "alg_sample_data_fitting",
    "alg_set_gausscoeff_data",
    "alg_sigmoid",
    "alg_sigmoid_batch_calc_ct",
    "alg_super_smooth",
    "test_fitting_result",
    "version",
};

// Each thread runs the whole workload on its own data, over and over, while
// the others do the same; every run must equal the single-threaded one.
TEST(Concurrency, EveryExportOnDistinctData) {
  constexpr std::size_t kRuns = 20;
  std::vector<Inputs> inputs;
  std::vector<Trace> reference;
  for (std::size_t i = 0; i < kThreads; ++i) {
    inputs.push_back(makeInputs(i));
    reference.push_back(runWorkload(inputs.back(), true));
    ASSERT_TRUE(reference.back().problems.empty())
        << "thread " << i << joined(reference.back().problems);
  }
  for (const char* name : kExports) {
    EXPECT_TRUE(std::any_of(reference[0].entries.begin(), reference[0].entries.end(),
                            [&](const Entry& e) { return std::strcmp(e.what, name) == 0; }))
        << name << " is not called";
  }
  for (std::size_t i = 1; i < kThreads; ++i) {
    EXPECT_NE(firstDifference(reference[i], reference[0]), "") << "threads " << i << " and 0";
  }

  // The concurrent phase. No worker calls get_last_error(): reading the
  // buffer while other threads write it is a race by design.
  std::vector<Outcome> outcomes(kThreads);
  runTogether(kThreads, [&](std::size_t i) {
    for (std::size_t run = 0; run < kRuns; ++run) {
      outcomes[i].take(runWorkload(inputs[i], false), reference[i]);
    }
  });
  for (std::size_t i = 0; i < kThreads; ++i) {
    EXPECT_EQ(outcomes[i].runs, kRuns);
    EXPECT_TRUE(outcomes[i].problems.empty()) << "thread " << i << joined(outcomes[i].problems);
  }

  // Whatever the last concurrent writer left, the buffer holds a terminated
  // text; a single-threaded run then reads back the very same results and
  // messages as before.
  const char* const buffer = get_last_error();
  EXPECT_LT(std::find(buffer, buffer + ALG_LAST_ERROR_CAPACITY, '\0') - buffer,
            ALG_LAST_ERROR_CAPACITY);
  for (std::size_t i = 0; i < kThreads; ++i) {
    const Trace again = runWorkload(inputs[i], true);
    EXPECT_EQ(firstDifference(again, reference[i]), "") << "thread " << i;
    EXPECT_EQ(again.messages, reference[i].messages) << "thread " << i;
    EXPECT_TRUE(again.problems.empty()) << "thread " << i << joined(again.problems);
  }
}

// ---------------------------------------------------------------------------
// Shared read-only inputs and handles
// ---------------------------------------------------------------------------

// What all threads share: one set of input arrays, a model and two sets that
// the threads only read.
struct Shared {
  Inputs in;
  Values curve;
  MgfModel* model = nullptr;
  GaussCoeff* peaks = nullptr;
  GaussCoeff* start = nullptr;
  GaussCoeff* bad = nullptr;
};

// The calls that read shared data, each with the thread's own outputs; sets
// that a call changes (the solver's) are the thread's own copies.
void runShared(const Shared& s, Trace& t) {
  const Inputs& in = s.in;
  const std::size_t w = in.wells, c = in.cycles;
  std::vector<WellCurveInfo> infos(w);
  std::memset(infos.data(), 0, w * sizeof(WellCurveInfo));
  double threshold = kGuard;
  t.status("alg_calc_threshold",
           alg_calc_threshold(infos.data(), w, in.plate.data(), w, c, &threshold));
  Values curves(w * c), cts(w);
  t.status("alg_linear_batch_calc_ct",
           alg_linear_batch_calc_ct(infos.data(), w, threshold, in.plate.data(), w, c,
                                    curves.data(), cts.data()));
  t.doubles("cts", cts);
  t.bytes("records", infos.data(), w * sizeof(WellCurveInfo));

  Values yq(in.queries.size());
  t.status("alg_cubic_interpolation",
           alg_cubic_interpolation(in.knotX.data(), in.knotY.data(), in.knotX.size(),
                                   in.queries.data(), yq.data(), yq.size()));
  t.doubles("spline", yq);
  LinearFit fit;
  t.status("alg_calc_standard",
           alg_calc_standard(in.dilution.data(), in.dilution.size(), in.standardCt.data(),
                             in.standardCt.size(), &fit));
  t.value("standard curve", fit);
  const std::int32_t ctMode = 1;
  double* summary = nullptr;
  std::size_t summaryCount = 0;
  t.status("alg_calc_sd", alg_calc_sd(&ctMode, in.replicatesCt.data(), in.replicatesCt.size(),
                                      &summary, &summaryCount));
  takeArray(t, "summary", summary, summaryCount);
  std::size_t count = 0;
  double* grid = nullptr;
  double* derivative = nullptr;
  t.status("alg_melting", alg_melting(in.temperatures.size(), in.temperatures.data(),
                                      in.fluorescence.data(), &count, &grid, &derivative));
  takeArray(t, "melting grid", grid, count);
  takeArray(t, "derivative", derivative, count);

  double* values = nullptr;
  std::size_t valueCount = 0;
  t.status("alg_mgf_multi_gauss", alg_mgf_multi_gauss(s.model, s.peaks, &values, &valueCount));
  takeArray(t, "curve", values, valueCount);
  readSet(t, "shared peaks", s.peaks);
  GaussCoeff* found = nullptr;
  t.status("alg_mgf_local_max_value_id", alg_mgf_local_max_value_id(s.model, &found));
  readSet(t, "found peaks", found);
  t.status("alg_gausscoeff_release", alg_gausscoeff_release(&found));
  t.status("alg_mgf_local_max_value_id_origin",
           alg_mgf_local_max_value_id_origin(in.peakX.data(), in.peakX.size(), s.curve.data(),
                                             s.curve.size(), &found));
  readSet(t, "fixed-width peaks", found);
  t.status("alg_gausscoeff_release", alg_gausscoeff_release(&found));
  t.status("alg_mgf_coeff_filter", alg_mgf_coeff_filter(&in.limits, s.peaks, &found));
  readSet(t, "kept peaks", found);
  t.status("alg_gausscoeff_release", alg_gausscoeff_release(&found));
  MeltBackground background;
  t.status("alg_mgf_melting_stimulate",
           alg_mgf_melting_stimulate(s.model, s.peaks, &background, &values, &valueCount));
  t.value("background", background);
  takeArray(t, "synthetic curve", values, valueCount);
  t.status("alg_mgf_melting_stim_peak",
           alg_mgf_melting_stim_peak(s.model, s.peaks, &background, &values, &valueCount));
  takeArray(t, "synthetic peaks", values, valueCount);

  // The solver on the thread's own copy of the shared start peaks.
  std::size_t n[3] = {0, 0, 0};
  double* a[3] = {nullptr, nullptr, nullptr};
  GaussCoeff* own = nullptr;
  t.status("alg_get_gausscoeff_data",
           alg_get_gausscoeff_data(s.start, &n[0], &a[0], &n[1], &a[1], &n[2], &a[2]));
  t.status("alg_create_gausscoeff", alg_create_gausscoeff(&own));
  t.status("alg_set_gausscoeff_data",
           alg_set_gausscoeff_data(own, n[0], a[0], n[1], a[1], n[2], a[2]));
  for (double*& block : a) t.status("alg_darray_release", alg_darray_release(&block));
  t.status("alg_mgf_solve", alg_mgf_solve(s.model, own));
  readSet(t, "fitted peaks", own);
  t.status("alg_gausscoeff_release", alg_gausscoeff_release(&own));

  // Refusals on the shared handles.
  t.status("alg_mgf_multi_gauss", alg_mgf_multi_gauss(s.model, s.bad, &values, &valueCount),
           ALG_STATUS_INVALID_ARGUMENT, kGaussCoeffMessage);
  t.status("alg_mgf_coeff_filter", alg_mgf_coeff_filter(&in.limits, s.bad, &found),
           ALG_STATUS_INVALID_ARGUMENT, kGaussCoeffMessage);
  t.check(found == nullptr && values == nullptr, "out-parameters written on failure");
}

// Blocks and handles made by one thread and released by another.
struct HandOver {
  double* summary = nullptr;
  std::size_t summaryCount = 0;
  GaussCoeff* set = nullptr;
};

// Made by whichever thread calls it; failures go to that thread's trace.
HandOver makeHandOver(const Shared& s, Trace& t) {
  HandOver h;
  const std::int32_t ctMode = 1;
  t.status("alg_calc_sd", alg_calc_sd(&ctMode, s.in.replicatesCt.data(), s.in.replicatesCt.size(),
                                      &h.summary, &h.summaryCount));
  t.status("alg_mgf_local_max_value_id", alg_mgf_local_max_value_id(s.model, &h.set));
  return h;
}

void takeHandOver(HandOver& h, Trace& t) {
  takeArray(t, "summary", h.summary, h.summaryCount);
  readSet(t, "handed-over set", h.set);
  release(t, "alg_gausscoeff_release", alg_gausscoeff_release, h.set);
}

// All threads read the same inputs, model and sets at once; each first
// releases a result array and a set that the main thread made for it.
TEST(Concurrency, SharedReadOnlyInputsAndHandles) {
  constexpr std::size_t kRuns = 10;
  Shared s;
  s.in = makeInputs(42);
  const MgfOptions options{0, 0, s.in.peakWidth, 0, 0.0};
  const std::size_t n = s.in.peakX.size();
  const Values zeros(n, 0.0);
  MgfModel* flat = nullptr;
  ASSERT_EQ(alg_create_gausscoeff(&s.peaks), 0);
  ASSERT_EQ(alg_set_gausscoeff_data(s.peaks, 2, s.in.amplitudes.data(), 2, s.in.centers.data(), 2,
                                    s.in.widths.data()),
            0);
  ASSERT_EQ(alg_mgf_create(s.in.peakX.data(), n, zeros.data(), n, &options, &flat), 0);
  double* curve = nullptr;
  std::size_t curveCount = 0;
  ASSERT_EQ(alg_mgf_multi_gauss(flat, s.peaks, &curve, &curveCount), 0);
  s.curve.assign(curve, curve + curveCount);
  alg_darray_release(&curve);
  alg_mgf_release(&flat);
  ASSERT_EQ(alg_mgf_create(s.in.peakX.data(), n, s.curve.data(), n, &options, &s.model), 0);
  ASSERT_EQ(alg_mgf_local_max_value_id(s.model, &s.start), 0);
  ASSERT_EQ(alg_create_gausscoeff(&s.bad), 0);
  ASSERT_EQ(alg_set_gausscoeff_data(s.bad, 1, zeros.data(), 2, zeros.data(), 2, zeros.data()), 0);

  Trace reference(true), side(true);
  HandOver mine = makeHandOver(s, side);
  takeHandOver(mine, reference);
  runShared(s, reference);
  ASSERT_TRUE(reference.problems.empty()) << joined(reference.problems);

  std::vector<HandOver> handOvers;
  Trace made(true);
  for (std::size_t i = 0; i < kThreads; ++i) handOvers.push_back(makeHandOver(s, made));
  ASSERT_TRUE(made.problems.empty()) << joined(made.problems);
  std::vector<Outcome> outcomes(kThreads);
  // As above, the workers never read the last-error buffer.
  runTogether(kThreads, [&](std::size_t i) {
    for (std::size_t run = 0; run < kRuns; ++run) {
      // The first run takes over what the main thread made; later runs make
      // their own, recorded in a side trace so that every run compares
      // with the same reference.
      Trace t(false), side(false);
      HandOver own = run == 0 ? handOvers[i] : makeHandOver(s, side);
      takeHandOver(own, t);
      if (run == 0) handOvers[i] = own;
      t.problems.insert(t.problems.end(), side.problems.begin(), side.problems.end());
      runShared(s, t);
      outcomes[i].take(t, reference);
    }
  });
  for (std::size_t i = 0; i < kThreads; ++i) {
    EXPECT_EQ(outcomes[i].runs, kRuns);
    EXPECT_TRUE(outcomes[i].problems.empty()) << "thread " << i << joined(outcomes[i].problems);
    EXPECT_TRUE(handOvers[i].summary == nullptr && handOvers[i].set == nullptr);
  }

  // The shared handles are as they were.
  Trace after(true);
  HandOver last = makeHandOver(s, side);
  takeHandOver(last, after);
  runShared(s, after);
  EXPECT_EQ(firstDifference(after, reference), "");
  EXPECT_EQ(after.messages, reference.messages);
  for (GaussCoeff** set : {&s.peaks, &s.start, &s.bad}) alg_gausscoeff_release(set);
  alg_mgf_release(&s.model);
}

}  // namespace
}  // namespace corvel
