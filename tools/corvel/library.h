// The tool's face of the library's C interface: a failed call becomes an
// exception carrying the library's message in UTF-8, and what the library
// hands out (result arrays, coefficient sets, models) is owned by RAII types.
#ifndef CORVEL_TOOL_LIBRARY_H
#define CORVEL_TOOL_LIBRARY_H

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "CorvelAlg.h"

namespace corvel::tool {

// A library call that did not return ALG_STATUS_OK.
class LibraryError : public std::runtime_error {
 public:
  LibraryError(int status, const std::string& message)
      : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

// The library's messages are GBK bytes; the tool speaks UTF-8.
std::string gbkToUtf8(const char* text);

// Throws LibraryError "<call>: <library message> (status N)" unless status
// is ALG_STATUS_OK. Reads the library's last error right away; with calls
// running in other threads at the same moment, the message may be theirs
// (the library keeps one buffer per process), the status is always ours.
void check(int status, const char* call);

// A result array handed out by the library.
class DoubleArray {
 public:
  DoubleArray() = default;
  ~DoubleArray() { alg_darray_release(&data_); }
  DoubleArray(const DoubleArray&) = delete;
  DoubleArray& operator=(const DoubleArray&) = delete;

  double** out() { return &data_; }
  std::size_t* count() { return &count_; }
  std::vector<double> vector() const {
    return data_ ? std::vector<double>(data_, data_ + count_) : std::vector<double>();
  }
  std::size_t size() const { return data_ ? count_ : 0; }
  const double* data() const { return data_; }

 private:
  double* data_ = nullptr;
  std::size_t count_ = 0;
};

// Amplitudes, centres and widths (standard deviations) of a set of peaks.
struct Peaks {
  std::vector<double> amplitudes, centers, widths;
  std::size_t size() const { return centers.size(); }
};

// A coefficient set owned by the tool.
class CoeffSet {
 public:
  CoeffSet() = default;
  ~CoeffSet() { alg_gausscoeff_release(&set_); }
  CoeffSet(const CoeffSet&) = delete;
  CoeffSet& operator=(const CoeffSet&) = delete;

  GaussCoeff** out() { return &set_; }
  GaussCoeff* get() const { return set_; }
  Peaks peaks() const;  // copies the arrays out

 private:
  GaussCoeff* set_ = nullptr;
};

// A multi-Gaussian model owned by the tool.
class Model {
 public:
  Model(const std::vector<double>& x, const std::vector<double>& y, double peakWidth);
  ~Model() { alg_mgf_release(&model_); }
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  const MgfModel* get() const { return model_; }

 private:
  MgfModel* model_ = nullptr;
};

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_LIBRARY_H
