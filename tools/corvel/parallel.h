// Runs independent pieces of work on a few threads.
#ifndef CORVEL_TOOL_PARALLEL_H
#define CORVEL_TOOL_PARALLEL_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace corvel::tool {

// Calls task(0), task(1), ..., task(count - 1), each once, on up to
// `threads` threads (the calling one included); returns when all are done.
// A thread that cannot be started leaves its share to the running ones.
// The first exception a task throws stops the tasks not yet started and is
// rethrown here.
template <typename Task>
void forEachInParallel(std::size_t count, std::size_t threads, Task&& task) {
  std::atomic<std::size_t> next{0};
  std::exception_ptr failure;
  std::mutex failureMutex;
  const auto worker = [&] {
    try {
      for (std::size_t i = next++; i < count; i = next++) task(i);
    } catch (...) {
      const std::lock_guard<std::mutex> lock(failureMutex);
      if (!failure) failure = std::current_exception();
      next = count;
    }
  };
  std::vector<std::thread> pool;
  for (std::size_t t = 1; t < std::min(threads, count); ++t) {
    try {
      pool.emplace_back(worker);
    } catch (const std::system_error&) {
      break;
    }
  }
  worker();
  for (std::thread& t : pool) t.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_PARALLEL_H
