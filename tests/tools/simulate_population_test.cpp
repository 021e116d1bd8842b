// The simulated population: pedigree structure, variances of true values and residuals,
// inbreeding against the tabular reference, selection, reproducibility.
#include "simulate/population.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "common/fatal.hpp"
#include "reference/tabular_a.hpp"
#include "simulate_test_util.hpp"

namespace ventrel::simulate {
namespace {

using testing::small_options;

// Sample covariance of two per-animal columns over animals first..last.
double cov(const population& p, const std::vector<double>& v, int t1, int t2, int first, int last) {
  const std::size_t nt = static_cast<std::size_t>(p.ntrait);
  double s1 = 0, s2 = 0, s12 = 0;
  const double n = last - first + 1;
  for (int i = first; i <= last; ++i) {
    const double a = v[static_cast<std::size_t>(i) * nt + static_cast<std::size_t>(t1)];
    const double b = v[static_cast<std::size_t>(i) * nt + static_cast<std::size_t>(t2)];
    s1 += a;
    s2 += b;
    s12 += a * b;
  }
  return s12 / n - (s1 / n) * (s2 / n);
}

TEST(simulate_population, founders_true_values_have_the_genetic_covariance) {
  simulation_options o = small_options(2, 10);
  o.founders = 40000;
  o.h2 = {0.4, 0.2};
  o.vp = {2.0, 1.0};
  o.rg = 0.6;
  const population p = simulate_population(o);
  const int last = p.first_of_generation[1] - 1;
  ASSERT_EQ(last, 40000);
  const linalg::dense_matrix g = genetic_covariance(o);
  // Sampling sd of a variance estimate is about v sqrt(2/n); of a covariance sqrt((v1 v2 + c^2)/n).
  const double n = last;
  EXPECT_NEAR(cov(p, p.tbv, 0, 0, 1, last), g(0, 0), 4 * g(0, 0) * std::sqrt(2 / n));
  EXPECT_NEAR(cov(p, p.tbv, 1, 1, 1, last), g(1, 1), 4 * g(1, 1) * std::sqrt(2 / n));
  EXPECT_NEAR(cov(p, p.tbv, 0, 1, 1, last), g(0, 1), 4 * std::sqrt((g(0, 0) * g(1, 1) + g(0, 1) * g(0, 1)) / n));
}

TEST(simulate_population, residuals_have_the_residual_covariance) {
  simulation_options o = small_options(2, 10);
  o.founders = 40000;
  const population p = simulate_population(o);
  const std::size_t nt = 2;
  std::vector<double> e(p.y.size(), 0.0);
  for (int i = 1; i <= p.n; ++i)
    for (std::size_t t = 0; t < nt; ++t) {
      const std::size_t k = static_cast<std::size_t>(i) * nt + t;
      e[k] = p.y[k] - p.mean[t] - p.herd_effect[static_cast<std::size_t>(p.herd[static_cast<std::size_t>(i)]) * nt + t] - p.tbv[k];
    }
  const linalg::dense_matrix r = residual_covariance(o);
  const double n = p.n;
  EXPECT_NEAR(cov(p, e, 0, 0, 1, p.n), r(0, 0), 4 * r(0, 0) * std::sqrt(2 / n));
  EXPECT_NEAR(cov(p, e, 1, 1, 1, p.n), r(1, 1), 4 * r(1, 1) * std::sqrt(2 / n));
  EXPECT_NEAR(cov(p, e, 0, 1, 1, p.n), r(0, 1), 4 * std::sqrt((r(0, 0) * r(1, 1) + r(0, 1) * r(0, 1)) / n));
}

TEST(simulate_population, mendelian_sampling_has_variance_b_times_the_genetic_variance) {
  simulation_options o = small_options(1, 20000);
  o.sires = 50;
  const population p = simulate_population(o);
  // (u_i - (u_s + u_d)/2) / sqrt(b_i) is N(0, sigma_a^2) for every animal with parents.
  double s = 0, s2 = 0;
  int n = 0;
  for (int i = p.first_of_generation[1]; i <= p.n; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i);
    const double ms = (p.tbv[ui] - 0.5 * (p.tbv[static_cast<std::size_t>(p.sire[ui])] + p.tbv[static_cast<std::size_t>(p.dam[ui])])) /
                      std::sqrt(p.dvar[ui]);
    s += ms;
    s2 += ms * ms;
    ++n;
  }
  const double var = s2 / n - (s / n) * (s / n);
  EXPECT_NEAR(s / n, 0.0, 4 * std::sqrt(0.3 / n));
  EXPECT_NEAR(var, 0.3, 4 * 0.3 * std::sqrt(2.0 / n));
}

TEST(simulate_population, pedigree_has_parents_of_the_right_sex_and_generations_first) {
  simulation_options o = small_options(1, 100);
  o.overlap = 2;
  const population p = simulate_population(o);
  EXPECT_EQ(p.n, 400);
  EXPECT_EQ(p.first_of_generation, (std::vector<int>{1, 101, 201, 301, 401}));
  int sires_seen = 0;
  std::vector<char> is_sire(static_cast<std::size_t>(p.n) + 1, 0);
  for (int i = 1; i <= p.n; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i);
    const int g = p.generation[ui];
    if (g == 0) {
      EXPECT_EQ(p.sire[ui], 0);
      EXPECT_EQ(p.dam[ui], 0);
      continue;
    }
    const int s = p.sire[ui], d = p.dam[ui];
    ASSERT_GT(s, 0);
    ASSERT_GT(d, 0);
    EXPECT_EQ(p.male[static_cast<std::size_t>(s)], 1);
    EXPECT_EQ(p.male[static_cast<std::size_t>(d)], 0);
    for (int par : {s, d}) {
      const int gp = p.generation[static_cast<std::size_t>(par)];
      EXPECT_LT(gp, g);
      EXPECT_GE(gp, g - o.overlap);
    }
    EXPECT_EQ(p.herd[ui], p.herd[static_cast<std::size_t>(d)]);
    if (!is_sire[static_cast<std::size_t>(s)]) ++sires_seen;
    is_sire[static_cast<std::size_t>(s)] = 1;
    EXPECT_GE(p.herd[ui], 1);
    EXPECT_LE(p.herd[ui], p.nherd);
  }
  EXPECT_LE(sires_seen, o.sires * o.generations);
}

TEST(simulate_population, inbreeding_equals_the_tabular_reference) {
  simulation_options o = small_options(1, 120);
  o.generations = 6;
  o.sires = 3;
  o.dams = 20;
  o.overlap = 3;
  const population p = simulate_population(o);
  const std::vector<double> ref = reference::tabular_inbreeding(testing::tabular_of(p, p.n));
  double max_f = 0.0;
  for (int i = 1; i <= p.n; ++i) {
    EXPECT_NEAR(p.inb[static_cast<std::size_t>(i)], ref[static_cast<std::size_t>(i)], 1e-12) << "animal " << i;
    max_f = std::max(max_f, ref[static_cast<std::size_t>(i)]);
  }
  EXPECT_GT(max_f, 0.1);  // few sires: the population is inbred
}

TEST(simulate_population, the_same_seed_gives_the_same_population) {
  const simulation_options o = small_options(2, 50);
  const population a = simulate_population(o), b = simulate_population(o);
  EXPECT_EQ(a.sire, b.sire);
  EXPECT_EQ(a.dam, b.dam);
  EXPECT_EQ(a.y, b.y);
  simulation_options o2 = o;
  o2.seed = o.seed + 1;
  EXPECT_NE(simulate_population(o2).y, a.y);
}

TEST(simulate_population, truncation_on_phenotype_picks_the_best_candidates) {
  simulation_options o = small_options(1, 400);
  o.generations = 1;
  o.sires = 5;
  o.dams = 50;
  o.select = selection::phenotype;
  const population p = simulate_population(o);
  // The chosen sires are the 5 best males of the founders.
  std::vector<std::pair<double, int>> males;
  for (int i = 1; i < p.first_of_generation[1]; ++i)
    if (p.male[static_cast<std::size_t>(i)]) males.push_back({p.y[static_cast<std::size_t>(i)], i});
  std::sort(males.rbegin(), males.rend());
  std::vector<char> best(static_cast<std::size_t>(p.n) + 1, 0);
  for (int k = 0; k < 5; ++k) best[static_cast<std::size_t>(males[static_cast<std::size_t>(k)].second)] = 1;
  for (int i = p.first_of_generation[1]; i <= p.n; ++i) EXPECT_TRUE(best[static_cast<std::size_t>(p.sire[static_cast<std::size_t>(i)])]);
}

TEST(simulate_population, selection_on_ebv_uses_the_evaluation_it_is_given) {
  simulation_options o = small_options(1, 200);
  o.generations = 1;
  o.sires = 1;
  o.select = selection::ebv;
  // An "evaluation" that ranks the animal with the largest number first.
  int calls = 0;
  const population p = simulate_population(o, [&](const population&, int last) {
    ++calls;
    std::vector<double> e(static_cast<std::size_t>(last) + 1);
    for (int i = 1; i <= last; ++i) e[static_cast<std::size_t>(i)] = i;
    return e;
  });
  EXPECT_EQ(calls, 1);
  int last_male = 0;
  for (int i = 1; i < p.first_of_generation[1]; ++i) if (p.male[static_cast<std::size_t>(i)]) last_male = i;
  for (int i = p.first_of_generation[1]; i <= p.n; ++i) EXPECT_EQ(p.sire[static_cast<std::size_t>(i)], last_male);
}

TEST(simulate_population, a_generation_without_female_candidates_stops) {
  simulation_options o = small_options(1, 10);
  o.founders = 2;
  o.seed = 3;
  // With two founders some seeds give two animals of one sex; find one.
  for (std::uint64_t s = 1; s < 200; ++s) {
    o.seed = s;
    try {
      simulate_population(o);
    } catch (const fatal_error& e) {
      EXPECT_NE(e.lines().at(0).find("candidate; give more animals per generation"), std::string::npos);
      return;
    }
  }
  ADD_FAILURE() << "no seed gave founders of one sex";
}

}  // namespace
}  // namespace ventrel::simulate
