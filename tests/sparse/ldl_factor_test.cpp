// MORLO's simplicial LDL': the factor reproduces P A P', the permutation check, the zero-pivot
// stop. Solves, log-determinant and products are checked through morlo90 with the MORLO engine.
#include "sparse/ldl_factor.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using namespace testing;

TEST(ldl_factor, ldlt_reproduces_the_permuted_matrix) {
  const linalg::dense_matrix d = random_spd(70, 0.06, 12, 2);
  const simplicial_factor f = ldl_of(d);
  ija8_matrix u{f.n, {1}, {}, {}};  // U = D^{1/2} L', whose rows are the columns of L
  for (int k = 0; k < f.n; ++k) {
    const double s = std::sqrt(f.d[k]);
    u.ja.push_back(k + 1), u.a.push_back(s);
    for (std::int64_t p = f.lp[k]; p < f.lp[k + 1]; ++p) u.ja.push_back(f.li[p] + 1), u.a.push_back(s * f.lx[p]);
    u.ia.push_back(static_cast<std::int64_t>(u.ja.size()) + 1);
  }
  expect_factor_of(u, d, f.perm, 1e-10);  // also: rows of L below the diagonal and ascending
}

TEST(ldl_factor, set_permutation_takes_only_a_permutation) {
  for (const auto& [perm, ok] : std::vector<std::pair<std::vector<std::int64_t>, bool>>{
           {{0, 0, 1}, false}, {{0, 3, 1}, false}, {{2, -1, 1}, false}, {{2, 0, 1}, true}}) {
    simplicial_factor f;
    EXPECT_EQ(set_permutation(f, perm), ok) << ::testing::PrintToString(perm);
    EXPECT_TRUE(!ok || f.pinv == (std::vector<std::int64_t>{1, 2, 0}));
  }
}

TEST(ldl_factor, messages) {
  linalg::dense_matrix d(3, 3);
  d(0, 0) = d(1, 1) = d(0, 1) = d(1, 0) = 1.0;  // singular leading block
  d(2, 2) = 2.0;
  expect_stops({{"zero pivot", [&] { ldl_of(d, {0, 1, 2}); },
                 {"MORLO: Zero or negative pivot for row ROW", "during numerical factorization in row: 2"}}});
}

}  // namespace
}  // namespace ventrel::sparse
