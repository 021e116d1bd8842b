// The command line as the run sees it, passed explicitly to whoever looks at it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ventrel {

struct command_line {
  std::vector<std::string> args;  // arguments after the program name, each cut to 250 characters
  static command_line from(int argc, char** argv);
};

// Position (from 1) of the first argument equal to word once trailing blanks are removed;
// 0 when none is.
int find_argument(const command_line& cmd, std::string_view word);

}  // namespace ventrel
