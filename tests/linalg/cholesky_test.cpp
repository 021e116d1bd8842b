// Cholesky factorisation through LAPACK.
#include "linalg/cholesky.hpp"

#include "support/test_support.hpp"

namespace ventrel::linalg {
namespace {

dense_matrix from_rows(int n, std::initializer_list<double> v) {
  dense_matrix m(n, n);
  auto it = v.begin();
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) m(i, j) = *it++;
  return m;
}

TEST(cholesky, factor_times_its_transpose_gives_the_matrix) {
  const dense_matrix a = from_rows(3, {4, 2, -2, 2,10, 1, -2, 1, 6});
  dense_matrix l = a;
  ASSERT_EQ(cholesky_lower(l), 0);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j <= i; ++j) {
      double s = 0;
      for (int k = 0; k <= j; ++k) s += l(i, k) * l(j, k);
      EXPECT_NEAR(s, a(i, j), 1e-12);
    }
}

TEST(cholesky, reports_the_first_minor_that_is_not_positive_definite) {
  dense_matrix a = from_rows(3, {1, 0, 0, 0, 1, 2, 0, 2, 1});
  EXPECT_EQ(cholesky_lower(a), 3);
  EXPECT_FALSE(is_positive_definite(from_rows(2, {1, 1, 1, 1})));  // singular
  EXPECT_FALSE(is_positive_definite(from_rows(1, {-0.5})));
  EXPECT_TRUE(is_positive_definite(from_rows(2, {2, 1, 1, 2})));
  EXPECT_TRUE(is_positive_definite(dense_matrix()));
  dense_matrix wide(2, 3);
  EXPECT_EQ(test_support::stop_lines([&] { cholesky_lower(wide); }),
            test_support::lines{"cholesky_lower: matrix is not square"});
}

}  // namespace
}  // namespace ventrel::linalg
