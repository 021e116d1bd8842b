// Fuzz target: the H-inverse reader (read_hinverse, count_hinverse_elements), checked against a
// plain sum of the file's elements, and the one-pass reader on one thread against three; small
// matrices then go through the sparse inverse of the focal relationships, checked against the
// dense inverse. The first byte gives the number of levels; the rest is the file.
#include <cmath>
#include <map>

#include "common/fatal.hpp"
#include "common/freeformat.hpp"
#include "fuzz_input.hpp"
#include "genomic/hinverse.hpp"
#include "linalg/dense_solve.hpp"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  ventrel::fuzz::silence_console();
  return 0;
}

namespace {

// The focal elements against the dense inverse of m, when it has one that rounding leaves
// meaningful (1-norm condition below 1e6); the tolerance covers the residues taken as zero.
void check_against_dense(const ventrel::sparse::ija_matrix& m, const std::vector<std::vector<int>>& sets,
                         const std::vector<ventrel::linalg::dense_matrix>& got) {
  using ventrel::linalg::dense_matrix;
  dense_matrix d(m.n, m.n);
  for (int i = 1; i <= m.n; ++i)
    for (int e = m.ia[static_cast<std::size_t>(i) - 1] - 1; e < m.ia[static_cast<std::size_t>(i)] - 1; ++e) {
      const double v = m.a[static_cast<std::size_t>(e)];
      if (!std::isfinite(v)) return;
      const int j = m.ja[static_cast<std::size_t>(e)];
      d(i - 1, j - 1) = d(j - 1, i - 1) = v;
    }
  const auto norm1 = [](const dense_matrix& a) {
    double worst = 0.0;
    for (int j = 0; j < a.cols; ++j) {
      double c = 0.0;
      for (int i = 0; i < a.rows; ++i) c += std::fabs(a(i, j));
      worst = std::max(worst, c);
    }
    return worst;
  };
  dense_matrix inv = d;
  if (ventrel::linalg::spd_inverse(inv, 1e-12) != 0) return;
  const double big = norm1(inv), cond = norm1(d) * big;
  if (!(cond < 1e6)) return;
  VENTREL_FUZZ_CHECK(got.size() == sets.size());
  for (std::size_t s = 0; s < sets.size(); ++s)
    for (std::size_t a = 0; a < sets[s].size(); ++a)
      for (std::size_t b = 0; b < sets[s].size(); ++b) {
        const double want = inv(sets[s][a] - 1, sets[s][b] - 1);
        const double have = got[s](static_cast<int>(a), static_cast<int>(b));
        VENTREL_FUZZ_CHECK(std::fabs(have - want) <= 1e-9 * cond * big);
      }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ventrel;
  using namespace ventrel::genomic;
  if (size == 0) return 0;
  const int nlev = data[0] == 255 ? 2000000000 : 1 + data[0] % 24;
  const std::string path = fuzz::write_input("hinverse", data + 1, size - 1);
  std::int64_t elements = 0;
  try {
    sparse::sparse_hashm h;
    sparse::init(h, 4, sparse::hash_storage::upper, nlev);
    read_hinverse(path, nlev, h);
    // The reference: the same lines summed per (min, max) pair in a map.
    std::map<std::pair<int, int>, double> ref;
    line_reader in(path);
    std::string_view line;
    std::array<std::string_view, 3> f;
    while (in.next(line)) {
      if (split_fields(line, f) == 0) continue;
      int i = 0, j = 0;
      double v = 0;
      VENTREL_FUZZ_CHECK(parse_int(f[0], i) && parse_int(f[1], j) && parse_real(f[2], v));
      ref[{std::min(i, j), std::max(i, j)}] += v;
      ++elements;
    }
    for (const auto& [key, v] : ref) {
      const double got = sparse::getm(key.first, key.second, h);
      VENTREL_FUZZ_CHECK(got == v || (std::isnan(got) && std::isnan(v)));
    }
    VENTREL_FUZZ_CHECK(count_hinverse_elements(path, nlev) == elements);
  } catch (const fatal_error&) {
  }
  // The one-pass reader gives the same matrix, or the same stop, on one thread and on three.
  auto one_pass = [&](int threads) -> std::pair<std::vector<std::string>, sparse::ija_matrix> {
    try {
      return {{}, read_hinverse_matrix(path, nlev, threads)};
    } catch (const fatal_error& e) {
      return {e.lines(), {}};
    }
  };
  const auto [stop1, m1] = one_pass(1);
  const auto [stop3, m3] = one_pass(3);
  VENTREL_FUZZ_CHECK(stop1 == stop3 && m1.ia == m3.ia && m1.ja == m3.ja);
  for (std::size_t k = 0; k < m1.a.size(); ++k)
    VENTREL_FUZZ_CHECK(m1.a[k] == m3.a[k] || (std::isnan(m1.a[k]) && std::isnan(m3.a[k])));
  // Small complete matrices: the sparse inverse and the focal elements (a matrix that is not
  // positive definite stops, which is a valid outcome). When the matrix is positive definite and
  // not near singular, the elements equal those of the dense inverse: the rows eliminated ahead
  // of the factorisation (and the residues taken as zero there) must not change them.
  if (elements >= nlev && nlev <= 24) {
    const std::vector<std::vector<int>> sets{{1}, {nlev, 1}};
    std::vector<linalg::dense_matrix> got;
    try {
      got = focal_relationships_from_inverse(path, nlev, sets, {1, 0});
    } catch (const fatal_error&) {
    }
    if (!got.empty() && stop1.empty()) check_against_dense(m1, sets, got);
  }
  return 0;
}
