// Vector statistics routines against the long-double two-pass reference, the degenerate
// inputs, the dimension-mismatch stops and the percentile positions.
#include "statistics/vector_stats.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "reference/two_pass_stats.hpp"
#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

using reference::ref_centred_cross;

TEST(vector_stats, match_the_two_pass_reference) {
  const auto d = testing::make_focal_data(1001);
  // Far from zero a one-pass sum of squares would lose every digit.
  std::vector<double> big_x, big_y;
  for (int i = 0; i < 1000; ++i) {
    big_x.push_back(1e9 + (i % 7));
    big_y.push_back(1e9 + (i % 7) + ((i % 3) - 1) * 0.5);
  }
  for (const auto& [x, y] : {std::pair{d.p, d.w}, std::pair{big_x, big_y}}) {
    const long double n = static_cast<long double>(x.size());
    const long double sxy = ref_centred_cross(x, y), sxx = ref_centred_cross(x, x),
                      syy = ref_centred_cross(y, y);
    auto near = [](double got, long double want) {
      EXPECT_NEAR(got, static_cast<double>(want), 1e-12 * std::max(1.0L, std::fabs(want)));
    };
    near(mean(x), reference::ref_mean(x));
    near(var(x), sxx / n);
    near(var(x, unbiased), sxx / (n - 1));
    near(cov(x, y), sxy / n);
    near(b1(y, x), sxy / sxx);
    near(cor(x, y), sxy / std::sqrt(sxx * syy));
  }
}

TEST(vector_stats, degenerate_inputs_give_non_finite_values_and_unequal_lengths_stop) {
  const std::vector<double> e, flat = {2, 2, 2}, x = {1, 2, 4}, b = {1, 2};
  for (const double v :
       {mean(e), var(e), cov(e, e), b1(e, e), cor(e, e), b1(flat, flat), cor(x, flat)})
    EXPECT_TRUE(std::isnan(v));
  EXPECT_EQ(cov(x, flat), 0.0);
  using test_support::stop_lines;
  EXPECT_EQ(stop_lines([&] { cov(x, b); })[0], "Dimension mismatch in cov(x,y)");
  EXPECT_EQ(stop_lines([&] { b1(x, b); })[0], "Dimension mismatch in b1(y,x)");
  EXPECT_EQ(stop_lines([&] { cor(b, x); })[0], "Dimension mismatch in cor(x,y)");
}

// The bootstrap's limits (bootstrap_test) cover the positions for lower_fraction and
// upper_fraction; here the ends of q and the rounding of a half away from 0.
TEST(percentile, position_is_nint_of_m_minus_one_times_q_plus_one) {
  const std::vector<double> x = {1, 2, 3};  // the value is the position
  EXPECT_EQ(percentile(x, 0.0), 1);
  EXPECT_EQ(percentile(x, 1.0), 3);
  EXPECT_EQ(percentile(x, 0.25), 2);  // (3 - 1) * 0.25 = 0.5
  EXPECT_TRUE(std::isnan(percentile(std::vector<double>{}, lower_fraction)));
}

}  // namespace
}  // namespace ventrel::statistics
