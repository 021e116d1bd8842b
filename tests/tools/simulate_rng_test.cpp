// The simulator's random numbers: reproducible, and with the moments they should have.
#include "simulate/rng.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace ventrel::simulate {
namespace {

TEST(simulate_rng, splitmix64_gives_the_published_first_output) {
  std::uint64_t state = 0;
  EXPECT_EQ(splitmix64(state), 0xe220a8397b1dcdafULL);
  EXPECT_EQ(state, 0x9e3779b97f4a7c15ULL);
}

TEST(simulate_rng, same_seed_same_sequence_other_seed_other_sequence) {
  rng a(42), b(42), c(43);
  int same_c = 0;
  for (int k = 0; k < 1000; ++k) {
    const std::uint64_t x = a.next();
    EXPECT_EQ(x, b.next());
    if (x == c.next()) ++same_c;
  }
  EXPECT_EQ(same_c, 0);
}

TEST(simulate_rng, uniform_lies_in_the_unit_interval_with_mean_half_and_variance_one_twelfth) {
  rng r(1);
  const int n = 200000;
  double s = 0.0, s2 = 0.0;
  for (int k = 0; k < n; ++k) {
    const double u = r.uniform();
    ASSERT_GE(u, 0.0);
    ASSERT_LT(u, 1.0);
    const double v = r.uniform_open();
    ASSERT_GT(v, 0.0);
    ASSERT_LT(v, 1.0);
    s += u;
    s2 += u * u;
  }
  const double mean = s / n, var = s2 / n - mean * mean;
  EXPECT_NEAR(mean, 0.5, 4.0 * std::sqrt(1.0 / 12.0 / n));
  EXPECT_NEAR(var, 1.0 / 12.0, 0.002);
}

TEST(simulate_rng, below_covers_its_range_evenly) {
  rng r(5);
  const int n = 7, draws = 70000;
  std::vector<int> count(n, 0);
  for (int k = 0; k < draws; ++k) {
    const int v = r.below(n);
    ASSERT_GE(v, 0);
    ASSERT_LT(v, n);
    ++count[static_cast<std::size_t>(v)];
  }
  // Each count is binomial(70000, 1/7): sd about 92.6.
  for (int c : count) EXPECT_NEAR(c, draws / n, 5 * 92.6);
  EXPECT_EQ(r.below(1), 0);
}

TEST(simulate_rng, normal_has_mean_zero_variance_one_and_no_correlation_between_pairs) {
  rng r(9);
  const int n = 200000;
  double s = 0.0, s2 = 0.0, s4 = 0.0, cross = 0.0;
  for (int k = 0; k < n; ++k) {
    const double z1 = r.normal(), z2 = r.normal();  // the two values of one Box-Muller pair
    s += z1 + z2;
    s2 += z1 * z1 + z2 * z2;
    s4 += z1 * z1 * z1 * z1 + z2 * z2 * z2 * z2;
    cross += z1 * z2;
  }
  const double m = 2.0 * n;
  EXPECT_NEAR(s / m, 0.0, 4.0 / std::sqrt(m));
  EXPECT_NEAR(s2 / m, 1.0, 4.0 * std::sqrt(2.0 / m));
  EXPECT_NEAR(s4 / m, 3.0, 4.0 * std::sqrt(96.0 / m));  // the fourth moment of a normal
  EXPECT_NEAR(cross / n, 0.0, 4.0 / std::sqrt(n));
}

}  // namespace
}  // namespace ventrel::simulate
