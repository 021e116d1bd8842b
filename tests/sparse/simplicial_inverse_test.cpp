// Takahashi's sparse inverse over the simplicial factor against the dense inverse.
#include "sparse/simplicial_inverse.hpp"

#include <gtest/gtest.h>

#include "reference/dense_inverse.hpp"
#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using testing::ija_of;

// Factorises d, inverts at the positions of its pattern, and compares with the dense inverse.
void expect_inverse_matches(const linalg::dense_matrix& d, double tol) {
  ija_matrix m = ija_of(d);
  std::vector<std::int64_t> ptr;
  upper_csr v = view_of(m, ptr);
  simplicial_factor f;
  ASSERT_TRUE(set_permutation(f, amd_permutation(v)));
  ldl_symbolic(v, f);
  ldl_numeric(v, f);
  simplicial_inverse z = takahashi_simplicial(f);
  scatter_inverse(f, z, v);
  linalg::dense_matrix inv = reference::dense_spd_inverse(d);
  for (int i = 1; i <= m.n; ++i)
    for (int p = m.ia[i - 1]; p < m.ia[i]; ++p) {
      int j = m.ja[p - 1];
      EXPECT_NEAR(m.a[p - 1], inv(i - 1, j - 1), tol) << i << "," << j;
    }
  // every element of the factor's pattern, read from Z directly
  for (int c = 0; c < f.n; ++c) {
    EXPECT_NEAR(z.zd[c], inv(f.perm[c], f.perm[c]), tol);
    for (std::int64_t p = f.lp[c]; p < f.lp[c + 1]; ++p)
      EXPECT_NEAR(z.zx[p], inv(f.perm[f.li[p]], f.perm[c]), tol);
  }
}

TEST(simplicial_inverse, random_sparse_spd_matrices) {
  for (unsigned seed : {1u, 2u, 3u}) expect_inverse_matches(testing::random_spd(80, 0.04, 10, seed), 1e-12);
}

TEST(simplicial_inverse, pedigree_inverses) {
  for (unsigned seed : {4u, 5u}) expect_inverse_matches(testing::pedigree_inverse(150, seed), 1e-10);
}

TEST(simplicial_inverse, one_by_one) {
  linalg::dense_matrix d(1, 1);
  d(0, 0) = 4.0;
  expect_inverse_matches(d, 1e-15);
}

}  // namespace
}  // namespace ventrel::sparse
