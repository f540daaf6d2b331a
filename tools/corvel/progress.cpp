// A one-line progress bar on stderr: "label [#########           ] 12/96",
// redrawn in place with a carriage return whenever the whole percentage
// changes, so that even a long run writes at most about a hundred lines'
// worth of text.
#include "progress.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <string>
#include <utility>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace corvel::tool {
namespace {

constexpr std::size_t kBarWidth = 30;
// Longer labels are cut so that the line fits an ordinary terminal.
constexpr std::size_t kMaxLabel = 40;

// The label cut to kMaxLabel bytes, never inside a UTF-8 character.
std::string shortLabel(std::string label) {
  if (label.size() <= kMaxLabel) return label;
  std::size_t cut = kMaxLabel - 3;
  while (cut > 0 && (static_cast<unsigned char>(label[cut]) & 0xC0) == 0x80) --cut;
  label.resize(cut);
  return label + "...";
}

// The widest line the bar can draw: label, bar and "total/total".
std::size_t lineWidth(const std::string& label, std::size_t total) {
  return label.size() + 2 + kBarWidth + 2 + 2 * std::to_string(total).size() + 1;
}

// done / total scaled to 0..scale, rounded down; without overflow for any
// total (huge totals lose a little precision, which no bar can show anyway).
std::size_t share(std::size_t done, std::size_t total, std::size_t scale) {
  if (total == 0) return scale;
  if (total <= std::numeric_limits<std::size_t>::max() / scale) return done * scale / total;
  return std::min(scale, done / (total / scale));
}

}  // namespace

bool stderrIsTerminal() {
#ifdef _WIN32
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(fileno(stderr)) != 0;
#endif
}

Progress::Progress(std::string label, std::size_t total, bool enabled)
    : label_(shortLabel(std::move(label))), total_(total), enabled_(enabled) {
  if (!enabled_) return;
  std::lock_guard<std::mutex> lock(mutex_);
  draw();
}

Progress::~Progress() {
  try {
    finish();
  } catch (...) {
    // A destructor must not throw; a bar left on screen is harmless.
  }
}

void Progress::advance(std::size_t units) {
  std::lock_guard<std::mutex> lock(mutex_);
  // Never past the total, even if callers count more than they announced.
  done_ = units > total_ - done_ ? total_ : done_ + units;
  if (enabled_ && !finished_) draw();
}

void Progress::addWork(std::size_t units) {
  std::lock_guard<std::mutex> lock(mutex_);
  total_ = units > std::numeric_limits<std::size_t>::max() - total_
               ? std::numeric_limits<std::size_t>::max()
               : total_ + units;
  shown_ = -1;  // the counts changed even if the percentage did not
  if (enabled_ && !finished_) draw();
}

void Progress::finish() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (finished_) return;
  finished_ = true;
  if (!enabled_ || shown_ < 0) return;
  // Overwrite the bar with blanks and return to the start of the line, so
  // that whatever is printed next starts on a clean line.
  const std::string blank = "\r" + std::string(lineWidth(label_, total_), ' ') + "\r";
  std::fputs(blank.c_str(), stderr);
  std::fflush(stderr);
}

void Progress::draw() {
  if (total_ == 0) return;  // nothing announced yet
  const int percent = static_cast<int>(share(done_, total_, 100));
  if (percent == shown_) return;
  shown_ = percent;
  const std::size_t filled = share(done_, total_, kBarWidth);
  std::string line = "\r" + label_ + " [";
  line.append(filled, '#');
  line.append(kBarWidth - filled, ' ');
  line += "] " + std::to_string(done_) + "/" + std::to_string(total_);
  std::fputs(line.c_str(), stderr);
  std::fflush(stderr);
}

}  // namespace corvel::tool
