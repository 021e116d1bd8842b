// BLUP solutions, prediction error variances and covariances against a dense solve and the
// dense inverse of the textbook equations.
#include "simulate/evaluation.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "simulate/mme_solver.hpp"
#include "simulate_test_util.hpp"

namespace ventrel::simulate {
namespace {

using testing::small_options;

struct case_data {
  simulation_options o;
  population p;
  std::vector<char> rec;
  std::vector<int> focal;
};

case_data make_case(int traits) {
  case_data c{small_options(traits, 30, 21), {}, {}, {}};
  c.o.rg = 0.4;
  c.p = simulate_population(c.o);
  c.rec.assign(static_cast<std::size_t>(c.p.n) + 1, 1);
  c.rec[0] = 0;
  for (int i = c.p.first_of_generation[3]; i <= c.p.n; ++i) {
    c.rec[static_cast<std::size_t>(i)] = 0;  // partial data: youngest generation without records
    c.focal.push_back(i);
  }
  return c;
}

void expect_blup_equals_dense_solve(int traits, solver_engine engine) {
  case_data c = make_case(traits);
  const linalg::dense_matrix g0 = genetic_covariance(c.o), r0 = residual_covariance(c.o);
  evaluation_request req;
  req.pev = true;
  req.pec_animals = c.focal;
  req.engine = engine;
  const evaluation ev = evaluate(c.p, c.p.n, c.rec, g0, r0, req);
  const testing::dense_mme ref = testing::dense_reference_mme(c.p, c.p.n, c.rec, g0, r0);
  const linalg::dense_matrix cinv = reference::dense_spd_inverse(ref.c);
  const std::vector<double> x = testing::times(cinv, ref.rhs);
  ASSERT_EQ(ev.sol.size(), x.size());
  for (std::size_t e = 0; e < x.size(); ++e) EXPECT_NEAR(ev.sol[e], x[e], 1e-8) << "equation " << e + 1;
  const mme_layout& lay = ev.layout;
  for (int a = 1; a <= c.p.n; ++a)
    for (int t = 1; t <= traits; ++t) {
      const double pev = ev.pev[static_cast<std::size_t>((a - 1) * traits + t - 1)];
      EXPECT_NEAR(pev, cinv(lay.animal_eq(a, t) - 1, lay.animal_eq(a, t) - 1), 1e-10);
      EXPECT_GT(pev, 0.0);
      EXPECT_LT(pev, (1.0 + c.p.inb[static_cast<std::size_t>(a)]) * g0(t - 1, t - 1) + 1e-12);
    }
  const std::size_t m = c.focal.size();
  ASSERT_EQ(ev.pec.size(), static_cast<std::size_t>(traits));
  for (int t = 1; t <= traits; ++t)
    for (std::size_t a = 0; a < m; ++a)
      for (std::size_t b = a + 1; b < m; ++b) {
        EXPECT_NEAR(ev.pec[static_cast<std::size_t>(t - 1)][pair_index(a, b, m)],
                    cinv(lay.animal_eq(c.focal[a], t) - 1, lay.animal_eq(c.focal[b], t) - 1), 1e-10);
      }
}

TEST(simulate_evaluation, one_trait_blup_pev_and_pec_equal_the_dense_inverse) {
  expect_blup_equals_dense_solve(1, solver_engine::dense);
}

TEST(simulate_evaluation, two_trait_blup_pev_and_pec_equal_the_dense_inverse) {
  expect_blup_equals_dense_solve(2, solver_engine::dense);
}

TEST(simulate_evaluation, sparse_engine_one_trait_equals_the_dense_inverse) {
  expect_blup_equals_dense_solve(1, solver_engine::sparse);
}

TEST(simulate_evaluation, sparse_engine_two_traits_equals_the_dense_inverse) {
  expect_blup_equals_dense_solve(2, solver_engine::sparse);
}

TEST(simulate_evaluation, without_records_the_pev_is_the_genetic_variance_of_the_animal) {
  // No data: the inverse of A^-1 (x) G0^-1 is A (x) G0, so PEV_i = (1 + F_i) G0(t, t).
  case_data c = make_case(2);
  std::vector<char> none(c.rec.size(), 0);
  const linalg::dense_matrix g0 = genetic_covariance(c.o);
  evaluation_request req;
  req.pev = true;
  const evaluation ev = evaluate(c.p, c.p.n, none, g0, residual_covariance(c.o), req);
  for (int a = 1; a <= c.p.n; ++a)
    for (int t = 1; t <= 2; ++t)
      EXPECT_NEAR(ev.pev[static_cast<std::size_t>((a - 1) * 2 + t - 1)],
                  (1.0 + c.p.inb[static_cast<std::size_t>(a)]) * g0(t - 1, t - 1), 1e-10);
}

TEST(simulate_evaluation, pev_is_the_variance_of_the_prediction_errors_over_replicates) {
  // Over replicated populations, the sum of squared prediction errors u - u_hat matches the sum
  // of PEVs, and the sum of products of two focal animals' errors the sum of their PECs, within
  // four standard errors of the replicate differences.
  const int reps = 120;
  std::vector<double> d_var, d_cov;
  double pev = 0.0, pec = 0.0;
  for (int rep = 1; rep <= reps; ++rep) {
    case_data c{small_options(1, 30, 1000 + static_cast<std::uint64_t>(rep)), {}, {}, {}};
    c.p = simulate_population(c.o);
    c.rec.assign(static_cast<std::size_t>(c.p.n) + 1, 1);
    c.rec[0] = 0;
    for (int i = c.p.first_of_generation[3]; i <= c.p.n; ++i) c.focal.push_back(i);
    evaluation_request req;
    req.pev = true;
    req.pec_animals = c.focal;
    req.engine = solver_engine::sparse;
    const evaluation ev = evaluate(c.p, c.p.n, c.rec, genetic_covariance(c.o), residual_covariance(c.o), req);
    auto err = [&](int a) { return c.p.tbv[static_cast<std::size_t>(a)] - ev.ebv(a, 1); };
    double sq = 0.0, v = 0.0, cross = 0.0, cv = 0.0;
    for (int a = 1; a <= c.p.n; ++a) {
      sq += err(a) * err(a);
      v += ev.pev[static_cast<std::size_t>(a - 1)];
    }
    const std::size_t m = c.focal.size();
    for (std::size_t a = 0; a < m; ++a)
      for (std::size_t b = a + 1; b < m; ++b) {
        cross += err(c.focal[a]) * err(c.focal[b]);
        cv += ev.pec[0][pair_index(a, b, m)];
      }
    d_var.push_back(sq - v);
    d_cov.push_back(cross - cv);
    pev += v;
    pec += cv;
  }
  auto mean_and_se = [&](const std::vector<double>& d) {
    double s = 0.0, s2 = 0.0;
    for (double x : d) { s += x; s2 += x * x; }
    const double m = s / reps;
    return std::pair{m, std::sqrt((s2 / reps - m * m) / (reps - 1))};
  };
  const auto [dv, se_v] = mean_and_se(d_var);
  const auto [dc, se_c] = mean_and_se(d_cov);
  EXPECT_LT(se_v, 0.05 * pev / reps);  // the check has power
  EXPECT_NEAR(dv, 0.0, 4 * se_v) << "mean sum of PEVs " << pev / reps;
  EXPECT_GT(pec, 0.0);                 // relatives' prediction errors are positively correlated
  EXPECT_LT(se_c, 0.25 * pec / reps);
  EXPECT_NEAR(dc, 0.0, 4 * se_c) << "mean sum of PECs " << pec / reps;
}

TEST(simulate_evaluation, pair_index_runs_over_the_pairs_in_order) {
  const std::size_t m = 5;
  std::size_t k = 0;
  for (std::size_t a = 0; a < m; ++a)
    for (std::size_t b = a + 1; b < m; ++b) EXPECT_EQ(pair_index(a, b, m), k++);
}

TEST(simulate_evaluation, without_pev_no_inverse_is_formed_and_solutions_stay_the_same) {
  case_data c = make_case(1);
  const linalg::dense_matrix g0 = genetic_covariance(c.o), r0 = residual_covariance(c.o);
  evaluation_request plain;
  plain.engine = solver_engine::dense;
  evaluation_request full = plain;
  full.pev = true;
  const evaluation a = evaluate(c.p, c.p.n, c.rec, g0, r0, plain);
  const evaluation b = evaluate(c.p, c.p.n, c.rec, g0, r0, full);
  EXPECT_TRUE(a.pev.empty());
  EXPECT_TRUE(a.pec.empty());
  ASSERT_EQ(a.sol.size(), b.sol.size());
  for (std::size_t e = 0; e < a.sol.size(); ++e) EXPECT_NEAR(a.sol[e], b.sol[e], 1e-12);
}

TEST(simulate_evaluation, animals_without_records_or_progeny_get_the_parent_average) {
  // BLUP of an animal without own record and without progeny is the mean of its parents' EBVs.
  case_data c = make_case(1);
  const evaluation ev = evaluate(c.p, c.p.n, c.rec, genetic_covariance(c.o), residual_covariance(c.o), {});
  for (int a : c.focal) {
    const std::size_t ua = static_cast<std::size_t>(a);
    EXPECT_NEAR(ev.ebv(a, 1), 0.5 * (ev.ebv(c.p.sire[ua], 1) + ev.ebv(c.p.dam[ua], 1)), 1e-9);
  }
}

}  // namespace
}  // namespace ventrel::simulate
