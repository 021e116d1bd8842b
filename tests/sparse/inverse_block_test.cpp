// The block of the inverse among chosen rows, from the trailing triangle of the factor with the
// chosen rows pivoted last, against the dense inverse.
#include "sparse/inverse_block.hpp"

#include <algorithm>
#include <numeric>

#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {

// Every element of the block against the dense inverse of d.
void expect_block_of_inverse(const linalg::dense_matrix& d, const std::vector<int>& chosen, double tol) {
  ija_matrix m = ija_of(d);
  const ija_matrix before = m;
  const inverse_block_result b = inverse_block(m, chosen, {1, 0, "test"});
  EXPECT_EQ(m.a, before.a) << "the matrix is left as it is";
  const linalg::dense_matrix inv = reference::dense_spd_inverse(d);
  ASSERT_EQ(b.k, static_cast<std::int64_t>(chosen.size()));
  double worst = 0.0;
  for (std::size_t q = 0; q < chosen.size(); ++q)
    for (std::size_t r = 0; r < chosen.size(); ++r)
      worst = std::max(worst, std::fabs(b.at(q, r) - inv(chosen[q] - 1, chosen[r] - 1)));
  EXPECT_LT(worst, tol);
}

TEST(inverse_block, equals_the_dense_inverse_among_the_chosen_rows_in_the_order_given) {
  // A pedigree inverse, and a sparse matrix with a dense block whose rows the ordering sets
  // aside (more than 16 entries in a matrix of 300 rows).
  expect_block_of_inverse(pedigree_inverse(200, 3), {150, 7, 199, 42, 43, 1}, 1e-10);
  expect_block_of_inverse(random_spd(300, 0.01, 40, 5), {300, 12, 77, 5, 290, 133, 134}, 1e-10);
  // Every row chosen, and a single one.
  std::vector<int> all(60);
  std::iota(all.rbegin(), all.rend(), 1);
  expect_block_of_inverse(random_spd(60, 0.1, 0, 9), all, 1e-10);
  expect_block_of_inverse(random_spd(60, 0.1, 0, 9), {31}, 1e-12);
}

TEST(inverse_block, chosen_rows_unrelated_to_each_other_and_to_the_rest_stay_last) {
  // Two blocks that do not touch and a diagonal row: the elimination forest has several trees,
  // which a postorder may place after the chosen rows' ones.
  linalg::dense_matrix d(30, 30);
  const linalg::dense_matrix a = random_spd(20, 0.2, 0, 11), b = random_spd(9, 0.4, 0, 12);
  for (int i = 0; i < 20; ++i)
    for (int j = 0; j < 20; ++j) d(i, j) = a(i, j);
  for (int i = 0; i < 9; ++i)
    for (int j = 0; j < 9; ++j) d(20 + i, 20 + j) = b(i, j);
  d(29, 29) = 4.0;
  expect_block_of_inverse(d, {30, 3, 25}, 1e-12);
  expect_block_of_inverse(d, {1, 2, 3}, 1e-12);
}

TEST(inverse_block, the_order_puts_the_chosen_rows_last_and_is_a_permutation) {
  ija_matrix m = ija_of(random_spd(300, 0.01, 40, 5));
  std::vector<std::int64_t> ptr;
  const std::vector<int> chosen{17, 3, 250};
  std::int64_t dense = -1;
  const std::vector<std::int64_t> perm = order_chosen_last(view_of(m, ptr), chosen, &dense);
  ASSERT_EQ(perm.size(), 300u);
  EXPECT_EQ(perm[297], 16);
  EXPECT_EQ(perm[298], 2);
  EXPECT_EQ(perm[299], 249);
  std::vector<std::int64_t> sorted(perm);
  std::sort(sorted.begin(), sorted.end());
  for (std::int64_t k = 0; k < 300; ++k) EXPECT_EQ(sorted[static_cast<std::size_t>(k)], k);
  EXPECT_GT(dense, 30) << "the rows of the dense block are set aside";
}

TEST(inverse_block, a_matrix_not_positive_definite_stops_with_its_context) {
  linalg::dense_matrix d(3, 3);
  d(0, 0) = d(1, 1) = d(2, 2) = 1.0;
  d(0, 1) = d(1, 0) = 2.0;
  ija_matrix m = ija_of(d);
  expect_stops({{"indefinite", [&] { inverse_block(m, {1, 3}, {1, 0, "while inverting the test matrix"}); },
                 {"MORLO90 (KELP): An error occurred.", "cholmod_l_factorize: CHOLMOD status 1 (matrix not positive definite)",
                  "while inverting the test matrix"}}});
}

}  // namespace ventrel::sparse::testing
