// H-inverse reading and the focal elements of its inverse.
#include "genomic/hinverse.hpp"

#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "sparse/inverse_block.hpp"
#include "sparse/low_degree.hpp"

namespace ventrel::genomic {

namespace {

void check_exists(const std::string& path) {
  if (!file_exists(path))
    fatal({"The inverse relationship matrix file " + path + " does not exist", "It is named by OPTION readHInverse"});
}

// What a line of the file holds: an element (row, column, both in 1..nlev, and a finite value),
// nothing, or something else. f: the caller's room for the fields, kept from line to line.
enum class line_kind { element, blank, unreadable, outside };
using fields = std::array<std::string_view, 3>;

[[gnu::always_inline]] inline line_kind parse_element(std::string_view line, int nlev, fields& f, std::int32_t& i,
                                                     std::int32_t& j, double& v) {
  const std::size_t k = split_fields(line, f);
  if (k == 0) return line_kind::blank;
  if (k < 3 || !parse_int(f[0], i) || !parse_int(f[1], j) || !parse_real(f[2], v) || !std::isfinite(v))
    return line_kind::unreadable;
  return i < 1 || j < 1 || i > nlev || j > nlev ? line_kind::outside : line_kind::element;
}

[[noreturn]] void stop_at_line(const std::string& path, std::int64_t line_no, std::string_view line, line_kind kind,
                               int nlev) {
  const std::string where = at_line(path, line_no);
  if (kind == line_kind::outside)
    fatal({"Index outside the levels 1.." + num(nlev) + " of the animal effect: " + where, "  " + excerpt(line)});
  fatal({"Cannot read row, column and value of the inverse relationship matrix: " + where, "  " + excerpt(line)});
}

// Calls add(i, j, v) for every element line of the file; blank lines are skipped, anything else
// stops naming the file and the line.
template <class F>
void for_each_element(const std::string& path, int nlev, F&& add) {
  line_reader in(path);
  std::string_view line;
  fields f;
  while (in.next(line)) {
    std::int32_t i = 0, j = 0;
    double v = 0;
    const line_kind kind = parse_element(line, nlev, f, i, j, v);
    if (kind == line_kind::blank) continue;
    if (kind != line_kind::element) stop_at_line(path, in.line_number(), line, kind, nlev);
    add(i, j, v);
  }
}

// The elements of a piece of the file, parsed by one thread, kept as they come (row <= column).
struct parsed_lines {
  std::vector<std::int32_t> rows, cols;
  std::vector<double> vals;
  void clear() {
    rows.clear();
    cols.clear();
    vals.clear();
  }
};

}  // namespace

void read_hinverse(const std::string& path, int nlev, sparse::sparse_hashm& hashm) {
  check_exists(path);
  for_each_element(path, nlev, [&](int i, int j, double v) { sparse::addm(v, std::min(i, j), std::max(i, j), hashm); });
}

std::int64_t count_hinverse_elements(const std::string& path, int nlev) {
  check_exists(path);
  std::int64_t n = 0;
  for_each_element(path, nlev, [&](int, int, double) { ++n; });
  if (n == 0)
    fatal({"The inverse relationship matrix file " + path + " holds no element", "It is named by OPTION readHInverse"});
  if (n < nlev)
    fatal({"The inverse relationship matrix file " + path + " holds " + num(n) + " element(s), fewer than the " +
               num(nlev) + " levels of the animal effect",
           "A positive definite matrix of that order needs at least a diagonal element for every level"});
  return n;
}

sparse::ija_matrix read_hinverse_matrix(const std::string& path, int nlev, int threads) {
  check_exists(path);
  // The lines as they come (row <= column). Reserved by the file's size so that the vectors
  // are not copied as they grow; pages that are never written are never touched. The file
  // comes in runs of whole lines, each cut at newlines into one piece a thread; the pieces are
  // appended in the file's order, so the result does not depend on the number of threads.
  std::vector<std::int32_t> rows, cols;
  std::vector<double> vals;
  std::error_code ec;
  const std::uintmax_t bytes = std::filesystem::file_size(path, ec);
  if (!ec) {
    const std::size_t guess = static_cast<std::size_t>(bytes / 12) + 16;
    rows.reserve(guess);
    cols.reserve(guess);
    vals.reserve(guess);
  }
  const std::size_t buffer = ec ? 0 : std::clamp<std::size_t>(static_cast<std::size_t>(bytes) + 1, 4096, 16 << 20);
  line_reader in(path, false, buffer);
  read_in_pieces<parsed_lines>(
      in, threads,
      [&](parsed_lines& out, std::string_view line, std::int64_t line_no) {
        std::int32_t i = 0, j = 0;
        double v = 0;
        fields f;
        const line_kind kind = parse_element(line, nlev, f, i, j, v);
        if (kind == line_kind::blank) return;
        if (kind != line_kind::element) stop_at_line(path, line_no, line, kind, nlev);
        out.rows.push_back(std::min(i, j));
        out.cols.push_back(std::max(i, j));
        out.vals.push_back(v);
      },
      [&](const parsed_lines& out) {
        rows.insert(rows.end(), out.rows.begin(), out.rows.end());
        cols.insert(cols.end(), out.cols.begin(), out.cols.end());
        vals.insert(vals.end(), out.vals.begin(), out.vals.end());
      });
  const std::int64_t n = static_cast<std::int64_t>(rows.size());
  if (n == 0)
    fatal({"The inverse relationship matrix file " + path + " holds no element", "It is named by OPTION readHInverse"});
  if (n < nlev)
    fatal({"The inverse relationship matrix file " + path + " holds " + num(n) + " element(s), fewer than the " +
               num(nlev) + " levels of the animal effect",
           "A positive definite matrix of that order needs at least a diagonal element for every level"});
  if (n > std::numeric_limits<int>::max() - 1)
    fatal({"The inverse relationship matrix file " + path + " holds " + num(n) + " elements, more than " +
           num(std::numeric_limits<int>::max() - 1) + " that a matrix of 32-bit row pointers can hold"});

  // Counting sort by row (stable: the lines of a row keep the file's order), then each row by
  // column, a pair given again being added to the first.
  sparse::ija_matrix m;
  m.n = nlev;
  m.ia.assign(static_cast<std::size_t>(nlev) + 1, 0);
  for (std::int32_t r : rows) ++m.ia[static_cast<std::size_t>(r)];
  std::vector<int> next(static_cast<std::size_t>(nlev));
  for (int i = 0, at = 0; i < nlev; ++i) {
    next[static_cast<std::size_t>(i)] = at;
    at += m.ia[static_cast<std::size_t>(i) + 1];
  }
  m.ja.resize(static_cast<std::size_t>(n));
  m.a.resize(static_cast<std::size_t>(n));
  for (std::int64_t e = 0; e < n; ++e) {
    const int q = next[static_cast<std::size_t>(rows[static_cast<std::size_t>(e)] - 1)]++;
    m.ja[static_cast<std::size_t>(q)] = cols[static_cast<std::size_t>(e)];
    m.a[static_cast<std::size_t>(q)] = vals[static_cast<std::size_t>(e)];
  }
  rows = std::vector<std::int32_t>();
  cols = std::vector<std::int32_t>();
  vals = std::vector<double>();
  std::vector<std::pair<int, double>> work;
  int out = 0, begin = 0;
  m.ia[0] = 1;
  for (int i = 0; i < nlev; ++i) {
    const int end = next[static_cast<std::size_t>(i)];
    int* ja = m.ja.data();
    double* a = m.a.data();
    bool ascending = true;
    for (int q = begin + 1; q < end && ascending; ++q) ascending = ja[q] > ja[q - 1];
    if (!ascending) {
      work.clear();
      for (int q = begin; q < end; ++q) work.emplace_back(ja[q], a[q]);
      std::stable_sort(work.begin(), work.end(), [](const auto& x, const auto& y) { return x.first < y.first; });
      for (int q = begin; q < end; ++q) {
        ja[q] = work[static_cast<std::size_t>(q - begin)].first;
        a[q] = work[static_cast<std::size_t>(q - begin)].second;
      }
    }
    for (int q = begin; q < end; ++q) {
      if (out > m.ia[static_cast<std::size_t>(i)] - 1 && ja[out - 1] == ja[q]) {
        a[out - 1] += a[q];
        continue;
      }
      ja[out] = ja[q];
      a[out] = a[q];
      ++out;
    }
    m.ia[static_cast<std::size_t>(i) + 1] = out + 1;
    begin = end;
  }
  m.ja.resize(static_cast<std::size_t>(out));
  m.a.resize(static_cast<std::size_t>(out));
  return m;
}

std::vector<linalg::dense_matrix> focal_relationships_from_inverse(const std::string& path, int nlev,
                                                                   const std::vector<std::vector<int>>& sets,
                                                                   const inverse_settings& settings) {
  sparse::ija_matrix m =
      read_hinverse_matrix(path, nlev, settings.threads > 0 ? settings.threads : omp_get_max_threads());
  return focal_elements_of_inverse(m, sets, settings, "the inverse relationship matrix of file " + path);
}

namespace {

// The block of the inverse among the focal animals of `sets` (each level once; a level outside
// the matrix has no element), written into each set's matrix.
void fill_from_block(sparse::ija_matrix& m, const std::vector<std::vector<int>>& sets, const inverse_settings& settings,
                     const std::string& what, std::vector<int>& place, std::vector<linalg::dense_matrix>& out) {
  std::vector<int> chosen;
  for (const auto& s : sets)
    for (int lev : s)
      if (lev >= 1 && lev <= m.n && place[static_cast<std::size_t>(lev)] < 0) {
        place[static_cast<std::size_t>(lev)] = static_cast<int>(chosen.size());
        chosen.push_back(lev);
      }
  const sparse::inverse_block_result block =
      sparse::inverse_block(m, chosen, {settings.threads, settings.msg_level, "while inverting " + what});
  for (const auto& s : sets) {
    const int k = static_cast<int>(s.size());
    linalg::dense_matrix a(k, k);
    for (int j = 0; j < k; ++j) {
      const int lj = s[static_cast<std::size_t>(j)];
      if (lj < 1 || lj > m.n) continue;
      for (int i = j; i < k; ++i) {
        const int li = s[static_cast<std::size_t>(i)];
        if (li < 1 || li > m.n) continue;
        const double v = block.at(static_cast<std::size_t>(place[static_cast<std::size_t>(li)]),
                                  static_cast<std::size_t>(place[static_cast<std::size_t>(lj)]));
        a(i, j) = v;
        a(j, i) = v;
      }
    }
    out.push_back(std::move(a));
  }
  for (int lev : chosen) place[static_cast<std::size_t>(lev)] = -1;
}

}  // namespace

std::vector<linalg::dense_matrix> focal_elements_of_inverse(sparse::ija_matrix& m, const std::vector<std::vector<int>>& in_sets,
                                                            const inverse_settings& settings, const std::string& what) {
  // Animals in no set that have at most two neighbours, themselves neighbours (animals without
  // progeny, next to their parents, who are mates; then parents whose progeny have gone), go
  // first: m becomes the Schur complement on the rows kept, whose inverse has the same elements
  // among them, and the sets are renumbered. The factorisation then works on far fewer columns.
  std::vector<std::vector<int>> renumbered;
  {
    std::vector<char> keep(static_cast<std::size_t>(m.n) + 1, 0);
    for (const auto& s : in_sets)
      for (int lev : s)
        if (lev >= 1 && lev <= m.n) keep[static_cast<std::size_t>(lev)] = 1;
    const int whole = m.n;
    sparse::reduced_matrix r = sparse::eliminate_low_degree(std::move(m), keep);
    m = std::move(r.m);
    if (!r.kept.empty()) {
      if (settings.msg_level > 0) say("* rows eliminated ahead of the factorisation: " + num(whole - m.n));
      std::vector<int> place(static_cast<std::size_t>(whole) + 1, 0);
      for (std::size_t q = 0; q < r.kept.size(); ++q) place[static_cast<std::size_t>(r.kept[q])] = static_cast<int>(q) + 1;
      for (const auto& s : in_sets) {
        std::vector<int> t(s.size());  // a level outside the matrix stays outside it (0)
        for (std::size_t q = 0; q < s.size(); ++q)
          t[q] = s[q] >= 1 && s[q] <= whole ? place[static_cast<std::size_t>(s[q])] : 0;
        renumbered.push_back(std::move(t));
      }
    }
  }
  const std::vector<std::vector<int>>& sets = renumbered.empty() ? in_sets : renumbered;
  // One factorisation for all sets, unless the block of their union would be larger than the
  // sets' own blocks together (sets that do not nest): then one factorisation per set, so that
  // the memory stays that of the sets' matrices.
  std::vector<int> place(static_cast<std::size_t>(m.n) + 1, -1);
  double own = 0.0;
  std::int64_t all = 0;
  for (const auto& s : sets) {
    own += static_cast<double>(s.size()) * static_cast<double>(s.size());
    for (int lev : s)
      if (lev >= 1 && lev <= m.n && place[static_cast<std::size_t>(lev)] < 0) {
        place[static_cast<std::size_t>(lev)] = 0;
        ++all;
      }
  }
  std::fill(place.begin(), place.end(), -1);
  std::vector<linalg::dense_matrix> out;
  if (sets.size() <= 1 || static_cast<double>(all) * static_cast<double>(all) <= own) {
    fill_from_block(m, sets, settings, what, place, out);
    return out;
  }
  inverse_settings next = settings;
  for (const auto& s : sets) {
    fill_from_block(m, {s}, next, what, place, out);
    // The thread count is said once, at the first factorisation.
    if (next.threads <= 0) next.threads = omp_get_max_threads();
  }
  return out;
}

}  // namespace ventrel::genomic
