// The fatal stop.
#include "common/fatal.hpp"

namespace ventrel {

fatal_error::fatal_error(std::vector<std::string> lines) : lines_(std::move(lines)) {
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    if (i) joined_ += '\n';
    joined_ += lines_[i];
  }
}

void fatal(std::vector<std::string> lines) { throw fatal_error(std::move(lines)); }

void fatal(std::string line) { throw fatal_error({std::move(line)}); }

void fatal(std::initializer_list<std::string> lines) { throw fatal_error(std::vector<std::string>(lines)); }

}  // namespace ventrel
