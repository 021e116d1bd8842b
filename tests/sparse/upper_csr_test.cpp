// Views of IJA matrices: the format check and the symmetric permutation.
#include "sparse/upper_csr.hpp"

#include <gtest/gtest.h>

#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

TEST(upper_csr, well_formed_accepts_proper_and_rejects_broken_matrices) {
  ija_matrix m = testing::ija_of(testing::random_spd(8, 0.4, 0, 1));
  std::vector<std::int64_t> ptr;
  EXPECT_TRUE(well_formed(view_of(m, ptr)));
  ija_matrix lower = m;
  lower.ja[lower.ia[3] - 1] = 2;  // row 4's diagonal replaced by a column below it
  EXPECT_FALSE(well_formed(view_of(lower, ptr)));
  ija_matrix dup = m;
  dup.ja[1] = dup.ja[0];
  EXPECT_FALSE(well_formed(view_of(dup, ptr)));
  ija_matrix beyond = m;
  beyond.ja.back() = 9;
  EXPECT_FALSE(well_formed(view_of(beyond, ptr)));
  ija_matrix start = m;
  start.ia[0] = 2;
  EXPECT_FALSE(well_formed(view_of(start, ptr)));
}

TEST(upper_csr, permuted_upper_holds_every_element_once) {
  linalg::dense_matrix d = testing::random_spd(12, 0.3, 0, 2);
  ija_matrix m = testing::ija_of(d);
  std::vector<std::int64_t> ptr, perm = {3, 0, 11, 5, 1, 2, 10, 4, 9, 6, 8, 7}, pinv(12);
  for (int k = 0; k < 12; ++k) pinv[perm[k]] = k;
  permuted_upper c = permute_upper(view_of(m, ptr), pinv, true);
  linalg::dense_matrix got(12, 12);
  for (int k = 0; k < 12; ++k)
    for (std::int64_t p = c.cp[k]; p < c.cp[k + 1]; ++p) {
      EXPECT_LE(c.ci[p], k);
      got(c.ci[p], k) += c.cx[p];
    }
  for (int i = 0; i < 12; ++i)
    for (int j = i; j < 12; ++j) EXPECT_EQ(got(i, j), d(perm[i], perm[j]));
}

}  // namespace
}  // namespace ventrel::sparse
