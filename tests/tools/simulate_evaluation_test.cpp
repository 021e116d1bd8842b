// BLUP solutions, prediction error variances and covariances against a dense solve and the
// dense inverse of the textbook equations, and against the true values over replicates.
#include "simulate/evaluation.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "simulate_test_util.hpp"

namespace ventrel::simulate {
namespace {

// The evaluation with PEVs and the PECs of the youngest generation; `partial` leaves out the
// records of that generation and of herd 2 (an equation without data).
struct case_data {
  simulation_options o;
  population p;
  std::vector<char> rec;
  std::vector<int> focal;
  evaluation ev;
};

case_data evaluate_case(simulation_options o, bool partial, solver_engine engine) {
  case_data c{o, simulate_population(o), {}, {}, {}};
  c.rec.assign(static_cast<std::size_t>(c.p.n) + 1, 1);
  for (int i = 1; i <= c.p.n; ++i) {
    const bool focal = i >= c.p.first_of_generation[3];
    if (focal) c.focal.push_back(i);
    c.rec[static_cast<std::size_t>(i)] = !(partial && (focal || c.p.herd[static_cast<std::size_t>(i)] == 2));
  }
  evaluation_request req;
  req.pev = true;
  req.pec_animals = c.focal;
  req.engine = engine;
  c.ev = evaluate(c.p, c.p.n, c.rec, genetic_covariance(o), residual_covariance(o), req);
  return c;
}

TEST(simulate_evaluation, blup_pev_and_pec_equal_the_dense_inverse) {
  for (int traits : {1, 2})
    for (solver_engine engine : {solver_engine::dense, solver_engine::sparse}) {
      SCOPED_TRACE(traits * 10 + static_cast<int>(engine));
      simulation_options o = testing::small_options(traits, 30, 21);
      o.rg = 0.4;
      const case_data c = evaluate_case(o, true, engine);
      const linalg::dense_matrix g0 = genetic_covariance(o);
      const testing::dense_mme ref = testing::dense_reference_mme(c.p, c.rec, g0, residual_covariance(o));
      const linalg::dense_matrix cinv = reference::dense_spd_inverse(ref.c);
      const std::vector<double> x = testing::times(cinv, ref.rhs);
      ASSERT_EQ(c.ev.sol.size(), x.size());
      for (std::size_t e = 0; e < x.size(); ++e) EXPECT_NEAR(c.ev.sol[e], x[e], 1e-8) << "equation " << e + 1;
      const mme_layout& lay = c.ev.layout;
      for (int a = 1; a <= c.p.n; ++a)
        for (int t = 1; t <= traits; ++t)
          EXPECT_NEAR(c.ev.pev[static_cast<std::size_t>((a - 1) * traits + t - 1)],
                      cinv(lay.animal_eq(a, t) - 1, lay.animal_eq(a, t) - 1), 1e-10);
      const std::size_t m = c.focal.size();
      ASSERT_EQ(c.ev.pec.size(), static_cast<std::size_t>(traits));
      for (int t = 1; t <= traits; ++t)
        for (std::size_t a = 0; a < m; ++a)
          for (std::size_t b = a + 1; b < m; ++b)
            EXPECT_NEAR(c.ev.pec[static_cast<std::size_t>(t - 1)][pair_index(a, b, m)],
                        cinv(lay.animal_eq(c.focal[a], t) - 1, lay.animal_eq(c.focal[b], t) - 1), 1e-10);
    }
}

TEST(simulate_evaluation, pev_is_the_mean_squared_true_prediction_error_over_replicates) {
  // Over replicated populations, the sum of squared prediction errors u - u_hat matches the sum
  // of PEVs within four standard errors of the replicate differences.
  const int reps = 120;
  double sd = 0.0, sd2 = 0.0, pev = 0.0;
  for (int rep = 1; rep <= reps; ++rep) {
    const case_data c = evaluate_case(testing::small_options(1, 30, 1000 + static_cast<std::uint64_t>(rep)), false,
                                      solver_engine::sparse);
    double d = 0.0;
    for (int a = 1; a <= c.p.n; ++a) {
      const double v = c.ev.pev[static_cast<std::size_t>(a - 1)];
      d += std::pow(c.p.tbv[static_cast<std::size_t>(a)] - c.ev.ebv(a, 1), 2) - v;
      pev += v;
    }
    sd += d;
    sd2 += d * d;
  }
  const double mean = sd / reps, se = std::sqrt((sd2 / reps - mean * mean) / (reps - 1));
  EXPECT_LT(se, 0.05 * pev / reps);  // the check has power
  EXPECT_NEAR(mean, 0.0, 4 * se) << "mean sum of PEVs " << pev / reps;
}

}  // namespace
}  // namespace ventrel::simulate
