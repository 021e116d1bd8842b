// Solution files: header check, streaming read, and the focal records.
#include "validation/solution_files.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>
#include <tuple>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "validation/validation_set.hpp"
#include "validation/yhat_residual.hpp"

namespace ventrel::validation {

namespace {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();

// Headers in the order they are tried.
constexpr std::array<std::pair<std::string_view, solution_layout>, 4> headers{{
    {"trait/effect level  solution acc", solution_layout::solution_acc},
    {"trait/effect level  solution", solution_layout::solution},
    {"trait/effect level      solution", solution_layout::solution_spaced},
    {"trait/effect level  solution          s.e.", solution_layout::solution_se},
}};

// The first line of a file, and whether the file has one.
std::optional<std::string> first_line(const std::string& path) {
  line_reader r(path);
  std::string_view line;
  if (!r.next(line)) return std::nullopt;
  return std::string(line.substr(0, 1000));
}

std::string shown(std::string_view line) { return "\"" + excerpt(line) + "\""; }

// What is wrong with a data line that does not read as the layout's values.
std::string fault_of(std::span<const std::string_view> f, std::size_t n, std::size_t need) {
  static const char* names[5] = {"trait", "effect", "level", "solution", "fifth value"};
  if (n < need) return "it holds " + num(static_cast<std::int64_t>(n)) + " value(s)";
  for (std::size_t i = 0; i < need; ++i) {
    int k = 0;
    double x = 0;
    const bool ok = i < 3 ? parse_int(f[i], k) : parse_real(f[i], x);
    if (!ok)
      return std::string("the ") + names[i] + " " + shown(f[i]) +
             (i < 3 ? " is not a whole number from -2147483648 to 2147483647" : " is not a number");
  }
  return "";
}

[[noreturn]] void unreadable(const std::string& path, std::int64_t line_no, std::string_view line,
                             extra_column extra, std::span<const std::string_view> f, std::size_t n,
                             std::size_t need) {
  const char* fifth = extra == extra_column::se ? ", s.e." : extra == extra_column::acc ? ", acc" : "";
  fatal({"Cannot read a solution line: trait, effect, level, solution" + std::string(fifth) +
             " expected",
         at_line(path, line_no) + ": " + shown(line), fault_of(f, n, need)});
}

// The validation effect's solutions at focal levels that a piece of a solution file holds, in
// the file's order.
struct solution_entry {
  std::int32_t slot;  // index.slot(level) - 1
  std::int32_t trait;
  double sol, fifth;
  std::int64_t line;
};

// Stops when a focal individual lacks a solution for a trait its set validates.
void check_complete(const std::vector<focal_set>& sets, const focal_index& index,
                    const linalg::dense_matrix& sol, const std::string& path) {
  for (const focal_set& s : sets)
    for (int t : s.traits)
      for (int level : s.levels)
        if (std::isnan(sol(index.slot(level) - 1, t - 1)))
          fatal({"Focal individual " + num(level) + " (validation set file " + s.file +
                     ") has no solution for trait " + num(t),
                 "in solution file " + path});
}

// Copies the rows of the distinct focal levels into a set's own order.
linalg::dense_matrix rows_of(const focal_set& s, const focal_index& index,
                             const linalg::dense_matrix& by_level) {
  linalg::dense_matrix out(s.n, by_level.cols);
  for (int i = 0; i < s.n; ++i)
    for (int t = 0; t < by_level.cols; ++t) out(i, t) = by_level(index.slot(s.levels[i]) - 1, t);
  return out;
}

}  // namespace

std::optional<solution_layout> layout_of_header(std::string_view header) {
  header = trim_right(header);
  for (const auto& [text, layout] : headers)
    if (header == text) return layout;
  return std::nullopt;
}

solution_layout check_headers(const std::string& whole, const std::string& partial) {
  const std::optional<std::string> hw = first_line(whole), hp = first_line(partial);
  const std::optional<solution_layout> w = hw ? layout_of_header(*hw) : std::nullopt;
  const std::optional<solution_layout> p = hp ? layout_of_header(*hp) : std::nullopt;
  if (!w || !p) {
    std::vector<std::string> lines{
        whole + " and " + partial + " have an invalid format or the header was modified.",
        "Valid headers | formats are: ",
        "trait/effect level  solution                | orvane+ solutions",
        "trait/effect level      solution            | tirvex solutions",
        "trait/effect level  solution          s.e.  | orvane+ solutions and s.e.",
        "trait/effect level  solution acc            | quodax solutions and accuracies"};
    // Which file is at fault, and what its first line holds.
    for (const auto& [name, header, layout] : {std::tuple(whole, hw, w), std::tuple(partial, hp, p)})
      if (!layout)
        lines.push_back(header ? at_line(name, 1) + ": " + shown(*header) : "file " + name + " is empty");
    fatal(std::move(lines));
  }
  if (*w != *p) fatal({whole + " and " + partial + " are in different formats", "or have different headers"});
  return *w;
}

focal_solutions read_solution_file(const std::string& path, solution_layout layout, int effect,
                                   int ntrait, const focal_index& index, int threads) {
  const extra_column extra = extra_column_of(layout);
  const std::size_t need = extra == extra_column::none ? 4 : 5;
  const int ndist = static_cast<int>(index.levels.size());
  const int nlev = index.nlev;
  focal_solutions out;
  out.sol = linalg::dense_matrix(ndist, ntrait);
  std::fill(out.sol.a.begin(), out.sol.a.end(), missing);
  if (extra != extra_column::none) out.extra = linalg::dense_matrix(ndist, ntrait);

  line_reader r(path);
  std::string_view header;
  r.next(header);  // checked before
  auto parse = [&](std::vector<solution_entry>& found, std::string_view line, std::int64_t line_no) {
    std::array<std::string_view, 5> f;
    const std::size_t n = split_fields(line, f);
    if (n == 0) return;
    int trait = 0, eff = 0, level = 0;
    double sol = 0, fifth = 0;
    if (n < need || !parse_int(f[0], trait) || !parse_int(f[1], eff) || !parse_int(f[2], level) ||
        !parse_real(f[3], sol) || (need == 5 && !parse_real(f[4], fifth)))
      unreadable(path, line_no, line, extra, f, n, need);
    if (eff != effect) return;
    if (trait < 1 || trait > ntrait)
      fatal({"Trait " + num(trait) + " of a solution line is outside 1 to " + num(ntrait), at_line(path, line_no)});
    if (level < 1 || level > nlev)
      fatal({"Level " + num(level) + " of a solution line is outside the levels 1 to " + num(nlev) + " of effect " +
                 num(effect),
             at_line(path, line_no)});
    const std::int32_t d = index.slot(level) - 1;
    if (d < 0) return;
    if (!std::isfinite(sol) || !std::isfinite(fifth))
      fatal({"A solution line holds a value that is not a finite number", at_line(path, line_no) + ": " + shown(line)});
    found.push_back({d, trait, sol, fifth, line_no});
  };
  auto take = [&](const std::vector<solution_entry>& found) {
    for (const solution_entry& e : found) {
      double& cell = out.sol(e.slot, e.trait - 1);
      if (!std::isnan(cell))
        fatal({"The solution of trait " + num(e.trait) + " for level " + num(index.levels[static_cast<std::size_t>(e.slot)]) +
                   " is given twice",
               at_line(path, e.line)});
      cell = e.sol;
      if (need == 5) out.extra(e.slot, e.trait - 1) = e.fifth;
    }
  };
  read_in_pieces<std::vector<solution_entry>>(r, threads, parse, take);
  return out;
}

std::vector<focal_set> read_focal_sets(const validation_options& o,
                                       const parfile::model_parameters& model) {
  const int ntrait = model.ntrait;
  const int nlev = std::max(model.nlev[o.focal_effect - 1], 0);
  std::vector<focal_set> sets;
  for (std::size_t k = 0; k < o.validation_files.size(); ++k) {
    focal_set s;
    s.file = o.validation_files[k];
    s.levels = read_validation_set(s.file, o.focal_effect, nlev);
    s.n = static_cast<int>(s.levels.size());
    say("* Number of focal individuals in " + s.file + ": " + num(s.n));
    if (s.n == 1)
      say("Warning: validation set file " + s.file +
          " holds a single focal individual: only the bias is defined (the reliability comes out as 0, as its"
          " covariance is 0; the other statistics as NaN)");
    s.inb.assign(s.n, 0.0);
    if (o.validation_files.size() == 1)
      for (int t = 1; t <= ntrait; ++t) s.traits.push_back(t);
    else
      s.traits.push_back(static_cast<int>(k) + 1);
    sets.push_back(std::move(s));
  }
  const focal_index index = index_focal_levels(sets, nlev);

  const solution_layout layout = check_headers(o.sol_whole, o.sol_partial);
  // Known from the headers: stop before the files are read and the pedigree phase runs.
  if (o.se == se_method::approx && extra_column_of(layout) == extra_column::none)
    fatal({"OPTION se approx needs accuracies or standard errors in the solution files,",
           "that is solution files with one of the headers", "trait/effect level  solution acc",
           "trait/effect level  solution          s.e."});
  const focal_solutions whole = read_solution_file(o.sol_whole, layout, o.focal_effect, ntrait, index, o.nthreads);
  check_complete(sets, index, whole.sol, o.sol_whole);
  const focal_solutions partial =
      read_solution_file(o.sol_partial, layout, o.focal_effect, ntrait, index, o.nthreads);
  check_complete(sets, index, partial.sol, o.sol_partial);

  linalg::dense_matrix y;
  if (o.predictive_ability) y = read_yhat_residual(yhat_residual_file, ntrait, index, o.nthreads);

  for (focal_set& s : sets) {
    s.whole = rows_of(s, index, whole.sol);
    s.partial = rows_of(s, index, partial.sol);
    s.extra = extra_column_of(layout);
    if (s.extra != extra_column::none) {
      s.whole_extra = rows_of(s, index, whole.extra);
      s.partial_extra = rows_of(s, index, partial.extra);
    }
    if (o.predictive_ability) {
      s.phenotype = rows_of(s, index, y);
    } else {
      s.phenotype = linalg::dense_matrix(s.n, ntrait);
      std::fill(s.phenotype.a.begin(), s.phenotype.a.end(), missing);
    }
  }
  return sets;
}

}  // namespace ventrel::validation
