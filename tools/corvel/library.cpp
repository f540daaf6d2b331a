#include "library.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <iconv.h>
#endif

#include <cstring>

namespace corvel::tool {

std::string gbkToUtf8(const char* text) {
  const std::size_t length = text ? std::strlen(text) : 0;
  if (length == 0) return std::string();
#ifdef _WIN32
  const int wide = MultiByteToWideChar(936, 0, text, static_cast<int>(length), nullptr, 0);
  if (wide <= 0) return std::string(text, length);
  std::wstring utf16(static_cast<std::size_t>(wide), L'\0');
  MultiByteToWideChar(936, 0, text, static_cast<int>(length), utf16.data(), wide);
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, utf16.data(), wide, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, utf16.data(), wide, utf8.data(), bytes, nullptr, nullptr);
  return utf8;
#else
  const iconv_t converter = iconv_open("UTF-8", "GBK");
  if (converter == reinterpret_cast<iconv_t>(-1)) return std::string(text, length);
  std::string utf8(length * 2 + 4, '\0');  // a GBK pair becomes at most three bytes
  char* in = const_cast<char*>(text);
  std::size_t inLeft = length;
  char* out = utf8.data();
  std::size_t outLeft = utf8.size();
  const std::size_t done = iconv(converter, &in, &inLeft, &out, &outLeft);
  iconv_close(converter);
  if (done == static_cast<std::size_t>(-1)) return std::string(text, length);
  utf8.resize(utf8.size() - outLeft);
  return utf8;
#endif
}

void check(int status, const char* call) {
  if (status == ALG_STATUS_OK) return;
  std::string message = gbkToUtf8(get_last_error());
  if (message.empty()) message = "no message";
  throw LibraryError(
      status, std::string(call) + ": " + message + " (status " + std::to_string(status) + ")");
}

Peaks CoeffSet::peaks() const {
  std::size_t na = 0, nc = 0, nw = 0;
  DoubleArray a, c, w;
  check(alg_get_gausscoeff_data(set_, &na, a.out(), &nc, c.out(), &nw, w.out()),
        "alg_get_gausscoeff_data");
  Peaks p;
  p.amplitudes.assign(a.data(), a.data() + (a.data() ? na : 0));
  p.centers.assign(c.data(), c.data() + (c.data() ? nc : 0));
  p.widths.assign(w.data(), w.data() + (w.data() ? nw : 0));
  return p;
}

Model::Model(const std::vector<double>& x, const std::vector<double>& y, double peakWidth) {
  MgfOptions options{};
  options.peakWidth = peakWidth;
  check(alg_mgf_create(x.data(), x.size(), y.data(), y.size(), &options, &model_),
        "alg_mgf_create");
}

}  // namespace corvel::tool
