// A progress bar on stderr for long work, drawn only when stderr is a
// terminal and the user did not ask for quiet.
#ifndef CORVEL_TOOL_PROGRESS_H
#define CORVEL_TOOL_PROGRESS_H

#include <cstddef>
#include <mutex>
#include <string>

namespace corvel::tool {

// True when stderr is an interactive terminal.
bool stderrIsTerminal();

// Counts units of work done out of a known total and redraws one line on
// stderr. Safe to advance from several threads. Draws nothing when not
// enabled; finish() (or the destructor) clears the line.
class Progress {
 public:
  Progress(std::string label, std::size_t total, bool enabled);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void advance(std::size_t units = 1);
  // Announces more work: the total grows by units. For work whose size is
  // learnt as it goes, such as the wells of plates still being read.
  void addWork(std::size_t units);
  void finish();

 private:
  void draw();  // with mutex_ held

  std::mutex mutex_;
  std::string label_;
  std::size_t total_;
  std::size_t done_ = 0;
  int shown_ = -1;  // last percentage drawn
  bool enabled_;
  bool finished_ = false;
};

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_PROGRESS_H
