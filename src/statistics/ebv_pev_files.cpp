// Readers of the ebv_pev and pec files of se exact, and the check of their EBVs against the
// solution files.
#include "statistics/ebv_pev_files.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "common/level_index.hpp"

namespace ventrel::statistics {
namespace {

const char* suffix(evaluation e) { return e == evaluation::whole ? "_1_whole" : "_1_partial"; }

// Positions of the focal animals by level: first finds the first position of a level (absent
// when not focal), next[pos] is the following position of the same level (-1 at the end), so
// that a level named twice in a focal set gets its values in both rows. Memory O(m), whatever
// nlev is.
struct focal_index {
  level_index first;
  std::vector<int> next;
};

focal_index index_focal(std::span<const int> focal, int nlev) {
  for (int level : focal)
    if (level < 1 || level > nlev)
      fatal("Focal animal " + num(level) + " is outside the levels 1 to " + num(nlev) +
            " of the validation effect");
  focal_index x;
  x.first = level_index(focal);
  x.next.assign(focal.size(), -1);
  std::vector<int> order(focal.size());
  for (std::size_t k = 0; k < order.size(); ++k) order[k] = static_cast<int>(k);
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return focal[a] < focal[b]; });
  for (std::size_t k = 1; k < order.size(); ++k)
    if (focal[order[k]] == focal[order[k - 1]]) x.next[order[k - 1]] = order[k];
  return x;
}

[[noreturn]] void bad_line(const std::string& path, std::int64_t line_no, std::string_view what, std::string_view line) {
  constexpr std::size_t shown = 100;
  std::string text(line.substr(0, shown));
  if (line.size() > shown) text += " ...";
  fatal({"Cannot read " + std::string(what) + ": " + at_line(path, line_no), "  " + text});
}

void check_level(const std::string& path, std::int64_t line_no, std::int64_t level, int nlev) {
  if (level < 1 || level > nlev)
    fatal("Level " + num(level) + " is outside the levels 1 to " + num(nlev) +
          " of the validation effect: " + at_line(path, line_no));
}

// A focal animal's line of an ebv_pev file.
struct pev_entry {
  int first;  // the animal's first position in the focal set
  double ebv, pev;
  std::int64_t line;
};

}  // namespace

std::string ebv_pev_file_name(int trait, evaluation e) {
  return "ebv_pev_" + num(trait) + suffix(e);
}

std::string pec_file_name(int trait, evaluation e) { return "pec_" + num(trait) + suffix(e); }

ebv_pev read_ebv_pev(const std::string& path, std::span<const int> focal, int nlev, int threads) {
  const focal_index index = index_focal(focal, nlev);
  const std::size_t m = focal.size();
  ebv_pev out;
  out.ebv.assign(m, 0.0);
  out.pev.assign(m, 0.0);
  std::vector<std::int64_t> line_of(m, 0);  // line that gave the animal's values, 0: none yet

  auto parse = [&](std::vector<pev_entry>& found, std::string_view line, std::int64_t line_no) {
    std::array<std::string_view, 3> f;
    const std::size_t n = split_fields(line, f);
    if (n == 0) return;
    std::int64_t level = 0;
    double ebv = 0.0, pev = 0.0;
    if (n < 3 || !parse_int(f[0], level) || !parse_real(f[1], ebv) || !parse_real(f[2], pev) || !std::isfinite(ebv) ||
        !std::isfinite(pev))
      bad_line(path, line_no, "level, EBV and PEV", line);
    check_level(path, line_no, level, nlev);
    const int first = index.first.find(level);
    if (first < 0) return;
    if (pev < 0.0) fatal("Negative PEV of focal animal " + num(level) + ": " + at_line(path, line_no));
    found.push_back({first, ebv, pev, line_no});
  };
  auto take = [&](const std::vector<pev_entry>& found) {
    for (const pev_entry& e : found) {
      if (line_of[static_cast<std::size_t>(e.first)] != 0)
        fatal("Focal animal " + num(focal[static_cast<std::size_t>(e.first)]) + " is given twice: " +
              at_line(path, e.line) + " and line " + num(line_of[static_cast<std::size_t>(e.first)]));
      for (int pos = e.first; pos >= 0; pos = index.next[static_cast<std::size_t>(pos)]) {
        out.ebv[static_cast<std::size_t>(pos)] = e.ebv;
        out.pev[static_cast<std::size_t>(pos)] = e.pev;
        line_of[static_cast<std::size_t>(pos)] = e.line;
      }
    }
  };
  line_reader r(path);
  read_in_pieces<std::vector<pev_entry>>(r, threads, parse, take);
  for (std::size_t pos = 0; pos < m; ++pos)
    if (line_of[pos] == 0)
      fatal({"Focal animal " + num(focal[pos]) + " has no line in file " + path,
             "It is necessary to obtain analytical confidence intervals"});
  return out;
}

pec_matrix read_pec(const std::string& path, std::span<const int> focal, int nlev, int threads) {
  const focal_index index = index_focal(focal, nlev);
  const int m = static_cast<int>(focal.size());
  std::vector<pec_pair> pairs;

  auto parse = [&](std::vector<pec_pair>& found, std::string_view line, std::int64_t line_no) {
    std::array<std::string_view, 3> f;
    const std::size_t n = split_fields(line, f);
    if (n == 0) return;
    std::int64_t l1 = 0, l2 = 0;
    double cov = 0.0;
    if (n < 3 || !parse_int(f[0], l1) || !parse_int(f[1], l2) || !parse_real(f[2], cov) || !std::isfinite(cov))
      bad_line(path, line_no, "two levels and a covariance", line);
    check_level(path, line_no, l1, nlev);
    check_level(path, line_no, l2, nlev);
    if (l1 == l2) return;
    for (int a = index.first.find(l1); a >= 0; a = index.next[static_cast<std::size_t>(a)])
      for (int b = index.first.find(l2); b >= 0; b = index.next[static_cast<std::size_t>(b)])
        found.push_back({a, b, cov, line_no});
  };
  auto take = [&](const std::vector<pec_pair>& found) { pairs.insert(pairs.end(), found.begin(), found.end()); };
  line_reader r(path);
  read_in_pieces<std::vector<pec_pair>>(r, threads, parse, take);
  pec_duplicate dup;
  pec_matrix c = make_pec_matrix(m, std::move(pairs), &dup);
  if (dup.found)
    fatal("The pair of focal animals " + num(focal[dup.j]) + " and " + num(focal[dup.i]) +
          " is given twice: " + at_line(path, dup.first_tag) + " and line " + num(dup.second_tag));
  return c;
}

int count_ebv_differences(std::span<const double> file_ebv, std::span<const double> solutions) {
  const std::size_t n = std::min(file_ebv.size(), solutions.size());
  double ss = 0.0;
  for (std::size_t i = 0; i < n; ++i) ss += solutions[i] * solutions[i];
  const double rms = n > 0 ? std::sqrt(ss / static_cast<double>(n)) : 0.0;
  int count = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const double scale = std::max({std::fabs(file_ebv[i]), std::fabs(solutions[i]), rms});
    if (std::fabs(file_ebv[i] - solutions[i]) > 1e-3 * scale) ++count;
  }
  return count;
}

int compare_ebv(const std::string& ebv_pev_path, std::span<const double> file_ebv,
                const std::string& solution_path, std::span<const double> solutions) {
  const int count = count_ebv_differences(file_ebv, solutions);
  if (count > 0)
    say("Warning: " + num(count) + " focal animals have EBVs in " + ebv_pev_path +
        " that differ from " + solution_path + " by more than 1e-3 (relative)");
  return count;
}

}  // namespace ventrel::statistics
