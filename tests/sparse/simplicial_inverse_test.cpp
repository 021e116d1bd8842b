// Takahashi's sparse inverse over the simplicial factor against the dense inverse, at the
// matrix's positions and over the whole pattern of the factor.
#include "sparse/simplicial_inverse.hpp"

#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {

TEST(simplicial_inverse, matches_the_dense_inverse) {
  for (const auto& [d, tol] : std::vector<std::pair<linalg::dense_matrix, double>>{
           {random_spd(80, 0.04, 10, 1), 1e-12},
           {random_spd(80, 0.04, 10, 2), 1e-12},
           {pedigree_inverse(150, 4), 1e-10}}) {
    SCOPED_TRACE(d.rows);
    ija_matrix m = ija_of(d);
    std::vector<std::int64_t> ptr;
    upper_csr v = view_of(m, ptr);
    const simplicial_factor f = ldl_of(d);
    const simplicial_inverse z = takahashi_simplicial(f);
    scatter_inverse(f, z, v);
    expect_dense_inverse_at_pattern(m, d, tol);
    const linalg::dense_matrix inv = reference::dense_spd_inverse(d);
    for (int c = 0; c < f.n; ++c) {  // the factor's pattern, read from Z
      EXPECT_NEAR(z.zd[c], inv(f.perm[c], f.perm[c]), tol);
      for (std::int64_t p = f.lp[c]; p < f.lp[c + 1]; ++p) EXPECT_NEAR(z.zx[p], inv(f.perm[f.li[p]], f.perm[c]), tol);
    }
  }
}

}  // namespace ventrel::sparse::testing
