// The conjugate gradients of selection on EBV against the direct solution (the direct engines
// are checked against the dense inverse in simulate_evaluation_test).
#include "simulate/mme_solver.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "simulate_test_util.hpp"

namespace ventrel::simulate {
namespace {

TEST(simulate_mme_solver, conjugate_gradients_reach_the_direct_solution_and_a_warm_start_helps) {
  simulation_options o = testing::small_options(2, 200);
  const population p = simulate_population(o);
  std::vector<char> rec(static_cast<std::size_t>(p.n) + 1, 1);
  for (int i = 1; i <= p.n; ++i) rec[static_cast<std::size_t>(i)] = i % 9 != 0 && p.herd[static_cast<std::size_t>(i)] != 2;
  mme_system s = build_mme(p, p.n, rec, genetic_covariance(o), residual_covariance(o));
  ASSERT_EQ(s.unused[2], 1);  // herd 2, trait 1: an equation without data
  std::vector<double> x;
  const int cold = solve_mme_pcg(s, x, 1e-12);
  const std::vector<double> direct = solve_mme(s, false, solver_engine::sparse);
  ASSERT_EQ(x.size(), direct.size());
  for (std::size_t e = 0; e < x.size(); ++e) EXPECT_NEAR(x[e], direct[e], 1e-8) << "equation " << e + 1;
  EXPECT_EQ(x[2], 0.0);
  std::vector<double> warm = direct;
  for (double& v : warm) v += 1e-6;
  EXPECT_LT(solve_mme_pcg(s, warm, 1e-12), cold);
}

}  // namespace
}  // namespace ventrel::simulate
