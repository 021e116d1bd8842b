// Supernodal Takahashi inverse over CHOLMOD's factor against the dense inverse and against the
// simplicial one, for every element of the factor's pattern and any thread count.
#include "sparse/supernodal_inverse.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "reference/dense_inverse.hpp"
#include "sparse/kelp_factor.hpp"
#include "sparse/simplicial_inverse.hpp"
#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using testing::ija_of;

// The matrix with an explicit zero at every position of its factor's pattern (original
// numbering), so that the inverse written over it covers the whole pattern.
ija_matrix with_factor_pattern(const linalg::dense_matrix& d, std::vector<std::int64_t>& perm) {
  ija_matrix m = ija_of(d);
  std::vector<std::int64_t> ptr;
  upper_csr v = view_of(m, ptr);
  kelp_factor k;
  k.order(v, kelp_ordering::amd);
  k.analyze(v);
  k.factorize(v, 1);
  ija8_matrix u;
  k.export_factor(u);
  perm = k.permutation();
  linalg::dense_matrix full = d;
  std::vector<std::vector<bool>> in(d.rows, std::vector<bool>(d.rows, false));
  for (int r = 0; r < u.n; ++r)
    for (std::int64_t p = u.ia[r] - 1; p < u.ia[r + 1] - 1; ++p) {
      int i = static_cast<int>(perm[r]), j = static_cast<int>(perm[u.ja[p] - 1]);
      in[std::min(i, j)][std::max(i, j)] = true;
    }
  ija_matrix out;
  out.n = d.rows;
  out.ia.push_back(1);
  for (int i = 0; i < d.rows; ++i) {
    for (int j = i; j < d.rows; ++j)
      if (j == i || d(i, j) != 0.0 || in[i][j]) {
        out.ja.push_back(j + 1);
        out.a.push_back(d(i, j));
      }
    out.ia.push_back(static_cast<int>(out.ja.size()) + 1);
  }
  return out;
}

// Inverse by the supernodal sweep with `threads` threads, written over the matrix's values.
ija_matrix supernodal(const ija_matrix& given, int threads, kelp_ordering o = kelp_ordering::amd) {
  ija_matrix m = given;
  std::vector<std::int64_t> ptr;
  upper_csr v = view_of(m, ptr);
  kelp_factor k;
  k.order(v, o);
  k.analyze(v);
  k.factorize(v, threads);
  supernodal_inverse z = takahashi_supernodal(k.factor(), threads);
  scatter_inverse(k.factor(), z, v);
  return m;
}

void expect_matches_dense(const ija_matrix& inv, const linalg::dense_matrix& d, double tol) {
  linalg::dense_matrix ref = reference::dense_spd_inverse(d);
  for (int i = 1; i <= inv.n; ++i)
    for (int p = inv.ia[i - 1]; p < inv.ia[i]; ++p)
      EXPECT_NEAR(inv.a[p - 1], ref(i - 1, inv.ja[p - 1] - 1), tol) << i << "," << inv.ja[p - 1];
}

TEST(supernodal_inverse, random_sparse_spd_over_the_whole_factor_pattern) {
  for (unsigned seed : {11u, 12u}) {
    linalg::dense_matrix d = testing::random_spd(120, 0.03, 40, seed);  // a dense block: BLAS path
    std::vector<std::int64_t> perm;
    ija_matrix m = with_factor_pattern(d, perm);
    expect_matches_dense(supernodal(m, 1), d, 1e-12);
  }
}

TEST(supernodal_inverse, pedigree_inverses_over_the_whole_factor_pattern) {
  linalg::dense_matrix d = testing::pedigree_inverse(300, 13);
  std::vector<std::int64_t> perm;
  ija_matrix m = with_factor_pattern(d, perm);
  expect_matches_dense(supernodal(m, 1), d, 1e-10);
  expect_matches_dense(supernodal(ija_of(d), 1, kelp_ordering::metis), d, 1e-10);
}

TEST(supernodal_inverse, textbook_pedigree_gives_back_the_relationship_matrix) {
  // Mrode's six animals: A-inverse from Henderson's rules with the sampling variances of the
  // inbred parents; its inverse is the tabular A of the textbook.
  const int sire[6] = {0, 0, 1, 1, 4, 5}, dam[6] = {0, 0, 2, 0, 3, 2};
  const double dvar[6] = {1, 1, 0.5, 0.75, 0.5, 0.46875};
  linalg::dense_matrix ainv(6, 6);
  for (int a = 0; a < 6; ++a) {
    int idx[3] = {a, sire[a] - 1, dam[a] - 1};
    double w[3] = {1.0, -0.5, -0.5};
    for (int x = 0; x < 3; ++x)
      for (int y = 0; y < 3; ++y)
        if (idx[x] >= 0 && idx[y] >= 0) ainv(idx[x], idx[y]) += w[x] * w[y] / dvar[a];
  }
  const double a[6][6] = {{1.0, 0.0, 0.5, 0.5, 0.5, 0.25},       {0.0, 1.0, 0.5, 0.0, 0.25, 0.625},
                          {0.5, 0.5, 1.0, 0.25, 0.625, 0.5625},  {0.5, 0.0, 0.25, 1.0, 0.625, 0.3125},
                          {0.5, 0.25, 0.625, 0.625, 1.125, 0.6875}, {0.25, 0.625, 0.5625, 0.3125, 0.6875, 1.125}};
  ija_matrix inv = supernodal(ija_of(ainv), 1);
  for (int i = 1; i <= 6; ++i)
    for (int p = inv.ia[i - 1]; p < inv.ia[i]; ++p)
      EXPECT_NEAR(inv.a[p - 1], a[i - 1][inv.ja[p - 1] - 1], 1e-12);
}

TEST(supernodal_inverse, wide_supernodes_taken_in_chunks) {
  // a dense block of 800 rows and 60 sparse rows each tied to 280 scattered rows of it (below
  // AMD's dense-row threshold 10 sqrt(n)): the sparse rows are eliminated first, with more rows
  // below them than one chunk of columns
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
  for (int i = 0; i < n; ++i) {
    double s = 1.0;
    for (int j = 0; j < n; ++j)
      if (j != i) s += std::fabs(d(i, j));
    d(i, i) = s;
  }
  expect_matches_dense(supernodal(ija_of(d), 2), d, 1e-12);
}

TEST(supernodal_inverse, same_result_for_one_and_two_threads) {
  linalg::dense_matrix d = testing::pedigree_inverse(2000, 14);
  ija_matrix m = ija_of(d);
  ija_matrix one = supernodal(m, 1), two = supernodal(m, 2);
  ASSERT_EQ(one.a.size(), two.a.size());
  for (std::size_t p = 0; p < one.a.size(); ++p) EXPECT_NEAR(one.a[p], two.a[p], 1e-12 * (1 + std::fabs(one.a[p])));
}

TEST(supernodal_inverse, agrees_with_the_simplicial_inverse) {
  linalg::dense_matrix d = testing::random_spd(200, 0.02, 30, 15);
  ija_matrix kelp = supernodal(ija_of(d), 2);
  ija_matrix m = ija_of(d);
  std::vector<std::int64_t> ptr;
  upper_csr v = view_of(m, ptr);
  simplicial_factor f;
  ASSERT_TRUE(set_permutation(f, amd_permutation(v)));
  ldl_symbolic(v, f);
  ldl_numeric(v, f);
  scatter_inverse(f, takahashi_simplicial(f), v);
  for (std::size_t p = 0; p < m.a.size(); ++p) EXPECT_NEAR(kelp.a[p], m.a[p], 1e-12);
}

}  // namespace
}  // namespace ventrel::sparse
