// Turning a fuzzer's bytes into arguments for the library, and back.
//
// FuzzInput reads the bytes strictly front to back; once they are used up
// every read yields zeros, so any byte string is a valid input. SeedWriter
// produces bytes in the same format, so that the seed writer can describe
// meaningful calls (a plate of amplification curves, a melting curve with
// two peaks) value by value. Every reader method has a writer counterpart
// of the same name; the two must change together.
//
// Sizes are bounded so that one input stays fast: the library is fast, and
// a fuzzer finds more with many small calls than with few large ones.
// Large sizes are reachable but rare (see size()).
#ifndef CORVEL_TESTS_FUZZ_FUZZ_INPUT_H
#define CORVEL_TESTS_FUZZ_FUZZ_INPUT_H

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "CorvelAlg.h"

namespace corvel::fuzz {

// Limits of the decoded sizes.
inline constexpr std::size_t kMaxWells = 64;
inline constexpr std::size_t kMaxCycles = 60;
inline constexpr std::size_t kMaxPoints = 2000;
inline constexpr std::size_t kMaxPeaks = 8;

// Selector ranges of number(): [0, 64) a value of the table below,
// [64, 128) a raw bit pattern, [128, 192) a small multiple of 1/16,
// [192, 256) an ordinary magnitude with a sign.
inline constexpr std::uint8_t kNumberTable = 0;
inline constexpr std::uint8_t kNumberRaw = 64;
inline constexpr std::uint8_t kNumberSmall = 128;
inline constexpr std::uint8_t kNumberOrdinary = 192;

// Values that break careless arithmetic, and a few ordinary ones.
inline const double kInteresting[] = {
    0.0,
    -0.0,
    1.0,
    -1.0,
    std::numeric_limits<double>::quiet_NaN(),
    -std::numeric_limits<double>::quiet_NaN(),
    std::numeric_limits<double>::infinity(),
    -std::numeric_limits<double>::infinity(),
    std::numeric_limits<double>::denorm_min(),
    -std::numeric_limits<double>::denorm_min(),
    DBL_MIN,
    DBL_MIN / 3.0,
    DBL_MAX,
    -DBL_MAX,
    1e308,
    -1e308,
    1e-308,
    1e300,
    1e-300,
    1e154,
    1e-154,
    9007199254740992.0,      // 2^53
    18446744073709551616.0,  // 2^64
    9223372036854775808.0,   // 2^63
    -9223372036854775808.0,
    4294967296.0,  // 2^32
    2147483648.0,  // 2^31
    0.5,
    1e-9,
    1e9,
    300.0,
    100.0,
    0.01,
    10.0,
    1.7,
    2.3548,
    std::nextafter(1.0, 2.0),
    std::nextafter(0.0, 1.0) * 2.0,
};
inline constexpr std::size_t kInterestingCount = sizeof(kInteresting) / sizeof(kInteresting[0]);

// Shapes of a decoded array (the first byte of array()).
enum class Shape : std::uint8_t {
  kAmplification,  // logistic rise over a drifting baseline, with noise
  kMelting,        // falling sigmoid of a raw melting curve, with noise
  kPeaks,          // a few Gaussian peaks (a derivative melting curve)
  kRamp,           // start + i * step
  kConstant,       // one value throughout
  kRaw,            // every element decoded with number()
  kCount
};

// Shapes of a decoded abscissa array (the first byte of abscissae()).
enum class Axis : std::uint8_t {
  kEven,        // evenly spaced and increasing, as an instrument reads
  kJittered,    // increasing with uneven steps
  kDecreasing,  // evenly spaced and decreasing
  kArbitrary,   // any array (array())
  kCount
};

class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  bool flag() { return (byte() & 1) != 0; }
  std::uint16_t u16() {
    const std::uint16_t lo = byte();
    return static_cast<std::uint16_t>(lo | (byte() << 8));
  }
  std::uint32_t u32() {
    const std::uint32_t lo = u16();
    return lo | (static_cast<std::uint32_t>(u16()) << 16);
  }
  std::uint64_t u64() {
    const std::uint64_t lo = u32();
    return lo | (static_cast<std::uint64_t>(u32()) << 32);
  }

  // A size in 0..max: one byte below 224 gives 0..min(max, typical),
  // otherwise two more bytes give 0..max, so most sizes are small.
  std::size_t size(std::size_t max, std::size_t typical = 31) {
    const std::uint8_t b = byte();
    if (b < 224) return b % ((max < typical ? max : typical) + 1);
    return u16() % (max + 1);
  }

  // A value in [lo, hi] in 65536 even steps.
  double ordinary(double lo, double hi) { return lo + (hi - lo) * (u16() / 65535.0); }

  // Any double, hostile ones often.
  double number() {
    const std::uint8_t selector = byte();
    if (selector < kNumberRaw) return kInteresting[selector % kInterestingCount];
    if (selector < kNumberSmall) {
      const std::uint64_t bits = u64();
      double value;
      std::memcpy(&value, &bits, sizeof value);
      return value;
    }
    if (selector < kNumberOrdinary) return static_cast<std::int16_t>(u16()) / 16.0;
    const double magnitude = std::pow(10.0, ordinary(-6.0, 6.0));
    return (selector & 1) ? -magnitude : magnitude;
  }

  // n values of a decoded shape, then up to three hostile values spliced
  // in at decoded places.
  std::vector<double> array(std::size_t n) {
    std::vector<double> v(n);
    const auto shape = static_cast<Shape>(byte() % static_cast<std::uint8_t>(Shape::kCount));
    switch (shape) {
      case Shape::kAmplification: {
        const double base = ordinary(0.0, 5000.0);
        const double drift = ordinary(-20.0, 20.0);
        const double plateau = ordinary(0.0, 1e5);
        const double mid = ordinary(5.0, 45.0);
        const double rate = ordinary(0.05, 1.5);
        const double noise = ordinary(0.0, 200.0);
        for (std::size_t i = 0; i < n; ++i) {
          const double cycle = static_cast<double>(i + 1);
          v[i] = base + drift * cycle + plateau / (1.0 + std::exp(-(cycle - mid) * rate)) +
                 noise * jitter();
        }
        break;
      }
      case Shape::kMelting: {
        const double high = ordinary(1000.0, 50000.0);
        const double low = ordinary(0.0, 1000.0);
        const double mid = ordinary(0.0, 1.0) * static_cast<double>(n);
        const double rate = ordinary(0.01, 1.0);
        const double noise = ordinary(0.0, 50.0);
        for (std::size_t i = 0; i < n; ++i) {
          const double t = static_cast<double>(i);
          v[i] = low + (high - low) / (1.0 + std::exp((t - mid) * rate)) + noise * jitter();
        }
        break;
      }
      case Shape::kPeaks: {
        const std::size_t peaks = 1 + byte() % 3;
        double amplitude[3], center[3], width[3];
        for (std::size_t k = 0; k < peaks; ++k) {
          amplitude[k] = ordinary(0.0, 5000.0);
          center[k] = ordinary(0.0, 1.0) * static_cast<double>(n);
          width[k] = ordinary(0.5, 50.0);
        }
        const double noise = ordinary(0.0, 20.0);
        for (std::size_t i = 0; i < n; ++i) {
          const double t = static_cast<double>(i);
          double sum = noise * jitter();
          for (std::size_t k = 0; k < peaks; ++k) {
            const double d = (t - center[k]) / width[k];
            sum += amplitude[k] * std::exp(-0.5 * d * d);
          }
          v[i] = sum;
        }
        break;
      }
      case Shape::kRamp: {
        const double start = number();
        const double step = number();
        for (std::size_t i = 0; i < n; ++i) v[i] = start + step * static_cast<double>(i);
        break;
      }
      case Shape::kConstant: {
        const double value = number();
        for (std::size_t i = 0; i < n; ++i) v[i] = value;
        break;
      }
      default:
        for (std::size_t i = 0; i < n; ++i) v[i] = number();
        break;
    }
    spliceHostile(v);
    return v;
  }

  // n abscissae: usually an evenly spaced increasing grid.
  std::vector<double> abscissae(std::size_t n) {
    const auto axis = static_cast<Axis>(byte() % static_cast<std::uint8_t>(Axis::kCount));
    if (axis == Axis::kArbitrary) return array(n);
    std::vector<double> x(n);
    const double start = ordinary(-100.0, 100.0);
    const double step = ordinary(0.001, 5.0);
    double at = start;
    for (std::size_t i = 0; i < n; ++i) {
      switch (axis) {
        case Axis::kJittered:
          x[i] = at;
          at += step * (0.05 + byte() / 64.0);
          break;
        case Axis::kDecreasing:
          x[i] = start - step * static_cast<double>(i);
          break;
        default:
          x[i] = start + step * static_cast<double>(i);
          break;
      }
    }
    spliceHostile(x);
    return x;
  }

  // A hostile int16, for caller-given baseline windows.
  std::int16_t short16() {
    const std::uint8_t kind = byte() % 4;
    if (kind == 0) return 0;  // automatic
    if (kind == 1) return static_cast<std::int16_t>(byte() % 70);
    return static_cast<std::int16_t>(u16());
  }

  // A hostile int32, for mode fields and multiples.
  std::int32_t int32() {
    const std::uint8_t kind = byte() % 4;
    if (kind == 0) return static_cast<std::int32_t>(byte() % 8) - 1;  // -1..6
    if (kind == 1) return std::numeric_limits<std::int32_t>::min();
    if (kind == 2) return std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(u32());
  }

 private:
  // Noise in [-1, 1), one byte per value.
  double jitter() { return (static_cast<int>(byte()) - 128) / 128.0; }

  void spliceHostile(std::vector<double>& v) {
    const std::uint8_t count = byte();
    if (v.empty() || count < 192) return;
    for (int k = 0; k < 1 + count % 3; ++k) {
      const std::size_t at = u16() % v.size();
      v[at] = kInteresting[byte() % kInterestingCount];
    }
  }

  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

// The three arrays of a peak set: usually of one count, sometimes of
// three different ones (a set a host is still filling).
struct PeakArrays {
  std::vector<double> amplitudes, centers, widths;
};

inline PeakArrays decodePeaks(FuzzInput& in, std::size_t maxPeaks) {
  PeakArrays p;
  const std::size_t n = in.size(maxPeaks);
  const bool uneven = (in.byte() & 7) == 7;
  const std::size_t na = uneven ? in.size(maxPeaks) : n;
  const std::size_t nw = uneven ? in.size(maxPeaks) : n;
  p.amplitudes = in.array(na);
  p.centers = in.array(n);
  p.widths = in.array(nw);
  return p;
}

// A model's curve: x and y usually of one count, options with a decoded
// peak width and arbitrary reserved fields.
struct ModelData {
  std::vector<double> x, y;
  MgfOptions options;
};

inline ModelData decodeModel(FuzzInput& in, std::size_t maxPoints) {
  ModelData m;
  const std::size_t n = in.size(maxPoints);
  const bool uneven = (in.byte() & 7) == 7;
  const std::size_t nx = uneven ? in.size(maxPoints) : n;
  m.x = in.abscissae(nx);
  m.y = in.array(n);
  m.options.reserved0 = in.u64();
  m.options.reserved1 = in.u64();
  m.options.peakWidth = (in.byte() & 3) == 3 ? in.number() : in.ordinary(0.0, 20.0);
  m.options.reserved2 = in.u64();
  m.options.reserved3 = in.number();
  return m;
}

// Writes bytes that FuzzInput decodes to the given values.
class SeedWriter {
 public:
  void byte(std::uint8_t b) { bytes_.push_back(b); }
  void flag(bool f) { byte(f ? 1 : 0); }
  void u16(std::uint16_t v) {
    byte(static_cast<std::uint8_t>(v & 0xff));
    byte(static_cast<std::uint8_t>(v >> 8));
  }
  void u32(std::uint32_t v) {
    u16(static_cast<std::uint16_t>(v & 0xffff));
    u16(static_cast<std::uint16_t>(v >> 16));
  }
  void u64(std::uint64_t v) {
    u32(static_cast<std::uint32_t>(v & 0xffffffffu));
    u32(static_cast<std::uint32_t>(v >> 32));
  }
  // Sizes above 5 always take the long form, which decodes to the same
  // value whatever the reader's typical bound.
  void size(std::size_t n) {
    if (n <= 5) {
      byte(static_cast<std::uint8_t>(n));
    } else {
      byte(224);
      u16(static_cast<std::uint16_t>(n));
    }
  }
  // The nearest of the 65536 steps of [lo, hi].
  void ordinary(double lo, double hi, double value) {
    const double t = (value - lo) / (hi - lo) * 65535.0;
    u16(static_cast<std::uint16_t>(t < 0 ? 0 : t > 65535 ? 65535 : std::lround(t)));
  }
  // An exact double, as a raw bit pattern.
  void number(double value) {
    byte(kNumberRaw);
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    u64(bits);
  }
  // A value of the table of interesting numbers.
  void interesting(std::size_t index) { byte(static_cast<std::uint8_t>(kNumberTable + index)); }

  // Exact values (Shape::kRaw), nothing spliced in.
  void array(const std::vector<double>& values) {
    byte(static_cast<std::uint8_t>(Shape::kRaw));
    for (double v : values) number(v);
    byte(0);
  }
  // A logistic amplification curve (Shape::kAmplification).
  void amplification(std::size_t n, double base, double drift, double plateau, double mid,
                     double rate, double noise) {
    byte(static_cast<std::uint8_t>(Shape::kAmplification));
    ordinary(0.0, 5000.0, base);
    ordinary(-20.0, 20.0, drift);
    ordinary(0.0, 1e5, plateau);
    ordinary(5.0, 45.0, mid);
    ordinary(0.05, 1.5, rate);
    ordinary(0.0, 200.0, noise);
    noiseBytes(n);
    byte(0);
  }
  // A falling melting curve (Shape::kMelting); mid as a fraction of n.
  void melting(std::size_t n, double high, double low, double midFraction, double rate) {
    byte(static_cast<std::uint8_t>(Shape::kMelting));
    ordinary(1000.0, 50000.0, high);
    ordinary(0.0, 1000.0, low);
    ordinary(0.0, 1.0, midFraction);
    ordinary(0.01, 1.0, rate);
    ordinary(0.0, 50.0, 5.0);
    noiseBytes(n);
    byte(0);
  }
  // Up to three Gaussian peaks (Shape::kPeaks); centres as fractions of n.
  void peaks(std::size_t n, const std::vector<double>& amplitude,
             const std::vector<double>& centerFraction, const std::vector<double>& width) {
    byte(static_cast<std::uint8_t>(Shape::kPeaks));
    byte(static_cast<std::uint8_t>(amplitude.size() - 1));
    for (std::size_t k = 0; k < amplitude.size(); ++k) {
      ordinary(0.0, 5000.0, amplitude[k]);
      ordinary(0.0, 1.0, centerFraction[k]);
      ordinary(0.5, 50.0, width[k]);
    }
    ordinary(0.0, 20.0, 0.0);
    for (std::size_t i = 0; i < n; ++i) byte(128);
    byte(0);
  }
  // An evenly spaced increasing grid (Axis::kEven).
  void evenAxis(double start, double step) {
    byte(static_cast<std::uint8_t>(Axis::kEven));
    ordinary(-100.0, 100.0, start);
    ordinary(0.001, 5.0, step);
    byte(0);
  }
  void short16(std::int16_t v) {
    if (v == 0) {
      byte(0);
    } else {
      byte(3);
      u16(static_cast<std::uint16_t>(v));
    }
  }
  void int32(std::int32_t v) {
    byte(3);
    u32(static_cast<std::uint32_t>(v));
  }

  // Counterparts of decodePeaks() and decodeModel(), for even counts.
  void peakSet(const std::vector<double>& amplitudes, const std::vector<double>& centers,
               const std::vector<double>& widths) {
    size(centers.size());
    byte(0);
    array(amplitudes);
    array(centers);
    array(widths);
  }
  // A model over an even grid, its curve written by writeCurve(); the
  // reserved option fields are zero.
  template <typename WriteCurve>
  void model(std::size_t n, double start, double step, double peakWidth, WriteCurve writeCurve) {
    size(n);
    byte(0);
    evenAxis(start, step);
    writeCurve();
    u64(0);
    u64(0);
    byte(0);
    ordinary(0.0, 20.0, peakWidth);
    u64(0);
    interesting(0);
  }

  const std::vector<std::uint8_t>& bytes() const { return bytes_; }

 private:
  // Noise bytes of a shaped curve: a fixed irregular pattern.
  void noiseBytes(std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) byte(static_cast<std::uint8_t>((i * 97 + 31) % 256));
  }

  std::vector<std::uint8_t> bytes_;
};

}  // namespace corvel::fuzz

#endif  // CORVEL_TESTS_FUZZ_FUZZ_INPUT_H
