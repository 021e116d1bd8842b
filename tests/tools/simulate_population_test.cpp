// The simulated population: variances of true values, Mendelian sampling and residuals,
// pedigree structure, inbreeding against the tabular reference, reproducibility.
#include "simulate/population.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "simulate_test_util.hpp"

namespace ventrel::simulate {
namespace {

using std::size_t;

// Expects the sample covariance matrix of the pairs v(i) over animals first..last to be g, within
// four sampling sds (v sqrt(2/n) for a variance, sqrt((v1 v2 + c^2)/n) for a covariance).
template <class F>
void expect_covariance(F v, int first, int last, const linalg::dense_matrix& g) {
  double s[2] = {0, 0}, ss[2][2] = {{0, 0}, {0, 0}};
  const double n = last - first + 1;
  for (int i = first; i <= last; ++i) {
    const std::pair<double, double> x = v(static_cast<size_t>(i));
    const double xs[2] = {x.first, x.second};
    for (int a = 0; a < 2; ++a) {
      s[a] += xs[a];
      for (int b = 0; b < 2; ++b) ss[a][b] += xs[a] * xs[b];
    }
  }
  for (int a = 0; a < 2; ++a)
    for (int b = a; b < 2; ++b)
      EXPECT_NEAR(ss[a][b] / n - s[a] * s[b] / (n * n), g(a, b), 4 * std::sqrt((g(a, a) * g(b, b) + g(a, b) * g(a, b)) / n))
          << a << "," << b;
}

TEST(simulate_population, founders_mendelian_sampling_and_residuals_have_their_covariances) {
  // Two sires and 20 dams of the previous generation for six generations: much inbreeding, so
  // that the Mendelian sampling variance b_i G0 differs clearly from G0 / 2.
  simulation_options o = testing::small_options(2, 10000);
  o.founders = 40000;
  o.generations = 6;
  o.sires = 2;
  o.dams = 20;
  o.overlap = 1;
  o.h2 = {0.4, 0.2};
  o.vp = {2.0, 1.0};
  o.rg = 0.6;
  o.re = -0.3;
  const population p = simulate_population(o);
  const linalg::dense_matrix g = genetic_covariance(o), r = residual_covariance(o);
  ASSERT_EQ(p.first_of_generation[1], 40001);
  expect_covariance([&](size_t i) { return std::pair{p.tbv[2 * i], p.tbv[2 * i + 1]}; }, 1, 40000, g);
  // (u_i - (u_s + u_d)/2) / sqrt(b_i) has covariance G0 for every animal with parents.
  expect_covariance([&](size_t i) {
    const size_t s = static_cast<size_t>(p.sire[i]), d = static_cast<size_t>(p.dam[i]);
    auto ms = [&](size_t t) { return (p.tbv[2 * i + t] - 0.5 * (p.tbv[2 * s + t] + p.tbv[2 * d + t])) / std::sqrt(p.dvar[i]); };
    return std::pair{ms(0), ms(1)};
  }, 40001, p.n, g);
  expect_covariance([&](size_t i) {
    auto e = [&](size_t t) { return p.y[2 * i + t] - p.mean[t] - p.herd_effect[static_cast<size_t>(p.herd[i]) * 2 + t] - p.tbv[2 * i + t]; };
    return std::pair{e(0), e(1)};
  }, 1, p.n, r);
}

TEST(simulate_population, pedigree_structure_inbreeding_and_one_population_per_seed) {
  simulation_options o = testing::small_options(2, 120);
  o.generations = 6;
  o.sires = 3;
  o.dams = 20;
  o.overlap = 3;
  const population p = simulate_population(o);
  EXPECT_EQ(p.first_of_generation, (std::vector<int>{1, 121, 241, 361, 481, 601, 721, 841}));
  const std::vector<double> ref = reference::tabular_inbreeding(testing::tabular_of(p));
  EXPECT_GT(*std::max_element(ref.begin(), ref.end()), 0.1);  // few sires: the population is inbred
  for (size_t i = 1; i <= static_cast<size_t>(p.n); ++i) {
    EXPECT_NEAR(p.inb[i], ref[i], 1e-12) << "animal " << i;
    const int g = p.generation[i];
    const size_t s = static_cast<size_t>(p.sire[i]), d = static_cast<size_t>(p.dam[i]);
    if (g == 0) {
      EXPECT_EQ(s + d, 0u);
      continue;
    }
    ASSERT_TRUE(s > 0 && d > 0);
    EXPECT_TRUE(p.male[s] && !p.male[d]);
    for (size_t par : {s, d}) EXPECT_TRUE(p.generation[par] < g && p.generation[par] >= g - o.overlap) << i;
    EXPECT_EQ(p.herd[i], p.herd[d]);
  }
  const population b = simulate_population(o);
  EXPECT_TRUE(p.sire == b.sire && p.dam == b.dam && p.y == b.y && p.tbv == b.tbv);
  o.seed += 1;
  EXPECT_NE(simulate_population(o).y, p.y);
}

}  // namespace
}  // namespace ventrel::simulate
