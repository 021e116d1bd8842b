// Reading of a validation-set file.
#include "validation/validation_set.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"

namespace ventrel::validation {

std::vector<int> read_validation_set(const std::string& path, int effect, int nlev) {
  if (!file_exists(path)) fatal("Validation set file " + path + " does not exist");
  line_reader r(path);
  std::vector<int> levels;
  std::vector<std::int64_t> line_of;
  std::array<std::string_view, 1> first;
  std::string_view line;
  while (r.next(line)) {
    if (split_fields(line, first) == 0) continue;
    int level = 0;
    if (!parse_int(first[0], level))
      fatal({"Validation set file: the first value of a line must be a level (a whole number from 1 to " +
                 num(nlev) + "), found: " + excerpt(first[0]),
             at_line(path, r.line_number())});
    if (level < 1 || level > nlev)
      fatal({"Validation set file: level " + num(level) + " is outside the levels 1 to " +
                 num(nlev) + " of effect " + num(effect),
             at_line(path, r.line_number())});
    levels.push_back(level);
    line_of.push_back(r.line_number());
  }
  if (levels.empty()) fatal("Validation set file " + path + " holds no focal individual");

  // Repeated levels: sort positions by level and compare neighbours (the sets are small).
  std::vector<std::size_t> order(levels.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return levels[a] < levels[b]; });
  for (std::size_t k = 1; k < order.size(); ++k)
    if (levels[order[k]] == levels[order[k - 1]])
      fatal({"Validation set file: level " + num(levels[order[k]]) + " is given twice (first on line " +
                 num(line_of[order[k - 1]]) + ")",
             at_line(path, line_of[order[k]])});
  return levels;
}

}  // namespace ventrel::validation
