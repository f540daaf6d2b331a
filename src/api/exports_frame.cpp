// Exports of the frame itself: diagnostics and the release of result arrays.
#include "CorvelAlg.h"
#include "api/frame.h"
#include "core/allocator.h"

namespace {
constexpr char kVersion[] = "1.1.2";
}  // namespace

extern "C" {

CORVELALG_API const char* get_last_error(void) {
  return corvel::api::lastErrorBuffer();
}

CORVELALG_API const char* version(void) {
  return kVersion;
}

CORVELALG_API int alg_darray_release(double** array) {
  corvel::api::clearLastError();
  if (array != nullptr && *array != nullptr) {
    corvel::releaseBytes(*array);
    *array = nullptr;
  }
  return ALG_STATUS_OK;
}

}  // extern "C"
