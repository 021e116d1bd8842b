// Writing of sol_valids.
#include "validation/sol_valids.hpp"

#include "common/format.hpp"
#include "common/output_file.hpp"

namespace ventrel::validation {

namespace {
constexpr int set_width = 4;
constexpr int level_width = 12;
constexpr int sol_width = 16;
constexpr int sol_digits = 8;
}  // namespace

std::string sol_valids_text(const std::vector<focal_set>& sets, int ntrait) {
  std::string out = fmt_a("set", set_width) + fmt_a("level", level_width);
  for (int t = 1; t <= ntrait; ++t)
    out += fmt_a("whole_" + std::to_string(t), sol_width) + fmt_a("partial_" + std::to_string(t), sol_width);
  out += '\n';
  for (std::size_t k = 0; k < sets.size(); ++k) {
    const focal_set& s = sets[k];
    for (int i = 0; i < s.n; ++i) {
      out += fmt_i(static_cast<std::int64_t>(k) + 1, set_width) + fmt_i(s.levels[i], level_width);
      for (int t = 0; t < ntrait; ++t)
        out += fmt_e(s.whole(i, t), sol_width, sol_digits) + fmt_e(s.partial(i, t), sol_width, sol_digits);
      out += '\n';
    }
  }
  return out;
}

void write_sol_valids(const std::vector<focal_set>& sets, int ntrait, const std::string& path) {
  write_file_atomically(path, sol_valids_text(sets, ntrait));
}

}  // namespace ventrel::validation
