// What every call into the library must respect, checked after each call.
//
// A violation prints what was wrong and aborts, which libFuzzer reports as
// a crash with the input that caused it. The checks cover the conventions
// of the public header: the four statuses, the terminated message of at
// most 255 bytes (empty after a success, present after a failure), outputs
// left alone on failure, inputs left alone always (unless a function works
// in place), and every result array and handle released.
#ifndef CORVEL_TESTS_FUZZ_CONTRACT_H
#define CORVEL_TESTS_FUZZ_CONTRACT_H

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "CorvelAlg.h"

namespace corvel::fuzz {

[[noreturn]] inline void violation(const char* function, const char* what) {
  std::fprintf(stderr, "\n*** contract violation in %s: %s\n", function, what);
  std::fflush(stderr);
  std::abort();
}

inline void require(bool condition, const char* function, const char* what) {
  if (!condition) violation(function, what);
}

// The last-error buffer holds a NUL within its 256 bytes.
inline std::size_t messageLength(const char* function) {
  const char* message = get_last_error();
  require(message != nullptr, function, "get_last_error() returned NULL");
  const void* nul = std::memchr(message, 0, ALG_LAST_ERROR_CAPACITY);
  require(nul != nullptr, function, "last error not terminated within 256 bytes");
  return static_cast<std::size_t>(static_cast<const char*>(nul) - message);
}

// status is one of the four codes and one of those the function documents
// for the arguments at hand; the message matches the outcome.
// With CORVEL_FUZZ_TRACE set in the environment every checked call prints
// its status: running a harness on its seeds shows which paths they reach.
inline void checkStatus(const char* function, int status, std::initializer_list<int> allowed) {
  static const bool trace = std::getenv("CORVEL_FUZZ_TRACE") != nullptr;
  if (trace) std::fprintf(stderr, "%s -> %d %s\n", function, status, get_last_error());
  if (status != ALG_STATUS_OK && status != ALG_STATUS_INVALID_ARGUMENT &&
      status != ALG_STATUS_OUT_OF_RANGE && status != ALG_STATUS_FAILURE) {
    std::fprintf(stderr, "status %d\n", status);
    violation(function, "status outside {0, 10, 20, 100}");
  }
  bool expected = false;
  for (int s : allowed) expected = expected || s == status;
  if (!expected) {
    std::fprintf(stderr, "status %d, message \"%s\"; documented here:", status, get_last_error());
    for (int s : allowed) std::fprintf(stderr, " %d", s);
    std::fprintf(stderr, "\n");
    violation(function, "status not documented for these arguments");
  }
  const std::size_t length = messageLength(function);
  require(length <= 255, function, "message longer than 255 bytes");
  if (status == ALG_STATUS_OK) {
    require(length == 0, function, "message left after a success");
  } else {
    require(length > 0, function, "failure without a message");
  }
}

// A byte copy of a caller area taken before a call, to prove afterwards
// that the call did not touch it.
class Snapshot {
 public:
  Snapshot() = default;
  Snapshot(const void* area, std::size_t bytes)
      : area_(area),
        copy_(static_cast<const std::uint8_t*>(area),
              static_cast<const std::uint8_t*>(area) + (area ? bytes : 0)) {}
  template <typename T>
  explicit Snapshot(const std::vector<T>& v) : Snapshot(v.data(), v.size() * sizeof(T)) {}
  template <typename T>
  static Snapshot of(const T& object) {
    return Snapshot(&object, sizeof object);
  }

  bool unchanged() const {
    return copy_.empty() || std::memcmp(area_, copy_.data(), copy_.size()) == 0;
  }
  void expectUnchanged(const char* function, const char* what) const {
    if (!unchanged()) violation(function, what);
  }

 private:
  const void* area_ = nullptr;
  std::vector<std::uint8_t> copy_;
};

// The pattern written into output areas before a call: as a double it is
// an ordinary negative number no computation here produces by chance.
inline constexpr std::uint8_t kGuardByte = 0xA5;

template <typename T>
std::vector<T> guarded(std::size_t n) {
  std::vector<T> v(n);
  if (n != 0) std::memset(static_cast<void*>(v.data()), kGuardByte, n * sizeof(T));
  return v;
}

template <typename T>
void guard(T& object) {
  std::memset(static_cast<void*>(&object), kGuardByte, sizeof object);
}

// Pointer and count out-parameters hold these before a call; a failing
// call must leave them so.
inline double* guardPointer() {
  return reinterpret_cast<double*>(static_cast<std::uintptr_t>(0xA5A5A5A5A5A5A5A0u));
}
inline constexpr std::size_t kGuardCount = 0xA5A5A5A5A5A5A5A5u;

// Releases a result array and checks that the caller's pointer is cleared.
inline void releaseArray(const char* function, double*& array) {
  require(alg_darray_release(&array) == ALG_STATUS_OK, function, "alg_darray_release failed");
  require(array == nullptr, function, "alg_darray_release left the pointer set");
}

inline void releaseCoeff(const char* function, GaussCoeff*& coeff) {
  require(alg_gausscoeff_release(&coeff) == ALG_STATUS_OK, function, "release failed");
  require(coeff == nullptr, function, "alg_gausscoeff_release left the handle set");
}

inline void releaseModel(const char* function, MgfModel*& model) {
  require(alg_mgf_release(&model) == ALG_STATUS_OK, function, "release failed");
  require(model == nullptr, function, "alg_mgf_release left the handle set");
}

// Equality of numbers: 0 equals -0, and every NaN equals every NaN.
inline bool sameNumber(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

// Bitwise equality of doubles (copies), with every NaN equal to every NaN.
inline bool sameValue(double a, double b) {
  if (std::isnan(a) && std::isnan(b)) return true;
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// The three arrays of a set, copied out through the public interface.
struct CoeffContents {
  std::vector<double> amplitudes, centers, widths;
  bool operator==(const CoeffContents& o) const {
    auto same = [](const std::vector<double>& a, const std::vector<double>& b) {
      return a.size() == b.size() &&
             (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
    };
    return same(amplitudes, o.amplitudes) && same(centers, o.centers) && same(widths, o.widths);
  }
  bool operator!=(const CoeffContents& o) const { return !(*this == o); }
};

inline CoeffContents readCoeff(const char* function, const GaussCoeff* coeff) {
  std::size_t counts[3] = {kGuardCount, kGuardCount, kGuardCount};
  double* arrays[3] = {guardPointer(), guardPointer(), guardPointer()};
  const int status = alg_get_gausscoeff_data(coeff, &counts[0], &arrays[0], &counts[1], &arrays[1],
                                             &counts[2], &arrays[2]);
  checkStatus("alg_get_gausscoeff_data", status, {ALG_STATUS_OK});
  CoeffContents contents;
  std::vector<double>* out[3] = {&contents.amplitudes, &contents.centers, &contents.widths};
  for (int k = 0; k < 3; ++k) {
    require(counts[k] != kGuardCount, function, "alg_get_gausscoeff_data left a count unset");
    require((counts[k] == 0) == (arrays[k] == nullptr), function,
            "alg_get_gausscoeff_data: an array must be NULL exactly when its count is 0");
    if (counts[k] != 0) out[k]->assign(arrays[k], arrays[k] + counts[k]);
    releaseArray(function, arrays[k]);
  }
  return contents;
}

// A new set holding the given arrays (counts may differ).
inline GaussCoeff* makeCoeff(const char* function, const std::vector<double>& amplitudes,
                             const std::vector<double>& centers,
                             const std::vector<double>& widths) {
  GaussCoeff* coeff = nullptr;
  checkStatus("alg_create_gausscoeff", alg_create_gausscoeff(&coeff), {ALG_STATUS_OK});
  require(coeff != nullptr, function, "alg_create_gausscoeff returned no handle");
  const int status =
      alg_set_gausscoeff_data(coeff, amplitudes.size(), amplitudes.data(), centers.size(),
                              centers.data(), widths.size(), widths.data());
  checkStatus("alg_set_gausscoeff_data", status, {ALG_STATUS_OK});
  return coeff;
}

// Whether the three counts of a set agree.
inline bool consistent(const CoeffContents& c) {
  return c.amplitudes.size() == c.centers.size() && c.centers.size() == c.widths.size();
}

}  // namespace corvel::fuzz

#endif  // CORVEL_TESTS_FUZZ_CONTRACT_H
