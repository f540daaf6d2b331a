// Every export under exhausted memory. Each case runs one call on realistic
// inputs with its 1st, 2nd, ... allocation failing, until the call gets
// through. Every failed run must return 100 with "bad allocation", exactly
// at the armed allocation, and leave what the caller can see as the header
// promises; the run that gets through must match a run without injection bit
// for bit. Every array and handle obtained is released, so that the
// sanitizer build's leak check sees any block a failure path loses.
//
// Six exports allocate nothing and are checked separately: version,
// get_last_error, test_fitting_result and the three release functions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "CorvelAlg.h"
#include "core/allocator.h"
#include "core/messages.h"
#include "robust_support.h"

namespace corvel::robust {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint64_t kMaxAttempts = 100000;
constexpr double kGuard = -123.0;
double guardCell = kGuard;
double* const kGuardArray = &guardCell;  // an out-pointer's value before a call
constexpr std::size_t kGuardCount = 777;

Bytes bytesOf(const void* p, std::size_t n) {
  const auto* b = static_cast<const unsigned char*>(p);
  return Bytes(b, b + n);
}

// The three pairs of a set (count, then values), read back through the
// public interface.
std::vector<Bytes> setPairs(const GaussCoeff* h) {
  std::size_t n[3] = {0, 0, 0};
  double* a[3] = {nullptr, nullptr, nullptr};
  EXPECT_EQ(alg_get_gausscoeff_data(h, &n[0], &a[0], &n[1], &a[1], &n[2], &a[2]), ALG_STATUS_OK);
  std::vector<Bytes> pairs(3);
  for (int i = 0; i < 3; ++i) {
    pairs[i] = bytesOf(&n[i], sizeof n[i]);
    if (a[i] != nullptr) {
      const Bytes values = bytesOf(a[i], n[i] * sizeof(double));
      pairs[i].insert(pairs[i].end(), values.begin(), values.end());
    }
    alg_darray_release(&a[i]);
  }
  return pairs;
}

Bytes setBytes(const GaussCoeff* h) {
  Bytes all;
  for (const Bytes& pair : setPairs(h)) all.insert(all.end(), pair.begin(), pair.end());
  return all;
}

// Everything the caller can see of one call: its status and message, the
// caller memory it was given (before and after) and what it handed out.
struct Observation {
  int status = -1;
  std::string message;
  std::uint64_t allocations = 0;  // attempted during the call
  std::vector<std::string> names;
  std::vector<bool> isAddress;  // a pointer variable the call may set
  std::vector<Bytes> before;
  std::vector<Bytes> after;
  std::vector<Bytes> results;  // contents handed out on success
};

// Runs one call with the failAt-th allocation failing (0: none fails) and
// records the observation. Snapshots are taken with injection off.
class Probe {
 public:
  explicit Probe(std::uint64_t failAt) : failAt_(failAt) {}

  void watch(std::string name, const void* p, std::size_t bytes) {
    add(std::move(name), false, [p, bytes] { return bytesOf(p, bytes); });
  }
  template <typename T>
  void watch(std::string name, const T& object) {
    watch(std::move(name), &object, sizeof object);
  }
  template <typename T>
  void watch(std::string name, const std::vector<T>& v) {
    watch(std::move(name), v.data(), v.size() * sizeof(T));
  }
  // A pointer out-parameter: its old value must survive a failure; on
  // success its contents are compared through keep() instead.
  template <typename T>
  void watchAddress(std::string name, T* const& variable) {
    add(std::move(name), true, [&variable] { return bytesOf(&variable, sizeof variable); });
  }
  void watchSet(std::string name, const GaussCoeff* h) {
    add(std::move(name), false, [h] { return setBytes(h); });
  }
  void watchSetPair(std::string name, const GaussCoeff* h, int pair) {
    add(std::move(name), false, [h, pair] { return setPairs(h)[pair]; });
  }

  template <typename Call>
  int call(Call&& body) {
    for (const auto& read : reads_) o_.before.push_back(read());
    testing::failAllocation(failAt_);
    o_.status = body();
    o_.allocations = testing::allocationsSinceArmed();
    testing::failAllocation(0);
    o_.message = get_last_error();
    for (const auto& read : reads_) o_.after.push_back(read());
    return o_.status;
  }

  void keep(const double* values, std::size_t count) {
    o_.results.push_back(bytesOf(&count, sizeof count));
    o_.results.push_back(bytesOf(values, count * sizeof(double)));
  }
  void keepSet(const GaussCoeff* h) { o_.results.push_back(setBytes(h)); }

  Observation take() { return std::move(o_); }

 private:
  void add(std::string name, bool isAddress, std::function<Bytes()> read) {
    o_.names.push_back(std::move(name));
    o_.isAddress.push_back(isAddress);
    reads_.push_back(std::move(read));
  }

  std::uint64_t failAt_;
  std::vector<std::function<Bytes()>> reads_;
  Observation o_;
};

// What a failed run may have changed, given the reference run.
using FailureCheck = void (*)(const Observation& failed, const Observation& reference);

// Nothing the caller can see has changed.
void unchanged(const Observation& f, const Observation&) {
  for (std::size_t i = 0; i < f.names.size(); ++i) EXPECT_EQ(f.after[i], f.before[i]) << f.names[i];
}

// Regions named prefix... are filled in order: a leading run holds the
// reference's final contents, then possibly one partly written region
// (when partial), and every later one is untouched. Other regions are
// untouched.
void inOrder(const Observation& f, const Observation& ref, const char* prefix, bool partial) {
  std::vector<std::size_t> ordered;
  for (std::size_t i = 0; i < f.names.size(); ++i) {
    if (f.names[i].rfind(prefix, 0) == 0) {
      ordered.push_back(i);
    } else {
      EXPECT_EQ(f.after[i], f.before[i]) << f.names[i];
    }
  }
  std::size_t j = 0;
  while (j < ordered.size() && f.after[ordered[j]] == ref.after[ordered[j]]) ++j;
  for (std::size_t k = partial ? j + 1 : j; k < ordered.size(); ++k) {
    EXPECT_EQ(f.after[ordered[k]], f.before[ordered[k]]) << f.names[ordered[k]];
  }
}

// Records of the wells analysed before the failure keep what was written
// (the failing well's possibly in part); later records and every output
// buffer are untouched.
void wellsInOrder(const Observation& f, const Observation& ref) {
  inOrder(f, ref, "well", true);
}

// The pairs replaced before the failing one hold their new contents; the
// failing one and the later ones their old contents.
void pairsInOrder(const Observation& f, const Observation& ref) {
  inOrder(f, ref, "pair", false);
}

// Regions the call names as written before a later step may stay written
// (holding what the reference run left in them); all others are untouched.
template <const char* const* Early, std::size_t N>
void earlyFieldsMayStay(const Observation& f, const Observation& ref) {
  for (std::size_t i = 0; i < f.names.size(); ++i) {
    const bool early = std::find(Early, Early + N, f.names[i]) != Early + N;
    EXPECT_TRUE(f.after[i] == f.before[i] || (early && f.after[i] == ref.after[i])) << f.names[i];
  }
}
// alg_calc_rq writes value, sd, se, rq and ddct before the error bar.
constexpr const char* kRqEarly[] = {"value", "sd", "se", "rq", "ddct"};
// alg_mgf_melting_stimulate stores its background once the peak sum is made.
constexpr const char* kStimulateEarly[] = {"background"};

// The counts are written, every array pointer is NULL.
void countsWrittenArraysNull(const Observation& f, const Observation& ref) {
  double* const none = nullptr;
  const Bytes null = bytesOf(&none, sizeof none);
  for (std::size_t i = 0; i < f.names.size(); ++i) {
    EXPECT_EQ(f.after[i], f.isAddress[i] ? null : ref.after[i]) << f.names[i];
  }
}

struct AllocCase {
  const char* name;
  std::function<int(Probe&)> run;
  FailureCheck check = unchanged;
};

// A call handing out one result array: its out-parameters are watched and
// the array's contents kept on success.
template <typename Call>
int handOut(Probe& p, Call&& call) {
  double* values = kGuardArray;
  std::size_t count = kGuardCount;
  p.watchAddress("values", values);
  p.watch("count", count);
  const int status = p.call([&] { return call(&values, &count); });
  if (status == ALG_STATUS_OK) {
    p.keep(values, count);
    alg_darray_release(&values);
  }
  return status;
}

// A call creating a set: the handle variable is watched, the set kept.
template <typename Call>
int newSet(Probe& p, Call&& call) {
  GaussCoeff* h = reinterpret_cast<GaussCoeff*>(&guardCell);
  p.watchAddress("set", h);
  const int status = p.call([&] { return call(&h); });
  if (status == ALG_STATUS_OK) {
    p.keepSet(h);
    alg_gausscoeff_release(&h);
  }
  return status;
}

// A call working on a copy of `values` in place, or filling a buffer of n
// guard values.
AllocCase inPlace(const char* name, Values values, int (*call)(double*, std::size_t)) {
  return {name, [values, call](Probe& p) {
            Values d = values;
            p.watch("data", d);
            return p.call([&] { return call(d.data(), d.size()); });
          }};
}
AllocCase intoBuffer(const char* name, std::size_t n, std::function<int(double*)> call) {
  return {name, [n, call](Probe& p) {
            Values out(n, kGuard);
            p.watch("out", out);
            return p.call([&] { return call(out.data()); });
          }};
}

// Start peaks near those of peakCurve(), as detection would give them.
Set startPeaks() {
  return Set({850, 380}, {78.25, 83.75}, {0.9, 1.0});
}

// alg_calc_rq on a summary of 12 replicates, each result field watched.
int calcRq(Probe& p, const RqOptions& options, double calibrator) {
  const double summary[5] = {3.1, 0.4, 1.2, 12, 99};  // a fifth value is not read
  RqResult r{kGuard, kGuard, kGuard, kGuard, kGuard, kGuard, kGuard};
  const std::pair<const char*, const double*> fields[] = {
      {"value", &r.value}, {"sd", &r.sd},       {"se", &r.se},      {"rq", &r.rq},
      {"ddct", &r.ddct},   {"lower", &r.lower}, {"upper", &r.upper}};
  for (const auto& f : fields) p.watch(f.first, *f.second);
  return p.call([&] { return alg_calc_rq(&options, summary, 5, calibrator, &r); });
}

std::vector<AllocCase> cases() {
  const Values amplification = plate(4, 40);
  const Values curve(amplification.begin(), amplification.begin() + 40);
  const MeltCurve melt = meltCurve(71);
  const PeakCurve peaks = peakCurve();
  Values queries(301), cycles(40), derivative = peaks.y;
  for (std::size_t i = 0; i < queries.size(); ++i) queries[i] = 59.0 + 0.123 * double(i);
  for (std::size_t i = 0; i < cycles.size(); ++i) cycles[i] = double(i + 1);
  derivative[3] = -2.0;
  std::vector<WellCurveInfo> fitted(5, zeroRecord());
  for (std::size_t w = 0; w < fitted.size(); ++w) {
    fitted[w].sigmoidTop = w == 4 ? 5.0 : 6000.0 - 1000.0 * double(w);  // the last below 10
    fitted[w].sigmoidMid = 20.0 + double(w);
    fitted[w].sigmoidRate = 0.7;
  }

  return {
      inPlace("run_smooth", curve, alg_run_smooth),
      inPlace("super_smooth", melt.f,
              [](double* d, std::size_t n) { return alg_super_smooth(d, n, 30); }),
      inPlace("sigmoid", cycles,
              [](double* x, std::size_t n) {
                const double params[3] = {6000.0, 22.0, 0.7};
                return alg_sigmoid(params, x, n);
              }),
      inPlace("melting_normalization", derivative, alg_melting_normalization),
      intoBuffer("cubic_interpolation", queries.size(),
                 [=](double* yq) {
                   return alg_cubic_interpolation(melt.t.data(), melt.f.data(), melt.t.size(),
                                                  queries.data(), yq, queries.size());
                 }),
      intoBuffer(
          "interpolation_x", 10 * (melt.t.size() - 1) + 1,
          [=](double* out) { return alg_interpolation_x(melt.t.data(), melt.t.size(), 10, out); }),
      intoBuffer("increasing", 351, [](double* out) { return alg_increasing(60, 0.1, 351, out); }),
      intoBuffer("sigmoid_batch_calc_ct", 5,
                 [=](double* cts) { return alg_sigmoid_batch_calc_ct(fitted.data(), 5, 0, cts); }),
      intoBuffer("sample_data_fitting", 1,
                 [=](double* result) { return alg_sample_data_fitting(curve.data(), 11, result); }),
      {"calc_threshold",
       [=](Probe& p) {
         std::vector<WellCurveInfo> infos(4, zeroRecord());
         infos[2].baselineStart = 4;  // a caller-given window among automatic ones
         infos[2].baselineEnd = 12;
         double threshold = kGuard;
         for (const WellCurveInfo& r : infos) p.watch("well", r);
         p.watch("threshold", threshold);
         return p.call([&] {
           return alg_calc_threshold(infos.data(), 4, amplification.data(), 4, 40, &threshold);
         });
       },
       wellsInOrder},
      {"linear_batch_calc_ct",
       [=](Probe& p) {
         std::vector<WellCurveInfo> infos(4, zeroRecord());
         Values curves(160, kGuard), cts(6, kGuard);
         for (const WellCurveInfo& r : infos) p.watch("well", r);
         p.watch("curves", curves);
         p.watch("cts", cts);
         return p.call([&] {
           return alg_linear_batch_calc_ct(infos.data(), 6, 400.0, amplification.data(), 4, 40,
                                           curves.data(), cts.data());
         });
       },
       wellsInOrder},
      {"calc_standard",
       [](Probe& p) {
         const Values x = {1, 1, 2, 2, 3, 3, 4, 4, 5, 5};
         const Values y = {31.1, 31.3, 27.9, 28.0, 24.6, 24.5, 21.2, 21.4, 17.9, 18.0};
         LinearFit fit{kGuard, kGuard, kGuard, kGuard};
         p.watch("fit", fit);
         return p.call([&] { return alg_calc_standard(x.data(), 10, y.data(), 10, &fit); });
       }},
      {"calc_rq_ct_student",
       [](Probe& p) {
         return calcRq(p, {1, 1, 1, 2, 0}, 1.2);
       },
       earlyFieldsMayStay<kRqEarly, 5>},
      {"calc_rq_quantity_sd",
       [](Probe& p) {
         return calcRq(p, {2, 2, 2, 0, 2}, 0.8);
       },
       earlyFieldsMayStay<kRqEarly, 5>},
      {"calc_sd",
       [](Probe& p) {
         const std::int32_t mode = 1;
         const Values data = {3, 20, 21, 22, 2, 3, 15, 15.5, 16, 2, 17, 17.2};
         return handOut(p, [&](double** r, std::size_t* n) {
           return alg_calc_sd(&mode, data.data(), data.size(), r, n);
         });
       }},
      {"melting",
       [=](Probe& p) {
         std::size_t count = kGuardCount;
         double* grid = kGuardArray;
         double* derivative = kGuardArray;
         p.watch("count", count);
         p.watchAddress("grid", grid);
         p.watchAddress("derivative", derivative);
         const int status = p.call([&] {
           return alg_melting(melt.t.size(), melt.t.data(), melt.f.data(), &count, &grid,
                              &derivative);
         });
         if (status == ALG_STATUS_OK) {
           p.keep(grid, count);
           p.keep(derivative, count);
           alg_darray_release(&grid);
           alg_darray_release(&derivative);
         }
         return status;
       }},
      {"create_gausscoeff", [](Probe& p) { return newSet(p, alg_create_gausscoeff); }},
      {"set_gausscoeff_data",
       [](Probe& p) {
         const Set s({1, 2, 3}, {4, 5, 6}, {7, 8, 9});
         const Values a = {10, 11, 12, 13}, b = {14, 15}, w = {16, 17, 18, 19, 20};
         p.watchSetPair("pair amplitudes", s.h, 0);
         p.watchSetPair("pair centres", s.h, 1);
         p.watchSetPair("pair widths", s.h, 2);
         return p.call([&] {
           return alg_set_gausscoeff_data(s.h, a.size(), a.data(), b.size(), b.data(), w.size(),
                                          w.data());
         });
       },
       pairsInOrder},
      {"get_gausscoeff_data",
       [](Probe& p) {
         const Set s({900, 350, 1}, {78, 84, 90}, {0.8, 1.1, 0.2});
         std::size_t n[3] = {kGuardCount, kGuardCount, kGuardCount};
         double* a[3] = {kGuardArray, kGuardArray, kGuardArray};
         const char* names[3] = {"amplitudes", "centres", "widths"};
         for (int i = 0; i < 3; ++i) {
           p.watch(std::string(names[i]) + " count", n[i]);
           p.watchAddress(names[i], a[i]);
         }
         const int status = p.call([&] {
           return alg_get_gausscoeff_data(s.h, &n[0], &a[0], &n[1], &a[1], &n[2], &a[2]);
         });
         for (int i = 0; i < 3 && status == ALG_STATUS_OK; ++i) {
           p.keep(a[i], n[i]);
           alg_darray_release(&a[i]);
         }
         return status;
       },
       countsWrittenArraysNull},
      {"mgf_create",
       [=](Probe& p) {
         const MgfOptions options{1, 2, 1.0, 3, 4.0};
         MgfModel* model = reinterpret_cast<MgfModel*>(&guardCell);
         p.watchAddress("model", model);
         const int status = p.call([&] {
           return alg_mgf_create(peaks.x.data(), peaks.x.size(), peaks.y.data(), peaks.y.size(),
                                 &options, &model);
         });
         if (status == ALG_STATUS_OK) {
           // What the model holds, seen through peak detection (x, y and the
           // peak width) and the evaluation of the peaks on its grid.
           GaussCoeff* found = nullptr;
           EXPECT_EQ(alg_mgf_local_max_value_id(model, &found), ALG_STATUS_OK);
           p.keepSet(found);
           double* values = nullptr;
           std::size_t count = 0;
           EXPECT_EQ(alg_mgf_multi_gauss(model, found, &values, &count), ALG_STATUS_OK);
           p.keep(values, count);
           alg_darray_release(&values);
           alg_gausscoeff_release(&found);
           alg_mgf_release(&model);
         }
         return status;
       }},
      {"mgf_multi_gauss",
       [=](Probe& p) {
         const Model m(peaks.x, peaks.y);
         const Set s = startPeaks();
         return handOut(
             p, [&](double** v, std::size_t* n) { return alg_mgf_multi_gauss(m.h, s.h, v, n); });
       }},
      {"mgf_solve",
       [=](Probe& p) {
         const Model m(peaks.x, peaks.y);
         const Set s = startPeaks();
         p.watchSet("set", s.h);
         return p.call([&] { return alg_mgf_solve(m.h, s.h); });
       }},
      {"mgf_local_max_value_id",
       [=](Probe& p) {
         const Model m(peaks.x, peaks.y);
         return newSet(p, [&](GaussCoeff** out) { return alg_mgf_local_max_value_id(m.h, out); });
       }},
      {"mgf_local_max_value_id_origin",
       [=](Probe& p) {
         return newSet(p, [&](GaussCoeff** out) {
           return alg_mgf_local_max_value_id_origin(peaks.x.data(), peaks.x.size(), peaks.y.data(),
                                                    peaks.y.size(), out);
         });
       }},
      {"mgf_melting_stimulate",
       [=](Probe& p) {
         const Model m(peaks.x, peaks.y);
         const Set s = startPeaks();
         MeltBackground background{kGuard, kGuard, kGuard};
         p.watch("background", background);
         return handOut(p, [&](double** v, std::size_t* n) {
           return alg_mgf_melting_stimulate(m.h, s.h, &background, v, n);
         });
       },
       earlyFieldsMayStay<kStimulateEarly, 1>},
      {"mgf_melting_stim_peak",
       [=](Probe& p) {
         const Model m(peaks.x, peaks.y);
         const Set s = startPeaks();
         const MeltBackground background{300.0, 80.0, 3.0};
         return handOut(p, [&](double** v, std::size_t* n) {
           return alg_mgf_melting_stim_peak(m.h, s.h, &background, v, n);
         });
       }},
      {"mgf_coeff_filter",
       [](Probe& p) {
         const Set s({900, 4, 350, 600}, {78, 80, 84, 88}, {0.8, 1.0, 1.1, 9.0});
         const FilterLimits limits{10.0, 10.0, 0.5};
         return newSet(p,
                       [&](GaussCoeff** out) { return alg_mgf_coeff_filter(&limits, s.h, out); });
       }},
  };
}

void PrintTo(const AllocCase& c, std::ostream* os) {
  *os << c.name;
}

class ExhaustedMemory : public ::testing::TestWithParam<AllocCase> {
 protected:
  void TearDown() override { testing::failAllocation(0); }
};

TEST_P(ExhaustedMemory, EveryFailingAllocationIsACleanFailure) {
  const AllocCase& c = GetParam();
  Probe unarmed(0);
  ASSERT_EQ(c.run(unarmed), ALG_STATUS_OK) << get_last_error();
  const Observation reference = unarmed.take();
  ASSERT_GT(reference.allocations, 0u) << "the call allocates nothing";
  RecordProperty("allocations", static_cast<int>(reference.allocations));

  for (std::uint64_t k = 1; k <= kMaxAttempts; ++k) {
    Probe probe(k);
    const int status = c.run(probe);
    const Observation o = probe.take();
    ASSERT_EQ(o.before, reference.before) << "inputs differ between runs";
    if (status == ALG_STATUS_OK) {
      // Every allocation of the reference run was tried and reported.
      EXPECT_EQ(k, reference.allocations + 1);
      EXPECT_EQ(o.message, "");
      for (std::size_t i = 0; i < o.names.size(); ++i) {
        if (!o.isAddress[i]) {
          EXPECT_EQ(o.after[i], reference.after[i]) << o.names[i];
        }
      }
      EXPECT_EQ(o.results, reference.results);
      return;
    }
    EXPECT_EQ(status, ALG_STATUS_FAILURE) << "allocation " << k;
    EXPECT_EQ(o.message, msg::kBadAllocation) << "allocation " << k;
    // The failure surfaced at once: nothing was tried after the armed one.
    EXPECT_EQ(o.allocations, k);
    c.check(o, reference);
    if (HasFailure()) {
      ADD_FAILURE() << "first wrong outcome with allocation " << k << " of "
                    << reference.allocations << " failing";
      return;
    }
  }
  FAIL() << "still failing after " << kMaxAttempts << " allocations";
}

INSTANTIATE_TEST_SUITE_P(Exports, ExhaustedMemory, ::testing::ValuesIn(cases()),
                         [](const ::testing::TestParamInfo<AllocCase>& info) {
                           return std::string(info.param.name);
                         });

// The exports that allocate nothing work with every allocation refused.
TEST(ExhaustedMemoryNeverAllocating, WorkWithEveryAllocationRefused) {
  // Obtained beforehand: a result array, a set and a model to release.
  const double x[4] = {1, 2, 3, 4};
  const MgfOptions options{};
  GaussCoeff* set = nullptr;
  MgfModel* model = nullptr;
  double* curve = nullptr;
  std::size_t count = 0;
  ASSERT_EQ(alg_create_gausscoeff(&set), ALG_STATUS_OK);
  ASSERT_EQ(alg_set_gausscoeff_data(set, 1, x, 1, x, 1, x), ALG_STATUS_OK);
  ASSERT_EQ(alg_mgf_create(x, 4, x, 4, &options, &model), ALG_STATUS_OK);
  ASSERT_EQ(alg_mgf_multi_gauss(model, set, &curve, &count), ALG_STATUS_OK);
  ASSERT_EQ(alg_increasing(0.0, 1.0, 0, nullptr), ALG_STATUS_INVALID_ARGUMENT);
  const std::string message = get_last_error();  // left behind by the refusal

  // A record laid out as test_fitting_result() expects it.
  WellCurveInfo record = zeroRecord();
  const double doubles[12] = {1.1, 2.2, 3.3, 4.4, 0, 1, 2, 3, 4, 5, 6, 7};
  std::memcpy(&record, doubles, sizeof doubles);
  record.baselineStart = 1, record.baselineEnd = 2, record.reservedShort = 3;
  record.baselineNoise = 5.5;
  const std::uint8_t flags[8] = {1, 0, 1, 0, 1, 0, 1, 0};
  std::memcpy(&record.lowSignal, flags, sizeof flags);

  testing::failAllocation(1);
  EXPECT_STREQ(version(), CORVELALG_VERSION_STRING);
  EXPECT_EQ(get_last_error(), message);  // neither touches the buffer
  EXPECT_EQ(test_fitting_result(&record), ALG_STATUS_OK);
  EXPECT_EQ(get_last_error(), message);
  EXPECT_TRUE(record.crossingRatio == 4.4 && record.baselineNoise == 11.0 && record.noRise == 1);
  EXPECT_EQ(test_fitting_result(&record), ALG_STATUS_INVALID_ARGUMENT);  // values now doubled
  EXPECT_EQ(alg_darray_release(&curve), ALG_STATUS_OK);
  EXPECT_STREQ(get_last_error(), "");  // release empties the buffer
  EXPECT_EQ(alg_gausscoeff_release(&set), ALG_STATUS_OK);
  EXPECT_EQ(alg_mgf_release(&model), ALG_STATUS_OK);
  EXPECT_TRUE(curve == nullptr && set == nullptr && model == nullptr);
  EXPECT_EQ(alg_darray_release(nullptr), ALG_STATUS_OK);
  EXPECT_EQ(alg_gausscoeff_release(nullptr), ALG_STATUS_OK);
  EXPECT_EQ(alg_mgf_release(nullptr), ALG_STATUS_OK);
  EXPECT_EQ(testing::allocationsSinceArmed(), 0u);
  testing::failAllocation(0);
}

}  // namespace
}  // namespace corvel::robust
