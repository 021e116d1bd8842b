// KELP engine over CHOLMOD: the exported factor reproduces P A P', log-determinant, solves and
// products against the dense reference and the simplicial engine, with AMD and METIS.
#include "sparse/kelp_factor.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "reference/dense_inverse.hpp"
#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using testing::fatal_lines;
using testing::ija_of;
using testing::random_spd;

struct kelp_case {
  linalg::dense_matrix dense;
  ija_matrix m;
  std::vector<std::int64_t> ptr;
  upper_csr view;
  kelp_factor k;
};

void factor(kelp_case& x, const linalg::dense_matrix& d, kelp_ordering o) {
  x.dense = d;
  x.m = ija_of(d);
  x.view = view_of(x.m, x.ptr);
  x.k.order(x.view, o);
  x.k.analyze(x.view);
  x.k.factorize(x.view, 1);
}

TEST(kelp_factor, exported_factor_reproduces_the_permuted_matrix) {
  for (kelp_ordering o : {kelp_ordering::amd, kelp_ordering::metis}) {
    kelp_case x;
    factor(x, random_spd(90, 0.05, 20, 7), o);
    ija8_matrix u;
    x.k.export_factor(u);
    ASSERT_EQ(testing::ija_problem(u), "");
    EXPECT_EQ(u.nnz(), x.k.factor_nnz());
    std::vector<std::int64_t> perm = x.k.permutation();
    std::vector<std::int64_t> sorted = perm;
    std::sort(sorted.begin(), sorted.end());
    for (int k = 0; k < 90; ++k) EXPECT_EQ(sorted[k], k);
    // (U'U)_ij = sum_k U_ki U_kj = A(perm i, perm j)
    linalg::dense_matrix ud(90, 90);
    for (int r = 0; r < 90; ++r)
      for (std::int64_t p = u.ia[r] - 1; p < u.ia[r + 1] - 1; ++p) ud(r, u.ja[p] - 1) = u.a[p];
    for (int i = 0; i < 90; ++i)
      for (int j = 0; j < 90; ++j) {
        double s = 0.0;
        for (int r = 0; r < 90; ++r) s += ud(r, i) * ud(r, j);
        EXPECT_NEAR(s, x.dense(perm[i], perm[j]), 1e-10);
      }
  }
}

TEST(kelp_factor, logdet_and_solve_match_the_dense_reference) {
  kelp_case x;
  factor(x, random_spd(60, 0.07, 15, 8), kelp_ordering::amd);
  EXPECT_NEAR(x.k.logdet(), reference::dense_spd_logdet(x.dense), 1e-9);
  std::vector<double> b(60), s;
  for (int i = 0; i < 60; ++i) b[i] = 1.0 + i % 5;
  s = b;
  x.k.solve(s);
  linalg::dense_matrix inv = reference::dense_spd_inverse(x.dense);
  for (int i = 0; i < 60; ++i) {
    double want = 0.0;
    for (int j = 0; j < 60; ++j) want += inv(i, j) * b[j];
    EXPECT_NEAR(s[i], want, 1e-12);
  }
}

TEST(kelp_factor, products_agree_with_the_simplicial_engine_on_the_same_permutation) {
  kelp_case x;
  factor(x, random_spd(50, 0.08, 10, 9), kelp_ordering::amd);
  simplicial_factor f;
  ASSERT_TRUE(set_permutation(f, x.k.permutation()));
  ldl_symbolic(x.view, f);
  ldl_numeric(x.view, f);
  for (factor_product what : {factor_product::multiply, factor_product::inverse, factor_product::inverse_transposed}) {
    std::vector<double> a(50), b;
    for (int i = 0; i < 50; ++i) a[i] = std::sin(0.3 * i) + 0.1;
    b = a;
    x.k.product(what, a);
    ldl_product(f, what, b);
    for (int i = 0; i < 50; ++i) EXPECT_NEAR(a[i], b[i], 1e-11) << static_cast<int>(what) << " " << i;
  }
}

TEST(kelp_factor, matrix_not_positive_definite_is_a_kelp_error) {
  linalg::dense_matrix d(2, 2);
  d(0, 0) = 1.0;
  d(1, 1) = 1.0;
  d(0, 1) = d(1, 0) = 2.0;
  kelp_case x;
  auto lines = fatal_lines([&] { factor(x, d, kelp_ordering::amd); });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "MORLO90 (KELP): An error occurred.");
  EXPECT_NE(lines[1].find("cholmod_l_factorize"), std::string::npos);
}

}  // namespace
}  // namespace ventrel::sparse
