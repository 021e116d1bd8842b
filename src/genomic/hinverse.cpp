// H-inverse reading and the focal elements of its inverse.
#include "genomic/hinverse.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "sparse/convert_hash_ija.hpp"
#include "sparse/inverse_in_pattern.hpp"

namespace ventrel::genomic {

namespace {

void check_exists(const std::string& path) {
  if (!file_exists(path))
    fatal({"The inverse relationship matrix file " + path + " does not exist", "It is named by OPTION readHInverse"});
}

// Calls add(i, j, v) for every element line of the file: row, column (both in 1..nlev) and a
// finite value; blank lines are skipped, anything else stops naming the file and the line.
template <class F>
void for_each_element(const std::string& path, int nlev, F&& add) {
  line_reader in(path);
  std::string_view line;
  std::array<std::string_view, 3> f;
  while (in.next(line)) {
    std::size_t k = split_fields(line, f);
    if (k == 0) continue;
    std::int32_t i = 0, j = 0;
    double v = 0;
    if (k < 3 || !parse_int(f[0], i) || !parse_int(f[1], j) || !parse_real(f[2], v) || !std::isfinite(v))
      fatal({"Cannot read row, column and value of the inverse relationship matrix: " + at_line(path, in.line_number()),
             "  " + excerpt(line)});
    if (i < 1 || j < 1 || i > nlev || j > nlev)
      fatal({"Index outside the levels 1.." + num(nlev) + " of the animal effect: " + at_line(path, in.line_number()),
             "  " + excerpt(line)});
    add(i, j, v);
  }
}

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

std::vector<linalg::dense_matrix> focal_relationships_from_inverse(const std::string& path, int nlev,
                                                                   const std::vector<std::vector<int>>& sets,
                                                                   const inverse_settings& settings) {
  // A first pass checks the file and counts its elements before anything of the matrix's order
  // is allocated: the order (nlev, from the parameter file) is thus bounded by the file's length.
  const std::int64_t lines = count_hinverse_elements(path, nlev);
  std::int64_t pairs = 0;
  for (const auto& s : sets) pairs += static_cast<std::int64_t>(s.size()) * static_cast<std::int64_t>(s.size() + 1) / 2;
  sparse::sparse_hashm h;
  sparse::init(h, sparse::hash_capacity_for(std::max<std::int64_t>(lines + pairs, 16)), sparse::hash_storage::upper, nlev);
  h.msg_level = settings.msg_level;
  read_hinverse(path, nlev, h);
  // Every focal pair as an explicit element, so that it lies in the factor's pattern and the
  // sparse inverse gives it.
  for (const auto& s : sets)
    for (std::size_t a = 0; a < s.size(); ++a)
      for (std::size_t b = a; b < s.size(); ++b) sparse::addm(0.0, std::min(s[a], s[b]), std::max(s[a], s[b]), h);

  sparse::ija_matrix m;
  sparse::convert_hash_ija(h, m);
  h = sparse::sparse_hashm();  // the table is no longer needed
  return focal_elements_of_inverse(m, sets, settings, "the inverse relationship matrix of file " + path);
}

std::vector<linalg::dense_matrix> focal_elements_of_inverse(sparse::ija_matrix& m, const std::vector<std::vector<int>>& sets,
                                                            const inverse_settings& settings, const std::string& what) {
  sparse::invert_in_pattern(m, {settings.threads, settings.msg_level, "while inverting " + what});

  std::vector<linalg::dense_matrix> out;
  for (const auto& s : sets) {
    const int k = static_cast<int>(s.size());
    linalg::dense_matrix a(k, k);
    for (int j = 0; j < k; ++j)
      for (int i = j; i < k; ++i) {
        std::int64_t pos = sparse::ija_position(m, std::min(s[static_cast<std::size_t>(i)], s[static_cast<std::size_t>(j)]),
                                                std::max(s[static_cast<std::size_t>(i)], s[static_cast<std::size_t>(j)]));
        double v = pos < 0 ? 0.0 : m.a[static_cast<std::size_t>(pos)];
        a(i, j) = v;
        a(j, i) = v;
      }
    out.push_back(std::move(a));
  }
  return out;
}

}  // namespace ventrel::genomic
