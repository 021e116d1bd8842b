// Console output and progress lines.
#include "common/console.hpp"

#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace ventrel {

void say(std::string_view line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
}

void say_no_newline(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void warn(std::string_view line) {
  std::fflush(stdout);
  std::fputs("ventrel: warning: ", stderr);
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fputc('\n', stderr);
}

progress::progress(std::string_view label, long long total)
    : active_(::isatty(STDERR_FILENO) == 1 && total > 0), total_(total) {
  std::size_t n = label.size() < sizeof label_ - 1 ? label.size() : sizeof label_ - 1;
  std::memcpy(label_, label.data(), n);
}

void progress::update(long long done) {
  if (!active_ || finished_) return;
  int pct = static_cast<int>(100.0 * static_cast<double>(done) / static_cast<double>(total_));
  if (pct == last_percent_) return;
  last_percent_ = pct;
  std::fprintf(stderr, "\r%s: %3d%%", label_, pct);
  std::fflush(stderr);
}

void progress::finish() {
  if (!active_ || finished_) return;
  finished_ = true;
  std::fprintf(stderr, "\r%s: done\n", label_);
}

}  // namespace ventrel
