// Console output and progress lines.
#include "common/console.hpp"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>

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

struct elapsed_progress::ticker {
  std::string label;
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  std::mutex m;
  std::condition_variable cv;
  bool stop = false;
  bool shown_any = false;  // a line is on the terminal
  std::thread thread;

  long long seconds() const {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
  }
  void run() {
    std::unique_lock<std::mutex> lock(m);
    for (long long shown = 0; !cv.wait_for(lock, std::chrono::seconds(1), [this] { return stop; });) {
      if (seconds() == shown) continue;
      shown = seconds();
      shown_any = true;
      std::fprintf(stderr, "\r%s: %lld s", label.c_str(), shown);
      std::fflush(stderr);
    }
  }
};

elapsed_progress::elapsed_progress(std::string_view label) {
  if (::isatty(STDERR_FILENO) != 1) return;
  t_ = std::make_unique<ticker>();
  t_->label = std::string(label);
  t_->thread = std::thread([t = t_.get()] { t->run(); });
}

void elapsed_progress::finish() {
  if (!t_) return;
  {
    std::lock_guard<std::mutex> lock(t_->m);
    t_->stop = true;
  }
  t_->cv.notify_one();
  t_->thread.join();
  if (t_->shown_any) std::fprintf(stderr, "\r%s: %lld s\n", t_->label.c_str(), t_->seconds());
  t_.reset();
}

elapsed_progress::~elapsed_progress() { finish(); }

}  // namespace ventrel
