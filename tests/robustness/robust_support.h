// Helpers shared by the robustness tests: realistic inputs, caller arrays of
// exactly the stated size, the contract every status-returning call keeps,
// and a watchdog that turns a call that never returns into a loud abort.
#ifndef CORVEL_TESTS_ROBUSTNESS_ROBUST_SUPPORT_H
#define CORVEL_TESTS_ROBUSTNESS_ROBUST_SUPPORT_H

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "CorvelAlg.h"

namespace corvel::robust {

using Values = std::vector<double>;

inline const double kNaN = std::numeric_limits<double>::quiet_NaN();
inline const double kInf = std::numeric_limits<double>::infinity();

// Small deterministic ripple standing in for instrument noise.
inline double ripple(std::size_t i, std::size_t salt) {
  return std::sin(1.7 * static_cast<double>(i) + 0.9 * static_cast<double>(salt));
}

// A plate of amplification curves, well-major, cycles 1..cycles: a slowly
// drifting baseline near 1000 units and a logistic rise whose height and
// midpoint differ from well to well; every fourth well (index 3, 7, ...) is
// a negative control that never rises.
inline Values plate(std::size_t wells, std::size_t cycles) {
  Values v(wells * cycles);
  for (std::size_t w = 0; w < wells; ++w) {
    const double wd = static_cast<double>(w);
    const double height = w % 4 == 3 ? 0.0 : 6000.0 - 900.0 * static_cast<double>(w % 4);
    const double mid = 20.0 + 2.5 * static_cast<double>(w % 4) + 0.3 * wd;
    for (std::size_t c = 0; c < cycles; ++c) {
      const double cycle = static_cast<double>(c + 1);
      v[w * cycles + c] = 950.0 + 20.0 * wd + 1.2 * cycle + 4.0 * ripple(c, w) +
                          height / (1.0 + std::exp(-(cycle - mid) / 1.4));
    }
  }
  return v;
}

// A raw melting curve: n temperatures from 60 degrees in steps of `step`,
// fluorescence falling in two transitions (near 76 and 84 degrees) over a
// sloping background.
struct MeltCurve {
  Values t;
  Values f;
};
inline MeltCurve meltCurve(std::size_t n, double step = 0.5) {
  MeltCurve m{Values(n), Values(n)};
  for (std::size_t i = 0; i < n; ++i) {
    const double t = 60.0 + step * static_cast<double>(i);
    m.t[i] = t;
    m.f[i] = 400.0 + 6.0 * (95.0 - t) + 2500.0 / (1.0 + std::exp((t - 76.0) / 0.7)) +
             7000.0 / (1.0 + std::exp((t - 84.0) / 0.8)) + 3.0 * ripple(i, 1);
  }
  return m;
}

// A derivative melting curve as the peak fitting sees it: two Gaussian
// peaks (78 and 84 degrees) on a small floor, x from 70 in steps of 0.25.
struct PeakCurve {
  Values x;
  Values y;
};
inline PeakCurve peakCurve(std::size_t n = 81) {
  PeakCurve c{Values(n), Values(n)};
  for (std::size_t i = 0; i < n; ++i) {
    const double x = 70.0 + 0.25 * static_cast<double>(i);
    c.x[i] = x;
    c.y[i] = 5.0 + 900.0 * std::exp(-(x - 78.0) * (x - 78.0) / (2.0 * 0.8 * 0.8)) +
             350.0 * std::exp(-(x - 84.0) * (x - 84.0) / (2.0 * 1.1 * 1.1));
  }
  return c;
}

// A caller array of exactly n elements on the heap, so that AddressSanitizer
// reports any access past its end; for n = 0 the pointer is NULL, which the
// library must accept without reading it.
template <typename T>
class Exact {
 public:
  explicit Exact(std::size_t n, const T& fill = T()) : n_(n), p_(n == 0 ? nullptr : new T[n]) {
    for (std::size_t i = 0; i < n; ++i) p_[i] = fill;
  }
  explicit Exact(const std::vector<T>& values) : Exact(values.size()) {
    for (std::size_t i = 0; i < n_; ++i) p_[i] = values[i];
  }
  T* data() { return p_.get(); }
  const T* data() const { return p_.get(); }
  std::size_t size() const { return n_; }
  T& operator[](std::size_t i) { return p_[i]; }
  const T& operator[](std::size_t i) const { return p_[i]; }
  std::vector<T> values() const { return std::vector<T>(p_.get(), p_.get() + n_); }

 private:
  std::size_t n_;
  std::unique_ptr<T[]> p_;
};

// A record as a host prepares it before the first analysis.
inline WellCurveInfo zeroRecord() {
  WellCurveInfo r;
  std::memset(&r, 0, sizeof r);
  return r;
}

// The three arrays of a set (amplitudes, centres, widths), read back.
inline std::vector<Values> readSet(const GaussCoeff* h) {
  std::size_t n[3] = {0, 0, 0};
  double* a[3] = {nullptr, nullptr, nullptr};
  EXPECT_EQ(alg_get_gausscoeff_data(h, &n[0], &a[0], &n[1], &a[1], &n[2], &a[2]), ALG_STATUS_OK);
  std::vector<Values> out(3);
  for (int i = 0; i < 3; ++i) {
    if (a[i] != nullptr) out[i].assign(a[i], a[i] + n[i]);
    alg_darray_release(&a[i]);
  }
  return out;
}

// Reads a set handed out by a call and releases it.
inline std::vector<Values> takeSet(GaussCoeff*& h) {
  std::vector<Values> arrays = readSet(h);
  alg_gausscoeff_release(&h);
  return arrays;
}

// A set filled with the given arrays, released at the end of its scope.
struct Set {
  GaussCoeff* h = nullptr;
  Set(const Values& a, const Values& b, const Values& s) {
    EXPECT_EQ(alg_create_gausscoeff(&h), ALG_STATUS_OK);
    EXPECT_EQ(
        alg_set_gausscoeff_data(h, a.size(), a.data(), b.size(), b.data(), s.size(), s.data()),
        ALG_STATUS_OK);
  }
  Set(const Set&) = delete;
  Set& operator=(const Set&) = delete;
  ~Set() { alg_gausscoeff_release(&h); }
  std::vector<Values> read() const { return readSet(h); }
};

// A model of a curve, created from copies of exactly xCount and yCount
// values (the library keeps its own), released at the end of its scope.
struct Model {
  MgfModel* h = nullptr;
  Model(const Values& x, const Values& y, double peakWidth = 1.0);
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;
  ~Model() { alg_mgf_release(&h); }
};

inline Model::Model(const Values& x, const Values& y, double peakWidth) {
  const Exact<double> ex(x), ey(y);
  const Exact<MgfOptions> options(1, MgfOptions{1, 2, peakWidth, 3, 4.0});
  EXPECT_EQ(alg_mgf_create(ex.data(), ex.size(), ey.data(), ey.size(), options.data(), &h),
            ALG_STATUS_OK);
}

// The same value, NaN matching NaN (a NaN result where one is expected).
inline bool same(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) || a == b;
}

// The same bits (distinguishes -0.0 from 0.0 and keeps NaN payloads).
inline bool sameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// What every status-returning call promises: one of the four statuses, a
// NUL-terminated message of at most 255 bytes, empty exactly on success.
inline ::testing::AssertionResult keepsFrameContract(int status) {
  const char* message = get_last_error();
  if (status != ALG_STATUS_OK && status != ALG_STATUS_INVALID_ARGUMENT &&
      status != ALG_STATUS_OUT_OF_RANGE && status != ALG_STATUS_FAILURE) {
    return ::testing::AssertionFailure() << "status " << status;
  }
  if (std::memchr(message, '\0', ALG_LAST_ERROR_CAPACITY) == nullptr) {
    return ::testing::AssertionFailure() << "message not terminated within the buffer";
  }
  if ((status == ALG_STATUS_OK) != (message[0] == '\0')) {
    return ::testing::AssertionFailure()
           << "status " << status << " with message \"" << message << '"';
  }
  return ::testing::AssertionSuccess();
}

// Watches one call from a second thread: if the call has not returned within
// the limit, the process reports which call it was and aborts, so that a
// solver that never terminates fails the test instead of hanging CTest.
class Watchdog {
 public:
  explicit Watchdog(std::string what, std::chrono::seconds limit = std::chrono::seconds(30))
      : what_(std::move(what)), thread_([this, limit] {
          std::unique_lock<std::mutex> lock(mutex_);
          if (!done_changed_.wait_for(lock, limit, [this] { return done_; })) {
            std::fprintf(stderr, "watchdog: %s did not return within %lld s\n", what_.c_str(),
                         static_cast<long long>(limit.count()));
            std::fflush(stderr);
            std::abort();
          }
        }) {}
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;
  ~Watchdog() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
    }
    done_changed_.notify_one();
    thread_.join();
  }

 private:
  std::string what_;
  std::mutex mutex_;
  std::condition_variable done_changed_;
  bool done_ = false;
  std::thread thread_;  // last: starts once the members above exist
};

// Runs call() under a watchdog and checks the frame's contract on its status.
template <typename Call>
int watched(const std::string& what, Call&& call) {
  int status;
  {
    Watchdog dog(what);
    status = call();
  }
  EXPECT_TRUE(keepsFrameContract(status)) << what;
  return status;
}

}  // namespace corvel::robust

#endif  // CORVEL_TESTS_ROBUSTNESS_ROBUST_SUPPORT_H
