#include "api/frame.h"

#include <cstring>
#include <stdexcept>
#include <typeinfo>

#include "core/messages.h"

namespace corvel::api {

namespace {

// Zero when the library is loaded; the library's only mutable global state.
char gLastError[ALG_LAST_ERROR_CAPACITY];

constexpr std::size_t kMessageLimit = ALG_LAST_ERROR_CAPACITY - 1;

// Bounded string copy: at most 255 bytes, stopping after the terminating
// NUL and filling the rest of the 255 with NULs; byte 255 is always NUL, so
// a longer message is cut at exactly 255 bytes, even inside a GBK pair.
void storeMessage(const char* text) noexcept {
  std::size_t i = 0;
  for (; i < kMessageLimit && text[i] != '\0'; ++i) gLastError[i] = text[i];
  for (; i < kMessageLimit; ++i) gLastError[i] = '\0';
  gLastError[kMessageLimit] = '\0';
}

// A plain std::exception carries no message; runtimes disagree on what its
// what() says, so the library answers the same text everywhere.
const char* messageOf(const std::exception& e) noexcept {
  if (typeid(e) == typeid(std::exception)) return msg::kUnknownException;
  const char* text = e.what();
  return (text == nullptr || text[0] == '\0') ? msg::kUnknownException : text;
}

int statusOf(const std::exception& e) noexcept {
  if (dynamic_cast<const std::invalid_argument*>(&e) != nullptr) return ALG_STATUS_INVALID_ARGUMENT;
  if (dynamic_cast<const std::out_of_range*>(&e) != nullptr) return ALG_STATUS_OUT_OF_RANGE;
  if (dynamic_cast<const std::range_error*>(&e) != nullptr) return ALG_STATUS_OUT_OF_RANGE;
  return ALG_STATUS_FAILURE;
}

}  // namespace

char* lastErrorBuffer() noexcept {
  return gLastError;
}

void clearLastError() noexcept {
  gLastError[0] = '\0';
}

int reportFailure(const std::exception& e) noexcept {
  storeMessage(messageOf(e));
  return statusOf(e);
}

int reportUnknownFailure() noexcept {
  storeMessage(msg::kUnknownException);
  return ALG_STATUS_FAILURE;
}

void requireArray(const void* array, std::size_t count) {
  if (array == nullptr && count != 0) throw std::invalid_argument(msg::kNullData);
}

void copyOutput(const AlgVector& values, double* out) {
  requireArray(out, values.size());
  if (!values.empty()) std::memcpy(out, values.data(), values.size() * sizeof(double));
}

void copyOutput(const AlgMatrix& values, double* out) {
  const std::size_t count = values.rows() * values.cols();
  requireArray(out, count);
  if (count != 0) std::memcpy(out, values.data(), count * sizeof(double));
}

}  // namespace corvel::api
