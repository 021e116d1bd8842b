// KELP engine over CHOLMOD: the exported factor reproduces P A P' with AMD and METIS, and a
// matrix that is not positive definite stops. Log-determinant, solves and products are checked
// through morlo90 with the KELP engine.
#include "sparse/kelp_factor.hpp"

#include <gtest/gtest.h>

#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using namespace testing;

TEST(kelp_factor, exported_factor_reproduces_the_permuted_matrix) {
  const linalg::dense_matrix d = random_spd(90, 0.05, 20, 7);
  for (kelp_ordering o : {kelp_ordering::amd, kelp_ordering::metis}) {
    SCOPED_TRACE(o == kelp_ordering::amd ? "AMD" : "METIS");
    const kelp_case x(ija_of(d), o, 1);
    ija8_matrix u;
    x.k.export_factor(u);
    EXPECT_EQ(u.nnz(), x.k.factor_nnz());
    expect_factor_of(u, d, x.k.permutation(), 1e-10);
  }
}

TEST(kelp_factor, messages) {
  linalg::dense_matrix d(2, 2);
  d(0, 0) = d(1, 1) = 1.0;
  d(0, 1) = d(1, 0) = 2.0;
  expect_stops({{"not positive definite", [&] { kelp_case(ija_of(d), kelp_ordering::amd, 1); },
                 {"MORLO90 (KELP): An error occurred.",
                  "cholmod_l_factorize: CHOLMOD status 1 (matrix not positive definite)"}}});
}

}  // namespace
}  // namespace ventrel::sparse
