// Console output: every line the run prints goes to standard output through here, so that the
// order of messages, report and fatal stops is the order of the calls.
#pragma once

#include <memory>
#include <string_view>

namespace ventrel {

// Prints the line followed by a newline on standard output.
void say(std::string_view line);
// Prints text without a newline (a prompt), and flushes.
void say_no_newline(std::string_view text);
// Prints "ventrel: warning: " and the line on standard error: a note on the input that the
// console output has no line for, such as a file whose reading ended early by design.
void warn(std::string_view line);

// Progress of a long phase on standard error, only when standard error is a terminal:
// "label: 42%" rewritten in place; finish() ends the line.
class progress {
 public:
  progress(std::string_view label, long long total);
  void update(long long done);
  void finish();
  ~progress() { finish(); }

 private:
  bool active_;
  bool finished_ = false;
  long long total_;
  int last_percent_ = -1;
  char label_[64] = {};
};

// The time a long phase has taken so far, for a phase whose own progress is unknown (one call
// into a library), on standard error only when it is a terminal: "label: 12 s", rewritten each
// second by a thread of its own; finish() (or the destructor, on a stop too) ends the line.
class elapsed_progress {
 public:
  explicit elapsed_progress(std::string_view label);
  void finish();
  ~elapsed_progress();
  elapsed_progress(const elapsed_progress&) = delete;
  elapsed_progress& operator=(const elapsed_progress&) = delete;

 private:
  struct ticker;
  std::unique_ptr<ticker> t_;  // null when standard error is not a terminal, or once finished
};

}  // namespace ventrel
