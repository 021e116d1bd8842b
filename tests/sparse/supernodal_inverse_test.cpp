// Supernodal Takahashi inverse over CHOLMOD's factor against the dense inverse, over the whole
// pattern of the factor, and the same result for any thread count.
#include "sparse/supernodal_inverse.hpp"

#include <algorithm>
#include <tuple>

#include "sparse/kelp_factor.hpp"
#include "sparse/morlo90.hpp"
#include "sparse_test_util.hpp"

// The optional arguments are named by designated initializers; the ones left out are empty.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace ventrel::sparse::testing {

// Inverse by the supernodal sweep over KELP's factor (AMD) with `threads` threads, written over
// the values of m.
ija_matrix supernodal(ija_matrix m, int threads) {
  std::vector<std::int64_t> ptr;
  upper_csr view = view_of(m, ptr);
  kelp_factor k;
  k.order(view, kelp_ordering::amd), k.analyze(view), k.factorize(view);
  scatter_inverse(k.factor(), takahashi_supernodal(k.factor(), threads), view);
  return m;
}

// The matrix with an explicit zero at every other position of its factor's pattern (AMD, as
// exported by morlo90), so that the inverse written over it covers the whole pattern.
ija_matrix with_factor_pattern(const linalg::dense_matrix& d) {
  morlo90 s;
  s.set_num_threads_kelp(1);
  ija_matrix m = ija_of(d);
  ija8_matrix u;
  std::vector<int> perm, pinv(d.rows);
  s("factorization", m), s("export_fact", m, {.factija = &u}), s("perm", m, {.perm = &perm});
  const linalg::dense_matrix in = dense_of(u);  // permuted numbering
  for (int q = 0; q < d.rows; ++q) pinv[perm[q] - 1] = q;
  return ija_of(d, [&](int i, int j) { return in(pinv[i], pinv[j]) != 0.0; });
}

// A dense block of 800 rows and 60 sparse rows each tied to 280 scattered rows of it (below
// AMD's dense-row threshold 10 sqrt(n)): the sparse rows are eliminated first, with more rows
// below them than one chunk of columns, gathered from non-contiguous places.
linalg::dense_matrix wide_supernodes() {
  const int nd = 800, n = 860;
  std::mt19937 rng(16);
  std::uniform_real_distribution<double> v(-1.0, 1.0);
  linalg::dense_matrix d(n, n);
  for (int i = 0; i < nd; ++i)
    for (int j = i + 1; j < nd; ++j) d(i, j) = d(j, i) = 0.05 * v(rng);
  std::vector<int> rows(nd);
  for (int i = 0; i < nd; ++i) rows[i] = i;
  for (int i = nd; i < n; ++i) {
    std::shuffle(rows.begin(), rows.end(), rng);
    for (int k = 0; k < 280; ++k) d(i, rows[k]) = d(rows[k], i) = 0.1 * v(rng);
  }
  dominate_diagonal(d);
  return d;
}

TEST(supernodal_inverse, matches_the_dense_inverse) {
  // (METIS and the inverse at the matrix's positions only: through morlo90)
  for (const auto& [d, whole_pattern, threads, tol] : std::vector<std::tuple<linalg::dense_matrix, bool, int, double>>{
           {random_spd(120, 0.03, 40, 12), true, 2, 1e-12},
           {pedigree_inverse(300, 13), true, 1, 1e-10},
           {wide_supernodes(), false, 2, 1e-12}}) {
    SCOPED_TRACE(d.rows);
    const ija_matrix m = whole_pattern ? with_factor_pattern(d) : ija_of(d);
    expect_dense_inverse_at_pattern(supernodal(m, threads), d, tol);
  }
}

TEST(supernodal_inverse, textbook_pedigree_gives_back_the_relationship_matrix) {
  // Mrode's six animals, with the sampling variances of the inbred parents: the inverse of
  // A-inverse is the tabular A of the textbook.
  const linalg::dense_matrix ainv =
      henderson_inverse({0, 0, 1, 1, 4, 5}, {0, 0, 2, 0, 3, 2}, {1, 1, 0.5, 0.75, 0.5, 0.46875});
  const double a[6][6] = {{1.0, 0.0, 0.5, 0.5, 0.5, 0.25},         {0.0, 1.0, 0.5, 0.0, 0.25, 0.625},
                          {0.5, 0.5, 1.0, 0.25, 0.625, 0.5625},    {0.5, 0.0, 0.25, 1.0, 0.625, 0.3125},
                          {0.5, 0.25, 0.625, 0.625, 1.125, 0.6875}, {0.25, 0.625, 0.5625, 0.3125, 0.6875, 1.125}};
  const ija_matrix inv = supernodal(ija_of(ainv), 1);
  for (int i = 1; i <= 6; ++i)
    for (int p = inv.ia[i - 1]; p < inv.ia[i]; ++p) EXPECT_NEAR(inv.a[p - 1], a[i - 1][inv.ja[p - 1] - 1], 1e-12);
}

TEST(supernodal_inverse, same_result_for_one_and_two_threads) {
  const ija_matrix m = ija_of(pedigree_inverse(2000, 14));
  const ija_matrix one = supernodal(m, 1), two = supernodal(m, 2);
  ASSERT_EQ(one.a.size(), two.a.size());
  for (std::size_t p = 0; p < one.a.size(); ++p) EXPECT_NEAR(one.a[p], two.a[p], 1e-12 * (1 + std::fabs(one.a[p])));
}

}  // namespace ventrel::sparse::testing
