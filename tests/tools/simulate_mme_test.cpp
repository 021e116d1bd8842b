// Assembly of the mixed-model equations against the dense textbook construction.
#include "simulate/mme.hpp"

#include <gtest/gtest.h>

#include "common/fatal.hpp"
#include "simulate_test_util.hpp"

namespace ventrel::simulate {
namespace {

using testing::small_options;

void expect_same_system(const simulation_options& o, const population& p, const std::vector<char>& rec) {
  const linalg::dense_matrix g0 = genetic_covariance(o), r0 = residual_covariance(o);
  const mme_system sys = build_mme(p, p.n, rec, g0, r0);
  const testing::dense_mme ref = testing::dense_reference_mme(p, p.n, rec, g0, r0);
  const linalg::dense_matrix got = testing::dense_of(sys.lhs);
  ASSERT_EQ(got.rows, ref.c.rows);
  for (int j = 0; j < got.cols; ++j)
    for (int i = 0; i < got.rows; ++i) ASSERT_NEAR(got(i, j), ref.c(i, j), 1e-9) << i << "," << j;
  for (std::size_t e = 0; e < ref.rhs.size(); ++e) EXPECT_NEAR(sys.rhs[e], ref.rhs[e], 1e-9);
}

TEST(simulate_mme, one_trait_equals_the_dense_construction) {
  const simulation_options o = small_options(1, 30);
  const population p = simulate_population(o);
  std::vector<char> rec(static_cast<std::size_t>(p.n) + 1, 1);
  rec[0] = 0;
  for (int i = 3; i <= p.n; i += 7) rec[static_cast<std::size_t>(i)] = 0;
  expect_same_system(o, p, rec);
}

TEST(simulate_mme, two_traits_equal_the_dense_construction) {
  simulation_options o = small_options(2, 30);
  o.rg = -0.3;
  o.re = 0.4;
  const population p = simulate_population(o);
  std::vector<char> rec(static_cast<std::size_t>(p.n) + 1, 1);
  rec[0] = 0;
  for (int i = p.first_of_generation[3]; i <= p.n; ++i) rec[static_cast<std::size_t>(i)] = 0;
  expect_same_system(o, p, rec);
}

TEST(simulate_mme, equation_numbers_run_by_effect_level_trait) {
  const mme_layout lay{2, 3, 10};
  EXPECT_EQ(lay.herd_eq(1, 1), 1);
  EXPECT_EQ(lay.herd_eq(1, 2), 2);
  EXPECT_EQ(lay.herd_eq(3, 2), 6);
  EXPECT_EQ(lay.animal_eq(1, 1), 7);
  EXPECT_EQ(lay.animal_eq(10, 2), 26);
  EXPECT_EQ(lay.neq(), 26);
}

TEST(simulate_mme, a_herd_without_records_gets_an_identity_equation) {
  simulation_options o = small_options(1, 30);
  const population p = simulate_population(o);
  std::vector<char> rec(static_cast<std::size_t>(p.n) + 1, 1);
  rec[0] = 0;
  for (int i = 1; i <= p.n; ++i) if (p.herd[static_cast<std::size_t>(i)] == 2) rec[static_cast<std::size_t>(i)] = 0;
  const mme_system sys = build_mme(p, p.n, rec, genetic_covariance(o), residual_covariance(o));
  EXPECT_EQ(sys.unused[1], 1);
  EXPECT_EQ(sys.unused[0], 0);
  EXPECT_EQ(sparse::getm_ija(sys.lhs, 2, 2), 1.0);
  EXPECT_EQ(sys.lhs.ia[2] - sys.lhs.ia[1], 1);  // nothing else in its row
  expect_same_system(o, p, rec);
}

TEST(simulate_mme, focal_pairs_enter_the_pattern_as_zeros_for_every_trait) {
  const simulation_options o = small_options(2, 30);
  const population p = simulate_population(o);
  std::vector<char> rec(static_cast<std::size_t>(p.n) + 1, 1);
  rec[0] = 0;
  const std::vector<int> focal = {p.n - 5, p.n - 2, p.n};
  const mme_system with = build_mme(p, p.n, rec, genetic_covariance(o), residual_covariance(o), focal);
  const mme_system without = build_mme(p, p.n, rec, genetic_covariance(o), residual_covariance(o));
  for (std::size_t a = 0; a < focal.size(); ++a)
    for (std::size_t b = a + 1; b < focal.size(); ++b)
      for (int t = 1; t <= 2; ++t) {
        const int e1 = with.layout.animal_eq(focal[a], t), e2 = with.layout.animal_eq(focal[b], t);
        EXPECT_GE(sparse::ija_position(with.lhs, e1, e2), 0);
      }
  EXPECT_GT(with.lhs.nnz(), without.lhs.nnz());
  const linalg::dense_matrix d1 = testing::dense_of(with.lhs), d2 = testing::dense_of(without.lhs);
  EXPECT_EQ(d1.a, d2.a);  // the same matrix
}

TEST(simulate_mme, small_spd_inverse_inverts_and_stops_on_an_indefinite_matrix) {
  linalg::dense_matrix m(2, 2);
  m(0, 0) = 4;
  m(1, 1) = 2;
  m(0, 1) = m(1, 0) = 1;
  const linalg::dense_matrix inv = small_spd_inverse(m, "test");
  EXPECT_NEAR(inv(0, 0), 2.0 / 7.0, 1e-15);
  EXPECT_NEAR(inv(0, 1), -1.0 / 7.0, 1e-15);
  EXPECT_NEAR(inv(1, 0), -1.0 / 7.0, 1e-15);
  EXPECT_NEAR(inv(1, 1), 4.0 / 7.0, 1e-15);
  m(0, 1) = m(1, 0) = 5;
  try {
    small_spd_inverse(m, "genetic (co)variance");
    ADD_FAILURE() << "no stop";
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines().at(0), "ventrel-simulate: the genetic (co)variance matrix is not positive definite");
  }
}

}  // namespace
}  // namespace ventrel::simulate
