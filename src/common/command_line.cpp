// Command-line arguments.
#include "common/command_line.hpp"

#include "common/format.hpp"

namespace ventrel {

command_line command_line::from(int argc, char** argv) {
  command_line c;
  for (int i = 1; i < argc; ++i) c.args.emplace_back(std::string(argv[i]).substr(0, 250));
  return c;
}

int find_argument(const command_line& cmd, std::string_view word) {
  std::string_view w = trim_right(word);
  for (std::size_t i = 0; i < cmd.args.size(); ++i)
    if (trim_right(cmd.args[i]) == w) return static_cast<int>(i) + 1;
  return 0;
}

}  // namespace ventrel
