// The fatal stop: every fault of a run ends in one exception that carries the message lines,
// caught only in main, which prints them on standard output and exits with status 1.
#pragma once

#include <exception>
#include <initializer_list>
#include <string>
#include <vector>

namespace ventrel {

class fatal_error : public std::exception {
 public:
  explicit fatal_error(std::vector<std::string> lines);
  const std::vector<std::string>& lines() const noexcept { return lines_; }
  const char* what() const noexcept override { return joined_.c_str(); }

 private:
  std::vector<std::string> lines_;
  std::string joined_;  // lines joined by newlines, for what()
};

// Stops the run with the given message lines, printed exactly as given (no blanks added).
[[noreturn]] void fatal(std::vector<std::string> lines);
[[noreturn]] void fatal(std::string line);
// Braced lines, fatal({"first", "second"}): preferred over the overloads above, so that two
// literals are never taken for an iterator pair.
[[noreturn]] void fatal(std::initializer_list<std::string> lines);

}  // namespace ventrel
