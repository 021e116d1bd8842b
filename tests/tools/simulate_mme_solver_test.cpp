// The engines of solve_mme: solutions and the inverse at the pattern, dense and sparse, against
// the dense reference inverse.
#include "simulate/mme_solver.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "common/fatal.hpp"
#include "simulate/rng.hpp"
#include "simulate_test_util.hpp"
#include "sparse/convert_hash_ija.hpp"
#include "sparse/hash_matrix.hpp"

namespace ventrel::simulate {
namespace {

// A random sparse symmetric positive definite system (diagonally dominant), with equation 3
// marked unused (identity row), in the form build_mme leaves.
mme_system random_system(int n, std::uint64_t seed) {
  rng r(seed);
  sparse::sparse_hashm h;
  sparse::init(h, 1024, sparse::hash_storage::upper, n);
  std::vector<double> rowsum(static_cast<std::size_t>(n) + 1, 0.0);
  for (int k = 0; k < 4 * n; ++k) {
    int i = 1 + r.below(n), j = 1 + r.below(n);
    if (i == j || i == 3 || j == 3) continue;
    if (i > j) std::swap(i, j);
    const double v = r.uniform() - 0.5;
    sparse::addm(v, i, j, h);
    rowsum[static_cast<std::size_t>(i)] += std::fabs(v);
    rowsum[static_cast<std::size_t>(j)] += std::fabs(v);
  }
  mme_system s;
  s.rhs.resize(static_cast<std::size_t>(n));
  s.unused.assign(static_cast<std::size_t>(n), 0);
  for (int i = 1; i <= n; ++i) {
    sparse::addm(i == 3 ? 1.0 : rowsum[static_cast<std::size_t>(i)] + 0.5 + r.uniform(), i, i, h);
    s.rhs[static_cast<std::size_t>(i - 1)] = i == 3 ? 0.0 : r.normal();
  }
  s.unused[2] = 1;
  sparse::convert_hash_ija(h, s.lhs);
  return s;
}

void expect_engine_matches_reference(solver_engine engine) {
  mme_system s = random_system(60, 4);
  const linalg::dense_matrix c = testing::dense_of(s.lhs);
  const linalg::dense_matrix cinv = reference::dense_spd_inverse(c);
  const std::vector<double> ref = testing::times(cinv, s.rhs);
  const std::vector<double> x = solve_mme(s, true, engine);
  for (std::size_t e = 0; e < x.size(); ++e) EXPECT_NEAR(x[e], ref[e], 1e-10);
  for (int i = 1; i <= s.lhs.n; ++i) {
    for (int p = s.lhs.ia[static_cast<std::size_t>(i - 1)]; p < s.lhs.ia[static_cast<std::size_t>(i)]; ++p) {
      const int j = s.lhs.ja[static_cast<std::size_t>(p - 1)];
      const double expect = i == 3 ? 0.0 : cinv(i - 1, j - 1);
      EXPECT_NEAR(s.lhs.a[static_cast<std::size_t>(p - 1)], expect, 1e-12) << i << "," << j;
    }
  }
}

TEST(simulate_mme_solver, dense_engine_solves_and_inverts_at_the_pattern) {
  expect_engine_matches_reference(solver_engine::dense);
}

TEST(simulate_mme_solver, sparse_engine_solves_and_inverts_at_the_pattern) {
  expect_engine_matches_reference(solver_engine::sparse);
}

TEST(simulate_mme_solver, without_inverse_the_matrix_is_left_as_it_was) {
  mme_system s = random_system(40, 8);
  const std::vector<double> before = s.lhs.a;
  solve_mme(s, false, solver_engine::automatic);
  EXPECT_EQ(s.lhs.a, before);
}

TEST(simulate_mme_solver, a_matrix_that_is_not_positive_definite_stops) {
  mme_system s = random_system(20, 2);
  s.lhs.a[static_cast<std::size_t>(s.lhs.ia[5] - 1)] = -1.0;  // a negative diagonal (row 6)
  try {
    solve_mme(s, false, solver_engine::dense);
    ADD_FAILURE() << "no stop";
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines().at(0).rfind("ventrel-simulate: the mixed-model equations are not positive definite", 0), 0u);
  }
}

TEST(simulate_mme_solver, conjugate_gradients_reach_the_direct_solution) {
  mme_system s = random_system(80, 6);
  std::vector<double> x;
  const int iterations = solve_mme_pcg(s, x, 1e-12);
  EXPECT_GT(iterations, 0);
  const std::vector<double> direct = solve_mme(s, false, solver_engine::sparse);
  ASSERT_EQ(x.size(), direct.size());
  for (std::size_t e = 0; e < x.size(); ++e) EXPECT_NEAR(x[e], direct[e], 1e-10);
  EXPECT_EQ(x[2], 0.0);  // the unused equation
}

TEST(simulate_mme_solver, conjugate_gradients_on_animal_model_equations_and_a_warm_start) {
  simulation_options o = testing::small_options(2, 200);
  const population p = simulate_population(o);
  std::vector<char> rec(static_cast<std::size_t>(p.n) + 1, 1);
  rec[0] = 0;
  mme_system s = build_mme(p, p.n, rec, genetic_covariance(o), residual_covariance(o));
  std::vector<double> x;
  const int cold = solve_mme_pcg(s, x);
  const std::vector<double> direct = solve_mme(s, false, solver_engine::sparse);
  double worst = 0.0;
  for (std::size_t e = 0; e < x.size(); ++e) worst = std::max(worst, std::fabs(x[e] - direct[e]));
  EXPECT_LT(worst, 1e-7);
  std::vector<double> warm = direct;
  for (double& v : warm) v += 1e-6;
  EXPECT_LT(solve_mme_pcg(s, warm), cold);
}

TEST(simulate_mme_solver, conjugate_gradients_stop_when_they_do_not_converge) {
  mme_system s = random_system(50, 3);
  std::vector<double> x;
  try {
    solve_mme_pcg(s, x, 1e-14, 2);
    ADD_FAILURE() << "no stop";
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines().at(0), "ventrel-simulate: the iterative solution of the mixed-model equations did not converge in 2 iterations");
  }
}

}  // namespace
}  // namespace ventrel::simulate
