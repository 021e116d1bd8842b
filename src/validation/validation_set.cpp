// Reading of a validation-set file.
#include "validation/validation_set.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"

namespace ventrel::validation {
namespace {

// Digits with an optional sign: a level, however large (a larger one is outside the levels).
bool whole_number(std::string_view s) {
  if (!s.empty() && (s[0] == '+' || s[0] == '-')) s.remove_prefix(1);
  return !s.empty() && s.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

std::vector<int> read_validation_set(const std::string& path, int effect, int nlev) {
  if (!file_exists(path)) fatal("Validation set file " + path + " does not exist");
  line_reader r(path);
  std::vector<int> levels;
  std::vector<std::int64_t> line_of;
  std::array<std::string_view, 1> first;
  std::string_view line;
  const std::string expected = "a level of effect " + num(effect) + " (a whole number from 1 to " + num(nlev) + ")";
  while (r.next(line)) {
    if (r.line_number() == 1 && !byte_order_mark(line).empty())
      fatal({"Validation set file " + path + " starts with a " + std::string(byte_order_mark(line)) +
                 " byte-order mark, which is not part of a level: \"" + visible(line, 60) + "\"",
             "Expected: " + expected + " a line, in plain text; save the file without the mark",
             at_line(path, 1)});
    if (split_fields(line, first) == 0) continue;
    int level = 0;
    if (!parse_int(first[0], level) && !whole_number(first[0])) {
      if (levels.empty())
        fatal({"Validation set file " + path + " starts with a line that is not a level: \"" + visible(line, 60) +
                   "\"",
               "Expected: " + expected + " as the first value of each line, with no header line",
               at_line(path, r.line_number())});
      // A footer: the family's programs read up to here.
      const std::int64_t stop = r.line_number();
      const std::string text = visible(line, 60);
      std::int64_t rest = 1;
      while (r.next(line))
        if (split_fields(line, first) > 0) ++rest;
      say("Warning: validation set file " + path + " is read up to line " + num(stop - 1) + ": line " + num(stop) +
          " is not a level (\"" + text + "\"): the " + num(rest) + " non-blank line(s) from there on are not read");
      break;
    }
    if (!parse_int(first[0], level) || level < 1 || level > nlev)
      fatal({"Validation set file: level " + excerpt(first[0]) + " is outside the levels 1 to " +
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
