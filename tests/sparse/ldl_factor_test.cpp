// MORLO's simplicial LDL': the permutation check and the zero-pivot stop. The factor itself
// (exported as D^{1/2} L'), solves, log-determinant and products are checked through morlo90
// with the MORLO engine.
#include "sparse/ldl_factor.hpp"

#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {

TEST(ldl_factor, set_permutation_takes_only_a_permutation) {
  for (const auto& [perm, ok] : std::vector<std::pair<std::vector<std::int64_t>, bool>>{
           {{0, 0, 1}, false}, {{0, 3, 1}, false}, {{2, -1, 1}, false}, {{2, 0, 1}, true}}) {
    simplicial_factor f;
    EXPECT_EQ(set_permutation(f, perm), ok) << ::testing::PrintToString(perm);
    EXPECT_TRUE(!ok || f.pinv == (std::vector<std::int64_t>{1, 2, 0}));
  }
}

TEST(ldl_factor, zero_pivot_stops) {
  linalg::dense_matrix d(3, 3);
  d(0, 0) = d(1, 1) = d(0, 1) = d(1, 0) = 1.0;  // singular leading block
  d(2, 2) = 2.0;
  expect_stops({{"zero pivot", [&] { ldl_of(d, {0, 1, 2}); },
                 {"MORLO: Zero or negative pivot for row ROW", "during numerical factorization in row: 2"}}});
}

}  // namespace ventrel::sparse::testing
